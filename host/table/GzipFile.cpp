#include "host/table/GzipFile.h"

#include <boost/beast/zlib/inflate_stream.hpp>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <optional>
#include <vector>

#include <fmt/format.h>

#include "host/Error.h"

namespace qvhost {
namespace {

namespace zlib = boost::beast::zlib;

constexpr std::size_t kInput = std::size_t{1} << 16;
constexpr std::size_t kOutput = std::size_t{1} << 18;

/// The members of a gzip file (RFC 1952), one after the other.
class GzipReader {
 public:
  explicit GzipReader(const std::string& path)
      : file_(path, std::ios::binary), input_(kInput), output_(kOutput) {}

  /// Whether every member that begins also ends.
  [[nodiscard]] bool IsWhole() {
    while (StartsMember()) {
      if (!SkipHeader()) return false;
      if (!SkipData()) return isDamaged_;
      constexpr int kTrailer = 8;
      if (!Skip(kTrailer)) return false;
    }
    return true;
  }

 private:
  enum Flag : unsigned { kHeaderCheck = 2, kExtra = 4, kName = 8, kComment = 16 };

  /// The next byte; none at the end.
  std::optional<unsigned> Next() {
    if (at_ == size_ && !Fill()) return std::nullopt;
    return static_cast<unsigned char>(input_[at_++]);
  }

  bool Fill() {
    file_.read(input_.data(), static_cast<std::streamsize>(input_.size()));
    size_ = static_cast<std::size_t>(file_.gcount());
    at_ = 0;
    return size_ > 0;
  }

  bool Skip(unsigned count) {
    for (; count > 0; --count) {
      if (!Next()) return false;
    }
    return true;
  }

  bool SkipText() {
    for (;;) {
      const auto byte = Next();
      if (!byte) return false;
      if (*byte == 0) return true;
    }
  }

  /// Anything else behind a member is padding.
  bool StartsMember() {
    constexpr unsigned kFirst = 0x1F;
    constexpr unsigned kSecond = 0x8B;
    return Next() == kFirst && Next() == kSecond;
  }

  bool SkipHeader() {
    constexpr unsigned kAfterFlags = 6;
    if (!Next()) return false;
    const auto flags = Next();
    if (!flags || !Skip(kAfterFlags)) return false;
    if ((*flags & kExtra) != 0) {
      const auto low = Next();
      const auto high = Next();
      if (!high || !Skip(*low + (*high << 8U))) return false;
    }
    if ((*flags & kName) != 0 && !SkipText()) return false;
    if ((*flags & kComment) != 0 && !SkipText()) return false;
    return (*flags & kHeaderCheck) == 0 || Skip(2);
  }

  /// Unpacks a member's data.
  bool SkipData() {
    zlib::inflate_stream stream;
    for (;;) {
      if (at_ == size_ && !Fill()) return false;
      zlib::z_params place;
      place.next_in = input_.data() + at_;
      place.avail_in = size_ - at_;
      place.next_out = output_.data();
      place.avail_out = output_.size();
      boost::beast::error_code error;
      stream.write(place, zlib::Flush::none, error);
      at_ = size_ - place.avail_in;
      if (error == zlib::error::end_of_stream) return true;
      isDamaged_ = error && error != zlib::error::need_buffers;
      if (isDamaged_) return false;
    }
  }

  std::ifstream file_;
  std::vector<char> input_;
  std::vector<char> output_;
  std::size_t at_ = 0;  ///< In the input, of which `size_` bytes are there.
  std::size_t size_ = 0;
  bool isDamaged_ = false;
};

}  // namespace

void CheckGzip(const std::string& path, const std::string& name) {
  if (GzipReader(path).IsWhole()) return;
  throw Error(
      ExitCode::kBadInput,
      fmt::format("'{}' ends before its compressed data do; copy or download it again.", name));
}

}  // namespace qvhost
