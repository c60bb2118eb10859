// The viewer on a real display, with keys that are really pressed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>

#include "support/media_reader.h"
#include "support/program.h"
#include "support/temporary_folder.h"
#include "support/x11_stage.h"
#include "test_picture.h"

namespace vx::test {
namespace {

constexpr int kScreenWidth = 800;
constexpr int kScreenHeight = 600;

/// The viewer in the middle of a screen of its own.
class ViewerTest : public testing::Test {
 protected:
  void start(const std::string& input) {
    viewer.emplace(std::vector<std::string>{VIEWER_PROGRAM, input, folder.path()},
                   std::vector<std::string>{"DISPLAY=" + display.name(), "SDL_VIDEODRIVER=x11",
                                            "SDL_RENDER_DRIVER=software",
                                            // Without the threads of a software OpenGL.
                                            "SDL_FRAMEBUFFER_ACCELERATION=0",
                                            // What SDL's own libraries keep is not ours to find.
                                            "ASAN_OPTIONS=detect_leaks=0"});
    ASSERT_TRUE(waitForTitle(" - viewer")) << viewer->errors();
  }
  ProgramResult xdotool(std::vector<std::string> words) const {
    words.insert(words.begin(), "xdotool");
    return runProgram(words, {"DISPLAY=" + display.name()});
  }
  // Without a window manager keys go to the window below the pointer.
  void press(const std::string& key) const {
    xdotool({"mousemove", std::to_string(kScreenWidth / 2), std::to_string(kScreenHeight / 2),
             "key", key});
  }
  std::uint32_t window() const {
    return static_cast<std::uint32_t>(
        std::stoul(xdotool({"search", "--name", " - viewer"}).output));
  }
  bool waitForTitle(const std::string& part) {
    return waitUntil([&] {
             return !viewer->isRunning() || xdotool({"search", "--name", part}).status == 0;
           }) &&
           viewer->isRunning();
  }
  bool waitForLine(const std::string& part) {
    return waitUntil([&] {
             return !viewer->isRunning() || viewer->output().find(part) != std::string::npos;
           }) &&
           viewer->output().find(part) != std::string::npos;
  }
  /// What stands behind `word` in the first line that begins with it.
  std::string told(const std::string& word) const {
    const std::string output = viewer->output();
    const std::size_t begin = output.find(word + " ") + word.size() + 1;
    return output.substr(begin, output.find_first_of(" \n", begin) - begin);
  }
  /// Pixels of about this colour on the whole screen.
  std::int64_t pixelsLike(const Rgb& color) const {
    const std::string size = std::to_string(kScreenWidth) + "x" + std::to_string(kScreenHeight);
    const ProgramResult shot = runProgram(
        {"ffmpeg", "-v", "error", "-nostdin", "-f", "x11grab", "-draw_mouse", "0", "-video_size",
         size, "-i", display.name(), "-frames:v", "1", "-f", "rawvideo", "-pix_fmt", "rgb24", "-"});
    std::int64_t count = 0;
    for (std::size_t i = 0; i + 2 < shot.output.size(); i += 3) {
      const auto at = [&](std::size_t byte) {
        return static_cast<std::uint8_t>(shot.output[byte]);
      };
      count += distance({at(i), at(i + 1), at(i + 2)}, color) <= 6 ? 1 : 0;
    }
    return count;
  }
  bool waitForPixels(const Rgb& color, bool present) const {
    return waitUntil([&] { return (pixelsLike(color) > 20) == present; });
  }

