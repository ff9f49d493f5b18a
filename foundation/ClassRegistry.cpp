#include "foundation/ClassRegistry.h"

#include <deque>
#include <exception>
#include <map>
#include <mutex>
#include <shared_mutex>

#include "foundation/Console.h"
#include "foundation/Singleton.h"

namespace bdx {
namespace {

struct Entry {
    const ClassInfo* info = nullptr;
    ClassRegistry::Factory factory;
};

struct Registry {
    std::shared_mutex mutex;
    std::map<std::string, Entry, std::less<>> entries;
    // Classes defined at run time; a deque never moves its elements, so their addresses stay valid.
    std::deque<ClassInfo> defined;

    Registry() {
        entries.emplace(Object::staticClassInfo().name,
                        Entry{&Object::staticClassInfo(), [] { return std::make_shared<Object>(); }});
    }
};

Registry& registry() {
    return neverDestroyed<Registry>();
}

}  // namespace

void ClassRegistry::registerClass(const ClassInfo& info, Factory factory) {
    auto& r = registry();
    std::unique_lock lock(r.mutex);
    r.entries[info.name] = Entry{&info, std::move(factory)};
}

void ClassRegistry::unregisterClass(std::string_view name) {
    auto& r = registry();
    std::unique_lock lock(r.mutex);
    if (auto it = r.entries.find(name); it != r.entries.end()) {
        r.entries.erase(it);
    }
}

const ClassInfo& ClassRegistry::defineClass(std::string_view name, const ClassInfo& superclass) {
    auto& r = registry();
    std::unique_lock lock(r.mutex);
    if (auto it = r.entries.find(name); it != r.entries.end()) {
        const ClassInfo& known = *it->second.info;
        if (known.superclass != &superclass) {
            Console::logFault("class " + known.name +
                              " is already known with another superclass; keeping it");
        }
        return known;
    }
    const ClassInfo& info = r.defined.emplace_back(ClassInfo{std::string(name), &superclass});
    r.entries.emplace(info.name, Entry{&info, {}});
    return info;
}

const ClassInfo* ClassRegistry::classNamed(std::string_view name) {
    auto& r = registry();
    std::shared_lock lock(r.mutex);
    auto it = r.entries.find(name);
    return it == r.entries.end() ? nullptr : it->second.info;
}

std::shared_ptr<Object> ClassRegistry::make(std::string_view name) {
    Factory factory;
    {
        auto& r = registry();
        std::shared_lock lock(r.mutex);
        auto it = r.entries.find(name);
        if (it == r.entries.end() || !it->second.factory) {
            return nullptr;
        }
        factory = it->second.factory;
    }
    try {
        return factory();
    } catch (const std::exception& e) {
        Console::logFault("making an instance of " + std::string(name) + " failed: " + e.what());
    } catch (...) {
        Console::logFault("making an instance of " + std::string(name) + " failed");
    }
    return nullptr;
}

}  // namespace bdx
