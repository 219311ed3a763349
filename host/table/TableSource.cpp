#include "host/table/TableSource.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/table/Connection.h"
#include "host/table/DataFiles.h"
#include "host/table/DatabaseTable.h"
#include "host/table/InputFiles.h"
#include "host/table/NestedFields.h"
#include "host/table/NumberFormat.h"
#include "host/table/QueryError.h"
#include "host/table/QueryView.h"
#include "host/table/ScalarFunctions.h"
#include "host/table/SqliteFile.h"
#include "host/table/TextColumns.h"
#include "host/table/WrittenNames.h"

namespace qvhost {
namespace {

[[noreturn]] void Refuse(const std::string& message) { throw Error(ExitCode::kBadInput, message); }

/// Of more files it is not looked up which have a column.
constexpr std::size_t kMostFilesToCompare = 200;

/// The name under which a query sees the file.
constexpr const char* kFileView = "data";
/// A name that no table of a user's database has.
constexpr const char* kQueryView = "\"result of --sql\"";
constexpr const char* kTypedView = "\"table with missing values\"";
constexpr const char* kFieldsView = "\"table with fields\"";

bool IsDatabase(FileFormat format) {
  return format == FileFormat::kDatabase || format == FileFormat::kSqlite;
}

void RefuseTable(const std::string& data) {
  Refuse(fmt::format("--table is for a database file (.duckdb, .sqlite or .db), which '{}' is not.",
                     data));
}

void CheckOptions(const DataSource& source) {
  if (source.data.empty() && source.sql.empty()) {
    Refuse("There is no data: name a file with --data, or write a query with --sql.");
  }
  if (source.table.empty()) return;
  if (!source.sql.empty()) {
    Refuse("--table and --sql cannot go together; name the table in the query.");
  }
  const FileFormat format = FormatOfName(source.data);
  if (format != FileFormat::kUnknown && !IsDatabase(format) && !source.reading.format) {
    RefuseTable(source.data);
  }
}

/// Whether reading options were given that need files to be read.
bool HasOptions(const ReadingOptions& options) {
  return options.format || options.encoding || !options.delimiter.empty() || options.header ||
         options.decimal || !options.thousands.empty() || !options.types.empty();
}

/// A database and its write-ahead log, which lies beside it, or beside the link that names it; a
/// file put where there is none would be taken for it.
void AddDatabase(const std::string& data, InputFiles& files) {
  constexpr const char* kLog = ".wal";
  std::error_code error;
  files.Add(data);
  files.Add(data + kLog);
  files.Add(std::filesystem::weakly_canonical(data, error).string() + kLog);
}

}  // namespace

template <typename Action>
auto TableSource::Reading(Action action) const {
  try {
    return action();
  } catch (const QueryError& error) {
    throw Error(error.Code(), fmt::format("'{}' cannot be read: {}", name_, ReasonOf(error)));
  }
}

std::string TableSource::ReasonOf(const QueryError& error) const {
  std::string reason = UnreadableText(error, delimiter_);
  if (!reason.empty()) return reason;
  return data_ ? data_->WithNames(error.what()) : error.what();
}

std::string TableSource::ReadingText(const QueryError& error) const {
  return fmt::format("{}: {}", name_, ReasonOf(error));
}

TableSource::TableSource(const DataSource& source,
                         const std::function<void(std::uint64_t bytes)>& progress)
    : strings_(source.na.empty() ? MissingStrings::Default() : source.na),
      inputs_(std::make_unique<InputFiles>()),
      types_(source.reading.types),
      sql_(source.sql) {
  CheckOptions(source);
  if (!source.data.empty()) {
    std::vector<std::string> names = {source.data};
    names.insert(names.end(), source.moreData.begin(), source.moreData.end());
    data_ = std::make_unique<DataFiles>(names, source.reading, source.spoolDir, progress);
    name_ = data_->Name();
    data_->AddTo(*inputs_);
    if (!source.table.empty() && !IsDatabase(data_->Format())) RefuseTable(name_);
  } else if (HasOptions(source.reading)) {
    Refuse(
        "The options that say how files are to be read need files named with --data; in --sql "
        "write them with read_csv(...).");
  }
  const bool isStored = data_ && data_->Format() == FileFormat::kDatabase;
  connection_ = Reading(
      [&] { return std::make_unique<Connection>(isStored ? data_->Path() : std::string()); });
  opened_ = std::make_unique<OpenedFiles>(*connection_, OpenedFiles::Limits());
  missing_ = std::make_unique<MissingFunction>(*connection_, strings_);
  RegisterMathFunctions(*connection_);
  Definitions definitions;
  if (isStored) {
    definitions = DefinitionsOf(*connection_);
    AddDatabase(data_->Path(), *inputs_);
  } else if (data_ && data_->Format() == FileFormat::kSqlite) {
    ShowSqlite(source);
  } else if (data_) {
    const std::string query = ShowFiles(source.reading);
    AddNamed(query, definitions);
    definitions.emplace(kFileView, query);
  }
  ChooseTable(source);
  const std::string query = sql_.empty() ? "SELECT * FROM " + relation_ : sql_;
  ShowFields();
  const bool isFile = file_ && sql_.empty();
  // The view of a text file knows its columns, but not what is inside them.
  if (isFile ? !fields_.empty() : !source.na.empty()) ShowTyped();
  LearnColumns();
  if (sqlite_ && sql_.empty()) CheckTypes(name_, source.reading.types, columns_);
  AddNamed(query, definitions);
  // A view of the database has opened no file so far.
  if (isStored_) connection_->Execute(fmt::format("EXPLAIN SELECT * FROM {}", relation_));
}

std::string TableSource::ShowFiles(const ReadingOptions& options) {
  const std::string files = data_->Sql();
  if (data_->Format() == FileFormat::kParquet) {
    std::string query = fmt::format("SELECT * FROM read_parquet({}{})", files,
                                    data_->AreSeveral() ? ", union_by_name = true" : "");
    Reading([&] { ShowParquet(query); });
    return query;
  }
  delimiter_ = options.delimiter;
  const TextFiles text{data_->Format(), files, name_, data_->AreSeveral()};
  TextView shown = Reading(
      [&] { return ShowTextFile(*connection_, *missing_, strings_, kFileView, text, options); });
  file_ = std::move(shown.view);
  renamedInFile_ = std::move(shown.renamed);
  layout_ = std::move(shown.layout);
  return fmt::format("SELECT * FROM read_csv({})", files);
}

void TableSource::ShowParquet(const std::string& query) {
  std::vector<std::string> names;
  for (const ColumnInfo& column : connection_->Describe(query)) names.push_back(column.name);
  const std::vector<std::string> written = NamesInParquet(*connection_, data_->Sql(), names);
  renamedInFile_ = RenamedColumns(written);
  const std::string list = renamedInFile_.empty() ? "" : ColumnList(UniqueNames(written));
  connection_->Execute(fmt::format("CREATE TEMP VIEW {}{} AS {}", kFileView, list, query));
}

void TableSource::ShowSqlite(const DataSource& source) {
  SqliteFile::AddTo(data_->Path(), *inputs_);
  sqlite_ = std::make_unique<SqliteFile>(*connection_, *missing_, data_->Path(), name_);
  if (sql_.empty()) return;
  for (const std::string& table : sqlite_->Tables()) {
    try {
      sqlite_->Show(table, source.reading.types);
    } catch (const Error&) {
      // One that needs a module of the program that made it, say. The query may do without it.
      continue;
    }
  }
}

std::string TableSource::TableHint(const DataSource& source) const {
  if (source.data.empty()) return "name a file in single quotes, as in FROM 'file.csv'.";
  if (data_ && !IsDatabase(data_->Format())) return "the table of --data is called data.";
  return {};
}

void TableSource::ChooseTable(const DataSource& source) {
  if (!sql_.empty()) {
    renamed_ = ShowQuery(*connection_, sql_, kQueryView, TableHint(source));
    relation_ = kQueryView;
    name_ = "query";
    return;
  }
  if (!IsDatabase(data_->Format())) {
    relation_ = kFileView;
    return;
  }
  std::vector<DatabaseTable> found;
  std::vector<std::string> all;
  if (sqlite_) {
    all = sqlite_->Tables();
    for (const std::string& name : all) {
      const bool isWanted = source.table.empty() || SameWord(name, source.table);
      if (isWanted) found.push_back({name, QuoteName(name)});
    }
  } else {
    found = DatabaseTables(*connection_, source.table);
    for (const DatabaseTable& table : DatabaseTables(*connection_, "")) all.push_back(table.name);
  }
  const DatabaseTable table = OneTable(name_, source.table, found, all);
  if (sqlite_) {
    sqlite_->Show(table.name, source.reading.types);
  }
  relation_ = table.sql;
  isStored_ = !sqlite_;
  name_ = fmt::format("{} of {}", table.name, name_);
}

void TableSource::ShowFields() {
  const std::vector<NestedField> fields =
      Reading([this] { return NestedFields(*connection_, relation_); });
  if (fields.empty()) return;
  std::string list;
  for (const NestedField& field : fields) {
    fields_.push_back(field.name);
    list += fmt::format(", {} AS {}", field.sql, QuoteName(field.name));
  }
  fieldsView_ = fmt::format("CREATE OR REPLACE TEMP VIEW {} AS SELECT *{} FROM {}", kFieldsView,
                            list, relation_);
  Reading([this] { connection_->Execute(fieldsView_); });
  relation_ = kFieldsView;
}

/// Puts a view over the table in which the missing strings of its text columns are NULL.
void TableSource::ShowTyped() {
  Reading([this] {
    std::vector<RawColumn> columns;
    for (const ColumnInfo& info : connection_->Describe("SELECT * FROM " + relation_)) {
      RawColumn column;
      column.name = info.name;
      column.isText = info.type == "VARCHAR";
      column.isOpen = column.isText;
      columns.push_back(std::move(column));
    }
    typed_ = std::make_unique<TypedView>(
        *connection_, *missing_, kTypedView,
        [table = relation_](const auto&, const auto&) { return table; }, std::move(columns));
    typed_->Create();
  });
  relation_ = kTypedView;
}

void TableSource::LearnColumns() {
  columns_ =
      Reading([this] { return connection_->Describe(fmt::format("SELECT * FROM {}", relation_)); });
  const std::vector<RenamedColumn>& renamedHere = sql_.empty() ? renamedInFile_ : renamed_;
  for (ColumnInfo& column : columns_) {
    column.isField = std::ranges::find(fields_, column.name) != fields_.end();
    const auto renamed = std::ranges::find(renamedHere, column.name, &RenamedColumn::name);
    const bool isNamed = renamed != renamedHere.end() && !renamed->IsRepeated();
    if (isNamed) column.written = renamed->written;
  }
}

void TableSource::AddNamed(const std::string& query, const Definitions& definitions) {
  for (const std::string& file : NamedFiles(*connection_, query, definitions)) inputs_->Add(file);
}

const InputFiles& TableSource::Inputs() const {
  opened_->AddTo(*inputs_);
  return *inputs_;
}

void TableSource::NoteInputs() const { opened_->AddInTimeTo(*inputs_); }

void TableSource::ShowViews() const {
  if (file_) file_->Create();
  if (!sql_.empty()) ShowQuery(*connection_, sql_, kQueryView, {});
  if (!fieldsView_.empty()) connection_->Execute(fieldsView_);
  if (typed_) typed_->Create();
}

void TableSource::SettleTypes(const std::vector<std::string>& columns) {
  const bool changed = Reading([&] {
    bool fileChanged = false;
    if (file_) fileChanged = sql_.empty() ? file_->Settle(columns) : file_->SettleAll();
    if (fileChanged) ShowViews();
    return (typed_ && typed_->Settle(columns)) || fileChanged;
  });
  if (!changed) return;
  ShowViews();
  LearnColumns();
}

bool TableSource::CorrectTypes(const QueryError& error) const {
  try {
    const bool isMended = sqlite_ ? sqlite_->Mend() : file_ && file_->Mend(error);
    if (isMended) ShowViews();
    return isMended;
  } catch (const QueryError&) {
    // The first error says more than one of looking for its cause.
    return false;
  } catch (const Error& refused) {
    throw Error(refused.Code(), data_->WithNames(refused.what()));
  }
}

void TableSource::TakeAsText(const std::vector<std::string>& columns) {
  if (columns.empty()) return;
  for (const std::string& column : columns) file_->TakeAsText(column);
  Reading([this] { ShowViews(); });
  LearnColumns();
}

std::vector<std::string> TableSource::NotesOnNames() const {
  std::vector<std::string> notes = RenamingNotes(renamed_, " of the query");
  for (std::string& note : RenamingNotes(renamedInFile_, sql_.empty() ? "" : " of the data")) {
    notes.push_back(std::move(note));
  }
  return notes;
}

const TextLayout* TableSource::Layout() const { return file_ && sql_.empty() ? &layout_ : nullptr; }

bool TableSource::TakesTypes() const { return (file_ || sqlite_) && sql_.empty(); }

bool TableSource::TakesFormats() const {
  return TakesTypes() && data_->Format() == FileFormat::kDelimited;
}

bool TableSource::IsTypeGiven(std::string_view column) const {
  return std::ranges::any_of(
      types_, [column](const ColumnType& type) { return SameWord(type.column, column); });
}

BooleanTexts TableSource::BooleansOf(const std::string& column) const {
  if (!file_ || !sql_.empty()) return {};
  return Reading([&] { return file_->BooleansOf(column, kSampleRows); });
}

std::string TableSource::HeaderHint() const {
  const TextLayout* const layout = Layout();
  if (layout == nullptr) return {};
  if (!layout->otherDelimiter.empty()) {
    const bool isTab = layout->otherDelimiter == "\t";
    const std::string option = isTab ? "tab" : ShellText(layout->otherDelimiter);
    return fmt::format(" If {} separates the columns, add --delim {}.",
                       DelimiterText(layout->otherDelimiter.front()), option);
  }
  std::string hint;
  if (layout->skippedRows > 0) {
    hint = layout->skippedRows == 1
               ? " Its first line was skipped, as it does not look like a row of a table."
               : fmt::format(
                     " Its first {} lines were skipped, as they do not look like rows of a "
                     "table.",
                     layout->skippedRows);
  }
  if (!layout->hasHeader && layout->skippedRows == 1) return hint + kRowNamesHint;
  if (!layout->hasHeader) {
    const std::string& first = columns_.front().name;
    if (layout->isHeaderGiven) {
      return fmt::format("{} It is read without a header, so its columns are called {} and so on.",
                         hint, first);
    }
    return fmt::format(
        "{} It seems to have no header, so its columns are called {}{}; if its first row holds "
        "the names, add --header yes.",
        hint, first, columns_.size() > 1 ? ", " + columns_[1].name + ", ..." : "");
  }
  const auto isNumber = [](const ColumnInfo& column) {
    return ParseNumber(column.name, {}, NumberSigns::kRefused).has_value();
  };
  if (!std::ranges::all_of(columns_, isNumber)) return hint;
  return hint + fmt::format(
                    " Its header holds nothing but numbers, such as '{}'; if it has none, "
                    "add --header no.",
                    columns_.front().name);
}

std::vector<std::vector<std::string>> TableSource::FilesWithout(
    const std::vector<std::string>& columns) const {
  std::vector<std::vector<std::string>> without(columns.size());
  const bool areNamed = !file_ || layout_.hasHeader;
  if (!data_ || !data_->AreSeveral() || !sql_.empty() || !areNamed) return without;
  const auto files = connection_->Rows(fmt::format(
      "SELECT regexp_replace(file, '([*?[])', '[\\1]', 'g'), file FROM glob({})", data_->Sql()));
  if (files.size() > kMostFilesToCompare) return without;
  for (const auto& row : files) {
    const std::string query = ReaderOf(row[0].value_or(""));
    const auto found = Reading([&] { return connection_->Describe("SELECT * FROM " + query); });
    for (std::size_t i = 0; i < columns.size(); ++i) {
      // A field is no column by itself, and stands in whichever file has its objects.
      if (std::ranges::find(fields_, columns[i]) != fields_.end()) continue;
      if (std::ranges::find(renamedInFile_, columns[i], &RenamedColumn::name) !=
          renamedInFile_.end()) {
        continue;
      }
      const auto isThis = [&](const ColumnInfo& info) { return SameWord(info.name, columns[i]); };
      if (std::ranges::none_of(found, isThis)) {
        without[i].push_back(data_->WithNames(row[1].value_or("")));
      }
    }
  }
  return without;
}

std::string TableSource::ReaderOf(const std::string& file) const {
  const std::string name = QuoteText(file);
  if (data_->Format() == FileFormat::kParquet) return fmt::format("read_parquet({})", name);
  if (data_->Format() == FileFormat::kJson) return fmt::format("read_json({})", name);
  const std::string delimiter =
      delimiter_.empty() ? "" : fmt::format(", delim = {}", QuoteText(delimiter_));
  const std::string padding = layout_.hasShortRows ? ", null_padding = true" : "";
  return fmt::format("read_csv({}, header = true{}{})", name, delimiter, padding);
}

std::vector<KeptColumn> TableSource::Keep(const std::vector<std::string>& names, bool asWritten) {
  if (names.empty()) return {};
  std::vector<std::string> shown = names;
  const bool isDelimited = data_ && data_->Format() == FileFormat::kDelimited;
  if (asWritten && isDelimited && file_ && sql_.empty()) {
    shown = file_->ShowWritten(names);
    Reading([this] { ShowViews(); });
  }
  std::vector<KeptColumn> columns;
  for (std::size_t i = 0; i < names.size(); ++i) columns.push_back({names[i], QuoteName(shown[i])});
  if (asWritten) return columns;
  for (KeptColumn& column : columns) {
    const auto info = std::ranges::find(columns_, column.name, &ColumnInfo::name);
    const bool isWide = info->type == "HUGEINT" || info->type == "UHUGEINT";
    // DuckDB would write them to Parquet as doubles.
    if (isWide) column.sql = fmt::format("CAST({} AS DECIMAL(38,0))", column.sql);
  }
  return columns;
}

void TableSource::SetCondition(const std::string& condition) {
  filter_ = std::make_unique<RowFilter>(*connection_);
  relation_ = fmt::format("(SELECT * FROM {} WHERE {})", relation_, RowFilter::Call(condition));
}

std::int64_t TableSource::RowsLeftOut() const { return filter_ ? filter_->LeftOut() : 0; }

void TableSource::StartCounting() const {
  missing_->Reset();
  if (filter_) filter_->Reset();
}

TableSource::~TableSource() = default;
TableSource::TableSource(TableSource&&) noexcept = default;

std::vector<const ColumnInfo*> TableSource::Matches(std::string_view name) const {
  for (const ColumnInfo& column : columns_) {
    if (column.Written() == name) return {&column};
  }
  const auto exact = std::ranges::find(columns_, name, &ColumnInfo::name);
  if (exact != columns_.end()) return {&*exact};
  std::vector<const ColumnInfo*> matches;
  for (const ColumnInfo& column : columns_) {
    const bool isAlike = SameWord(column.Written(), name) || SameWord(column.name, name);
    if (isAlike) matches.push_back(&column);
  }
  return matches;
}

std::optional<std::string> TableSource::Nearest(const std::string& name) const {
  std::vector<std::string> names;
  for (const ColumnInfo& column : columns_) names.push_back(column.name);
  return NearestName(name, names);
}

std::vector<ColumnInfo> TableSource::Describe(const std::vector<std::string>& expressions) const {
  if (expressions.empty()) return {};
  std::vector<ColumnInfo> columns = connection_->Describe(
      fmt::format("SELECT ({}) FROM {}", fmt::join(expressions, "), ("), relation_));
  for (std::size_t i = 0; i < columns.size(); ++i) columns[i].name = expressions[i];
  return columns;
}

}  // namespace qvhost
