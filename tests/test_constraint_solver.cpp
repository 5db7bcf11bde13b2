#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <random>
#include <vector>

#include "platform/view/ConstraintSolver.h"

namespace corvana {
namespace {

using R = Relation;
constexpr double kRequired = strength::kRequired, kStrong = strength::kStrong, kMedium = strength::kMedium,
                 kWeak = strength::kWeak;

// Three unknowns; `add` expects the constraint to be taken.
struct System {
  ConstraintSolver solver;
  Variable x = solver.addVariable("x"), y = solver.addVariable("y"), z = solver.addVariable("z");
  std::vector<ConstraintId> ids;
  ConstraintId add(const Expression& lhs, R relation, const Expression& rhs, double priority = kRequired) {
    const AddResult result = solver.addConstraint(lhs, relation, rhs, priority);
    EXPECT_TRUE(result.ok()) << "refused with status " << static_cast<int>(result.status);
    ids.push_back(result.id);
    return result.id;
  }
  std::array<double, 3> values() const { return {solver.value(x), solver.value(y), solver.value(z)}; }
};

void expectValues(const System& s, const std::array<double, 3>& expected) {
  const auto values = s.values();
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(values[i], expected[i], 1e-6) << "xyz"[i];
}

struct Case {
  const char* name;
  void (*build)(System&);
  std::array<double, 3> expected;
};

void run(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    System s;
    c.build(s);
    expectValues(s, c.expected);
  }
}

TEST(ConstraintSolver, SolvesEqualities) {
  run({
      {"one", [](System& s) { s.add(s.x, R::Equal, 10); }, {10, 0, 0}},
      {"two unknowns", [](System& s) { s.add(s.x + s.y, R::Equal, 10), s.add(s.x - s.y, R::Equal, 2); }, {6, 4, 0}},
      {"coefficients", [](System& s) { s.add(2 * s.x + 3 * s.y, R::Equal, 12), s.add(s.x, R::Equal, 3); }, {3, 2, 0}},
      {"multiplier", [](System& s) { s.add(s.x, R::Equal, 0.5 * s.y + 8), s.add(s.y, R::Equal, 100); }, {58, 100, 0}},
      {"chain", [](System& s) {
         s.add(s.x + s.y + s.z, R::Equal, 30), s.add(s.x, R::Equal, s.y), s.add(s.y, R::Equal, s.z);
       }, {10, 10, 10}},
      {"implied by two others", [](System& s) {
         s.add(s.x + s.y, R::Equal, 10), s.add(s.x - s.y, R::Equal, 2), s.add(3 * s.x + s.y, R::Equal, 22);
       }, {6, 4, 0}},
      {"twice", [](System& s) { s.add(s.x, R::Equal, 10), s.add(s.x, R::Equal, 10); }, {10, 0, 0}},
      {"repeated terms", [](System& s) { s.add(s.x, R::Equal, 2 * s.x - 5), s.add(s.y + s.y, R::Equal, s.x + 1); },
       {5, 3, 0}},
      {"weak only", [](System& s) { s.add(s.x, R::Equal, 10, kWeak), s.add(s.y, R::Equal, s.x + 5, kWeak); },
       {10, 15, 0}},
  });
}

TEST(ConstraintSolver, SolvesInequalities) {
  run({
      {"between two unknowns", [](System& s) {
         s.add(s.x, R::LessOrEqual, s.y), s.add(s.y, R::LessOrEqual, 100), s.add(s.x, R::GreaterOrEqual, 50);
         s.add(s.x, R::Equal, 200, kWeak);
       }, {100, 100, 0}},
      {"same, the pull first", [](System& s) {
         s.add(s.x, R::Equal, 200, kWeak), s.add(s.x, R::LessOrEqual, s.y), s.add(s.y, R::LessOrEqual, 100);
       }, {100, 100, 0}},
      {"lower bound", [](System& s) { s.add(s.x, R::GreaterOrEqual, 10), s.add(s.x, R::Equal, 0, kWeak); }, {10, 0, 0}},
      {"pinned from both sides", [](System& s) {
         s.add(s.x, R::LessOrEqual, 10), s.add(s.x, R::GreaterOrEqual, 10), s.add(s.x, R::Equal, 0, kStrong);
       }, {10, 0, 0}},
      {"gap", [](System& s) {
         s.add(s.x - s.y, R::GreaterOrEqual, 5), s.add(s.y, R::GreaterOrEqual, 3);
         s.add(s.x, R::Equal, 0, kWeak), s.add(s.y, R::Equal, 0, kWeak);
       }, {8, 3, 0}},
      {"budget", [](System& s) {
         s.add(2 * s.x + s.y, R::LessOrEqual, 10), s.add(s.x, R::GreaterOrEqual, 0), s.add(s.y, R::GreaterOrEqual, 0);
         s.add(s.x, R::Equal, 10, kMedium), s.add(s.y, R::Equal, 10, kWeak);
       }, {5, 0, 0}},
      {"cycle", [](System& s) {
         s.add(s.x, R::LessOrEqual, s.y), s.add(s.y, R::LessOrEqual, s.z), s.add(s.z, R::LessOrEqual, s.x);
         s.add(s.x, R::Equal, 7, kWeak);
       }, {7, 7, 7}},
      {"cycle with gaps", [](System& s) {
         s.add(s.x + 10, R::LessOrEqual, s.y), s.add(s.y + 10, R::LessOrEqual, s.z);
         s.add(s.z, R::LessOrEqual, s.x + 20), s.add(s.y, R::Equal, 50, kWeak);
       }, {40, 50, 60}},
      {"required pushes a preference", [](System& s) {
         s.add(s.x, R::GreaterOrEqual, s.y + 10), s.add(s.y, R::Equal, 50, kStrong), s.add(s.x, R::Equal, 55, kMedium);
       }, {60, 50, 0}},
  });
}

TEST(ConstraintSolver, SettlesPrioritiesOneLevelAtATime) {
  run({
      {"strong, medium, weak", [](System& s) {
         s.add(s.x, R::Equal, 30, kWeak), s.add(s.x, R::Equal, 20, kMedium), s.add(s.x, R::Equal, 10, kStrong);
       }, {10, 0, 0}},
      {"required over strong", [](System& s) { s.add(s.x, R::Equal, 10, kStrong), s.add(s.x, R::LessOrEqual, 5); },
       {5, 0, 0}},
      {"one level over many just below", [](System& s) {
         for (int i = 0; i < 100; ++i) s.add(s.x, R::Equal, 100, 499);
         s.add(s.x, R::Equal, 10, 500);
       }, {10, 0, 0}},
      {"weak over many lower numbers", [](System& s) {
         s.add(s.x, R::Equal, 30, kWeak);
         for (int i = 0; i < 50; ++i) s.add(s.x, R::Equal, 0, 1);
       }, {30, 0, 0}},
      {"fractional priorities", [](System& s) {
         s.add(s.x, R::Equal, 3, 0.5);
         for (int i = 0; i < 100; ++i) s.add(s.x, R::Equal, 9, 0.25);
       }, {3, 0, 0}},
      // Two strong constraints 10 apart cost 10 anywhere between them; the medium one picks the point.
      {"lower level picks within a tie", [](System& s) {
         s.add(s.x, R::Equal, 10, kStrong), s.add(s.x, R::Equal, 20, kStrong), s.add(s.x, R::Equal, 15, kMedium);
       }, {15, 0, 0}},
      {"lower level outside a tie", [](System& s) {
         s.add(s.x, R::Equal, 10, kStrong), s.add(s.x, R::Equal, 20, kStrong), s.add(s.x, R::Equal, 30, kMedium);
       }, {20, 0, 0}},
      {"equal pulls settle on the median", [](System& s) {
         s.add(s.x, R::Equal, 1, kWeak), s.add(s.x, R::Equal, 2, kWeak), s.add(s.x, R::Equal, 10, kWeak);
       }, {2, 0, 0}},
      {"weak equality spreads a sum", [](System& s) {
         s.add(s.x + s.y, R::Equal, 100), s.add(s.x, R::Equal, s.y, kWeak);
       }, {50, 50, 0}},
      {"medium equalities spread, weak pull ignored", [](System& s) {
         s.add(s.x + s.y + s.z, R::Equal, 90), s.add(s.x, R::Equal, s.y, kMedium), s.add(s.y, R::Equal, s.z, kMedium);
         s.add(s.x, R::Equal, 0, kWeak);
       }, {30, 30, 30}},
  });
}

TEST(ConstraintSolver, ChoosesAmongEqualCostSolutionsTheSameWayEachTime) {
  // Every split of 100 costs 100 at the weak level; any of them will do, but always the same one.
  const auto solve = [] {
    System s;
    s.add(s.x + s.y, R::Equal, 100), s.add(s.x, R::Equal, 0, kWeak), s.add(s.y, R::Equal, 0, kWeak);
    return s.values();
  };
  const auto first = solve();
  EXPECT_NEAR(first[0] + first[1], 100, 1e-6);
  EXPECT_GE(first[0], -1e-6);
  EXPECT_GE(first[1], -1e-6);
  EXPECT_EQ(first, solve());
}

TEST(ConstraintSolver, RefusesConflictingRequiredConstraintsAndStaysUsable) {
  struct Conflict {
    const char* name;
    void (*base)(System&);
    AddResult (*conflict)(System&);
  };
  const Conflict cases[] = {
      {"two values", [](System& s) { s.add(s.x, R::Equal, 10); },
       [](System& s) { return s.solver.addConstraint(s.x, R::Equal, 20); }},
      {"empty range", [](System& s) { s.add(s.x, R::GreaterOrEqual, 10); },
       [](System& s) { return s.solver.addConstraint(s.x, R::LessOrEqual, 5); }},
      {"over-determined", [](System& s) { s.add(s.x + s.y, R::Equal, 10), s.add(s.x, R::Equal, 4); },
       [](System& s) { return s.solver.addConstraint(s.y, R::Equal, 7); }},
      {"cycle", [](System& s) { s.add(s.x + 1, R::LessOrEqual, s.y); },
       [](System& s) { return s.solver.addConstraint(s.y + 1, R::LessOrEqual, s.x); }},
      {"outside a triangle", [](System& s) {
         s.add(s.x, R::GreaterOrEqual, 0), s.add(s.y, R::GreaterOrEqual, 0), s.add(s.x + s.y, R::LessOrEqual, 10);
       }, [](System& s) { return s.solver.addConstraint(s.x - s.y, R::GreaterOrEqual, 20); }},
      {"among weaker ones", [](System& s) {
         s.add(s.x, R::GreaterOrEqual, 0), s.add(s.x, R::Equal, 50, kWeak), s.add(s.y, R::Equal, s.x + 5);
       }, [](System& s) { return s.solver.addConstraint(s.y, R::LessOrEqual, 2); }},
  };
  for (const Conflict& c : cases) {
    SCOPED_TRACE(c.name);
    System s;
    c.base(s);
    const auto before = s.values();
    EXPECT_EQ(c.conflict(s).status, SolverStatus::Unsatisfiable);
    expectValues(s, before);
    s.add(s.z, R::Equal, 42);
    expectValues(s, {before[0], before[1], 42});
    for (const ConstraintId id : s.ids) EXPECT_TRUE(s.solver.removeConstraint(id));
    EXPECT_TRUE(c.conflict(s).ok());
  }
}

TEST(ConstraintSolver, RefusesInvalidOrImpossibleInputAndChangesNothing) {
  System s;
  s.add(s.x, R::Equal, 10);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const double priority : {0.0, -1.0, nan}) {
    EXPECT_EQ(s.solver.addConstraint(s.x, R::Equal, 1, priority).status, SolverStatus::InvalidPriority);
  }
  for (const Expression& bad : {Expression(Variable{}), Expression(Variable{999}), s.y * nan,
                                s.y + std::numeric_limits<double>::infinity()}) {
    EXPECT_EQ(s.solver.addConstraint(bad, R::Equal, 1, kWeak).status, SolverStatus::InvalidExpression);
  }
  // Not invalid, but never satisfiable.
  EXPECT_EQ(s.solver.addConstraint(0, R::Equal, 1).status, SolverStatus::Unsatisfiable);
  EXPECT_EQ(s.solver.addConstraint(1, R::LessOrEqual, 0).status, SolverStatus::Unsatisfiable);
  EXPECT_FALSE(s.solver.removeConstraint(ConstraintId{}));
  EXPECT_TRUE(s.solver.removeConstraint(s.ids[0]));
  EXPECT_FALSE(s.solver.removeConstraint(s.ids[0]));
  s.add(s.x, R::Equal, 3);
  expectValues(s, {3, 0, 0});
}

