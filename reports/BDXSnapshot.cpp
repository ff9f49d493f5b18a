#include "reports/BDXSnapshot.h"

#include <nlohmann/json.hpp>

#include "core/BDXDataStore.h"

bdx::Value BDXSnapshot::getFeaturesParams() {
    return bdx::Value{{"application_token", BDXDataStore::getInstance()->appToken()}};
}

bdx::Value BDXSnapshot::getSessionParams() const {
    bdx::Value parameters = bdx::Value::object();
    parameters["sdk_version"] = sdkVersion;
    parameters["application_token"] = BDXDataStore::getInstance()->appToken();
    parameters["uuid"] = uuid;
    parameters["os"] = iOS;
    parameters["device"] = model;
    parameters["bundle_id"] = bundleIdentifier;
    parameters["app_version"] = appVersion;
    return parameters;
}
