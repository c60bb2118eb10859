// The recorder and what one would use instead of it, behind one interface: each records the same
// frames into an MP4 file that can be read while it grows, with equal encoder settings.
#pragma once

#include "bench/harness/frame_source.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace bench {

inline constexpr int kBitRate = 10485760;     // bits per second
inline constexpr int kKeyFrameInterval = 30;  // frames
inline constexpr int kLowestQuantizer = 10;
inline constexpr int kNominalFrameRate = 30;       // where nothing else is said
inline constexpr int kFragmentMilliseconds = 500;  // as often as the recorder commits
inline constexpr int kQueuedFrames = 12;  // in front of the encoder, where there is a queue

/// When the next frame comes.
enum class Pace {
  asFastAsTaken,    // as soon as the one before was taken
  whenThereIsRoom,  // likewise, and waiting for room is told apart from handing over
  byTheClock,
};

/// How much care the alternatives' x264 takes; the recorder chooses for itself.
struct EncoderSpeed {
  std::string preset;
  std::string options;  // x264's own, "name=value:..."; on top of the preset
};
/// What the recorder codes this size with unless it has to hurry.
EncoderSpeed speedFor(const FrameSource& source);

struct RecordingSettings {
  std::string path;
  EncoderSpeed speed;
  /// What encoders are told, so that they hold the bit rate.
  int framesPerSecond = kNominalFrameRate;
  int bitRate = kBitRate;  // of the alternatives
};

/// Everything throws std::runtime_error with a text.
class Contender {
 public:
  virtual ~Contender() = default;
  virtual const char* name() const = 0;
  /// What any program that uses it has done long before it records.
  virtual void prepare() {}
  virtual void open(const FrameSource& source, const RecordingSettings& settings) = 0;
  /// Waits for room in front of the encoder, unless there is no queue or `append` waits by itself.
  virtual void waitForRoom(Pace) {}
  /// Hands frame `i` over, shown at `timeMs`; what it takes is the host's time. False when the
  /// frame was refused.
  virtual bool append(std::size_t i, std::uint32_t timeMs) = 0;
  virtual void stop() = 0;
  /// Returns when the file is complete.
  virtual void waitUntilDone() {}
  /// The most memory that programs other than this process took for it.
  virtual std::uint64_t peakBytesElsewhere() const { return 0; }
  /// How many of the frames handed over it has not coded yet.
  virtual std::size_t framesHeld() const { return 1; }
};

std::unique_ptr<Contender> makeRecorder();
std::unique_ptr<Contender> makeLibav();       // libavcodec and libavformat, called in process
std::unique_ptr<Contender> makeGStreamer();   // appsrc ! x264enc ! mp4mux ! filesink in process
std::unique_ptr<Contender> makeFfmpegPipe();  // the ffmpeg program, raw frames through a pipe

using ContenderFactory = std::unique_ptr<Contender> (*)();
const std::vector<ContenderFactory>& alternatives();

/// As many slices, each on a thread of its own, as the recorder codes with.
int encoderThreads(const FrameSource& source);

}  // namespace bench