TEST(ConstraintSolver, RemovingConstraintsRestoresTheEarlierSolution) {
  struct Removal {
    const char* name;
    void (*base)(System&);
    void (*extra)(System&);
  };
  const Removal cases[] = {
      {"required over weak", [](System& s) { s.add(s.x, R::Equal, 10, kWeak), s.add(s.y, R::Equal, 20, kWeak); },
       [](System& s) { s.add(s.x, R::Equal, 50), s.add(s.y, R::GreaterOrEqual, s.x + 5); }},
      {"strong against a bound", [](System& s) {
         s.add(s.x + s.y, R::Equal, 100), s.add(s.x, R::Equal, 30, kWeak), s.add(s.y, R::Equal, 40, kMedium);
       }, [](System& s) { s.add(s.x, R::Equal, 10, kStrong), s.add(s.y, R::LessOrEqual, 50); }},
      {"closing a cycle", [](System& s) {
         s.add(s.x + 10, R::LessOrEqual, s.y), s.add(s.y + 10, R::LessOrEqual, s.z);
         s.add(s.x, R::Equal, 0, kWeak), s.add(s.z, R::Equal, 100, kWeak), s.add(s.y, R::Equal, 50, kWeak);
       }, [](System& s) { s.add(s.z, R::LessOrEqual, s.x + 20); }},
      {"every kind", [](System& s) { s.add(s.x, R::Equal, 5, kWeak), s.add(s.y, R::Equal, s.x); },
       [](System& s) {
         s.add(s.x, R::GreaterOrEqual, 10), s.add(s.x, R::LessOrEqual, 20), s.add(s.x, R::Equal, 15, kStrong);
         s.add(s.x, R::Equal, 12, kMedium), s.add(s.z, R::Equal, s.x + s.y);
       }},
  };
  for (const Removal& c : cases) {
    for (const bool reverse : {false, true}) {
      SCOPED_TRACE(std::string(c.name) + (reverse ? ", removed last first" : ", removed first first"));
      System s;
      c.base(s);
      const auto before = s.values();
      const size_t baseCount = s.ids.size();
      c.extra(s);
      const auto with = s.values();
      ASSERT_NE(with, before);
      std::vector<ConstraintId> extra(s.ids.begin() + static_cast<long>(baseCount), s.ids.end());
      if (reverse) std::reverse(extra.begin(), extra.end());
      for (const ConstraintId id : extra) EXPECT_TRUE(s.solver.removeConstraint(id));
      expectValues(s, before);
      c.extra(s);
      expectValues(s, with);
    }
  }
}

