#include "host/model/SqlScoring.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <map>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Text.h"
#include "host/formula/PortableDialect.h"
#include "host/model/ModelEquations.h"
#include "host/model/SqlText.h"
#include "host/model/SqlVariables.h"
#include "host/table/TableWriter.h"

namespace qvhost {
namespace {

using Columns = std::vector<SqlColumn>;

/// One of the columns that the query adds to those of the table.
struct Score {
  std::string name;
  std::string sql;
};

using Scores = std::vector<Score>;

/// So many numbers are compared with each other at once.
constexpr std::size_t kTogether = 8;

/// The name of a table, its parts in quotes.
std::string TableSql(const std::string& name) {
  if (name.starts_with('"')) return name;
  std::string sql;
  std::size_t first = 0;
  for (;;) {
    const std::size_t dot = name.find('.', first);
    sql += QuoteName(std::string_view(name).substr(first, dot - first));
    if (dot == std::string::npos) return sql;
    sql += '.';
    first = dot + 1;
  }
}

/// What the equations of a model are in SQL.
class EquationWriter {
 public:
  EquationWriter(const ModelEquations& equations, const SqlVariables& variables)
      : equations_(equations), variables_(variables) {
    for (const EquationTerm& term : equations.terms) {
      for (const int factor : term.factors) uses_[factor] += equations.count;
      if (term.factors.size() < 2) continue;
      for (const int factor : term.factors) uses_[factor] += 2;
    }
  }

  /// The codes of the factors that are asked for them more than once, whose values are long texts.
  [[nodiscard]] Columns Codes() const {
    Columns codes;
    for (const auto& [factor, uses] : uses_) {
      if (uses > 1) codes.push_back({CodeName(factor), CodeSql(factor)});
    }
    return codes;
  }

  /// Whether the equations hold the codes so many times that they had better be computed before.
  [[nodiscard]] bool UsesCodesOften() const {
    constexpr std::size_t kFew = 2;
    const auto isCrossed = [](const EquationTerm& term) { return term.factors.size() > 1; };
    return equations_.count > kFew || std::ranges::any_of(equations_.terms, isCrossed);
  }

  /// The numbers and the values that equations read beside the codes.
  [[nodiscard]] Columns Rest() const {
    Columns rest;
    for (const SqlColumn& value : variables_.Values()) {
      const auto isIt = [&](const auto& use) {
        return use.second > 1 && SqlVariables::LevelName(use.first) == value.name;
      };
      if (std::ranges::none_of(uses_, isIt)) rest.push_back({value.name, value.name});
    }
    return rest;
  }

  [[nodiscard]] std::string Of(std::size_t equation) const {
    std::vector<std::string> sum;
    for (const EquationTerm& term : equations_.terms) sum.push_back(TermSql(term, equation));
    return SumSql(sum);
  }

 private:
  static std::string CodeName(int factor) { return "f" + std::to_string(factor); }

  [[nodiscard]] bool HasCode(int factor) const { return uses_.at(factor) > 1; }

  [[nodiscard]] std::vector<std::string> CodeOrLevel(int factor, int code) const {
    if (HasCode(factor)) return {std::to_string(code)};
    return variables_.LevelSql(factor, code);
  }

  [[nodiscard]] std::string CodeSql(int factor) const {
    std::map<int, std::string> codes;
    for (const EquationTerm& term : equations_.terms) {
      const auto place = std::ranges::find(term.factors, factor) - term.factors.begin();
      if (place == std::ssize(term.factors)) continue;
      for (const EquationCell& cell : term.cells) {
        const int code = cell.codes[static_cast<std::size_t>(place)];
        codes.try_emplace(code, std::to_string(code));
      }
    }
    std::vector<std::pair<std::string, std::string>> when;
    for (const auto& [code, text] : codes) {
      for (const std::string& level : variables_.LevelSql(factor, code)) {
        when.emplace_back(level, text);
      }
    }
    return ChoiceSql(SqlVariables::LevelName(factor), when);
  }

  [[nodiscard]] std::string TermSql(const EquationTerm& term, std::size_t equation) const {
    std::string sql = CellsSql(term, equation, 0, 0, term.cells.size());
    for (const EquationCovariate& covariate : term.covariates) {
      const std::string name = SqlVariables::NumberName(covariate.position);
      constexpr int kFewFactors = 4;
      if (covariate.power > kFewFactors) {
        sql += fmt::format(" * power({}, {})", name, DoubleLiteral(covariate.power));
        continue;
      }
      for (int i = 0; i < covariate.power; ++i) sql += " * " + name;
    }
    return sql;
  }

