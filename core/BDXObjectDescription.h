#pragma once

#include <string>
#include <utility>
#include <vector>

// The readable dump of an object's properties used in diagnostics. C++ has no property list to walk,
// so a class that wants to be described hands over its properties, in declaration order, as name and
// value text.
using BDXDescribedProperties = std::vector<std::pair<std::string, std::string>>;

// "<className> (\n", one "    <name>: <value>\n" per property not excluded, then "\n}". "description"
// and "debugDescription" are always excluded, since describing them would describe the object again.
std::string bdx_descriptionExcludingProperties(const std::string& className,
                                               const BDXDescribedProperties& properties,
                                               const std::vector<std::string>& excludedProperties);
std::string bdx_description(const std::string& className, const BDXDescribedProperties& properties);