TEST(ConstraintSolver, RemovesRedundantRequiredConstraintsInAnyOrder) {
  std::array<int, 3> order{0, 1, 2};
  do {
    System s;
    s.add(s.x, R::Equal, 10), s.add(2 * s.x, R::Equal, 20), s.add(s.x, R::GreaterOrEqual, 10);
    s.add(s.x, R::Equal, 3, kWeak), s.add(s.y, R::Equal, s.x + 1);
    for (int removed = 0; removed < 3; ++removed) {
      EXPECT_TRUE(s.solver.removeConstraint(s.ids[static_cast<size_t>(order[static_cast<size_t>(removed)])]));
      const double x = removed < 2 ? 10 : 3;
      expectValues(s, {x, x + 1, 0});
    }
  } while (std::next_permutation(order.begin(), order.end()));
}

// ---- Against an exhaustive search ----------------------------------------------------------------------------

// a * x + b * y + c (relation) 0
struct Linear {
  double a, b, c;
  R relation;
  double priority;
};
constexpr std::array<double, 4> kLevels = {kStrong, kMedium, kWeak, 1};
using Errors = std::array<double, kLevels.size()>;

double violation(const Linear& k, double x, double y) {
  const double v = k.a * x + k.b * y + k.c;
  return k.relation == R::Equal ? std::abs(v) : std::max(0.0, k.relation == R::LessOrEqual ? v : -v);
}

