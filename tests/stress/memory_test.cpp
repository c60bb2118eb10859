// Each allocation of a recording fails in turn: nothing ends the program, nothing leaks, and the
// file opens.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "VXVideoRecorder/VXVideoRecorder.h"
#include "stress/child.h"
#include "stress/form.h"
#include "stress/threads.h"
#include "support/audio_buffers.h"
#include "support/failing_memory.h"
#include "support/frame_source.h"
#include "support/movie_checker.h"
#include "support/temporary_folder.h"

namespace vx::test {
namespace {

using Source = FailingMemory::Source;
using Extent = FailingMemory::Extent;

constexpr int kFrames = 6;

/// What a host has made before memory runs short.
struct Prepared {
  explicit Prepared(const std::string& storage) : folder(storage) {
    for (int i = 0; i < kFrames; ++i) {
      frames.push_back(
          {{"timestamp", static_cast<std::uint32_t>(i * 40)},
           {"frameBuffer", NSData::dataWithBytesNoCopy(picture.bytes.data(), picture.bytes.size())},
           {"pixelFormatType", picture.format},
           {"width", picture.width},
           {"height", picture.height},
           {"bytesPerRow", picture.bytesPerRow}});
      sounds.push_back(AudioBufferBuilder()
                           .stream(aacStream())
                           .at(CMTimeMake(i * 1024, 44100))
                           .unit(silence)
                           .build());
    }
  }

  std::string folder;
  SourceFrame picture = makeSourceFrame(kCVPixelFormatType_32BGRA, 64, 48, quarters(64, 48));
  AudioBytes silence = {0x21, 0x10, 0x04, 0x60, 0x8C, 0x1C};
  std::vector<NSDictionary> frames;
  std::vector<CFRef<CMSampleBufferRef>> sounds;
};

struct Ear : VXVideoRecorderDelegate {
  void writeLog(const std::string&, std::int32_t) override {}
  void writeVideoFileDone() override { ++filesDone; }
  std::atomic<int> filesDone = 0;
};

/// The calls of a host, memory as it may be. Returns once all of the recorder's threads are gone.
void record(const Prepared& host, const std::shared_ptr<Ear>& ear) {
  const std::uint64_t threadsBefore = threadCount();
  {
    const std::shared_ptr<VXVideoRecorder> recorder = VXVideoRecorder::initWithDelegate(ear);
    if (!recorder) {
      return;
    }
    try {
      recorder->setStoragePath(host.folder);  // the host's own copies
      recorder->setFilename("short.mp4");
    } catch (const std::bad_alloc&) {
      return;
    }
    recorder->setAudioEnabled(true);
    for (int i = 0; i < kFrames; ++i) {
      recorder->appendVideoSample(host.frames[static_cast<std::size_t>(i)]);
      recorder->appendAudioSample(host.sounds[static_cast<std::size_t>(i)].get());
      if (i == 3) {
        recorder->pause();
      }
    }
    recorder->stop();
  }
  waitForThreads(threadsBefore);
}

/// What a reader makes of the file. The process has all of its memory again.
void expectReadable(const std::string& path) {
  std::error_code missing;
  const std::uintmax_t size = std::filesystem::file_size(path, missing);
  if (missing || size == 0) {
    return;  // memory was short before there was a picture
  }
  const CheckedMovie movie = checkMovieFile(path, FileEnd::mayBeTorn);
  EXPECT_THAT(movie.findings, testing::IsEmpty());
  ASSERT_NE(movie.video(), nullptr);
  EXPECT_LE(movie.video()->samples.size(), 2 * kFrames);
}

struct Shortage {
  const char* name;
  Source source;
  Extent extent;

  friend void PrintTo(const Shortage& shortage, std::ostream* out) { *out << shortage.name; }
};

/// A row of the result table.
std::string rowOf(const Shortage& shortage, std::int64_t times, std::int64_t all) {
  return std::string(shortage.source == Source::malloc ? "`malloc` number k" : "`new` number k") +
         (shortage.extent == Extent::one ? " fails" : " and every one after it fail") + " | " +
         (times > all ? "each k" : std::to_string(times) + " k") + " from 1 to " +
         std::to_string(all) +
         (FailingMemory::hasMalloc() ? " | no crash, the file reads"
                                     : ", under the address sanitizer | no crash, no leak");
}

class AllocationFails : public testing::TestWithParam<Shortage> {
 protected:
  /// Runs in a process of its own, where a crash or a leak is an exit status.
  static void recordAgainAndAgain(const Shortage& shortage, const std::string& folder, int most,
                                  const Teller& teller) {
    std::thread([] {
    }).join();  // a sanitizer's own thread comes with the first, and is counted then
    const Prepared host(folder);
    const std::string path = folder + "/short.mp4";
    const auto quiet = std::make_shared<Ear>();
    record(host, quiet);  // whatever is made once in a process is there now
    record(host, quiet);
    std::int64_t all = 0;
    {
      const FailingMemory never(shortage.source, Extent::one, INT64_MAX);
      record(host, quiet);
      all = FailingMemory::count();
    }
    teller.tell(Message::Kind::accepted, all);
    const std::int64_t step = std::max<std::int64_t>(1, all / most);
    for (std::int64_t k = 0; k < all + step; k += step) {
      teller.tell(Message::Kind::committed, k);
      std::filesystem::remove(path);
      const auto ear = std::make_shared<Ear>();
      {
        const FailingMemory failing(shortage.source, shortage.extent, k);
        record(host, ear);
      }
      EXPECT_LE(ear->filesDone, 1);
      expectReadable(path);
      if (testing::Test::HasFailure()) {
        std::exit(1);
      }
    }
  }
};

TEST_P(AllocationFails, WithoutACrashOrALeak) {
  if (GetParam().source == Source::malloc && !FailingMemory::hasMalloc()) {
    GTEST_SKIP() << "the sanitizer has malloc for itself";
  }
  const TemporaryFolder folder;
  const int most = rounds(40, 100000);
  Child child(
      [&](const Teller& teller) { recordAgainAndAgain(GetParam(), folder.path(), most, teller); });
  std::int64_t last = -1;
  std::int64_t times = 0;
  std::int64_t all = 0;
  while (const auto message = child.next()) {
    if (message->kind == Message::Kind::committed) {
      last = message->value;
      ++times;
    } else {
      all = message->value;
    }
  }
  EXPECT_EQ(child.wait(), 0) << "at allocation " << last;
  report(rowOf(GetParam(), times, all));
}

INSTANTIATE_TEST_SUITE_P(
    All, AllocationFails,
    testing::Values(Shortage{"NewOnce", Source::operatorNew, Extent::one},
                    Shortage{"NewForEver", Source::operatorNew, Extent::allFromThere},
                    Shortage{"MallocOnce", Source::malloc, Extent::one},
                    Shortage{"MallocForEver", Source::malloc, Extent::allFromThere}),
    [](const auto& shortage) { return shortage.param.name; });

}  // namespace
}  // namespace vx::test
