#include "qvreg/data/QvRegRecordValidator.h"

#include <cmath>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvStatus;
using QvCommon::Record;
using qvtest::MakeRecord;

constexpr double kMissing = QvMV::gMissingValue;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// The record: dependent, factor with 3 categories, covariate, no role, frequency and regression
// weight.
constexpr int kDependent = 0;
constexpr int kFactor = 1;
constexpr int kCovariate = 2;
constexpr int kUnused = 3;
constexpr int kFreqWeight = 4;
constexpr int kRegrWeight = 5;
const std::vector<QvConst::QvVariableType> kTypes = {
    QvConst::QvVarDependent, QvConst::QvVarFactor,     QvConst::QvVarCovariate,
    QvConst::QvVarNone,      QvConst::QvVarFreqWeight, QvConst::QvVarRegrWeight};

constexpr int kScaleDependent = 0;

QvRegRecordValidator ValidatorFor(int nTargetCategories) {
  QvRegRecordValidator validator;
  validator.SetRecordInfo(kTypes, {kFactor}, {3}, nTargetCategories);
  return validator;
}

/// A valid record but for one value.
Record RecordWith(int var, double value) {
  Record record = MakeRecord({1.0, 2.0, 0.5, 0.0, 1.0, 1.0});
  record[var] = value;
  return record;
}

/// What estimation and scoring make of a record.
struct Finding {
  QvRecordVerdict verdict = QvRecordVerdict::kValid;
  QvStatus status;
  bool forEstimation = false;
  bool forScoring = false;
  QvStatus scoringStatus;
};

Finding Check(const Record& record, int nTargetCategories = kScaleDependent) {
  const QvRegRecordValidator validator = ValidatorFor(nTargetCategories);
  Finding finding;
  finding.verdict = validator.CheckRecord(record, finding.status);
  QvStatus again;
  finding.forEstimation = validator.IsValidRecord(record, again);
  EXPECT_EQ(finding.forEstimation, finding.verdict == QvRecordVerdict::kValid);
  EXPECT_TRUE(again == finding.status);
  finding.forScoring = validator.IsValid4Scoring(record, finding.scoringStatus);
  return finding;
}

Finding CheckWith(int var, double value, int nTargetCategories = kScaleDependent) {
  return Check(RecordWith(var, value), nTargetCategories);
}

/// Status 316, naming the variable and the value.
void ExpectBadCategory(const QvStatus& status, int var, double value) {
  EXPECT_TRUE(status == QvStatus(316, false));
  long namedVar = -1;
  double namedValue = 0.0;
  EXPECT_TRUE(status.GetDiscreteDatum(1, namedVar));
  EXPECT_TRUE(status.GetScaleDatum(1, namedValue));
  EXPECT_EQ(namedVar, var);
  if (std::isnan(value)) {
    EXPECT_TRUE(std::isnan(namedValue));
  } else {
    EXPECT_EQ(namedValue, value);
  }
}

TEST(QvRegRecordValidator, AGoodRecordIsValid) {
  const Finding finding = CheckWith(kUnused, 0.0);
  EXPECT_TRUE(finding.forEstimation);
  EXPECT_TRUE(finding.forScoring);
  EXPECT_TRUE(finding.status.IsOK());
  EXPECT_TRUE(finding.scoringStatus.IsOK());
}

TEST(QvRegRecordValidator, WithoutRolesEveryRecordIsValid) {
  const QvRegRecordValidator validator;
  QvStatus status;
  EXPECT_TRUE(validator.IsValidRecord(Record(0), status));
  EXPECT_TRUE(validator.IsValid4Scoring(MakeRecord({kMissing}), status));
}

TEST(QvRegRecordValidator, AFactorCodeThatIsNoWholeNumberIsAnError) {
  EXPECT_TRUE(CheckWith(kFactor, 2.0).forEstimation);
  const Finding finding = CheckWith(kFactor, 2.0000001);
  EXPECT_EQ(finding.verdict, QvRecordVerdict::kError);
  ExpectBadCategory(finding.status, kFactor, 2.0000001);
  EXPECT_FALSE(finding.forScoring);
  ExpectBadCategory(finding.scoringStatus, kFactor, 2.0000001);
}

