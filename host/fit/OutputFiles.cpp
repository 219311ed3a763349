#include "host/fit/OutputFiles.h"

#include <cstddef>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"

namespace qvhost {

void OutputFiles::Add(const std::string& option, const std::string& file) {
  const Output added{option, file};
  for (const Output& output : outputs_) CheckTwo(output, added);
  outputs_.push_back(added);
}

void OutputFiles::SetInputs(InputFiles inputs) {
  inputs_ = std::move(inputs);
  Check();
}

void OutputFiles::Check() const {
  for (std::size_t i = 0; i < outputs_.size(); ++i) {
    const Output& output = outputs_[i];
    if (const std::optional<std::string> input = inputs_.Find(output.file)) {
      throw Error(ExitCode::kBadInput,
                  fmt::format("{} '{}' would replace the input '{}'; name another file.",
                              output.option, output.file, *input));
    }
    for (std::size_t j = 0; j < i; ++j) CheckTwo(outputs_[j], output);
  }
}

void OutputFiles::CheckTwo(const Output& one, const Output& other) {
  if (!IsSameFile(one.file, other.file)) return;
  throw Error(ExitCode::kBadInput, fmt::format("{} '{}' and {} '{}' are the same file; name two.",
                                               one.option, one.file, other.option, other.file));
}

}  // namespace qvhost
