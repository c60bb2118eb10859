// A host's clock that stands, steps back, jumps and wraps, with and without a pause: the values at
// each sample, and what the file makes of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "stress/form.h"
#include "support/frame_source.h"
#include "support/movie_checker.h"
#include "support/program.h"
#include "support/recorder_peer.h"
#include "support/temporary_folder.h"

namespace vx::test {
namespace {

constexpr std::uint32_t kDays49 = 4294967295U;  // ms: 49.7 days, one less than a whole turn

/// What the writer is handed.
struct Sample {
  std::int64_t timeMs = 0;
  std::int64_t durationMs = 0;
  friend bool operator==(const Sample&, const Sample&) = default;
};
void PrintTo(const Sample& sample, std::ostream* out) {
  *out << sample.timeMs << " ms for " << sample.durationMs << " ms";
}

/// Remembers each sample on its way to the real input.
class ListeningInput final : public AVAssetWriterInput {
 public:
  ListeningInput(std::shared_ptr<AVAssetWriterInput> input, std::vector<Sample>& samples)
      : AVAssetWriterInput(AVMediaTypeVideo, std::nullopt, nullptr),
        _input(std::move(input)),
        _samples(samples) {}
  bool isReadyForMoreMediaData() const override {
    return _input->waitUntilReadyForMoreMediaData(kBound);
  }
  bool appendSampleBuffer(CMSampleBufferRef buffer) override {
    _samples.push_back({CMSampleBufferGetPresentationTimeStamp(buffer).value,
                        CMSampleBufferGetDuration(buffer).value});
    return _input->appendSampleBuffer(buffer);
  }
  void markAsFinished() override { _input->markAsFinished(); }

 private:
  std::shared_ptr<AVAssetWriterInput> _input;
  std::vector<Sample>& _samples;
};

struct Step {
  std::uint32_t timestampMs = 0;
  bool isPausedBefore = false;
};

struct ClockCase {
  const char* name;
  std::vector<Step> frames;
  std::vector<Sample> samples;            // as handed to the writer, the last one by stop
  std::vector<std::int64_t> timesInFile;  // of the samples
  std::int64_t lengthMs = 0;              // of the file
};
void PrintTo(const ClockCase& each, std::ostream* out) { *out << each.name; }

class ClockThat : public testing::TestWithParam<ClockCase> {
 protected:
  static void TearDownTestSuite() {
    if (testing::UnitTest::GetInstance()->current_test_suite()->Failed()) return;
    report(
        "a clock that stands, steps back, jumps 49.7 days and wraps, with and without a pause | 11 "
        "recordings | nothing: times never go back, nothing lasts longer than it should");
  }
};

TEST_P(ClockThat, GivesTheSamplesTheirValuesAndTheFileATimeline) {
  const ClockCase& expected = GetParam();
  const TemporaryFolder folder;
  const auto driven = DrivenRecorder::make(folder.path(), "clock.mp4");
  const SourceFrame picture =
      makeSourceFrame(kCVPixelFormatType_32BGRA, 64, 48, plain({200, 40, 40}));
  std::vector<Sample> samples;
  for (const Step& step : expected.frames) {
    if (step.isPausedBefore) {
      driven->pause();
    }
    driven->append(picture, step.timestampMs);
    if (samples.empty() && &step == &expected.frames.front()) {
      driven->recorder().setVideoWriterInput(
          std::make_shared<ListeningInput>(driven->recorder().videoWriterInput(), samples));
    }
  }
  ASSERT_TRUE(driven->stop());
  EXPECT_EQ(samples, expected.samples);
  const CheckedMovie movie = checkMovieFile(driven->path());
  EXPECT_THAT(movie.findings, testing::IsEmpty());
  ASSERT_NE(movie.video(), nullptr);
  std::vector<std::int64_t> times;
  for (const CheckedSample& sample : movie.video()->samples) {
    times.push_back(sample.time);
    EXPECT_GE(sample.duration, 0);
  }
  EXPECT_EQ(times, expected.timesInFile);
  EXPECT_EQ(static_cast<std::int64_t>(movie.video()->mediaDuration), expected.lengthMs);
}

INSTANTIATE_TEST_SUITE_P(
    All, ClockThat,
    testing::Values(
        ClockCase{"Runs", {{100}, {140}, {180}}, {{0, 40}, {40, 40}, {80, 1}}, {0, 40, 80}, 82},
        ClockCase{"Stands", {{100}, {100}, {140}}, {{0, 0}, {0, 40}, {40, 1}}, {0, 0, 40}, 42},
        ClockCase{
            "Wraps", {{4294967276U}, {20}, {60}}, {{0, 40}, {40, 40}, {80, 1}}, {0, 40, 80}, 82},
        ClockCase{"StepsBack",
                  {{100}, {140}, {130}, {180}},
                  {{0, 40}, {40, 4294967286}, {30, 50}, {80, 1}},
                  {0, 40, 40, 80},
                  82},
        ClockCase{"JumpsAlmostAWholeTurn",
                  {{100}, {140}, {140 + kDays49}, {180}},
                  {{0, 40}, {40, kDays49}, {39, 41}, {80, 1}},
                  {0, 40, 40, 80},
                  82},
        ClockCase{"PausesShortly",
                  {{100}, {140}, {740, true}, {780}},
                  {{0, 40}, {40, 600}, {640, 40}, {680, 1}},
                  {0, 40, 640, 680},
                  682},
        ClockCase{"PausesLong",
                  {{100}, {140}, {90000, true}, {90040}},
                  {{0, 40}, {40, 1000}, {1040, 40}, {1080, 1}},
                  {0, 40, 1040, 1080},
                  1082},
        ClockCase{"StandsInAPause",
                  {{100}, {140}, {140, true}, {180}},
                  {{0, 40}, {40, 0}, {40, 40}, {80, 1}},
                  {0, 40, 40, 80},
                  82},
        ClockCase{"StepsBackInAPause",
                  {{5000}, {5040}, {4000, true}, {4040}},
                  {{0, 40}, {40, 1000}, {1040, 40}, {1080, 1}},
                  {0, 40, 1040, 1080},
                  1082},
        ClockCase{"JumpsInAPause",
                  {{100}, {140}, {140 + kDays49, true}, {179 + kDays49 + 1}},
                  {{0, 40}, {40, 1000}, {1040, 40}, {1080, 1}},
                  {0, 40, 1040, 1080},
                  1082},
        ClockCase{"WrapsInAPause",
                  {{4294967200U}, {4294967240U}, {344, true}, {384}},
                  {{0, 40}, {40, 400}, {440, 40}, {480, 1}},
                  {0, 40, 440, 480},
                  482}),
    [](const auto& each) { return each.param.name; });

}  // namespace
}  // namespace vx::test
