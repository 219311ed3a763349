#include "host/table/CodingErrors.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/table/Connection.h"

namespace qvhost {
namespace {

constexpr std::size_t kExamples = 3;
constexpr std::size_t kLongestExample = 40;

/// The first few different values of a text for which the condition holds; {0} in it stands for the
/// value as a number, NULL when it is none.
std::vector<std::string> FirstValues(const TableSource& source, const ColumnRequest& request,
                                     const std::string& condition) {
  const std::string number = fmt::format("TRY_CAST(CAST(({}) AS VARCHAR) AS DOUBLE)", request.sql);
  const auto rows = source.Database().Rows(fmt::format(
      "SELECT DISTINCT value FROM (SELECT left(({0}), {1}) AS value FROM {2} WHERE ({0}) IS NOT "
      "NULL AND {3} LIMIT {4})",
      request.sql, kLongestExample, source.Relation(), fmt::format(fmt::runtime(condition), number),
      kExamples));
  std::vector<std::string> values;
  for (const auto& row : rows) values.push_back(row.front().value_or(""));
  return values;
}

}  // namespace

void RefuseInfinite(const std::string& label, std::int64_t row) {
  throw Error(ExitCode::kBadInput,
              fmt::format("The value of '{}' in row {} is infinite; leave such rows out, or make "
                          "the values NULL, with --sql.",
                          label, row + 1));
}

TooManyLevels::TooManyLevels(const std::string& label, std::size_t maxLevels)
    : Error(ExitCode::kBadInput,
            fmt::format("'{}' has more than {} different values, too many for a factor; use it "
                        "as a number (a dependent: with --model linear), or group its values with "
                        "--sql.",
                        label, maxLevels)),
      label_(label) {}

void RefuseCategory(const TableSource& source, const ColumnRequest& request) {
  const std::vector<std::string> values = FirstValues(source, request, "true");
  const std::vector<std::string> texts = FirstValues(source, request, "{0} IS NULL");
  const std::size_t numbers = FirstValues(source, request, "{0} IS NOT NULL").size();
  std::string remedy;
  if (texts.empty()) {
    remedy = fmt::format(
        " All of them read as numbers: make it a number with --sql, such as "
        "CAST({} AS DOUBLE).",
        request.label);
  } else if (numbers == kExamples) {
    remedy = fmt::format(
        " Values of it read as numbers, but not '{0}': if that stands for a "
        "missing value, name it with --na '{0}'.",
        texts.front());
  }
  throw Error(
      ExitCode::kBadInput,
      fmt::format("The dependent '{0}' is text with more than {1} different values, such "
                  "as '{2}', so it is hardly meant as a category.{3} To take it as one "
                  "nevertheless, write --model logistic or C({0}); for another model, "
                  "name another dependent.",
                  request.label, request.maxLevels.value_or(0), fmt::join(values, "', '"), remedy));
}

}  // namespace qvhost
