// Public header: installed with the library for hosts to include.
#pragma once

#include <any>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/Object.h"

namespace bdx::ui {

class RuntimeObject;

// A variable an object's class declares, as the platform's run-time lists it: its name, the type
// encoding of its declared type ("@\"UILabel\"" for an object, empty where the compiler left none),
// the attributes of the property it backs, if any ("T@\"UILabel\",N,&,V_titleLabel"), and the object
// it refers to now. The model keeps the list per object, which is all a reader of one object needs.
struct InstanceVariable {
    std::string name;
    std::string typeEncoding;
    std::string propertyAttributes;
    std::weak_ptr<RuntimeObject> value;
};

// Base of every object of the host model that has a run-time class: views, windows, controllers,
// the application, events, touches, gesture recognizers and constraints. The class is per object and
// lives in the process's class registry, so a host can script classes of its own ("MyPrivateView", a
// kind of "UIView") without writing C++, and kind tests (isKindOf, isMemberOf, superclassName) work
// as for every other object of the library.
//
// Like the platform's interface classes, the model is not thread-safe: it is built, changed and read
// on the main thread only.
class RuntimeObject : public Object, public std::enable_shared_from_this<RuntimeObject> {
  public:
    ~RuntimeObject() override;
    RuntimeObject(const RuntimeObject&) = delete;
    RuntimeObject& operator=(const RuntimeObject&) = delete;

    const ClassInfo& classInfo() const override { return *classInfo_; }
    // Whether the method table holds an implementation of the selector for this object's class.
    bool respondsToSelector(std::string_view selector) const;

    // Values hung on the object under a key by code that does not own its class.
    void setAssociatedValue(const std::string& key, std::any value);
    // The value under the key, or an empty std::any.
    std::any associatedValue(const std::string& key) const;
    void removeAssociatedValue(const std::string& key);

    // The object's instance variables, in declaration order.
    const std::vector<InstanceVariable>& instanceVariables() const { return instanceVariables_; }
    // Declares (or re-points) a variable holding an object. The type encoding is built from
    // `declaredClass`, or from the value's class when that is empty.
    void setInstanceVariable(const std::string& name, const std::shared_ptr<RuntimeObject>& value,
                             const std::string& declaredClass = "");
    // Declares a variable exactly as given (a Swift-style one without type encoding, for example).
    void addInstanceVariable(InstanceVariable variable);
    // The variable's current value, or nullptr.
    std::shared_ptr<RuntimeObject> instanceVariableValue(std::string_view name) const;
    // Attributes of the property of that name, as the platform's property_getAttributes gives
    // them; empty when there is none.
    std::string propertyAttributes(std::string_view name) const;

  protected:
    // Registers `className` as a kind of `superclass` when it is not known yet; a name already known
    // keeps its first registration.
    RuntimeObject(const std::string& className, std::string_view superclass);

  private:
    const ClassInfo* classInfo_;
    std::map<std::string, std::any, std::less<>> associated_;
    std::vector<InstanceVariable> instanceVariables_;
};

}  // namespace bdx::ui
