#include "host/table/QueryError.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "host/Text.h"

namespace qvhost {
namespace {

constexpr std::size_t kLongestMessage = 400;
constexpr std::size_t kLongestKind = 30;

/// "Binder" of "Binder Error: …"; empty when the text has no such beginning.
std::string_view KindOf(std::string_view message) {
  const std::size_t end = message.find(" Error: ");
  return end <= kLongestKind ? message.substr(0, end) : std::string_view();
}

ExitCode CodeOf(std::string_view message) {
  const std::string_view kind = KindOf(message);
  const bool isFailure = kind == "Out of Memory" || kind == "INTERNAL";
  return isFailure ? ExitCode::kRunFailed : ExitCode::kBadInput;
}

/// Lines that repeat the input or speak to DuckDB's own users.
bool IsNoise(std::string_view line) {
  constexpr std::array<std::string_view, 5> kNoise = {"LINE ", "Original Line:", "Possible ",
                                                      "Candidate bindings:", "  file ="};
  const auto begins = [line](std::string_view start) { return line.starts_with(start); };
  return std::ranges::any_of(kNoise, begins) ||
         line.find_first_not_of(" ^\t\r") == std::string_view::npos;
}

void AppendLine(std::string& text, std::string_view line) {
  if (!text.empty()) {
    const bool ended = std::string_view(".!?:;,").find(text.back()) != std::string_view::npos;
    text += ended ? " " : "; ";
  }
  text += line.substr(line.find_first_not_of(" \t"));
  while (text.back() == ' ' || text.back() == '\r') text.pop_back();
}

/// The digits after `label`; empty when it does not occur.
std::string_view NumberAfter(std::string_view text, std::string_view label) {
  const std::size_t at = text.find(label);
  if (at == std::string_view::npos) return {};
  text.remove_prefix(at + label.size());
  return text.substr(0, text.find_first_not_of("0123456789"));
}

/// What to say of a row of a text file with more or fewer values than the others; empty for any
/// other message.
std::string RaggedText(std::string_view message) {
  const std::string_view line = NumberAfter(message, "CSV Error on Line: ");
  const std::string_view expected = NumberAfter(message, "Expected Number of Columns: ");
  const std::string_view found = NumberAfter(message, "Found: ");
  if (line.empty() || expected.empty() || found.empty()) return {};
  constexpr std::string_view kFile = "  file = ";
  std::string where = fmt::format("line {}", line);
  if (const std::size_t at = message.find(kFile); at != std::string_view::npos) {
    const std::string_view file = message.substr(at + kFile.size());
    where += fmt::format(" of '{}'", file.substr(0, file.find('\n')));
  }
  return fmt::format(
      "{} has {} value{} where {} {} expected; mend it, and put a value that holds "
      "the delimiter, such as 1,234, into double quotes.",
      where, found, found == "1" ? "" : "s", expected, expected == "1" ? "is" : "are");
}

}  // namespace

QueryError::QueryError(std::string_view message)
    : Error(CodeOf(message), ShortMessage(message)),
      isConversion_(KindOf(message) == "Conversion"),
      isEncoding_(message.find("not utf-8 encoded") != std::string_view::npos),
      isForm_(message.find("Error when sniffing file") != std::string_view::npos) {}

QueryError::QueryError(const char* message)
    : QueryError(message != nullptr ? std::string_view(message) : std::string_view()) {}

std::string ShortMessage(std::string_view message) {
  if (std::string ragged = RaggedText(message); !ragged.empty()) return ragged;
  const std::string_view kind = KindOf(message);
  if (!kind.empty()) message.remove_prefix(kind.size() + std::string_view(" Error: ").size());
  // Past the first blank line, DuckDB quotes the statement or lists settings of its own.
  message = message.substr(0, message.find("\n\n"));

  std::string text;
  while (!message.empty()) {
    const std::size_t end = message.find('\n');
    const std::string_view line = message.substr(0, end);
    if (!IsNoise(line)) AppendLine(text, line);
    message = end == std::string_view::npos ? std::string_view() : message.substr(end + 1);
  }
  if (text.empty()) text = "DuckDB gave no reason";
  CutText(text, kLongestMessage);
  if (std::string_view(".!?").find(text.back()) == std::string_view::npos) text += '.';
  return text;
}

std::string DelimiterText(char delimiter) {
  switch (delimiter) {
    case ';':
      return "a semicolon";
    case '\t':
      return "a tab";
    case ' ':
      return "a blank";
    default:
      return fmt::format("'{}'", delimiter);
  }
}

std::string UnreadableText(const QueryError& error, const std::string& delimiter) {
  if (error.IsEncoding()) {
    return "it is not in UTF-8. Name its encoding with --encoding, such as windows-1252 (what "
           "Excel writes in western Europe), latin-1 or utf-16.";
  }
  if (std::string_view(error.what()).find("in the NULL specification") != std::string_view::npos) {
    return "a text of a missing value contains the character that separates the columns. If it is "
           "a list, repeat --na for each: --na NA --na -99.";
  }
  if (!error.IsForm()) return {};
  if (delimiter.empty()) {
    return "its rows have no form in common, as many values separated by one character. Name the "
           "character with --delim, such as --delim ' ' for blanks, or mend the rows.";
  }
  return fmt::format("its rows have not as many values separated by {} each.{}",
                     DelimiterText(delimiter.front()), kRowNamesHint);
}

}  // namespace qvhost
