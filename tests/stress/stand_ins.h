// Stand-ins for what a writer is made of: an encoder that plays pictures coded beforehand, and a
// file in memory.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/avfoundation/mp4/output_file.h"
#include "platform/avfoundation/writer_core.h"
#include "support/h264_source.h"

namespace vx::test {

/// What an encoder is to do and has done. Thread: any.
struct EncoderScript {
  H264Source source;
  /// Bytes that no decoder looks at behind each picture, so that few pictures make a large file.
  std::size_t paddingBytes = 0;
  bool opens = true;
  std::atomic<std::int64_t> failsAt = -1;  // number of the picture
  std::atomic<std::int64_t> coded = 0;

  /// Real pictures of 64 x 48, a key frame every ten.
  static std::shared_ptr<EncoderScript> make();
  /// The picture of the source that follows picture `last`, or a key frame.
  std::size_t pictureAfter(std::size_t last, bool isKeyFrame) const;

  /// Holds the encoder up from picture `number` on, until it is let go.
  void hangAt(std::int64_t number);
  void letGo() { hangAt(-1); }
  void waitWhileHanging(std::int64_t number);

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  std::int64_t _hangsAt = -1;  // guarded by _mutex
};

VideoEncoderFactory playedEncoder(std::shared_ptr<EncoderScript> script);

/// What is left of a file in memory. Thread: any, but `bytes` only once the file is closed.
struct MemoryDisk {
  std::vector<std::uint8_t> bytes;
  std::atomic<int> failsWith = 0;  // an errno for every call that needs the disk; 0: none
  std::atomic<std::uint64_t> capacity = UINT64_MAX;  // bytes, beyond which there is no room

  void noteClosed();
  /// Blocks until the file is let go of; false after a bound.
  bool waitUntilClosed();

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  bool _isClosed = false;  // guarded by _mutex
};

std::unique_ptr<mp4::OutputFile> makeMemoryFile(std::shared_ptr<MemoryDisk> disk);

/// Parts of a writer that play `script` into `disk`.
WriterParts standInParts(std::shared_ptr<EncoderScript> script, std::shared_ptr<MemoryDisk> disk);

}  // namespace vx::test
