#include "corvana/view.h"

namespace corvana {

std::shared_ptr<LayoutConstraint> LayoutConstraint::constraintWithItem(const std::shared_ptr<View>& item,
                                                                       LayoutAttribute attribute,
                                                                       LayoutRelation relation,
                                                                       const std::shared_ptr<View>& toItem,
                                                                       LayoutAttribute toAttribute,
                                                                       double multiplier, double constant) {
  auto constraint = std::make_shared<LayoutConstraint>();
  constraint->firstItem_ = item;
  constraint->firstAttribute_ = attribute;
  constraint->relation_ = relation;
  constraint->secondItem_ = toItem;
  constraint->secondAttribute_ = toItem ? toAttribute : LayoutAttribute::NotAnAttribute;
  constraint->multiplier_ = multiplier;
  constraint->constant_ = constant;
  return constraint;
}

}  // namespace corvana
