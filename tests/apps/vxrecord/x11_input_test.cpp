// A display as an input, read picture by picture while a program draws on it.
#include "x11_input.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <functional>

#include "support/program.h"
#include "support/x11_stage.h"
#include "x11_connection.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace vxrecord {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;
using vx::test::VirtualDisplay;
using vx::test::X11Stage;

constexpr std::uint32_t kRed = 0xC81E28;
constexpr std::uint32_t kBlue = 0x1E3CC8;
constexpr std::uint32_t kGray = 0x404040;

std::uint32_t pixelAt(const AVFrame& picture, int x, int y) {
  const std::uint8_t* bytes = picture.data[0] + std::ptrdiff_t{y} * picture.linesize[0] + x * 4;
  return bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16;
}

/// A display whose pointer stands out of the way and which is all gray.
class DisplayInputTest : public testing::Test {
 protected:
  explicit DisplayInputTest(const std::vector<std::string>& serverOptions = {})
      : display("320x240", serverOptions), stage(display.name()) {
    stage.fill(0, 0, 320, 240, kGray);
    stage.setPointer(1, 1, 0, 0, {0});
    stage.movePointer(319, 239);
  }
  void open(const std::string& rest = "") { input = openDisplay(display.name() + rest); }
  /// Reads until a picture is as wished, which then is in `frame`; false when none was in time.
  bool readUntil(const std::function<bool(const AVFrame&)>& isWished) {
    return vx::test::waitUntil([&] {
      const ReadResult result = input->read(frame);
      frames += result == ReadResult::frame ? 1 : 0;
      return result == ReadResult::frame && isWished(*frame.picture);
    });
  }
  bool readUntilPixel(int x, int y, std::uint32_t color) {
    return readUntil([=](const AVFrame& picture) {
      return x < picture.width && y < picture.height && pixelAt(picture, x, y) == color;
    });
  }
  bool readUntilSize(int width, int height) {
    return readUntil(
        [=](const AVFrame& picture) { return picture.width == width && picture.height == height; });
  }
  bool readUntilIdle() {
    return vx::test::waitUntil([&] {
      const ReadResult result = input->read(frame);
      frames += result == ReadResult::frame ? 1 : 0;
      return result == ReadResult::idle;
    });
  }
  std::uint32_t pixel(int x, int y) const { return pixelAt(*frame.picture, x, y); }

  VirtualDisplay display;
  X11Stage stage;
  std::unique_ptr<Input> input;
  MediaFrame frame;
  int frames = 0;
};

TEST_F(DisplayInputTest, FirstPictureIsTheScreenAsItIs) {
  stage.fill(10, 20, 30, 40, kRed);
  open();
  ASSERT_EQ(input->read(frame), ReadResult::frame);
  EXPECT_EQ(frame.timeMs, 0);
  EXPECT_EQ(frame.picture->width, 320);
  EXPECT_EQ(frame.picture->height, 240);
  EXPECT_EQ(pixel(10, 20), kRed);
  EXPECT_EQ(pixel(39, 59), kRed);
  EXPECT_EQ(pixel(40, 59), kGray);
  EXPECT_EQ(pixel(0, 0), kGray);
}

TEST_F(DisplayInputTest, WhatIsDrawnComesAndTheRestStays) {
  stage.fill(10, 20, 30, 40, kRed);
  open();
  ASSERT_TRUE(readUntilIdle());
  stage.fill(100, 100, 5, 5, kBlue);
  ASSERT_TRUE(readUntilPixel(104, 104, kBlue));
  EXPECT_EQ(pixel(105, 104), kGray);
  EXPECT_EQ(pixel(10, 20), kRed);
  stage.fill(0, 50, 320, 100, kBlue);  // wide enough to be read as whole rows
  ASSERT_TRUE(readUntilPixel(0, 50, kBlue));
  EXPECT_EQ(pixel(319, 149), kBlue);
  EXPECT_EQ(pixel(0, 49), kGray);
  EXPECT_EQ(pixel(319, 150), kGray);
}

TEST_F(DisplayInputTest, StillScreenIsIdleAndCanBeRepeated) {
  open();
  MediaFrame repeated;
  EXPECT_FALSE(input->repeat(repeated));
  ASSERT_TRUE(readUntilPixel(5, 5, kGray));
  ASSERT_TRUE(readUntilIdle());
  ASSERT_TRUE(input->repeat(repeated));
  EXPECT_GT(repeated.timeMs, frame.timeMs);
  EXPECT_EQ(pixelAt(*repeated.picture, 5, 5), kGray);
}

TEST_F(DisplayInputTest, WakesOnceAtTheWishedMoment) {
  open("@1000");
  ASSERT_TRUE(readUntilPixel(5, 5, kGray));
  input->wakeAt(50);
  while (input->read(frame) == ReadResult::frame) {
    EXPECT_LT(frame.timeMs, 50);
    stage.fill(0, 0, 1, 1, kRed);
  }
  MediaFrame repeated;
  ASSERT_TRUE(input->repeat(repeated));
  EXPECT_GE(repeated.timeMs, 50);
}

