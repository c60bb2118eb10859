// The writer's parts where an allocation fails: each says so, and none raises.
#include "VXVideoRecorder/platform/AVFoundation.h"
#include "platform/avfoundation/asset_writer_fixture.h"
#include "platform/avfoundation/bounded_queue.h"
#include "platform/avfoundation/encoder/frame_converter.h"
#include "platform/avfoundation/file_asset_writer.h"
#include "platform/avfoundation/mp4/recording_file.h"
#include "platform/avfoundation/outstanding_work.h"
#include "support/audio_buffers.h"
#include "support/failing_memory.h"
#include "support/pixel_buffers.h"

#include <array>
#include <functional>
#include <future>
#include <set>

namespace vx {
namespace {

using test::FailingMemory;

constexpr FailingMemory::Source kNew = FailingMemory::Source::operatorNew;
constexpr FailingMemory::Extent kOne = FailingMemory::Extent::one;

/// Calls `step` with its first, second, ... allocation failing, until none does any more.
void withEachAllocationFailing(const std::function<void()>& prepare,
                               const std::function<void()>& step,
                               const std::function<void()>& check) {
  bool hasFailed = true;
  for (std::int64_t k = 0; hasFailed; ++k) {
    prepare();
    {
      const FailingMemory failing(kNew, kOne, k);
      step();
      hasFailed = FailingMemory::count() > k;
    }
    check();
  }
}

TEST(QueueWithoutMemory, TakesNothingAndGoesOn) {
  BoundedQueue<int> queue({1000, 1000});
  int taken = 0;
  {
    const FailingMemory failing(kNew, FailingMemory::Extent::allFromThere, 0);
    while (taken < 1000 && queue.tryPush(int{taken}, 0)) ++taken;
  }
  ASSERT_LT(taken, 1000) << "room for all of them was there beforehand";
  EXPECT_TRUE(queue.tryPush(int{taken}, 0));
  for (int i = 0; i <= taken; ++i) EXPECT_EQ(queue.pop(), i);
}

TEST(ThreadWithoutMemory, IsNotStarted) {
  std::array<char, 100> large{};  // more than a function holds without an allocation
  for (const std::int64_t failing : {0, 1}) {
    const FailingMemory memory(kNew, kOne, failing);
    EXPECT_FALSE(outstanding_work::startThread("never", [large] {
      ADD_FAILURE() << "it runs" << large.data();
    })) << failing;
  }
}

TEST(FrameConverterWithoutMemory, SaysSoAndConvertsTheNextPicture) {
  const PixelBuffer picture = makePixelBuffer(30, 20, kCVPixelFormatType_32BGRA);
  int shortages = 0;
  std::optional<FrameConverter> converter;
  Status status;
  PlanarPicture converted;
  withEachAllocationFailing(
      [&] { converter.emplace(64, 48); },
      [&] { status = converter->convert(picture.get(), converted); },
      [&] {
        shortages += status.ok() ? 0 : 1;
        EXPECT_TRUE(status.ok() || status.error().code() == AVErrorOutOfMemory);
        EXPECT_TRUE(converter->convert(picture.get(), converted).ok());
        EXPECT_EQ(converted.width, 64);
      });
  EXPECT_GE(shortages, 2) << "the picture and the one it is scaled from take memory";
}

TEST(RecordingFileWithoutMemory, IsNotCreatedAndCanBeLater) {
  const TemporaryFolder folder;
  const std::string path = folder / "a.mp4";
  std::unique_ptr<mp4::RecordingFile> file;
  Status status;
  std::set<std::int64_t> errors;
  withEachAllocationFailing([&] { file.reset(); },
                            [&] { status = mp4::RecordingFile::create(path, file); },
                            [&] {
                              EXPECT_EQ(status.ok(), file != nullptr);
                              if (!status.ok()) errors.insert(status.error().code());
                            });
  EXPECT_EQ(errors, std::set<std::int64_t>{AVErrorOutOfMemory});
}

/// Does not work, and needs no memory to say so.
class NoEncoder final : public VideoEncoder {
 public:
  Status open(const VideoEncoderSettings&) override { return _error; }
  const ParameterSets& parameterSets() const override { return _sets; }
  Status encode(const PlanarPicture&, const PictureRequest&, AccessUnit&) override {
    return _error;
  }

