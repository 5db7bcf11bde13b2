#pragma once

// A linear constraint solver for laying out views: the incremental simplex method of Cassowary (Badros, Borning
// and Stuckey, "The Cassowary Linear Arithmetic Constraint Solving Algorithm", 2001).
//
// What it guarantees, and why:
// - Required constraints (priority 1000 or more) hold in every solution. One that cannot hold together with the
//   required constraints already added is refused with Unsatisfiable and leaves the solver as it was: a layout
//   must learn that its constraints conflict, not get frames that quietly break one of them.
// - Weaker constraints are settled strictly by priority. The summed error of the constraints at one priority is
//   made as small as it can be before any lower priority is looked at, so no number of weaker constraints can
//   outweigh a stronger one (as they could if priorities were weights). Every positive priority is a level of its
//   own, fractions included: the view layer ranks a view's current frame below its 1..1000 scale.
// - Within one priority the errors are summed, so a violation that a stronger constraint forces goes where it
//   costs least, and equal-priority constraints that pull apart settle on a median, not an average.
// - Adding and removing constraints start from the current solution, and removing a constraint leaves the solver
//   as if it had never been added, up to the choice among equally good solutions.
// - The same calls in the same order give the same values. Ties are broken by creation order (Bland's rule),
//   which also keeps the simplex from cycling on degenerate layouts, where many constraints meet at one point.
//
// Values are doubles; coefficients smaller than 1e-8 count as zero. Everything here is used on one thread.
// Any order of adding gives the same solution (up to ties), but required constraints first and then the others
// strongest first is the fastest: each then has an unknown to be solved for, with little to undo.

#include <compare>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace corvana {

// Named points on the priority scale (the layout priorities use the same numbers).
namespace strength {
inline constexpr double kRequired = 1000.0;
inline constexpr double kStrong = 750.0;
inline constexpr double kMedium = 500.0;
inline constexpr double kWeak = 250.0;
}  // namespace strength

// An unknown of the solver that made it (another solver's is not told apart). The default one belongs to none.
struct Variable {
  uint32_t id = 0;
  friend auto operator<=>(Variable, Variable) = default;
};

// constant + the sum of coefficient * variable; a variable may appear more than once.
struct Expression {
  // Implicit, so that `x + 8` and `0.5 * x` read as written.
  Expression(double value = 0.0) : constant(value) {}
  Expression(Variable variable) : terms{{variable, 1.0}} {}
  std::vector<std::pair<Variable, double>> terms;
  double constant = 0.0;
};
Expression operator+(Expression a, const Expression& b);
Expression operator-(Expression a, const Expression& b);
Expression operator-(Expression a);
Expression operator*(Expression a, double factor);
Expression operator*(double factor, Expression a);

enum class Relation { LessOrEqual, Equal, GreaterOrEqual };

enum class SolverStatus {
  Ok,
  Unsatisfiable,      // cannot hold together with the required constraints already added
  InvalidPriority,    // not a positive number
  InvalidExpression,  // a variable this solver did not make, or a number that is not finite
};

struct ConstraintId {
  uint32_t value = 0;
  friend auto operator<=>(ConstraintId, ConstraintId) = default;
};

struct AddResult {
  SolverStatus status = SolverStatus::Ok;
  ConstraintId id;  // the handle for removing it, when added
  bool ok() const { return status == SolverStatus::Ok; }
};

class ConstraintSolver {
 public:
  ConstraintSolver();

  // A new unknown; its value is 0 until constraints say otherwise. The name is for debugging.
  Variable addVariable(std::string name = {});
  const std::string& name(Variable variable) const;

  // Adds `lhs relation rhs` at the priority (strength::kRequired or more: required) and solves again. When the
  // result is not Ok nothing changed.
  AddResult addConstraint(const Expression& lhs, Relation relation, const Expression& rhs,
                          double priority = strength::kRequired);
  // Takes the constraint out and solves again; false when it is not in the solver.
  bool removeConstraint(ConstraintId id);

  // The variable's value in the current solution (0 for a variable this solver did not make).
  double value(Variable variable) const;

 private:
  using Symbol = uint32_t;  // a column of the tableau; 0 is none
  enum class Kind : uint8_t { None, External, Slack, Error, Dummy };

  // constant + sum of coefficient * symbol: the value of a basic symbol, or an objective, or (while a constraint
  // is being added) an expression that must equal zero.
  struct Row {
    double constant = 0.0;
    std::map<Symbol, double> terms;
    void add(Symbol symbol, double coefficient);
    void add(const Row& row, double factor);
    double coefficient(Symbol symbol) const;
    // From 0 = this row to symbol = this row.
    void solveFor(Symbol symbol);
    void substitute(Symbol symbol, const Row& value);
  };
  // One row per priority, the highest first: minimised in that order.
  using Objective = std::map<double, Row, std::greater<>>;

  // The symbols a constraint brought: `marker` identifies its row for removal (its slack, its dummy, or its
  // positive error); `other` is its second error when it is not required.
  struct Record {
    Symbol marker = 0, other = 0;
    double priority = 0.0;
  };

  Symbol newSymbol(Kind kind);
  bool pivotable(Symbol symbol) const { return kinds_[symbol] == Kind::Slack || kinds_[symbol] == Kind::Error; }
  Symbol chooseSubject(const Row& row, const Record& record) const;
  Symbol feasibleSubject(const Row& row) const;
  bool addWithArtificial(const Row& row);
  void makeBasic(Symbol symbol, Row row);
  void pivot(Symbol leaving, Symbol entering);
  void substitute(Symbol symbol, const Row& value);
  void eraseColumn(Symbol symbol);
  void optimize(Objective& objective);
  Symbol chooseEntering(const Objective& objective) const;
  Symbol leavingForRemoval(Symbol marker) const;

  std::vector<Kind> kinds_;  // by symbol
  std::map<Symbol, std::string> names_;
  std::map<Symbol, Row> rows_;  // by basic symbol
  Objective objective_;
  Objective* artificial_ = nullptr;  // the objective of a constraint being added through an artificial variable
  std::map<uint32_t, Record> constraints_;
  uint32_t nextConstraint_ = 1;
};

}  // namespace corvana
