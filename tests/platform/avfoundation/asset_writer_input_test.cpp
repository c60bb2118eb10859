// Inputs: what they take from a sample, and when they take one.
#include "platform/avfoundation/asset_writer_fixture.h"

#include "platform/avfoundation/file_asset_writer.h"
#include "support/audio_buffers.h"
#include "support/media_reader.h"

#include <limits>

namespace vx {
namespace {

using testing::ElementsAre;

using VideoInputTest = AssetWriterTest;

CFRef<CMSampleBufferRef> unitAt(std::int64_t ms) {
  constexpr std::uint8_t kUnit[] = {0x21, 0x10, 0x04, 0x60, 0x8C, 0x1C};
  return test::AudioBufferBuilder().at(CMTimeMake(ms, 1000)).unit(kUnit).build();
}

TEST(AssetWriterInput, KeepsAReferenceToItsHint) {
  const AudioStreamBasicDescription stream = test::aacStream();
  CFRef<CMAudioFormatDescriptionRef> hint;
  ASSERT_EQ(
      CMAudioFormatDescriptionCreate(nullptr, &stream, 0, nullptr, 0, nullptr, nullptr, hint.out()),
      noErr);
  auto input =
      AVAssetWriterInput::assetWriterInputWithMediaType(AVMediaTypeAudio, std::nullopt, hint.get());
  EXPECT_EQ(input->sourceFormatHint(), hint.get());
  EXPECT_EQ(CFGetRetainCount(hint.get()), 2);
  input.reset();
  EXPECT_EQ(CFGetRetainCount(hint.get()), 1);
}

TEST(AssetWriterInput, OfAHostsOwnTakesNothingUntilItSaysHow) {
  struct Bare : AVAssetWriterInput {
    Bare() : AVAssetWriterInput(AVMediaTypeVideo, std::nullopt, nullptr) {}
  } bare;
  EXPECT_FALSE(bare.isReadyForMoreMediaData());
  EXPECT_FALSE(bare.waitUntilReadyForMoreMediaData(std::chrono::minutes(1)));
  EXPECT_THROW(bare.appendSampleBuffer(nullptr), NSException);
  EXPECT_THROW(bare.markAsFinished(), NSException);
}

TEST_F(VideoInputTest, HearsTheWishForAKeyFrame) {
  startSession();
  for (const std::int64_t ms : {0, 40, 80}) {
    const auto sample = sampleAt(CMTimeMake(ms, 1000));
    CMSetAttachment(sample.get(), kCMSampleBufferAttachmentKey_ForceKeyFrame,
                    ms == 40 ? kCFBooleanTrue : kCFBooleanFalse, kCMAttachmentMode_ShouldPropagate);
    ASSERT_TRUE(input->appendSampleBuffer(sample.get()));
  }
  finish();
  std::vector<bool> isKey;
  for (const test::Packet& packet : test::readFile(path).packetsOf(test::TrackKind::video)) {
    isKey.push_back(packet.isKey);
  }
  EXPECT_THAT(isKey, ElementsAre(true, true, false));
}

TEST_F(VideoInputTest, LastSampleLastsAsItSaysWhereNoEndOfTheSessionIsTold) {
  startSession();
  ASSERT_TRUE(appendAt(0));
  ASSERT_TRUE(input->appendSampleBuffer(sampleAt(CMTimeMake(40, 1000), 70).get()));
  finish();
  EXPECT_EQ(test::readFile(path).durationMs, 110);
}

TEST_F(VideoInputTest, DurationThatNoClockTellsIsNone) {
  startSession();
  ASSERT_TRUE(appendAt(0));
  const std::int64_t tooLong = (std::int64_t{1} << 32) + 50;
  ASSERT_TRUE(input->appendSampleBuffer(sampleAt(CMTimeMake(40, 1000), tooLong).get()));
  finish();
  EXPECT_EQ(test::readFile(path).durationMs, 40);
}

TEST_F(VideoInputTest, TimeThatNoClockTellsIsRefused) {
  startSession();
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  EXPECT_FALSE(appendAt(kMost));
  EXPECT_FALSE(appendAt(-kMost));
  EXPECT_TRUE(appendAt(0));
  EXPECT_THROW(writer->endSessionAtSourceTime(CMTimeMake(kMost, 1000)), NSException);
  EXPECT_EQ(writer->status(), AVAssetWriterStatusWriting);
}

TEST_F(VideoInputTest, KeepsThePictureAndNotTheSample) {
  startSession();
  const auto sample = sampleAt(kCMTimeZero);
  ASSERT_TRUE(input->appendSampleBuffer(sample.get()));
  EXPECT_EQ(CFGetRetainCount(sample.get()), 1);
  finish();
  EXPECT_EQ(CFGetRetainCount(CMSampleBufferGetImageBuffer(sample.get())), 1);
}

class AudioInputTest : public AssetWriterTest {
 protected:
  std::shared_ptr<AVAssetWriterInput> audio =
      AVAssetWriterInput::assetWriterInputWithMediaType(AVMediaTypeAudio, std::nullopt);
};

TEST_F(AudioInputTest, IsReadyWhileTheWriterIsWriting) {
  EXPECT_FALSE(audio->isReadyForMoreMediaData());
  writer->addInput(audio);
  EXPECT_FALSE(audio->isReadyForMoreMediaData());
  startSession();
  EXPECT_TRUE(audio->isReadyForMoreMediaData());
  EXPECT_TRUE(audio->waitUntilReadyForMoreMediaData(std::chrono::minutes(1)));
  EXPECT_TRUE(appendAt(0));
  finish();
  EXPECT_FALSE(audio->isReadyForMoreMediaData());
  EXPECT_FALSE(audio->appendSampleBuffer(unitAt(0).get()));
}

TEST_F(AudioInputTest, RaisesBeforeTheSession) {
  EXPECT_THROW(audio->appendSampleBuffer(unitAt(0).get()), NSException);
  EXPECT_THROW(audio->markAsFinished(), NSException);
  writer->addInput(audio);
  start();
  EXPECT_THROW(audio->appendSampleBuffer(unitAt(0).get()), NSException);
}

TEST_F(AudioInputTest, TakesNothingBehindItsOwnEndAndLeavesTheVideoGoOn) {
  writer->addInput(audio);
  startSession();
  EXPECT_TRUE(audio->appendSampleBuffer(unitAt(0).get()));
  audio->markAsFinished();
  EXPECT_FALSE(audio->isReadyForMoreMediaData());
  EXPECT_FALSE(audio->waitUntilReadyForMoreMediaData(std::chrono::minutes(1)));
  EXPECT_FALSE(audio->appendSampleBuffer(unitAt(23).get()));
  EXPECT_TRUE(appendAt(0));
  EXPECT_TRUE(appendAt(40));
  finish();
  const test::MediaFile file = test::readFile(path);
  EXPECT_EQ(file.packetsOf(test::TrackKind::audio).size(), 1u);
  EXPECT_THAT(file.videoTimesMs(), ElementsAre(0, 40));
}

/// Opens when it is told to, and then does not work.
class WaitingEncoder final : public VideoEncoder {
 public:
  explicit WaitingEncoder(std::shared_future<void> signal) : _signal(std::move(signal)) {}
  Status open(const VideoEncoderSettings&) override {
    _signal.wait();
    return NSError("Test", 1, "no encoder");
  }
  const ParameterSets& parameterSets() const override { return _sets; }
  Status encode(const PlanarPicture&, const PictureRequest&, AccessUnit&) override {
    return NSError("Test", 1, "no encoder");
  }

