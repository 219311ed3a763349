#include "qvreg/data/QvRecordPass.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvStatus;
using QvCommon::Record;

constexpr long kMissingRecord = 312;
constexpr std::size_t kNever = static_cast<std::size_t>(-1);

/// What was asked of the iterator and of the host, in order.
using Journal = std::vector<std::string>;

/// Delivers records of one value from memory; announces record `missingAt` but delivers null, and
/// delivers records though it answered a new pass with `refusal`.
class JournalIterator : public QvCommon::MultiPassRecordIter {
 public:
  JournalIterator(Journal& journal, const std::vector<double>& values,
                  std::size_t missingAt = kNever, int refusal = QvCommon::kIterOk)
      : journal_(journal), missingAt_(missingAt), refusal_(refusal) {
    for (const double value : values) records_.push_back(qvtest::MakeRecord({value}));
  }

  [[nodiscard]] bool HasMore() const override {
    journal_.emplace_back("more?");
    return GetFailReason() == QvCommon::kIterOk;
  }
  const Record* Next() override {
    journal_.emplace_back("next");
    const std::size_t position = position_++;
    return position == missingAt_ ? nullptr : &records_[position];
  }
  [[nodiscard]] int GetFailReason() const override {
    return position_ < records_.size() ? QvCommon::kIterOk : QvCommon::kIterEndOfData;
  }
  int NewPass() override {
    journal_.emplace_back("new pass");
    position_ = 0;
    return refusal_ == QvCommon::kIterOk ? GetFailReason() : refusal_;
  }

 private:
  Journal& journal_;
  std::size_t missingAt_;
  int refusal_;
  std::vector<Record> records_;
  std::size_t position_ = 0;
};

/// Says stop at one of its questions.
class JournalHost : public QvQueryCancel {
 public:
  explicit JournalHost(Journal& journal, std::size_t stopAt = kNever)
      : journal_(journal), stopAt_(stopAt) {}

  bool QueryCancel() override {
    journal_.emplace_back("cancel?");
    return false;
  }
  bool QueryWillCancel() override {
    journal_.emplace_back("will cancel?");
    return calls_++ == stopAt_;
  }

 private:
  Journal& journal_;
  std::size_t stopAt_;
  std::size_t calls_ = 0;
};

QvRegRecordValidator ValidatorFor(QvConst::QvVariableType type) {
  QvRegRecordValidator validator;
  validator.SetRecordInfo({type}, {}, {}, 0);
  return validator;
}

/// A pass over one variable, which collects what it is given.
struct Outcome {
  QvStatus status;
  std::vector<double> values;
  std::vector<QvRecordVerdict> verdicts;
};

Outcome RunPass(JournalIterator& iter, QvCancelInfo& cancel, const QvRegRecordValidator& validator,
                const QvRecordPassEnds& ends = {}) {
  QvRecordPass pass(iter, cancel, validator, ends);
  Outcome outcome;
  outcome.status = pass.Run([&outcome](const double* record, QvRecordVerdict verdict, QvStatus&) {
    outcome.values.push_back(record[0]);
    outcome.verdicts.push_back(verdict);
    return true;
  });
  return outcome;
}

/// The same without a cancel flag of the caller's.
Outcome RunPass(JournalIterator& iter, QvQueryCancel* host, const QvRegRecordValidator& validator,
                const QvRecordPassEnds& ends = {}) {
  QvCancelInfo cancel(host);
  return RunPass(iter, cancel, validator, ends);
}

Outcome RunPass(const std::vector<double>& values, QvConst::QvVariableType type) {
  Journal journal;
  JournalIterator iter(journal, values);
  return RunPass(iter, nullptr, ValidatorFor(type));
}

TEST(QvRecordPass, HandsOverEveryRecordInOrder) {
  const Outcome outcome = RunPass({3, 1, 2}, QvConst::QvVarCovariate);
  EXPECT_TRUE(outcome.status.IsOK());
  EXPECT_EQ(outcome.values, (std::vector<double>{3, 1, 2}));
  EXPECT_EQ(outcome.verdicts, std::vector<QvRecordVerdict>(3, QvRecordVerdict::kValid));
}

