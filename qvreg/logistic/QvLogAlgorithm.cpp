#include "qvreg/logistic/QvLogAlgorithm.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <span>

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/design/QvTableSums.h"
#include "qvreg/logistic/QvLogOutputStats.h"

using QvCommon::MultiPassRecordIter;
using QvCommon::QvStatus;
using QvCommon::Record;

namespace {

constexpr int kNone = -1;
constexpr int kFirstCode = 0;

}  // namespace

/// The handler without rows of its own: a runner's workers have them.
class QvLogAlgorithm::RunnerHandler : public IQvDataHandler {
 public:
  explicit RunnerHandler(QvLogAlgorithm& algorithm) : fAlgorithm(algorithm) {}

  ~RunnerHandler() override = default;
  void SetStatsModel(IQvAccumStats* /*stats*/, const IQvRegModel* /*model*/) override {}
  void ResetAccumStats(QvConst::QvEstimationMethod method, bool separationCheck) override {
    fAlgorithm.fpStats->Reset(method, separationCheck);
  }
  void CleanStatsModel() override {}
  QvStatus ComputeStatsForOptimizer(bool llOnly) override {
    QvAccumStatsLogistic& stats = *fAlgorithm.fpStats;
    return QvMakePassAhead(&stats, llOnly, fAlgorithm.fCancelInfo, [&] {
      const QvStatus status = fAlgorithm.RequestPass(QvPassKind::kDerivatives, stats);
      if (!status.IsError()) fAlgorithm.fRecordCounts.NoteLaterPass(stats.fNUsed);
      return status;
    });
  }
  [[nodiscard]] const std::vector<QvStatus>& GetWarnings() const override { return fWarnings; }
  void Display() const override {}

 private:
  QvLogAlgorithm& fAlgorithm;
  std::vector<QvStatus> fWarnings;
};

QvLogAlgorithm::QvLogAlgorithm(const QvLogRegSettings& settings)
    : QvRegAlgorithm(settings),
      fSettings(settings),
      fFactorTables(settings.GetFactors(), settings.GetFactorSizes(),
                    settings.GetFrequencyWeightVar(), settings.GetDependent(),
                    settings.GetDependentNCategs(), kFirstCode, kNone, 0.0, QvConst::QvOffsetNone),
      fModel(settings, fCancelInfo),
      fDesign(settings) {
  fValidator.SetRecordInfo(settings.GetVariableTypes(), settings.GetFactors(),
                           settings.GetFactorSizes(), settings.GetDependentNCategs());
}

void QvLogAlgorithm::Note(const QvStatus& status) {
  if (status.IsError()) {
    if (!fStatus.IsError()) fStatus = status;
    return;
  }
  if (!status.IsWarning()) return;
  const bool isListed =
      std::any_of(fWarnings.begin(), fWarnings.end(),
                  [&status](const QvStatus& warning) { return warning.IsIdenticalTo(status); });
  if (!isListed) fWarnings.push_back(status);
}

bool QvLogAlgorithm::CanContinue() {
  if (!fStatus.IsError() && fCancelInfo.StopRequested()) Note({QvStatusCode::kCancelled, false});
  return !fStatus.IsError();
}

std::unique_ptr<QvPatternTabulator> QvLogAlgorithm::MakeTabulator() {
  return std::make_unique<QvPatternTabulator>(fSettings, fFactorTables, fValidator, fCancelInfo);
}

QvStatus QvLogAlgorithm::FirstPass(MultiPassRecordIter& iter) {
  if (fSettings.GetUsePatternTabulator()) {
    fPatternExtractor = MakeTabulator();
    const QvStatus status = fPatternExtractor->FillFactorTables(iter);
    fRecordCounts = fPatternExtractor->GetRecordCounts();
    return status;
  }
  QvRecordPass pass(iter, fCancelInfo, fValidator);
  return FillFactorTables(pass, fFactorTables, fRecordCounts);
}

void QvLogAlgorithm::ProcessData(MultiPassRecordIter& iter) {
  fDesign.SetUpTables(fFactorTables, fSettings.GetCovariates());
  Note(RunPass(QvPassKind::kTables, [&] { return FirstPass(iter); }));
  if (fStatus.IsError()) return;
  fMeanValues = fFactorTables.GetCovariateMeans();
  fbFactorTableFilled = true;
}

