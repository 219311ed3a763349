#pragma once

#include <vector>

/// Copies a model's variables out of a record of any width into a short row: the dependent, the
/// factors, the covariates, the frequency weight and the regression weight, in this order.
/// A value; const operations may run on several threads at once.
class QvRecordExtractor {
 public:
  QvRecordExtractor() = default;
  /// As SetRecordIndices.
  QvRecordExtractor(int dependentVar, const std::vector<int>& factorVars,
                    const std::vector<int>& covariateVars, int freqWeightVar, int regrWeightVar);

  /// Names the record indices; a negative weight means that there is none.
  void SetRecordIndices(int dependentVar, const std::vector<int>& factorVars,
                        const std::vector<int>& covariateVars, int freqWeightVar,
                        int regrWeightVar);

  /// The number of values in an extracted row.
  [[nodiscard]] int GetExtractSize() const { return fExtractSize; }
  /// Per position of the extracted row, the record index copied there.
  [[nodiscard]] const std::vector<int>& GetAllRecordIndices() const { return fExtract; }
  [[nodiscard]] int GetDependentOffset() const { return fDependentOffset; }
  [[nodiscard]] const std::vector<int>& GetFactorOffsets() const { return fFactorOffsets; }
  [[nodiscard]] const std::vector<int>& GetCovariateOffsets() const { return fCovariateOffsets; }
  /// Position of the frequency weight; -1 for none.
  [[nodiscard]] int GetFreqWeightOffset() const { return fFreqWeightOffset; }
  /// Position of the regression weight; -1 for none.
  [[nodiscard]] int GetRegrWeightOffset() const { return fRegrWeightOffset; }

  /// Copies the values as they are. REQUIRES: storage for GetExtractSize() values in `out`, and a
  /// record that holds every index.
  void ExtractRecord(double* out, const double* record) const;
  void ExtractRecord(std::vector<double>& out, const double* record) const {
    ExtractRecord(out.data(), record);
  }

  void Display() const;

 private:
  /// Appends a record index to the row and returns its position.
  int Place(int var);

  int fExtractSize = 0;
  std::vector<int> fExtract;
  int fDependentOffset = 0;
  std::vector<int> fFactorOffsets;
  std::vector<int> fCovariateOffsets;
  int fFreqWeightOffset = -1;
  int fRegrWeightOffset = -1;
};