TEST_F(DisplayInputTest, PointerIsBlendedInWithItsHotSpot) {
  // Opaque red, half a green; nothing, opaque blue.
  stage.setPointer(2, 2, 1, 0, {0xFFFF0000, 0x80008000, 0x00000000, 0xFF0000FF});
  stage.movePointer(100, 80);
  open();
  ASSERT_TRUE(readUntilPixel(99, 80, 0xFF0000));
  EXPECT_EQ(pixel(100, 80), 0x20A020U);
  EXPECT_EQ(pixel(99, 81), kGray);
  EXPECT_EQ(pixel(100, 81), 0x0000FFU);
}

TEST_F(DisplayInputTest, PointerMovesAndLeavesNothingBehind) {
  stage.setPointer(1, 1, 0, 0, {0xFF00FF00});
  stage.movePointer(100, 80);
  open();
  ASSERT_TRUE(readUntilPixel(100, 80, 0x00FF00));
  stage.movePointer(50, 60);
  ASSERT_TRUE(readUntilPixel(50, 60, 0x00FF00));
  EXPECT_EQ(pixel(100, 80), kGray);
  stage.warpPointer(7, 8);
  ASSERT_TRUE(readUntilPixel(7, 8, 0x00FF00));
  EXPECT_EQ(pixel(50, 60), kGray);
}

TEST_F(DisplayInputTest, DrawingBelowThePointerShowsWhenItLeaves) {
  stage.setPointer(1, 1, 0, 0, {0xFF00FF00});
  stage.movePointer(100, 80);
  open();
  ASSERT_TRUE(readUntilPixel(100, 80, 0x00FF00));
  stage.fill(90, 70, 20, 20, kBlue);
  ASSERT_TRUE(readUntilPixel(99, 80, kBlue));
  EXPECT_EQ(pixel(100, 80), 0x00FF00U);
  stage.movePointer(200, 200);
  ASSERT_TRUE(readUntilPixel(100, 80, kBlue));
}

TEST_F(DisplayInputTest, PointerThatLooksDifferentGivesAPicture) {
  stage.setPointer(1, 1, 0, 0, {0xFF00FF00});
  stage.movePointer(100, 80);
  open();
  ASSERT_TRUE(readUntilPixel(100, 80, 0x00FF00));
  stage.setPointer(1, 1, 0, 0, {0xFFFF00FF});
  EXPECT_TRUE(readUntilPixel(100, 80, 0xFF00FF));
}

TEST_F(DisplayInputTest, PartShowsOnlyWhatHappensInIt) {
  stage.setPointer(1, 1, 0, 0, {0xFF00FF00});
  stage.movePointer(10, 10);
  open("+101,51,99x77");
  ASSERT_TRUE(readUntil([](const AVFrame&) { return true; }));
  EXPECT_EQ(frame.picture->width, 99);
  EXPECT_EQ(frame.picture->height, 77);
  stage.fill(0, 0, 101, 240, kRed);
  stage.movePointer(20, 20);
  stage.setPointer(1, 1, 0, 0, {0xFFFF00FF});
  const int before = frames;
  ASSERT_TRUE(readUntilIdle());
  EXPECT_EQ(frames, before);
  stage.fill(199, 127, 10, 10, kBlue);
  ASSERT_TRUE(readUntilPixel(98, 76, kBlue));
  EXPECT_EQ(pixel(0, 0), kGray);
  stage.movePointer(101, 51);
  EXPECT_TRUE(readUntilPixel(0, 0, 0xFF00FF));
}

TEST_F(DisplayInputTest, ScreenThatChangesItsSizeIsFollowed) {
  open();
  ASSERT_TRUE(readUntilSize(320, 240));
  stage.resizeScreen(200, 100);
  ASSERT_TRUE(readUntilSize(200, 100));
  stage.fill(199, 99, 1, 1, kRed);
  EXPECT_TRUE(readUntilPixel(199, 99, kRed));
  stage.resizeScreen(320, 240);
  ASSERT_TRUE(readUntilSize(320, 240));
  stage.fill(319, 239, 1, 1, kBlue);
  EXPECT_TRUE(readUntilPixel(319, 239, kBlue));
}

TEST_F(DisplayInputTest, PartKeepsItsSizeAndIsBlackBeyondTheScreen) {
  open("+100,50,150x100");
  ASSERT_TRUE(readUntilPixel(149, 99, kGray));
  stage.resizeScreen(200, 100);
  ASSERT_TRUE(readUntilPixel(149, 99, 0));
  EXPECT_EQ(frame.picture->width, 150);
  stage.fill(199, 99, 1, 1, kRed);
  ASSERT_TRUE(readUntilPixel(99, 49, kRed));
  EXPECT_EQ(pixel(100, 49), 0U);
}