TEST(QvRecordPass, ReadsTheDataFromTheStartEveryTime) {
  Journal journal;
  JournalIterator iter(journal, {1, 2});
  const QvRegRecordValidator validator = ValidatorFor(QvConst::QvVarNone);
  iter.Next();
  for (int time = 0; time < 2; ++time) {
    EXPECT_EQ(RunPass(iter, nullptr, validator).values, (std::vector<double>{1, 2}));
  }
}

TEST(QvRecordPass, TellsWhyARecordIsSkipped) {
  EXPECT_EQ(RunPass({1, QvMV::gMissingValue}, QvConst::QvVarCovariate).verdicts,
            (std::vector<QvRecordVerdict>{QvRecordVerdict::kValid, QvRecordVerdict::kMissing}));
  EXPECT_EQ(RunPass({0, 1}, QvConst::QvVarFreqWeight).verdicts,
            (std::vector<QvRecordVerdict>{QvRecordVerdict::kBadWeight, QvRecordVerdict::kValid}));
}

TEST(QvRecordPass, WithoutARecordAnswers307) {
  const Outcome outcome = RunPass({}, QvConst::QvVarCovariate);
  EXPECT_TRUE(outcome.status == QvStatus(307, false));
  EXPECT_TRUE(outcome.values.empty());
}

TEST(QvRecordPass, AsksMoreThenCancelThenNext) {
  Journal journal;
  JournalIterator iter(journal, {1, 2});
  JournalHost host(journal);
  const QvRegRecordValidator validator = ValidatorFor(QvConst::QvVarCovariate);
  RunPass(iter, &host, validator);
  EXPECT_EQ(journal, (Journal{"new pass", "more?",              // Is there a first record?
                              "more?", "will cancel?", "next",  //
                              "more?", "will cancel?", "next",  //
                              "more?"}));
}

TEST(QvRecordPass, WithoutARecordTheHostIsNotAsked) {
  Journal journal;
  JournalIterator iter(journal, {});
  JournalHost host(journal, 0);
  const Outcome outcome = RunPass(iter, &host, ValidatorFor(QvConst::QvVarCovariate));
  EXPECT_EQ(outcome.status.GetCode(), 307);
  EXPECT_EQ(journal, Journal{"new pass"});
}

TEST(QvRecordPass, AHostsStopEndsThePassBeforeTheRecord) {
  Journal journal;
  JournalIterator iter(journal, {1, 2, 3});
  JournalHost host(journal, 1);
  const Outcome outcome = RunPass(iter, &host, ValidatorFor(QvConst::QvVarCovariate));
  EXPECT_TRUE(outcome.status == QvStatus(1, false));
  EXPECT_EQ(outcome.values, (std::vector<double>{1}));
}

TEST(QvRecordPass, ACancelledRunReadsNoRecord) {
  Journal journal;
  JournalIterator iter(journal, {1});
  JournalHost host(journal);
  QvCancelInfo cancel(&host);
  cancel.SetCancel();
  const Outcome outcome = RunPass(iter, cancel, ValidatorFor(QvConst::QvVarCovariate));
  EXPECT_TRUE(outcome.status == QvStatus(1, false));
  EXPECT_EQ(journal, (Journal{"new pass", "more?", "more?"}));
}

TEST(QvRecordPass, ARecordAnnouncedButNotDeliveredAnswers312) {
  Journal journal;
  JournalIterator iter(journal, {1, 2, 3}, 1);
  const Outcome outcome = RunPass(iter, nullptr, ValidatorFor(QvConst::QvVarCovariate));
  EXPECT_TRUE(outcome.status == QvStatus(kMissingRecord, false));
  EXPECT_EQ(outcome.values, (std::vector<double>{1}));
}

const QvRecordPassEnds kOwnEnds{{401, false}, {402, false}, {403, false}};

TEST(QvRecordPass, ACallerMayNameItsOwnEndOfAnEmptyPass) {
  Journal journal;
  JournalIterator iter(journal, {});
  const Outcome outcome = RunPass(iter, nullptr, ValidatorFor(QvConst::QvVarCovariate), kOwnEnds);
  EXPECT_TRUE(outcome.status == QvStatus(401, false));
}

TEST(QvRecordPass, ACallerMayNameItsOwnEndOfACancelledPass) {
  Journal journal;
  JournalIterator iter(journal, {1, 2});
  JournalHost host(journal, 1);
  const Outcome outcome = RunPass(iter, &host, ValidatorFor(QvConst::QvVarCovariate), kOwnEnds);
  EXPECT_TRUE(outcome.status == QvStatus(402, false));
  EXPECT_EQ(outcome.values, (std::vector<double>{1}));
}

