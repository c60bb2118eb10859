#include "platform/avfoundation/mp4/fragment_committer.h"

#include <algorithm>

namespace vx::mp4 {

namespace {

constexpr std::uint64_t kTypeOffset = 4;

std::vector<std::uint8_t> typeBytes(std::string_view type) { return {type.begin(), type.end()}; }

std::vector<std::uint8_t> withType(std::span<const std::uint8_t> box, std::string_view type) {
  std::vector<std::uint8_t> copy(box.begin(), box.end());
  std::copy(type.begin(), type.end(), copy.begin() + kTypeOffset);
  return copy;
}

// The 64-bit size of an `mdat` from the placeholder to the finished movie. ISO/IEC 14496-12, 4.2
std::vector<std::uint8_t> swallowingSize(std::uint64_t movieOffset) {
  ByteStream size;
  size.put64(movieOffset - kPlaceholderOffset);
  return size.takeBytes();
}

// What makes it count: the size 1 says that the real one stands behind the type.
std::vector<std::uint8_t> swallowingHeader() {
  ByteStream header;
  header.put32(1);
  header.put32(fourCC("mdat"));
  return header.takeBytes();
}

}  // namespace

Status FragmentCommitter::writeHead(const MovieHead& head) {
  // 1. All of it.
  if (Status s = writeAt(0, head.bytes); !s.ok()) return s;
  // 2. Durable, under its name.
  if (Status s = sync(); !s.ok()) return s;
  if (Status s = _file.syncFolder(); !s.ok()) return s;
  _committedEnd = head.bytes.size();
  return {};
}

Status FragmentCommitter::publishAudio(const MovieHead& head, const ReservedAudioBoxes& boxes) {
  // 1. The contents, still under the type that readers skip.
  if (Status s = writeAt(head.reservedTrakOffset, withType(boxes.trak, "free")); !s.ok()) return s;
  if (Status s = writeAt(head.reservedTrexOffset, withType(boxes.trex, "free")); !s.ok()) return s;
  // 2. Durable.
  if (Status s = sync(); !s.ok()) return s;
  // 3. The defaults' type, which means nothing without the track; a track without defaults would be
  //    wrong, and the disk may take the two writes in either order.
  if (Status s = writeType(head.reservedTrexOffset, "trex"); !s.ok()) return s;
  // 4. Durable.
  if (Status s = sync(); !s.ok()) return s;
  // 5. The track's.
  return writeType(head.reservedTrakOffset, "trak");
}

Status FragmentCommitter::commit(const Fragment& fragment, std::uint64_t movieBytes) {
  const std::uint64_t start = _committedEnd;
  const std::uint64_t end = start + fragment.sizeBytes();
  // 1. Room for the fragment and for the finish after it.
  if (Status s = _file.reserve(end + movieBytes); !s.ok()) return s;
  // 2. All of it, its moof still under the type that readers skip.
  if (Status s = writeFragment(fragment); !s.ok()) return s;
  // 3. Durable, and with it the publication before.
  if (Status s = sync(); !s.ok()) return s;
  // 4. One write of four bytes publishes it.
  if (Status s = writeType(start, "moof"); !s.ok()) return s;
  _committedEnd = end;
  _isSettled = false;
  return {};
}

Status FragmentCommitter::settle() {
  if (_isSettled) return {};
  Status status = sync();
  _isSettled = status.ok();
  return status;
}

Status FragmentCommitter::finish(const std::function<void(ByteStream&)>& writeMovie) {
  const std::uint64_t movieOffset = _committedEnd + kBoxHeaderBytes;
  // 1. The complete movie, inside a box that readers skip.
  if (Status s = writeMovieInFreeBox(writeMovie); !s.ok()) return s;
  // 2. The file ends here; room that was set aside is given back.
  if (Status s = _file.truncate(_writtenEnd); !s.ok()) return s;
  // 3. Where that movie begins, inside the placeholder, where it means nothing yet.
  if (Status s = writeAt(kPlaceholderOffset + kBoxHeaderBytes, swallowingSize(movieOffset));
      !s.ok())
    return s;
  // 4. Durable.
  if (Status s = sync(); !s.ok()) return s;
  _isFinished = true;
  // 5. One write of 8 bytes, the first of which to change decides: the placeholder becomes an mdat
  //    that ends where the movie begins.
  if (Status s = writeAt(kPlaceholderOffset, swallowingHeader()); !s.ok()) return s;
  // 6. Durable.
  return sync();
}

Status FragmentCommitter::restorePlaceholder() {
  ByteStream placeholder;
  write_free(placeholder, kPlaceholderBytes - kBoxHeaderBytes);
  if (Status s = writeAt(kPlaceholderOffset, placeholder.bytes()); !s.ok()) return s;
  return _file.sync();
}

Status FragmentCommitter::cutBack() {
  // What was only set aside is kept: the finish may need it on a disk that is full by now.
  if (_writtenEnd <= _committedEnd) return {};
  Status status = _file.truncate(_committedEnd);
  if (status.ok()) _writtenEnd = _committedEnd;
  return status;
}

Status FragmentCommitter::releaseRoom() {
  // With the header of a finished movie written, its end may count already.
  return _isFinished ? Status() : _file.truncate(_committedEnd);
}

Status FragmentCommitter::writeFragment(const Fragment& fragment) {
  std::uint64_t offset = _committedEnd;
  bool isFirst = true;
  for (std::span<const std::uint8_t> piece : fragment.pieces()) {
    Status status = isFirst ? writeAt(offset, withType(piece, "free")) : writeAt(offset, piece);
    if (!status.ok()) return status;
    offset += piece.size();
    isFirst = false;
  }
  return {};
}

Status FragmentCommitter::writeMovieInFreeBox(const std::function<void(ByteStream&)>& writeMovie) {
  const std::uint64_t start = _committedEnd;
  ByteStream stream([&](std::uint64_t position, std::span<const std::uint8_t> bytes) {
    return writeAt(start + position, bytes);
  });
  {
    Box box(stream, "free");
    writeMovie(stream);
  }
  return stream.finish();
}

Status FragmentCommitter::writeType(std::uint64_t boxOffset, std::string_view type) {
  return writeAt(boxOffset + kTypeOffset, typeBytes(type));
}

Status FragmentCommitter::sync() {
  Status status = _file.sync();
  _isTrusted = _isTrusted && status.ok();
  return status;
}

Status FragmentCommitter::writeAt(std::uint64_t offset, std::span<const std::uint8_t> bytes) {
  // Before the write: one that fails half-way has made the file longer too.
  _writtenEnd = std::max(_writtenEnd, offset + bytes.size());
  return _file.writeAt(offset, bytes);
}

}  // namespace vx::mp4
