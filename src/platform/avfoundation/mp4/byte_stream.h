// Big-endian bytes and the scopes that patch sizes and counts into them.
#pragma once

#include "platform/foundation/status.h"

#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

namespace vx::mp4 {

/// A four-character code as a number; the text must have four characters.
constexpr std::uint32_t fourCC(std::string_view text) {
  std::uint32_t code = 0;
  for (char c : text) code = code << 8 | static_cast<std::uint8_t>(c);
  return code;
}

/// Size and type; what a box has before its contents.
inline constexpr std::uint64_t kBoxHeaderBytes = 8;

/// Bytes in the order of the file. In memory, or, for tables as long as a day's recording, handed
/// on in pieces so that they never stand in memory as a whole. After the first failure nothing more
/// is put; `finish` tells.
class ByteStream {
 public:
  using Drain = std::function<Status(std::uint64_t position, std::span<const std::uint8_t> bytes)>;

  ByteStream() = default;
  explicit ByteStream(Drain drain) : _drain(std::move(drain)) {}

  void put8(std::uint8_t value);
  void put16(std::uint16_t value);
  void put24(std::uint32_t value);
  void put32(std::uint32_t value);
  void put64(std::uint64_t value);
  void putBytes(std::span<const std::uint8_t> bytes);
  void putText(std::string_view text);
  void putZeros(std::size_t count);

  /// Bytes put so far.
  std::uint64_t position() const { return _drained + _buffer.size(); }
  /// Overwrites bytes that were put before. Raises nothing, for the destructors that need it:
  /// memory that is short shows in `finish`.
  void patch32(std::uint64_t position, std::uint32_t value) noexcept;
  /// Fails the stream because something in it cannot be described. Raises nothing either.
  void failTooLarge(const char* what) noexcept;
  void fail(Status status);

  /// Hands on what is left and reports the first failure; raises `std::bad_alloc` when memory was
  /// short before.
  Status finish();
  /// What was put and not handed on: everything, without a drain.
  const std::vector<std::uint8_t>& bytes() const { return _buffer; }
  std::vector<std::uint8_t> takeBytes() { return std::move(_buffer); }

 private:
  template <typename Step>
  void withoutRaising(Step step) noexcept;
  void drainBuffer();

  Drain _drain;
  std::vector<std::uint8_t> _buffer;
  std::uint64_t _drained = 0;
  Status _status;
  bool _memoryWasShort = false;
};

/// A box (ISO/IEC 14496-12, 4.2) that is open while this lives; its size is patched at the end. A
/// size beyond 32 bits fails the stream.
class Box {
 public:
  Box(ByteStream& stream, std::string_view type);
  ~Box();
  Box(const Box&) = delete;
  Box& operator=(const Box&) = delete;

 private:
  ByteStream& _stream;
  std::uint64_t _start;
};

/// A box with version and flags.
class FullBox : public Box {
 public:
  FullBox(ByteStream& stream, std::string_view type, std::uint8_t version, std::uint32_t flags);
};

/// The 32-bit number of entries in front of a table.
class EntryCount {
 public:
  explicit EntryCount(ByteStream& stream);
  ~EntryCount();
  EntryCount(const EntryCount&) = delete;
  EntryCount& operator=(const EntryCount&) = delete;
  void add() { ++_count; }

 private:
  ByteStream& _stream;
  std::uint64_t _position;
  std::uint64_t _count = 0;
};

/// A descriptor (ISO/IEC 14496-1, 8.3.3) whose size is patched in the four-byte form.
class Descriptor {
 public:
  Descriptor(ByteStream& stream, std::uint8_t tag);
  ~Descriptor();
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

 private:
  ByteStream& _stream;
  std::uint64_t _sizePosition;
};

}  // namespace vx::mp4
