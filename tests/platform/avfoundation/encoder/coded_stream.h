// Pictures for an encoder, and what it made of them as a stream that FFmpeg decodes.
#pragma once

#include "platform/avfoundation/encoder/video_encoder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "support/media_reader.h"
#include "support/temporary_folder.h"

namespace vx::test {

/// A plane of noise on a slope that moves: it can be predicted, and never for free.
class MovingNoise {
 public:
  MovingNoise(int width, int height) : _width(width), _height(height) {
    _bytes.resize(static_cast<std::size_t>(width) * height * 3 / 2, 128);
    _noise.resize(static_cast<std::size_t>(width + kTravel) * height);
    std::minstd_rand random{1};
    for (std::uint8_t& value : _noise) {
      value = static_cast<std::uint8_t>(random() % 64);
    }
  }
  /// Valid until the next call.
  PlanarPicture picture(int number) {
    const int shift = number % kTravel;
    for (int y = 0; y < _height; ++y) {
      const std::uint8_t* noise = &_noise[static_cast<std::size_t>(y) * (_width + kTravel) + shift];
      std::uint8_t* row = &_bytes[static_cast<std::size_t>(y) * _width];
      for (int x = 0; x < _width; ++x) {
        row[x] = static_cast<std::uint8_t>(40 + (x + y) % 128 + noise[x]);
      }
    }
    const std::size_t luma = static_cast<std::size_t>(_width) * _height;
    return {_width,
            _height,
            {_bytes.data(), _bytes.data() + luma, _bytes.data() + luma * 5 / 4},
            {_width, _width / 2, _width / 2}};
  }

 private:
  static constexpr int kTravel = 64;
  int _width;
  int _height;
  std::vector<std::uint8_t> _bytes;
  std::vector<std::uint8_t> _noise;
};

inline VideoEncoderSettings encoderSettings(int width, int height) {
  VideoEncoderSettings settings;
  settings.width = width;
  settings.height = height;
  settings.averageBitRate = 10485760;
  settings.maxKeyFrameInterval = 30;
  settings.expectedSourceFrameRate = 30;
  return settings;
}

/// Codes pictures and keeps them as a byte stream (ITU-T H.264, Annex B) in a file.
class CodedStream {
 public:
  CodedStream(std::unique_ptr<VideoEncoder> encoder, const VideoEncoderSettings& settings)
      : _encoder(std::move(encoder)),
        _noise(settings.width, settings.height),
        _opened(_encoder->open(settings)) {
    if (_opened) {
      write(_encoder->parameterSets().sps);
      write(_encoder->parameterSets().pps);
    }
  }
  const Status& opened() const { return _opened; }
  VideoEncoder& encoder() { return *_encoder; }

  /// Codes the next picture; false and a failed expectation when that fails.
  bool code(std::int64_t durationMs = 33, bool forceKeyFrame = false) {
    AccessUnit unit;
    const Status status =
        _encoder->encode(_noise.picture(_count++), {_timeMs, durationMs, forceKeyFrame}, unit);
    EXPECT_TRUE(status.ok()) << (status.ok() ? "" : status.error().localizedDescription());
    if (!status) {
      return false;
    }
    _timeMs += durationMs;
    _bits += unit.bytes.size() * 8;
    _keyFrames.push_back(unit.isKeyFrame);
    split(unit.bytes);
    return true;
  }
  const std::vector<bool>& keyFrames() const { return _keyFrames; }
  /// The types of the units of all pictures, one behind the other.
  const std::vector<int>& unitTypes() const { return _unitTypes; }
  double bitsPerSecond() const {
    return static_cast<double>(_bits) * 1000 / static_cast<double>(_timeMs);
  }

  Decoding decode() {
    _file.flush();
    return decodeStrictly(_folder / "stream.h264", nullptr);
  }
  /// What FFmpeg makes of the parameter sets.
  Track track() {
    _file.flush();
    return readFile(_folder / "stream.h264").video();
  }

 private:
  void split(std::span<const std::uint8_t> bytes) {
    while (bytes.size() >= 4) {
      const std::size_t size = static_cast<std::size_t>(bytes[0]) << 24 |
                               static_cast<std::size_t>(bytes[1]) << 16 |
                               static_cast<std::size_t>(bytes[2]) << 8 | bytes[3];
      ASSERT_GT(size, 0u);
      ASSERT_LE(size, bytes.size() - 4);
      _unitTypes.push_back(bytes[4] & 31);
      write(bytes.subspan(4, size));
      bytes = bytes.subspan(4 + size);
    }
    EXPECT_TRUE(bytes.empty());
  }
  void write(std::span<const std::uint8_t> unit) {
    _file.write("\0\0\0\1", 4);
    _file.write(reinterpret_cast<const char*>(unit.data()),
                static_cast<std::streamsize>(unit.size()));
  }

  TemporaryFolder _folder;
  std::ofstream _file{_folder / "stream.h264", std::ios::binary};
  std::unique_ptr<VideoEncoder> _encoder;
  MovingNoise _noise;
  Status _opened;
  int _count = 0;
  std::int64_t _timeMs = 0;
  std::size_t _bits = 0;
  std::vector<bool> _keyFrames;
  std::vector<int> _unitTypes;
};

}  // namespace vx::test
