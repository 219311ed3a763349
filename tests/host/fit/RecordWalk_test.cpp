#include "host/fit/RecordWalk.h"

#include <csignal>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

class RecordWalkTest : public TableTest {
 protected:
  static CodedTable Numbers(int count) {
    return CodeOne("SELECT i AS x FROM range(" + std::to_string(count) + ") t(i)");
  }

  Interrupt interrupt_;
};

/// How sums were merged: `(0 1)` for two parts.
struct Shape {
  std::string text;
  void Merge(const Shape& next) { text = "(" + text + " " + next.text + ")"; }
};

TEST(PartTree, MergesNeighboursWhoeverIsFirst) {
  std::vector<std::size_t> order = {0, 1, 2, 3, 4};
  do {
    PartTree<Shape> tree(5);
    for (const std::size_t part : order) {
      tree.Add(part, std::make_unique<Shape>(Shape{std::to_string(part)}));
    }
    ASSERT_EQ(tree.Take()->text, "(((0 1) (2 3)) 4)");
  } while (std::ranges::next_permutation(order).found);
}

TEST(PartTree, OfOnePartIsThatPart) {
  PartTree<Shape> tree(1);
  tree.Add(0, std::make_unique<Shape>(Shape{"0"}));
  EXPECT_EQ(tree.Take()->text, "0");
}

/// The records that were shown, with their numbers, in their order.
struct Shown {
  std::vector<double> values;
  int ended = 0;
  bool Add(const QvCommon::Record& record, std::int64_t number) {
    EXPECT_EQ(record[0], static_cast<double>(number));
    values.push_back(record[0]);
    return true;
  }
  void EndPart() { ++ended; }
  void Merge(const Shown& next) {
    values.insert(values.end(), next.values.begin(), next.values.end());
    ended += next.ended;
  }
};

TEST_F(RecordWalkTest, ShowsEveryRecordOnce) {
  const CodedTable table = Numbers(1000);
  std::vector<double> expected(1000);
  std::iota(expected.begin(), expected.end(), 0.0);
  for (const int threads : {1, 3}) {
    for (const int parts : {1, 7, 1001}) {
      const auto shown = WalkRecords<Shown>(
          table, parts, {.interrupt = interrupt_, .threads = threads}, [&](int, int worker) {
            EXPECT_LT(worker, threads);
            return std::make_unique<Shown>();
          });
      EXPECT_EQ(shown->values, expected);
      EXPECT_EQ(shown->ended, parts);
    }
  }
}

TEST_F(RecordWalkTest, EachPartMayReadAll) {
  const CodedTable table = Numbers(100);
  long long told = 0;
  const WalkOptions options{.interrupt = interrupt_,
                            .threads = 1,
                            .progress = [&](long long records) { told = records; },
                            .eachReadsAll = true};
  const auto shown =
      WalkRecords<Shown>(table, 3, options, [](int, int) { return std::make_unique<Shown>(); });
  EXPECT_EQ(shown->values.size(), 300U);
  EXPECT_EQ(told, 100);
}

/// Ends the walk at a record.
struct Stopping {
  int count = 0;
  bool Add(const QvCommon::Record& record, std::int64_t /*number*/) {
    ++count;
    return record[0] != 10.0;
  }
  void EndPart() {}
  void Merge(const Stopping& next) { count += next.count; }
};

TEST_F(RecordWalkTest, EndsWhereTheSumsSay) {
  const auto sums = WalkRecords<Stopping>(Numbers(1000), 4, {.interrupt = interrupt_},
                                          [](int, int) { return std::make_unique<Stopping>(); });
  EXPECT_EQ(sums->count, 11);
}

TEST_F(RecordWalkTest, StopsWhenInterrupted) {
  const CodedTable table = Numbers(100);
  std::raise(SIGINT);
  EXPECT_THROW(WalkRecords<Shown>(table, 2, {.interrupt = interrupt_},
                                  [](int, int) { return std::make_unique<Shown>(); }),
               Cancelled);
}

}  // namespace
}  // namespace qvhost