QvRowLayout QvLogAlgorithm::RecordLayout() const {
  QvRowLayout layout;
  layout.fCovariates = fSettings.GetCovariates();
  layout.fFrequencyWeight = fSettings.GetFrequencyWeightVar();
  layout.fRegressionWeight = fSettings.GetRegrWeightVar();
  layout.fDependent = fSettings.GetDependent();
  return layout;
}

void QvLogAlgorithm::SetUpDesign() {
  const QvRowLayout records = RecordLayout();
  fModel.SetLayouts(records,
                    fPatternExtractor != nullptr ? fPatternExtractor->GetRowLayout() : records);
  fModel.SetDesign(fFactorTables, fDesign.GetEffectParameters());
  fFactorTables.CreateParameterIndices();
}

void QvLogAlgorithm::SetUpModel(std::vector<QvRegrParameter>& params) {
  SetUpDesign();
  QvStatus status;
  fModel.SetDependentCategories(status, fFactorTables.GetDependCountsPtr());
  Note(status);
  if (!CanContinue()) return;
  status = QvStatus();
  fModel.Initialize(status);
  Note(status);
  params = fModel.GetAllParameters();
  fbParametersCreated = !params.empty();
  if (!fStatus.IsError()) Note(CheckStartingValues());
}

QvStatus QvLogAlgorithm::CheckStartingValues() const {
  const std::size_t nValues = fSettings.GetStartingValues().size();
  const std::size_t nParameters = fModel.GetAllParameters().size();
  if (nValues == 0 || nValues == nParameters) return {};
  QvStatus status(QvStatusCode::kNoParameters, false);
  status.SetDiscreteDatum(0, static_cast<long>(nValues));
  status.SetDiscreteDatum(1, static_cast<long>(nParameters));
  return status;
}

QvStatus QvLogAlgorithm::CreateParameters(MultiPassRecordIter& iter,
                                          std::vector<QvRegrParameter>& params) {
  if (!CanContinue()) return fStatus;
  if (fbModelBuilt) {
    Note({QvStatusCode::kAlreadyBuilt, false});
  } else if (fbFactorTableFilled) {
    Note({QvStatusCode::kDataProcessed, false});
  } else if (!fDesign.AreVariablesKnown()) {
    Note({QvStatusCode::kNoParameters, false});
  }
  if (!fStatus.IsError()) ProcessData(iter);
  if (CanContinue()) SetUpModel(params);
  return fStatus;
}

QvStatus QvLogAlgorithm::AddProducts(MultiPassRecordIter& iter) {
  if (fPatternExtractor != nullptr) return fPatternExtractor->AddRowsToXPrimeX(fModel);
  QvRecordPass pass(iter, fCancelInfo, fValidator);
  const QvStatus status = ForEachCountedPanel<QvCommon::QvKernels::kRows>(
      pass, fFactorTables, fRecordCounts, [this](std::span<const double* const> records) {
        return fModel.AddRecordsToXPrimeX(records);
      });
  fModel.SettleProducts();
  return status;
}

QvStatus QvLogAlgorithm::AccumulateXPrimeX(MultiPassRecordIter& iter) {
  if (fPatternExtractor != nullptr) {
    const QvStatus status = fPatternExtractor->CreateRowPatterns(iter, fModel);
    fRecordCounts = fPatternExtractor->GetRecordCounts();
    if (status.IsError()) return status;
  }
  return AddProducts(iter);
}

QvStatus QvLogAlgorithm::ClassifyRecords(MultiPassRecordIter& iter) {
  if (fPatternExtractor != nullptr) return fPatternExtractor->ClassifyRows(fModel);
  std::vector<double> noResiduals;
  QvRecordPass pass(iter, fCancelInfo, fValidator);
  return ForEachCountedRecord(pass, fFactorTables, fRecordCounts, [&](const double* values) {
    fModel.UpdateClassification(noResiduals, values);
    return true;
  });
}

QvStatus QvLogAlgorithm::Classify(MultiPassRecordIter& iter) {
  const QvStatus status =
      RunPass(QvPassKind::kClassification, [&] { return ClassifyRecords(iter); });
  return status.IsError() ? status : fModel.FinishClassification();
}

void QvLogAlgorithm::CreateStatistics() {
  fpStats = std::make_unique<QvAccumStatsLogistic>(fSettings, fModel.GetNumBasicNonRedundant(),
                                                   fModel.GetNumDependCategories(), fBeta);
  if (fpStats->IsValid()) return;
  QvStatus status(QvStatusCode::kTooManyParameters, false);
  status.SetDiscreteDatum(0, fModel.GetNumAllNonRedundant());
  Note(status);
}

