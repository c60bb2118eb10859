// When what of a recording is seen and heard.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vxrecord {

struct TimelineFrame {
  std::int64_t startMs = 0;
  std::uint32_t durationMs = 0;
  bool isKeyFrame = false;

  std::int64_t endMs() const { return startMs + durationMs; }
};

struct TimeSpan {
  std::int64_t startMs = 0;
  std::int64_t endMs = 0;

  std::int64_t lengthMs() const { return endMs - startMs; }
  friend bool operator==(const TimeSpan&, const TimeSpan&) = default;
};

struct Timeline {
  std::string title;     ///< what file it is
  std::string subtitle;  ///< what is in it
  std::int64_t durationMs = 0;
  std::vector<TimelineFrame> frames;  ///< one behind the other
  std::vector<TimeSpan> black;        ///< stretches of black pictures
  std::vector<TimeSpan> sound;        ///< stretches of sound that is heard
  std::vector<TimeSpan> unheard;      ///< stretches of sound that is not
  bool hasSound = false;
};

/// The timeline as a picture in SVG: frames as bars that are as wide and high as they are long, key
/// frames, black stretches, sound. Frames that are too narrow to be seen are drawn together, as the
/// shortest, the mean and the longest of them.
std::string timelinePicture(const Timeline& timeline);

/// "1:02:03.004", without hours when there are none.
std::string clockText(std::int64_t milliseconds);

}  // namespace vxrecord
