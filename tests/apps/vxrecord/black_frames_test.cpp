#include "black_frames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "VXVideoRecorder/VXVideoRecorder.h"
#include "input.h"
#include "recording_delegate.h"
#include "support/program.h"
#include "support/temporary_folder.h"

namespace vxrecord {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Gray pictures of these levels, 0.1 s each.
class Grays {
 public:
  explicit Grays(const std::vector<int>& levels) {
    const auto delegate = std::make_shared<RecordingDelegate>(false);
    const auto recorder = VXVideoRecorder::initWithDelegate(delegate);
    recorder->setStoragePath(_folder.path());
    recorder->setFilename("a.mp4");
    std::uint32_t ms = 0;
    for (const int level : levels) {
      const std::vector<std::uint8_t> pixels(64 * 48 * 4, static_cast<std::uint8_t>(level));
      if (const auto& input = recorder->videoWriterInput()) {
        input->waitUntilReadyForMoreMediaData(vx::test::kBound);
      }
      recorder->appendVideoSample(
          {{"timestamp", ms},
           {"frameBuffer", vx::NSData::dataWithBytesNoCopy(pixels.data(), pixels.size())},
           {"pixelFormatType", vx::kCVPixelFormatType_32BGRA},
           {"width", 64u},
           {"height", 48u},
           {"bytesPerRow", 256u}});
      ms += 100;
    }
    recorder->videoWriterInput()->waitUntilReadyForMoreMediaData(vx::test::kBound);
    recorder->stop();
    EXPECT_TRUE(delegate->waitForOutcome());
  }
  const std::string& path() const { return _path; }
  VXRecordingInspection found() const {
    return VXRecordingRepair::inspectRecordingAtPath(_path, VXInspectionDepth::index).value();
  }
  std::vector<TimeSpan> black() const { return findBlack(_path, found()); }

 private:
  TemporaryFolder _folder;
  std::string _path = _folder / "a.mp4";
};

TEST(BlackFrames, StretchesAreToldApart) {
  EXPECT_THAT(Grays({200, 0, 0, 200, 0, 200}).black(),
              ElementsAre(TimeSpan{100, 300}, TimeSpan{400, 500}));
}

TEST(BlackFrames, DarkIsNotBlack) { EXPECT_THAT(Grays({200, 12, 200}).black(), IsEmpty()); }

TEST(BlackFrames, AllMayBeBlack) {
  EXPECT_THAT(Grays({0, 0, 0}).black(), ElementsAre(TimeSpan{0, 202}));
}

TEST(BlackFrames, FileThatCannotBeReadAnyMoreIsTold) {
  const Grays grays({0, 0});
  const VXRecordingInspection found = grays.found();
  std::filesystem::remove(grays.path());
  EXPECT_THROW(findBlack(grays.path(), found), InputError);
}

}  // namespace
}  // namespace vxrecord
