// A recording process is killed: at any moment of a live recording, and within the finish.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <thread>

#include "stress/child.h"
#include "stress/form.h"
#include "stress/outside_readers.h"
#include "stress/recorder_with_parts.h"
#include "stress/reporting_file.h"
#include "support/frame_source.h"
#include "support/media_reader.h"
#include "support/movie_checker.h"
#include "support/temporary_folder.h"

namespace vx::test {
namespace {

using Kind = Message::Kind;
using std::chrono::milliseconds;

constexpr int kWidth = 64;
constexpr int kHeight = 48;
constexpr std::int64_t kNanosecondsPerMillisecond = 1000000;

/// The time of a frame in the file: irregular, as a display's frames are, 7 to 39 ms apart.
std::uint32_t timeOfFrame(std::int64_t number) {
  std::uint32_t time = 0;
  for (std::int64_t i = 0; i < number; ++i) {
    time += static_cast<std::uint32_t>(7 + i * i % 33);
  }
  return time;
}

/// What runs in the process that is killed: a recorder with the real encoder and the real file.
class Host {
 public:
  Host(const std::string& folder, const Teller& teller) : _teller(teller) {
    _recorder->setStoragePath(folder);
    _recorder->setFilename("killed.mp4");
    WriterParts parts;
    parts.createFile = [&teller](const std::string& path,
                                 std::unique_ptr<mp4::RecordingFile>& out) {
      std::unique_ptr<mp4::RecordingFile> file;
      Status status = mp4::RecordingFile::create(path, file);
      out = std::make_unique<ReportingFile>(std::move(file), [&teller](std::int64_t pictures) {
        teller.tell(Kind::committed, pictures);
      });
      return status;
    };
    startWithParts(*_recorder, folder + "/killed.mp4", parts, CGSizeMake(kWidth, kHeight));
  }

  /// Hands over a frame when there is room, and says that it was taken.
  void append() {
    _recorder->videoWriterInput()->waitUntilReadyForMoreMediaData(std::chrono::minutes(1));
    _recorder->appendVideoSample(
        {{"timestamp", timeOfFrame(_next)},
         {"frameBuffer", NSData::dataWithBytesNoCopy(_frame.bytes.data(), _frame.bytes.size())},
         {"pixelFormatType", _frame.format},
         {"width", _frame.width},
         {"height", _frame.height},
         {"bytesPerRow", _frame.bytesPerRow}});
    _teller.tell(Kind::accepted, _next++);
  }
  /// Frames at the pace of their times.
  void record(std::int64_t frames) {
    const auto start = std::chrono::steady_clock::now();
    while (_next < frames) {
      std::this_thread::sleep_until(start + milliseconds(timeOfFrame(_next)));
      append();
    }
  }
  void stop() {
    _teller.tell(Kind::stopping, 0);
    _recorder->stop();
  }

 private:
  struct Ear : VXVideoRecorderDelegate {
    explicit Ear(const Teller& ear) : teller(ear) {}
    void writeVideoFileDone() override { teller.tell(Kind::done, 0); }
    const Teller& teller;
  };

  const Teller& _teller;
  std::shared_ptr<VXVideoRecorder> _recorder =
      VXVideoRecorder::initWithDelegate(std::make_shared<Ear>(_teller));
  SourceFrame _frame =
      makeSourceFrame(kCVPixelFormatType_32BGRA, kWidth, kHeight, quarters(kWidth, kHeight));
  std::int64_t _next = 0;
};

/// One process that records into a folder of its own.
struct Victim {
  explicit Victim(const std::function<void(Host&)>& body)
      : child([&](const Teller& teller) {
          Host host(folder.path(), teller);
          body(host);
        }) {}

  std::string path() const { return folder / "killed.mp4"; }
  std::int64_t committed() const {
    std::int64_t most = 0;
    for (const Message& message : child.messages()) {
      most = message.kind == Kind::committed ? std::max(most, message.value) : most;
    }
    return most;
  }
  std::int64_t acceptedBefore(std::int64_t nanoseconds) const {
    std::int64_t count = 0;
    for (const Message& message : child.messages()) {
      count += message.kind == Kind::accepted && message.nanoseconds < nanoseconds ? 1 : 0;
    }
    return count;
  }

