// Recordings made piece by piece, to be broken off, damaged and looked at.
#pragma once

#include "VXVideoRecorder/VXRecordingRepair.h"
#include "platform/avfoundation/mp4/recording_file.h"
#include "support/h264_source.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vx::test {

/// A recording in the making: pictures of 64 x 48, 40 ms apart, every fifth a key frame. Four of
/// them, or fewer, are committed at a time.
class GrowingRecording {
 public:
  explicit GrowingRecording(std::array<double, 6> transform = {1, 0, 0, 1, 0, 0}) {
    mp4::VideoTrackDescription video;
    video.width = 64;
    video.height = 48;
    video.transform = transform;
    video.parameterSets = {source().sps, source().pps};
    EXPECT_TRUE(mp4::RecordingFile::create(path, file).ok());
    EXPECT_TRUE(file->begin(video, true).ok());
  }
  /// At most ten.
  GrowingRecording& pictures(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      const std::int64_t time = static_cast<std::int64_t>(i) * 40;
      EXPECT_TRUE(file->appendVideo({source().pictures[i].bytes, time, 40, i % 5 == 0}).ok());
      if (i % 4 == 3 || i + 1 == count) {
        EXPECT_TRUE(file->commit().ok());
      }
    }
    return *this;
  }
  GrowingRecording& sounds(int count, std::uint32_t sampleRate = 48000) {
    EXPECT_TRUE(file->declareAudio({sampleRate, 2, {0x11, 0x90}, 0}).ok());
    const std::vector<std::uint8_t> silence = {0x21, 0x10, 0x04, 0x60, 0x8C, 0x1C};
    for (int i = 0; i < count; ++i) EXPECT_TRUE(file->appendAudio({silence, 0, 1024, true}).ok());
    return *this;
  }
  void finish(std::optional<std::int64_t> sessionEndMs = std::nullopt) {
    EXPECT_TRUE(file->finish(sessionEndMs).ok());
    file.reset();
  }
  /// The process that records it is gone.
  void breakOff() { file.reset(); }

  TemporaryFolder folder;
  std::string path = folder / "a.mp4";
  std::unique_ptr<mp4::RecordingFile> file;

 private:
  static const H264Source& source() {
    static const H264Source made = makeH264(64, 48, 10, 5);
    return made;
  }
};

inline VXRecordingInspection inspectRecording(const std::string& path,
                                              VXInspectionDepth depth = VXInspectionDepth::index) {
  return VXRecordingRepair::inspectRecordingAtPath(path, depth).value();
}

/// Changes bytes in the middle of a picture.
inline void damagePicture(const std::string& path, int number) {
  int at = 0;
  std::uint64_t offset = 0;
  inspectRecording(path).enumerateVideoSamples([&](const VXRecordedSample& sample) {
    offset = sample.offset + sample.sizeBytes / 2;
    return at++ < number;
  });
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(static_cast<std::streamoff>(offset)).write("damaged", 7);
}

}  // namespace vx::test
