#include "host/fit/LevelOptions.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/NameList.h"
#include "host/Text.h"
#include "host/fit/ModelBinding.h"

namespace qvhost {
namespace {

constexpr std::string_view kFirst = "first";

const char* NameOf(LevelOption option) {
  return option == LevelOption::kBase ? "--base" : "--levels";
}

[[noreturn]] void Refuse(const std::string& message) { throw Error(ExitCode::kBadInput, message); }

/// What a variable may be called.
std::vector<std::string> Names(const Variable& variable) {
  return {variable.label, PlainName(variable)};
}

bool IsCalled(const Variable& variable, const std::string& name) {
  const std::vector<std::string> names = Names(variable);
  return std::ranges::find(names, name) != names.end();
}

/// What follows a name at the beginning of an option. With `isExact` it must be spelled so;
/// otherwise blanks and the case of letters do not matter.
std::optional<std::string_view> TextAfterName(std::string_view option, std::string_view name,
                                              bool isExact) {
  if (isExact) {
    if (!option.starts_with(name)) return std::nullopt;
    return option.substr(name.size());
  }
  for (const char c : name) {
    if (c == ' ') continue;
    option.remove_prefix(std::min(option.find_first_not_of(' '), option.size()));
    if (option.empty() || LowerAscii(option.front()) != LowerAscii(c)) return std::nullopt;
    option.remove_prefix(1);
  }
  return option;
}

/// What follows `name`, possibly in back-quotes, and the sign; nothing when the option begins
/// otherwise.
std::optional<std::string_view> TextAfter(std::string_view option, const std::string& name,
                                          bool isExact) {
  auto text = TextAfterName(option, option.starts_with('`') ? "`" + name + "`" : name, isExact);
  if (!text) return std::nullopt;
  text->remove_prefix(std::min(text->find_first_not_of(" \t"), text->size()));
  if (!text->starts_with('=')) return std::nullopt;
  return text->substr(1);
}

/// A level in double quotes without them; any other text as it is.
std::string Unquoted(std::string_view text) {
  if (text.size() < 2 || !text.starts_with('"') || !text.ends_with('"')) return std::string(text);
  std::string level;
  for (std::size_t i = 1; i + 1 < text.size(); ++i) {
    level += text[i];
    if (text[i] == '"' && text[i + 1] == '"' && i + 2 < text.size()) ++i;
  }
  return level;
}

}  // namespace

void CheckLevelOption(LevelOption option, const std::string& written) {
  if (written.find('=', 1) != std::string::npos) return;
  if (option == LevelOption::kBase && written == kFirst) return;
  const std::string_view form = option == LevelOption::kBase
                                    ? "a factor and a level, such as b=0"
                                    : "a factor and its levels, such as size=small,medium,large";
  Refuse(fmt::format("{} takes {}, not '{}'.", NameOf(option), form, written));
}

LevelOptions::LevelOptions(const std::vector<std::string>& bases,
                           const std::vector<std::string>& lists, const Formula& formula,
                           std::vector<bool> isFactor, bool isCategory)
    : formula_(formula), isFactor_(std::move(isFactor)), isCategory_(isCategory) {
  for (const std::string& written : bases) {
    if (written == kFirst) {
      isFirstBase_ = true;
    } else {
      bases_.push_back(Read(LevelOption::kBase, written));
    }
  }
  for (const std::string& written : lists) lists_.push_back(Read(LevelOption::kLevels, written));
}

std::string LevelOptions::FactorList(std::string_view wanted) const {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < formula_.variables.size(); ++i) {
    if (isFactor_[i]) names.push_back(PlainName(formula_.variables[i]));
  }
  if (names.empty()) return " The model has no factor.";
  return DidYouMean(wanted, names) + " The factors of the model are " + NameList(names) + ".";
}

LevelOptions::Choice LevelOptions::Find(LevelOption option, const std::string& written) const {
  std::vector<std::string> names = Names(formula_.response);
  for (const Variable& variable : formula_.variables) {
    for (std::string& name : Names(variable)) names.push_back(std::move(name));
  }
  // The name of an expression may begin with another one and a sign: `a = b` with `a`.
  std::ranges::stable_sort(names, std::ranges::greater(), &std::string::size);
  for (const bool isExact : {true, false}) {
    for (const std::string& name : names) {
      const auto text = TextAfter(written, name, isExact);
      if (text) return {name, std::string(WithoutBlanks(*text))};
    }
  }
  const std::string_view name =
      WithoutBlanks(std::string_view(written).substr(0, written.find('=', 1)));
  Refuse(fmt::format("There is no factor '{}' for {}.{}", name, NameOf(option), FactorList(name)));
}

LevelOptions::Choice LevelOptions::Read(LevelOption option, const std::string& written) const {
  CheckLevelOption(option, written);
  Choice choice = Find(option, written);
  for (std::size_t i = 0; i < formula_.variables.size(); ++i) {
    if (isFactor_[i] && IsCalled(formula_.variables[i], choice.name)) return choice;
  }
  const bool isDependent = IsCalled(formula_.response, choice.name);
  if (isDependent && isCategory_) {
    if (option == LevelOption::kLevels) return choice;
    Refuse(
        fmt::format("'{}' is the dependent; choose the level that the others are compared with "
                    "by --reference.",
                    choice.name));
  }
  Refuse(
      fmt::format("'{}' is a number in this model and has no levels for {}; to make a factor "
                  "of it, write C({}) in the formula.",
                  choice.name, NameOf(option), choice.name));
}

void LevelOptions::AddOrder(const Variable& factor, LevelChoice& choice) const {
  bool isGiven = false;
  for (const Choice& list : lists_) {
    if (!IsCalled(factor, list.name)) continue;
    if (isGiven) Refuse(fmt::format("--levels is given twice for '{}'.", list.name));
    choice.order = ReadNameList(NameOf(LevelOption::kLevels), list.text);
    isGiven = true;
  }
}

LevelChoice LevelOptions::Of(const Variable& factor) const {
  LevelChoice choice;
  choice.base = factor.base;
  choice.isFirstBase = isFirstBase_;
  for (const Choice& base : bases_) {
    if (!IsCalled(factor, base.name)) continue;
    const std::string level = Unquoted(base.text);
    if (choice.base && *choice.base != level) {
      Refuse(fmt::format("The base of '{}' is '{}' in {} and '{}' in {}; leave one of them out.",
                         PlainName(factor), *choice.base,
                         factor.base ? "the formula" : "one --base", level,
                         factor.base ? "--base" : "another"));
    }
    choice.base = level;
  }
  AddOrder(factor, choice);
  return choice;
}

LevelChoice LevelOptions::OfDependent() const {
  LevelChoice choice;
  AddOrder(formula_.response, choice);
  return choice;
}

}  // namespace qvhost