TEST(QvRegRecordValidator, ANegativeFactorCodeIsMissingBelowMinusOneHalfOnly) {
  ExpectBadCategory(CheckWith(kFactor, -0.4).status, kFactor, -0.4);
  ExpectBadCategory(CheckWith(kFactor, -0.5).status, kFactor, -0.5);
  for (const double code : {-0.6, -1.0, kMissing, -kInfinity}) {
    const Finding finding = CheckWith(kFactor, code);
    EXPECT_EQ(finding.verdict, QvRecordVerdict::kMissing);
    EXPECT_TRUE(finding.status.IsOK());
    EXPECT_FALSE(finding.forScoring);
    EXPECT_TRUE(finding.scoringStatus.IsOK());
  }
  EXPECT_TRUE(CheckWith(kFactor, -0.0).forEstimation);
}

TEST(QvRegRecordValidator, AFactorCodeMayEqualTheNumberOfCategoriesAndNoMore) {
  for (const double code : {0.0, 1.0, 2.0, 3.0}) {
    EXPECT_TRUE(CheckWith(kFactor, code).forEstimation) << code;
    EXPECT_TRUE(CheckWith(kFactor, code).forScoring) << code;
  }
  ExpectBadCategory(CheckWith(kFactor, 4.0).status, kFactor, 4.0);
  ExpectBadCategory(CheckWith(kFactor, 4.0).scoringStatus, kFactor, 4.0);
}

TEST(QvRegRecordValidator, AFactorCodeThatNoIntHoldsIsAnError) {
  for (const double code : {2147483648.0, 1e300, kInfinity, std::nan("")}) {
    ExpectBadCategory(CheckWith(kFactor, code).status, kFactor, code);
    ExpectBadCategory(CheckWith(kFactor, code).scoringStatus, kFactor, code);
  }
}

TEST(QvRegRecordValidator, AMissingCovariateSkipsTheRecordSilently) {
  const Finding finding = CheckWith(kCovariate, kMissing);
  EXPECT_EQ(finding.verdict, QvRecordVerdict::kMissing);
  EXPECT_TRUE(finding.status.IsOK());
  EXPECT_FALSE(finding.forScoring);
  EXPECT_TRUE(finding.scoringStatus.IsOK());
  EXPECT_TRUE(CheckWith(kCovariate, -1e300).forEstimation);
}

TEST(QvRegRecordValidator, AWeightNotAboveZeroSkipsTheRecordSilently) {
  for (const int var : {kFreqWeight, kRegrWeight}) {
    for (const double weight : {0.0, -0.0, -1.0, kMissing, -kInfinity}) {
      const Finding finding = CheckWith(var, weight);
      EXPECT_EQ(finding.verdict, QvRecordVerdict::kBadWeight) << var << ": " << weight;
      EXPECT_TRUE(finding.status.IsOK());
    }
    EXPECT_TRUE(CheckWith(var, 5e-324).forEstimation);
    EXPECT_TRUE(CheckWith(var, 2.5).forEstimation);
  }
}

TEST(QvRegRecordValidator, AWeightThatIsNotANumberSkipsTheRecordSilently) {
  for (const int var : {kFreqWeight, kRegrWeight}) {
    const Finding finding = CheckWith(var, std::nan(""));
    EXPECT_EQ(finding.verdict, QvRecordVerdict::kBadWeight);
    EXPECT_TRUE(finding.status.IsOK());
  }
}

