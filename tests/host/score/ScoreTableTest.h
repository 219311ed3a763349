#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/Text.h"
#include "host/table/Connection.h"
#include "tests/host/score/Scoring.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {

/// Tests of scores of files in a folder of their own.
class ScoreTableTest : public TableTest {
 protected:
  /// The options of a fit of a file of the folder.
  [[nodiscard]] FitOptions OptionsOf(const std::string& file, const std::string& formula) const {
    FitOptions options;
    options.source.data = Path(file);
    options.formula = formula;
    return options;
  }

  [[nodiscard]] ScoreOptions Data(const std::string& file) const {
    ScoreOptions options;
    options.source.data = Path(file);
    options.out = Path("scores.csv");
    return options;
  }

  /// What a query on the file with the scores gives, rows and values with blanks between.
  [[nodiscard]] std::string Scores(const std::string& columns,
                                   const std::string& file = "scores.csv") const {
    std::string text;
    for (const auto& row :
         Connection().Rows("SELECT " + columns + " FROM " + QuoteText(Path(file)))) {
      for (const auto& cell : row) text += (text.empty() ? "" : " ") + cell.value_or("-");
    }
    return text;
  }

  [[nodiscard]] std::string RefusalText(const SavedModel& saved,
                                        const ScoreOptions& options) const {
    const long before = FilesInFolder();
    const Refusal refusal = RefusalOf([&] { static_cast<void>(Scored(saved, options)); });
    EXPECT_EQ(refusal.code, ExitCode::kBadInput) << refusal.text;
    EXPECT_EQ(FilesInFolder(), before) << "nothing is left";
    return refusal.text;
  }
};

}  // namespace qvhost
