// What needs the clock: live recordings on a disk that loses power or takes its time. Run by
// scripts/run-faults only.
#include "faults/fault_disk.h"
#include "faults/power_cut.h"
#include "stress/form.h"
#include "stress/outside_readers.h"
#include "support/movie_checker.h"
#include "support/movie_reader.h"
#include "support/recorder_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <thread>

namespace vx::test {
namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;
using testing::IsEmpty;

std::string rounded(double value) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.2f", value);
  return text.data();
}

/// A recording in real time, with what the host saw.
class LiveRecording {
 public:
  struct Frame {
    Clock::time_point appended;  // when the host's call returned
    double callMs = 0;
    double processorMs = 0;  // that the call spent running
  };

  explicit LiveRecording(const std::string& folder) {
    _recorder->setStoragePath(folder);
    _recorder->setFilename("movie.mp4");
  }

  void run(std::chrono::milliseconds duration, std::chrono::milliseconds interval) {
    const Clock::time_point start = Clock::now();
    for (auto time = std::chrono::milliseconds(0); time < duration; time += interval) {
      std::this_thread::sleep_until(start + time);
      const auto ms = static_cast<std::uint32_t>(time.count());
      const NSDictionary frame =
          FrameBuilder().at(ms).size(160, 120).grey(static_cast<std::uint8_t>(ms / 10)).build();
      const double processorBefore = processorMs();
      const std::int64_t waitsBefore = waits();
      const Clock::time_point before = Clock::now();
      _recorder->appendVideoSample(frame);
      const Clock::time_point after = Clock::now();
      frames.push_back(
          {after, Milliseconds(after - before).count(), processorMs() - processorBefore});
      if (frames.size() > 1) waited += waits() - waitsBefore;  // the first one opens the file
    }
    _recorder->stop();
    EXPECT_TRUE(_delegate->waitForFilesDone());
  }

  std::size_t refused() const {
    std::size_t count = 0;
    for (const auto& line : _delegate->lines())
      count += line.message.find("sample not appended") != std::string::npos ? 1 : 0;
    return count;
  }
  /// Of the host's calls, the first of which opens the file.
  double percentile(double share, double Frame::*time = &Frame::callMs) const {
    std::vector<double> times;
    for (std::size_t i = 1; i < frames.size(); ++i) times.push_back(frames[i].*time);
    std::sort(times.begin(), times.end());
    return times[static_cast<std::size_t>(share * static_cast<double>(times.size() - 1))];
  }

  std::vector<Frame> frames;
  std::int64_t waited = 0;  // how often the host's calls gave the processor up

 private:
  static double processorMs() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
  }
  static std::int64_t waits() {
    rusage usage{};
    ::getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
  }

  std::shared_ptr<RememberingDelegate> _delegate = std::make_shared<RememberingDelegate>();
  std::shared_ptr<VXVideoRecorder> _recorder = VXVideoRecorder::initWithDelegate(_delegate);
};

// ---- the power goes ------------------------------------------------------------------------

class LivePowerCut : public testing::TestWithParam<std::size_t> {
 protected:
  LivePowerCut() : recording(folder.path()) {
    {
      FaultDisk disk(folder.path());
      recording.run(std::chrono::seconds(12), std::chrono::milliseconds(33));
      records = disk.records();
    }
    finished = readWholeFile(folder / "movie.mp4");
    movie = checkMovie(finished);
    EXPECT_THAT(movie.findings, IsEmpty());
    EXPECT_EQ(movie.video()->samples.size(), recording.frames.size());
    for (const DiskRecord& record : records)
      if (record.event.call == DiskCall::sync)
        longestSyncMs = std::max(longestSyncMs, Milliseconds(record.end - record.start).count());
  }

