# Sources of the command that qvreg_join_sources has to keep apart, whatever is built of them.
set(qvhost_groups
  APART cli/ManualPage.cpp cli/Usage.cpp report/IntervalPlot.cpp report/LogisticPlots.cpp
    report/PlotParts.cpp report/PlotsFromJson.cpp table/ProfileTable.cpp table/TableSource.cpp
    table/TypedView.cpp
  APART fit/GroupedRecords.cpp fit/RecordParts.cpp fit/RunSettings.cpp formula/Tokenizer.cpp
    report/HtmlReport.cpp report/LinearPlots.cpp table/ColumnCoders.cpp table/NumberLevels.cpp
  APART Text.cpp fit/MarginPlan.cpp formula/Terms.cpp report/JsonReport.cpp
    report/ValidationTables.cpp table/ColumnProfile.cpp table/DatabaseTable.cpp
    table/NumberFormat.cpp table/TableWriter.cpp
  APART report/MarginTables.cpp report/MeansFromJson.cpp report/PlotsJson.cpp report/SpoolReport.cpp
    report/TextTable.cpp report/ValidationJson.cpp
  ALONE report/EffectTables.cpp report/MeansTables.cpp report/ReportDocument.cpp
    report/ReportTables.cpp table/SqliteFile.cpp)
