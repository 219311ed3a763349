#include "host/fit/GridData.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>

#include "host/fit/CompensatedSum.h"
#include "qvreg/common/Constants.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/Record.h"

namespace qvhost {
namespace {

constexpr int kUnseen = -1;

/// Which level of another factor each level of a factor occurs with, as long as it is one alone.
class Partners {
 public:
  Partners(std::size_t axis, std::size_t other, std::size_t levels)
      : axis_(axis), other_(other), codes_(levels, kUnseen) {}

  void Add(int code, int other) {
    if (codes_.empty()) return;
    int& known = codes_[static_cast<std::size_t>(code)];
    if (known == kUnseen) known = other;
    if (known != other) Clear();
  }
  void Merge(const Partners& next) {
    if (next.codes_.empty()) return Clear();
    for (std::size_t code = 0; code < codes_.size(); ++code) {
      if (next.codes_[code] != kUnseen) Add(static_cast<int>(code), next.codes_[code]);
    }
  }
  [[nodiscard]] std::size_t Axis() const { return axis_; }
  [[nodiscard]] std::size_t Other() const { return other_; }
  /// Empty when a level occurs with several.
  [[nodiscard]] const std::vector<int>& Codes() const { return codes_; }

 private:
  void Clear() { codes_ = {}; }

  std::size_t axis_;
  std::size_t other_;
  std::vector<int> codes_;
};

/// The numbers of an axis: their mean and the first three that differ.
struct Numbers {
  int exponent = 0;  ///< Values are divided by this power of two, so that no sum overflows.
  CompensatedSum sum;
  CompensatedSum weight;
  std::vector<double> values;

  void Add(double value, double count) {
    // An expression may have a value where its column has none.
    if (value == QvMV::gMissingValue) return;
    sum.Add(count * std::ldexp(value, -exponent));
    weight.Add(count);
    Note(value);
  }
  void Merge(const Numbers& next) {
    sum.Add(next.sum);
    weight.Add(next.weight);
    for (const double value : next.values) Note(value);
  }
  [[nodiscard]] double Mean() const {
    return values.size() == 1 ? values.front() : std::ldexp(sum.Value() / weight.Value(), exponent);
  }

 private:
  void Note(double value) {
    constexpr std::size_t kMost = 3;
    if (values.size() == kMost || std::ranges::find(values, value) != values.end()) return;
    values.push_back(value);
  }
};

/// What some records tell. Borrows what it is made of.
class GridSums {
 public:
  GridSums(const CodedTable& table, const ModelBinding& binding,
           const QvRegRecordValidator& validator)
      : binding_(binding), validator_(validator), axes_(binding.grid->axes) {
    seen_.resize(axes_.size());
    numbers_.resize(axes_.size());
    for (std::size_t i = 0; i < axes_.size(); ++i) Begin(i, table);
  }

  bool Add(const QvCommon::Record& record, std::int64_t /*number*/) {
    QvCommon::QvStatus status;
    if (!validator_.IsValidRecord(record, status)) return true;
    hasRecords_ = true;
    const double count = binding_.freqWeight < 0 ? 1.0 : record[binding_.freqWeight];
    for (std::size_t i = 0; i < axes_.size(); ++i) {
      const double value = record[axes_[i].position];
      if (axes_[i].isFactor) {
        seen_[i][static_cast<std::size_t>(value)] = 1;
      } else {
        numbers_[i].Add(value, count);
      }
    }
    for (Partners& partners : partners_) {
      partners.Add(static_cast<int>(record[axes_[partners.Axis()].position]),
                   static_cast<int>(record[axes_[partners.Other()].position]));
    }
    return true;
  }
  void EndPart() {}

  void Merge(const GridSums& next) {
    hasRecords_ = hasRecords_ || next.hasRecords_;
    for (std::size_t i = 0; i < axes_.size(); ++i) {
      for (std::size_t code = 0; code < seen_[i].size(); ++code) {
        seen_[i][code] = seen_[i][code] != 0 || next.seen_[i][code] != 0 ? 1 : 0;
      }
      numbers_[i].Merge(next.numbers_[i]);
    }
    for (std::size_t i = 0; i < partners_.size(); ++i) partners_[i].Merge(next.partners_[i]);
  }

  [[nodiscard]] std::optional<std::vector<AxisData>> Data() const {
    if (!hasRecords_) return std::nullopt;
    std::vector<AxisData> data(axes_.size());
    for (std::size_t i = 0; i < axes_.size(); ++i) {
      for (std::size_t code = 0; code < seen_[i].size(); ++code) {
        if (seen_[i][code] != 0) data[i].codes.push_back(code);
      }
      if (axes_[i].isFactor) continue;
      data[i].mean = numbers_[i].Mean();
      if (numbers_[i].values.size() == 2) data[i].values = numbers_[i].values;
      std::ranges::sort(data[i].values);
    }
    for (const Partners& partners : partners_) {
      const bool isSingle = data[partners.Other()].codes.size() < 2;
      if (partners.Codes().empty() || isSingle) continue;
      if (IsWithin(partners.Other(), partners.Axis(), data)) continue;
      data[partners.Axis()].within.push_back(partners.Other());
      data[partners.Axis()].codesWithin.push_back(partners.Codes());
    }
    return data;
  }

 private:
  void Begin(std::size_t axis, const CodedTable& table) {
    const CodedColumn& column = table.Columns()[static_cast<std::size_t>(axes_[axis].position)];
    if (!axes_[axis].isFactor) {
      const double largest = std::max(std::abs(column.lowest), std::abs(column.highest));
      if (largest > 0.0 && std::isfinite(largest)) {
        numbers_[axis].exponent = std::ilogb(largest) + 1;
      }
      return;
    }
    seen_[axis].assign(column.levels.size(), 0);
    for (std::size_t other = 0; other < axes_.size(); ++other) {
      if (other != axis && axes_[other].isFactor) {
        partners_.emplace_back(axis, other, column.levels.size());
      }
    }
  }

  static bool IsWithin(std::size_t axis, std::size_t other, const std::vector<AxisData>& data) {
    return std::ranges::find(data[axis].within, other) != data[axis].within.end();
  }

  const ModelBinding& binding_;
  const QvRegRecordValidator& validator_;
  const std::vector<GridPlan::Axis>& axes_;
  bool hasRecords_ = false;
  std::vector<std::vector<char>> seen_;  ///< Of factors, by code.
  std::vector<Numbers> numbers_;
  std::vector<Partners> partners_;
};

}  // namespace

std::optional<std::vector<AxisData>> ReadGridData(const CodedTable& table,
                                                  const ModelBinding& binding,
                                                  const QvRegRecordValidator& validator, int parts,
                                                  const WalkOptions& walk) {
  return WalkRecords<GridSums>(
             table, parts, walk,
             [&](int, int) { return std::make_unique<GridSums>(table, binding, validator); })
      ->Data();
}

}  // namespace qvhost
