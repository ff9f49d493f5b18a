#include "foundation/Object.h"

#include <cstdio>

namespace bdx {

bool ClassInfo::isKindOf(std::string_view className) const {
    for (const ClassInfo* info = this; info; info = info->superclass) {
        if (info->name == className) {
            return true;
        }
    }
    return false;
}

bool ClassInfo::isSubclassOf(const ClassInfo& other) const {
    for (const ClassInfo* info = this; info; info = info->superclass) {
        if (info == &other) {
            return true;
        }
    }
    return false;
}

const ClassInfo& Object::staticClassInfo() {
    static const ClassInfo info{"NSObject", nullptr};
    return info;
}

std::string Object::superclassName() const {
    const ClassInfo* superclass = classInfo().superclass;
    return superclass ? superclass->name : std::string();
}

std::string Object::description() const {
    char address[32];
    std::snprintf(address, sizeof address, "%p", static_cast<const void*>(this));
    return "<" + className() + ": " + address + ">";
}

}  // namespace bdx