  /// The coefficient by the levels of a term's factors from `factor` on, of the cells [first, end),
  /// which have the same levels of those before.
  [[nodiscard]] std::string CellsSql(const EquationTerm& term, std::size_t equation,
                                     std::size_t factor, std::size_t first, std::size_t end) const {
    if (factor == term.factors.size())
      return DoubleLiteral(term.cells[first].coefficients[equation]);
    const int position = term.factors[factor];
    std::vector<std::pair<std::string, std::string>> when;
    while (first < end) {
      const int code = term.cells[first].codes[factor];
      std::size_t behind = first;
      while (behind < end && term.cells[behind].codes[factor] == code) ++behind;
      const std::string coefficient = CellsSql(term, equation, factor + 1, first, behind);
      for (const std::string& is : CodeOrLevel(position, code)) when.emplace_back(is, coefficient);
      first = behind;
    }
    return ChoiceSql(HasCode(position) ? CodeName(position) : SqlVariables::LevelName(position),
                     when);
  }

  const ModelEquations& equations_;
  const SqlVariables& variables_;
  std::map<int, std::size_t> uses_;  ///< How often the code of a factor is needed.
};

/// Writes the query of one model.
class ScoringWriter {
 public:
  ScoringWriter(const SavedModel& model, const SqlOptions& options)
      : model_(model),
        options_(options),
        table_(TableSql(options.table)),
        equations_(EquationsOf(model.component)),
        variables_(model, equations_),
        query_(table_) {}

  std::string Write() {
    AddRows();
    AddVariables();
    const Scores scores = equations_.categories.empty() ? AddLinear() : AddLogistic();
    return options_.keepAll ? Joined(scores) : Plain(scores);
  }

 private:
  [[nodiscard]] Columns With(const Columns& columns) const {
    Columns all = SameColumns(kept_);
    all.insert(all.end(), columns.begin(), columns.end());
    return all;
  }

  void AddRows() {
    Columns columns = variables_.Columns();
    if (options_.keepAll) {
      // A model of the intercept alone reads none.
      if (columns.empty()) columns.push_back({"c1", "1"});
      kept_ = columns;
      query_.Add("rows", columns, StepKind::kDistinct);
      return;
    }
    for (const std::string& name : options_.keep) {
      kept_.push_back({"k" + std::to_string(kept_.size() + 1), QuoteName(name)});
    }
    columns.insert(columns.begin(), kept_.begin(), kept_.end());
    if (columns.empty()) columns.push_back({"c1", "1"});
    query_.Add("rows", columns);
  }

  void AddVariables() {
    const Columns values = variables_.Values();
    if (!values.empty()) query_.Add("values", With(values));
    const EquationWriter writer(equations_, variables_);
    Columns codes = writer.Codes();
    if (!codes.empty()) {
      const Columns rest = writer.Rest();
      codes.insert(codes.begin(), rest.begin(), rest.end());
      query_.Add("levels", With(codes), KindIf(writer.UsesCodesOften()));
    }
    Columns predictors;
    for (std::size_t i = 0; i < equations_.count; ++i) {
      predictors.push_back({PredictorName(i), writer.Of(i)});
    }
    query_.Add("predictors", With(predictors), KindIf(!equations_.categories.empty()));
  }

  static StepKind KindIf(bool isFinished) {
    return isFinished ? StepKind::kFinished : StepKind::kPlain;
  }

  /// Whether the categories are too many for what they have in common to be computed anew for each.
  [[nodiscard]] bool IsLong() const { return equations_.categories.size() > kTogether * kTogether; }

  static std::string PredictorName(std::size_t equation) {
    return "e" + std::to_string(equation + 1);
  }

  [[nodiscard]] Scores AddLinear() const {
    const std::string sum = PredictorName(0);
    return {{"predicted", OnlyWhere(IsNumberSql(sum), sum)}};
  }

  /// The largest of some numbers; NULL where one of them is.
  static std::string LargestSql(const std::vector<std::string>& numbers, std::size_t first,
                                std::size_t end) {
    std::string sql = "CASE";
    for (std::size_t i = first; i < end; ++i) {
      std::vector<std::string> conditions;
      for (std::size_t j = first; j < end; ++j) {
        if (i != j) conditions.push_back(numbers[i] + " >= " + numbers[j]);
      }
      sql += fmt::format(" WHEN {} THEN {}", fmt::join(conditions, " AND "), numbers[i]);
    }
    return sql + " END";
  }

  /// Adds steps that find the largest of the predictors, and gives its name. Comparing all with
  /// each other would take the square of their number.
  std::string AddLargest(const Columns& predictors) {
    std::vector<std::string> numbers;
    for (const SqlColumn& predictor : predictors) numbers.push_back(predictor.name);
    numbers.emplace_back("0E0");  // That of the reference.
    for (int step = 1; numbers.size() > 1; ++step) {
      Columns largest;
      for (std::size_t i = 0; i < numbers.size(); i += kTogether) {
        const std::size_t end = std::min(i + kTogether, numbers.size());
        const std::string sql = end - i == 1 ? numbers[i] : LargestSql(numbers, i, end);
        largest.push_back({fmt::format("m{}_{}", step, largest.size() + 1), sql});
      }
      Columns columns = With(predictors);
      columns.insert(columns.end(), largest.begin(), largest.end());
      query_.Add("largest" + std::to_string(step), columns,
                 KindIf(IsLong() || largest.size() == 1));
      numbers.clear();
      for (const SqlColumn& column : largest) numbers.push_back(column.name);
    }
    return numbers.front();
  }

