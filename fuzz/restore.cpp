// Models kept as bytes, damaged so that the checksum does not tell: refused, or a model that can be
// asked, scored with and written again.
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/Check.h"
#include "fuzz/Messages.h"
#include "qvreg/common/Constants.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/QvModelContents.h"
#include "qvreg/component/QvModelMessage.h"
#include "qvreg/factory/QvRegFactory.h"
#include "qvreg/parallel/QvScorer.h"
#include "qvreg/settings/QvSettingsMessage.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/RandomModels.h"

namespace {

using namespace qvfuzz;
using QvCommon::QvBytes;
using QvCommon::Record;

/// The contents of a model of each kind, and of its settings.
struct Kept {
  Kept() {
    for (const auto kind :
         {qvtest::ModelKind::kLinear, qvtest::ModelKind::kLogistic, qvtest::ModelKind::kInMemory}) {
      qvtest::RandomModel model(kind);
      qvtest::FittedModel fitted(model.Get(), qvtest::RandomRecords(200));
      QvBytes bytes;
      Check(fitted.Component().WriteModel(bytes).IsOK(), "a model is written");
      models.push_back(ContentsOf(bytes));
      Check(QvSettingsMessage::Write(model.Get(), bytes).IsOK(), "settings are written");
      settings.push_back(ContentsOf(bytes));
    }
  }

  std::vector<QvBytes> models;
  std::vector<QvBytes> settings;
};

/// Records for any settings: every kind of value, and too short ones.
std::vector<Record> RecordsFor(const QvRegSettings& settings) {
  constexpr std::size_t kMostVariables = 100;
  const std::size_t size = settings.GetVariableTypes().size();
  std::vector<Record> records{Record(0)};
  if (size > kMostVariables) return records;
  for (const double value : {0.0, 1.0, 2.0, -1.0, 0.5, 1e300, QvMV::gMissingValue,
                             std::numeric_limits<double>::quiet_NaN()}) {
    records.emplace_back(static_cast<int>(size));
    for (int i = 0; i < records.back().Size(); ++i) records.back()[i] = value;
  }
  records.emplace_back(static_cast<int>(size));
  for (int i = 0; i < records.back().Size(); ++i) records.back()[i] = i % 3;
  return records;
}

void Ask(IQvRegComponent& component) {
  IQvRegOutputStats* stats = nullptr;
  Check(component.GetOutputStats(stats).IsOK(), "a restored model has results");
  const std::vector<double> numbers = qvtest::NumbersOf(*stats);
  std::vector<double> values;
  for (std::size_t i = 0; i < stats->GetParameters().size(); ++i) {
    static_cast<void>(stats->GetRedundantCombination(static_cast<int>(i), values));
  }
  QvBytes scoring;
  Check(component.WriteScoring(scoring).IsOK(), "a restored model is sent to score");
  QvScorer scorer;
  Check(scorer.Open(scoring).IsOK(), "a restored model is scored with elsewhere");
  for (const Record& record : RecordsFor(component.GetCompSettings())) {
    double predicted = 0.0;
    double again = 0.0;
    const QvCommon::QvStatus status = component.Score(record, predicted, values);
    std::vector<double> others = values;
    Check(scorer.Score(record, again, others) == status, "a scorer answers as its model");
    static_cast<void>(stats->ExpandRow(record, values));
  }
}

void TryModel(const QvBytes& bytes) {
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.RestoreComponent(bytes));
  Check((component != nullptr) == !factory.GetStatus().IsError(), "a component or an error");
  QvModelContents contents;
  const bool isReadable = QvModelMessage::Read(bytes, contents).IsOK();
  if (component == nullptr) return;
  Check(isReadable, "a restored model has contents");
  Check(component->IsModelBuilt(), "a restored model is built");
  Ask(*component);
  QvBytes first;
  Check(component->WriteModel(first).IsOK(), "a restored model is written");
  const std::unique_ptr<IQvRegComponent> again(factory.RestoreComponent(first));
  Check(again != nullptr, "what a restored model writes is a model");
  QvBytes second;
  Check(again->WriteModel(second).IsOK() && second == first, "and stays the same");
}

void TrySettings(const QvBytes& bytes) {
  std::unique_ptr<QvRegSettings> settings;
  const QvCommon::QvStatus status = QvSettingsMessage::Read(bytes, settings);
  Check((settings != nullptr) == !status.IsError(), "settings or an error");
  if (settings == nullptr || settings->IsValidSettings().IsError()) return;
  QvBytes first;
  Check(QvSettingsMessage::Write(*settings, first).IsOK(), "settings that were read are written");
  Check(QvSettingsMessage::Read(first, settings).IsOK(), "and read again");
  QvBytes second;
  Check(QvSettingsMessage::Write(*settings, second).IsOK() && second == first, "as the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const Kept kept;
  FuzzedDataProvider data(bytes, size);
  const auto which = data.ConsumeIntegralInRange<std::size_t>(0, kept.models.size() - 1);
  switch (data.ConsumeIntegralInRange(0, 3)) {
    case 0: {
      TryModel(data.ConsumeRemainingBytes<unsigned char>());
      break;
    }
    case 1: {
      QvBytes contents = kept.settings[which];
      Damage(data, contents);
      TrySettings(MessageOf(QvCommon::QvMessageType::kSettings, contents));
      break;
    }
    default: {
      QvBytes contents = kept.models[which];
      Damage(data, contents);
      TryModel(MessageOf(QvCommon::QvMessageType::kModel, contents));
    }
  }
  return 0;
}