TEST(QvRecordPass, ACallerMayNameItsOwnEndForAMissingRecord) {
  Journal journal;
  JournalIterator iter(journal, {1, 2}, 1);
  const Outcome outcome = RunPass(iter, nullptr, ValidatorFor(QvConst::QvVarCovariate), kOwnEnds);
  EXPECT_TRUE(outcome.status == QvStatus(403, false));
}

TEST(QvRecordPass, AnEndMayBeSuccess) {
  const QvRecordPassEnds quiet{{}, {}, {}};
  Journal journal;
  JournalIterator empty(journal, {});
  EXPECT_TRUE(RunPass(empty, nullptr, ValidatorFor(QvConst::QvVarNone), quiet).status.IsOK());
  JournalIterator iter(journal, {1, 2});
  JournalHost host(journal, 1);
  EXPECT_TRUE(RunPass(iter, &host, ValidatorFor(QvConst::QvVarNone), quiet).status.IsOK());
}

TEST(QvRecordPass, KeepsTheHostsYesInTheCancelInfo) {
  Journal journal;
  JournalIterator iter(journal, {1, 2});
  JournalHost host(journal, 0);
  QvCancelInfo cancel(&host);
  RunPass(iter, cancel, ValidatorFor(QvConst::QvVarCovariate));
  EXPECT_TRUE(cancel.IsFlagSet()) << "the host said yes once only";
}

TEST(QvRecordPass, ARefusedNewPassAnswers307AndReadsNothing) {
  for (const int refusal :
       {static_cast<int>(QvCommon::kIterEndOfData), 2, static_cast<int>(QvCommon::kIterReadError),
        static_cast<int>(QvCommon::kIterNoRewind), -1}) {
    SCOPED_TRACE(refusal);
    Journal journal;
    JournalIterator iter(journal, {1, 2}, kNever, refusal);
    const Outcome outcome = RunPass(iter, nullptr, ValidatorFor(QvConst::QvVarCovariate));
    EXPECT_TRUE(outcome.status == QvStatus(307, false));
    EXPECT_TRUE(outcome.values.empty());
    EXPECT_EQ(journal, Journal{"new pass"});
  }
}

TEST(QvRecordPass, ItsTwoHalvesReadWhatIsDeliveredInSpiteOfARefusal) {
  Journal journal;
  JournalIterator iter(journal, {1, 2}, kNever, QvCommon::kIterNoRewind);
  QvCancelInfo cancel;
  const QvRegRecordValidator validator = ValidatorFor(QvConst::QvVarCovariate);
  QvRecordPass pass(iter, cancel, validator);
  EXPECT_FALSE(pass.Start());
  std::vector<double> values;
  const QvStatus status = pass.ReadOn([&values](const double* record, QvRecordVerdict, QvStatus&) {
    values.push_back(record[0]);
    return true;
  });
  EXPECT_TRUE(status.IsOK());
  EXPECT_EQ(values, (std::vector<double>{1, 2}));
}

TEST(QvRecordPass, AnErrorOfTheValidatorEndsThePass) {
  const Outcome outcome = RunPass({0, 7.5, 0}, QvConst::QvVarFactor);
  EXPECT_TRUE(outcome.status == QvStatus(316, false));
  double value = 0.0;
  EXPECT_TRUE(outcome.status.GetScaleDatum(1, value));
  EXPECT_EQ(value, 7.5);
  EXPECT_EQ(outcome.values, (std::vector<double>{0}));
}

TEST(QvRecordPass, TheCallerMayEndThePassWithItsOwnStatus) {
  Journal journal;
  JournalIterator iter(journal, {1, 2, 3});
  QvCancelInfo cancel;
  const QvRegRecordValidator validator = ValidatorFor(QvConst::QvVarCovariate);
  QvRecordPass pass(iter, cancel, validator);
  int calls = 0;
  const QvStatus status = pass.Run([&calls](const double*, QvRecordVerdict, QvStatus& own) {
    own = QvStatus(305, false);
    return ++calls < 2;
  });
  EXPECT_TRUE(status == QvStatus(305, false));
  EXPECT_EQ(calls, 2);
}

}  // namespace
