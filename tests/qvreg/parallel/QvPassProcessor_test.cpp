#include "qvreg/parallel/QvPassProcessor.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatusCodes.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/PassRequests.h"
#include "tests/qvreg/support/RandomModels.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvBytes;
using QvCommon::QvStatus;
using qvtest::ModelKind;
using qvtest::RandomRecords;
using qvtest::RequestsOf;
using qvtest::VectorRecordIter;
using Records = std::vector<QvCommon::Record>;
using Sums = std::unique_ptr<IQvPassSums>;

/// A processor that is ready for a request.
class Ready {
 public:
  explicit Ready(QvBytes request) : request_(std::move(request)) {
    EXPECT_FALSE(ReadRequest(request_, unpacked_).IsError());
    EXPECT_FALSE(processor_.Prepare(unpacked_).IsError());
  }
  [[nodiscard]] Sums SumsOf(const Records& records) {
    Sums sums = processor_.MakeSums();
    std::unique_ptr<IQvKeptRows> rows;
    VectorRecordIter iter(records);
    EXPECT_FALSE(processor_.RunPart(iter, *sums, rows).IsError());
    return sums;
  }
  /// What comes of a part that this iterator reads.
  QvStatus Run(QvCommon::MultiPassRecordIter& iter, IQvPassSums& sums) {
    std::unique_ptr<IQvKeptRows> rows;
    return processor_.RunPart(iter, sums, rows);
  }
  QvStatus Prepare(const QvPassRequest& request) { return processor_.Prepare(request); }
  [[nodiscard]] const QvPassRequest& Request() const { return unpacked_; }
  [[nodiscard]] Sums Empty() { return processor_.MakeSums(); }
  [[nodiscard]] QvPassKind Kind() const { return unpacked_.fKind; }

 private:
  QvBytes request_;
  QvPassRequest unpacked_;
  QvPassProcessor processor_{nullptr};
};

QvBytes BytesOf(const IQvPassSums& sums) {
  QvCommon::QvByteWriter writer;
  writer.PutInt(sums.fNUsed);
  sums.Write(writer);
  return writer.TakeBytes();
}

class PassSums : public ::testing::TestWithParam<ModelKind> {
 protected:
  /// Calls `check` with a processor for each kind of pass.
  template <typename Check>
  void ForEachKind(Check&& check) {
    std::vector<QvPassKind> seen;
    for (const QvBytes& request : RequestsOf(GetParam(), records_)) {
      Ready ready(request);
      if (std::find(seen.begin(), seen.end(), ready.Kind()) != seen.end()) continue;
      seen.push_back(ready.Kind());
      SCOPED_TRACE(static_cast<int>(ready.Kind()));
      check(ready);
    }
    EXPECT_EQ(seen.size(), GetParam() == ModelKind::kLinear ? 3U : 4U);
  }
  [[nodiscard]] Records Range(std::size_t begin, std::size_t end) const {
    return {records_.begin() + static_cast<std::ptrdiff_t>(begin),
            records_.begin() + static_cast<std::ptrdiff_t>(end)};
  }

  const Records records_ = RandomRecords(200);
};

INSTANTIATE_TEST_SUITE_P(Models, PassSums,
                         ::testing::Values(ModelKind::kLinear, ModelKind::kLogistic,
                                           ModelKind::kInMemory),
                         [](const auto& tested) { return qvtest::ModelKindName(tested.param); });

TEST_P(PassSums, AreReadAsTheyWereWritten) {
  ForEachKind([&](Ready& ready) {
    const Sums sums = ready.SumsOf(records_);
    const QvBytes bytes = BytesOf(*sums);
    const Sums read = ready.Empty();
    QvCommon::QvByteReader reader(bytes);
    read->fNUsed = reader.GetInt();
    read->Read(reader);
    EXPECT_TRUE(reader.IsAtEnd());
    EXPECT_EQ(BytesOf(*read), bytes);
  });
}

TEST_P(PassSums, OfNoRecordsChangeNothing) {
  ForEachKind([&](Ready& ready) {
    const Sums sums = ready.SumsOf(records_);
    const QvBytes bytes = BytesOf(*sums);
    ASSERT_TRUE(MergeSums(*sums, *ready.Empty()));
    EXPECT_EQ(BytesOf(*sums), bytes);
    const Sums empty = ready.Empty();
    ASSERT_TRUE(MergeSums(*empty, *sums));
    EXPECT_EQ(BytesOf(*empty), bytes);
  });
}

TEST_P(PassSums, OfTheSameDivisionHaveTheSameBits) {
  ForEachKind([&](Ready& ready) {
    const auto merged = [&] {
      Sums sums = ready.SumsOf(Range(0, 70));
      EXPECT_TRUE(MergeSums(*sums, *ready.SumsOf(Range(70, 200))));
      return BytesOf(*sums);
    };
    EXPECT_EQ(merged(), merged());
  });
}

