#include "host/fit/RecordDigest.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <fmt/format.h>

#include "host/Hash.h"
#include "qvreg/common/Record.h"

namespace qvhost {

namespace {

/// Sums of hashes over some records: the order does not count. Borrows what it is made of.
class DigestSum {
 public:
  DigestSum(const ModelBinding& binding, const QvRegRecordValidator& validator,
            const std::vector<std::uint64_t>& levels)
      : binding_(binding), validator_(validator), levels_(levels) {}

  bool Add(const QvCommon::Record& record, std::int64_t /*number*/) {
    QvCommon::QvStatus status;
    if (!validator_.IsValidRecord(record, status)) return true;
    const double dependent = record[ModelBinding::kDependent];
    const std::uint64_t value =
        levels_.empty() ? BitsOf(dependent) : levels_[static_cast<std::size_t>(dependent)];
    const std::uint64_t hash = MixBits(value ^ WeightsOf(record));
    first_ += hash;
    // Sums of squares tell sets apart that have the same sum.
    second_ += hash * hash;
    return true;
  }
  void EndPart() {}
  void Merge(const DigestSum& next) {
    first_ += next.first_;
    second_ += next.second_;
  }
  [[nodiscard]] std::string Text() const { return fmt::format("{:016x}{:016x}", first_, second_); }

 private:
  static constexpr std::uint64_t BitsOf(double value) {
    return std::bit_cast<std::uint64_t>(value == 0.0 ? 0.0 : value);
  }
  static constexpr std::uint64_t Combine(std::uint64_t freq, std::uint64_t regression) {
    return MixBits(MixBits(freq) ^ regression);
  }

  /// What both weights do to the hash; without any the same for all records.
  [[nodiscard]] std::uint64_t WeightsOf(const QvCommon::Record& record) const {
    constexpr std::uint64_t kOnes = Combine(BitsOf(1.0), BitsOf(1.0));
    if (binding_.freqWeight < 0 && binding_.regressionWeight < 0) return kOnes;
    const auto bits = [&record](int position) {
      return BitsOf(position < 0 ? 1.0 : record[position]);
    };
    return Combine(bits(binding_.freqWeight), bits(binding_.regressionWeight));
  }

  const ModelBinding& binding_;
  const QvRegRecordValidator& validator_;
  const std::vector<std::uint64_t>& levels_;
  std::uint64_t first_ = 0;
  std::uint64_t second_ = 0;
};

}  // namespace

std::string DigestRecords(const CodedTable& table, const ModelBinding& binding,
                          const QvRegRecordValidator& validator, int parts,
                          const WalkOptions& walk) {
  // Codes depend on which other levels there are.
  std::vector<std::uint64_t> levels;
  if (binding.kind == ModelKind::kLogistic) {
    for (const std::string& level : table.Columns()[ModelBinding::kDependent].levels) {
      levels.push_back(HashText(level));
    }
  }
  return WalkRecords<DigestSum>(
             table, parts, walk,
             [&](int, int) { return std::make_unique<DigestSum>(binding, validator, levels); })
      ->Text();
}

}  // namespace qvhost
