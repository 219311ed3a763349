#include "host/formula/FormulaFunction.h"

#include <algorithm>
#include <array>
#include <vector>

#include "host/Text.h"

namespace qvhost {
namespace {

using enum FunctionGroup;

constexpr std::string_view kNaturalLogarithm =
    "log is the natural logarithm; log10 and log2 are those to base 10 and 2.";

constexpr auto kFunctions = std::to_array<FormulaFunction>({
    {"abs(x)", "abs", kArithmetic, "n", 'n'},
    {"sign(x)", "sign", kArithmetic, "n", 'n'},
    {"round(x[, digits])", "round", kArithmetic, "n|w", 'n'},
    {"round_even(x, digits)", "round_even", kArithmetic, "nw", 'n'},
    {"floor(x)", "floor", kArithmetic, "n", 'n'},
    {"ceil(x)", "ceil", kArithmetic, "n", 'n'},
    {"ceiling(x)", "ceil", kArithmetic, "n", 'n'},
    {"trunc(x)", "trunc", kArithmetic, "n", 'n'},
    {"mod(x, y)", "mod", kArithmetic, "nn", 'n'},
    {"least(x, y, ...)", "least", kArithmetic, "ss+", 's'},
    {"greatest(x, y, ...)", "greatest", kArithmetic, "ss+", 's'},

    {"ln(x)", "ln", kPower, "n", 'n'},
    {"log(x)", "ln", kPower, "n", 'n', false, kNaturalLogarithm},
    {"log10(x)", "log10", kPower, "n", 'n'},
    {"log2(x)", "log2", kPower, "n", 'n'},
    {"log1p(x)", "qvreg_log1p", kPower, "n", 'n'},
    {"exp(x)", "exp", kPower, "n", 'n'},
    {"expm1(x)", "qvreg_expm1", kPower, "n", 'n'},
    {"sqrt(x)", "sqrt", kPower, "n", 'n'},
    {"cbrt(x)", "cbrt", kPower, "n", 'n'},
    {"pow(x, y)", "pow", kPower, "nn", 'n'},
    {"power(x, y)", "pow", kPower, "nn", 'n'},

    {"sin(x)", "sin", kTrigonometry, "n", 'n'},
    {"cos(x)", "cos", kTrigonometry, "n", 'n'},
    {"tan(x)", "tan", kTrigonometry, "n", 'n'},
    {"cot(x)", "cot", kTrigonometry, "n", 'n'},
    {"asin(x)", "asin", kTrigonometry, "n", 'n'},
    {"acos(x)", "acos", kTrigonometry, "n", 'n'},
    {"atan(x)", "atan", kTrigonometry, "n", 'n'},
    {"atan2(y, x)", "atan2", kTrigonometry, "nn", 'n'},
    {"sinh(x)", "sinh", kTrigonometry, "n", 'n'},
    {"cosh(x)", "cosh", kTrigonometry, "n", 'n'},
    {"tanh(x)", "tanh", kTrigonometry, "n", 'n'},
    {"asinh(x)", "asinh", kTrigonometry, "n", 'n'},
    {"acosh(x)", "acosh", kTrigonometry, "n", 'n'},
    {"atanh(x)", "atanh", kTrigonometry, "n", 'n'},
    {"degrees(x)", "degrees", kTrigonometry, "n", 'n'},
    {"radians(x)", "radians", kTrigonometry, "n", 'n'},
    {"pi()", "pi", kTrigonometry, "", 'n'},

    {"lower(s)", "lower", kText, "t", 't'},
    {"upper(s)", "upper", kText, "t", 't'},
    {"trim(s[, characters])", "trim", kText, "t|t", 't'},
    {"ltrim(s[, characters])", "ltrim", kText, "t|t", 't'},
    {"rtrim(s[, characters])", "rtrim", kText, "t|t", 't'},
    {"length(s)", "length", kText, "t", 'n'},
    {"left(s, count)", "left", kText, "tw", 't'},
    {"right(s, count)", "right", kText, "tw", 't'},
    {"substring(s, start[, count])", "substring", kText, "tw|w", 't'},
    {"substr(s, start[, count])", "substring", kText, "tw|w", 't'},
    {"replace(s, from, to)", "replace", kText, "ttt", 't'},
    {"split_part(s, separator, n)", "split_part", kText, "ttw", 't'},
    {"concat(s, t, ...)", "concat", kText, "aa+", 't'},
    {"strip_accents(s)", "strip_accents", kText, "t", 't'},
    {"contains(s, part)", "contains", kText, "tt", 'c'},
    {"starts_with(s, part)", "starts_with", kText, "tt", 'c'},
    {"ends_with(s, part)", "ends_with", kText, "tt", 'c'},
    {"regexp_matches(s, pattern)", "regexp_matches", kText, "tt", 'c'},
    {"regexp_extract(s, pattern)", "regexp_extract", kText, "tt", 't'},
    {"regexp_replace(s, pattern, to)", "regexp_replace", kText, "ttt", 't'},

    {"year(d)", "year", kDateTime, "d", 'n'},
    {"quarter(d)", "quarter", kDateTime, "d", 'n'},
    {"month(d)", "month", kDateTime, "d", 'n'},
    {"week(d)", "week", kDateTime, "d", 'n'},
    {"day(d)", "day", kDateTime, "d", 'n'},
    {"dayofyear(d)", "dayofyear", kDateTime, "d", 'n'},
    {"dayofweek(d)", "dayofweek", kDateTime, "d", 'n'},
    {"isodow(d)", "isodow", kDateTime, "d", 'n'},
    {"hour(d)", "hour", kDateTime, "d", 'n'},
    {"minute(d)", "minute", kDateTime, "d", 'n'},
    {"second(d)", "second", kDateTime, "d", 'n'},
    {"epoch(d)", "epoch", kDateTime, "d", 'n'},
    {"dayname(d)", "dayname", kDateTime, "d", 't'},
    {"monthname(d)", "monthname", kDateTime, "d", 't'},
    {"last_day(d)", "last_day", kDateTime, "d", 'd'},
    {"date_part(unit, d)", "date_part", kDateTime, "ud", 'n'},
    {"date_trunc(unit, d)", "date_trunc", kDateTime, "ud", 'd'},
    {"date_diff(unit, from, to)", "date_diff", kDateTime, "udd", 'n'},
    {"make_date(year, month, day)", "make_date", kDateTime, "www", 'd'},
    {"strftime(d, format)", "strftime", kDateTime, "df", 't'},
    {"strptime(s, format)", "strptime", kDateTime, "tf", 'd'},
    {"try_strptime(s, format)", "try_strptime", kDateTime, "tf", 'd', true},

    {"if(condition, x, y)", "", kConditional, "css", 's'},
    {"nullif(x, value)", "nullif", kConditional, "ss", 's', true},
});

constexpr std::array<std::string_view, 8> kUnits = {"year", "quarter", "month",  "week",
                                                    "day",  "hour",    "minute", "second"};

ArgumentKind KindOfLetter(char letter) {
  switch (letter) {
    case 'n':
      return ArgumentKind::kNumber;
    case 'w':
      return ArgumentKind::kWhole;
    case 't':
      return ArgumentKind::kText;
    case 'd':
      return ArgumentKind::kDateTime;
    case 'c':
      return ArgumentKind::kCondition;
    case 's':
      return ArgumentKind::kSame;
    case 'f':
      return ArgumentKind::kFormat;
    case 'u':
      return ArgumentKind::kUnit;
    default:
      return ArgumentKind::kAny;
  }
}

bool IsLetter(char c) { return c != '|' && c != '+'; }

}  // namespace

std::string_view GroupTitle(FunctionGroup group) {
  switch (group) {
    case kArithmetic:
      return "Arithmetic and rounding";
    case kPower:
      return "Logarithms, exponentials and powers";
    case kTrigonometry:
      return "Trigonometry";
    case kText:
      return "Text";
    case kDateTime:
      return "Dates and times";
    case kConditional:
      return "Conditions";
  }
  return "";
}

std::size_t FormulaFunction::FewestArguments() const {
  return static_cast<std::size_t>(
      std::ranges::count_if(arguments.substr(0, arguments.find('|')), IsLetter));
}

std::optional<std::size_t> FormulaFunction::MostArguments() const {
  if (arguments.ends_with('+')) return std::nullopt;
  return static_cast<std::size_t>(std::ranges::count_if(arguments, IsLetter));
}

ArgumentKind FormulaFunction::KindOfArgument(std::size_t index) const {
  char letter = 'a';
  for (const char c : arguments) {
    if (!IsLetter(c)) continue;
    letter = c;
    if (index-- == 0) break;
  }
  return KindOfLetter(letter);
}

ValueKind FormulaFunction::ResultKind() const {
  switch (result) {
    case 'n':
      return ValueKind::kNumber;
    case 't':
      return ValueKind::kText;
    case 'd':
      return ValueKind::kDateTime;
    case 'c':
      return ValueKind::kBoolean;
    default:
      return ValueKind::kUnknown;
  }
}

std::span<const FormulaFunction> FormulaFunctions() { return kFunctions; }

const FormulaFunction* FindFunction(std::string_view name) {
  const auto* found = std::ranges::find_if(
      kFunctions, [&](const FormulaFunction& f) { return SameWord(name, f.Name()); });
  return found == kFunctions.end() ? nullptr : found;
}

bool IsTimeUnit(std::string_view word) {
  return std::ranges::any_of(kUnits, [&](std::string_view unit) { return SameWord(word, unit); });
}

std::string TimeUnitList() { return ChoiceText({kUnits.begin(), kUnits.end()}); }

}  // namespace qvhost