TEST_P(PassSums, OfAnotherPassAreRefused) {
  ForEachKind([&](Ready& ready) {
    const Sums sums = ready.SumsOf(records_);
    const QvBytes bytes = BytesOf(*sums);
    ForEachKind([&](Ready& other) {
      if (other.Kind() == ready.Kind()) return;
      EXPECT_FALSE(MergeSums(*sums, *other.SumsOf(records_)));
      EXPECT_EQ(BytesOf(*sums), bytes);
    });
  });
}

TEST_P(PassSums, ThatAreCutFailToRead) {
  ForEachKind([&](Ready& ready) {
    const QvBytes bytes = BytesOf(*ready.SumsOf(records_));
    for (std::size_t size = 0; size < bytes.size(); size += 1 + bytes.size() / 200) {
      const Sums read = ready.Empty();
      QvCommon::QvByteReader reader(std::span<const unsigned char>(bytes).first(size));
      read->fNUsed = reader.GetInt();
      read->Read(reader);
      EXPECT_FALSE(reader.IsAtEnd()) << size;
    }
  });
}

TEST_P(PassSums, CountRecordsExactlyHoweverTheyAreDivided) {
  ForEachKind([&](Ready& ready) {
    const long long whole = ready.SumsOf(records_)->fNUsed;
    const Sums sums = ready.SumsOf(Range(0, 1));
    for (std::size_t begin = 1; begin < 200; begin += 50) {
      ASSERT_TRUE(
          MergeSums(*sums, *ready.SumsOf(Range(begin, std::min<std::size_t>(begin + 50, 200)))));
    }
    EXPECT_EQ(sums->fNUsed, whole);
  });
}

/// Has no record, and says as much or as little about it as `reason` does.
class NoRecordIter : public VectorRecordIter {
 public:
  explicit NoRecordIter(int reason) : VectorRecordIter({}), reason_(reason) {}
  int NewPass() override { return reason_; }

 private:
  int reason_;
};

TEST_P(PassSums, OfAPartThatStartsAndHasNoRecordAreEmpty) {
  ForEachKind([&](Ready& ready) {
    for (const int reason : {QvCommon::kIterOk, QvCommon::kIterEndOfData}) {
      const Sums sums = ready.Empty();
      NoRecordIter iter(reason);
      EXPECT_EQ(ready.Run(iter, *sums), QvStatus());
      EXPECT_EQ(BytesOf(*sums), BytesOf(*ready.Empty()));
    }
  });
}

TEST_P(PassSums, OfAPartThatCannotBeReadAreNotTakenForEmptyOnes) {
  ForEachKind([&](Ready& ready) {
    const Sums sums = ready.Empty();
    NoRecordIter iter(QvCommon::kIterReadError);
    EXPECT_EQ(ready.Run(iter, *sums), QvStatus(QvStatusCode::kNoRecords, false));
  });
}

TEST_P(PassSums, AreTheSameAfterARequestThatCannotBeRead) {
  ForEachKind([&](Ready& ready) {
    const QvBytes expected = BytesOf(*ready.SumsOf(records_));
    QvPassRequest other;
    const QvBytes noModel = WriteRequest(QvPassKind::kTables, QvBytes{1, 2, 3}, {});
    ASSERT_FALSE(ReadRequest(noModel, other).IsError());
    EXPECT_EQ(ready.Prepare(other), QvStatus(QvStatusCode::kUnreadableMessage, false));
    // What was freed is somebody else's.
    const std::vector<std::vector<int>> others(1000, std::vector<int>(10, -1));
    ASSERT_FALSE(ready.Prepare(ready.Request()).IsError());
    EXPECT_EQ(BytesOf(*ready.SumsOf(records_)), expected);
  });
}

TEST_P(PassSums, OfTheSameRunNeedNoFurtherReadingOfItsTables) {
  ForEachKind([&](Ready& ready) {
    const long long before = qvtest::AllocationCount();
    ASSERT_FALSE(ready.Prepare(ready.Request()).IsError());
    const long long again = qvtest::AllocationCount() - before;
    QvPassProcessor fresh(nullptr);
    ASSERT_FALSE(fresh.Prepare(ready.Request()).IsError());
    EXPECT_LT(3 * again, qvtest::AllocationCount() - before - again);
  });
}

TEST(QvPassProcessor, RefusesAPassThatTheModelDoesNotMake) {
  const Records records = RandomRecords(50);
  const QvBytes linear = RequestsOf(ModelKind::kLinear, records).back();
  QvPassRequest request;
  ASSERT_FALSE(ReadRequest(linear, request).IsError());
  request.fKind = QvPassKind::kDerivatives;
  QvPassProcessor processor(nullptr);
  EXPECT_EQ(processor.Prepare(request).GetCode(), QvStatusCode::kUnreadableMessage);
}

}  // namespace
