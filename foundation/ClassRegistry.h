#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

#include "foundation/Object.h"

namespace bdx {

// The run-time's table of classes by name: finding a class from its name, making an instance of a class named
// in stored data, and defining classes that exist only by name. Process-wide like the run-time itself, so it
// survives resetAllSingletons(). Thread-safe.
class ClassRegistry {
  public:
    using Factory = std::function<std::shared_ptr<Object>()>;

    // Registers `info` under its name with a factory (none for a class that cannot be made by name).
    // Registering a name again replaces its entry.
    static void registerClass(const ClassInfo& info, Factory factory = {});
    // Registers a class declared with BDX_DECLARE_CLASS; default-constructible ones get a factory.
    template <class T>
    static void registerClass() {
        if constexpr (std::is_default_constructible_v<T>) {
            registerClass(T::staticClassInfo(),
                          [] { return std::static_pointer_cast<Object>(std::make_shared<T>()); });
        } else {
            registerClass(T::staticClassInfo());
        }
    }
    static void unregisterClass(std::string_view name);

    // A class that exists by name only, under `superclass`. Defining a name that is already known returns the
    // known class (a different superclass is logged and ignored).
    static const ClassInfo& defineClass(std::string_view name, const ClassInfo& superclass);

    // The class of that name, or nullptr when none is registered or defined.
    static const ClassInfo* classNamed(std::string_view name);
    static bool isRegistered(std::string_view name) { return classNamed(name) != nullptr; }
    // A new instance of the class of that name; nullptr when the name is unknown, the class has no factory or
    // the factory failed (logged).
    static std::shared_ptr<Object> make(std::string_view name);
};

}  // namespace bdx
