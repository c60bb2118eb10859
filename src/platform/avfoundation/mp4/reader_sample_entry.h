// Sample descriptions read back: what the tracks' samples are.
#pragma once

#include "platform/avfoundation/mp4/reader_boxes.h"
#include "platform/avfoundation/mp4/recording_file.h"

namespace vx::mp4 {

/// Sizes, parameter sets and colours of an `stsd` with one `avc1`; false for anything else.
bool readVideoSampleEntry(ReaderInput& input, const FoundBox& stsd, VideoTrackDescription& video);

/// Channels and configuration of an `stsd` with one `mp4a`; false for anything else.
bool readAudioSampleEntry(ReaderInput& input, const FoundBox& stsd, AudioTrackDescription& audio);

}  // namespace vx::mp4
