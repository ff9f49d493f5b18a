// Public header: installed with the library for hosts to include.
#pragma once

#include <string>
#include <string_view>

namespace bdx {

// A class as the run-time knows it: its name and its superclass. Static classes declare theirs with
// BDX_DECLARE_CLASS; classes that exist only by name (a host's own view class, say) are defined at run time
// through ClassRegistry::defineClass. Either way a ClassInfo lives for the whole process.
struct ClassInfo {
    std::string name;
    const ClassInfo* superclass = nullptr;

    // True when this class is `className` or inherits from it.
    bool isKindOf(std::string_view className) const;
    bool isSubclassOf(const ClassInfo& other) const;
};

// Base of the classes that need run-time names: the class name in logs and payloads, kind tests by name, and
// a description for "%@". Everything follows classInfo(): a class declares its own with BDX_DECLARE_CLASS,
// and an object whose class is chosen at run time (a host's view of a class known only by name) returns one
// made by ClassRegistry::defineClass.
class Object {
  public:
    virtual ~Object() = default;

    // The root class, "NSObject", as on the platform.
    static const ClassInfo& staticClassInfo();
    // The class of this object; subclasses override it through BDX_DECLARE_CLASS.
    virtual const ClassInfo& classInfo() const { return staticClassInfo(); }

    const std::string& className() const { return classInfo().name; }
    // The name of the superclass, or "" for the root class.
    std::string superclassName() const;
    // True when the object's class is `name` or inherits from it.
    bool isKindOf(std::string_view name) const { return classInfo().isKindOf(name); }
    // True when the object's class is exactly `name`.
    bool isMemberOf(std::string_view name) const { return classInfo().name == name; }
    template <class T>
    bool isKindOf() const {
        return classInfo().isSubclassOf(T::staticClassInfo());
    }

    // What "%@" prints: "<ClassName: 0x...>" unless a subclass says more.
    virtual std::string description() const;
};

}  // namespace bdx

// Declares the run-time class of `Self`, a subclass of `Super` (itself an Object or declared in this way).
// Put it first in the class body; it leaves the access at private.
#define BDX_DECLARE_CLASS(Self, Super)                                        \
  public:                                                                     \
    static const ::bdx::ClassInfo& staticClassInfo() {                        \
        static const ::bdx::ClassInfo info{#Self, &Super::staticClassInfo()}; \
        return info;                                                          \
    }                                                                         \
    const ::bdx::ClassInfo& classInfo() const override {                      \
        return staticClassInfo();                                             \
    }                                                                         \
                                                                              \
  private:
