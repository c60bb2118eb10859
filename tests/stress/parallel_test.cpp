// Many recorders at once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "VXVideoRecorder/VXVideoRecorder.h"
#include "stress/form.h"
#include "support/audio_buffers.h"
#include "support/frame_source.h"
#include "support/movie_checker.h"
#include "support/temporary_folder.h"

namespace vx::test {
namespace {

constexpr int kRecorders = 8;
constexpr int kUnitSamples = 1024;
const AudioBytes kSilence = {0x21, 0x10, 0x04, 0x60, 0x8C, 0x1C};

/// One recording with pictures and sound, on the calling thread.
class LiveRecording {
 public:
  LiveRecording(const std::string& folder, const std::string& name)
      : _driven(DrivenRecorder::make(folder, name)) {
    _driven->recorder().setAudioEnabled(true);
  }
  void appendFrame() {
    _driven->append(_picture, static_cast<std::uint32_t>(_frames++ * 20));
    if (_frames % 1000 == 0) {
      _driven->pause();
    }
    const auto sound = AudioBufferBuilder()
                           .stream(aacStream())
                           .at(CMTimeMake(_sounds++ * kUnitSamples, 44100))
                           .unit(kSilence)
                           .build();
    _driven->recorder().appendAudioSample(sound.get());
  }
  /// Stops; whether the file is whole with every frame in it.
  bool stop() {
    const bool isDone = _driven->stop();
    const CheckedMovie movie = checkMovieFile(_driven->path());
    EXPECT_THAT(movie.findings, testing::IsEmpty()) << _driven->path();
    return isDone && movie.form == MovieForm::plain && movie.video() != nullptr &&
           static_cast<std::int64_t>(movie.video()->samples.size()) == _frames &&
           movie.audio() != nullptr && !movie.audio()->samples.empty();
  }

 private:
  std::shared_ptr<DrivenRecorder> _driven;
  SourceFrame _picture = makeSourceFrame(kCVPixelFormatType_32BGRA, 64, 48, quarters(64, 48));
  std::int64_t _frames = 0;
  std::int64_t _sounds = 0;
};

/// Runs `body` with the numbers from 0 on, each on a thread of its own; how often it was true.
template <typename Body>
int onThreads(Body body) {
  std::atomic<int> successes = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kRecorders; ++i) {
    threads.emplace_back([&, i] { successes += body(i) ? 1 : 0; });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  return successes;
}

std::string nameOf(int number) { return "parallel_" + std::to_string(number) + ".mp4"; }

TEST(Parallel, RecordersDoNotDisturbEachOther) {
  const TemporaryFolder folder;
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(rounds(1, 60));
  const int whole = onThreads([&](int number) {
    LiveRecording recording(folder.path(), nameOf(number));
    do {
      recording.appendFrame();
    } while (std::chrono::steady_clock::now() < end);
    return recording.stop();
  });
  EXPECT_EQ(whole, kRecorders);
  report("recordings of " + std::to_string(rounds(1, 60)) +
         " s side by side, with sound, under the thread sanitizer | " + std::to_string(kRecorders) +
         " recorders | nothing, " + std::to_string(whole) + " files whole, no report");
}

TEST(Parallel, StartsAndStopsDoNotDisturbEachOther) {
  const TemporaryFolder folder;
  const int each = rounds(2, 63);
  std::atomic<int> whole = 0;
  onThreads([&](int number) {
    for (int i = 0; i < each; ++i) {
      LiveRecording recording(folder.path(), nameOf(number));
      for (int frame = 0; frame < 3; ++frame) {
        recording.appendFrame();
      }
      whole += recording.stop() ? 1 : 0;
    }
    return true;
  });
  EXPECT_EQ(whole, each * kRecorders);
  report("start, three frames, stop, on 8 threads, under the thread sanitizer | " +
         std::to_string(each * kRecorders) + " recordings | nothing, " + std::to_string(whole) +
         " files whole, no report");
}

}  // namespace
}  // namespace vx::test
