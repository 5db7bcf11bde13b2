#include "platform/view/LayoutEngine.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <unordered_map>
#include <unordered_set>

#include "platform/view/TextLayout.h"

// The solver.
//
// Every view the pass solves gets, per axis, four values in the coordinate space of the top of its tree: its
// minimum, maximum, size and centre; any two of them give the others. Views outside the subtree (the root's
// ancestors, other views a constraint names) and a root that translates its autoresizing mask are known from
// their current frames. A view of the subtree that translates its mask is tied to its superview by its frame
// (above every constraint, so it keeps that frame).
//
// Every relation becomes a rule "first = second * multiplier + constant" with a priority: the constraints held
// by the views of the subtree (and those held by the root's ancestors that name a view of the subtree), the
// intrinsic content size of each constrained view (an equality at the lower of its hugging and compression
// resistance priorities, plus "size >= intrinsic" at the compression resistance priority and "size <= intrinsic"
// at the hugging priority), then the view's current size (priority 0.5) and current origin (priority 0.25).
//
// Equalities are applied greedily, strongest first: the strongest rule that can fix an unknown value (one side
// known, the other not) fixes it, and the scan starts again from the strongest rule, until no rule can fix
// anything. A value about to be fixed is first clamped by every inequality at least as strong as the rule that
// fixes it, whose other side is known and whose attribute (on the same axis of the same view) is then determined;
// when a stronger equality ties the size of one axis to the size of the other (an aspect ratio), the inequalities
// of the other axis clamp the value too, through that ratio. Inequalities never fix a value on their own.
//
// What it does not do: it does not optimise (it is not Cassowary). Conflicts are settled by priority and by the
// order in which values become known, never by minimising the error of weaker constraints; an inequality only
// clamps values fixed after its other side is known (a required inequality can be left broken when its other
// side becomes known later); inequalities between two unknown values, a constraint between a value and another
// value of the same axis of the same view, and spreading a difference over several weaker constraints are not
// supported; multi-line labels get the height of their text at their solved width, but a width that depends on
// a height is not measured back. Constraints between views of different trees treat both trees' tops as the
// same origin.

namespace corvana {

namespace {

enum Slot : int { kMin = 0, kMax = 1, kSize = 2, kCenter = 3 };
constexpr float kTranslatedFramePriority = 2000.0f;  // a translated view's frame: above every constraint
constexpr float kCurrentSizePriority = 0.5f;
constexpr float kCurrentOriginPriority = 0.25f;

using AxisValues = std::array<std::optional<double>, 4>;
using ViewValues = std::array<AxisValues, 2>;

struct Term {
  const View* view = nullptr;
  int axis = 0;
  int slot = kMin;
};

struct Rule {
  Term first;
  LayoutRelation relation = LayoutRelation::Equal;
  Term second;  // no view: the right side is the constant alone
  double multiplier = 1.0;
  double constant = 0.0;
  float priority = kLayoutPriorityRequired;
  bool intrinsic = false;  // the constant is the first view's intrinsic size, measured when the rule is used
};

LayoutRelation flipped(LayoutRelation relation) {
  switch (relation) {
    case LayoutRelation::LessThanOrEqual: return LayoutRelation::GreaterThanOrEqual;
    case LayoutRelation::GreaterThanOrEqual: return LayoutRelation::LessThanOrEqual;
    default: return relation;
  }
}

std::optional<std::pair<int, int>> axisAndSlot(LayoutAttribute attribute) {
  switch (attribute) {
    case LayoutAttribute::Left:
    case LayoutAttribute::Leading: return std::pair{0, kMin};
    case LayoutAttribute::Right:
    case LayoutAttribute::Trailing: return std::pair{0, kMax};
    case LayoutAttribute::Top: return std::pair{1, kMin};
    case LayoutAttribute::Bottom: return std::pair{1, kMax};
    case LayoutAttribute::Width: return std::pair{0, kSize};
    case LayoutAttribute::Height: return std::pair{1, kSize};
    case LayoutAttribute::CenterX: return std::pair{0, kCenter};
    case LayoutAttribute::CenterY: return std::pair{1, kCenter};
    default: return std::nullopt;
  }
}

// Fills every value of an axis once two of them are known.
void complete(AxisValues& values) {
  const auto& v = values;
  double min = 0, size = 0;
  if (v[kMin] && v[kSize]) {
    min = *v[kMin], size = *v[kSize];
  } else if (v[kMin] && v[kMax]) {
    min = *v[kMin], size = *v[kMax] - *v[kMin];
  } else if (v[kMin] && v[kCenter]) {
    min = *v[kMin], size = 2 * (*v[kCenter] - *v[kMin]);
  } else if (v[kMax] && v[kSize]) {
    size = *v[kSize], min = *v[kMax] - size;
  } else if (v[kMax] && v[kCenter]) {
    size = 2 * (*v[kMax] - *v[kCenter]), min = *v[kMax] - size;
  } else if (v[kSize] && v[kCenter]) {
    size = *v[kSize], min = *v[kCenter] - size / 2;
  } else {
    return;
  }
  values = {min, min + size, size, min + size / 2};
}

bool isComplete(const AxisValues& values) { return values[kMin] && values[kSize]; }

class Solver {
 public:
  explicit Solver(View& root) : root_(root) {
    collect(root);
    buildFrameRules();
    buildConstraintRules();
    std::stable_sort(rules_.begin(), rules_.end(),
                     [](const Rule& a, const Rule& b) { return a.priority > b.priority; });
  }

