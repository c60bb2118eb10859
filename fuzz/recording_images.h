// Recordings as crashes leave them, to be damaged further.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vx::fuzz {

using Bytes = std::vector<std::uint8_t>;

inline constexpr std::size_t kImageCount = 6;

/// The n-th of them: with and without sound, growing and finished, with an unpublished fragment at
/// the end, and broken off while it was finished.
const Bytes& recordingImage(std::size_t number);

/// Makes every checksum right again for what stands there now, so that what lies behind the
/// checksums is reached too.
void renewChecksums(Bytes& image);

}  // namespace vx::fuzz
