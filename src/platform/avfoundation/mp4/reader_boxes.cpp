#include "platform/avfoundation/mp4/reader_boxes.h"

namespace vx::mp4 {

namespace {

constexpr std::uint64_t kLongHeaderBytes = 16;
constexpr std::uint32_t kLongSize = 1;

}  // namespace

std::optional<FoundBox> BoxReader::next() {
  const std::uint64_t offset = _reader.position();
  const std::uint64_t room = _reader.left();
  if (room < kBoxHeaderBytes) return std::nullopt;
  std::uint64_t size = _reader.u32();
  const std::uint32_t type = _reader.u32();
  std::uint64_t headerBytes = kBoxHeaderBytes;
  if (size == kLongSize) {
    headerBytes = kLongHeaderBytes;
    size = _reader.u64();
  }
  if (!_reader.ok() || size < headerBytes || size > room) return std::nullopt;
  _reader.seek(offset + size);
  return FoundBox{type, offset, offset + headerBytes, offset + size};
}

std::optional<FoundBox> findBox(BoxReader boxes, std::uint32_t type) {
  while (const auto box = boxes.next())
    if (box->type == type) return box;
  return std::nullopt;
}

}  // namespace vx::mp4