 private:
  std::shared_future<void> _signal;
  ParameterSets _sets;
};

TEST_F(AudioInputTest, TakesNothingWhileTheFileIsBeingFinished) {
  std::promise<void> signal;
  WriterParts parts;
  parts.makeEncoder = [future = signal.get_future().share()] {
    return std::make_unique<WaitingEncoder>(future);
  };
  writer = makeFileAssetWriter(NSURL::fileURLWithPath(path), parts);
  writer->addInput(audio);
  startSession();
  EXPECT_TRUE(audio->appendSampleBuffer(unitAt(0).get()));
  std::promise<void> finished;
  writer->finishWritingWithCompletionHandler([&] { finished.set_value(); });
  EXPECT_EQ(writer->status(), AVAssetWriterStatusWriting);
  EXPECT_FALSE(audio->isReadyForMoreMediaData());
  EXPECT_FALSE(audio->appendSampleBuffer(unitAt(23).get()));
  signal.set_value();
  ASSERT_EQ(finished.get_future().wait_for(std::chrono::minutes(1)), std::future_status::ready);
}

TEST_F(AudioInputTest, TakesNoSampleThatIsNone) {
  writer->addInput(audio);
  startSession();
  EXPECT_FALSE(audio->appendSampleBuffer(nullptr));
  EXPECT_FALSE(audio->appendSampleBuffer(sampleAt(kCMTimeZero).get())) << "a picture";
  EXPECT_EQ(writer->status(), AVAssetWriterStatusWriting);
}

TEST_F(AudioInputTest, MarkedAsFinishedRaisesOnceTheFileIsBeingFinished) {
  writer->addInput(audio);
  startSession();
  ASSERT_TRUE(appendAt(0));
  finish();
  EXPECT_THROW(audio->markAsFinished(), NSException);
}

}  // namespace
}  // namespace vx