TEST(QvRegRecordValidator, AMissingCovariateIsSeenWhereverItStands) {
  using enum QvConst::QvVariableType;
  const std::vector<QvConst::QvVariableType> types{QvVarCovariate, QvVarCovariate, QvVarNone,
                                                   QvVarCovariate, QvVarDependent, QvVarCovariate,
                                                   QvVarCovariate, QvVarCovariate, QvVarCovariate,
                                                   QvVarCovariate, QvVarNone,      QvVarCovariate};
  QvRegRecordValidator validator;
  validator.SetRecordInfo(types, {}, {}, 0);
  QvStatus status;
  for (std::size_t var = 0; var < types.size(); ++var) {
    std::vector<double> values(types.size(), 1.5);
    const auto size = static_cast<int>(values.size());
    EXPECT_EQ(validator.CheckRecord(values.data(), size, status), QvRecordVerdict::kValid);
    values[var] = kMissing;
    const bool isSeen = types[var] != QvVarNone;
    EXPECT_EQ(validator.CheckRecord(values.data(), size, status),
              isSeen ? QvRecordVerdict::kMissing : QvRecordVerdict::kValid)
        << var;
    for (const double number : {std::nan(""), -kInfinity, kInfinity}) {
      values[var] = number;
      EXPECT_EQ(validator.CheckRecord(values.data(), size, status), QvRecordVerdict::kValid) << var;
    }
  }
}

TEST(QvRegRecordValidator, AScaleDependentMayBeAnyNumberButTheMissingOne) {
  for (const double value : {1.5, -7.0, 1e300}) {
    EXPECT_TRUE(CheckWith(kDependent, value).forEstimation) << value;
  }
  const Finding missing = CheckWith(kDependent, kMissing);
  EXPECT_EQ(missing.verdict, QvRecordVerdict::kMissing);
  EXPECT_TRUE(missing.status.IsOK());
}

TEST(QvRegRecordValidator, ACategoricalDependentFollowsTheRulesOfAFactor) {
  ExpectBadCategory(CheckWith(kDependent, 1.5, 3).status, kDependent, 1.5);
  EXPECT_TRUE(CheckWith(kDependent, 3.0, 3).forEstimation);
  ExpectBadCategory(CheckWith(kDependent, 4.0, 3).status, kDependent, 4.0);
  EXPECT_EQ(CheckWith(kDependent, -1.0, 3).verdict, QvRecordVerdict::kMissing);
  EXPECT_EQ(CheckWith(kDependent, kMissing, 3).verdict, QvRecordVerdict::kMissing);
}

TEST(QvRegRecordValidator, OneTargetCategoryMakesTheDependentCategorical) {
  ExpectBadCategory(CheckWith(kDependent, 1.5, 1).status, kDependent, 1.5);
  EXPECT_TRUE(CheckWith(kDependent, 1.5, -1).forEstimation);
}

TEST(QvRegRecordValidator, VariablesWithoutRoleAreNotChecked) {
  for (const double value : {kMissing, std::nan(""), -kInfinity}) {
    EXPECT_TRUE(CheckWith(kUnused, value).forEstimation);
    EXPECT_TRUE(CheckWith(kUnused, value).forScoring);
  }
}

TEST(QvRegRecordValidator, ARoleOutsideTheTableIsNotChecked) {
  QvRegRecordValidator validator;
  validator.SetRecordInfo({static_cast<QvConst::QvVariableType>(6)}, {}, {}, 0);
  QvStatus status;
  EXPECT_TRUE(validator.IsValidRecord(MakeRecord({kMissing}), status));
}

TEST(QvRegRecordValidator, ARecordShorterThanTheRolesIsAnErrorWhateverItHolds) {
  const QvRegRecordValidator validator = ValidatorFor(kScaleDependent);
  for (const Record& record : {MakeRecord({1.0, 2.0, 0.5, 0.0, 1.0}), MakeRecord({kMissing})}) {
    QvStatus status;
    EXPECT_EQ(validator.CheckRecord(record, status), QvRecordVerdict::kError);
    EXPECT_TRUE(status == QvStatus(315, false));
    EXPECT_FALSE(validator.IsValidRecord(record, status));
  }
}