TEST_F(DisplayInputTest, ServerThatEndsBreaksTheInputOff) {
  open();
  ASSERT_TRUE(readUntilPixel(5, 5, kGray));
  display.end();
  EXPECT_TRUE(vx::test::waitUntil([&] { return input->read(frame) == ReadResult::broken; }));
  EXPECT_THAT(input->trouble(), HasSubstr(display.name() + " broke off"));
  MediaFrame repeated;
  EXPECT_TRUE(input->repeat(repeated));
  EXPECT_EQ(pixelAt(*repeated.picture, 5, 5), kGray);
}

class DisplayWithoutSharedMemory : public DisplayInputTest {
 protected:
  DisplayWithoutSharedMemory() : DisplayInputTest({"-extension", "MIT-SHM"}) {}
};

TEST_F(DisplayWithoutSharedMemory, PicturesAreSent) {
  open();
  ASSERT_TRUE(readUntilPixel(319, 239, kGray));
  stage.fill(100, 100, 5, 5, kBlue);
  ASSERT_TRUE(readUntilPixel(104, 104, kBlue));
  EXPECT_EQ(pixel(105, 104), kGray);
  stage.resizeScreen(200, 100);
  EXPECT_TRUE(readUntilSize(200, 100));
}

class DisplayWithoutDamage : public DisplayInputTest {
 protected:
  DisplayWithoutDamage() : DisplayInputTest({"-extension", "DAMAGE"}) {}
};

TEST_F(DisplayWithoutDamage, ScreenIsReadAtAFixedRate) {
  open();
  ASSERT_TRUE(readUntilPixel(5, 5, kGray));
  ASSERT_EQ(input->read(frame), ReadResult::frame);
  EXPECT_GE(frame.timeMs, 33);
  stage.fill(100, 100, 5, 5, kBlue);
  EXPECT_TRUE(readUntilPixel(104, 104, kBlue));
}

// Without the extension the server may die when any of its clients leaves, so nobody else is to
// come by: tests that look for displays run at the same time.
class DisplayWithoutFixes : public DisplayInputTest {
 protected:
  DisplayWithoutFixes() : DisplayInputTest(optionsOfServer()) {}
  static std::vector<std::string> optionsOfServer() {
    std::vector<std::string> options = VirtualDisplay::kHidden;
    options.insert(options.end(), {"-extension", "XFIXES"});
    return options;
  }
};

TEST_F(DisplayWithoutFixes, ScreenIsReadWithoutItsPointer) {
  stage.setPointer(1, 1, 0, 0, {0xFF00FF00});
  stage.movePointer(100, 80);
  open();
  ASSERT_TRUE(readUntilPixel(5, 5, kGray));
  EXPECT_EQ(pixel(100, 80), kGray);
  stage.fill(100, 100, 5, 5, kBlue);
  EXPECT_TRUE(readUntilPixel(104, 104, kBlue));
}

TEST(DisplayInput, SixteenBitScreenIsStretched) {
  const VirtualDisplay display("99x77", {}, 16);
  X11Stage stage(display.name());
  stage.setPointer(1, 1, 0, 0, {0});
  stage.fill(0, 0, 99, 77, 0xF81F);  // red and blue
  stage.fill(50, 50, 3, 3, 0x07E0);
  const auto input = openDisplay(display.name());
  MediaFrame frame;
  ASSERT_EQ(input->read(frame), ReadResult::frame);
  EXPECT_EQ(pixelAt(*frame.picture, 0, 0), 0xFF00FFU);
  EXPECT_EQ(pixelAt(*frame.picture, 52, 52), 0x00FF00U);
  EXPECT_EQ(pixelAt(*frame.picture, 98, 76), 0xFF00FFU);
}

TEST(DisplayInput, PaletteIsRefused) {
  const VirtualDisplay display("99x77", {}, 8);
  EXPECT_THAT([&] { openDisplay(display.name()); },
              ThrowsMessage<InputError>(HasSubstr("depth of 24")));
}

TEST(DisplayInput, ScreenThatDoesNotExistIsTold) {
  const VirtualDisplay display;
  EXPECT_THAT([&] { openDisplay(display.name() + ".7"); },
              ThrowsMessage<InputError>(HasSubstr("no screen of that number")));
}

TEST(DisplayInput, ServerThatDoesNotAnswerIsTold) {
  const VirtualDisplay display;
  kill(display.serverId(), SIGSTOP);
  EXPECT_THAT([&] { X11Connection(display.name(), std::chrono::milliseconds(100)); },
              ThrowsMessage<InputError>(HasSubstr("its server does not answer")));
}

}  // namespace
}  // namespace vxrecord
