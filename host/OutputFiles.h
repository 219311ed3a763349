#pragma once

#include <deque>
#include <string>

#include "host/WholeFile.h"

namespace qvhost {

/// The files that a run writes: all are begun before the work, so that one that cannot be written
/// stops the run early, and committed together after it. Destroyed before that, they leave every
/// file as it was; a device or a pipe is written at once.
///
/// Owns the files. One thread at a time. Throws Error as WholeFile does.
class OutputFiles {
 public:
  /// The file of this path, begun by the first call; valid as long as this object. Throws Error
  /// (kBadInput) when another path leads to the same file.
  WholeFile& Open(const std::string& path);

  /// Does everything but the renaming, which takes no time and hardly ever fails. Whoever wrote the
  /// files has closed them.
  void Finish();

  /// Renames the files into place, one straight after another, and waits until that is on the disk;
  /// after Finish. The first failure ends it, and files renamed until then stay.
  void Commit();

 private:
  std::deque<WholeFile> files_;
};

}  // namespace qvhost
