#include "platform/ui/Runtime.h"

#include <mutex>

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

}  // namespace

std::shared_ptr<Runtime> Runtime::shared() {
    std::lock_guard lock(sharedMutex);
    if (!sharedRuntime) {
        sharedRuntime = std::make_shared<Runtime>();
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
    for (const auto& [name, superclass] : kBuiltInClasses) {
        registerClass(name, superclass, false);
    }
    Responder::installDefaultMethods(*this);
    Application::installDefaultMethods(*this);
    Window::installDefaultMethods(*this);
    ViewController::installDefaultMethods(*this);
}

bool Runtime::registerClass(const std::string& name, const std::string& superclass,
                            std::optional<bool> userDefined) {
    if (name.empty()) {
        platformLog("ui", "a class needs a name");
        return false;
    }
    std::unique_lock lock(mutex_);
    if (auto found = classes_.find(name); found != classes_.end()) {
        if (found->second.superclass != superclass) {
            platformLog("ui", "class " + name + " is already registered under '" + found->second.superclass +
                                  "'; kept that, not '" + superclass + "'");
        }
        return false;
    }
    if (!superclass.empty() && !classes_.contains(superclass)) {
        platformLog("ui", "class " + name + " names an unknown superclass '" + superclass + "'");
        return false;
    }
    // A new name cannot close a cycle: its superclass chain exists already and does not hold it.
    classes_.emplace(name, ClassEntry{superclass, userDefined.value_or(!inSystemNamespace(name))});
    return true;
}

bool Runtime::isClassRegistered(std::string_view name) const {
    std::shared_lock lock(mutex_);
    return classes_.find(name) != classes_.end();
}

std::string Runtime::superclassOf(std::string_view name) const {
    std::shared_lock lock(mutex_);
    auto found = classes_.find(name);
    return found == classes_.end() ? std::string() : found->second.superclass;
}

std::vector<std::string> Runtime::classChain(std::string_view name) const {
    std::shared_lock lock(mutex_);
    std::vector<std::string> chain;
    auto found = classes_.find(name);
    while (found != classes_.end()) {
        chain.push_back(found->first);
        found = found->second.superclass.empty() ? classes_.end() : classes_.find(found->second.superclass);
    }
    return chain;
}

bool Runtime::isSubclassOf(std::string_view name, std::string_view ancestor) const {
    std::shared_lock lock(mutex_);
    auto found = classes_.find(name);
    while (found != classes_.end()) {
        if (found->first == ancestor) {
            return true;
        }
        found = found->second.superclass.empty() ? classes_.end() : classes_.find(found->second.superclass);
    }
    return false;
}

bool Runtime::isUserDefined(std::string_view name) const {
    std::shared_lock lock(mutex_);
    auto found = classes_.find(name);
    return found != classes_.end() && found->second.userDefined;
}

std::shared_ptr<const Implementation> Runtime::lookup(std::string_view className, std::string_view selector,
                                                      std::string* holder) const {
    // Called with the lock held.
    Key key{std::string(className), std::string(selector)};
    while (true) {
        if (auto method = methods_.find(key); method != methods_.end()) {
            if (holder) {
                *holder = key.first;
            }
            return method->second;
        }
        auto entry = classes_.find(key.first);
        if (entry == classes_.end() || entry->second.superclass.empty()) {
            return nullptr;
        }
        key.first = entry->second.superclass;
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
    return (*implementation)(receiver, selector, arguments);
}

}  // namespace bdx::ui
