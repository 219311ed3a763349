#include "host/report/MeansFromJson.h"

#include <cstddef>
#include <limits>
#include <map>
#include <string>
#include <vector>

namespace qvhost {

namespace {

using Levels = std::vector<std::string>;

/// Reads means, and the degrees of freedom that all of them share.
class MeansReader {
 public:
  MeansReader(const JsonReader& fit, ModelKind kind) : fit_(fit), kind_(kind) {}

  [[nodiscard]] MeansResult Read() {
    MeansResult means;
    means.grid = Grid();
    means.contrasts =
        fit_.List("contrasts", [this](const JsonReader& json) { return Contrast(json); });
    means.tables = fit_.List("means", [this](const JsonReader& json) { return Table(json); });
    means.degreesOfFreedom = degreesOfFreedom_;
    return means;
  }

 private:
  [[nodiscard]] GridResult Grid() const {
    const JsonReader json = fit_.At("reference_grid");
    GridResult grid;
    grid.rows = json.Get<long long>("rows");
    grid.covariates = json.List("covariates", [](const JsonReader& covariate) {
      return GridResult::Covariate{covariate.Get<std::string>("name"),
                                   covariate.Get<std::vector<double>>("values")};
    });
    grid.nested = json.List("nested", [](const JsonReader& nested) {
      return GridResult::Nested{nested.Get<std::string>("factor"), nested.Get<Levels>("within")};
    });
    return grid;
  }

  MeanEstimate Estimate(const JsonReader& json, bool isTested) {
    MeanEstimate mean;
    mean.isEstimable = json.Get<bool>("estimable");
    mean.estimate = json.Find<double>("estimate");
    mean.statistics.stdError = json.Find<double>("std_error");
    if (isTested) {
      mean.statistics.statistic = json.Find<double>("statistic");
      mean.statistics.pValue = json.Find<double>("p_value");
    }
    mean.statistics.confLow = json.Find<double>("lower");
    mean.statistics.confHigh = json.Find<double>("upper");
    degreesOfFreedom_ = json.Find<double>("df").value_or(degreesOfFreedom_);
    return mean;
  }

  /// The scale is one that the kind of model has.
  [[nodiscard]] MeanScale Scale(const JsonReader& json) const {
    const MeanScale scale = json.OneOf("scale", MeanScaleName, MeanScale::kProbability);
    json.At("scale").Require((scale == MeanScale::kResponse) == (kind_ == ModelKind::kLinear));
    return scale;
  }

  ContrastResult Contrast(const JsonReader& json) {
    return {json.Get<std::string>("label"), Scale(json), json.FindText("level"),
            Estimate(json, true)};
  }

  static Levels LevelsOf(const JsonReader& json, const Levels& factors) {
    Levels levels;
    for (const std::string& factor : factors) {
      levels.push_back(json.Get<std::string>(factor));
    }
    return levels;
  }

  MeanTable Table(const JsonReader& json) {
    MeanTable table;
    table.factors = json.Get<Levels>("terms");
    table.scale = Scale(json);
    table.level = json.FindText("level");
    std::map<Levels, std::size_t> numbers;
    for (const JsonReader& row : json.At("rows").Elements()) {
      Levels levels = LevelsOf(row.At("levels"), table.factors);
      numbers.emplace(levels, table.rows.size());
      table.rows.push_back({std::move(levels), Estimate(row, false)});
    }
    const auto number = [&](const JsonReader& levels) {
      const auto found = numbers.find(LevelsOf(levels, table.factors));
      levels.Require(found != numbers.end());
      return found->second;
    };
    table.differences = json.List("differences", [&](const JsonReader& difference) {
      return MeanDifference{number(difference.At("first")), number(difference.At("second")),
                            Estimate(difference, true), difference.Find<double>("p_adjusted")};
    });
    return table;
  }

  const JsonReader& fit_;
  ModelKind kind_;
  double degreesOfFreedom_ = std::numeric_limits<double>::infinity();
};

}  // namespace

std::optional<MeansResult> ReadMeans(const JsonReader& fit, ModelKind kind) {
  if (fit.At("reference_grid").IsNull()) return std::nullopt;
  return MeansReader(fit, kind).Read();
}

}  // namespace qvhost
