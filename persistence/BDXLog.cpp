#include "persistence/BDXLog.h"

#include <nlohmann/json.hpp>

#include "core/BDXDateOperations.h"
#include "core/BDXObjectDescription.h"

std::string BDXLog::entityName() {
    return "BrindlexLog";
}

bdx::Value BDXLog::toDictionary() const {
    return bdx::Value{{"log_message_date", bdx_logTimeEpoch(date().value_or(bdx::Date()))},
                      {"log_message", message().value_or("")},
                      {"log_message_level", level().value_or("")}};
}

std::string BDXLog::description() const {
    return bdx_description("BDXLog", {{"date", date() ? date()->description() : "(null)"},
                                      {"level", level().value_or("(null)")},
                                      {"message", message().value_or("(null)")},
                                      {"sessionId", sessionId().value_or("(null)")}});
}
