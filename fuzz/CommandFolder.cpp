#include "fuzz/CommandFolder.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <span>
#include <tuple>

#include <fmt/format.h>
#include <sanitizer/common_interface_defs.h>
#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fuzz/Check.h"
#include "host/cli/Command.h"
#include "host/table/Connection.h"

namespace qvfuzz {
namespace {

namespace fs = std::filesystem;

/// What changes when a file does, without reading it.
using Stamp = std::tuple<ino_t, off_t, time_t, long>;
using Stamps = std::map<std::string, Stamp>;

constexpr int kRows = 30;

/// A row of the table; `c` is 0 or 1, `h` and `part` have two levels, `g` three.
std::string Row(int i, char delimiter) {
  const int lot = i * 7919 % 31;
  const std::string x = i == 11 ? "" : fmt::format("{}", lot * 0.25 - 3);
  const std::string d = fmt::format("2020-01-{:02}", 1 + lot % 9);
  return fmt::format("{1}{0}{2}{0}{3}{0}{4}{0}{5}{0}{6}{0}{7}{0}{8}{0}{9}{0}{10}{0}{11}{0}{12}\n",
                     delimiter, i + 1, fmt::format("{}", 2.0 + lot % 7 * 0.5 + i % 3), x,
                     lot % 5 - 2, std::array{"a", "b", "c"}[static_cast<std::size_t>(i % 3)],
                     lot % 2 == 0 ? "p" : "q", lot % 3 == 0 ? "true" : "false", d, (i + lot) % 2,
                     1 + lot % 3, i % 5 == 0 ? "test" : "train",
                     std::array{"v w", "it's", "z"}[static_cast<std::size_t>(i % 7 % 3)]);
}

std::string Table(int begin, int end, char delimiter) {
  std::string text = "id,y,x,z,g,h,b,d,c,n,part,odd name\n";
  for (char& c : text) {
    if (c == ',') c = delimiter;
  }
  for (int i = begin; i < end; ++i) text += Row(i, delimiter);
  return text;
}

Stamps StampsOf(const fs::path& folder) {
  Stamps stamps;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    struct stat found {};
    Check(lstat(entry.path().c_str(), &found) == 0, "a file has properties");
    const bool isFolder = S_ISDIR(found.st_mode);
    stamps[fs::relative(entry.path(), folder).string()] =
        isFolder ? Stamp()
                 : Stamp(found.st_ino, found.st_size, found.st_mtim.tv_sec, found.st_mtim.tv_nsec);
  }
  return stamps;
}

std::size_t OpenFiles() {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : fs::directory_iterator("/proc/self/fd")) ++count;
  return count;
}

/// A file without a name in place of a standard stream.
class Captured {
 public:
  explicit Captured(int stream) : file_(memfd_create("stream", MFD_CLOEXEC)) {
    Check(file_ >= 0 && dup2(file_, stream) == stream, "a stream is captured");
  }
  Captured(const Captured&) = delete;
  Captured& operator=(const Captured&) = delete;
  ~Captured() { close(file_); }

  void Write(const std::string& text) const {
    Check(write(file_, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
              lseek(file_, 0, SEEK_SET) == 0,
          "a stream has something to read");
  }
  [[nodiscard]] std::string Text() const {
    std::string text(static_cast<std::size_t>(lseek(file_, 0, SEEK_END)), '\0');
    Check(pread(file_, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()),
          "a stream is read");
    return text;
  }

 private:
  int file_;
};

/// A working folder, and then that of before: names that the fuzzer was given are relative.
class Inside {
 public:
  explicit Inside(const fs::path& folder) : before_(fs::current_path()), folder_(folder) {
    fs::current_path(folder);
  }
  Inside(const Inside&) = delete;
  Inside& operator=(const Inside&) = delete;
  ~Inside() {
    Check(fs::current_path() == folder_, "a run stays in its folder");
    fs::current_path(before_);
  }

 private:
  fs::path before_;
  fs::path folder_;
};

}  // namespace

CommandFolder::CommandFolder() : errors_(dup(STDERR_FILENO)), output_(dup(STDOUT_FILENO)) {
  // What a sanitizer says while standard error is captured would be lost.
  __sanitizer_set_report_fd(std::bit_cast<void*>(std::intptr_t{errors_}));
  const Inside inside(folder_.Path());
  fs::create_directory("tmp");
  for (const char* const name : {"TMPDIR", "HOME"}) {
    setenv(name, folder_.File("tmp").c_str(), 1);
  }
  setenv("NO_COLOR", "1", 1);
  unsetenv("COLUMNS");
  WriteTables();
  WriteDatabases();
  fs::copy(folder_.Path(), kept_.Path(), fs::copy_options::recursive);
  SaveModels();
}