TEST(QvRegRecordValidator, ARecordLongerThanTheRolesIsValid) {
  EXPECT_TRUE(Check(MakeRecord({1.0, 2.0, 0.5, 0.0, 1.0, 1.0, kMissing, -1.0})).forEstimation);
}

TEST(QvRegRecordValidator, TheFirstBadVariableDecides) {
  Record missingFirst = RecordWith(kDependent, kMissing);
  missingFirst[kFactor] = 1.5;
  EXPECT_EQ(Check(missingFirst).verdict, QvRecordVerdict::kMissing);
  EXPECT_TRUE(Check(missingFirst).status.IsOK());

  Record errorFirst = RecordWith(kFactor, 1.5);
  errorFirst[kCovariate] = kMissing;
  errorFirst[kFreqWeight] = 0.0;
  ExpectBadCategory(Check(errorFirst).status, kFactor, 1.5);

  Record missingBeforeWeight = RecordWith(kCovariate, kMissing);
  missingBeforeWeight[kFreqWeight] = 0.0;
  EXPECT_EQ(Check(missingBeforeWeight).verdict, QvRecordVerdict::kMissing);
}

TEST(QvRegRecordValidator, ASkippedRecordLeavesTheStatusAsItWas) {
  const QvRegRecordValidator validator = ValidatorFor(kScaleDependent);
  QvStatus status(42, true);
  EXPECT_FALSE(validator.IsValidRecord(RecordWith(kCovariate, kMissing), status));
  EXPECT_FALSE(validator.IsValidRecord(RecordWith(kFactor, -1.0), status));
  EXPECT_FALSE(validator.IsValidRecord(RecordWith(kFreqWeight, 0.0), status));
  EXPECT_FALSE(validator.IsValid4Scoring(RecordWith(kFactor, -1.0), status));
  EXPECT_TRUE(validator.IsValidRecord(RecordWith(kUnused, 0.0), status));
  EXPECT_TRUE(status == QvStatus(42, true));
}

TEST(QvRegRecordValidator, ScoringLooksAtNeitherDependentNorWeights) {
  Record record = RecordWith(kDependent, kMissing);
  record[kFreqWeight] = kMissing;
  record[kRegrWeight] = -1.0;
  for (const int nTargetCategories : {kScaleDependent, 3}) {
    const Finding finding = Check(record, nTargetCategories);
    EXPECT_FALSE(finding.forEstimation);
    EXPECT_TRUE(finding.forScoring);
    EXPECT_TRUE(finding.scoringStatus.IsOK());
  }
  EXPECT_TRUE(CheckWith(kDependent, 1.5, 3).forScoring);
}

TEST(QvRegRecordValidator, ScoringDoesNotCheckTheLength) {
  QvRegRecordValidator validator;
  validator.SetRecordInfo({QvConst::QvVarCovariate, QvConst::QvVarDependent}, {}, {}, 0);
  QvStatus status;
  EXPECT_TRUE(validator.IsValid4Scoring(MakeRecord({1.0}), status));
  EXPECT_TRUE(status.IsOK());
}

TEST(QvRegRecordValidator, TargetCategoriesGoToTheFirstDependent) {
  QvRegRecordValidator validator;
  validator.SetRecordInfo({QvConst::QvVarDependent, QvConst::QvVarDependent}, {}, {}, 2);
  QvStatus status;
  EXPECT_TRUE(validator.IsValidRecord(MakeRecord({2.0, 0.0}), status));
  EXPECT_FALSE(validator.IsValidRecord(MakeRecord({2.0, 1.0}), status));
  ExpectBadCategory(status, 1, 1.0);
}

TEST(QvRegRecordValidator, TargetCategoriesNeedNoDependent) {
  QvRegRecordValidator validator;
  validator.SetRecordInfo({QvConst::QvVarCovariate}, {}, {}, 2);
  QvStatus status;
  EXPECT_TRUE(validator.IsValidRecord(MakeRecord({7.5}), status));
}

