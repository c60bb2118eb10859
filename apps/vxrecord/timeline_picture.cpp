#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <string_view>

#include "timeline.h"

namespace vxrecord {
namespace {

// The picture's measures, in units of SVG.
constexpr double kWidth = 1200;
constexpr double kLeft = 88;
constexpr double kRight = kWidth - 28;
constexpr double kPlotWidth = kRight - kLeft;
constexpr double kFramesTop = 92;
constexpr double kFramesBottom = 292;
constexpr double kKeysTop = 304;
constexpr double kSoundTop = 332;
constexpr double kLaneHeight = 16;
constexpr double kBinWidth = 2;         // of frames that are drawn together
constexpr double kWidestGap = 1;        // between frames
constexpr double kFewestMarkSpace = 7;  // between marks that are told apart

constexpr std::string_view kStyle = R"(
text { font-family: system-ui, "Segoe UI", "DejaVu Sans", sans-serif; fill: #475569; font-size: 12px }
.title { font-size: 18px; font-weight: 600; fill: #0f172a }
.subtitle { font-size: 13px }
.tick { text-anchor: middle }
.lane { text-anchor: end }
.grid { stroke: #e2e8f0; stroke-width: 1 }
.frame { fill: #3b82f6 }
.longest { fill: #bfdbfe }
.mean { fill: #3b82f6 }
.key { fill: #f59e0b }
.black { fill: #0f172a; fill-opacity: 0.85 }
.sound { fill: #10b981 }
.unheard { fill: #a7f3d0 }
)";

std::string number(double value) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.2f", value);
  std::string result = text.data();
  result.erase(result.find_last_not_of('0') + 1);
  if (result.back() == '.') {
    result.pop_back();
  }
  return result;
}

std::string escaped(std::string_view text) {
  std::string result;
  for (const char character : text) {
    switch (character) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      default:
        // Control characters are no text in XML.
        result += static_cast<unsigned char>(character) < 0x20 ? ' ' : character;
    }
  }
  return result;
}

/// Draws one timeline, part by part.
class Picture {
 public:
  explicit Picture(const Timeline& timeline)
      : _timeline(timeline),
        _span(static_cast<double>(std::max<std::int64_t>(timeline.durationMs, 1))) {
    for (const TimelineFrame& frame : timeline.frames) {
      _longestMs = std::max(_longestMs, frame.durationMs);
    }
    // Whole decades, so that the grid ends at the top.
    _decades = std::max(2.0, std::ceil(std::log10(std::max<double>(_longestMs, 1))));
  }

  std::string drawn() {
    begin();
    drawTimeAxis();
    drawDurationAxis();
    if (kPlotWidth / std::max<double>(static_cast<double>(_timeline.frames.size()), 1) >=
        kBinWidth * 2) {
      drawFrames();
    } else {
      drawFramesTogether();
    }
    drawBlack();
    drawKeyFrames();
    drawSound();
    drawLegend();
    return _svg + "</svg>\n";
  }

 private:
  double x(double milliseconds) const { return kLeft + milliseconds / _span * kPlotWidth; }
  /// Durations go by their logarithm: 5 ms and 5 s are told from 40 ms alike. Less than a
  /// millisecond is a line at the bottom.
  double y(double durationMs) const {
    const double height =
        (kFramesBottom - kFramesTop) * std::log10(std::max(durationMs, 1.0)) / _decades;
    return kFramesBottom - std::max(height, 1.0);
  }
  double bottom() const {
    return _timeline.hasSound ? kSoundTop + kLaneHeight : kKeysTop + kLaneHeight;
  }

  void rectangle(std::string_view kind, double left, double top, double width, double height,
                 const std::string& title = {}) {
    _svg += "<rect class=\"" + std::string(kind) + "\" x=\"" + number(left) + "\" y=\"" +
            number(top) + "\" width=\"" + number(width) + "\" height=\"" + number(height) + "\"";
    _svg += title.empty() ? "/>\n" : "><title>" + escaped(title) + "</title></rect>\n";
  }
  void text(std::string_view kind, double left, double base, const std::string& words) {
    _svg += "<text class=\"" + std::string(kind) + "\" x=\"" + number(left) + "\" y=\"" +
            number(base) + "\">" + escaped(words) + "</text>\n";
  }
  void line(double x1, double y1, double x2, double y2) {
    _svg += "<line class=\"grid\" x1=\"" + number(x1) + "\" y1=\"" + number(y1) + "\" x2=\"" +
            number(x2) + "\" y2=\"" + number(y2) + "\"/>\n";
  }

  void begin();
  void drawTimeAxis();
  void drawDurationAxis();
  void drawBlack();
  void drawFrames();
  void drawFramesTogether();
  void drawKeyFrames();
  void drawSound();
  void drawSpans(std::string_view kind, const std::vector<TimeSpan>& spans,
                 const std::string& what);
  void drawLegend();

  const Timeline& _timeline;
  double _span;
  std::uint32_t _longestMs = 0;
  double _decades = 0;
  bool _isTogether = false;
  std::string _svg;
};

void Picture::begin() {
  const std::string size = number(kWidth) + "\" height=\"" + number(bottom() + 76);
  _svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + size + "\" viewBox=\"0 0 " +
         number(kWidth) + " " + number(bottom() + 76) + "\">\n<style>" + std::string(kStyle) +
         "</style>\n<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n";
  text("title", kLeft, 34, _timeline.title);
  text("subtitle", kLeft, 56, _timeline.subtitle);
}

/// The steps of an axis that people read easily, in milliseconds.
double tickStep(double spanMs) {
  constexpr std::array<double, 21> kSteps = {
      1,    2,     5,     10,    20,    50,     100,    200,    500,     1000,   2000,
      5000, 10000, 15000, 30000, 60000, 120000, 300000, 600000, 1800000, 3600000};
  constexpr double kMostTicks = 12;
  for (const double step : kSteps) {
    if (spanMs / step <= kMostTicks) {
      return step;
    }
  }
  constexpr double kHour = 3600000;
  return kHour * std::ceil(spanMs / kHour / kMostTicks);
}

void Picture::drawTimeAxis() {
  const double step = tickStep(_span);
  for (double at = 0; at <= _span * 1.0001; at += step) {
    line(x(at), kFramesTop, x(at), bottom() + 4);
    std::string words = clockText(std::llround(at));
    if (step >= 1000) {
      words.erase(words.rfind('.'));
    }
    text("tick", x(at), bottom() + 20, words);
  }
}

void Picture::drawDurationAxis() {
  for (int decade = 0; decade <= static_cast<int>(_decades); ++decade) {
    const double duration = std::pow(10, decade);
    const double at = decade == 0 ? kFramesBottom : y(duration);
    line(kLeft, at, kRight, at);
    const std::string words =
        decade < 3 ? number(duration) + " ms" : number(duration / 1000) + " s";
    text("lane", kLeft - 8, at + 4, words);
  }
}

void Picture::drawBlack() {
  for (const TimeSpan& span : _timeline.black) {
    const double width =
        std::max(x(static_cast<double>(span.endMs)) - x(static_cast<double>(span.startMs)), 1.5);
    const std::string what =
        "black for " + std::to_string(span.lengthMs()) + " ms at " + clockText(span.startMs);
    rectangle("black", x(static_cast<double>(span.startMs)), kFramesTop, width,
              kFramesBottom - kFramesTop, what);
  }
}

void Picture::drawFrames() {
  for (const TimelineFrame& frame : _timeline.frames) {
    const double left = x(static_cast<double>(frame.startMs));
    const double width = x(static_cast<double>(frame.endMs())) - left;
    const double gap = std::min(kWidestGap, width / 4);
    rectangle("frame", left, y(frame.durationMs), std::max(width - gap, 0.5),
              kFramesBottom - y(frame.durationMs),
              clockText(frame.startMs) + ", " + std::to_string(frame.durationMs) + " ms" +
                  (frame.isKeyFrame ? ", key frame" : ""));
  }
}

/// What a column of the picture shows: all that is on the screen in its time.
struct Column {
  double longest = 0;
  double sum = 0;
  std::size_t count = 0;
};

void Picture::drawFramesTogether() {
  _isTogether = true;
  const auto columnCount = static_cast<std::size_t>(kPlotWidth / kBinWidth);
  const double columnMs = _span / static_cast<double>(columnCount);
  std::vector<Column> columns(columnCount);
  for (const TimelineFrame& frame : _timeline.frames) {
    const auto columnOf = [&](std::int64_t ms) {
      const double column = std::max(static_cast<double>(ms), 0.0) / columnMs;
      return std::min(static_cast<std::size_t>(column), columnCount - 1);
    };
    const std::size_t last = columnOf(std::max(frame.endMs() - 1, frame.startMs));
    for (std::size_t i = columnOf(frame.startMs); i <= last; ++i) {
      columns[i].longest = std::max<double>(columns[i].longest, frame.durationMs);
      columns[i].sum += frame.durationMs;
      ++columns[i].count;
    }
  }
  for (std::size_t i = 0; i < columnCount; ++i) {
    if (columns[i].count == 0) {
      continue;
    }
    const double left = kLeft + static_cast<double>(i) * kBinWidth;
    const double mean = columns[i].sum / static_cast<double>(columns[i].count);
    rectangle("longest", left, y(columns[i].longest), kBinWidth,
              kFramesBottom - y(columns[i].longest));
    rectangle("mean", left, y(mean), kBinWidth, kFramesBottom - y(mean));
  }
}

void Picture::drawKeyFrames() {
  text("lane", kLeft - 8, kKeysTop + 12, "key frames");
  double last = -kWidth;
  double bandStart = -1;
  const auto endBand = [&] {
    if (bandStart >= 0) {
      rectangle("key", bandStart, kKeysTop + 6, last - bandStart + 2, 4);
    }
    bandStart = -1;
  };
  for (const TimelineFrame& frame : _timeline.frames) {
    if (!frame.isKeyFrame) {
      continue;
    }
    const double at = x(static_cast<double>(frame.startMs));
    if (at - last < kFewestMarkSpace) {
      bandStart = bandStart < 0 ? last : bandStart;
      last = at;
      continue;
    }
    endBand();
    last = at;
    _svg += "<path class=\"key\" d=\"M" + number(at) + " " + number(kKeysTop) +
            "l4 8l-4 8l-4 -8z\"><title>key frame at " + clockText(frame.startMs) +
            "</title></path>\n";
  }
  endBand();
}

void Picture::drawSpans(std::string_view kind, const std::vector<TimeSpan>& spans,
                        const std::string& what) {
  for (const TimeSpan& span : spans) {
    const double left = x(static_cast<double>(std::max<std::int64_t>(span.startMs, 0)));
    const double width = std::max(x(static_cast<double>(span.endMs)) - left, 0.5);
    rectangle(kind, left, kSoundTop, width, kLaneHeight,
              what + " from " + clockText(span.startMs) + " to " + clockText(span.endMs));
  }
}

void Picture::drawSound() {
  if (!_timeline.hasSound) {
    return;
  }
  text("lane", kLeft - 8, kSoundTop + 12, "sound");
  drawSpans("unheard", _timeline.unheard, "sound that is not heard");
  drawSpans("sound", _timeline.sound, "sound");
}

void Picture::drawLegend() {
  struct Sign {
    const char* kind;
    const char* words;
    bool isThere;
  };
  const std::array<Sign, 7> signs = {
      {{"frame", "a frame: as wide and high as it is long", !_isTogether},
       {"mean", "frames: how long they are, on average", _isTogether},
       {"longest", "the longest", _isTogether},
       {"key", "key frame", true},
       {"black", "black, as in a pause", !_timeline.black.empty()},
       {"sound", "sound", _timeline.hasSound},
       {"unheard", "not heard", !_timeline.unheard.empty()}}};
  constexpr double kSignWidth = 26;
  constexpr double kLetterWidth = 6.6;
  double left = kLeft;
  for (const Sign& sign : signs) {
    if (!sign.isThere) {
      continue;
    }
    rectangle(sign.kind, left, bottom() + 46, 12, 12);
    text("", left + 18, bottom() + 57, sign.words);
    left +=
        kSignWidth + kLetterWidth * static_cast<double>(std::string_view(sign.words).size()) + 14;
  }
}

}  // namespace

std::string timelinePicture(const Timeline& timeline) { return Picture(timeline).drawn(); }

std::string clockText(std::int64_t milliseconds) {
  const std::string sign = milliseconds < 0 ? "-" : "";
  const std::int64_t value = std::abs(milliseconds);
  std::array<char, 48> text{};
  const auto seconds = static_cast<long long>(value / 1000);
  if (seconds >= 3600) {
    std::snprintf(text.data(), text.size(), "%lld:%02lld:%02lld.%03lld", seconds / 3600,
                  seconds / 60 % 60, seconds % 60, static_cast<long long>(value % 1000));
  } else {
    std::snprintf(text.data(), text.size(), "%lld:%02lld.%03lld", seconds / 60, seconds % 60,
                  static_cast<long long>(value % 1000));
  }
  return sign + text.data();
}

}  // namespace vxrecord
