#include "transport/BDXResponseParser.h"

#include <nlohmann/json.hpp>

#include "platform/net/URLResponse.h"

namespace {

bool isValidUTF8(const bdx::Data& data) {
    try {
        (void)bdx::Value(std::string(data.begin(), data.end())).dump();
        return true;
    } catch (const nlohmann::json::exception&) {
        return false;
    }
}

}  // namespace

void BDXResponseParser::prepareResponseWithData(
    const std::optional<bdx::Data>& data, const std::optional<bdx::Error>& error,
    const std::shared_ptr<const bdx::net::URLResponse>& rawResponse, const Completion& completionHandler) {
    if (!completionHandler) {
        return;
    }
    auto httpResponse = std::dynamic_pointer_cast<const bdx::net::HTTPURLResponse>(rawResponse);
    if (!data || error || !httpResponse) {
        completionHandler(0, error, bdx::Value{{"Error", "Error"}});
        return;
    }
    bdx::Value parsed = bdx::Value::parse(data->begin(), data->end(), nullptr, false);
    if (!parsed.is_discarded()) {
        completionHandler(httpResponse->statusCode(), std::nullopt, parsed);
        return;
    }
    const std::string text = isValidUTF8(*data) ? std::string(data->begin(), data->end()) : std::string();
    completionHandler(0, std::nullopt, bdx::Value{{"Error", text}});
}
