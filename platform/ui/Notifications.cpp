#include "platform/ui/Notifications.h"

#if __has_include("foundation/NotificationCenter.h")
#include "foundation/NotificationCenter.h"
#endif

namespace bdx::ui {

void postNotification(std::string_view name, const std::shared_ptr<const void>& object,
                      std::map<std::string, std::any> userInfo) {
#if __has_include("foundation/NotificationCenter.h")
    NotificationCenter::defaultCenter()->post(name, NotificationObject(object), std::move(userInfo));
#else
    (void)name;
    (void)object;
    (void)userInfo;
#endif
}

}  // namespace bdx::ui