  /// The level of the largest predictor; of those that differ by no more than rounding the one that
  /// the library prefers.
  [[nodiscard]] std::string MostProbableSql(const std::vector<std::string>& predictors,
                                            const std::string& largest) const {
    const std::string tie = DoubleLiteral(-std::numeric_limits<double>::epsilon());
    std::string sql = "CASE";
    for (const std::size_t place : equations_.preferred) {
      sql += fmt::format(" WHEN {} - {} > {} THEN {}", predictors[place], largest, tie,
                         QuoteText(LevelAt(place)));
    }
    return sql + " END";
  }

  [[nodiscard]] const std::string& LevelAt(std::size_t place) const {
    const auto code = static_cast<std::size_t>(equations_.categories[place]);
    return model_.variables.front().levels.at(code);
  }

  [[nodiscard]] Scores AddLogistic() {
    Columns predictors;
    for (std::size_t i = 0; i < equations_.count; ++i) {
      predictors.push_back({PredictorName(i), PredictorName(i)});
    }
    const std::string largest = AddLargest(predictors);
    std::vector<std::string> numbers;
    for (const SqlColumn& predictor : predictors) numbers.push_back(predictor.name);
    numbers.emplace_back("0E0");
    // Less than the largest by this, a share is 0 beside it, and no database refuses to compute it.
    constexpr double kFarBelow = -700.0;
    Columns shares{{"y", MostProbableSql(numbers, largest)}};
    std::vector<std::string> names;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      names.push_back("x" + std::to_string(i + 1));
      shares.push_back(
          {names.back(), fmt::format("CASE WHEN {0} - {1} < {2} THEN 0E0 ELSE exp({0} - {1}) END",
                                     numbers[i], largest, DoubleLiteral(kFarBelow))});
    }
    query_.Add("shares", With(shares), StepKind::kFinished);
    Columns sums = SameColumns(shares);
    sums.push_back({"s", SumSql(names)});
    query_.Add("sums", With(sums), KindIf(IsLong()));
    return Probabilities(names);
  }

  [[nodiscard]] Scores Probabilities(const std::vector<std::string>& shares) const {
    const std::string isNumber = IsNumberSql("s");
    Scores scores{{"predicted", OnlyWhere(isNumber, "y")}};
    std::map<int, std::size_t> places;
    for (std::size_t i = 0; i < shares.size(); ++i) places[equations_.categories[i]] = i;
    for (const auto& [code, place] : places) {
      scores.push_back({"p_" + LevelAt(place), OnlyWhere(isNumber, shares[place] + " / s")});
    }
    return scores;
  }

  /// Every row by itself.
  [[nodiscard]] std::string Plain(const Scores& scores) const {
    std::vector<WrittenColumn> written;
    for (const Score& score : scores) written.push_back({score.name, WrittenColumn::Type::kNumber});
    const std::vector<std::string> names = NamesBeside(options_.keep, written);
    Columns columns;
    for (std::size_t i = 0; i < names.size(); ++i) {
      columns.push_back({QuoteName(names[i]), kept_[i].name});
    }
    for (const Score& score : scores) columns.push_back({QuoteName(score.name), score.sql});
    return fmt::format("{}\nSELECT{}\nFROM {};\n", query_.Text(), ColumnsSql(columns),
                       query_.Last());
  }

  /// All columns of the table beside the scores of the values that the row has: nothing else lets
  /// through columns whose names are not known, and none of those computed on the way.
  [[nodiscard]] std::string Joined(const Scores& scores) {
    Columns columns;
    for (const Score& score : scores) columns.push_back({QuoteName(score.name), score.sql});
    query_.Add("scores", With(columns));
    std::string list = "\n  qvreg_data.*";
    for (const SqlColumn& column : columns) {
      list += fmt::format(",\n  {}.{}", query_.Last(), column.name);
    }
    std::vector<std::string> conditions;
    for (const SqlColumn& column : kept_) {
      const std::string own = variables_.Columns().empty() ? "1" : "qvreg_data." + column.sql;
      conditions.push_back(fmt::format("{} = {}.{}", own, query_.Last(), column.name));
    }
    return fmt::format("{}\nSELECT{}\nFROM {} qvreg_data LEFT JOIN {}\n  ON {};\n", query_.Text(),
                       list, table_, query_.Last(), fmt::join(conditions, "\n  AND "));
  }

  const SavedModel& model_;
  const SqlOptions& options_;
  const std::string table_;
  const ModelEquations equations_;
  const SqlVariables variables_;
  SteppedQuery query_;
  Columns kept_;  ///< That go through all steps: their names there, and what they are in the table.
};

}  // namespace

std::string ScoringSql(const SavedModel& model, const SqlOptions& options) {
  return ScoringWriter(model, options).Write();
}

}  // namespace qvhost