TEST(QvRegRecordValidator, AFactorBehindTheRolesHasNoCategories) {
  QvRegRecordValidator validator;
  validator.SetRecordInfo({QvConst::QvVarFactor}, {0, 1}, {2, 5}, 0);
  QvStatus status;
  EXPECT_TRUE(validator.IsValidRecord(MakeRecord({2.0, 7.5}), status));
  EXPECT_FALSE(validator.IsValidRecord(MakeRecord({3.0, 1.0}), status));
}

TEST(QvRegRecordValidator, SetRecordInfoStartsAnew) {
  QvRegRecordValidator validator = ValidatorFor(3);
  validator.SetRecordInfo({QvConst::QvVarFactor, QvConst::QvVarFactor}, {1}, {5}, 0);
  QvStatus status;
  EXPECT_TRUE(validator.IsValidRecord(MakeRecord({0.0, 5.0}), status));
  EXPECT_FALSE(validator.IsValidRecord(MakeRecord({1.0, 5.0}), status));
}

TEST(QvRegRecordValidator, CopiesCarryEverything) {
  QvRegRecordValidator original = ValidatorFor(2);
  const QvRegRecordValidator copy(original);
  QvRegRecordValidator assigned;
  assigned = original;
  original.SetRecordInfo({}, {}, {}, 0);
  for (const QvRegRecordValidator& validator : {copy, assigned}) {
    QvStatus status;
    EXPECT_TRUE(validator.IsValidRecord(RecordWith(kFactor, 3.0), status));
    EXPECT_FALSE(validator.IsValidRecord(RecordWith(kFactor, 4.0), status));
    EXPECT_FALSE(validator.IsValidRecord(RecordWith(kDependent, 3.0), status));
    ExpectBadCategory(status, kDependent, 3.0);
  }
}

TEST(QvRegRecordValidator, DisplayPrintsRolesAndCategories) {
  EXPECT_EQ(qvtest::OutputOf([] { ValidatorFor(2).Display(); }),
            "Variable roles in QvRegRecordValidator\n"
            "Variable index: 0\nType: Dependent\n"
            "Variable index: 1\nType: Factor\n"
            "Variable index: 2\nType: Covariate\n"
            "Variable index: 3\nType: Unspecified\n"
            "Variable index: 4\nType: Frequency weight\n"
            "Variable index: 5\nType: Regression Weight\n"
            "Number of target categories: 2\n"
            "Numbers of factor categories: 2 3 0 0 0 0\n"
            "QvRegRecordValidator display end\n");
}

TEST(QvRegRecordValidator, DisplayNamesTheRoleOfARecordCount) {
  QvRegRecordValidator validator;
  validator.SetRecordInfo({QvConst::QvVarDependent, QvConst::QvVarRecordCount}, {}, {}, 0);
  EXPECT_TRUE(
      qvtest::HoldsInOrder(qvtest::OutputOf([&] { validator.Display(); }),
                           {"Type: Dependent\n", "Variable index: 1\nType: Record count\n"}));
}

