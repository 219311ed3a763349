// The terms of a model beside the design rows of the library.

#include "host/fit/DesignTerms.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "host/fit/DesignRow.h"
#include "host/fit/RecordFit.h"
#include "host/fit/SpoolRunner.h"
#include "tests/host/fit/Everything.h"
#include "tests/host/fit/Fitting.h"

namespace qvhost {
namespace {

/// Rows of kept parameters, as DesignRow has them.
void ExpectRowsOf(const BuiltModel& model) {
  const DesignTerms terms(model.Output(), model.Table());
  QvScorer scorer;
  OpenScorer(ScoringBytesOf(model.Component()), scorer);
  DesignRow row(model.Output(), scorer);
  EXPECT_EQ(terms.BlockSize(), static_cast<std::size_t>(row.BlockSize()));
  SpoolRecords records(model.Table());
  int compared = 0;
  while (const QvCommon::Record* record = records.Next()) {
    QvCommon::QvStatus status;
    if (!model.Output().GetRecordValidator().IsValidRecord(*record, status)) continue;
    ASSERT_TRUE(row.Expand(*record));
    std::map<int, double> values;
    for (std::size_t term = 0; term < terms.Size(); ++term) {
      const int parameter = terms.ParameterAt(term, terms.KeyOf(term, *record));
      ASSERT_GE(parameter, 0);
      values[parameter] = terms.ValueOf(term, *record);
    }
    for (std::size_t i = 0; i < row.Places().size(); ++i) {
      ASSERT_TRUE(values.contains(row.Places()[i]));
      EXPECT_NEAR(values[row.Places()[i]] / row.Values()[i], 1.0, 1e-15);
    }
    ++compared;
  }
  EXPECT_GT(compared, 20);
}

TEST(DesignTerms, MakeTheRowsOfTheLibrary) {
  ExpectRowsOf(BuiltModel(Everything("y")));
  ExpectRowsOf(BuiltModel(Everything("y3")));
  ExpectRowsOf(BuiltModel("SELECT i AS y, 1e200 * (i + 1) AS x, i % 3 AS g FROM range(30) r(i)",
                          "y ~ x + I(x^3) + C(g):x"));
}

TEST(DesignTerms, FindLevelsThatNoRecordHas) {
  const BuiltModel model(Everything("y"));
  const DesignTerms terms(model.Output(), model.Table());
  // (Intercept), a, b, a:b, a:c, x, I(x^2), x2
  ASSERT_EQ(terms.Size(), 8U);
  EXPECT_EQ(terms.StrideOf(1, 1), 1);
  EXPECT_EQ(terms.StrideOf(1, 2), 0);
  int found = 0;
  for (int a = 0; a < 3; ++a) {
    for (int b = 0; b < 3; ++b) {
      found += terms.ParameterAt(3, terms.StrideOf(3, 1) * a + terms.StrideOf(3, 2) * b) >= 0;
    }
  }
  EXPECT_EQ(found, 8);
  // q:m
  EXPECT_EQ(terms.ParameterAt(3, terms.StrideOf(3, 1) + terms.StrideOf(3, 2) * 2), -1);
}

TEST(DesignTerms, SearchAmongManyCombinations) {
  const BuiltModel model(
      "SELECT i * i % 7 AS y, i AS g, i * 17 % 400 AS h FROM range(400) r(i) UNION ALL "
      "SELECT i, i, i * 17 % 400 FROM range(9) r(i)",
      "y ~ C(g):C(h)");
  const DesignTerms terms(model.Output(), model.Table());
  const std::int64_t g = terms.StrideOf(1, 1);
  const std::int64_t h = terms.StrideOf(1, 2);
  std::set<int> parameters;
  for (std::int64_t i = 0; i < 400; ++i) {
    parameters.insert(terms.ParameterAt(1, g * i + h * (i * 17 % 400)));
    EXPECT_EQ(terms.ParameterAt(1, g * i + h * ((i * 17 + 1) % 400)), -1);
  }
  EXPECT_EQ(parameters.size(), 400U);
  EXPECT_FALSE(parameters.contains(-1));
}

TEST(DesignTerms, DeriveByEachCovariate) {
  for (const double unit : {1.0, 1e150}) {
    const BuiltModel model(
        fmt::format("SELECT i AS y, {0} * (i % 7) AS x, i % 5 - 2 AS z FROM range(60) r(i)", unit),
        "y ~ x + x:z + I(x^2) + I(x^2):z");
    const DesignTerms terms(model.Output(), model.Table());
    SpoolRecords records(model.Table());
    while (const QvCommon::Record* record = records.Next()) {
      for (std::size_t term = 0; term < terms.Size(); ++term) {
        for (std::size_t i = 0; i < terms.Covariates(term).size(); ++i) {
          const int position = terms.Covariates(term)[i].position;
          // A polynomial of degree 2: the central difference is exact.
          const double step = position == 1 ? unit : 1.0;
          std::vector<double> values(static_cast<std::size_t>(model.Table().RecordSize()));
          for (std::size_t k = 0; k < values.size(); ++k)
            values[k] = (*record)[static_cast<int>(k)];
          const auto at = [&](double shift) {
            std::vector<double> moved = values;
            moved[static_cast<std::size_t>(position)] += shift;
            QvCommon::Record other(static_cast<int>(moved.size()));
            for (std::size_t k = 0; k < moved.size(); ++k) other[static_cast<int>(k)] = moved[k];
            return terms.ValueOf(term, other);
          };
          const double expected = (at(step) - at(-step)) / 2.0 / step;
          EXPECT_NEAR(terms.SlopeOf(term, i, *record), expected,
                      1e-12 * std::max(std::abs(expected), at(step) / step));
        }
      }
    }
  }
}

}  // namespace
}  // namespace qvhost