QvRecordIterHandler QvLogAlgorithm::RecordHandler(MultiPassRecordIter& iter) {
  return {iter,
          fCancelInfo,
          fValidator,
          fSettings.GetDependent(),
          fSettings.GetFrequencyWeightVar(),
          fSettings.GetRegrWeightVar(),
          &fRecordCounts};
}

void QvLogAlgorithm::RunOptimizer(MultiPassRecordIter& iter) {
  QvRecordIterHandler recordHandler = RecordHandler(iter);
  RunnerHandler runnerHandler(*this);
  IQvDataHandler* handler = &recordHandler;
  if (fPatternExtractor != nullptr) handler = fPatternExtractor.get();
  if (HasRunner()) handler = &runnerHandler;
  QvRegOptimizer optimizer(fSettings, &fModel, handler, fpStats.get(), fBeta, fCancelInfo,
                           fSettings.GetProgressListener(), fSettings.GetIterationFrequency());
  optimizer.SetReportExponents(fModel.GetKeptExponents());
  ApplyStartingValues(optimizer);
  if (CanContinue()) Note(optimizer.Estimate());
  // A pass that could not start shows there one pass late, and after the last one never.
  Note(recordHandler.GetStatus());
  if (CanContinue()) Note(fModel.SetEstimates(fBeta, *optimizer.GetMatrix()));
  fOptimization = optimizer.GetSummary();
}

void QvLogAlgorithm::ApplyStartingValues(QvRegOptimizer& optimizer) {
  const bool isInterceptAlone =
      fSettings.GetInterceptUse() && fModel.GetNumBasicNonRedundant() <= 1;
  if (fSettings.GetStartingValues().empty() || isInterceptAlone) return;
  Note(optimizer.MeasureBaseline());
  if (CanContinue()) fBeta = fModel.CompressEstimates(fSettings.GetStartingValues());
}

QvStatus QvLogAlgorithm::BuildModel(MultiPassRecordIter& iter) {
  if (!fbParametersCreated) return fStatus;
  if (CanContinue()) {
    Note(RunPass(QvPassKind::kProducts, [&] { return AccumulateXPrimeX(iter); }));
  }
  if (CanContinue()) Note(fModel.FindRedundancy());
  if (CanContinue()) {
    QvStatus status;
    fModel.GetStartingValues(status, fBeta);
    Note(status);
  }
  if (CanContinue()) CreateStatistics();
  if (CanContinue()) RunOptimizer(iter);
  if (CanContinue()) Note(Classify(iter));
  fModel.DeleteXPrimeXMatrix();
  fpStats.reset();
  // A stop that came with the last record left that record out.
  fbModelBuilt = CanContinue();
  return fStatus;
}

std::unique_ptr<IQvPassSums> QvLogAlgorithm::MakeSums(QvPassKind kind) {
  switch (kind) {
    case QvPassKind::kTables: {
      auto sums = std::make_unique<QvTableSums>(fSettings, fSettings.GetDependentNCategs());
      fDesign.SetUpTables(sums->fTables, fSettings.GetCovariates());
      return sums;
    }
    case QvPassKind::kProducts: {
      auto products = fModel.MakeProducts();
      if (!products->IsValid()) throw std::bad_alloc();
      return products;
    }
    case QvPassKind::kClassification:
      return fModel.MakeClassification();
    default:
      break;
  }
  auto stats = std::make_unique<QvAccumStatsLogistic>(fSettings, fModel.GetNumBasicNonRedundant(),
                                                      fModel.GetNumDependCategories(), fBeta);
  if (!stats->IsValid()) throw std::bad_alloc();
  QvCommon::QvByteReader start(fStatisticsStart);
  stats->ReadStart(start);
  return stats;
}

QvStatus QvLogAlgorithm::TakeSums(QvPassKind kind, IQvPassSums& sums) {
  if (kind == QvPassKind::kTables) {
    const QvStatus status = dynamic_cast<QvTableSums&>(sums).GiveTo(fFactorTables, fRecordCounts);
    const bool isWeighed = fFactorTables.GetTotalWeight() > 0.0;
    const bool isRefused = fSettings.GetUsePatternTabulator() && !isWeighed;
    if (status.IsError() || !isRefused) return status;
    return {QvStatusCode::kNothingToFit, false};
  }
  fRecordCounts.NoteLaterPass(sums.fNUsed);
  if (kind == QvPassKind::kProducts) {
    fModel.SwapProducts(dynamic_cast<QvCrossProducts&>(sums));
  } else if (kind == QvPassKind::kClassification) {
    fModel.SwapClassification(dynamic_cast<QvClassification&>(sums));
  }
  return {};
}