 private:
  const Status _error = NSError("Test", 1, "none");
  ParameterSets _sets;
};

using AssetWriterWithoutMemory = AssetWriterTest;

TEST_F(AssetWriterWithoutMemory, DoesNotStartAndTellsWhy) {
  int shortages = 0;
  bool isStarted = false;
  withEachAllocationFailing(
      [&] {
        WriterParts parts;
        parts.makeEncoder = [] { return std::make_unique<NoEncoder>(); };
        std::filesystem::remove(path);
        writer = makeFileAssetWriter(NSURL::fileURLWithPath(path), parts);
        writer->addInput(makeInput(64, 48));
      },
      [&] { isStarted = writer->startWriting(); },
      [&] {
        if (!isStarted) {
          ++shortages;
          EXPECT_EQ(writer->status(), AVAssetWriterStatusFailed);
          EXPECT_EQ(writer->error()->code(), AVErrorOutOfMemory);
        }
        finish();
      });
  EXPECT_GE(shortages, 3) << "the file, its threads and what they hold take memory";
}

TEST_F(AssetWriterWithoutMemory, IsToldInPlaceOfAnErrorThatThereIsNoneFor) {
  bool isStarted = true;
  {
    const FailingMemory failing(kNew, kOne, 0);
    isStarted = writer->startWriting();  // it lacks an input
  }
  EXPECT_FALSE(isStarted);
  EXPECT_EQ(writer->status(), AVAssetWriterStatusFailed);
  EXPECT_EQ(writer->error()->code(), AVErrorOutOfMemory);
}

/// Stays where it is opened until it is let go.
class WaitingEncoder final : public VideoEncoder {
 public:
  struct Signals {
    std::promise<void> isThere, mayLeave;
  };
  explicit WaitingEncoder(std::shared_ptr<Signals> signals) : _signals(std::move(signals)) {}
  Status open(const VideoEncoderSettings&) override {
    _signals->isThere.set_value();
    _signals->mayLeave.get_future().wait();
    return NSError("Test", 1, "none");
  }
  const ParameterSets& parameterSets() const override { return _sets; }
  Status encode(const PlanarPicture&, const PictureRequest&, AccessUnit&) override { return {}; }

 private:
  std::shared_ptr<Signals> _signals;
  ParameterSets _sets;
};

TEST_F(AssetWriterWithoutMemory, RefusesASoundThatItCannotRead) {
  const auto audio =
      AVAssetWriterInput::assetWriterInputWithMediaType(AVMediaTypeAudio, std::nullopt);
  const auto signals = std::make_shared<WaitingEncoder::Signals>();
  WriterParts parts;
  parts.makeEncoder = [signals] { return std::make_unique<WaitingEncoder>(signals); };
  writer = makeFileAssetWriter(NSURL::fileURLWithPath(path), parts);
  writer->addInput(audio);
  startSession();
  signals->isThere.get_future().wait();  // from here on only this thread needs memory
  constexpr std::uint8_t kUnit[] = {0x21, 0x10, 0x04, 0x60, 0x8C, 0x1C};
  const auto sound = test::AudioBufferBuilder().at(kCMTimeZero).unit(kUnit).build();
  bool isTaken = true;
  {
    const FailingMemory failing(kNew, kOne, 0);
    isTaken = audio->appendSampleBuffer(sound.get());
  }
  EXPECT_FALSE(isTaken);
  EXPECT_EQ(writer->status(), AVAssetWriterStatusWriting);
  EXPECT_TRUE(audio->appendSampleBuffer(sound.get()));
  signals->mayLeave.set_value();
  finish();
}

}  // namespace
}  // namespace vx
