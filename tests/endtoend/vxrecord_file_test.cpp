// Files re-recorded: no frame lost, every time kept.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <numeric>

#include "endtoend/vxrecord_run.h"
#include "support/media_reader.h"
#include "support/temporary_folder.h"

namespace vx::test {
namespace {

using testing::ElementsAre;

std::vector<std::int64_t> upTo(std::int64_t count) {
  std::vector<std::int64_t> numbers(static_cast<std::size_t>(count));
  std::iota(numbers.begin(), numbers.end(), 0);
  return numbers;
}

class VxrecordFile : public testing::Test {
 protected:
  /// Records `input` into the folder and returns the recording's path.
  std::string record(const std::string& input, std::vector<std::string> options = {}) {
    options.insert(options.end(), {"--storage-path", folder.path(), "--filename", "out.mp4",
                                   "--json", "--", input});
    const ProgramResult run = runVxrecord(options);
    EXPECT_EQ(run.status, 0) << run.errors;
    json = run.output;
    return folder / "out.mp4";
  }

  TemporaryFolder folder;
  std::string json;
};

TEST_F(VxrecordFile, TestPictureIsRecordedFrameByFrame) {
  const std::string path = record("test:320x240@30", {"--duration", "3"});
  EXPECT_EQ(frameNumbers(path), upTo(90));
  EXPECT_EQ(jsonNumber(json, "frames"), 90);
  EXPECT_EQ(jsonNumber(json, "dropped"), 0);
}

TEST_F(VxrecordFile, FractionalRateIsRoundedFrameByFrame) {
  const std::string path = record("test:160x120@30000/1001", {"--duration", "0.2"});
  EXPECT_THAT(readFile(path).videoTimesMs(), ElementsAre(0, 33, 67, 100, 133, 167));
}

TEST_F(VxrecordFile, VariableFrameTimesAreKept) {
  const std::string input = folder / "variable.mkv";
  makeWithFFmpeg({"-f", "lavfi", "-i", "testsrc=size=320x240:rate=30:duration=4", "-vf",
                  "setpts=(N*N*3+N*11)/(1000*TB)", "-fps_mode", "passthrough", "-c:v", "libx264",
                  "-preset", "ultrafast", "-bf", "2", input});
  std::vector<std::int64_t> expected = readFile(input).videoTimesMs();
  std::sort(expected.begin(), expected.end());  // packets come in the order of decoding
  ASSERT_EQ(expected.size(), 120u);
  EXPECT_EQ(readFile(record(input)).videoTimesMs(), expected);
}

TEST_F(VxrecordFile, TimesOfAnMp4AreRoundedToTheMillisecond) {
  const std::string input = folder / "ntsc.mp4";
  makeWithFFmpeg({"-f", "lavfi", "-i", "testsrc=size=160x120:rate=30000/1001:duration=3", "-c:v",
                  "libx264", "-preset", "ultrafast", input});
  const std::vector<std::int64_t> times = readFile(record(input)).videoTimesMs();
  ASSERT_EQ(times.size(), 90u);
  for (std::size_t i = 0; i < times.size(); ++i) {
    EXPECT_EQ(times[i], std::llround(static_cast<double>(i) * 1001 / 30));
  }
}

TEST_F(VxrecordFile, InputThatStartsLateStartsAtZero) {
  const std::string input = folder / "late.mkv";
  makeWithFFmpeg({"-f", "lavfi", "-i", "testsrc=size=160x120:rate=25:duration=1",
                  "-output_ts_offset", "5", "-c:v", "ffv1", input});
  EXPECT_EQ(readFile(record(input)).videoTimesMs().front(), 0);
}

TEST_F(VxrecordFile, ColorsOfABt709InputStayAsTheyLook) {
  const std::string input = folder / "hd.mkv";
  makeWithFFmpeg({"-f", "lavfi", "-i", "color=c=0x20C040:size=320x240:rate=25:duration=0.2", "-vf",
                  "scale=out_color_matrix=bt709:out_range=tv,format=yuv444p", "-colorspace",
                  "bt709", "-color_range", "tv", "-c:v", "ffv1", input});
  const Picture before = decodePictures(input).front();
  ASSERT_LE(distance(before.at(160, 120), {0x20, 0xC0, 0x40}), 2);
  EXPECT_LE(distance(decodePictures(record(input)).back().at(160, 120), {0x20, 0xC0, 0x40}), 3);
}

TEST_F(VxrecordFile, FullRangeInputStaysAsItLooks) {
  const std::string input = folder / "picture.mkv";
  makeWithFFmpeg({"-f", "lavfi", "-i", "color=c=0xE02010:size=320x240:rate=25:duration=0.2", "-vf",
                  "format=yuvj420p", "-c:v", "mjpeg", "-q:v", "1", input});
  EXPECT_LE(distance(decodePictures(record(input)).back().at(160, 120), {0xE0, 0x20, 0x10}), 4);
}

class PixelFormats : public VxrecordFile, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(All, PixelFormats,
                         testing::Values("y420", "BGRA", "ARGB", "RGBA", "ABGR", "RGB", "BGR",
                                         "2vuy", "yuvs", "gray"),
                         [](const auto& test) { return "as_" + std::string(test.param); });

TEST_P(PixelFormats, GiveTheSamePictureAndNumbers) {
  const std::string path =
      record("test:322x241@25", {"--duration", "0.4", "--pixel-format", GetParam()});
  EXPECT_EQ(frameNumbers(path), upTo(10));
  // The second bar is yellow; the gray of yellow is its luma.
  const Rgb wanted = GetParam() == std::string("gray") ? Rgb{226, 226, 226} : Rgb{255, 255, 0};
  EXPECT_LE(distance(decodePictures(path).back().at(60, 120), wanted), 3);
}

TEST_F(VxrecordFile, InputThatChangesItsSizeIsFitted) {
  for (const char* size : {"320x240", "240x240"}) {
    makeWithFFmpeg({"-f", "lavfi", "-i",
                    "color=c=0x3060C0:rate=25:duration=0.4:size=" + std::string(size), "-c:v",
                    "mpeg2video", "-q:v", "1", folder / (std::string(size) + ".mpg")});
  }
  std::ofstream both(folder / "both.mpg", std::ios::binary);
  for (const char* size : {"320x240", "240x240"}) {
    std::ifstream part(folder / (std::string(size) + ".mpg"), std::ios::binary);
    both << part.rdbuf();
  }
  both.close();
  const std::vector<Picture> pictures = decodePictures(record(folder / "both.mpg"));
  ASSERT_GE(pictures.size(), 18u);
  EXPECT_LE(distance(pictures.front().at(5, 120), {0x30, 0x60, 0xC0}), 4);
  EXPECT_LE(distance(pictures.back().at(5, 120), {0, 0, 0}), 2);
  EXPECT_LE(distance(pictures.back().at(160, 120), {0x30, 0x60, 0xC0}), 4);
}

TEST_F(VxrecordFile, RotateTurnsTheTrack) {
  const std::string path = record("test:64x48@10", {"--duration", "0.5", "--rotate"});
  EXPECT_DOUBLE_EQ(readFile(path).video().rotationDegrees, 90);
}

TEST_F(VxrecordFile, RotatedInputIsRecordedUpright) {
  const std::string plain = folder / "plain.mp4";
  const std::string turned = folder / "turned.mp4";
  // Left half red, right half blue; to be seen a quarter turn clockwise: the top is red.
  makeWithFFmpeg({"-f", "lavfi", "-i", "color=red:size=64x96:rate=25:duration=0.2", "-f", "lavfi",
                  "-i", "color=blue:size=64x96:rate=25:duration=0.2", "-filter_complex", "hstack",
                  "-c:v", "libx264", "-qp", "1", plain});
  makeWithFFmpeg({"-i", plain, "-c", "copy", "-metadata:s:v", "rotate=270", turned});
  ASSERT_DOUBLE_EQ(readFile(turned).video().rotationDegrees, 90);
  const std::string path = record(turned);
  const Track track = readFile(path).video();
  EXPECT_EQ(track.width, 96);
  EXPECT_EQ(track.height, 128);
  EXPECT_DOUBLE_EQ(track.rotationDegrees, 0);
  const Picture picture = decodePictures(path).back();
  EXPECT_LE(distance(picture.at(48, 20), {255, 0, 0}), 6);
  EXPECT_LE(distance(picture.at(48, 108), {0, 0, 255}), 6);
}

TEST_F(VxrecordFile, InputWithWidePixelsGetsSquareOnes) {
  const std::string input = folder / "wide.mkv";
  makeWithFFmpeg({"-f", "lavfi", "-i", "testsrc=size=72x58:rate=25:duration=0.2", "-vf",
                  "setsar=64/45", "-c:v", "ffv1", input});
  const Track track = readFile(record(input)).video();
  EXPECT_EQ(track.width, 102);
  EXPECT_EQ(track.height, 58);
}

TEST_F(VxrecordFile, PauseLeavesAPartOutAndIsOneSecondOfBlack) {
  const std::string path =
      record("test:160x120@10", {"--duration", "5", "--pause-at", "1", "--pause-for", "3"});
  std::vector<std::int64_t> expected = upTo(9);
  expected.push_back(-1);  // black in place of the frame that was held when the pause began
  for (std::int64_t number = 40; number < 50; ++number) {
    expected.push_back(number);
  }
  EXPECT_EQ(frameNumbers(path), expected);
  const std::vector<std::int64_t> times = readFile(path).videoTimesMs();
  EXPECT_EQ(times[9], 900);
  EXPECT_EQ(times[10], 1900);
  EXPECT_EQ(jsonNumber(json, "durationMs"), readFile(path).durationMs);
}

TEST_F(VxrecordFile, NamesAreTakenLiterally) {
  const std::string plain = folder / "plain.mkv";
  makeWithFFmpeg({"-f", "lavfi", "-i", "testsrc=size=64x48:rate=25:duration=0.2", plain});
  std::filesystem::current_path(folder.path());
  for (const std::string name :
       {"a:b.mkv", "100%.mkv", "frame%03d.mkv", "two words.mkv", "-dash.mkv",
        "\xC3\xBC\xE5\xBD\x95 \xF0\x9F\x8E\xAC.mkv", "file:odd.mkv", "quo\"te'.mkv", "http:x"}) {
    std::filesystem::copy_file(plain, name);
    EXPECT_EQ(readFile(record(name)).packets.size(), 5u) << name;
  }
  EXPECT_EQ(readFile(record("./-dash.mkv")).packets.size(), 5u);
}

TEST_F(VxrecordFile, PictureWithAPercentSignIsOnePicture) {
  makeWithFFmpeg({"-f", "lavfi", "-i", "testsrc=size=64x48:rate=25:duration=0.1", "-frames:v", "1",
                  folder / "plain.png"});
  std::filesystem::rename(folder / "plain.png", folder / "a%03d.png");
  EXPECT_EQ(readFile(record(folder / "a%03d.png")).packets.size(), 1u);
}

TEST_F(VxrecordFile, NumberedPicturesAreASequence) {
  makeWithFFmpeg(
      {"-f", "lavfi", "-i", "testsrc=size=64x48:rate=25:duration=0.2", folder / "n%03d.png"});
  EXPECT_EQ(readFile(record(folder / "n%03d.png")).packets.size(), 5u);
}

}  // namespace
}  // namespace vx::test
