#include "stress/recording_child.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "stress/outside_readers.h"
#include "stress/recorder_with_parts.h"
#include "stress/reporting_file.h"
#include "support/media_reader.h"
#include "support/movie_checker.h"

namespace vx::test {
namespace {

using Kind = Message::Kind;

constexpr int kWidth = 64;
constexpr int kHeight = 48;

}  // namespace

std::uint32_t timeOfFrame(std::int64_t number) {
  std::uint32_t time = 0;
  for (std::int64_t i = 0; i < number; ++i) {
    time += static_cast<std::uint32_t>(7 + i * i % 33);
  }
  return time;
}

// ---- in the process ------------------------------------------------------------------------

struct RecordingHost::Ear : VXVideoRecorderDelegate {
  explicit Ear(const Teller& ear) : teller(ear) {}
  void writeVideoFileDone() override { teller.tell(Kind::done, 0); }
  const Teller& teller;
};

RecordingHost::RecordingHost(const std::string& folder, const Teller& teller,
                             std::function<void()> beforeFinish)
    : _teller(teller),
      _recorder(VXVideoRecorder::initWithDelegate(std::make_shared<Ear>(teller))),
      _frame(
          makeSourceFrame(kCVPixelFormatType_32BGRA, kWidth, kHeight, quarters(kWidth, kHeight))) {
  _recorder->setStoragePath(folder);
  _recorder->setFilename("killed.mp4");
  const ReportingFile::Listener committed = [&teller](std::int64_t pictures) {
    teller.tell(Kind::committed, pictures);
  };
  const ReportingFile::Listener finishing = [&teller, beforeFinish](std::int64_t pictures) {
    teller.tell(Kind::finishing, pictures);
    if (beforeFinish) {
      beforeFinish();
    }
  };
  WriterParts parts;
  parts.createFile = [=](const std::string& path, std::unique_ptr<mp4::RecordingFile>& out) {
    std::unique_ptr<mp4::RecordingFile> file;
    Status status = mp4::RecordingFile::create(path, file);
    out = std::make_unique<ReportingFile>(std::move(file), committed, finishing);
    return status;
  };
  startWithParts(*_recorder, folder + "/killed.mp4", parts, CGSizeMake(kWidth, kHeight));
}

void RecordingHost::append() {
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

void RecordingHost::record(std::int64_t frames) {
  const auto start = std::chrono::steady_clock::now();
  while (_next < frames) {
    std::this_thread::sleep_until(start + std::chrono::milliseconds(timeOfFrame(_next)));
    append();
  }
}

void RecordingHost::stop() {
  // The held frame needs room too.
  _recorder->videoWriterInput()->waitUntilReadyForMoreMediaData(std::chrono::minutes(1));
  _teller.tell(Kind::stopping, 0);
  _recorder->stop();
}

// ---- what it told, and what it left ----------------------------------------------------------

std::int64_t RecordingChild::committed() const {
  std::int64_t most = 0;
  for (const Message& message : child.messages()) {
    most = message.kind == Kind::committed ? std::max(most, message.value) : most;
  }
  return most;
}

std::int64_t RecordingChild::acceptedBefore(std::int64_t nanoseconds) const {
  return std::count_if(child.messages().begin(), child.messages().end(),
                       [nanoseconds](const Message& message) {
                         return message.kind == Kind::accepted && message.nanoseconds < nanoseconds;
                       });
}

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

}  // namespace vx::test