bool holds(const std::vector<Linear>& system, double x, double y, double tolerance) {
  return std::all_of(system.begin(), system.end(), [&](const Linear& k) {
    return k.priority < kRequired || violation(k, x, y) <= tolerance;
  });
}

Errors errorsAt(const std::vector<Linear>& system, double x, double y) {
  Errors errors{};
  for (const Linear& k : system) {
    const auto level = std::find(kLevels.begin(), kLevels.end(), k.priority);
    if (level != kLevels.end()) errors[static_cast<size_t>(level - kLevels.begin())] += violation(k, x, y);
  }
  return errors;
}

// The least errors, level by level, over the crossings of every two constraints' lines: with the required box
// bounding the plane, the lexicographic optimum is at one of them. None when the required ones share no point.
std::optional<Errors> bestErrors(const std::vector<Linear>& system) {
  std::optional<Errors> best;
  for (size_t i = 0; i < system.size(); ++i) {
    for (size_t j = i + 1; j < system.size(); ++j) {
      const Linear &p = system[i], &q = system[j];
      const double det = p.a * q.b - q.a * p.b;
      if (std::abs(det) < 1e-12) continue;
      const double x = (p.b * q.c - q.b * p.c) / det, y = (q.a * p.c - p.a * q.c) / det;
      if (!holds(system, x, y, 1e-7)) continue;
      const Errors errors = errorsAt(system, x, y);
      const auto lower = std::mismatch(errors.begin(), errors.end(), best ? best->begin() : errors.begin(),
                                       [](double e, double b) { return std::abs(e - b) <= 1e-7; });
      if (!best || (lower.first != errors.end() && *lower.first < *lower.second)) best = errors;
    }
  }
  return best;
}

