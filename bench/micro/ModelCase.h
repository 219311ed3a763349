#pragma once

#include <cstddef>
#include <vector>

#include "qvreg/common/Record.h"
#include "qvreg/design/QvFactorTables.h"
#include "qvreg/glm/QvGLMModel.h"
#include "qvreg/settings/QvRegSettings.h"

namespace qvbench {

/// A linear model with made-up records, taken up to where records are accumulated: what the passes
/// do per record can then be measured without reading a file.
///
/// A record holds the covariates, the factors and last the dependent. Every covariate is an effect
/// of its own; the factors are one effect, crossed when there are several.
class ModelCase {
 public:
  static constexpr std::size_t kRecords = 1024;

  ModelCase(int nCovariates, const std::vector<int>& factorSizes);
  ModelCase(const ModelCase&) = delete;
  ModelCase& operator=(const ModelCase&) = delete;

  [[nodiscard]] const std::vector<QvCommon::Record>& Records() const { return records_; }
  [[nodiscard]] QvFactorTables& Tables() { return tables_; }
  [[nodiscard]] QvGLMModel& Model() { return model_; }

 private:
  void MakeRecords(int nCovariates, const std::vector<int>& factorSizes);
  void MakeEffects(const QvRegSettings& settings);

  std::vector<int> variables_;
  std::vector<QvModelEffect> effects_;
  QvRegSettings settings_;
  std::vector<QvCommon::Record> records_;
  QvFactorTables tables_;
  QvGLMModel model_;
};

}  // namespace qvbench
