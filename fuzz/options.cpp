// The command with any options, on a small table: it does all that it was told, or nothing, and
// says why in a sentence.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/Check.h"
#include "fuzz/CommandFolder.h"
#include "fuzz/CommandLine.h"
#include "fuzz/OptionTable.h"
#include "host/model/Pmml.h"
#include "host/report/FitFromJson.h"
#include "host/report/Report.h"

namespace {

using namespace qvfuzz;
using Words = std::vector<std::string>;

constexpr int kDone = 0;
constexpr int kRunFailed = 1;
constexpr int kBadInput = 2;
constexpr int kNotConverged = 3;

/// Ends with what was run and said.
void CheckRun(bool holds, const char* what, const Words& words, const CommandOutcome& outcome) {
  if (holds) return;
  std::string text = std::string(what) + "\n  qvreg";
  for (const std::string& word : words) text += " [" + word + "]";
  text += "\n  code " + std::to_string(outcome.code) + "\n  error: " + outcome.err + "  files:";
  for (const auto& [name, bytes] : outcome.files) {
    text += " " + name + " (" + std::to_string(bytes.size()) + ")";
  }
  constexpr std::size_t kSome = 1000;
  Check(false, (text + "\n  output: " + outcome.out.substr(0, kSome)).c_str());
}

/// Without the text of a formula and the line below it that points into it.
std::string_view WithoutPlace(std::string_view text) {
  const std::size_t last = text.rfind('\n');
  if (last == std::string_view::npos) return text;
  const std::string_view marks = text.substr(last + 1);
  if (marks.find_first_not_of(" ^") != std::string_view::npos) return text;
  return text.substr(0, text.rfind('\n', last - 1));
}

bool IsSentence(std::string_view text) {
  constexpr std::string_view kColored = "\x1b[31mqvreg:\x1b[0m ";
  const std::string_view kName = text.starts_with(kColored) ? kColored : "qvreg: ";
  if (!text.starts_with(kName) || !text.ends_with('\n')) return false;
  text.remove_prefix(kName.size());
  text.remove_suffix(1);
  text = WithoutPlace(text);
  const bool isWhole = !text.empty() && text.front() != ' ' &&
                       std::string_view(".?!").find(text.back()) != std::string_view::npos;
  return isWhole && text.find("\n" + std::string(kName)) == std::string_view::npos;
}

/// What only a message that was not meant for people says.
bool IsInternal(std::string_view text) {
  constexpr auto kInternal = std::to_array<std::string_view>(
      {"Unexpected error", "std::", "basic_string", "bad_", "json.exception", "CLI::", "INTERNAL",
       "Binder Error", "Parser Error", "Catalog Error", "Assertion",
       "command line cannot be read"});
  return std::ranges::any_of(
      kInternal, [&](std::string_view each) { return text.find(each) != std::string_view::npos; });
}

/// The words that may name a file: each, and what follows a sign of equality or a short name.
bool IsNamed(const std::string& file, const Words& words) {
  return std::ranges::any_of(words, [&](const std::string& word) {
    return word == file || word.ends_with("=" + file) ||
           (word.starts_with("-") && word.ends_with(file));
  });
}

bool IsOneOf(std::string_view word, std::initializer_list<std::string_view> words) {
  return std::ranges::find(words, word) != words.end();
}

/// Whether it is JSON, and of a fit reads as what is written in the same way.
bool IsWholeJson(const std::string& verb, const std::string& text) {
  if (!nlohmann::json::accept(text)) return false;
  if (!IsOneOf(verb, {"fit", "show"})) return true;
  return qvhost::JsonReport(qvhost::ReadFitResult(text, "fit.json")) == text;
}

/// Whether the file that an option names holds all that belongs there.
bool IsWholeFile(const std::string& verb, const std::string& option, const std::string& name,
                 const std::string& bytes) {
  if (option == "--json") return IsWholeJson(verb, bytes);
  if (option == "--report") return bytes.ends_with("</html>\n");
  if (option == "--save") return bytes.ends_with("</PMML>\n");
  const bool isTable = verb != "spool" && verb != "sql";
  if (!isTable) return verb == "spool" || bytes.ends_with('\n');
  const bool isParquet = name.size() > 8 && name.substr(name.size() - 8) == ".parquet";
  return isParquet ? bytes.ends_with("PAR1") : bytes.ends_with('\n');
}

void CheckDone(const Words& words, const CommandOutcome& outcome) {
  const auto check = [&](bool holds, const char* what) { CheckRun(holds, what, words, outcome); };
  check(outcome.err.empty() == (outcome.code == kDone), "a run that succeeds has no errors");
  check(outcome.code == kDone || IsSentence(outcome.err),
        "estimation that did not converge says so");
  for (const auto& [name, bytes] : outcome.files) {
    check(IsNamed(name, words), "a run writes the files that are named");
  }
  if (std::ranges::any_of(words, [](const auto& word) {
        return IsOneOf(word, {"-h", "--help"});
      })) {
    return;
  }
  for (std::size_t i = 1; i + 1 < words.size(); ++i) {
    const std::string& option = words[i];
    const std::string& name = words[i + 1];
    if (!IsOneOf(option, {"--json", "--report", "--save", "-o", "--out", "--predictions",
                          "--diagnostics", "--vcov-out"})) {
      continue;
    }
    if (option == "--json" && name == "-") {
      check(IsWholeJson(words.front(), outcome.out), "JSON that is printed is whole");
      continue;
    }
    const auto written = outcome.files.find(name);
    check(written != outcome.files.end(), "a run writes all files that are named");
    check(IsWholeFile(words.front(), option, name, written->second), "a file is whole");
  }
}

void CheckFailed(const Words& words, const CommandOutcome& outcome) {
  const auto check = [&](bool holds, const char* what) { CheckRun(holds, what, words, outcome); };
  check(outcome.code == kRunFailed || outcome.code == kBadInput, "a code that is documented");
  check(outcome.files.empty(), "a run that fails leaves no file");
  check(outcome.out.empty(), "a run that fails prints nothing");
  check(words.empty() || IsSentence(outcome.err), "a run that fails says why");
  check(!IsInternal(outcome.err), "a message for people");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const std::vector<VerbRow> table = OptionTable();
  static CommandFolder folder;
  FuzzedDataProvider data(bytes, size);
  const Words words = TakeCommandLine(data, table);
  const CommandOutcome outcome = folder.Run(words);
  if (outcome.code == kDone || outcome.code == kNotConverged) {
    CheckDone(words, outcome);
  } else {
    CheckFailed(words, outcome);
  }
  CheckRun(folder.Run(words) == outcome, "a run is the same again", words, outcome);
  return 0;
}
