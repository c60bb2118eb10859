// A recording's file on disk, opened to be read back or repaired.
#pragma once

#include "platform/avfoundation/mp4/output_file.h"
#include "platform/avfoundation/mp4/reader_input.h"

#include <memory>
#include <string>

namespace vx::mp4 {

struct OpenedFile {
  std::unique_ptr<ReaderInput> input;
  std::unique_ptr<OutputFile> output;  // of a file that was opened to be repaired
  /// A recorder or a repair holds the file: it may change while it is read, and must not be
  /// changed.
  bool isHeld = false;
};

/// Opens a regular file, and holds it against repairs while `file` lives, if nobody else does.
/// Errors: `NSCocoaErrorDomain` for a missing file, no permission, and what is not a file;
/// `NSPOSIXErrorDomain` for the rest.
Status openToRead(const std::string& path, OpenedFile& file);

/// The same for writing. A link at the last component is not followed, and when the file is held by
/// others there is no output.
Status openToRepair(const std::string& path, OpenedFile& file);

}  // namespace vx::mp4
