// Frames to record, in every pixel format, built from one colour a region; and a recorder that is
// driven from its first frame to its finished file.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "VXVideoRecorder/VXVideoRecorder.h"
#include "support/media_reader.h"

namespace vx::test {

/// A picture in one pixel format, ready for a frame dictionary.
struct SourceFrame {
  vx::OSType format = vx::kCVPixelFormatType_32BGRA;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t bytesPerRow = 0;
  std::vector<std::uint8_t> bytes;
};

/// The colour of each pixel of a picture.
using Painter = std::function<Rgb(int x, int y)>;
Painter plain(const Rgb& color);
/// Four quarters: red, green / blue, white.
Painter quarters(int width, int height);

/// Y'CbCr formats by the matrix of BT.601 in video range, worked out here in floating point; gray
/// takes the red value.
SourceFrame makeSourceFrame(vx::OSType format, int width, int height, const Painter& paint);

/// One recording through the public interface.
class DrivenRecorder {
 public:
  /// Without loss: each frame waits until the recorder has room.
  static std::shared_ptr<DrivenRecorder> make(const std::string& folder,
                                              const std::string& filename);

  VXVideoRecorder& recorder() { return *_recorder; }
  void append(const SourceFrame& frame, std::uint32_t timestampMs);
  void pause() { _recorder->pause(); }
  void setTurned(bool turned) { _multiVideoType = turned ? 8u : 0u; }
  /// Stops, waits for the file, and returns whether it is done.
  bool stop();
  const std::string& path() const { return _path; }
  std::vector<std::string> log() const;

 private:
  struct Ear;
  DrivenRecorder() = default;
  void keepLine(const std::string& message);
  void noteFileDone();

  std::shared_ptr<VXVideoRecorder> _recorder;
  std::string _path;
  std::uint32_t _multiVideoType = 0;
  mutable std::mutex _mutex;
  std::condition_variable _changed;
  bool _isFileDone = false;       // guarded by _mutex
  std::vector<std::string> _log;  // guarded by _mutex
};

}  // namespace vx::test