  void solve() {
    // Every rule that fires fixes at least one unknown value; the bound only guards against a rule set that
    // would not settle.
    const size_t limit = 8 * (order_.size() + 1) + rules_.size();
    for (size_t round = 0; round < limit; ++round) {
      const bool progressed = std::any_of(rules_.begin(), rules_.end(), [this](const Rule& rule) { return fire(rule); });
      if (!progressed) break;
    }
  }

  void writeFrames() {
    for (View* view : order_) {
      if (!isFree(view) || view->translatesAutoresizingMaskIntoConstraints()) continue;
      const ViewValues& values = valuesOf(view);
      if (!isComplete(values[0]) || !isComplete(values[1])) continue;
      Point base;
      if (const View* parent = LayoutEngine::parentOf(*view)) {
        const ViewValues& parentValues = valuesOf(parent);
        if (!isComplete(parentValues[0]) || !isComplete(parentValues[1])) continue;
        base = {*parentValues[0][kMin], *parentValues[1][kMin]};
      }
      const Rect frame = makeRect(*values[0][kMin] - base.x, *values[1][kMin] - base.y, *values[0][kSize],
                                  *values[1][kSize]);
      if (frame != view->frame()) view->setFrame(frame);
    }
  }

 private:
  void collect(View& view) {
    order_.push_back(&view);
    subtree_.insert(&view);
    for (const auto& subview : view.subviews()) collect(*subview);
  }

  // Whether the pass finds the view's frame (rather than knowing it beforehand).
  bool isFree(const View* view) const {
    if (!subtree_.contains(view)) return false;
    return view != &root_ || !root_.translatesAutoresizingMaskIntoConstraints();
  }

  ViewValues& valuesOf(const View* view) {
    const auto found = values_.find(view);
    if (found != values_.end()) return found->second;
    ViewValues& values = values_[view];
    if (!isFree(view)) {
      const Point origin = LayoutEngine::originInTree(view);
      const Size size = view->frame().size;
      values[0][kMin] = origin.x, values[0][kSize] = size.width;
      values[1][kMin] = origin.y, values[1][kSize] = size.height;
      complete(values[0]), complete(values[1]);
    }
    return values;
  }

  std::optional<double> valueOf(const Term& term) { return valuesOf(term.view)[term.axis][term.slot]; }

