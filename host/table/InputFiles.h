#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace qvhost {

/// Where a path leads: absolute, with its links followed, though nothing may be there yet (a link
/// to nothing, the name of a new file).
[[nodiscard]] std::filesystem::path PlaceOf(const std::string& path);

/// Whether two paths lead to one file: to the same place, or to two names of a file (hard links).
[[nodiscard]] bool IsSameFile(const std::string& one, const std::string& other);

/// The files that a run reads, each with the name by which it was met first. A file is known by its
/// device and its number there, whatever its names are. A plain value.
class InputFiles {
 public:
  /// Adds a file: a path, or a `file:` address as DuckDB takes it. A name without a file is kept
  /// too: nothing may be put there. A terminal or a socket, which nothing can replace, is not.
  void Add(const std::string& name);

  /// The name of the input that a path leads to, by whatever links; none when it is no input.
  [[nodiscard]] std::optional<std::string> Find(const std::string& path) const;

 private:
  /// What a system knows a file by: its device and its number there.
  using Identity = std::pair<std::uintmax_t, std::uintmax_t>;
  static std::optional<Identity> IdentityOf(const std::string& path);

  std::map<Identity, std::string> existing_;
  std::map<std::filesystem::path, std::string> absent_;  ///< By their places.
};

}  // namespace qvhost
