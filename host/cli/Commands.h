#pragma once

#include <CLI/App.hpp>

#include "host/cli/CompareCommand.h"
#include "host/cli/CompletionCommand.h"
#include "host/cli/DescribeCommand.h"
#include "host/cli/FitCommand.h"
#include "host/cli/ManualCommand.h"
#include "host/cli/ScoreCommand.h"
#include "host/cli/ShowCommand.h"
#include "host/cli/SpoolCommand.h"
#include "host/cli/SqlCommand.h"

namespace qvhost {

/// All commands with their options, in the order in which help names them. Lives as long as the
/// command line's reader, which writes into it.
struct Commands {
  /// Adds them to `app`.
  explicit Commands(CLI::App& app)
      : fit(app),
        describe(app),
        score(app),
        compare(app),
        show(app),
        sql(app),
        spool(app),
        completion(app),
        manual(app) {}

  FitCommand fit;
  DescribeCommand describe;
  ScoreCommand score;
  CompareCommand compare;
  ShowCommand show;
  SqlCommand sql;
  SpoolCommand spool;
  CompletionCommand completion;
  ManualCommand manual;
};

}  // namespace qvhost