void QvLogAlgorithm::WriteTables(QvCommon::QvByteWriter& writer) const {
  fFactorTables.Write(writer);
}

void QvLogAlgorithm::ReadTables(QvCommon::QvByteReader& reader) {
  if (!fDesign.AreVariablesKnown()) return reader.Fail();
  fDesign.SetUpTables(fFactorTables, fSettings.GetCovariates());
  fFactorTables.Read(reader);
  if (!ChooseCategories() || !SetUpFromTables()) reader.Fail();
}

bool QvLogAlgorithm::ChooseCategories() {
  QvStatus status;
  fModel.SetDependentCategories(status, fFactorTables.GetDependCountsPtr());
  return !status.IsError();
}

bool QvLogAlgorithm::SetUpFromTables() {
  fMeanValues = fFactorTables.GetCovariateMeans();
  fbFactorTableFilled = true;
  if (fSettings.GetUsePatternTabulator()) fPatternExtractor = MakeTabulator();
  SetUpDesign();
  QvStatus status;
  fModel.SetUpDesign(status);
  return !status.IsError();
}

void QvLogAlgorithm::WriteState(QvPassKind kind, QvCommon::QvByteWriter& writer) const {
  if (kind == QvPassKind::kProducts) return;
  fModel.WriteEstimates(writer);
  if (kind == QvPassKind::kClassification || kind == QvPassKind::kScoring) return;
  writer.PutDoubles(fBeta);
  QvCommon::QvByteWriter start;
  fpStats->WriteStart(start);
  writer.PutBytes(start.GetBytes());
}

void QvLogAlgorithm::ReadState(QvPassKind kind, QvCommon::QvByteReader& reader) {
  if (kind == QvPassKind::kResiduals) return reader.Fail();
  if (kind == QvPassKind::kTables || kind == QvPassKind::kProducts) return;
  fModel.ReadEstimates(reader);
  fbModelBuilt = kind == QvPassKind::kScoring;
  if (kind == QvPassKind::kClassification || kind == QvPassKind::kScoring) return;
  fBeta = reader.GetDoubles();
  const std::span<const unsigned char> start = reader.GetBytes();
  fStatisticsStart.assign(start.begin(), start.end());
  if (fBeta.size() != static_cast<std::size_t>(fModel.GetNumAllNonRedundant())) reader.Fail();
}

void QvLogAlgorithm::FillContents(QvModelContents& contents) const {
  contents.fTables = fFactorTables.GetContents();
  contents.fLogistic = fModel.GetContents();
  contents.fLogistic.fOptimization = *fOptimization;
}

bool QvLogAlgorithm::TakeModel(QvModelContents& contents) {
  QvLogisticContents& logistic = contents.fLogistic;
  const QvOptimizationSummary& summary = logistic.fOptimization;
  const bool isSummary = summary.fOutcome >= kOptContinue && summary.fOutcome <= kOptNoIterations &&
                         summary.fIterations >= 0 && summary.fStepHalvings >= 0;
  if (!isSummary || !fDesign.AreVariablesKnown()) return false;
  fDesign.SetUpTables(fFactorTables, fSettings.GetCovariates());
  if (!fFactorTables.TakeContents(contents.fTables) || !ChooseCategories()) return false;
  // What the set-up makes room for must be there.
  const std::size_t nCategories = fModel.GetCategories().GetCodes().size();
  if (logistic.fClassification.size() != nCategories * nCategories) return false;
  fbModelBuilt = SetUpFromTables() && fModel.TakeContents(logistic);
  fOptimization = summary;
  fbParametersCreated = true;
  return fbModelBuilt;
}

QvStatus QvLogAlgorithm::RequireRows(MultiPassRecordIter& iter) {
  if (fPatternExtractor == nullptr || fPatternExtractor->HasRows()) return {};
  return fPatternExtractor->CreateRowPatterns(iter, fModel);
}

QvStatus QvLogAlgorithm::AddToStatistics(MultiPassRecordIter& iter, QvAccumStatsLogistic& stats) {
  QvRecordIterHandler recordHandler = RecordHandler(iter);
  IQvDataHandler* handler = &recordHandler;
  if (fPatternExtractor != nullptr) handler = fPatternExtractor.get();
  handler->SetStatsModel(&stats, &fModel);
  const QvStatus status = handler->ComputeStatsForOptimizer(false);
  handler->CleanStatsModel();
  return status.IsError() ? status : recordHandler.GetStatus();
}

