// The bytes of a file that is read back: nothing in it is trusted.
#pragma once

#include "platform/foundation/status.h"

#include <cstdint>
#include <span>
#include <vector>

namespace vx::mp4 {

/// A file that is only read. The first error of the disk is kept apart from what the bytes say: a
/// disk that cannot be read tells nothing about what stands on it, so whoever draws a conclusion
/// asks `status` first.
/// Thread: one at a time. Every call may block on the disk.
class ReaderInput {
 public:
  virtual ~ReaderInput() = default;
  virtual std::uint64_t sizeBytes() const = 0;
  /// Reads from `offset` on; returns how many bytes, less than asked for only at the file's end and
  /// after an error.
  std::size_t read(std::uint64_t offset, std::span<std::uint8_t> bytes);
  /// The first error.
  const Status& status() const { return _status; }

 protected:
  virtual Status readAt(std::uint64_t offset, std::span<std::uint8_t> bytes,
                        std::size_t& count) = 0;

 private:
  Status _status;
};

/// Numbers in big-endian order from a part of a file, through a buffer of fixed size. Beyond the
/// part's end it reads zeros and is no longer `ok`.
class ByteReader {
 public:
  static constexpr std::size_t kBufferBytes = std::size_t{16} << 10;

  ByteReader(ReaderInput& input, std::uint64_t begin, std::uint64_t end,
             std::size_t bufferBytes = kBufferBytes);

  std::uint8_t u8();
  std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
  std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }
  std::uint64_t u64() { return number(8); }
  void skip(std::uint64_t count);
  void seek(std::uint64_t position);
  /// At most `limit` bytes; more make the reader fail.
  std::vector<std::uint8_t> bytes(std::uint64_t count, std::size_t limit);

  std::uint64_t position() const { return _position; }
  std::uint64_t left() const { return _end - _position; }
  bool ok() const { return _isOk; }

 private:
  std::uint64_t number(int byteCount);
  bool fill();

  ReaderInput& _input;
  std::uint64_t _position;
  std::uint64_t _end;
  std::size_t _bufferBytes;
  std::vector<std::uint8_t> _buffer;
  std::uint64_t _bufferStart = 0;
  bool _isOk = true;
};

}  // namespace vx::mp4
