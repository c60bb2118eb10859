// Frames in bursts faster than any encoder, with silence between them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <condition_variable>
#include <fstream>
#include <mutex>

#include "stress/form.h"
#include "stress/recorder_with_parts.h"
#include "stress/reporting_file.h"
#include "support/frame_source.h"
#include "support/movie_checker.h"
#include "support/program.h"
#include "support/temporary_folder.h"

namespace vx::test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kBurst = 500;

/// How many pictures are committed, for whoever waits for them.
class CommitCounter {
 public:
  void set(std::int64_t pictures) {
    {
      std::lock_guard lock(_mutex);
      _pictures = pictures;
    }
    _changed.notify_all();
  }
  bool waitFor(std::int64_t pictures) {
    std::unique_lock lock(_mutex);
    return _changed.wait_for(lock, kBound, [&] { return _pictures >= pictures; });
  }

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  std::int64_t _pictures = 0;  // guarded by _mutex
};

std::int64_t residentKibibytes() {
  std::ifstream statistics("/proc/self/statm");
  std::int64_t all = 0;
  std::int64_t resident = 0;
  statistics >> all >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

/// A recorder that refuses what it has no room for, as a live host's does.
class BurstHost {
 public:
  BurstHost(const std::string& folder, const std::shared_ptr<CommitCounter>& commits)
      : _recorder(VXVideoRecorder::initWithDelegate(_ear)) {
    _recorder->setStoragePath(folder);
    _recorder->setFilename("bursts.mp4");
    WriterParts parts;
    parts.createFile = [commits](const std::string& path,
                                 std::unique_ptr<mp4::RecordingFile>& out) {
      std::unique_ptr<mp4::RecordingFile> file;
      Status status = mp4::RecordingFile::create(path, file);
      out = std::make_unique<ReportingFile>(
          std::move(file), [commits](std::int64_t pictures) { commits->set(pictures); });
      return status;
    };
    startWithParts(*_recorder, folder + "/bursts.mp4", parts, CGSizeMake(320, 240));
  }

  /// All at once. Returns how many frames have been written so far, which excludes the held one.
  std::int64_t burst() {
    for (int i = 0; i < kBurst; ++i) {
      const bool isTaken = _recorder->videoWriterInput()->isReadyForMoreMediaData();
      _recorder->appendVideoSample(
          {{"timestamp", _nextMs++},
           {"frameBuffer",
            NSData::dataWithBytesNoCopy(_picture.bytes.data(), _picture.bytes.size())},
           {"pixelFormatType", _picture.format},
           {"width", _picture.width},
           {"height", _picture.height},
           {"bytesPerRow", _picture.bytesPerRow}});
      _offered += isTaken ? 1 : 0;
    }
    return _offered - 1;
  }
  std::int64_t lines() const { return static_cast<std::int64_t>(_ear->lines().size()); }
  bool stop() {
    _recorder->stop();
    return _ear->waitForFilesDone();
  }

 private:
  std::shared_ptr<RememberingDelegate> _ear = std::make_shared<RememberingDelegate>();
  std::shared_ptr<VXVideoRecorder> _recorder;
  SourceFrame _picture = makeSourceFrame(kCVPixelFormatType_32BGRA, 320, 240, quarters(320, 240));
  std::uint32_t _nextMs = 0;
  std::int64_t _offered = 0;
};

TEST(Bursts, AreCommittedWithoutAnotherFrameAndTakeBoundedMemory) {
  const TemporaryFolder folder;
  const auto commits = std::make_shared<CommitCounter>();
  BurstHost host(folder.path(), commits);
  const int bursts = rounds(3, 50);
  std::int64_t early = 0;
  std::int64_t most = 0;
  std::int64_t longestMs = 0;
  for (int i = 0; i < bursts; ++i) {
    // A frame may be refused at the last moment, after the input was ready for it.
    const std::int64_t written = host.burst() - 1;
    const Clock::time_point silence = Clock::now();
    ASSERT_TRUE(commits->waitFor(written)) << "nothing but the clock commits them";
    longestMs = std::max<std::int64_t>(
        longestMs,
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - silence).count());
    most = std::max(most, residentKibibytes());
    early = i == 1 ? residentKibibytes() : early;
  }
  EXPECT_GT(host.lines(), 0) << "what there is no room for is refused with a line";
  ASSERT_TRUE(host.stop());
  const CheckedMovie movie = checkMovieFile(folder / "bursts.mp4");
  EXPECT_THAT(movie.findings, testing::IsEmpty());
  EXPECT_EQ(movie.form, MovieForm::plain);
  report("bursts of " + std::to_string(kBurst) + " frames, then silence | " +
         std::to_string(bursts) +
         " bursts | what there was no room for, with a line each; committed " +
         std::to_string(longestMs) + " ms after the last frame at most; " +
         std::to_string(most - early) + " KiB more memory than after the second burst");
}

}  // namespace
}  // namespace vx::test
