// Completes a recording that nobody finished.
#pragma once

#include "platform/avfoundation/mp4/output_file.h"
#include "platform/avfoundation/mp4/reader_input.h"
#include "platform/avfoundation/mp4/recording_reader.h"

namespace vx::mp4 {

/// Turns a recording that was read from `input`, which is the same as `file`, into a plain movie of
/// all that is whole in it, by the steps of an ordinary finish. Between two of them, and wherever
/// one is cut off, every reader sees at least what it saw before. Errors: those of the disk; the
/// file then is as it was, without its torn end.
Status completeRecording(const FoundRecording& recording, ReaderInput& input, OutputFile& file);

}  // namespace vx::mp4
