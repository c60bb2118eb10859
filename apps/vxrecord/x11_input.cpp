#include "x11_input.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "interruption.h"
#include "x11_address.h"
#include "x11_connection.h"
#include "x11_picture.h"
#include "x11_pointer.h"
#include "x11_watch.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace vxrecord {
namespace {

using Clock = std::chrono::steady_clock;

// How long a screen may stand still before read() says so.
constexpr std::chrono::milliseconds kIdle{100};
// Without the damage extension nothing tells whether a picture is worth reading.
constexpr unsigned kFixedRate = 30;
// A screen that cannot be read at this moment is changing its size; soon it can be read again.
constexpr std::chrono::milliseconds kRetry{50};
constexpr int kMostFailures = 40;

std::string sizeText(const Rect& rect) {
  return std::to_string(rect.width) + "x" + std::to_string(rect.height);
}

std::optional<Rect> wishedArea(const DisplayAddress& address) {
  if (!address.area) {
    return std::nullopt;
  }
  const DisplayAddress::Area& area = *address.area;
  return Rect{static_cast<int>(area.x), static_cast<int>(area.y), static_cast<int>(area.width),
              static_cast<int>(area.height)};
}

/// The screen as large as it is, once the area is known to lie on it.
Rect requireScreen(const X11Connection& connection, const DisplayAddress& address) {
  const std::optional<Rect> screen = connection.screen();
  if (!screen) {
    throw InputError("cannot read the display " + address.display + "; its server has gone");
  }
  const std::optional<Rect> area = wishedArea(address);
  if (area && intersectionOf(*area, *screen) != *area) {
    throw InputError("the area " + sizeText(*area) + " at " + std::to_string(area->x) + "," +
                     std::to_string(area->y) + " lies outside the screen of " + address.display +
                     ", which is " + sizeText(*screen) + "; choose one within it");
  }
  return *screen;
}

class DisplayInput : public Input {
 public:
  explicit DisplayInput(const DisplayAddress& address)
      : _name(address.display),
        _area(wishedArea(address)),
        _connection(address.display),
        _screen(requireScreen(_connection, address)),
        _watch(_connection, _screen),
        _interval(std::chrono::nanoseconds(std::chrono::seconds(1)) /
                  (_watch.tellsDamage() ? address.framesPerSecond
                                        : std::min(address.framesPerSecond, kFixedRate))) {
    makePicture();
  }

  ReadResult read(MediaFrame& frame) override;
  bool isLive() const override { return true; }
  bool repeat(MediaFrame& frame) override;
  void wakeAt(std::int64_t timeMs) override { _wakeMs = timeMs; }
  std::string trouble() const override { return _trouble; }

 private:
  enum class Look : std::uint8_t { same, changed, failed };
  void makePicture();
  Look look();
  bool drawPointer(const DisplayNews& news, bool isPictureNew);
  void show(MediaFrame& frame, Clock::time_point moment);
  bool isTimeToWake(Clock::time_point now);
  bool hasPauseWishChanged();
  void waitForNews(Clock::time_point now, Clock::time_point idle) const;
  ReadResult breakOff(const std::string& why);

