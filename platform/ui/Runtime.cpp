#include "platform/ui/Runtime.h"

#include <map>
#include <mutex>

#include "foundation/ClassRegistry.h"
#include "foundation/Object.h"
#include "foundation/SingletonReset.h"
#include "platform/PlatformLog.h"
#include "platform/ui/Application.h"
#include "platform/ui/Responder.h"
#include "platform/ui/RuntimeObject.h"
#include "platform/ui/ViewController.h"
#include "platform/ui/Window.h"

namespace bdx::ui {

namespace {

std::mutex sharedMutex;
std::shared_ptr<Runtime> sharedRuntime;

// The platform classes the model knows, each with its superclass, roots first.
constexpr std::pair<const char*, const char*> kBuiltInClasses[] = {
    {"NSObject", ""},
    {"UIResponder", "NSObject"},
    {"UIApplication", "UIResponder"},
    {"UIView", "UIResponder"},
    {"UIWindow", "UIView"},
    {"UITextEffectsWindow", "UIWindow"},
    {"UIRemoteKeyboardWindow", "UITextEffectsWindow"},
    {"UIViewController", "UIResponder"},
    {"UINavigationController", "UIViewController"},
    {"UITabBarController", "UIViewController"},
    {"UIControl", "UIView"},
    {"UIButton", "UIControl"},
    {"UISwitch", "UIControl"},
    {"UITextField", "UIControl"},
    {"UILabel", "UIView"},
    {"UIImageView", "UIView"},
    {"UIProgressView", "UIView"},
    {"UIStackView", "UIView"},
    {"UIScrollView", "UIView"},
    {"UITableView", "UIScrollView"},
    {"UICollectionView", "UIScrollView"},
    {"UITextView", "UIScrollView"},
    {"UITableViewCell", "UIView"},
    {"UICollectionReusableView", "UIView"},
    {"UICollectionViewCell", "UICollectionReusableView"},
    {"UINavigationBar", "UIView"},
    {"UITabBar", "UIView"},
    {"UIEvent", "NSObject"},
    {"UITouchesEvent", "UIEvent"},
    {"UIMotionEvent", "UIEvent"},
    {"UITouch", "NSObject"},
    {"UIGestureRecognizer", "NSObject"},
    {"UITapGestureRecognizer", "UIGestureRecognizer"},
    {"UIPanGestureRecognizer", "UIGestureRecognizer"},
    {"UIScreenEdgePanGestureRecognizer", "UIPanGestureRecognizer"},
    {"UISwipeGestureRecognizer", "UIGestureRecognizer"},
    {"UIRotationGestureRecognizer", "UIGestureRecognizer"},
    {"UILongPressGestureRecognizer", "UIGestureRecognizer"},
    {"UIPinchGestureRecognizer", "UIGestureRecognizer"},
    {"NSLayoutConstraint", "NSObject"},
    {"UIBarItem", "NSObject"},
    {"UIBarButtonItem", "UIBarItem"},
    {"UITabBarItem", "UIBarItem"},
};

bool inSystemNamespace(std::string_view name) {
    return name.starts_with("UI") || name.starts_with("NS") || name.starts_with("_");
}

// Which classes the host application defines; classes are process-wide, and so is this.
struct ClassFlags {
    std::mutex mutex;
    std::map<std::string, bool, std::less<>> userDefined;
};

ClassFlags& classFlags() {
    static ClassFlags* flags = new ClassFlags;
    return *flags;
}

void defineBuiltInClasses() {
    static std::once_flag once;
    std::call_once(once, [] {
        for (const auto& [name, superclass] : kBuiltInClasses) {
            if (const ClassInfo* parent = ClassRegistry::classNamed(superclass)) {
                ClassRegistry::defineClass(name, *parent);
            }
        }
    });
}

}  // namespace

std::shared_ptr<Runtime> Runtime::shared() {
    std::lock_guard lock(sharedMutex);
    if (!sharedRuntime) {
        sharedRuntime = std::make_shared<Runtime>();
        registerSingletonReset(&Runtime::reset);
    }
    return sharedRuntime;
}

void Runtime::reset() {
    std::shared_ptr<Runtime> dropped;
    {
        std::lock_guard lock(sharedMutex);
        dropped.swap(sharedRuntime);
    }
}

Runtime::Runtime() {
    defineBuiltInClasses();
    Responder::installDefaultMethods(*this);
    Application::installDefaultMethods(*this);
    Window::installDefaultMethods(*this);
    ViewController::installDefaultMethods(*this);
}

bool Runtime::registerClass(const std::string& name, const std::string& superclass,
                            std::optional<bool> userDefined) {
    defineBuiltInClasses();
    if (name.empty()) {
        platformLog("ui", "a class needs a name");
        return false;
    }
    if (const ClassInfo* known = ClassRegistry::classNamed(name)) {
        const std::string knownSuperclass = known->superclass ? known->superclass->name : std::string();
        if (knownSuperclass != superclass) {
            platformLog("ui", "class " + name + " is already registered under '" + knownSuperclass +
                                  "'; kept that, not '" + superclass + "'");
        }
        return false;
    }
    const ClassInfo* parent = ClassRegistry::classNamed(superclass);
    if (!parent) {
        platformLog("ui", "class " + name + " names an unknown superclass '" + superclass + "'");
        return false;
    }
    {
        auto& flags = classFlags();
        std::lock_guard lock(flags.mutex);
        flags.userDefined[name] = userDefined.value_or(!inSystemNamespace(name));
    }
    ClassRegistry::defineClass(name, *parent);
    return true;
}

const ClassInfo& Runtime::classNamed(const std::string& name, std::string_view kindOf) {
    defineBuiltInClasses();
    if (const ClassInfo* known = ClassRegistry::classNamed(name)) {
        return *known;
    }
    if (!registerClass(name, std::string(kindOf))) {
        registerClass(name, Object::staticClassInfo().name);
    }
    const ClassInfo* made = ClassRegistry::classNamed(name);
    return made ? *made : Object::staticClassInfo();
}

bool Runtime::isClassRegistered(std::string_view name) {
    defineBuiltInClasses();
    return ClassRegistry::classNamed(name) != nullptr;
}

std::string Runtime::superclassOf(std::string_view name) {
    defineBuiltInClasses();
    const ClassInfo* info = ClassRegistry::classNamed(name);
    return info && info->superclass ? info->superclass->name : std::string();
}

std::vector<std::string> Runtime::classChain(std::string_view name) {
    defineBuiltInClasses();
    std::vector<std::string> chain;
    for (const ClassInfo* info = ClassRegistry::classNamed(name); info; info = info->superclass) {
        chain.push_back(info->name);
    }
    return chain;
}

bool Runtime::isSubclassOf(std::string_view name, std::string_view ancestor) {
    defineBuiltInClasses();
    const ClassInfo* info = ClassRegistry::classNamed(name);
    return info && info->isKindOf(ancestor);
}

bool Runtime::isUserDefined(std::string_view name) {
    auto& flags = classFlags();
    std::lock_guard lock(flags.mutex);
    auto found = flags.userDefined.find(name);
    return found != flags.userDefined.end() && found->second;
}

std::shared_ptr<const Implementation> Runtime::lookup(std::string_view className, std::string_view selector,
                                                      std::string* holder) const {
    // Called with the table's lock held; the class registry has a lock of its own.
    Key key{std::string(className), std::string(selector)};
    const ClassInfo* info = ClassRegistry::classNamed(className);
    while (true) {
        if (auto method = methods_.find(key); method != methods_.end()) {
            if (holder) {
                *holder = key.first;
            }
            return method->second;
        }
        info = info ? info->superclass : nullptr;
        if (!info) {
            return nullptr;
        }
        key.first = info->name;
    }
}

std::optional<Method> Runtime::instanceMethod(std::string_view className, std::string_view selector) const {
    std::shared_lock lock(mutex_);
    std::string holder;
    if (!lookup(className, selector, &holder)) {
        return std::nullopt;
    }
    return Method{holder, std::string(selector)};
}

Implementation Runtime::implementation(const Method& method) const {
    std::shared_lock lock(mutex_);
    auto found = methods_.find(Key{method.className, method.selector});
    return found == methods_.end() ? Implementation() : *found->second;
}

Implementation Runtime::setImplementation(const Method& method, Implementation implementation) {
    std::shared_ptr<const Implementation> previous;
    {
        std::unique_lock lock(mutex_);
        auto& slot = methods_[Key{method.className, method.selector}];
        previous = std::move(slot);
        slot = std::make_shared<const Implementation>(std::move(implementation));
    }
    return previous ? *previous : Implementation();
}

Implementation Runtime::replace(const std::string& className, const std::string& selector,
                                Implementation implementation) {
    auto method = instanceMethod(className, selector);
    return setImplementation(method.value_or(Method{className, selector}), std::move(implementation));
}

bool Runtime::addMethod(const std::string& className, const std::string& selector,
                        Implementation implementation) {
    std::unique_lock lock(mutex_);
    auto [slot, added] = methods_.try_emplace(Key{className, selector});
    if (added) {
        slot->second = std::make_shared<const Implementation>(std::move(implementation));
    }
    return added;
}

bool Runtime::respondsToSelector(std::string_view className, std::string_view selector) const {
    std::shared_lock lock(mutex_);
    auto found = lookup(className, selector, nullptr);
    return found && *found;
}

std::any Runtime::send(const std::shared_ptr<RuntimeObject>& receiver, const std::string& selector,
                       const Arguments& arguments) const {
    if (!receiver) {
        return {};
    }
    std::shared_ptr<const Implementation> implementation;
    {
        std::shared_lock lock(mutex_);
        implementation = lookup(receiver->className(), selector, nullptr);
    }
    if (!implementation || !*implementation) {
        platformLog("ui", "-[" + receiver->className() + " " + selector + "]: unrecognized selector");
        return {};
    }
    // The implementation may be the library's own, called from inside the host's code (its
    // sendEvent:): nothing it throws may reach the host.
    try {
        return (*implementation)(receiver, selector, arguments);
    } catch (const std::exception& e) {
        platformLog("ui", "-[" + receiver->className() + " " + selector + "] threw, dropped: " + e.what());
    } catch (...) {
        platformLog("ui", "-[" + receiver->className() + " " + selector + "] threw, dropped");
    }
    return {};
}

}  // namespace bdx::ui
