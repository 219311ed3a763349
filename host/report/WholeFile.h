#pragma once

#include <string>
#include <string_view>

namespace qvhost {

/// Checks that WriteWholeFile has a chance, so that a long run does not fail at its very end.
/// Leaves nothing behind; throws as WriteWholeFile does.
void CheckFileWritable(const std::string& path);

/// Writes a file so that it holds all of `text` or stays as it was: the text goes to a temporary
/// file in the same folder, which then takes the name. A path that is something else than a regular
/// file (a device, a pipe) is written directly.
///
/// Throws Error (kRunFailed) that names the file and the reason.
void WriteWholeFile(const std::string& path, std::string_view text);

}  // namespace qvhost
