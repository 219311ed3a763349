#include "host/formula/ForeignFunction.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "host/Text.h"
#include "host/formula/FormulaFunction.h"

namespace qvhost {
namespace {

struct Alias {
  std::string_view name;
  std::string_view own;
};

constexpr auto kAliases = std::to_array<Alias>({
    {"ifelse", "if"},
    {"if_else", "if"},
    {"iif", "if"},
    {"iff", "if"},
    {"pmin", "least"},
    {"pmax", "greatest"},
});

/// Functions of numpy and of Python's math that give the same values. Not round(), which rounds
/// halves otherwise, nor mod(), whose sign differs.
constexpr auto kOfPython = std::to_array<Alias>({
    {"abs", "abs"},       {"absolute", "abs"},     {"fabs", "abs"},        {"sign", "sign"},
    {"floor", "floor"},   {"ceil", "ceil"},        {"trunc", "trunc"},     {"exp", "exp"},
    {"expm1", "expm1"},   {"log", "log"},          {"log2", "log2"},       {"log10", "log10"},
    {"log1p", "log1p"},   {"sqrt", "sqrt"},        {"cbrt", "cbrt"},       {"power", "pow"},
    {"pow", "pow"},       {"sin", "sin"},          {"cos", "cos"},         {"tan", "tan"},
    {"arcsin", "asin"},   {"arccos", "acos"},      {"arctan", "atan"},     {"arctan2", "atan2"},
    {"asin", "asin"},     {"acos", "acos"},        {"atan", "atan"},       {"atan2", "atan2"},
    {"sinh", "sinh"},     {"cosh", "cosh"},        {"tanh", "tanh"},       {"arcsinh", "asinh"},
    {"arccosh", "acosh"}, {"arctanh", "atanh"},    {"degrees", "degrees"}, {"radians", "radians"},
    {"minimum", "least"}, {"maximum", "greatest"}, {"where", "if"},
});

constexpr std::array<std::string_view, 3> kModules = {"np.", "numpy.", "math."};

template <std::size_t Size>
std::optional<std::string_view> Find(const std::array<Alias, Size>& aliases,
                                     std::string_view name) {
  const auto* found =
      std::ranges::find_if(aliases, [&](const Alias& alias) { return SameWord(name, alias.name); });
  if (found == aliases.end()) return std::nullopt;
  return found->own;
}

/// What follows the name of a module of Python; empty when there is none.
std::string_view NameInModule(std::string_view name) {
  for (const std::string_view module : kModules) {
    if (name.starts_with(module)) return name.substr(module.size());
  }
  return {};
}

/// Functions that others have, and why a formula has none of them.
struct Refused {
  std::string_view names;  ///< With a blank around each.
  std::string_view reason;
};

constexpr std::string_view kMissingTests = " is.na isna is_na is.null isnull is_null ";
constexpr std::string_view kMissingReason =
    "fills or finds missing values, but a variable is missing wherever a part of it is; do so in "
    "--sql.";

constexpr auto kRefused = std::to_array<Refused>({
    {" min max ",
     "works on many records; of the values of one record, write least() or greatest()."},
    {" mean sd std stddev ",
     "works on many records; center(x) is x less its mean, scale(x) divides that by the standard "
     "deviation. Compute anything else in --sql."},
    {" sum avg count median mode stddev_samp stddev_pop var variance var_samp var_pop quantile "
     "first last any_value string_agg list array_agg corr count_star ",
     "works on many records, but a formula computes each value from one record; compute it in "
     "--sql."},
    {" row_number rank dense_rank percent_rank cume_dist ntile lag lead first_value last_value "
     "nth_value ",
     "works on many records, but a formula computes each value from one record; compute it in "
     "--sql."},
    {" cut qcut findinterval ",
     "is written with its limits here, as in I(case when x < 10 then 'low' else 'high' end)."},
    {" unnest generate_series range generate_subscripts columns ",
     "makes several values of one, but a formula computes one value for each record; compute it in "
     "--sql."},
    {kMissingTests, kMissingReason},
    {" coalesce ifnull nvl zeroifnull complete.cases ", kMissingReason},
    {" random rand uuid gen_random_uuid now today current_date current_time current_timestamp "
     "localtime localtimestamp get_current_time get_current_timestamp transaction_timestamp ",
     "gives another value each time, but a formula computes each value from the record alone."},
    {" select exists any all some ",
     "belongs to a query, but a formula computes each value from one record; compute it in "
     "--sql."},
    {" offset ",
     "is no term here; in a linear model subtract it from the dependent, as in I(y - x) ~ a. A "
     "logistic model has no offset."},
    {" ns bs cr cc rcs s te ti lo ",
     "makes a curve of several pieces, which a formula does not; write poly(x, 3), or "
     "x + greatest(x - 40, 0) for a line that bends at 40."},
    {" cbind ",
     "joins columns, but the dependent is one column. For dead of n make two rows of each: --sql "
     "\"SELECT *, 1 AS y, dead AS w FROM data UNION ALL SELECT *, 0, n - dead FROM data\" with "
     "--formula 'y ~ dose' --freq-weight w --model logistic."},
    {" ordered as.ordered ",
     "makes contrasts that are polynomials, which a formula does not; write C(x) for a factor."},
    {" q ", "takes the name of a column in quotes: Q('odd name')."},
    {" interaction ", "is written C(a):C(b) here."},
    {" standardize standardise zscore ",
     "is called scale() here; it divides by the standard deviation with n - 1."},
    {" c ", "makes no list here; a list stands behind 'in', as in x in (1, 2)."},
    {" as.numeric as.double ",
     "is written cast(x as double) here, or I(x - date '1970-01-01') for the days "
     "of a date."},
    {" as.integer ", "is written cast(trunc(x) as integer) here."},
    {" as.character str ", "is written cast(x as text) here."},
    {" as.date ", "is written cast(x as date) here."},
    {" len nchar char_length strlen ", "is called length() here."},
    {" tolower lcase ", "is called lower() here."},
    {" toupper ucase ", "is called upper() here."},
    {" paste paste0 ", "is called concat() here."},
    {" weekdays ", "is called dayname() here."},
    {" signif ",
     "rounds to a number of digits in all, which a formula does not; round(x, digits) counts those "
     "behind the point."},
    {" sub ", "is written regexp_replace(s, pattern, to) here."},
    {" gsub ",
     "is written replace(s, from, to) here, where from is a text and no pattern; replace a pattern "
     "in --sql."},
    {" grepl ",
     "is written regexp_matches(s, pattern) here, or contains(s, part) for a text that is no "
     "pattern."},
    {" case_when ", "is written case when x > 0 then 'up' else 'down' end here."},
    {" is.finite is.infinite is.nan isfinite isinf isnan ",
     "is not needed: a record with a missing value is left out, and an infinite value ends the "
     "run."},
    {" treatment ", "stands inside C() alone, as in C(x, Treatment('a'))."},
});

/// Functions of numpy that give other values than ours of the same name, or have none.
constexpr auto kRefusedOfPython = std::to_array<Refused>({
    {" round around rint ",
     "is written round_even(x, 0) here, with the digits behind the point; round(x) rounds halves "
     "away from zero."},
    {" square ", "is written pow(x, 2) here."},
    {" clip ", "is written least(greatest(x, low), high) here."},
    {" mod remainder ",
     "has the sign of y, and is written x - y * floor(x / y) here; mod(x, y) has that of x."},
});

bool Lists(std::string_view names, std::string_view name) {
  return names.find(" " + Lower(name) + " ") != std::string_view::npos;
}

}  // namespace

std::string_view OwnFunctionName(std::string_view name) {
  const std::string_view inModule = NameInModule(name);
  if (!inModule.empty()) return Find(kOfPython, inModule).value_or(name);
  return Find(kAliases, name).value_or(name);
}

std::string NoFunctionText(std::string_view name) {
  const std::string call = std::string(name) + "()";
  const std::string_view inModule = NameInModule(name);
  for (const Refused& refused : kRefusedOfPython) {
    if (Lists(refused.names, inModule)) return call + " " + std::string(refused.reason);
  }
  for (const Refused& refused : kRefused) {
    const bool lists = Lists(refused.names, inModule.empty() ? name : inModule);
    if (lists) return call + " " + std::string(refused.reason);
  }
  std::vector<std::string> names;
  for (const FormulaFunction& function : FormulaFunctions()) names.emplace_back(function.Name());
  const std::optional<std::string> nearest = NearestName(inModule.empty() ? name : inModule, names);
  return "A formula has no function '" + std::string(name) + "'; " +
         (nearest ? "did you mean '" + *nearest + "'? 'qvreg fit --help' lists all."
                  : "'qvreg fit --help' lists those it has.");
}

std::string_view ConstantCall(std::string_view name) {
  const std::string_view inModule = NameInModule(name);
  return SameWord(inModule.empty() ? name : inModule, "pi") ? "pi()" : "";
}

bool IsMissingTest(std::string_view name) { return Lists(kMissingTests, name); }

}  // namespace qvhost
