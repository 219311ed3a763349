// --split, --holdout, --folds and --seed as users give them.

#include <filesystem>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/Text.h"
#include "host/table/Connection.h"
#include "tests/host/cli/CommandOnTable.h"

namespace qvhost {
namespace {

constexpr int kBadInput = 2;

class CommandValidation : public CommandOnTable {
 protected:
  void SetUp() override {
    std::string rows = "id,y,x,g,k,train\n";
    for (int i = 0; i < 40; ++i) {
      rows += std::to_string(i) + "," + std::to_string((i * i) % 11) + "," + std::to_string(i % 9) +
              "," + (i % 2 == 0 ? "a" : "b") + "," + (i * i % 5 < 2 ? "no" : "yes") + "," +
              (i % 4 == 1 ? "no" : "yes") + "\n";
    }
    folder_.Write("in.csv", rows);
  }

  void ExpectRefused(const Strings& more, const std::string& message) const {
    ExpectFailure(Run("y ~ x", more), kBadInput, message);
  }
};

TEST_F(CommandValidation, TheJsonTellsWhatWasAsked) {
  EXPECT_TRUE(Json("y ~ x", {})["validation"].is_null());
  EXPECT_EQ(Json("y ~ x", {})["records"]["held_out"], 0);
  const nlohmann::json split = Json("y ~ x", {"--split", "TRAIN"});
  EXPECT_EQ(split["validation"]["kind"], "split");
  EXPECT_EQ(split["validation"]["column"], "TRAIN");
  EXPECT_EQ(split["validation"]["reported_fit"], "training");
  EXPECT_TRUE(split["validation"]["seed"].is_null());
  EXPECT_EQ(split["validation"]["records"]["training"], 30);
  EXPECT_EQ(split["validation"]["records"]["scored"], 10);
  EXPECT_EQ(split["records"]["used"], 30);
  EXPECT_EQ(split["records"]["held_out"], 10);
  const nlohmann::json holdout = Json("y ~ x", {"--holdout", "0.3", "--seed", "9"});
  EXPECT_EQ(holdout["validation"]["share"], 0.3);
  EXPECT_EQ(holdout["validation"]["seed"], 9);
  EXPECT_EQ(holdout["records"]["held_out"], 12);
  const nlohmann::json folds = Json("k ~ x", {"--folds", "3"});
  EXPECT_EQ(folds["validation"]["reported_fit"], "all");
  EXPECT_EQ(folds["validation"]["seed"], 1);
  EXPECT_EQ(folds["validation"]["folds"].size(), 3U);
  EXPECT_EQ(folds["validation"]["folds"][0]["held_out"], 14);
  EXPECT_EQ(folds["records"]["used"], 40);
}

TEST_F(CommandValidation, TheLevelToFitMayBeNamed) {
  EXPECT_EQ(Json("y ~ x", {"--split", "train=no"})["records"]["used"], 10);
  EXPECT_EQ(Json("y ~ x", {"--split", "`train`=no"})["records"]["used"], 10);
  EXPECT_EQ(Json("y ~ x", {"--split", "g=a"})["records"]["used"], 20);
}

TEST_F(CommandValidation, AnotherSeedHoldsOthersOut) {
  const auto rmse = [&](const char* seed) {
    return Json("y ~ x", {"--holdout", "0.3", "--seed", seed})["validation"]["rmse"];
  };
  EXPECT_EQ(rmse("4"), rmse("4"));
  EXPECT_NE(rmse("4"), rmse("5"));
  EXPECT_EQ(Json("y ~ x", {"--holdout", "0.3"})["validation"]["rmse"], rmse("1"));
}

TEST_F(CommandValidation, PredictionsHaveAllRowsAndTheirErrorIsThatOfTheValidation) {
  const nlohmann::json fit = Json("y ~ g + x", {"--split", "train", "-o", "p.csv", "--keep",
                                                "train", "--diagnostics", "d.csv"});
  Connection connection;
  const auto row = connection.Rows(
      "SELECT count(*), count(predicted), sqrt(avg(residual^2) FILTER (train = 'no')) FROM "
      "read_csv(" +
      QuoteText(folder_.File("p.csv")) + ", types = {'train': 'VARCHAR'})")[0];
  EXPECT_EQ(row[0], "40");
  EXPECT_EQ(row[1], "40");
  EXPECT_NEAR(std::stod(row[2].value()), fit["validation"]["rmse"].get<double>(), 1e-12);
  // Records that were not fitted have no influence.
  const auto diagnosed = connection.Rows("SELECT count(*), count(leverage), sum(leverage) FROM " +
                                         QuoteText(folder_.File("d.csv")))[0];
  EXPECT_EQ(diagnosed[0], "40");
  EXPECT_EQ(diagnosed[1], "30");
  EXPECT_NEAR(std::stod(diagnosed[2].value()), 3.0, 1e-12);
}

TEST_F(CommandValidation, PredictionsOfALogisticModelHaveAllRows) {
  const nlohmann::json fit = Json("k ~ x", {"--holdout", "0.25", "-o", "p.csv"});
  Connection connection;
  EXPECT_EQ(connection.Rows("SELECT count(p_yes) FROM " + QuoteText(folder_.File("p.csv")))[0][0],
            "40");
  EXPECT_EQ(fit["validation"]["records"]["scored"], 10);
}

TEST_F(CommandValidation, InfluentialRecordsAreRowsOfTheData) {
  const nlohmann::json fit = Json("y ~ x", {"--split", "train", "--influential"});
  for (const nlohmann::json& record : fit["influential"]) {
    EXPECT_NE((record["row"].get<int>() - 1) % 4, 1);
  }
}

TEST_F(CommandValidation, TheColumnIsNoneOfADot) {
  const nlohmann::json fit = Json("y ~ .", {"--split", "train"});
  EXPECT_EQ(fit.dump().find("train=yes"), std::string::npos);
}

TEST_F(CommandValidation, TheSummaryTells) {
  const std::string split = Run("y ~ x", {"--split", "train"}).out;
  EXPECT_NE(split.find("Records    40 read, 30 used\n           10 held out for validation\n"),
            std::string::npos)
      << split;
  EXPECT_NE(split.find("\nValidation: records held out by train\n\nThe model above is that of the "
                       "30 records not held out. 10 of 10 scored.\nR square "),
            std::string::npos)
      << split;
  const std::string holdout = Run("k ~ x", {"--holdout", "0.25"}).out;
  EXPECT_NE(holdout.find("\nValidation: 10 rows held out, seed 1\n"), std::string::npos);
  EXPECT_NE(holdout.find("\nLog-loss "), std::string::npos);
  EXPECT_NE(holdout.find("\nCalibration  Tenth  Weight  Mean predicted  Observed\n"),
            std::string::npos)
      << holdout;
  const std::string folds = Run("y ~ x", {"--folds", "4", "--seed", "2"}).out;
  EXPECT_NE(folds.find("\nValidation: 4 folds, seed 2\n"), std::string::npos);
  EXPECT_NE(folds.find("\nStd. deviation "), std::string::npos) << folds;
}

TEST_F(CommandValidation, RefusesWhatItCannotDo) {
  const std::string help = "\nTry 'qvreg fit --help'.";
  ExpectRefused({"--folds", "41"},
                "--folds 41 are more than the 40 rows of the data; give at most so many.");
  ExpectRefused({"--folds", "1"}, "--folds must be a whole number from 2 on." + help);
  ExpectRefused({"--holdout", "20"},
                "--holdout must be above 0 and below 1; for 20 percent write 0.2." + help);
  ExpectRefused({"--holdout", "0"}, "--holdout must be above 0 and below 1, such as 0.2." + help);
  ExpectRefused({"--holdout", "0.01"},
                "--holdout 0.01 holds out none of 40 rows; give a share that leaves some to both "
                "parts.");
  ExpectRefused({"--holdout", "0.99"},
                "--holdout 0.99 holds out all of 40 rows; give a share that leaves some to both "
                "parts.");
  ExpectRefused({"--holdout", "0.2", "--folds", "3"},
                "--holdout and --folds exclude one another; give one of them." + help);
  ExpectRefused({"--seed", "3"},
                "--seed draws the lots of --holdout and --folds; give one of them, or leave it "
                "out." +
                    help);
  ExpectRefused({"--folds", "3", "--seed", "-1"},
                "--seed must be a whole number from 0 on." + help);
  ExpectRefused({"--split", "trian"},
                "There is no column 'trian' for --split in in.csv; did you mean 'train'?");
  ExpectRefused({"--split", "train="},
                "--split takes a column, or a column and the level to fit, such as part=train, not "
                "'train='." +
                    help);
  ExpectRefused(
      {"--cv", "5"},
      "There is no option --cv; --folds N fits all but each of N parts of the rows." + help);
}

TEST_F(CommandValidation, AFailureLeavesNoFile) {
  const CommandResult result =
      Run("y ~ x", {"--split", "g=c", "-o", "p.csv", "--json", "fit.json"});
  EXPECT_EQ(result.exitCode, kBadInput);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.Path()), {}), 1);
}

}  // namespace
}  // namespace qvhost
