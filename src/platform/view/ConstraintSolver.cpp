#include "platform/view/ConstraintSolver.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <stdexcept>

// The tableau. Every constraint becomes a row "expression = 0" over the solver's variables (external symbols,
// unrestricted in sign) and symbols of its own, all restricted to be >= 0:
//   expression >= 0, required:      expression - slack = 0
//   expression >= 0, not required:  expression - slack + error = 0          (error: how far it falls short)
//   expression == 0, required:      expression + dummy = 0                  (a dummy never leaves zero)
//   expression == 0, not required:  expression - errorPlus + errorMinus = 0
// Each such row is solved for one of its symbols, which becomes basic; every other symbol is parametric, at zero.
// Feasible means every restricted basic symbol has a constant >= 0. The objective is one row per priority, the
// sum of that priority's errors; minimising the rows in order of priority is the same as minimising a single row
// whose coefficients are compared lexicographically, so the simplex method needs nothing more than that compare.

namespace corvana {

namespace {

constexpr double kEpsilon = 1e-8;

bool nearZero(double value) { return std::abs(value) < kEpsilon; }

}  // namespace

// ---- Expressions ----------------------------------------------------------------------------------------------

Expression operator+(Expression a, const Expression& b) {
  a.terms.insert(a.terms.end(), b.terms.begin(), b.terms.end());
  a.constant += b.constant;
  return a;
}

Expression operator*(Expression a, double factor) {
  for (auto& term : a.terms) term.second *= factor;
  a.constant *= factor;
  return a;
}

Expression operator*(double factor, Expression a) { return std::move(a) * factor; }
Expression operator-(Expression a) { return std::move(a) * -1.0; }
Expression operator-(Expression a, const Expression& b) { return std::move(a) + -b; }

// ---- Rows ---------------------------------------------------------------------------------------------------------

void ConstraintSolver::Row::add(Symbol symbol, double coefficient) {
  const auto [term, inserted] = terms.try_emplace(symbol, 0.0);
  term->second += coefficient;
  if (nearZero(term->second)) terms.erase(term);
}

void ConstraintSolver::Row::add(const Row& row, double factor) {
  constant += factor * row.constant;
  for (const auto& [symbol, coefficient] : row.terms) add(symbol, factor * coefficient);
}

double ConstraintSolver::Row::coefficient(Symbol symbol) const {
  const auto term = terms.find(symbol);
  return term == terms.end() ? 0.0 : term->second;
}

void ConstraintSolver::Row::solveFor(Symbol symbol) {
  // 0 = c + a * symbol + rest  gives  symbol = -c / a - rest / a.
  const auto term = terms.find(symbol);
  const double factor = -1.0 / term->second;
  terms.erase(term);
  constant *= factor;
  for (auto& entry : terms) entry.second *= factor;
}

void ConstraintSolver::Row::substitute(Symbol symbol, const Row& value) {
  const auto term = terms.find(symbol);
  if (term == terms.end()) return;
  const double coefficient = term->second;
  terms.erase(term);
  add(value, coefficient);
}

// ---- Variables and values ---------------------------------------------------------------------------------------

ConstraintSolver::ConstraintSolver() : kinds_{Kind::None} {}

ConstraintSolver::Symbol ConstraintSolver::newSymbol(Kind kind) {
  kinds_.push_back(kind);
  return static_cast<Symbol>(kinds_.size() - 1);
}

Variable ConstraintSolver::addVariable(std::string name) {
  const Symbol symbol = newSymbol(Kind::External);
  if (!name.empty()) names_.emplace(symbol, std::move(name));
  return Variable{symbol};
}

const std::string& ConstraintSolver::name(Variable variable) const {
  static const std::string none;
  const auto found = names_.find(variable.id);
  return found == names_.end() ? none : found->second;
}

double ConstraintSolver::value(Variable variable) const {
  if (variable.id >= kinds_.size() || kinds_[variable.id] != Kind::External) return 0.0;
  const auto row = rows_.find(variable.id);
  return row == rows_.end() ? 0.0 : row->second.constant;
}

// ---- Adding and removing constraints ----------------------------------------------------------------------------

AddResult ConstraintSolver::addConstraint(const Expression& lhs, Relation relation, const Expression& rhs,
                                          double priority) {
  if (!(priority > 0.0)) return {SolverStatus::InvalidPriority, {}};
  // Brought to "expression >= 0" or "expression == 0", in terms of the parametric symbols.
  const Expression expression = relation == Relation::LessOrEqual ? rhs - lhs : lhs - rhs;
  if (!std::isfinite(expression.constant)) return {SolverStatus::InvalidExpression, {}};
  Row row;
  row.constant = expression.constant;
  for (const auto& [variable, coefficient] : expression.terms) {
    if (variable.id >= kinds_.size() || kinds_[variable.id] != Kind::External || !std::isfinite(coefficient)) {
      return {SolverStatus::InvalidExpression, {}};
    }
    const auto basic = rows_.find(variable.id);
    if (basic != rows_.end()) {
      row.add(basic->second, coefficient);
    } else {
      row.add(variable.id, coefficient);
    }
  }

  const bool required = priority >= strength::kRequired;
  Record record;
  record.priority = priority;
  if (relation == Relation::Equal && required) {
    record.marker = newSymbol(Kind::Dummy);
    row.add(record.marker, 1.0);
  } else if (relation == Relation::Equal) {
    record.marker = newSymbol(Kind::Error);
    record.other = newSymbol(Kind::Error);
    row.add(record.marker, -1.0);
    row.add(record.other, 1.0);
  } else {
    record.marker = newSymbol(Kind::Slack);
    row.add(record.marker, -1.0);
    if (!required) {
      record.other = newSymbol(Kind::Error);
      row.add(record.other, 1.0);
    }
  }
  // The errors join the objective while still parametric; a constraint that is not required is always added.
  if (!required) {
    Row& level = objective_[priority];
    for (const Symbol symbol : {record.marker, record.other}) {
      if (symbol != 0 && kinds_[symbol] == Kind::Error) level.add(symbol, 1.0);
    }
  }

  if (row.constant < 0.0) {  // negated: the row equals zero either way
    row.constant = -row.constant;
    for (auto& term : row.terms) term.second = -term.second;
  }
  Symbol subject = chooseSubject(row, record);
  if (subject == 0) subject = feasibleSubject(row);
  if (subject != 0) {
    makeBasic(subject, std::move(row));
  } else {
    // Only a required constraint gets here. The search for a feasible solution changes the basis, which may move
    // values among equally good solutions, so a refusal puts back the tableau as it was.
    auto rows = rows_;
    auto objective = objective_;
    if (!addWithArtificial(row)) {
      rows_ = std::move(rows), objective_ = std::move(objective);
      return {SolverStatus::Unsatisfiable, {}};
    }
  }
  optimize(objective_);
  const ConstraintId id{nextConstraint_++};
  constraints_.emplace(id.value, record);
  return {SolverStatus::Ok, id};
}

// The symbol the new row (0 = row, constant >= 0) can be solved for without making the tableau infeasible: a
// variable, which may take any value; else one of the constraint's own slack or error symbols (found in no other
// row) with a negative coefficient, which then gets the value constant / -coefficient >= 0. None when the
// constraint needs the search for a feasible solution.
ConstraintSolver::Symbol ConstraintSolver::chooseSubject(const Row& row, const Record& record) const {
  for (const auto& [symbol, coefficient] : row.terms) {
    if (kinds_[symbol] == Kind::External) return symbol;
  }
  for (const Symbol symbol : {record.marker, record.other}) {
    if (symbol != 0 && pivotable(symbol) && row.coefficient(symbol) < 0.0) return symbol;
  }
  // Dummies alone and nothing left over: a required equality that follows from those already added. Its dummy,
  // found in no other row, becomes basic at zero and identifies the row for removal.
  const bool onlyDummies = std::all_of(row.terms.begin(), row.terms.end(),
                                       [this](const auto& term) { return kinds_[term.first] == Kind::Dummy; });
  if (onlyDummies && nearZero(row.constant) && row.coefficient(record.marker) != 0.0) return record.marker;
  return 0;
}

// Failing that (the row has no variable), an older slack or error symbol with a negative coefficient whose ratio
// constant / -coefficient is no larger here than in any restricted row where its coefficient is negative too, so
// that solving for it keeps every restricted symbol >= 0. It spares the search below (which would end with this
// very pivot) a walk through the symbols of earlier constraints.
ConstraintSolver::Symbol ConstraintSolver::feasibleSubject(const Row& row) const {
  for (const auto& term : row.terms) {
    const Symbol symbol = term.first;  // named, not bound: a lambda below captures it
    const double coefficient = term.second;
    if (!pivotable(symbol) || coefficient >= 0.0) continue;
    const double ratio = -row.constant / coefficient;
    const bool tightest = std::none_of(rows_.begin(), rows_.end(), [&](const auto& entry) {
      const double other = entry.second.coefficient(symbol);
      return kinds_[entry.first] != Kind::External && other < 0.0 && -entry.second.constant / other < ratio - kEpsilon;
    });
    if (tightest) return symbol;
  }
  return 0;
}

// Adds the row through an artificial variable equal to it: minimising that variable finds a feasible solution
// in which the row is zero, if there is one. Then the artificial variable leaves every row.
bool ConstraintSolver::addWithArtificial(const Row& row) {
  const Symbol artificial = newSymbol(Kind::Slack);
  rows_.emplace(artificial, row);
  Objective phase{{1.0, row}};
  artificial_ = &phase;
  optimize(phase);
  artificial_ = nullptr;

  const auto basic = rows_.find(artificial);
  const bool satisfied = basic == rows_.end() || nearZero(basic->second.constant);
  if (basic != rows_.end()) {
    Row left = std::move(basic->second);
    rows_.erase(basic);
    // Still basic at zero: exchanged for a slack or error symbol of its row. (A row of dummies alone was settled
    // by chooseSubject; should rounding leave one here, a dummy takes it, as the row still carries a constraint.)
    auto entering = std::find_if(left.terms.begin(), left.terms.end(),
                                 [this](const auto& term) { return pivotable(term.first); });
    if (entering == left.terms.end()) entering = left.terms.begin();
    if (satisfied && entering != left.terms.end()) {
      const Symbol symbol = entering->first;
      left.add(artificial, -1.0);
      makeBasic(symbol, std::move(left));
    }
  }
  eraseColumn(artificial);
  return satisfied;
}

bool ConstraintSolver::removeConstraint(ConstraintId id) {
  const auto found = constraints_.find(id.value);
  if (found == constraints_.end()) return false;
  const Record record = found->second;
  constraints_.erase(found);

  for (const Symbol symbol : {record.marker, record.other}) {
    if (symbol == 0 || kinds_[symbol] != Kind::Error) continue;
    Row& level = objective_[record.priority];
    const auto basic = rows_.find(symbol);
    if (basic != rows_.end()) {
      level.add(basic->second, -1.0);
    } else {
      level.add(symbol, -1.0);
    }
  }
  // The constraint's row is the marker's, once the marker is basic.
  if (!rows_.contains(record.marker)) {
    if (const Symbol leaving = leavingForRemoval(record.marker)) pivot(leaving, record.marker);
  }
  rows_.erase(record.marker);
  // The second error's column is the marker's negated, so it went with the marker's row; what is left is
  // rounding.
  if (record.other != 0) eraseColumn(record.other);
  optimize(objective_);
  return true;
}

// The row to exchange a parametric marker with so that every restricted symbol stays >= 0 once the marker's row
// is dropped. A basic dummy's row holds dummies alone, so that it stays at zero: a dummy marker found in one is
// exchanged there. Otherwise the tightest restricted row in which the marker has a negative coefficient, else the
// tightest with a positive one (the marker itself may go negative: it is about to go), else a variable's row.
// Restricted rows come before variables' rows so that they never come to depend on a parametric variable.
ConstraintSolver::Symbol ConstraintSolver::leavingForRemoval(Symbol marker) const {
  constexpr double kNone = std::numeric_limits<double>::infinity();
  Symbol negative = 0, positive = 0, external = 0;
  double negativeRatio = kNone, positiveRatio = kNone;
  for (const auto& [basic, row] : rows_) {
    const double coefficient = row.coefficient(marker);
    if (coefficient == 0.0) continue;
    if (kinds_[basic] == Kind::Dummy) return basic;
    if (kinds_[basic] == Kind::External) {
      if (external == 0) external = basic;
    } else if (coefficient < 0.0 && -row.constant / coefficient < negativeRatio - kEpsilon) {
      negativeRatio = -row.constant / coefficient, negative = basic;
    } else if (coefficient > 0.0 && row.constant / coefficient < positiveRatio - kEpsilon) {
      positiveRatio = row.constant / coefficient, positive = basic;
    }
  }
  return negative != 0 ? negative : positive != 0 ? positive : external;
}

// ---- The simplex method --------------------------------------------------------------------------------------

// Solves 0 = row for the symbol and puts it in the basis.
void ConstraintSolver::makeBasic(Symbol symbol, Row row) {
  row.solveFor(symbol);
  substitute(symbol, row);
  rows_.emplace(symbol, std::move(row));
}

void ConstraintSolver::pivot(Symbol leaving, Symbol entering) {
  auto node = rows_.extract(leaving);
  Row row = std::move(node.mapped());
  row.add(leaving, -1.0);  // leaving = row  as  0 = row - leaving
  makeBasic(entering, std::move(row));
}

void ConstraintSolver::substitute(Symbol symbol, const Row& value) {
  for (auto& entry : rows_) entry.second.substitute(symbol, value);
  for (auto& entry : objective_) entry.second.substitute(symbol, value);
  if (artificial_ != nullptr) {
    for (auto& entry : *artificial_) entry.second.substitute(symbol, value);
  }
}

// Drops a parametric symbol that is fixed at zero from every row.
void ConstraintSolver::eraseColumn(Symbol symbol) {
  for (auto& entry : rows_) entry.second.terms.erase(symbol);
  for (auto& entry : objective_) entry.second.terms.erase(symbol);
}

// The primal simplex method from a feasible tableau: while some slack or error symbol would lower the objective
// by growing, it enters the basis in place of the restricted row that limits it first. Bland's rule (the lowest
// symbol enters; of equally tight rows the lowest leaves) guarantees that it ends.
void ConstraintSolver::optimize(Objective& objective) {
  for (Symbol entering = chooseEntering(objective); entering != 0; entering = chooseEntering(objective)) {
    Symbol leaving = 0;
    double best = std::numeric_limits<double>::infinity();
    for (const auto& [basic, row] : rows_) {
      const double coefficient = row.coefficient(entering);
      if (kinds_[basic] == Kind::External || coefficient >= 0.0) continue;
      const double ratio = -row.constant / coefficient;
      if (ratio < best - kEpsilon) best = ratio, leaving = basic;
    }
    // Errors and artificial variables are >= 0, so no objective here can fall without bound.
    if (leaving == 0) throw std::logic_error("ConstraintSolver: unbounded objective");
    pivot(leaving, entering);
  }
}

// The lowest slack or error symbol whose objective coefficient is negative, comparing the levels in order: a
// symbol's sign is that of its coefficient at the first level it has one.
ConstraintSolver::Symbol ConstraintSolver::chooseEntering(const Objective& objective) const {
  std::set<Symbol> seen;
  Symbol best = 0;
  for (const auto& entry : objective) {
    for (const auto& [symbol, coefficient] : entry.second.terms) {
      if (seen.insert(symbol).second && coefficient < 0.0 && pivotable(symbol) && (best == 0 || symbol < best)) {
        best = symbol;
      }
    }
  }
  return best;
}

}  // namespace corvana
