#include "host/fit/OutputFiles.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"

namespace qvhost {

void OutputFiles::Open(const std::string& option, const std::string& path) {
  const Output& added = outputs_.emplace_back(Output{option, WholeFile(path)});
  for (const Output& output : outputs_) {
    if (&output != &added) CheckTwo(output, added);
  }
}

const WholeFile& OutputFiles::Get(const std::string& path) const {
  const auto isThis = [&path](const Output& output) { return output.file.Path() == path; };
  const auto found = std::ranges::find_if(outputs_, isThis);
  if (found == outputs_.end()) throw std::logic_error("an output that was not begun");
  return found->file;
}

void OutputFiles::SetInputs(InputFiles inputs) {
  inputs_ = std::move(inputs);
  Check();
}

void OutputFiles::Check() const {
  for (std::size_t i = 0; i < outputs_.size(); ++i) {
    const Output& output = outputs_[i];
    if (const std::optional<std::string> input = inputs_.Find(output.file.Path())) {
      throw Error(ExitCode::kBadInput,
                  fmt::format("{} '{}' would replace the input '{}'; name another file.",
                              output.option, output.file.Path(), *input));
    }
    for (std::size_t j = 0; j < i; ++j) CheckTwo(outputs_[j], output);
  }
}

void OutputFiles::Finish() {
  for (Output& output : outputs_) output.file.Finish();
}

void OutputFiles::Commit() {
  Check();
  for (Output& output : outputs_) output.file.Commit();
  // Not in between: it takes milliseconds, in which a kill would leave one file without the other.
  for (const Output& output : outputs_) output.file.Settle();
}

void OutputFiles::CheckTwo(const Output& one, const Output& other) {
  // Nothing is renamed over a device or a pipe.
  if (one.file.IsDirect() || other.file.IsDirect()) return;
  if (!IsSameFile(one.file.Path(), other.file.Path())) return;
  throw Error(ExitCode::kBadInput,
              fmt::format("{} '{}' and {} '{}' are the same file; name two.", one.option,
                          one.file.Path(), other.option, other.file.Path()));
}

}  // namespace qvhost
