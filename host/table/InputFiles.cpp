#include "host/table/InputFiles.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <system_error>

#ifndef _WIN32
#include <sys/stat.h>
#endif

namespace qvhost {
namespace {

namespace fs = std::filesystem;

constexpr int kMostLinks = 40;

/// The path in one of the addresses that DuckDB reads as a local file; anything else as it is.
std::string LocalPath(const std::string& name) {
  constexpr std::array<std::string_view, 3> kBeginnings = {"file://localhost/", "file:///",
                                                           "file:/"};
  const auto begins = [&name](std::string_view start) { return name.starts_with(start); };
  const auto* const found = std::ranges::find_if(kBeginnings, begins);
  return found == kBeginnings.end() ? name : name.substr(found->size() - 1);
}

bool CannotBeReplaced(const fs::file_status& status) {
  return fs::is_character_file(status) || fs::is_socket(status);
}

}  // namespace

fs::path PlaceOf(const std::string& path) {
  std::error_code error;
  fs::path at = fs::absolute(path, error);
  // A link to nothing is not followed by the system's own functions.
  for (int links = 0; links < kMostLinks; ++links) {
    const fs::path folder = fs::weakly_canonical(at.parent_path(), error);
    at = (error ? at.parent_path() : folder) / at.filename();
    const fs::path target = fs::read_symlink(at, error);
    if (error) break;
    at = at.parent_path() / target;
  }
  return at.lexically_normal();
}

bool IsSameFile(const std::string& one, const std::string& other) {
  std::error_code error;
  return PlaceOf(one) == PlaceOf(other) || fs::equivalent(one, other, error);
}

#ifdef _WIN32

// The standard library tells a file by no number here; Find asks it for each pair.
std::optional<InputFiles::Identity> InputFiles::IdentityOf(const std::string& /*path*/) {
  return std::nullopt;
}

#else

std::optional<InputFiles::Identity> InputFiles::IdentityOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return Identity{status.st_dev, status.st_ino};
}

#endif

void InputFiles::Add(const std::string& name) {
  const std::string path = LocalPath(name);
  std::error_code error;
  if (CannotBeReplaced(fs::status(path, error))) return;
  if (const std::optional<Identity> identity = IdentityOf(path)) {
    existing_.emplace(*identity, path);
  } else {
    absent_.emplace(PlaceOf(path), path);
  }
}

std::optional<std::string> InputFiles::Find(const std::string& path) const {
  if (const std::optional<Identity> identity = IdentityOf(path)) {
    const auto found = existing_.find(*identity);
    if (found != existing_.end()) return found->second;
  }
  const auto found = absent_.find(PlaceOf(path));
  if (found != absent_.end()) return found->second;
#ifdef _WIN32
  for (const auto& [place, name] : absent_) {
    std::error_code error;
    if (fs::equivalent(place, path, error)) return name;
  }
#endif
  return std::nullopt;
}

}  // namespace qvhost