void CommandFolder::WriteTables() const {
  folder_.Write("rows.csv", Table(0, kRows, ','));
  folder_.Write("rows.tsv", Table(0, kRows, '\t'));
  folder_.Write("more.csv", Table(kRows, kRows + 9, ','));
  folder_.Write("head.csv", Table(0, 0, ','));
  folder_.Write("empty.csv", "");
  folder_.Write("ragged.csv", "y,x\n1,2\n3\n4,5,6\n\"7,8\n");
  folder_.Write("latin.csv", "y,g\n1,\xe9\n2,\xe8\n3,\xe9\n5,\xe8\n");
}

void CommandFolder::WriteDatabases() const {
  {
    qvhost::Connection connection;
    connection.Execute("CREATE TABLE rows AS SELECT * FROM 'rows.csv'");
    connection.Execute("COPY rows TO 'rows.parquet'");
    connection.Execute("COPY rows TO 'rows.json'");
    connection.Execute("ATTACH 'rows.duckdb' AS file");
    connection.Execute("CREATE TABLE file.rows AS SELECT * FROM rows");
    connection.Execute("CREATE TABLE file.other AS SELECT 1 AS y, 2 AS x");
  }
  sqlite3* database = nullptr;
  Check(sqlite3_open("rows.sqlite", &database) == SQLITE_OK, "a database is made");
  std::string statements = "CREATE TABLE rows (id, y, x, z, g, h, b, d, c, n, part, \"odd name\");";
  for (int i = 0; i < 9; ++i) {
    statements += fmt::format(
        "INSERT INTO rows VALUES ({}, {}, {}, 2, '{}', 'p', {}, '2020-01-01', {}, 1, 'train', "
        "'z');",
        i, i * i % 7, i, i % 2 == 0 ? "a" : "b", i % 2, i % 2);
  }
  Check(sqlite3_exec(database, statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK,
        "a database is filled");
  sqlite3_close(database);
}

/// The files that other commands read, each made by the command itself.
void CommandFolder::SaveModels() {
  const auto save = [this](const std::vector<std::string>& words, std::size_t files) {
    const CommandOutcome outcome = Run(words);
    Check(outcome.code == 0 && outcome.files.size() == files, outcome.err.c_str());
    for (const auto& [name, bytes] : outcome.files) {
      folder_.Write(name, bytes);
      kept_.Write(name, bytes);
    }
  };
  save({"fit", "-d", "rows.csv", "-f", "y ~ x + g*h + log(n)", "--save", "linear.pmml", "--json",
        "linear.json"},
       2);
  save({"fit", "-d", "rows.csv", "-f", "c ~ x + g", "--model", "logistic", "--save",
        "logistic.pmml", "--json", "logistic.json"},
       2);
  save({"spool", "-d", "rows.csv", "-f", "g ~ x + h + b", "--only-levels", "--json", "levels.json"},
       1);
}

CommandOutcome CommandFolder::Run(const std::vector<std::string>& words) {
  const Stamps before = StampsOf(folder_.Path());
  const std::size_t open = OpenFiles();
  CommandOutcome outcome;
  {
    const Inside inside(folder_.Path());
    std::vector<const char*> pointers = {"qvreg"};
    for (const std::string& word : words) pointers.push_back(word.c_str());
    const Captured input(STDIN_FILENO);
    input.Write(Table(0, kRows, ','));
    const Captured out(STDOUT_FILENO);
    const Captured err(STDERR_FILENO);
    outcome.code = qvhost::RunCommand(static_cast<int>(pointers.size()), pointers.data());
    dup2(errors_, STDERR_FILENO);
    dup2(output_, STDOUT_FILENO);
    outcome.out = out.Text();
    outcome.err = err.Text();
  }
  Check(OpenFiles() == open, "a run closes what it opens");
  Stamps after = StampsOf(folder_.Path());
  for (const auto& [name, stamp] : before) {
    const auto found = after.find(name);
    if (found == after.end()) {
      outcome.files[name];
    } else if (found->second == stamp) {
      after.erase(found);
    }
  }
  for (const auto& [name, stamp] : after) {
    outcome.files[name] = qvtest::ReadFile(folder_.Path() / name);
  }
  Restore(outcome);
  return outcome;
}

void CommandFolder::Restore(const CommandOutcome& outcome) const {
  for (const auto& [name, bytes] : outcome.files) {
    fs::remove_all(folder_.Path() / name);
    const fs::path kept = kept_.Path() / name;
    if (fs::is_regular_file(kept)) fs::copy(kept, folder_.Path() / name);
    if (fs::is_directory(kept)) fs::create_directory(folder_.Path() / name);
  }
}

}  // namespace qvfuzz
