#include "host/cli/SharedArguments.h"

#include <utility>

#include <fmt/format.h>

#include "host/NameList.h"
#include "host/Text.h"
#include "host/cli/DataArguments.h"

namespace qvhost {

CLI::Option* AddRepeated(CLI::App& command, const char* name, std::vector<std::string>& texts,
                         const char* help) {
  return command
      .add_option_function<std::string>(
          name, [&texts](const std::string& text) { texts.push_back(text); }, help)
      ->trigger_on_parse();
}

std::string ReadColumn(const char* option, const std::string& written) {
  if (!written.starts_with('`')) return written;
  const std::vector<std::string> names = ReadNameList(option, written);
  if (names.size() == 1) return names.front();
  RefuseUsage(fmt::format("{} takes one column, not {}.", option, NameList(names)));
}

void CheckConfidence(double confidence) {
  constexpr double kWhole = 100.0;
  if (confidence >= 0.0 && confidence < 1.0) return;
  const bool isPercentage = confidence > 1.0 && confidence < kWhole;
  RefuseUsage(isPercentage
                  ? fmt::format("--confidence must be at least 0 and below 1; for {0:g} percent "
                                "write {1:g}.",
                                confidence, confidence / kWhole)
                  : "--confidence must be at least 0 and below 1, such as 0.95.");
}

void ReadKeep(const std::vector<std::string>& lists, std::vector<std::string>& keep, bool& all) {
  for (const std::string& list : lists) {
    if (list == "all") {
      all = true;
      continue;
    }
    for (std::string& name : ReadNameList("--keep", list)) keep.push_back(std::move(name));
  }
}

}  // namespace qvhost
