#include "host/fit/ScoreRanking.h"

#include <algorithm>
#include <optional>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

/// A record: its level, its weight and its probabilities.
struct Scored {
  std::size_t own;
  double weight;
  std::vector<double> scores;
};

std::vector<Scored> Records(std::size_t count, std::size_t levels) {
  std::mt19937 bits(3);  // NOLINT(*-msc51-cpp,*-msc32-c): the same in every run
  std::vector<Scored> records;
  for (std::size_t i = 0; i < count; ++i) {
    Scored& record = records.emplace_back();
    record.own = bits() % levels;
    record.weight = static_cast<double>(1 + bits() % 3);
    // Few values, so that many are tied.
    while (record.scores.size() < levels) record.scores.push_back(static_cast<double>(bits() % 9));
  }
  return records;
}

/// The definition, pair by pair.
double PairwiseAuc(const std::vector<Scored>& records, std::size_t i,
                   const std::vector<std::size_t>& others) {
  double higher = 0.0;
  double all = 0.0;
  for (const Scored& a : records) {
    if (a.own != i) continue;
    for (const Scored& b : records) {
      if (std::ranges::find(others, b.own) == others.end()) continue;
      const double pair = a.weight * b.weight;
      all += pair;
      if (a.scores[i] > b.scores[i]) higher += pair;
      if (a.scores[i] == b.scores[i]) higher += pair / 2.0;
    }
  }
  return higher / all;
}

double Total(const std::vector<Scored>& records) {
  double total = 0.0;
  for (const Scored& record : records) total += record.weight;
  return total;
}

ScoreRanking Ranked(const std::vector<Scored>& records, std::size_t levels) {
  ScoreRanking ranking(levels, Total(records));
  std::vector<ScoreEntry> entries;
  for (std::size_t level = 0; level < levels; ++level) {
    for (const Scored& record : records) {
      entries.push_back({static_cast<double>(level), record.scores[level],
                         static_cast<double>(record.own), record.weight});
    }
  }
  ScoreSorter sorter("");
  sorter.Add(entries);
  sorter.Visit([&](const ScoreEntry& entry) { ranking.Add(entry); });
  ranking.End();
  return ranking;
}

TEST(ScoreRanking, CountsPairsThatAreInOrderAndHalfOfTies) {
  const std::vector<Scored> records = Records(60, 3);
  const ScoreRanking ranking = Ranked(records, 3);
  double sum = 0.0;
  double weighted = 0.0;
  for (std::size_t i = 0; i < 3; ++i) {
    const std::size_t j = (i + 1) % 3;
    const std::size_t k = (i + 2) % 3;
    EXPECT_NEAR(ranking.Auc(i, j).value(), PairwiseAuc(records, i, {j}), 1e-15);
    EXPECT_NEAR(ranking.Auc(i).value(), PairwiseAuc(records, i, {j, k}), 1e-15);
    sum += PairwiseAuc(records, i, {j}) + PairwiseAuc(records, i, {k});
    double weight = 0.0;
    for (const Scored& record : records) weight += record.own == i ? record.weight : 0.0;
    weighted += weight * PairwiseAuc(records, i, {j, k}) / Total(records);
  }
  EXPECT_NEAR(ranking.MeanAuc().value(), sum / 6.0, 1e-15);
  EXPECT_NEAR(ranking.WeightedAuc().value(), weighted, 1e-15);
}

TEST(ScoreRanking, HasNoAreaWithoutRecordsOfBothSides) {
  std::vector<Scored> records = Records(20, 2);
  for (Scored& record : records) record.own = 1;
  const ScoreRanking ranking = Ranked(records, 3 - 1);
  EXPECT_EQ(ranking.Auc(0), std::nullopt);
  EXPECT_EQ(ranking.Auc(1), std::nullopt);
  EXPECT_EQ(ranking.MeanAuc(), std::nullopt);
  EXPECT_EQ(ranking.WeightedAuc(), std::nullopt);
}

TEST(ScoreRanking, LeavesALevelThatDoesNotOccurOutOfTheMeans) {
  std::vector<Scored> records = Records(40, 3);
  for (Scored& record : records) record.own %= 2;
  const ScoreRanking ranking = Ranked(records, 3);
  EXPECT_NEAR(ranking.MeanAuc().value(),
              (PairwiseAuc(records, 0, {1}) + PairwiseAuc(records, 1, {0})) / 2.0, 1e-15);
}

TEST(ScoreRanking, SortsPerfectlyAndTheWrongWayRound) {
  const std::vector<Scored> records = {
      {0, 1.0, {0.9, 0.1}}, {0, 2.0, {0.8, 0.2}}, {1, 3.0, {0.3, 0.3}}, {1, 1.0, {0.1, 0.0}}};
  const ScoreRanking ranking = Ranked(records, 2);
  EXPECT_EQ(ranking.Auc(0), 1.0);
  EXPECT_EQ(ranking.Auc(1), 0.75);
}

TEST(ScoreRanking, TenthsHoldTheSameWeightAndTiedRecordsStayTogether) {
  std::vector<Scored> records;
  for (int i = 0; i < 100; ++i) {
    records.push_back({i % 4 == 0 ? 0U : 1U, 1.0, {static_cast<double>(i) / 100.0, 0.0}});
  }
  const ScoreRanking ranking = Ranked(records, 2);
  for (std::size_t tenth = 0; tenth < ScoreRanking::kGroups; ++tenth) {
    const ScoreRanking::Group& group = ranking.GroupsOf(0).at(tenth);
    EXPECT_EQ(group.weight.Value(), 10.0);
    EXPECT_NEAR(group.predicted.Value(), static_cast<double>(tenth) + 0.45, 1e-12);
    EXPECT_EQ(group.observed.Value(), tenth % 2 == 0 ? 3.0 : 2.0);
  }
  // All have one probability of the other level.
  for (std::size_t tenth = 0; tenth < ScoreRanking::kGroups; ++tenth) {
    EXPECT_EQ(ranking.GroupsOf(1).at(tenth).weight.Value(), tenth == 5 ? 100.0 : 0.0);
  }
}

}  // namespace
}  // namespace qvhost
