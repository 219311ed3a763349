#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

#include "fuzz/Check.h"

namespace qvfuzz {

/// A file without a name that takes no room on a disk; gone with this object.
class MemoryFile {
 public:
  explicit MemoryFile(std::span<const std::uint8_t> bytes) : descriptor_(memfd_create("input", 0)) {
    Check(descriptor_ >= 0, "a file in memory");
    Check(write(descriptor_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
          "a file in memory is written");
  }
  explicit MemoryFile(const std::string& text)
      : MemoryFile(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size())) {}
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile() { close(descriptor_); }

  [[nodiscard]] std::string Path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

}  // namespace qvfuzz