TEST(QvRegRecordValidator, ARecordCountIsAWholeNumberFromOneOn) {
  QvRegRecordValidator validator;
  validator.SetRecordInfo({QvConst::QvVarDependent, QvConst::QvVarRecordCount}, {}, {}, 0);
  const auto verdictOf = [&](double count) {
    QvStatus status;
    const QvRecordVerdict verdict = validator.CheckRecord(MakeRecord({1.0, count}), status);
    EXPECT_FALSE(status.IsError());
    return verdict;
  };
  constexpr double kMost = 0x1p53;
  for (const double count : {1.0, 2.0, 1e6, kMost}) {
    EXPECT_EQ(verdictOf(count), QvRecordVerdict::kValid) << count;
  }
  for (const double count : {0.0, 0.5, 1.5, -1.0, kMost + 2.0, kMissing, kInfinity,
                             std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(verdictOf(count), QvRecordVerdict::kBadWeight) << count;
  }
  QvStatus status;
  EXPECT_TRUE(validator.IsValid4Scoring(MakeRecord({1.0, 0.0}), status));
}

TEST(QvRegRecordValidator, ChecksNumbersOfManyRecordsTogether) {
  QvRegRecordValidator validator;
  validator.SetRecordInfo({QvConst::QvVarDependent, QvConst::QvVarFactor, QvConst::QvVarCovariate},
                          {1}, {3}, kScaleDependent);
  constexpr int kRecords = 40;
  std::vector<double> values;
  for (int r = 0; r < kRecords; ++r) values.insert(values.end(), {-1.0, 2.0, -kInfinity});
  EXPECT_FALSE(validator.AreNumbersPresent(values.data(), 3, 3, kRecords)) << "may be missing";
  for (std::size_t r = 2; r < values.size(); r += 3) values[r] = std::nan("");
  EXPECT_TRUE(validator.AreNumbersPresent(values.data(), 3, 3, kRecords));
  EXPECT_FALSE(validator.AreNumbersPresent(values.data(), 2, 2, kRecords)) << "short records";
  EXPECT_FALSE(validator.AreNumbersPresent(values.data(), 4, 3, kRecords / 2)) << "gaps";
  for (std::size_t place = 0; place < values.size(); ++place) {
    const double before = values[place];
    values[place] = kMissing;
    EXPECT_FALSE(validator.AreNumbersPresent(values.data(), 3, 3, kRecords)) << place;
    values[place] = before;
  }
}

TEST(QvRegRecordValidator, WhereNumbersArePresentTheOthersAreChecked) {
  for (const int nTargetCategories : {kScaleDependent, 2}) {
    const QvRegRecordValidator validator = ValidatorFor(nTargetCategories);
    for (int var = kDependent; var <= kRegrWeight; ++var) {
      for (const double value : {-1.0, 0.25, 9.0}) {
        const Record record = RecordWith(var, value);
        QvStatus status;
        QvStatus expected;
        EXPECT_EQ(validator.CheckOthers(record.GetAll(), status),
                  validator.CheckRecord(record, expected))
            << var << " " << value;
        EXPECT_TRUE(status == expected) << var << " " << value;
      }
    }
  }
}

TEST(QvRegRecordValidator, ManyRecordsAreValidWhereEachOfThemIs) {
  constexpr int kRecords = 20;
  constexpr int kSize = 7;
  for (const int nTargetCategories : {kScaleDependent, 2}) {
    QvRegRecordValidator validator;
    std::vector<QvConst::QvVariableType> types = kTypes;
    types.push_back(QvConst::QvVarRecordCount);
    validator.SetRecordInfo(types, {kFactor}, {3}, nTargetCategories);
    std::vector<double> values;
    for (int r = 0; r < kRecords; ++r) {
      values.insert(values.end(), {1.0, 2.0, 0.5, 0.0, 1.0, 1.0, 1.0});
    }
    EXPECT_TRUE(validator.AreOthersValid(values.data(), kSize, kRecords));
    for (std::size_t place = 0; place < values.size(); ++place) {
      const double before = values[place];
      for (const double value : {-1.0, -0.25, 0.0, 0.25, 2.0, 3.0, 4.0, 9.0, 1e300, kInfinity,
                                 -kInfinity, std::nan("")}) {
        values[place] = value;
        QvStatus status;
        const double* record = values.data() + place / kSize * kSize;
        EXPECT_EQ(validator.AreOthersValid(values.data(), kSize, kRecords),
                  validator.CheckOthers(record, status) == QvRecordVerdict::kValid)
            << place << " " << value;
      }
      values[place] = before;
    }
    values.back() = 0.0;
    EXPECT_TRUE(validator.AreOthersValid(values.data(), kSize, kRecords - 1))
        << "no more than asked";
  }
}

}  // namespace
