// Boxes of a file that is read back (ISO/IEC 14496-12, 4.2): no length is trusted.
#pragma once

#include "platform/avfoundation/mp4/byte_stream.h"
#include "platform/avfoundation/mp4/reader_input.h"

#include <cstdint>
#include <optional>

namespace vx::mp4 {

/// A box that lies within what was looked at.
struct FoundBox {
  std::uint32_t type = 0;
  std::uint64_t offset = 0;  // in the file
  std::uint64_t payload = 0;
  std::uint64_t end = 0;

  std::uint64_t sizeBytes() const { return end - offset; }
};

/// The boxes that stand one behind the other in a part of a file.
class BoxReader {
 public:
  BoxReader(ReaderInput& input, std::uint64_t begin, std::uint64_t end)
      : _reader(input, begin, end, kHeaderBytesAtMost) {}
  /// The boxes inside `box`, from `skippedBytes` behind its header on.
  BoxReader(ReaderInput& input, const FoundBox& box, std::uint64_t skippedBytes = 0)
      : BoxReader(input, box.payload + skippedBytes, box.end) {}

  /// The next box; none at the end, and none where a box would reach beyond it.
  std::optional<FoundBox> next();

 private:
  static constexpr std::size_t kHeaderBytesAtMost = 16;

  ByteReader _reader;
};

/// The first box of this type among those that stand in a part of a file.
std::optional<FoundBox> findBox(BoxReader boxes, std::uint32_t type);

inline constexpr std::uint64_t kFullBoxBytes = 4;  // version and flags

}  // namespace vx::mp4
