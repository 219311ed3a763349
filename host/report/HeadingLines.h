#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/report/TextStyle.h"

namespace qvhost {

/// What a report tells before its tables: names, and behind each what is said of it, broken into
/// lines that stand below one another.
class HeadingLines {
 public:
  /// A blank at which no line is broken. Names hold no control character once they are printable.
  static constexpr char kNoBreak = '\x1F';

  explicit HeadingLines(const TextStyle& style) : style_(style) {}

  /// An empty name continues the one before.
  void Add(std::string_view name, const std::string& value) { lines_.emplace_back(name, value); }

  [[nodiscard]] std::string Text() const;

 private:
  TextStyle style_;
  std::vector<std::pair<std::string, std::string>> lines_;
};

/// A note as a list item, without a line end.
[[nodiscard]] std::string NoteText(std::string_view sentence, const TextStyle& style);

}  // namespace qvhost