  TemporaryFolder folder;
  Child child;
};

/// The file opens everywhere, holds the first frames with their exact times, and these many at
/// least. Returns how many.
std::int64_t expectFirstFrames(const std::string& path, std::int64_t atLeast) {
  const std::vector<std::int64_t> times = readFile(path).videoTimesMs();
  const auto count = static_cast<std::int64_t>(times.size());
  expectReadByAll(path, count);
  const CheckedMovie checked = checkMovieFile(path, FileEnd::mayBeTorn);
  EXPECT_THAT(checked.findings, testing::IsEmpty()) << path;
  EXPECT_NE(checked.form, MovieForm::none) << path;
  EXPECT_GE(count, atLeast) << path;
  for (std::int64_t i = 0; i < count; ++i) {
    EXPECT_EQ(times[static_cast<std::size_t>(i)], timeOfFrame(i)) << path;
  }
  return count;
}

// So many record at a time that the moments of their deaths do not wait for each other.
constexpr int kAtATime = 8;
constexpr std::int64_t kWithoutEnd = 1000000;

struct LiveLosses {
  int opened = 0;
  std::int64_t mostMs = 0;
};

void judge(const Victim& victim, std::int64_t moment, LiveLosses& losses) {
  const std::int64_t due = victim.acceptedBefore(moment - 1000 * kNanosecondsPerMillisecond);
  const std::int64_t kept = expectFirstFrames(victim.path(), std::max(due, victim.committed()));
  const std::int64_t accepted = victim.acceptedBefore(moment);
  if (kept < accepted) {
    losses.mostMs =
        std::max<std::int64_t>(losses.mostMs, timeOfFrame(accepted - 1) -
                                                  timeOfFrame(std::max<std::int64_t>(kept, 1) - 1));
  }
  ++losses.opened;
}

TEST(Killed, AtAnyMomentOfALiveRecordingKeepsAllButTheLastSecond) {
  Chance chance;
  const int kills = rounds(6, 200);
  LiveLosses losses;
  for (int done = 0; done < kills && !HasFailure(); done += kAtATime) {
    std::vector<std::pair<std::int64_t, std::unique_ptr<Victim>>> victims;
    for (int i = done; i < std::min(done + kAtATime, kills); ++i) {
      auto victim = std::make_unique<Victim>([](Host& host) { host.record(kWithoutEnd); });
      // From the first committed picture on: before it there is nothing to keep.
      ASSERT_TRUE(victim->child.waitFor(Kind::committed));
      const std::int64_t afterMs =
          i % 4 == 0 ? chance.between(0, 2000) : chance.between(2000, 5000);
      victims.emplace_back(nowNanoseconds() + afterMs * kNanosecondsPerMillisecond,
                           std::move(victim));
    }
    std::sort(victims.begin(), victims.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    for (auto& [moment, victim] : victims) {
      std::this_thread::sleep_for(std::chrono::nanoseconds(moment - nowNanoseconds()));
      moment = victim->child.kill();
    }
    for (const auto& [moment, victim] : victims) {
      judge(*victim, moment, losses);
    }
  }
  EXPECT_EQ(losses.opened, kills);
  report("SIGKILL in a live recording: " + std::to_string(losses.opened) + " of " +
         std::to_string(kills) + " open, at most " + std::to_string(losses.mostMs) + " ms lost");
}

TEST(Killed, WithinTheFinishLeavesOneOfTheTwoForms) {
  Chance chance;
  const int kills = rounds(10, 200);
  int within = 0;
  int fragmented = 0;
  std::int64_t longest = 20 * kNanosecondsPerMillisecond;
  for (int tries = 0; within < kills && tries < 20 * kills && !HasFailure(); ++tries) {
    Victim victim([](Host& host) {
      host.record(40);
      host.stop();
      pause();
    });
    ASSERT_TRUE(victim.child.waitFor(Kind::stopping));
    const std::int64_t stopping = victim.child.messages().back().nanoseconds;
    const std::int64_t moment = stopping + chance.between(0, longest);
    while (nowNanoseconds() < moment) {
    }
    victim.child.kill();
    if (const Message& last = victim.child.messages().back(); last.kind == Kind::done) {
      longest = last.nanoseconds - stopping;  // too late, but now it is known how long it lasts
      continue;
    }
    ++within;
    expectFirstFrames(victim.path(), victim.committed());
    fragmented += checkMovieFile(victim.path(), FileEnd::mayBeTorn).form == MovieForm::fragmented;
  }
  EXPECT_EQ(within, kills);
  report("SIGKILL within the finish: " + std::to_string(within) + " of " + std::to_string(kills) +
         " open with every committed frame, " + std::to_string(fragmented) + " fragmented, " +
         std::to_string(within - fragmented) + " final");
}

}  // namespace
}  // namespace vx::test