  const VirtualDisplay display{std::to_string(kScreenWidth) + "x" + std::to_string(kScreenHeight)};
  const TemporaryFolder folder;
  std::optional<Program> viewer;
};

constexpr Rgb kDot = {255, 59, 48};
constexpr Rgb kBars = {255, 190, 60};
constexpr Rgb kTick = {64, 205, 110};
constexpr const char* kStream = "test:320x240@20";

/// The built-in picture's numbers in a recording; none for a picture without.
std::vector<std::optional<std::uint32_t>> numbersIn(const std::string& path) {
  std::vector<std::optional<std::uint32_t>> numbers;
  for (const Picture& picture : decodePictures(path)) {
    const auto number = vxrecord::readFrameNumber(picture.pixels.data(), picture.bytesPerRow(),
                                                  picture.width, picture.height);
    numbers.push_back(number ? std::optional<std::uint32_t>(*number) : std::nullopt);
  }
  return numbers;
}

TEST_F(ViewerTest, KeyStartsAndStopsARecording) {
  start(kStream);
  press("r");
  ASSERT_TRUE(waitForTitle("recording 00:01")) << viewer->output();
  press("r");
  ASSERT_TRUE(waitForLine("saved "));
  const std::string path = told("saved");
  EXPECT_EQ(path, told("recording to"));
  EXPECT_TRUE(waitForTitle("saved " + path));
  const auto numbers = numbersIn(path);
  ASSERT_GE(numbers.size(), 3u);
  EXPECT_TRUE(numbers.front() && numbers.back());
  EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
  press("q");
  EXPECT_EQ(viewer->wait(), 0) << viewer->errors();
}

TEST_F(ViewerTest, KeyPausesWithBlackInBetween) {
  start(kStream);
  press("r");
  ASSERT_TRUE(waitForTitle("recording 00:01"));
  press("p");
  ASSERT_TRUE(waitForTitle("paused 00:0"));
  press("p");
  ASSERT_TRUE(waitForTitle("recording 00:0"));
  press("r");
  ASSERT_TRUE(waitForLine("saved "));
  const auto numbers = numbersIn(told("saved"));
  EXPECT_EQ(std::count(numbers.begin(), numbers.end(), std::nullopt), 1);
  EXPECT_THAT(viewer->output(), testing::HasSubstr("paused\ngoes on\n"));
}

TEST_F(ViewerTest, SymbolsShowTheState) {
  start(kStream);
  EXPECT_TRUE(waitForPixels(kDot, false));
  press("r");
  EXPECT_TRUE(waitForPixels(kDot, true));
  press("p");
  EXPECT_TRUE(waitForPixels(kBars, true));
  EXPECT_TRUE(waitForPixels(kDot, false));
  press("r");
  EXPECT_TRUE(waitForPixels(kTick, true));
  EXPECT_TRUE(waitForPixels(kBars, false));
}

/// A film of pictures of 160x120, five a second.
std::string filmOf(const std::string& seconds, const TemporaryFolder& folder) {
  const std::string path = folder / "film.mkv";
  runProgram({"ffmpeg", "-v", "error", "-nostdin", "-f", "lavfi", "-i",
              "testsrc=size=160x120:rate=5:duration=" + seconds, path});
  return path;
}

TEST_F(ViewerTest, RecordsAFileAsItPlays) {
  start(filmOf("60", folder));
  press("r");
  ASSERT_TRUE(waitForTitle("recording 00:01"));
  press("r");
  ASSERT_TRUE(waitForLine("saved "));
  const std::vector<Picture> pictures = decodePictures(told("saved"));
  EXPECT_GE(pictures.size(), 3u);
  EXPECT_EQ(pictures.back().width, 160);
}

TEST_F(ViewerTest, LastPictureOfAFileCanStillBeRecorded) {
  start(filmOf("0.4", folder));
  ASSERT_TRUE(waitForLine("the stream is over"));
  press("r");
  ASSERT_TRUE(waitForTitle("recording 00:01"));
  press("r");
  ASSERT_TRUE(waitForLine("saved "));
  EXPECT_GE(readFile(told("saved")).video().durationMs, 1000);
}

TEST_F(ViewerTest, RecordsAnotherDisplay) {
  const VirtualDisplay stage("320x200");
  const Program gears({"glxgears", "-display", stage.name(), "-geometry", "320x200+0+0"});
  start("x11:" + stage.name());
  press("r");
  ASSERT_TRUE(waitForTitle("recording 00:02"));
  press("r");
  ASSERT_TRUE(waitForLine("saved "));
  const std::vector<Picture> pictures = decodePictures(told("saved"));
  EXPECT_GE(pictures.size(), 3u);
  EXPECT_EQ(pictures.back().width, 320);
  EXPECT_EQ(pictures.back().height, 200);
}

TEST_F(ViewerTest, StillDisplayIsRecordedForTheWholeTime) {
  const VirtualDisplay stage("320x200");
  start("x11:" + stage.name());
  press("r");
  ASSERT_TRUE(waitForTitle("recording 00:02"));
  press("r");
  ASSERT_TRUE(waitForLine("saved "));
  EXPECT_GE(readFile(told("saved")).video().durationMs, 2000);
}

TEST_F(ViewerTest, QuittingCompletesTheRecording) {
  start(kStream);
  press("r");
  ASSERT_TRUE(waitForTitle("recording 00:01"));
  press("q");
  EXPECT_EQ(viewer->wait(), 0) << viewer->errors();
  EXPECT_EQ(decodeStrictly(told("saved"), nullptr).errors, 0);
}

TEST_F(ViewerTest, SignalCompletesTheRecording) {
  start(kStream);
  press("r");
  ASSERT_TRUE(waitForTitle("recording 00:01"));
  viewer->signal(SIGTERM);
  EXPECT_EQ(viewer->wait(), 0) << viewer->errors();
  EXPECT_EQ(decodeStrictly(told("saved"), nullptr).errors, 0);
}

TEST_F(ViewerTest, StreamThatGoesAwayLeavesItsLastPictureAndTheRecording) {
  auto stage = std::make_unique<VirtualDisplay>("320x200");
  start("x11:" + stage->name());
  press("r");
  ASSERT_TRUE(waitForTitle("recording 00:01"));
  stage.reset();
  ASSERT_TRUE(waitForLine("broke off"));
  press("r");
  ASSERT_TRUE(waitForLine("saved "));
  EXPECT_GE(readFile(told("saved")).video().durationMs, 1000);
}

// SDL answers whoever drags something over the window.
TEST_F(ViewerTest, WindowOfAnotherProgramMayVanish) {
  constexpr std::uint32_t kGone = 0x7FFFFF;
  start(kStream);
  X11Stage(display.name()).sendMessage(window(), "XdndPosition", kGone);
  press("r");
  ASSERT_TRUE(waitForTitle("recording 00:00")) << viewer->errors();
  press("q");
  EXPECT_EQ(viewer->wait(), 0) << viewer->errors();
}

TEST(Viewer, InputThatCannotBeOpenedIsTold) {
  const VirtualDisplay display;
  const ProgramResult run = runProgram({VIEWER_PROGRAM, "x11::987"}, {"DISPLAY=" + display.name()});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.errors, testing::HasSubstr("cannot open the display :987"));
}

TEST(Viewer, WrongUseIsTold) {
  const ProgramResult run = runProgram({VIEWER_PROGRAM});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.errors, testing::HasSubstr("usage"));
}

}  // namespace
}  // namespace vx::test
