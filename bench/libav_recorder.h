// The same recording through libavcodec's libx264 and libavformat's MP4 muxer, called in process
// with the encoder settings that the recorder uses: what one would write instead of using the
// recorder.
#pragma once

#include "bench/moving_picture.h"

#include <string>

namespace bench {

/// Records `frames` frames, 33 ms each, into a fragmented MP4 (a fragment every 0.5 s, as the
/// recorder commits). Returns false when libav lacks something.
bool recordWithLibav(const MovingPicture& picture, std::size_t frames, const std::string& path);

}  // namespace bench
