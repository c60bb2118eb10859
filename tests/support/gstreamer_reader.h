// Files as GStreamer reads them, with a decoder that shares no code with FFmpeg's.
#pragma once

#include <string>
#include <vector>

#include "support/media_reader.h"

namespace vx::test {

/// All pictures of the video track (their times are not told), decoded by OpenH264 and converted by
/// the file's colour tags. `width` and `height` are the picture's.
/// Errors: throws ReadError.
std::vector<Picture> decodeWithGStreamer(const std::string& path, int width, int height);

}  // namespace vx::test
