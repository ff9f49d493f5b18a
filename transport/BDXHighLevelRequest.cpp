#include "transport/BDXHighLevelRequest.h"

#include <nlohmann/json.hpp>

bdx::Value BDXRequestErrorInfo::dictionaryValue() const {
    bdx::Value dictionary = bdx::Value::object();
    dictionary["error"] = error ? bdx::Value(error->description()) : bdx::Value();
    dictionary["statusCode"] = statusCode;
    dictionary["response"] = response ? *response : bdx::Value();
    return dictionary;
}

std::optional<BDXRequestErrorInfo> BDXHighLevelRequest::judgeResult(std::int64_t statusCode,
                                                                    const std::optional<bdx::Error>& error,
                                                                    const bdx::Value& response) {
    const bool success = statusCode == 200 && !error;
    setIsSuccess(success);
    if (success) {
        return std::nullopt;
    }
    ++failures_;
    BDXRequestErrorInfo info;
    info.error = error;
    info.statusCode = statusCode;
    if (!response.is_null()) {
        info.response = std::make_shared<const bdx::Value>(response);
    }
    return info;
}