  void buildFrameRules() {
    for (const View* view : order_) {
      if (!isFree(view)) continue;
      const View* parent = LayoutEngine::parentOf(*view);
      const Rect frame = view->frame();
      const double origin[2] = {frame.origin.x, frame.origin.y};
      const double size[2] = {frame.size.width, frame.size.height};
      const bool translated = view->translatesAutoresizingMaskIntoConstraints();
      const float sizePriority = translated ? kTranslatedFramePriority : kCurrentSizePriority;
      const float originPriority = translated ? kTranslatedFramePriority : kCurrentOriginPriority;
      for (int axis = 0; axis < 2; ++axis) {
        const auto layoutAxis = axis == 0 ? LayoutAxis::Horizontal : LayoutAxis::Vertical;
        rules_.push_back({{view, axis, kSize}, LayoutRelation::Equal, {}, 1.0, size[axis], sizePriority, false});
        rules_.push_back({{view, axis, kMin}, LayoutRelation::Equal, {parent, axis, kMin}, 1.0, origin[axis],
                          originPriority, false});
        if (translated) continue;
        const float resistance = view->contentCompressionResistancePriority(layoutAxis);
        const float hugging = view->contentHuggingPriority(layoutAxis);
        const Term sizeTerm{view, axis, kSize};
        rules_.push_back({sizeTerm, LayoutRelation::Equal, {}, 1.0, 0.0, std::min(resistance, hugging), true});
        rules_.push_back({sizeTerm, LayoutRelation::GreaterThanOrEqual, {}, 1.0, 0.0, resistance, true});
        rules_.push_back({sizeTerm, LayoutRelation::LessThanOrEqual, {}, 1.0, 0.0, hugging, true});
      }
    }
  }

  void addConstraint(const LayoutConstraint& constraint) {
    const auto first = constraint.firstItem();
    const auto firstPlace = axisAndSlot(constraint.firstAttribute());
    if (!first || !firstPlace) return;
    Rule rule;
    rule.first = {first.get(), firstPlace->first, firstPlace->second};
    rule.relation = constraint.relation();
    rule.multiplier = constraint.multiplier();
    rule.constant = constraint.constant();
    rule.priority = std::clamp(constraint.priority(), 1.0f, kLayoutPriorityRequired);
    const auto second = constraint.secondItem();
    const auto secondPlace = axisAndSlot(constraint.secondAttribute());
    if (secondPlace) {
      if (!second) return;  // the second item is gone
      rule.second = {second.get(), secondPlace->first, secondPlace->second};
    } else if (rule.first.slot != kSize) {
      // A position against a constant alone: taken in the superview's coordinates.
      rule.second = {LayoutEngine::parentOf(*first), rule.first.axis, kMin};
      rule.multiplier = 1.0;
    }
    rules_.push_back(rule);
  }

  void buildConstraintRules() {
    for (const View* view : order_) {
      for (const auto& constraint : view->constraints()) addConstraint(*constraint);
    }
    // Constraints held above the root count for the views of the subtree they name.
    for (const View* holder = LayoutEngine::parentOf(root_); holder; holder = LayoutEngine::parentOf(*holder)) {
      for (const auto& constraint : holder->constraints()) {
        const auto first = constraint->firstItem();
        const auto second = constraint->secondItem();
        if ((first && isFree(first.get())) || (second && isFree(second.get()))) addConstraint(*constraint);
      }
    }
  }

  std::optional<double> intrinsicSize(const View* view, int axis) {
    const Size size = view->intrinsicContentSize();
    double value = axis == 0 ? size.width : size.height;
    if (axis == 1) {
      const auto* label = dynamic_cast<const Label*>(view);
      const auto width = valuesOf(view)[0][kSize];
      if (label && label->numberOfLines() != 1 && width) value = TextLayout::sizeOfLabel(*label, *width).height;
    }
    if (value < 0) return std::nullopt;
    return value;
  }

  // The right side of the rule, when known.
  std::optional<double> rightSide(const Rule& rule) {
    if (!rule.second.view) return rule.intrinsic ? intrinsicSize(rule.first.view, rule.first.axis) : rule.constant;
    const auto second = valueOf(rule.second);
    if (!second) return std::nullopt;
    return rule.multiplier * *second + rule.constant;
  }

  bool fire(const Rule& rule) {
    if (rule.relation != LayoutRelation::Equal) return false;
    const auto first = valueOf(rule.first);
    if (!first) {
      const auto right = rightSide(rule);
      if (!right) return false;
      assign(rule.first, *right, rule.priority);
      return true;
    }
    if (!rule.second.view || rule.multiplier == 0 || valueOf(rule.second)) return false;
    assign(rule.second, (*first - rule.constant) / rule.multiplier, rule.priority);
    return true;
  }

  void assign(const Term& term, double value, float priority) {
    value = clamp(term, value, priority, true);
    AxisValues& values = valuesOf(term.view)[term.axis];
    values[term.slot] = value;
    complete(values);
  }

