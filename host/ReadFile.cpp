#include "host/ReadFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <fmt/format.h>

#include "host/Error.h"

namespace qvhost {

namespace {

[[noreturn]] void Refuse(const std::string& message) { throw Error(ExitCode::kBadInput, message); }

}  // namespace

std::string ReadFile(const std::string& file, const std::string& what, std::size_t most) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(file, error);
  if (status.type() == std::filesystem::file_type::not_found) {
    Refuse(fmt::format("There is no file '{}'.", file));
  }
  if (std::filesystem::is_directory(status)) {
    Refuse(fmt::format("'{}' is a folder; name {}.", file, what));
  }
  std::ifstream stream(file, std::ios::binary);
  std::string text;
  constexpr std::size_t kBlock = std::size_t{1} << 16;
  std::array<char, kBlock> block;  // NOLINT(*-member-init): it is read into.
  while (stream.read(block.data(), block.size()) || stream.gcount() > 0) {
    text.append(block.data(), static_cast<std::size_t>(stream.gcount()));
    if (text.size() > most) {
      Refuse(fmt::format("'{}' has more than {} bytes; name {}.", file, most, what));
    }
  }
  if (!stream.eof()) {
    Refuse(fmt::format("'{}' cannot be read ({}).", file, std::generic_category().message(errno)));
  }
  return text;
}

}  // namespace qvhost
