#include "test_input.h"

#include <cmath>
#include <new>
#include <numeric>
#include <string>

#include "command_words.h"
#include "frame_clock.h"
#include "test_picture.h"
#include "test_sound.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace vxrecord {
namespace {

constexpr int kMostPixelsASide = 16384;
constexpr std::int64_t kRateUnit = 1000;  // decimal rates are kept to a thousandth
constexpr int kMostFramesASecond = 1000;  // times are milliseconds

using vxapps::wholeNumber;

bool readSize(std::string_view text, TestPictureWish& wish) {
  const std::size_t x = text.find('x');
  if (x == std::string_view::npos) {
    return false;
  }
  wish.width = wholeNumber<int>(text.substr(0, x)).value_or(0);
  wish.height = wholeNumber<int>(text.substr(x + 1)).value_or(0);
  return wish.width >= 1 && wish.width <= kMostPixelsASide && wish.height >= 1 &&
         wish.height <= kMostPixelsASide;
}

bool readRate(std::string_view text, TestPictureWish& wish) {
  const std::size_t slash = text.find('/');
  if (slash != std::string_view::npos) {
    wish.rateNumerator = wholeNumber<std::uint32_t>(text.substr(0, slash)).value_or(0);
    wish.rateDenominator = wholeNumber<std::uint32_t>(text.substr(slash + 1)).value_or(0);
  } else {
    const double rate = wholeNumber<double>(text).value_or(0);
    const bool isInRange = rate > 0 && rate <= kMostFramesASecond;
    wish.rateNumerator = isInRange ? std::llround(rate * kRateUnit) : 0;
    wish.rateDenominator = kRateUnit;
  }
  if (wish.rateNumerator < 1 || wish.rateDenominator < 1) {
    return false;
  }
  const std::int64_t common = std::gcd(wish.rateNumerator, wish.rateDenominator);
  wish.rateNumerator /= common;
  wish.rateDenominator /= common;
  return wish.rateNumerator <= kMostFramesASecond * wish.rateDenominator;
}

class TestInput : public Input {
 public:
  TestInput(const TestPictureWish& wish, bool withSound)
      : _wish(wish), _picture(wish.width, wish.height), _hasSound(withSound) {}

  ReadResult read(MediaFrame& frame) override {
    const std::int64_t timeMs =
        toMilliseconds(_number, {_wish.rateDenominator, _wish.rateNumerator});
    if (_hasSound && _nextSound <= soundSamplesAt(timeMs)) {
      readSound(frame);
    } else {
      readPicture(frame, timeMs);
    }
    return ReadResult::frame;
  }
  bool isLive() const override { return false; }
  bool hasSound() const override { return _hasSound; }

 private:
  void readSound(MediaFrame& frame) {
    constexpr std::size_t kSoundLength = 1024;
    frame.kind = MediaFrame::Kind::sound;
    frame.timeMs = _nextSound * 1000 / kSoundRate;
    frame.sound = makeTestSound(_nextSound, kSoundLength);
    _nextSound = frame.sound.end();
  }

  void readPicture(MediaFrame& frame, std::int64_t timeMs) {
    frame.picture = makeFrame();
    AVFrame& picture = *frame.picture;
    picture.format = AV_PIX_FMT_BGR0;
    picture.width = _wish.width;
    picture.height = _wish.height;
    if (av_frame_get_buffer(&picture, 0) < 0) {
      throw std::bad_alloc();
    }
    frame.kind = MediaFrame::Kind::picture;
    frame.timeMs = timeMs;
    _picture.draw(static_cast<std::uint32_t>(_number), frame.timeMs, picture.data[0],
                  static_cast<std::size_t>(picture.linesize[0]));
    if (_hasSound) {
      _picture.drawFlash(isBeeping(frame.timeMs), picture.data[0],
                         static_cast<std::size_t>(picture.linesize[0]));
    }
    ++_number;
  }

  TestPictureWish _wish;
  TestPicture _picture;
  bool _hasSound;
  std::int64_t _number = 0;
  std::int64_t _nextSound = 0;  // in samples
};

}  // namespace

TestPictureWish parseTestPicture(std::string_view text) {
  TestPictureWish wish;
  const std::size_t at = text.find('@');
  if (at == std::string_view::npos || !readSize(text.substr(0, at), wish) ||
      !readRate(text.substr(at + 1), wish)) {
    throw InputError("\"test:" + std::string(text) +
                     "\" is not a test picture; write test:WxH@FPS such as test:1280x720@30, with "
                     "1 to 16384 pixels a side and at most 1000 frames a second");
  }
  return wish;
}

std::unique_ptr<Input> openTestPicture(std::string_view text, bool withSound) {
  return std::make_unique<TestInput>(parseTestPicture(text), withSound);
}

}  // namespace vxrecord
