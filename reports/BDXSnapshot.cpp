#include "reports/BDXSnapshot.h"

#include <nlohmann/json.hpp>

#include "core/BDXDataStore.h"

bdx::Value BDXSnapshot::getFeaturesParams() {
    return bdx::Value{{"application_token", BDXDataStore::getInstance()->appToken()}};
}
