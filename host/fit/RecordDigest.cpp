#include "host/fit/RecordDigest.h"

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
    std::uint64_t hash =
        levels_.empty() ? HashNumber(dependent) : levels_[static_cast<std::size_t>(dependent)];
    hash = MixBits(hash ^ HashNumber(WeightAt(record, binding_.freqWeight)));
    hash = MixBits(hash ^ HashNumber(WeightAt(record, binding_.regressionWeight)));
    first_ += hash;
    second_ += MixBits(hash);
    return true;
  }
  void EndPart() {}
  void Merge(const DigestSum& next) {
    first_ += next.first_;
    second_ += next.second_;
  }
  [[nodiscard]] std::string Text() const { return fmt::format("{:016x}{:016x}", first_, second_); }

 private:
  static double WeightAt(const QvCommon::Record& record, int position) {
    return position < 0 ? 1.0 : record[position];
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