  std::string _name;
  std::optional<Rect> _area;  // none: the whole screen
  X11Connection _connection;
  Rect _screen;
  DisplayWatch _watch;
  Clock::duration _interval;  // between pictures, at least
  std::optional<ScreenPicture> _picture;
  PointerImage _pointer;
  PointerOverlay _overlay;
  std::optional<Clock::time_point> _start;  // of the first picture
  Clock::time_point _nextLook;
  std::optional<std::int64_t> _wakeMs;
  bool _isPauseWished = false;  // as it was last told
  int _failures = 0;            // in a row
  std::string _trouble;
};

ReadResult DisplayInput::read(MediaFrame& frame) {
  const Clock::time_point idle = Clock::now() + kIdle;
  _watch.suspectPointer();
  while (!isInterrupted()) {
    _watch.listen();
    if (!_connection.isAlive()) {
      return breakOff("its server has ended or closed the connection");
    }
    const Clock::time_point now = Clock::now();
    if (isTimeToWake(now) || hasPauseWishChanged()) {
      return ReadResult::idle;
    }
    if (now >= _nextLook && _watch.hasNews()) {
      const Look seen = look();
      _failures = seen == Look::failed ? _failures + 1 : 0;
      _nextLook =
          now + (seen == Look::failed ? std::max<Clock::duration>(kRetry, _interval) : _interval);
      if (_failures > kMostFailures) {
        return breakOff("its server does not let the screen be read");
      }
      if (seen == Look::changed) {
        show(frame, now);
        return ReadResult::frame;
      }
      continue;
    }
    if (now >= idle) {
      return ReadResult::idle;
    }
    waitForNews(now, idle);
  }
  return ReadResult::interrupted;
}

/// Brings the picture up to date.
DisplayInput::Look DisplayInput::look() {
  DisplayNews news;
  if (!_watch.collect(news)) {
    return Look::failed;
  }
  if (news.screen != _screen) {
    _screen = news.screen;
    makePicture();
  }
  if (news.image) {
    _pointer = std::move(*news.image);  // told once, even if the screen cannot be read now
  }
  const auto isSeen = [this](const Rect& rect) {
    return !intersectionOf(rect, _picture->area()).isEmpty();
  };
  const bool isDrawn = std::any_of(news.damage.begin(), news.damage.end(), isSeen);
  if (isDrawn) {
    _overlay.remove(_picture->view());
    if (!_picture->update(news.damage)) {
      _watch.suspectScreen();
      return Look::failed;
    }
  }
  const bool isPointerNew = drawPointer(news, isDrawn);
  return isDrawn || isPointerNew ? Look::changed : Look::same;
}

/// Whether the pointer looks different or is somewhere else; outside the picture it is not seen.
bool DisplayInput::drawPointer(const DisplayNews& news, bool isPictureNew) {
  const int x = news.pointerX - _picture->area().x;
  const int y = news.pointerY - _picture->area().y;
  const Rect before = _overlay.covered();
  const Rect all = {0, 0, _picture->view().width, _picture->view().height};
  const Rect place = intersectionOf(_pointer.placeAt(x, y), all);
  const bool isSame = place == before && !news.image.has_value();
  if (isSame && !isPictureNew) {
    return false;
  }
  _overlay.remove(_picture->view());
  _overlay.draw(_picture->view(), _pointer, x, y);
  return !(before.isEmpty() && place.isEmpty());
}

void DisplayInput::makePicture() {
  _overlay.forget();
  _picture.reset();  // the old one's memory goes first
  _picture.emplace(_connection, _area.value_or(_screen), _screen);
}

void DisplayInput::show(MediaFrame& frame, Clock::time_point moment) {
  using std::chrono::milliseconds;
  if (!_start) {
    _start = moment;
  }
  const PictureView& view = _picture->view();
  frame.kind = MediaFrame::Kind::picture;
  frame.timeMs = std::chrono::floor<milliseconds>(moment - *_start).count();
  frame.picture = makeFrame();
  frame.picture->format = AV_PIX_FMT_BGR0;
  frame.picture->width = view.width;
  frame.picture->height = view.height;
  frame.picture->data[0] = reinterpret_cast<std::uint8_t*>(view.pixels);
  frame.picture->linesize[0] = view.width * static_cast<int>(sizeof *view.pixels);
}

bool DisplayInput::repeat(MediaFrame& frame) {
  if (_start) {
    show(frame, Clock::now());
  }
  return _start.has_value();
}

bool DisplayInput::isTimeToWake(Clock::time_point now) {
  const bool isTime = _wakeMs && _start && now - *_start >= std::chrono::milliseconds(*_wakeMs);
  if (isTime) {
    _wakeMs.reset();
  }
  return isTime;
}

// What stands when a pause begins or ends has to be taken before anything newer.
bool DisplayInput::hasPauseWishChanged() {
  return std::exchange(_isPauseWished, isPauseWished()) != _isPauseWished;
}

// While the next picture may not come yet, what the server tells waits in the connection: a storm
// of events does not wake us.
void DisplayInput::waitForNews(Clock::time_point now, Clock::time_point idle) const {
  Clock::time_point until = idle;
  if (_wakeMs && _start) {
    until = std::min(until, *_start + std::chrono::milliseconds(*_wakeMs));
  }
  if (_nextLook > now) {
    sleepUntil(std::min(until, _nextLook));
  } else {
    waitUntilReadable(xcb_get_file_descriptor(_connection.get()), until);
  }
}

ReadResult DisplayInput::breakOff(const std::string& why) {
  _trouble = "the display " + _name + " broke off: " + why;
  return ReadResult::broken;
}

}  // namespace

std::unique_ptr<Input> openDisplay(std::string_view text) {
  return std::make_unique<DisplayInput>(parseDisplayAddress(text));
}

}  // namespace vxrecord
