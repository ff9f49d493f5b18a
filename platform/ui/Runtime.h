// Public header: installed with the library for hosts to include.
#pragma once

#include <any>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace bdx {
struct ClassInfo;
}

namespace bdx::ui {

class RuntimeObject;

// The arguments of a message, one per piece of the selector ("sendEvent:" takes one).
using Arguments = std::vector<std::any>;
// A method's code: the receiver, the selector it was called with and the arguments. The result is
// empty for methods that return nothing.
using Implementation = std::function<std::any(const std::shared_ptr<RuntimeObject>& self,
                                              const std::string& selector, const Arguments& arguments)>;

// A method of the table: the class that holds the implementation, and the selector.
struct Method {
    std::string className;
    std::string selector;
    friend bool operator==(const Method&, const Method&) = default;
};

// The object run-time of the host model: a class table (each class with its superclass, and whether
// the host application defines it) and a method table keyed by class and selector. The model sends
// "sendEvent:" (application and window), "viewDidAppear:", "becomeKeyWindow", "resignKeyWindow",
// "becomeFirstResponder" and "resignFirstResponder" through it, so a method's implementation can be
// looked up, replaced, and the replaced one still called, exactly as hooks do on the platform.
//
// Unlike the model itself, the tables are safe from any thread; an implementation runs outside the
// table's lock, so it may itself look up or replace methods.
class Runtime {
  public:
    static std::shared_ptr<Runtime> shared();
    // Drops the shared instance: the next shared() starts again from the built-in classes and the
    // default implementations. For tests.
    static void destroy();

    Runtime();
    Runtime(const Runtime&) = delete;
    Runtime& operator=(const Runtime&) = delete;

    // Classes live in the process's class registry and, as on the platform, are never unloaded:
    // dropping the shared Runtime resets the method table only. A name is registered once;
    // registering it again, or under an unknown superclass, is refused (and logged when it
    // conflicts). Without an explicit `userDefined`, names in the platform's own namespaces (starting
    // with "UI", "NS" or "_") are the system's and every other name belongs to the host application.
    static bool registerClass(const std::string& name, const std::string& superclass,
                              std::optional<bool> userDefined = std::nullopt);
    // The class of that name, registered first as a kind of `kindOf` when it is new (an unknown
    // `kindOf` is logged and taken as the root class).
    static const ClassInfo& classNamed(const std::string& name, std::string_view kindOf);
    static bool isClassRegistered(std::string_view name);
    // Empty for a root class or an unknown one.
    static std::string superclassOf(std::string_view name);
    // The class itself, then each superclass up to the root.
    static std::vector<std::string> classChain(std::string_view name);
    static bool isSubclassOf(std::string_view name, std::string_view ancestor);
    // Whether the host application defines the class (the platform's "its bundle is the main bundle").
    static bool isUserDefined(std::string_view name);

    // Methods. The method a class answers with, found through its superclass chain, or nothing.
    std::optional<Method> instanceMethod(std::string_view className, std::string_view selector) const;
    Implementation implementation(const Method& method) const;
    // Puts a new implementation in place and returns the one it replaces (empty if there was none).
    Implementation setImplementation(const Method& method, Implementation implementation);
    // setImplementation on the method the class answers with; a class that answers nothing gets
    // the method of its own and the result is empty.
    Implementation replace(const std::string& className, const std::string& selector,
                           Implementation implementation);
    // Gives the class a method of its own; false (and nothing changes) when it already has one.
    bool addMethod(const std::string& className, const std::string& selector, Implementation implementation);
    bool respondsToSelector(std::string_view className, std::string_view selector) const;

    // Sends the message: finds the implementation through the receiver's class chain and calls it.
    // A null receiver answers nothing; a selector without implementation is logged and answers
    // nothing.
    std::any send(const std::shared_ptr<RuntimeObject>& receiver, const std::string& selector,
                  const Arguments& arguments = {}) const;

  private:
    using Key = std::pair<std::string, std::string>;

    std::shared_ptr<const Implementation> lookup(std::string_view className, std::string_view selector,
                                                 std::string* holder) const;

    mutable std::shared_mutex mutex_;
    std::map<Key, std::shared_ptr<const Implementation>> methods_;
};

}  // namespace bdx::ui
