#include "platform/avfoundation/mp4/reader_input.h"

#include <algorithm>

namespace vx::mp4 {

std::size_t ReaderInput::read(std::uint64_t offset, std::span<std::uint8_t> bytes) {
  if (!_status.ok()) return 0;
  std::size_t count = 0;
  if (_status = readAt(offset, bytes, count); !_status.ok()) return 0;
  return std::min(count, bytes.size());
}

ByteReader::ByteReader(ReaderInput& input, std::uint64_t begin, std::uint64_t end,
                       std::size_t bufferBytes)
    : _input(input),
      _position(begin),
      _end(std::min(end, input.sizeBytes())),
      _bufferBytes(bufferBytes) {
  if (_position > _end) _position = _end;
}

std::uint8_t ByteReader::u8() {
  if (!_isOk || _position >= _end || !fill()) {
    _isOk = false;
    return 0;
  }
  return _buffer[static_cast<std::size_t>(_position++ - _bufferStart)];
}

std::uint64_t ByteReader::number(int byteCount) {
  std::uint64_t value = 0;
  for (int i = 0; i < byteCount; ++i) value = value << 8 | u8();
  return value;
}

void ByteReader::skip(std::uint64_t count) {
  if (count > left()) {
    _isOk = false;
    count = left();
  }
  _position += count;
}

void ByteReader::seek(std::uint64_t position) {
  if (position > _end) _isOk = false;
  _position = std::min(position, _end);
}

std::vector<std::uint8_t> ByteReader::bytes(std::uint64_t count, std::size_t limit) {
  if (count > limit || count > left()) {
    _isOk = false;
    return {};
  }
  std::vector<std::uint8_t> result;
  result.reserve(static_cast<std::size_t>(count));
  for (std::uint64_t i = 0; i < count; ++i) result.push_back(u8());
  return result;
}

bool ByteReader::fill() {
  if (_position >= _bufferStart && _position - _bufferStart < _buffer.size()) return true;
  _buffer.resize(static_cast<std::size_t>(std::min<std::uint64_t>(_bufferBytes, left())));
  _buffer.resize(_input.read(_position, _buffer));
  _bufferStart = _position;
  return !_buffer.empty();
}

}  // namespace vx::mp4
