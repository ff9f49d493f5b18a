#include "core/BDXObjectDescription.h"

#include <algorithm>

std::string bdx_descriptionExcludingProperties(const std::string& className,
                                               const BDXDescribedProperties& properties,
                                               const std::vector<std::string>& excludedProperties) {
    std::vector<std::string> excluded = excludedProperties;
    excluded.push_back("description");
    excluded.push_back("debugDescription");

    std::string text = className + " (\n";
    for (const auto& [name, value] : properties) {
        if (std::find(excluded.begin(), excluded.end(), name) != excluded.end()) {
            continue;
        }
        text += "    " + name + ": " + value + "\n";
    }
    text += "\n}";
    return text;
}

std::string bdx_description(const std::string& className, const BDXDescribedProperties& properties) {
    return bdx_descriptionExcludingProperties(className, properties, {});
}
