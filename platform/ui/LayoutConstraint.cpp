#include "platform/ui/LayoutConstraint.h"

namespace bdx::ui {

std::shared_ptr<LayoutConstraint> LayoutConstraint::make(const std::shared_ptr<RuntimeObject>& firstItem,
                                                         LayoutAttribute firstAttribute,
                                                         LayoutRelation relation,
                                                         const std::shared_ptr<RuntimeObject>& secondItem,
                                                         LayoutAttribute secondAttribute, double multiplier,
                                                         double constant) {
    auto constraint = std::make_shared<LayoutConstraint>();
    constraint->firstItem_ = firstItem;
    constraint->firstAttribute_ = firstAttribute;
    constraint->relation_ = relation;
    constraint->secondItem_ = secondItem;
    constraint->secondAttribute_ = secondAttribute;
    constraint->multiplier_ = multiplier;
    constraint->constant_ = constant;
    return constraint;
}

}  // namespace bdx::ui
