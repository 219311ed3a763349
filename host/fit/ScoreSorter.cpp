#include "host/fit/ScoreSorter.h"

#include <algorithm>
#include <queue>
#include <tuple>

namespace qvhost {

namespace {

constexpr std::size_t kFields = 4;

bool IsBefore(const ScoreEntry& a, const ScoreEntry& b) {
  return std::tie(a.level, a.score, a.own, a.weight) < std::tie(b.level, b.score, b.own, b.weight);
}

/// Reads a sorted run block by block. Borrows the file.
class RunReader {
 public:
  RunReader(const SpoolFile& file, std::int64_t begin, std::int64_t end, std::size_t atOnce)
      : file_(file), next_(begin), end_(end), atOnce_(static_cast<std::int64_t>(atOnce)) {}

  /// The next entry; none at the end.
  std::optional<ScoreEntry> Next() {
    if (position_ == values_.size()) {
      if (next_ == end_) return std::nullopt;
      const std::int64_t count = std::min(atOnce_, end_ - next_);
      values_.resize(static_cast<std::size_t>(count) * kFields);
      file_.ReadAt(next_ * static_cast<std::int64_t>(kFields), values_);
      next_ += count;
      position_ = 0;
    }
    const double* field = values_.data() + position_;
    position_ += kFields;
    return ScoreEntry{field[0], field[1], field[2], field[3]};
  }

 private:
  const SpoolFile& file_;
  std::int64_t next_;
  std::int64_t end_;
  std::int64_t atOnce_;
  std::vector<double> values_;
  std::size_t position_ = 0;
};

}  // namespace

void ScoreSorter::Add(std::span<const ScoreEntry> entries) {
  const std::lock_guard lock(mutex_);
  if (entries_.size() + entries.size() > most_) Spill();
  entries_.insert(entries_.end(), entries.begin(), entries.end());
}

void ScoreSorter::Spill() {
  if (entries_.empty()) return;
  std::ranges::sort(entries_, IsBefore);
  if (!file_) file_.emplace(spoolDir_);
  const std::int64_t begin = runs_.empty() ? 0 : runs_.back().end;
  std::vector<double> values;
  values.reserve(kFields * std::min<std::size_t>(entries_.size(), std::size_t{1} << 14));
  for (const ScoreEntry& entry : entries_) {
    values.insert(values.end(), {entry.level, entry.score, entry.own, entry.weight});
    if (values.size() < values.capacity()) continue;
    file_->Append(values);
    values.clear();
  }
  file_->Append(values);
  runs_.push_back({begin, begin + static_cast<std::int64_t>(entries_.size())});
  entries_.clear();
}

void ScoreSorter::Visit(const std::function<void(const ScoreEntry&)>& visit) {
  if (runs_.empty()) {
    std::ranges::sort(entries_, IsBefore);
    std::ranges::for_each(entries_, visit);
  } else {
    Spill();
    entries_.shrink_to_fit();
    file_->Flush();
    Merge(visit);
  }
  entries_.clear();
  runs_.clear();
  file_.reset();
}

void ScoreSorter::Merge(const std::function<void(const ScoreEntry&)>& visit) {
  constexpr std::size_t kFewest = 256;
  const std::size_t atOnce = std::max(most_ / runs_.size(), kFewest);
  std::vector<RunReader> readers;
  for (const Run& run : runs_) readers.emplace_back(*file_, run.begin, run.end, atOnce);
  struct Head {
    ScoreEntry entry;
    std::size_t run;
  };
  const auto isBehind = [](const Head& a, const Head& b) { return IsBefore(b.entry, a.entry); };
  std::priority_queue<Head, std::vector<Head>, decltype(isBehind)> heads(isBehind);
  const auto push = [&](std::size_t run) {
    if (const std::optional<ScoreEntry> entry = readers[run].Next()) heads.push({*entry, run});
  };
  for (std::size_t run = 0; run < readers.size(); ++run) push(run);
  while (!heads.empty()) {
    const Head head = heads.top();
    heads.pop();
    visit(head.entry);
    push(head.run);
  }
}

}  // namespace qvhost
