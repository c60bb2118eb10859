// A real X display with a real program on it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include "endtoend/vxrecord_run.h"
#include "support/media_reader.h"
#include "support/temporary_folder.h"
#include "support/x11_stage.h"

namespace vx::test {
namespace {

/// A virtual screen on which three gears turn.
class GearsDisplay {
 public:
  GearsDisplay()
      : _gears({"glxgears", "-display", _display.name(), "-geometry", "400x300+0+0"}),
        _isDrawn(waitUntil([this] { return isSomethingDrawn(); })) {}

  const std::string& name() const { return _display.name(); }
  bool isDrawn() const { return _isDrawn; }

 private:
  // The empty screen is black, so a coloured byte in its dump is the program's.
  bool isSomethingDrawn() const {
    const ProgramResult dump = runProgram({"xwd", "-silent", "-root", "-display", _display.name()});
    constexpr std::size_t kPixelBytes = 640 * 480 * 4;
    return dump.status == 0 && dump.output.size() > kPixelBytes &&
           std::any_of(dump.output.end() - kPixelBytes, dump.output.end(),
                       [](char byte) { return static_cast<unsigned char>(byte) > 0x60; });
  }

  VirtualDisplay _display;
  Program _gears;
  bool _isDrawn;
};

std::int64_t differentBytes(const Picture& a, const Picture& b) {
  std::int64_t count = 0;
  for (std::size_t i = 0; i < a.pixels.size(); ++i) {
    count += std::abs(a.pixels[i] - b.pixels[i]) > 32 ? 1 : 0;
  }
  return count;
}

TEST(VxrecordDisplay, RecordsTheGearsAsTheyTurn) {
  const GearsDisplay display;
  ASSERT_TRUE(display.isDrawn());
  const TemporaryFolder folder;
  const ProgramResult run = runVxrecord(
      {"--storage-path", folder.path(), "--duration", "3", "--json", "x11:" + display.name()});
  ASSERT_EQ(run.status, 0) << run.errors;

  const std::vector<Picture> pictures = decodePictures(folder / "Display_1.mp4");
  ASSERT_GE(pictures.size(), 20u);
  EXPECT_EQ(pictures[0].width, 640);
  EXPECT_EQ(pictures[0].height, 480);
  EXPECT_GT(differentBytes(pictures.front(), pictures.back()), 100);
}

TEST(VxrecordDisplay, KeepsTheMomentsOfTheFrames) {
  const GearsDisplay display;
  const TemporaryFolder folder;
  const ProgramResult run = runVxrecord(
      {"--storage-path", folder.path(), "--duration", "2", "--json", "x11:" + display.name()});
  ASSERT_EQ(run.status, 0) << run.errors;
  const std::vector<std::int64_t> times = readFile(folder / "Display_1.mp4").videoTimesMs();
  EXPECT_GE(times.back(), 1800);
  EXPECT_LT(times.back(), 2000);
  EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
}

TEST(VxrecordDisplay, StillScreenIsOnePictureThatLastsToTheEnd) {
  const VirtualDisplay display;
  const TemporaryFolder folder;
  const ProgramResult run = runVxrecord(
      {"--storage-path", folder.path(), "--duration", "3", "--json", "x11:" + display.name()});
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_LE(jsonNumber(run.output, "frames"), 5);
  EXPECT_EQ(readFile(folder / "Display_1.mp4").video().durationMs, 3000);
}

TEST(VxrecordDisplay, StillScreenIsInTheFileWhenTheProgramIsKilled) {
  const VirtualDisplay display;
  const TemporaryFolder folder;
  Program program(vxrecordWith({"--storage-path", folder.path(), "x11:" + display.name()}));
  const auto hasPicture = [&] {
    try {
      return !readFile(folder / "Display_1.mp4").videoTimesMs().empty();
    } catch (const ReadError&) {
      return false;
    }
  };
  EXPECT_TRUE(waitUntil(hasPicture));
  program.signal(SIGKILL);
}

TEST(VxrecordDisplay, PauseOnAStillScreenTakesASecondOfBlack) {
  const VirtualDisplay display;
  const TemporaryFolder folder;
  const ProgramResult run =
      runVxrecord({"--storage-path", folder.path(), "--duration", "5", "--pause-at", "1",
                   "--pause-for", "3", "--json", "x11:" + display.name()});
  ASSERT_EQ(run.status, 0) << run.errors;
  // The pause begins behind the millisecond before it.
  EXPECT_EQ(readFile(folder / "Display_1.mp4").video().durationMs, 2999);
}

TEST(VxrecordDisplay, MovingScreenKeepsToTheRate) {
  const GearsDisplay display;
  const TemporaryFolder folder;
  const ProgramResult run = runVxrecord(
      {"--storage-path", folder.path(), "--duration", "2", "x11:" + display.name() + "@10"});
  ASSERT_EQ(run.status, 0) << run.errors;
  const std::vector<std::int64_t> times = readFile(folder / "Display_1.mp4").videoTimesMs();
  ASSERT_GE(times.size(), 3u);
  for (std::size_t i = 2; i < times.size() - 1; ++i) {  // the last one closes the recording
    EXPECT_GE(times[i] - times[i - 1], 99) << i;
  }
}

TEST(VxrecordDisplay, ScreenThatChangesItsSizeStaysInOneFile) {
  const VirtualDisplay display;
  X11Stage stage(display.name());
  stage.fill(0, 0, 640, 480, 0xC81E28);
  const TemporaryFolder folder;
  const std::string file = folder / "Display_1.mp4";
  Program program(vxrecordWith({"--storage-path", folder.path(), "x11:" + display.name()}));
  const auto showsLast = [&](const Rgb& color) {
    try {
      const std::vector<Picture> pictures = decodePictures(file);
      return !pictures.empty() && distance(pictures.back().meanAround(100, 100), color) <= 8;
    } catch (const ReadError&) {
      return false;  // still without a picture
    }
  };
  ASSERT_TRUE(waitUntil([&] { return showsLast({0xC8, 0x1E, 0x28}); }));
  stage.resizeScreen(320, 240);
  stage.fill(0, 0, 320, 240, 0x1E3CC8);
  ASSERT_TRUE(waitUntil([&] { return showsLast({0x1E, 0x3C, 0xC8}); }));
  program.signal(SIGINT);
  EXPECT_EQ(program.wait(), 0) << program.errors();
  const Track track = readFile(file).video();
  EXPECT_EQ(track.width, 640);
  EXPECT_EQ(track.height, 480);
}

TEST(VxrecordDisplay, PointerIsInTheRecording) {
  const VirtualDisplay display;
  X11Stage stage(display.name());
  stage.setPointer(16, 16, 8, 8, std::vector<std::uint32_t>(16 * 16, 0xFF00C81E));
  stage.movePointer(200, 100);
  const TemporaryFolder folder;
  const ProgramResult run =
      runVxrecord({"--storage-path", folder.path(), "--duration", "0.5", "x11:" + display.name()});
  ASSERT_EQ(run.status, 0) << run.errors;
  const Picture picture = decodePictures(folder / "Display_1.mp4").back();
  EXPECT_LE(distance(picture.meanAround(200, 100), {0x00, 0xC8, 0x1E}), 8);
  EXPECT_LE(distance(picture.meanAround(220, 100), {0, 0, 0}), 8);
}

TEST(VxrecordDisplay, RecordsAPartOfOddSize) {
  const GearsDisplay display;
  const TemporaryFolder folder;
  const ProgramResult run =
      runVxrecord({"--storage-path", folder.path(), "--duration", "0.5", "--pixel-format", "BGRA",
                   "x11:" + display.name() + "+11,7,333x221"});
  ASSERT_EQ(run.status, 0) << run.errors;
  const Track track = readFile(folder / "Display_1.mp4").video();
  EXPECT_EQ(track.width, 333);
  EXPECT_EQ(track.height, 221);
}

TEST(VxrecordDisplay, AreaBeyondTheScreenIsRefused) {
  const VirtualDisplay display;
  const ProgramResult run = runVxrecord({"x11:" + display.name() + "+600,0,100x100"});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.errors, testing::HasSubstr("lies outside the screen of " + display.name() +
                                             ", which is 640x480"));
}

TEST(VxrecordDisplay, EndsWithASignal) {
  const GearsDisplay display;
  const TemporaryFolder folder;
  Program program(vxrecordWith({"--storage-path", folder.path(), "x11:" + display.name()}));
  ASSERT_TRUE(waitUntil([&] { return lastProgressMs(program.errors()) > 0; }));
  program.signal(SIGINT);
  EXPECT_EQ(program.wait(), 0) << program.errors();
  EXPECT_EQ(decodeStrictly(folder / "Display_1.mp4", nullptr).errors, 0);
}

TEST(VxrecordDisplay, DisplayThatGoesAwayLeavesAWholeFile) {
  auto display = std::make_unique<VirtualDisplay>();
  const TemporaryFolder folder;
  Program program(
      vxrecordWith({"--storage-path", folder.path(), "--json", "x11:" + display->name()}));
  ASSERT_TRUE(waitUntil([&] { return lastProgressMs(program.errors()) > 0; }));
  display.reset();
  EXPECT_EQ(program.wait(), 1);
  EXPECT_EQ(jsonValue(program.output(), "outcome"), "done");
  EXPECT_THAT(jsonValue(program.output(), "error"), testing::HasSubstr("broke off"));
  EXPECT_EQ(decodeStrictly(folder / "Display_1.mp4", nullptr).errors, 0);
}

}  // namespace
}  // namespace vx::test
