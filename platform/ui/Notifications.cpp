#include "platform/ui/Notifications.h"

#include "foundation/NotificationCenter.h"

namespace bdx::ui {

void postNotification(std::string_view name, const std::shared_ptr<const void>& object,
                      std::map<std::string, std::any> userInfo) {
    NotificationCenter::defaultCenter()->post(name, NotificationObject(object), std::move(userInfo));
}

}  // namespace bdx::ui
