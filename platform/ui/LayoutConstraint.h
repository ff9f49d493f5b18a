// Public header: installed with the library for hosts to include.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/ui/RuntimeObject.h"

namespace bdx::ui {

// The platform's layout attributes and their values (11 is both last baseline and baseline).
enum class LayoutAttribute {
    NotAnAttribute = 0,
    Left = 1,
    Right = 2,
    Top = 3,
    Bottom = 4,
    Leading = 5,
    Trailing = 6,
    Width = 7,
    Height = 8,
    CenterX = 9,
    CenterY = 10,
    LastBaseline = 11,
    Baseline = 11,
    FirstBaseline = 12,
    LeftMargin = 13,
    RightMargin = 14,
    TopMargin = 15,
    BottomMargin = 16,
    LeadingMargin = 17,
    TrailingMargin = 18,
    CenterXWithinMargins = 19,
    CenterYWithinMargins = 20,
};

enum class LayoutRelation { LessThanOrEqual = -1, Equal = 0, GreaterThanOrEqual = 1 };

inline constexpr float UILayoutPriorityRequired = 1000;

// A layout constraint as the library reads it: first item and attribute, relation, optional second
// item and attribute, multiplier, constant, priority. The model records constraints; it does not
// solve them. Items are held weakly, like the views that own the constraint.
class LayoutConstraint : public RuntimeObject {
  public:
    // The platform's constraintWithItem:attribute:relatedBy:toItem:attribute:multiplier:constant:.
    static std::shared_ptr<LayoutConstraint> make(const std::shared_ptr<RuntimeObject>& firstItem,
                                                  LayoutAttribute firstAttribute, LayoutRelation relation,
                                                  const std::shared_ptr<RuntimeObject>& secondItem,
                                                  LayoutAttribute secondAttribute, double multiplier,
                                                  double constant);

    explicit LayoutConstraint(std::string className = "NSLayoutConstraint",
                              std::string_view kindOf = "NSLayoutConstraint")
        : RuntimeObject(std::move(className), kindOf) {}

    std::shared_ptr<RuntimeObject> firstItem() const { return firstItem_.lock(); }
    LayoutAttribute firstAttribute() const { return firstAttribute_; }
    LayoutRelation relation() const { return relation_; }
    std::shared_ptr<RuntimeObject> secondItem() const { return secondItem_.lock(); }
    LayoutAttribute secondAttribute() const { return secondAttribute_; }
    double multiplier() const { return multiplier_; }
    double constant() const { return constant_; }
    void setConstant(double constant) { constant_ = constant; }
    float priority() const { return priority_; }
    void setPriority(float priority) { priority_ = priority; }
    bool isActive() const { return active_; }
    void setActive(bool active) { active_ = active; }

  private:
    std::weak_ptr<RuntimeObject> firstItem_;
    LayoutAttribute firstAttribute_ = LayoutAttribute::NotAnAttribute;
    LayoutRelation relation_ = LayoutRelation::Equal;
    std::weak_ptr<RuntimeObject> secondItem_;
    LayoutAttribute secondAttribute_ = LayoutAttribute::NotAnAttribute;
    double multiplier_ = 1;
    double constant_ = 0;
    float priority_ = UILayoutPriorityRequired;
    bool active_ = false;
};

}  // namespace bdx::ui