QvStatus QvLogAlgorithm::RunPart(QvPassKind kind, MultiPassRecordIter& iter, IQvPassSums& sums) {
  if (kind == QvPassKind::kTables) {
    QvRecordPass pass(iter, fCancelInfo, fValidator);
    return dynamic_cast<QvTableSums&>(sums).AddRecords(pass);
  }
  CountAnew();
  QvStatus status = RequireRows(iter);
  if (status.IsError()) return status;
  // The sums take the place of the model's for the time of the pass.
  if (kind == QvPassKind::kProducts) {
    auto& products = dynamic_cast<QvCrossProducts&>(sums);
    fModel.SwapProducts(products);
    status = AddProducts(iter);
    fModel.SwapProducts(products);
  } else if (kind == QvPassKind::kClassification) {
    auto& classification = dynamic_cast<QvClassification&>(sums);
    fModel.SwapClassification(classification);
    status = ClassifyRecords(iter);
    fModel.SwapClassification(classification);
  } else {
    status = AddToStatistics(iter, dynamic_cast<QvAccumStatsLogistic&>(sums));
  }
  sums.fNUsed =
      fPatternExtractor != nullptr ? fPatternExtractor->GetRecordCount() : fRecordCounts.fUsedLater;
  return status;
}

void QvLogAlgorithm::SwapKeptRows(std::unique_ptr<IQvKeptRows>& rows) {
  if (fPatternExtractor == nullptr) return rows.reset();
  std::unique_ptr<IQvKeptRows> own = fPatternExtractor->TakeRows();
  if (auto* table = dynamic_cast<QvPatternTable*>(rows.get()); table != nullptr) {
    static_cast<void>(rows.release());
    fPatternExtractor->SetRows(std::unique_ptr<QvPatternTable>(table));
  }
  rows = std::move(own);
}

bool QvLogAlgorithm::MayBeScored(const Record& record, QvStatus& status) const {
  if (record.Size() < fDesign.GetRecordSize()) {
    status = QvStatus(QvStatusCode::kShortRecord, false);
    return false;
  }
  return fValidator.IsValid4Scoring(record, status);
}

QvStatus QvLogAlgorithm::Score(const Record& record, double& predicted,
                               std::vector<double>& probabilities) {
  QvStatus status = fStatus;
  if (status.IsError()) return status;
  if (fCancelInfo.WillCancel()) return {QvStatusCode::kCancelled, false};
  if (!fbModelBuilt) return {QvStatusCode::kNotBuilt, false};
  if (!MayBeScored(record, status)) return status;
  probabilities.assign(static_cast<std::size_t>(fModel.GetNumDependCategories()), 0.0);
  int code = kNone;
  fModel.ComputeCategoryProbabilities(status, record.GetAll(), probabilities, code);
  predicted = code;
  return status;
}

std::unique_ptr<IQvRegOutputStats> QvLogAlgorithm::MakeOutputStats() {
  return std::make_unique<QvLogOutputStats>(fSettings, *this);
}

bool QvLogAlgorithm::ExpandRow(const Record& record, std::vector<double>& row) const {
  QvStatus status;
  if (!MayBeScored(record, status)) return false;
  row.assign(static_cast<std::size_t>(fModel.GetNumAllParameters()), 0.0);
  return fModel.ExpandRow(row, record.GetAll());
}

bool QvLogAlgorithm::ExpandRow(const Record& record, std::vector<int>& indices,
                               std::vector<double>& values) const {
  QvStatus status;
  return MayBeScored(record, status) && fModel.ExpandRow(record.GetAll(), indices, values);
}

bool QvLogAlgorithm::ExpandSparseRow(const Record& record, std::vector<int>& indices,
                                     std::vector<double>& values) {
  QvStatus status;
  return MayBeScored(record, status) && fModel.ExpandKnown(record.GetAll(), indices, values);
}

void QvLogAlgorithm::Display() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvLogAlgorithm display start");
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "fPatternExtractor");
  if (fPatternExtractor != nullptr) fPatternExtractor->Display();
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "fFactorTables");
  fFactorTables.Display();
  QvComponentDisplay::DisplayDV("fMeanValues", fMeanValues, true);
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "fModel");
  fModel.Display();
  QvComponentDisplay::DisplayB("fbFactorTableFilled", fbFactorTableFilled);
  QvComponentDisplay::DisplayB("fbModelBuilt", fbModelBuilt);
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "QvLogAlgorithm display end");
}
