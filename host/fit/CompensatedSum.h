#pragma once

#include <cmath>

namespace qvhost {

/// A sum with the error of each addition carried along (Neumaier, Rundungsfehleranalyse einiger
/// Verfahren zur Summation endlicher Summen, ZAMM 54, 1974).
class CompensatedSum {
 public:
  void Add(double value) {
    const double total = total_ + value;
    const bool isLarger = std::abs(total_) >= std::abs(value);
    lost_ += isLarger ? (total_ - total) + value : (value - total) + total_;
    total_ = total;
  }
  void Add(const CompensatedSum& other) {
    Add(other.total_);
    lost_ += other.lost_;
  }
  [[nodiscard]] double Value() const { return total_ + lost_; }

 private:
  double total_ = 0.0;
  double lost_ = 0.0;
};

}  // namespace qvhost
