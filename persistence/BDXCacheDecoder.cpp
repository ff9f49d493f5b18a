#include "persistence/BDXCacheDecoder.h"

#include <nlohmann/json.hpp>

#include <exception>
#include <string>

#include "Logging/BDXSDKDebugInfoLogger.h"
#include "foundation/ClassRegistry.h"
#include "persistence/BDXCachable.h"

namespace {

// A model whose record has the wrong shape may throw while reading it; that record is dropped, never the
// process.
std::shared_ptr<BDXCachable> decodeModel(const std::string& className, const bdx::Value& record) {
    auto model = std::dynamic_pointer_cast<BDXCachable>(bdx::ClassRegistry::make(className));
    if (!model) {
        BDXSDKLogError("Skipping a cached record of unknown class %@", className);
        return nullptr;
    }
    try {
        if (model->initWithDictionary(record)) {
            return model;
        }
    } catch (const std::exception& e) {
        BDXSDKLogError("Skipping a cached %@ whose record cannot be read: %s", className, e.what());
        return nullptr;
    }
    BDXSDKLogError("Skipping a cached %@ whose record cannot be read", className);
    return nullptr;
}

}  // namespace

BDXCacheDecoder::Models BDXCacheDecoder::getModelsFrom(const bdx::Value& array) {
    Models models;
    if (!array.is_array()) {
        return models;
    }
    for (const bdx::Value& element : array) {
        if (!element.is_object()) {
            BDXSDKLogError("Cached models end early: an element is not a dictionary");
            break;
        }
        if (element.empty()) {
            continue;
        }
        const auto first = element.begin();
        if (auto model = decodeModel(first.key(), first.value())) {
            models.push_back(std::move(model));
        }
    }
    return models;
}

bdx::Value BDXCacheDecoder::getDicationaryFromModels(const Models& models) {
    bdx::Value array = bdx::Value::array();
    for (const auto& model : models) {
        if (!model) {
            continue;
        }
        bdx::Value entry = bdx::Value::object();
        entry[model->className()] = model->dictionaryValue();
        array.push_back(std::move(entry));
    }
    return array;
}
