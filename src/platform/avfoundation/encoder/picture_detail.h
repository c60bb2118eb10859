#pragma once

#include "platform/avfoundation/encoder/video_encoder.h"

namespace vx {

/// How much a picture has to be described: the mean, over blocks of 16 x 16 pixels of luma at half
/// their resolution, of what remains when each pixel is taken for its neighbour's on the left or
/// above, whichever is the less. 0 for one colour; some 200 to 400 for a desktop, 1000 where it is
/// full of small text. Looks at one block in nine.
double detailOf(const PlanarPicture& picture);

}  // namespace vx
