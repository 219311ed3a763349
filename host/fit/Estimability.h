#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <span>
#include <utility>
#include <vector>

#include "qvreg/common/Record.h"
#include "qvreg/component/IQvRegOutputStats.h"

namespace qvhost {

/// What stands between a linear function of the columns of a design and what the data can estimate:
/// nothing (empty), or for some columns how far the function is from what it would have to be. A
/// function can be estimated when it has no such part; of a sum of functions the parts add up.
class OpenParts {
 public:
  /// A redundant column by its number; or an effect by its number and a combination of levels of
  /// its factors that does not occur, so that it has no column.
  using Key = std::vector<int>;

  /// Adds `part`, which rounding may make of numbers of `size`.
  void Add(const Key& key, double part, double size);
  void Add(const OpenParts& other, double factor);
  void Multiply(double factor);
  /// Whether every part is 0 but for rounding.
  [[nodiscard]] bool IsEmpty() const;

 private:
  static constexpr double kTolerance = 1e-8;
  struct Part {
    double sum = 0.0;
    double size = 0.0;
  };
  std::map<Key, Part> parts_;
};

/// Tells what of linear functions the records that a model was fitted to can estimate: those for
/// which every redundant column is the same combination of the kept ones as in the records, and
/// that have no combination of levels that does not occur (Searle, Linear Models, 1971, section
/// 5.4).
///
/// Immutable; any number of threads may use one.
class Estimability {
 public:
  /// For the columns of one category, as the estimation divided them.
  explicit Estimability(const IQvRegOutputStats& output);

  /// Of a function that has these `values` at columns, and 0 at all others. `scratch` is kept from
  /// call to call, one for each thread.
  class Scratch {
   public:
    explicit Scratch(const Estimability& of) : sums_(of.redundant_), sizes_(of.redundant_) {}

   private:
    friend class Estimability;
    std::vector<double> sums_;
    std::vector<double> sizes_;
    std::vector<std::size_t> touched_;
  };
  [[nodiscard]] OpenParts PartsOf(std::span<const std::size_t> columns,
                                  std::span<const double> values, Scratch& scratch) const;

  /// Adds what the row of a record, times `factor`, has of combinations that do not occur; false
  /// when there is none.
  bool AddMissing(const QvCommon::Record& record, double factor, OpenParts& parts) const;

 private:
  struct Use {
    std::size_t redundant;  ///< Its number among the redundant ones.
    double coefficient;
  };
  struct Effect {
    int number;
    std::vector<int> factors;
    std::vector<int> covariates;
    std::vector<int> powers;
    std::set<std::vector<int>> combinations;
  };

  std::size_t redundant_ = 0;
  std::vector<std::vector<Use>> uses_;  ///< Of each column, in what redundant ones depend on it.
  std::vector<Effect> effects_;
};

}  // namespace qvhost
