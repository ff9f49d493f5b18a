#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "foundation/Value.h"

// A setting whose default is computed at each read until somebody sets it, so that the default can
// follow other settings (the language, a feature flag) while an explicit choice always wins.
class BDXEditableValue {
  public:
    using DefaultValueBlock = std::function<bdx::Value()>;

    explicit BDXEditableValue(DefaultValueBlock defaultValueBlock);
    static std::shared_ptr<BDXEditableValue> initWithDefaultValueBlock(DefaultValueBlock defaultValueBlock);

    // The set value once set, also when it was set to nothing (null); until then the default block's
    // answer at this moment, or null without a block.
    bdx::Value value() const;
    void setValue(const bdx::Value& value);
    bool isSet() const;

    // "Current value: <value> - is set: <YES|NO>".
    std::string description() const;

  private:
    // The public layer sets a value on its thread while captures read it on theirs.
    mutable std::mutex mutex_;
    bool isSet_ = false;
    std::shared_ptr<const bdx::Value> value_;
    DefaultValueBlock defaultValueBlock_;
};
