#include "host/fit/OutputFiles.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"

namespace qvhost {

void OutputFiles::Add(const std::string& option, const std::string& path) {
  const Output added{option, path, std::nullopt};
  for (const Output& output : outputs_) CheckTwo(output, added);
  const WholeFile tried(path);
  outputs_.push_back({option, path, std::nullopt});
}

void OutputFiles::Begin() {
  for (Output& output : outputs_) output.file.emplace(output.path);
}

const WholeFile& OutputFiles::Get(const std::string& path) const {
  const auto found = std::ranges::find(outputs_, path, &Output::path);
  if (found == outputs_.end() || !found->file) throw std::logic_error("an output was not begun");
  return *found->file;
}

void OutputFiles::SetInputs(InputFiles inputs) {
  inputs_ = std::move(inputs);
  Check();
}

void OutputFiles::Check() const {
  for (std::size_t i = 0; i < outputs_.size(); ++i) {
    const Output& output = outputs_[i];
    if (const std::optional<std::string> input = inputs_.Find(output.path)) {
      throw Error(ExitCode::kBadInput,
                  fmt::format("{} '{}' would replace the input '{}'; name another file.",
                              output.option, output.path, *input));
    }
    for (std::size_t j = 0; j < i; ++j) CheckTwo(outputs_[j], output);
  }
}

void OutputFiles::Finish() {
  for (Output& output : outputs_) output.file->Finish();
}

void OutputFiles::Commit() {
  Check();
  for (Output& output : outputs_) output.file->Commit();
  // Not in between: it takes milliseconds, in which a kill would leave one file without the other.
  for (const Output& output : outputs_) output.file->Settle();
}

void OutputFiles::CheckTwo(const Output& one, const Output& other) {
  // Nothing is renamed over a device or a pipe.
  if (IsDeviceOrPipe(one.path) || IsDeviceOrPipe(other.path)) return;
  if (!IsSameFile(one.path, other.path)) return;
  throw Error(ExitCode::kBadInput, fmt::format("{} '{}' and {} '{}' are the same file; name two.",
                                               one.option, one.path, other.option, other.path));
}

}  // namespace qvhost
