#include "host/fit/TableDescription.h"

#include <optional>
#include <utility>

#include "host/Error.h"
#include "host/Threads.h"
#include "host/fit/ColumnWarnings.h"
#include "host/fit/DotColumns.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/OpenSource.h"
#include "host/fit/ReadingNotes.h"
#include "host/table/ProfileTable.h"

namespace qvhost {

namespace {

/// What a boolean is called in the data.
void NameBooleans(const TableSource& source, ColumnDescription& column) {
  if (column.info.kind != ColumnKind::kBoolean) return;
  const BooleanTexts texts = source.BooleansOf(column.info.name);
  for (LevelCount& level : column.summary.levels) {
    level.level = level.level == "true" ? texts.yes : texts.no;
  }
}

std::vector<StringMissing> MissingStringsOf(const TableSource& source, const std::string& column) {
  std::vector<StringMissing> strings;
  for (const MissingString& string : source.MissingStringsRead()) {
    if (string.column == column && string.count > 0) {
      strings.push_back({string.column, string.text, string.count});
    }
  }
  return strings;
}

void AddNotes(const TableSource& source, const std::vector<std::string>& names,
              TableDescription& table) {
  table.notes = source.NotesOnNames();
  for (std::string& note : FileNotes(source)) table.notes.push_back(std::move(note));
  for (std::string& note : FormatNotes(source, names)) table.notes.push_back(std::move(note));
  std::vector<ColumnInfo> withoutRole;
  for (const ColumnDescription& column : table.columns) {
    if (column.role == ColumnRole::kNone) withoutRole.push_back(column.info);
  }
  if (!withoutRole.empty()) table.notes.push_back(WithoutRoleText(withoutRole));
}

}  // namespace

TableDescription DescribeTable(const DescribeOptions& options, ProgressBar& progress,
                               Interrupt& interrupt, OutputFiles& outputs) {
  DataSource asked = options.source;
  asked.spoolDir = options.spoolDir;
  TableSource source = OpenSource(asked, progress, interrupt);
  std::optional<RowCondition> condition;
  if (!options.where.empty()) condition = ReadCondition(options.where, source);
  outputs.SetInputs(source.Inputs());
  std::vector<std::string> names;
  for (const ColumnInfo& column : source.Columns()) names.push_back(column.name);
  source.SettleTypes(names);
  if (condition) source.SetCondition(condition->sql);
  ProfileOptions profile;
  profile.spoolDir = options.spoolDir;
  profile.threads = QvThreadCount(options.threads);
  profile.progress = [&](double share, std::int64_t rows) {
    progress.Show("reading", share, rows);
  };
  profile.cancelled = [&] {
    source.NoteInputs();
    return interrupt.Requested();
  };
  std::vector<ProfiledColumn> columns = ProfileTable(source, profile);
  outputs.SetInputs(source.Inputs());
  outputs.Begin();
  TableDescription table;
  table.data = DataText(source, options.source);
  table.where = options.where;
  table.leftOut = source.RowsLeftOut();
  for (ProfiledColumn& column : columns) {
    ColumnDescription described;
    described.info = std::move(column.info);
    described.role = RoleOf(described.info.kind);
    described.summary = std::move(column.summary);
    described.missingStrings = MissingStringsOf(source, described.info.name);
    table.rows = described.summary.rows;
    table.columns.push_back(std::move(described));
  }
  // Some look into the source, which forgets what it counted then.
  for (ColumnDescription& column : table.columns) {
    NameBooleans(source, column);
    column.warnings = ColumnWarnings(column, source);
  }
  AddNotes(source, names, table);
  if (condition) {
    for (const std::string& note : condition->notes) table.notes.push_back(note);
  }
  progress.Erase();
  return table;
}

}  // namespace qvhost