TEST(ConstraintSolver, AgreesWithAnExhaustiveSearchOnRandomSystems) {
  std::mt19937 random(20240611);
  const auto pick = [&random](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  const double priorities[] = {kRequired, kStrong, kMedium, kWeak, 1};
  for (int run = 0; run < 200; ++run) {
    ConstraintSolver solver;
    const Variable x = solver.addVariable("x"), y = solver.addVariable("y");
    std::vector<Linear> system = {{1, 0, 0, R::GreaterOrEqual, kRequired}, {1, 0, -100, R::LessOrEqual, kRequired},
                                  {0, 1, 0, R::GreaterOrEqual, kRequired}, {0, 1, -100, R::LessOrEqual, kRequired}};
    std::vector<ConstraintId> ids;
    for (const Linear& k : system) ids.push_back(solver.addConstraint(k.a * x + k.b * y + k.c, k.relation, 0).id);
    for (int step = 0; step < 30; ++step) {
      SCOPED_TRACE(testing::Message() << "run " << run << ", step " << step);
      if (ids.size() > 4 && pick(4) == 0) {
        const size_t at = 4 + static_cast<size_t>(pick(static_cast<int>(ids.size()) - 4));
        ASSERT_TRUE(solver.removeConstraint(ids[at]));
        ids.erase(ids.begin() + static_cast<long>(at)), system.erase(system.begin() + static_cast<long>(at));
      } else {
        Linear k{double(pick(7) - 3), double(pick(7) - 3), double(pick(301) - 150), R(pick(3)), priorities[pick(5)]};
        // Often one that follows from others or repeats one: a multiple of one, or a sum of two equalities.
        const Linear &p = system[static_cast<size_t>(pick(static_cast<int>(system.size())))],
                     &q = system[static_cast<size_t>(pick(static_cast<int>(system.size())))];
        if (pick(3) == 0) k = {2 * p.a, 2 * p.b, 2 * p.c, p.relation, pick(2) ? p.priority : k.priority};
        if (pick(2) == 0 && p.relation == R::Equal && q.relation == R::Equal && p.priority == q.priority) {
          k = {p.a + 2 * q.a, p.b + 2 * q.b, p.c + 2 * q.c, R::Equal, p.priority};
        }
        if (k.a == 0 && k.b == 0) k.a = 1;
        const double x0 = solver.value(x), y0 = solver.value(y);
        const AddResult added = solver.addConstraint(k.a * x + k.b * y + k.c, k.relation, 0, k.priority);
        system.push_back(k);
        ASSERT_EQ(added.ok(), bestErrors(system).has_value()) << "status " << static_cast<int>(added.status);
        if (added.ok()) {
          ids.push_back(added.id);
        } else {
          system.pop_back();
          ASSERT_EQ(solver.value(x), x0);
          ASSERT_EQ(solver.value(y), y0);
        }
      }
      const double vx = solver.value(x), vy = solver.value(y);
      ASSERT_TRUE(holds(system, vx, vy, 1e-6)) << vx << ", " << vy;
      const Errors best = *bestErrors(system), got = errorsAt(system, vx, vy);
      for (size_t level = 0; level < best.size(); ++level) ASSERT_NEAR(got[level], best[level], 1e-6) << level;
    }
  }
}

// ---- Layout -----------------------------------------------------------------------------------------------------

// What the layout engine makes of a view's intrinsic size on one axis.
void sizeStays(System& s, Variable size, double intrinsic, double hugging, double compression) {
  s.add(size, R::Equal, intrinsic, std::min(hugging, compression));
  s.add(size, R::GreaterOrEqual, intrinsic, compression);
  s.add(size, R::LessOrEqual, intrinsic, hugging);
}

TEST(ConstraintSolver, IntrinsicSizesGiveWayByHuggingAndCompressionPriorities) {
  struct Sizing {
    double intrinsic, hugging, compression;
    R relation;
    double target, priority, expected;
  };
  const Sizing cases[] = {
      {150, 250, 750, R::LessOrEqual, 100, kRequired, 100},  // compressed by a required limit
      {150, 250, 750, R::LessOrEqual, 100, 500, 150},        // resists a weaker limit
      {150, 250, 400, R::LessOrEqual, 100, 500, 100},        // but not a stronger one
      {50, 250, 750, R::Equal, 200, 500, 200},               // stretched
      {50, 750, 750, R::Equal, 200, 500, 50},                // hugs
      {50, 250, 750, R::Equal, 200, 250, 50},                // two hugging rules outweigh one equal pull
      {50, 250, 750, R::GreaterOrEqual, 80, kRequired, 80},
  };
  for (const Sizing& c : cases) {
    SCOPED_TRACE(testing::Message() << c.intrinsic << " " << c.hugging << " " << c.compression << " " << c.target);
    System s;
    sizeStays(s, s.x, c.intrinsic, c.hugging, c.compression);
    s.add(s.x, c.relation, c.target, c.priority);
    EXPECT_NEAR(s.solver.value(s.x), c.expected, 1e-6);
  }
}

struct Frame {
  Variable left, top, width, height;
  Expression right() const { return left + width; }
  Expression bottom() const { return top + height; }
  Expression centerX() const { return left + 0.5 * width; }
  Expression centerY() const { return top + 0.5 * height; }
};

TEST(ConstraintSolver, LaysOutACardOfTwoLabelsAndAButton) {
  struct Card {
    double bodyHeight, bodyCompression;
    std::array<std::array<double, 4>, 5> frames;  // screen, card, title, body, button
  };
  const Card cases[] = {
      {60, 750, {{{0, 0, 375, 667}, {16, 239.5, 343, 188}, {32, 259.5, 180, 24}, {32, 291.5, 311, 60},
                  {127.5, 363.5, 120, 44}}}},
      // Too tall for the screen: the body, which resists compression least, gives way.
      {700, 700, {{{0, 0, 375, 667}, {16, 20, 343, 627}, {32, 40, 180, 24}, {32, 72, 311, 499},
                   {127.5, 583, 120, 44}}}},
  };
  for (const Card& c : cases) {
    SCOPED_TRACE(c.bodyHeight);
    System s;
    std::array<Frame, 5> views;
    for (Frame& v : views) {
      v = {s.solver.addVariable(), s.solver.addVariable(), s.solver.addVariable(), s.solver.addVariable()};
      // The current frame (all zero), below every constraint, as the layout engine keeps it.
      s.add(v.left, R::Equal, 0, 0.25), s.add(v.top, R::Equal, 0, 0.25);
      s.add(v.width, R::Equal, 0, 0.5), s.add(v.height, R::Equal, 0, 0.5);
    }
    const auto& [screen, card, title, body, button] = views;
    s.add(screen.left, R::Equal, 0), s.add(screen.top, R::Equal, 0);
    s.add(screen.width, R::Equal, 375), s.add(screen.height, R::Equal, 667);

    s.add(card.left, R::Equal, screen.left + 16), s.add(card.right(), R::Equal, screen.right() - 16);
    s.add(card.centerY(), R::Equal, screen.centerY());
    s.add(card.top, R::GreaterOrEqual, screen.top + 20), s.add(card.bottom(), R::LessOrEqual, screen.bottom() - 20);
    s.add(card.height, R::Equal, 0, 1);

    s.add(title.left, R::Equal, card.left + 16), s.add(title.right(), R::LessOrEqual, card.right() - 16);
    s.add(title.top, R::Equal, card.top + 20);
    sizeStays(s, title.width, 180, 250, 750), sizeStays(s, title.height, 24, 250, 750);

    s.add(body.left, R::Equal, card.left + 16), s.add(body.right(), R::Equal, card.right() - 16);
    s.add(body.top, R::Equal, title.bottom() + 8);
    sizeStays(s, body.width, 400, 250, 750), sizeStays(s, body.height, c.bodyHeight, 250, c.bodyCompression);

    s.add(button.centerX(), R::Equal, card.centerX()), s.add(button.top, R::Equal, body.bottom() + 12);
    s.add(button.bottom(), R::Equal, card.bottom() - 20);
    sizeStays(s, button.width, 120, 250, 750), sizeStays(s, button.height, 44, 250, 750);

    for (size_t i = 0; i < views.size(); ++i) {
      const Frame& v = views[i];
      const std::array<double, 4> got = {s.solver.value(v.left), s.solver.value(v.top), s.solver.value(v.width),
                                         s.solver.value(v.height)};
      for (size_t k = 0; k < 4; ++k) EXPECT_NEAR(got[k], c.frames[i][k], 1e-6) << "view " << i << ", value " << k;
    }
  }
}

}  // namespace
}  // namespace corvana
