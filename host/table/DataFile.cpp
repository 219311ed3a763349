#include "host/table/DataFile.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/table/NearestName.h"
#include "host/table/SqlText.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPatternCharacters = "*?[";
constexpr std::size_t kMostNamesToCompare = 1000;

[[noreturn]] void Refuse(const std::string& message) { throw Error(ExitCode::kBadInput, message); }

std::string LowerExtension(const fs::path& path) {
  std::string extension = path.extension().string();
  std::ranges::transform(extension, extension.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return extension;
}

/// The neighbours of a file that does not exist.
std::vector<std::string> NamesBeside(const fs::path& file) {
  const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (names.size() == kMostNamesToCompare) break;
    names.push_back(entry->path().filename().string());
  }
  return names;
}

/// The same name with what DuckDB would take for a pattern made plain.
std::string Escaped(const std::string& name) {
  std::string escaped;
  for (const char c : name) {
    const bool special = kPatternCharacters.find(c) != std::string_view::npos;
    escaped += special ? std::string{'[', c, ']'} : std::string(1, c);
  }
  return escaped;
}

void RefuseMissing(const std::string& data) {
  std::string hint;
  const fs::path path(data);
  Connection connection;
  hint = DidYouMean(connection, path.filename().string(), NamesBeside(path));
  Refuse(fmt::format("The file '{}' does not exist.{}", data, hint));
}

}  // namespace

bool IsDatabaseName(const std::string& data) {
  constexpr std::array<std::string_view, 3> kEndings = {".duckdb", ".ddb", ".db"};
  return std::ranges::find(kEndings, LowerExtension(data)) != kEndings.end();
}

void CheckFile(const std::string& data) {
  std::error_code error;
  const fs::file_status status = fs::status(data, error);
  if (status.type() == fs::file_type::not_found) RefuseMissing(data);
  if (fs::is_directory(status)) {
    Refuse(fmt::format("'{}' is a folder; name a file in it, or a pattern such as '{}'.", data,
                       (fs::path(data) / "*.csv").string()));
  }
  if (fs::is_regular_file(status) && fs::file_size(data, error) == 0 && !error) {
    Refuse(fmt::format("The file '{}' is empty.", data));
  }
  if (!std::ifstream(data).is_open()) {
    Refuse(fmt::format("The file '{}' cannot be opened; check that you may read it.", data));
  }
}

std::string PatternOf(Connection& connection, const std::string& data) {
  if (data.find("://") != std::string::npos) {
    Refuse(fmt::format("'{}' is not on this computer; download it and name the file.", data));
  }
  std::error_code error;
  const bool isPattern =
      data.find_first_of(kPatternCharacters) != std::string::npos && !fs::exists(data, error);
  if (!isPattern) {
    CheckFile(data);
    return Escaped(data);
  }
  if (connection.Rows(fmt::format("SELECT 1 FROM glob({}) LIMIT 1", QuoteText(data))).empty()) {
    Refuse(fmt::format("No file matches the pattern '{}'.", data));
  }
  return data;
}

}  // namespace qvhost
