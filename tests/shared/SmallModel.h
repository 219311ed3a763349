#pragma once

#include <memory>
#include <vector>

#include "qvreg/qvreg.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace qvtest {

/// A small table and a model of either kind for it: `code ~ group + x`, where the code is 0, 1 or 2
/// and the linear model takes it as a number. Owns what its settings point to.
class SmallModel {
 public:
  explicit SmallModel(QvConst::QvRegModelType type)
      : type_(type), linear_(kCode, {{kGroup, 2}}, {kX}), logistic_(kCode, 3, {{kGroup, 2}}, {kX}) {
    linear_.Effect({kGroup}).Effect({}, {kX});
    logistic_.Effect({kGroup}).Effect({}, {kX});
  }

  [[nodiscard]] QvRegSettings& Settings() {
    return type_ == QvConst::QvRegModelGLM ? linear_.Get() : logistic_.Get();
  }
  /// A component made by the library, deleted through its virtual destructor.
  [[nodiscard]] std::unique_ptr<IQvRegComponent> MakeComponent() {
    QvRegFactory factory;
    return std::unique_ptr<IQvRegComponent>(factory.CreateRegAlgorithm(Settings()));
  }

  /// 60 records, without separation.
  [[nodiscard]] static std::vector<QvCommon::Record> Records() {
    std::vector<std::vector<double>> rows;
    for (int i = 0; i < 60; ++i) {
      rows.push_back({static_cast<double>((i * 7 + i / 5) % 3), static_cast<double>(i % 2),
                      static_cast<double>(i % 11) / 4.0});
    }
    return MakeRecords(rows);
  }

 private:
  enum Variable { kCode, kGroup, kX };

  QvConst::QvRegModelType type_;
  LinearSettings linear_;
  LogisticSettings logistic_;
};

/// What a model's estimates are when nothing disturbs the run; empty when it fails.
[[nodiscard]] inline std::vector<double> FitSmallModel(QvConst::QvRegModelType type) {
  SmallModel model(type);
  VectorRecordIter records(SmallModel::Records());
  const std::unique_ptr<IQvRegComponent> component = model.MakeComponent();
  IQvRegOutputStats* stats = nullptr;
  if (component == nullptr || component->BuildModel(records).IsError() ||
      component->GetOutputStats(stats).IsError()) {
    return {};
  }
  return stats->GetParamEstimates();
}

}  // namespace qvtest
