#include "qvreg/parallel/QvPassProcessor.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/parallel/QvThreadRunner.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/RandomModels.h"
#include "tests/qvreg/support/VectorParts.h"

namespace {

using QvCommon::QvBytes;
using QvCommon::QvStatus;
using qvtest::ModelKind;
using qvtest::RandomRecords;
using qvtest::UntouchedIter;
using qvtest::VectorParts;
using qvtest::VectorRecordIter;
using Records = std::vector<QvCommon::Record>;
using Sums = std::unique_ptr<IQvPassSums>;

/// Keeps the requests of a run.
class KeepingRunner : public IQvPassRunner {
 public:
  explicit KeepingRunner(IQvRecordParts& parts) : runner_(parts, 1) {}
  QvStatus Run(const QvBytes& request, QvCancelInfo& cancel, QvBytes& answer) override {
    requests.push_back(request);
    return runner_.Run(request, cancel, answer);
  }

  std::vector<QvBytes> requests;

 private:
  QvThreadRunner runner_;
};

/// The requests of a fit of the kind of model, of every kind of pass that it makes.
std::vector<QvBytes> RequestsOf(ModelKind kind, const Records& records) {
  VectorParts parts(records, 3);
  KeepingRunner runner(parts);
  UntouchedIter iter;
  qvtest::RandomModel model(kind);
  model.Get().SetPassRunner(&runner);
  qvtest::FittedModel(model.Get(), iter);
  return runner.requests;
}

/// A processor that is ready for a request.
class Ready {
 public:
  explicit Ready(const QvBytes& request) {
    EXPECT_FALSE(ReadRequest(request, unpacked_).IsError());
    EXPECT_FALSE(processor_.Prepare(unpacked_).IsError());
  }
  [[nodiscard]] Sums SumsOf(const Records& records) {
    Sums sums = processor_.MakeSums();
    std::unique_ptr<IQvKeptRows> rows;
    VectorRecordIter iter(records);
    EXPECT_FALSE(processor_.RunPart(iter, *sums, rows).IsError());
    return sums;
  }
  [[nodiscard]] Sums Empty() { return processor_.MakeSums(); }
  [[nodiscard]] QvPassKind Kind() const { return unpacked_.fKind; }

 private:
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