  // The value of `slot` of the axis as a linear function a * x + b of the value x given to `given`, with what is
  // known of the axis; none when it does not follow.
  static std::optional<std::pair<double, double>> slotAsFunction(const AxisValues& known, int given, int slot) {
    if (slot == given) return std::pair{1.0, 0.0};
    for (int other = 0; other < 4; ++other) {
      if (other == given || !known[other]) continue;
      auto at = [&](double x) {
        AxisValues values{};
        values[other] = known[other];
        values[given] = x;
        complete(values);
        return *values[slot];
      };
      const double b = at(0.0);
      return std::pair{at(1.0) - b, b};
    }
    return std::nullopt;
  }

  double clamp(const Term& term, double value, float priority, bool throughRatio) {
    const AxisValues known = valuesOf(term.view)[term.axis];
    // Weakest first, so that the strongest inequality has the last word.
    for (auto rule = rules_.rbegin(); rule != rules_.rend(); ++rule) {
      if (rule->priority < priority || rule->relation == LayoutRelation::Equal) continue;
      int slot = 0;
      LayoutRelation relation = rule->relation;
      double bound = 0;
      const bool onFirst = rule->first.view == term.view && rule->first.axis == term.axis;
      const bool onSecond = rule->second.view == term.view && rule->second.axis == term.axis;
      if (onFirst && !onSecond) {
        const auto right = rightSide(*rule);
        if (!right) continue;
        slot = rule->first.slot, bound = *right;
      } else if (onSecond && !onFirst) {
        const auto first = valueOf(rule->first);
        if (!first || rule->multiplier == 0) continue;
        slot = rule->second.slot, bound = (*first - rule->constant) / rule->multiplier;
        relation = flipped(relation);
        if (rule->multiplier < 0) relation = flipped(relation);
      } else {
        continue;
      }
      const auto line = slotAsFunction(known, term.slot, slot);
      if (!line || std::abs(line->first) < 1e-12) continue;
      const double limit = (bound - line->second) / line->first;
      if (line->first < 0) relation = flipped(relation);
      value = relation == LayoutRelation::LessThanOrEqual ? std::min(value, limit) : std::max(value, limit);
    }
    if (throughRatio && term.slot == kSize) value = clampThroughRatio(term, value, priority);
    return value;
  }

  // A stronger equality "size of this axis = size of the other axis * ratio + constant" on the same view carries
  // the inequalities of the other axis over to this one.
  double clampThroughRatio(const Term& term, double value, float priority) {
    for (const Rule& rule : rules_) {
      if (rule.priority <= priority) break;
      if (rule.relation != LayoutRelation::Equal || rule.first.view != term.view || rule.second.view != term.view ||
          rule.first.slot != kSize || rule.second.slot != kSize || rule.first.axis == rule.second.axis ||
          rule.multiplier == 0) {
        continue;
      }
      const bool termIsFirst = rule.first.axis == term.axis;
      const Term other = termIsFirst ? rule.second : rule.first;
      if (valueOf(other)) continue;
      const double implied = termIsFirst ? (value - rule.constant) / rule.multiplier
                                         : rule.multiplier * value + rule.constant;
      const double clamped = clamp(other, implied, priority, false);
      if (clamped == implied) continue;
      value = termIsFirst ? rule.multiplier * clamped + rule.constant : (clamped - rule.constant) / rule.multiplier;
    }
    return value;
  }

  View& root_;
  std::vector<View*> order_;
  std::unordered_set<const View*> subtree_;
  std::unordered_map<const View*, ViewValues> values_;
  std::vector<Rule> rules_;
};

}  // namespace

void LayoutEngine::solveFrames(View& root) {
  Solver solver(root);
  solver.solve();
  solver.writeFrames();
}

void LayoutEngine::layoutPass(View& root) {
  root.updateConstraintsIfNeeded();
  solveFrames(root);
  layoutSubviewsTopDown(root);
}

void LayoutEngine::layoutSubviewsTopDown(View& view) {
  view.layoutSubviews();
  view.needsLayout_ = false;
  const auto subviews = view.subviews();  // layoutSubviews may change them
  for (const auto& subview : subviews) layoutSubviewsTopDown(*subview);
}

}  // namespace corvana

namespace corvana {

Point LayoutEngine::originInTree(const View* view) {
  Point origin;
  for (const View* at = view; at; at = parentOf(*at)) {
    origin.x += at->frame().origin.x;
    origin.y += at->frame().origin.y;
  }
  return origin;
}

}  // namespace corvana
