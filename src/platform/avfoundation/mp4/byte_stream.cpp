#include "platform/avfoundation/mp4/byte_stream.h"

#include "VXVideoRecorder/platform/AVFoundation.h"
#include "platform/avfoundation/bitstream/big_endian.h"

#include <array>
#include <limits>
#include <new>
#include <string>

namespace vx::mp4 {

namespace {

constexpr std::size_t kDrainAtBytes = std::size_t{1} << 20;

Status tooLarge(const std::string& what) {
  return NSError(AVFoundationErrorDomain, AVErrorUnknown,
                 "The recording has grown beyond what an MP4 file can describe (" + what +
                     "). Record in several files.");
}

}  // namespace

void ByteStream::putBytes(std::span<const std::uint8_t> bytes) {
  if (!_status.ok()) return;
  _buffer.insert(_buffer.end(), bytes.begin(), bytes.end());
  if (_drain && _buffer.size() >= kDrainAtBytes) drainBuffer();
}

void ByteStream::put8(std::uint8_t value) { putBytes({&value, 1}); }

void ByteStream::put16(std::uint16_t value) {
  put8(static_cast<std::uint8_t>(value >> 8));
  put8(static_cast<std::uint8_t>(value));
}

void ByteStream::put24(std::uint32_t value) {
  put8(static_cast<std::uint8_t>(value >> 16));
  put16(static_cast<std::uint16_t>(value));
}

void ByteStream::put32(std::uint32_t value) { putBytes(bigEndian(value)); }

void ByteStream::put64(std::uint64_t value) {
  put32(static_cast<std::uint32_t>(value >> 32));
  put32(static_cast<std::uint32_t>(value));
}

void ByteStream::putText(std::string_view text) {
  for (char c : text) put8(static_cast<std::uint8_t>(c));
}

void ByteStream::putZeros(std::size_t count) {
  while (count-- > 0) put8(0);
}

template <typename Step>
void ByteStream::withoutRaising(Step step) noexcept {
  try {
    step();
  } catch (const std::bad_alloc&) {
    _memoryWasShort = true;
  }
}

void ByteStream::patch32(std::uint64_t position, std::uint32_t value) noexcept {
  withoutRaising([&] {
    if (!_status.ok()) return;
    // A place on the border of two pieces is handed on whole, so that one write can patch it.
    if (position < _drained && position + 4 > _drained) drainBuffer();
    const std::array<std::uint8_t, 4> patch = bigEndian(value);
    if (position < _drained)
      fail(_drain(position, patch));
    else
      std::copy(patch.begin(), patch.end(),
                _buffer.begin() + static_cast<std::ptrdiff_t>(position - _drained));
  });
}

void ByteStream::failTooLarge(const char* what) noexcept {
  withoutRaising([&] { fail(tooLarge(what)); });
}

void ByteStream::fail(Status status) {
  if (_status.ok()) _status = std::move(status);
}

Status ByteStream::finish() {
  if (_memoryWasShort) throw std::bad_alloc();
  if (_drain) drainBuffer();
  return _status;
}

void ByteStream::drainBuffer() {
  if (!_status.ok() || _buffer.empty()) return;
  fail(_drain(_drained, _buffer));
  _drained += _buffer.size();
  _buffer.clear();
}

Box::Box(ByteStream& stream, std::string_view type) : _stream(stream), _start(stream.position()) {
  stream.put32(0);
  stream.put32(fourCC(type));
}

Box::~Box() {
  const std::uint64_t size = _stream.position() - _start;
  if (size > std::numeric_limits<std::uint32_t>::max())
    _stream.failTooLarge("a box over 4 GiB");
  else
    _stream.patch32(_start, static_cast<std::uint32_t>(size));
}

FullBox::FullBox(ByteStream& stream, std::string_view type, std::uint8_t version,
                 std::uint32_t flags)
    : Box(stream, type) {
  stream.put8(version);
  stream.put24(flags);
}

EntryCount::EntryCount(ByteStream& stream) : _stream(stream), _position(stream.position()) {
  stream.put32(0);
}

EntryCount::~EntryCount() {
  if (_count > std::numeric_limits<std::uint32_t>::max())
    _stream.failTooLarge("more than 4294967295 samples");
  else
    _stream.patch32(_position, static_cast<std::uint32_t>(_count));
}

Descriptor::Descriptor(ByteStream& stream, std::uint8_t tag)
    : _stream(stream), _sizePosition(stream.position() + 1) {
  stream.put8(tag);
  stream.put32(0);
}

Descriptor::~Descriptor() {
  const std::uint64_t size = _stream.position() - _sizePosition - 4;
  if (size >= 1U << 28) {
    _stream.failTooLarge("a descriptor over 256 MiB");
    return;
  }
  // Seven bits a byte; the top bit says that another byte follows.
  const auto low = static_cast<std::uint32_t>(size);
  _stream.patch32(_sizePosition, 0x80808000U | (low & 0x7F) | (low << 1 & 0x7F00) |
                                     (low << 2 & 0x7F0000) | (low << 3 & 0x7F000000));
}

}  // namespace vx::mp4
