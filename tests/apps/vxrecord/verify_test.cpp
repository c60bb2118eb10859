#include "verify.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "options.h"

namespace vxrecord {
namespace {

using testing::HasSubstr;
using testing::Not;

std::size_t countOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

/// Frames of 40 ms, a key frame every 25.
Timeline timelineOf(std::size_t frames) {
  Timeline timeline;
  timeline.title = "a.mp4";
  for (std::size_t i = 0; i < frames; ++i) {
    timeline.frames.push_back({static_cast<std::int64_t>(i) * 40, 40, i % 25 == 0});
  }
  timeline.durationMs = static_cast<std::int64_t>(frames) * 40;
  return timeline;
}

TEST(Verify, ReadsItsWords) {
  const VerifyOptions options = parseVerifyWords({"--svg", "o.svg", "a.mp4", "--json"});
  EXPECT_EQ(options.file, "a.mp4");
  EXPECT_EQ(options.svg, "o.svg");
  EXPECT_TRUE(options.json);
  EXPECT_EQ(parseVerifyWords({"--svg=x=y.svg", "--", "--json"}).svg, "x=y.svg");
  EXPECT_EQ(parseVerifyWords({"--", "--json"}).file, "--json");
}

TEST(Verify, RefusesWrongWords) {
  EXPECT_THROW(parseVerifyWords({}), UsageError);
  EXPECT_THROW(parseVerifyWords({"a", "b"}), UsageError);
  EXPECT_THROW(parseVerifyWords({"a", "--svg"}), UsageError);
  EXPECT_THROW(parseVerifyWords({"a", "--draw"}), UsageError);
  EXPECT_THROW(parseVerifyWords({""}), UsageError);
}

TEST(Verify, IsNotTakenForAnInput) {
  EXPECT_TRUE(isVerifyCommand({"verify", "a.mp4"}));
  EXPECT_FALSE(isVerifyCommand({"./verify"}));
  EXPECT_FALSE(isVerifyCommand({"--", "verify"}));
  EXPECT_FALSE(isVerifyCommand({}));
}

TEST(TimelinePicture, DrawsEachOfAFewFrames) {
  const std::string svg = timelinePicture(timelineOf(10));
  EXPECT_EQ(countOf(svg, "<rect class=\"frame\""), 10u + 1u);  // and the legend's
  EXPECT_EQ(countOf(svg, "<path class=\"key\""), 1u);
  EXPECT_THAT(svg, HasSubstr("0:00.360, 40 ms"));
}

TEST(TimelinePicture, DrawsManyFramesTogether) {
  const std::string svg = timelinePicture(timelineOf(100000));
  EXPECT_LT(svg.size(), 200000u);
  EXPECT_GT(countOf(svg, "<rect class=\"mean\""), 400u);
  EXPECT_EQ(countOf(svg, "<rect class=\"frame\""), 0u);
}

TEST(TimelinePicture, DrawsBlackAndSound) {
  Timeline timeline = timelineOf(100);
  timeline.black = {{1000, 2000}};
  timeline.hasSound = true;
  timeline.unheard = {{0, 100}};
  timeline.sound = {{100, 3000}, {3500, 4000}};
  const std::string svg = timelinePicture(timeline);
  EXPECT_THAT(svg, HasSubstr("black for 1000 ms at 0:01.000"));
  EXPECT_THAT(svg, HasSubstr("sound from 0:03.500 to 0:04.000"));
  EXPECT_THAT(svg, HasSubstr("sound that is not heard from 0:00.000 to 0:00.100"));
}

TEST(TimelinePicture, DrawsWhatHasNoLength) {
  EXPECT_THAT(timelinePicture({}), HasSubstr("</svg>"));
  Timeline timeline;
  timeline.frames = {{0, 0, true}};
  EXPECT_THAT(timelinePicture(timeline), Not(HasSubstr("nan")));
}

TEST(TimelinePicture, KeepsNamesFromBecomingMarkup) {
  Timeline timeline;
  timeline.title = "<b>&\x01.mp4";
  EXPECT_THAT(timelinePicture(timeline), HasSubstr(">&lt;b&gt;&amp; .mp4<"));
}

TEST(TimelinePicture, HasADecadeForTheLongestFrame) {
  Timeline timeline;
  timeline.frames = {{0, 40, true}, {40, 20000, false}};
  timeline.durationMs = 20040;
  const std::string svg = timelinePicture(timeline);
  EXPECT_THAT(svg, HasSubstr(">10 s<"));
  EXPECT_THAT(svg, HasSubstr(">100 s<"));
  EXPECT_THAT(timelinePicture(timelineOf(10)), Not(HasSubstr(">1 s<")));
}

TEST(TimelinePicture, DrawsCrowdedKeyFramesAsABand) {
  const std::string svg = timelinePicture(timelineOf(10000));
  EXPECT_EQ(countOf(svg, "<path class=\"key\""), 1u);
  EXPECT_EQ(countOf(svg, "<rect class=\"key\""), 1u + 1u);  // and the legend's
}

TEST(ClockText, ShowsHoursWhenThereAreSome) {
  EXPECT_EQ(clockText(3599999), "59:59.999");
  EXPECT_EQ(clockText(3600000), "1:00:00.000");
  EXPECT_EQ(clockText(0), "0:00.000");
  EXPECT_EQ(clockText(61234), "1:01.234");
  EXPECT_EQ(clockText(3723004), "1:02:03.004");
  EXPECT_EQ(clockText(-1), "-0:00.001");
}

}  // namespace
}  // namespace vxrecord