  /// From here on the file has its first picture.
  Clock::time_point firstMoment() const {
    const auto isPublication = [](const DiskRecord& each) {
      return each.event.call == DiskCall::write && each.bytes.size() == 4;
    };
    return std::find_if(records.begin(), records.end(), isPublication)->end;
  }
  std::size_t callsUntil(Clock::time_point moment) const {
    return static_cast<std::size_t>(
        std::count_if(records.begin(), records.end(),
                      [&](const DiskRecord& each) { return each.end <= moment; }));
  }
  /// The pictures in a state, compared with the finished movie's.
  std::size_t comparePictures(const Bytes& state) const {
    const CheckedMovie found = checkMovie(state, FileEnd::mayBeTorn);
    EXPECT_THAT(found.findings, IsEmpty());
    const std::size_t count = found.video() == nullptr ? 0 : found.video()->samples.size();
    for (std::size_t i = 0; i < count; ++i) {
      const CheckedSample& sample = found.video()->samples[i];
      const CheckedSample& original = movie.video()->samples.at(i);
      const ByteView bytes = sampleBytes(state, sample);
      const ByteView originalBytes = sampleBytes(finished, original);
      EXPECT_EQ(sample.time, original.time);
      EXPECT_TRUE(
          std::equal(bytes.begin(), bytes.end(), originalBytes.begin(), originalBytes.end()))
          << "picture " << i << " is torn";
    }
    return count;
  }
  void expectOpenEverywhere(const Bytes& state, int number, std::size_t pictures) const {
    const ReadMovie read = readMovie(state, Decode::strictly);
    EXPECT_TRUE(read.isOpen);
    EXPECT_THAT(read.complaints, IsEmpty());
    if (number % 50 != 0 || pictures == 0) return;  // starting programs takes long
    const std::string path = folder / "state.mp4";
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(state.data()),
               static_cast<std::streamsize>(state.size()));
    expectReadByAll(path, static_cast<std::int64_t>(pictures));
  }

  TemporaryFolder folder;
  LiveRecording recording;
  std::vector<DiskRecord> records;
  Bytes finished;
  CheckedMovie movie;
  double longestSyncMs = 0;
};

TEST_P(LivePowerCut, LosesAtMostASecondAndTheLongestSync) {
  const PowerCut cut(records, GetParam());
  Chance chance;
  const Clock::time_point first = firstMoment();
  const auto span =
      std::chrono::duration_cast<std::chrono::microseconds>(records.back().end - first);
  double mostLostMs = 0;
  const int states = rounds(20, 1000);
  for (int number = 0; number < states; ++number) {
    const Clock::time_point moment =
        first + std::chrono::microseconds(chance.between(0, span.count()));
    SCOPED_TRACE("state " + std::to_string(number));
    const Bytes state = cut.stateAfter(callsUntil(moment), chance);
    const std::size_t kept = comparePictures(state);
    expectOpenEverywhere(state, number, kept);
    // A frame is handed to the writer when the next one tells how long it lasts.
    if (kept + 1 < recording.frames.size() && recording.frames[kept + 1].appended < moment)
      mostLostMs =
          std::max(mostLostMs, Milliseconds(moment - recording.frames[kept + 1].appended).count());
    if (HasFailure()) return;
  }
  EXPECT_LE(mostLostMs, 1000 + longestSyncMs);
  report("power cut in a live recording, blocks of " + std::to_string(GetParam()) + " B | " +
         std::to_string(states) + " states | all open, no torn frame, at most " +
         rounded(mostLostMs) + " ms lost (longest sync " + rounded(longestSyncMs) + " ms)");
}

INSTANTIATE_TEST_SUITE_P(Blocks, LivePowerCut, testing::Values(512, 4096),
                         [](const auto& each) { return std::to_string(each.param); });

// ---- a disk that takes its time ------------------------------------------------------------

TEST(SlowDiskLive, DoesNotDelayTheHost) {
  std::string line = "a disk that takes 0, 0.2, 0.5, 1, 2, 5 s per sync, 60 fps | 6 recordings |";
  for (const int delayMs : {0, 200, 500, 1000, 2000, 5000}) {
    TemporaryFolder folder;
    LiveRecording recording(folder.path());
    FaultDisk disk(folder.path(), [delayMs](const DiskEvent& event) {
      if (event.call == DiskCall::sync)
        std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
      return DiskAnswer{};
    });
    recording.run(std::chrono::milliseconds(std::max(5000, 3 * delayMs)),
                  std::chrono::milliseconds(16));
    const CheckedMovie movie = checkMovieFile(folder / "movie.mp4");
    EXPECT_THAT(movie.findings, IsEmpty());
    EXPECT_EQ(movie.video()->samples.size(), recording.frames.size() - recording.refused());
    line += " " + std::to_string(delayMs) + " ms: p50 " + rounded(recording.percentile(0.5)) +
            ", p99 " + rounded(recording.percentile(0.99)) + " ms a call, p99 " +
            rounded(recording.percentile(0.99, &LiveRecording::Frame::processorMs)) +
            " ms of the processor, " + std::to_string(recording.waited) + " waits in " +
            std::to_string(recording.frames.size()) + " calls, " +
            std::to_string(recording.refused()) + " refused;";
  }
  report(line + " no accepted frame lost");
}

}  // namespace
}  // namespace vx::test
