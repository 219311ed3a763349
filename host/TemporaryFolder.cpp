#include "host/TemporaryFolder.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <random>
#include <utility>
#include <vector>

#include <fmt/format.h>

namespace qvhost {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kStart = ".qvreg-";
constexpr std::string_view kEnd = ".tmp";
constexpr std::size_t kDigits = 16;
constexpr int kMostNames = 100;

/// The folders of this process, for ExitWithoutTemporaries alone. A folder is made and removed
/// under the mutex, so that none is made while they are removed.
struct Registry {
  std::mutex mutex;
  std::vector<fs::path> paths;
};

Registry& ExistingFolders() {
  static Registry registry;
  return registry;
}

fs::path NewName(const fs::path& parent) {
  std::random_device random;
  return parent / fmt::format("{}{:08x}{:08x}{}", kStart, random(), random(), kEnd);
}

void Remove(const fs::path& path) {
  OpenFolder folder(path);
  if (folder.IsOpen()) folder.Remove(path);
}

/// Whether the folder is ours to keep. Between its making and its locking another run may have
/// taken it for an abandoned one.
bool Secure(const OpenFolder& folder, const fs::path& path) {
  return folder.IsOpen() && folder.Lock() != OpenFolder::LockResult::kTaken && folder.IsAt(path);
}

void RemoveIfAbandoned(const fs::path& path) {
  if (!IsTemporaryName(path.filename().string())) return;
  OpenFolder folder(path);
  if (!folder.IsOpen() || !folder.IsOwn()) return;
  if (folder.Lock() == OpenFolder::LockResult::kLocked) folder.Remove(path);
}

}  // namespace

bool IsTemporaryName(std::string_view name) {
  if (name.size() != kStart.size() + kDigits + kEnd.size()) return false;
  const std::string_view digits = name.substr(kStart.size(), kDigits);
  return name.starts_with(kStart) && name.ends_with(kEnd) &&
         digits.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

void RemoveAbandoned(const fs::path& parent) noexcept try {
  std::error_code error;
  for (fs::directory_iterator entry(parent, error), end; !error && entry != end;
       entry.increment(error)) {
    RemoveIfAbandoned(entry->path());
  }
} catch (const std::exception&) {
  // Out of memory: the next run will do it.
  return;
}

std::optional<TemporaryFolder> TemporaryFolder::Make(const fs::path& parent,
                                                     std::error_code& error) {
  RemoveAbandoned(parent);
  const std::lock_guard lock(ExistingFolders().mutex);
  for (int i = 0; i < kMostNames; ++i) {
    const fs::path path = NewName(parent);
    error = MakePrivateFolder(path);
    if (error == std::errc::file_exists) continue;
    if (error) return std::nullopt;
    OpenFolder folder(path);
    if (Secure(folder, path)) return TemporaryFolder(path, std::move(folder));
    // Empty yet, and nobody would look for it here.
    std::error_code ignored;
    fs::remove(path, ignored);
  }
  error = std::make_error_code(std::errc::device_or_resource_busy);
  return std::nullopt;
}

TemporaryFolder::TemporaryFolder(fs::path path, OpenFolder folder)
    : path_(std::move(path)), folder_(std::move(folder)) {
  ExistingFolders().paths.push_back(path_);
}

TemporaryFolder& TemporaryFolder::operator=(TemporaryFolder&& other) noexcept {
  std::swap(path_, other.path_);
  std::swap(folder_, other.folder_);
  return *this;
}

TemporaryFolder::~TemporaryFolder() {
  if (!folder_.IsOpen()) return;
  const std::lock_guard lock(ExistingFolders().mutex);
  folder_.Remove(path_);
  std::erase(ExistingFolders().paths, path_);
}

void ExitWithoutTemporaries(int code) noexcept {
  // Stays locked: whoever wants another folder waits for the end.
  ExistingFolders().mutex.lock();
  std::ranges::for_each(ExistingFolders().paths, Remove);
  std::_Exit(code);
}

}  // namespace qvhost
