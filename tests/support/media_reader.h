// Files as FFmpeg's libraries read them: a reader that knows nothing of our writer.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace vx::test {

/// The file cannot be opened or read; the text says why.
class ReadError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class TrackKind : std::uint8_t { video, audio, other };

/// One track as its headers describe it.
struct Track {
  TrackKind kind = TrackKind::other;
  std::string codec;
  int width = 0;
  int height = 0;
  int sampleRate = 0;
  int channels = 0;
  std::int64_t ticksPerSecond = 0;
  std::int64_t durationMs = 0;
  std::int64_t startMs = 0;
  int colorMatrix = 0;     ///< AVColorSpace
  int colorRange = 0;      ///< AVColorRange
  int colorPrimaries = 0;  ///< AVColorPrimaries
  int colorTransfer = 0;   ///< AVColorTransferCharacteristic
  /// The nine fields of the track's matrix; none when it does not turn the picture.
  std::optional<std::array<std::int32_t, 9>> displayMatrix;
  double rotationDegrees = 0;  ///< clockwise
};

/// One coded sample.
struct Packet {
  std::size_t track = 0;
  std::int64_t ptsMs = 0;
  std::int64_t dtsMs = 0;
  std::int64_t durationMs = 0;
  bool isKey = false;
  std::size_t sizeBytes = 0;
};

struct MediaFile {
  std::int64_t durationMs = 0;
  std::vector<Track> tracks;
  std::vector<Packet> packets;

  /// The first video track. Errors: throws ReadError without one.
  const Track& video() const;
  std::vector<Packet> packetsOf(TrackKind kind) const;
  /// Presentation times of the video track's samples.
  std::vector<std::int64_t> videoTimesMs() const;
};

/// Reads the headers and every packet without decoding.
/// Errors: throws ReadError.
MediaFile readFile(const std::string& path);

struct Rgb {
  int red = 0;
  int green = 0;
  int blue = 0;
  friend bool operator==(const Rgb&, const Rgb&) = default;
};
/// The largest difference of the three values.
int distance(const Rgb& a, const Rgb& b);

/// A decoded picture, in memory blue, green, red, 255, converted by the file's own colour tags.
struct Picture {
  std::int64_t timeMs = 0;
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> pixels;

  std::size_t bytesPerRow() const { return static_cast<std::size_t>(width) * 4; }
  Rgb at(int x, int y) const;
  /// The mean over the square of 2 * `radius` + 1 pixels around a point.
  Rgb meanAround(int x, int y, int radius = 2) const;
};

/// What decoding with every check switched on has found.
struct Decoding {
  std::int64_t frames = 0;
  std::int64_t errors = 0;
  std::vector<std::string> messages;
  double namedFrameRate = 0;  ///< what the parameter sets call the usual one; 0: none
};

/// Decodes the first video track; any damage is an error. `take` sees each picture in order and may
/// be empty, which spares the conversion.
/// Errors: throws ReadError when the file cannot be opened.
Decoding decodeStrictly(const std::string& path, const std::function<void(const Picture&)>& take);
/// The same, with all pictures kept.
/// Errors: throws ReadError, also for damage.
std::vector<Picture> decodePictures(const std::string& path);

}  // namespace vx::test
