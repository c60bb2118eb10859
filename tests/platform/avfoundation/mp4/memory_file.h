// A file in memory that can be read back and repaired, and fails at a chosen step.
#pragma once

#include "platform/avfoundation/mp4/movie.h"
#include "platform/avfoundation/mp4/output_file.h"
#include "platform/avfoundation/mp4/reader_input.h"
#include "platform/avfoundation/mp4/recording_repair.h"
#include "support/box_reader.h"

#include <algorithm>
#include <optional>

namespace vx::mp4::test {

using vx::test::Bytes;

class MemoryInput final : public ReaderInput {
 public:
  explicit MemoryInput(const Bytes& bytes) : _bytes(bytes) {}
  std::uint64_t sizeBytes() const override { return _bytes.size(); }
  /// The read that fails, counted from 0.
  std::optional<std::size_t> failingRead;

 protected:
  Status readAt(std::uint64_t offset, std::span<std::uint8_t> bytes, std::size_t& count) override {
    if (failingRead && _reads++ == *failingRead) return NSError("test", 5, "the disk is broken");
    const std::uint64_t begin = std::min<std::uint64_t>(offset, _bytes.size());
    count = static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), _bytes.size() - begin));
    std::copy_n(_bytes.begin() + static_cast<std::ptrdiff_t>(begin), count, bytes.begin());
    return {};
  }

 private:
  const Bytes& _bytes;
  std::size_t _reads = 0;
};

/// Thrown where the process ends.
struct Killed {};

class MemoryOutput final : public OutputFile {
 public:
  explicit MemoryOutput(Bytes& bytes) : _bytes(bytes) {}

  /// Only so many bytes are written; then every write fails with `error`.
  std::optional<std::size_t> bytesLeft;
  /// Then the process is killed instead. A write as short as the one that counts is not cut.
  bool isKilled = false;
  Status error = NSError("test", 28, "no more can be written");

  Status writeAt(std::uint64_t offset, std::span<const std::uint8_t> bytes) override {
    std::size_t count = bytesLeft ? std::min(*bytesLeft, bytes.size()) : bytes.size();
    if (isKilled && count < bytes.size() && bytes.size() <= kPlaceholderBytes) count = 0;
    if (_bytes.size() < offset + count) _bytes.resize(static_cast<std::size_t>(offset) + count);
    std::copy_n(bytes.begin(), count, _bytes.begin() + static_cast<std::ptrdiff_t>(offset));
    if (bytesLeft) *bytesLeft -= count;
    if (count < bytes.size() && isKilled) throw Killed();
    return count == bytes.size() ? Status() : error;
  }
  Status sync() override { return {}; }
  Status syncFolder() override { return {}; }
  Status reserve(std::uint64_t) override { return {}; }
  Status truncate(std::uint64_t sizeBytes) override {
    _bytes.resize(static_cast<std::size_t>(sizeBytes));
    return {};
  }
  Status checkStillNamed() override { return {}; }
  void discard() override { _bytes.clear(); }
  Status close() override { return {}; }

 private:
  Bytes& _bytes;
};

inline FoundRecording readBytes(const Bytes& bytes, ReadDepth depth = ReadDepth::contents) {
  MemoryInput input(bytes);
  FoundRecording found;
  if (!readRecording(input, depth, found).ok()) throw std::runtime_error("memory is never broken");
  return found;
}

/// The file after a repair.
inline Bytes repaired(Bytes bytes) {
  const FoundRecording found = readBytes(bytes, ReadDepth::index);
  MemoryInput input(bytes);
  MemoryOutput output(bytes);
  if (found.isRepairable() && !completeRecording(found, input, output).ok())
    throw std::runtime_error("memory is never full");
  return bytes;
}

}  // namespace vx::mp4::test
