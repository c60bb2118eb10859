// Recordings read back: what counts, what is damaged, and what is none.
#include "platform/avfoundation/mp4/recording_reader.h"

#include "memory_file.h"
#include "platform/avfoundation/mp4/crc32c.h"
#include "recording_plan.h"

#include <gtest/gtest.h>

namespace vx::mp4::test {
namespace {

using Form = FoundRecording::Form;

/// A number in big-endian order, somewhere in the file.
void put32(Bytes& bytes, std::uint64_t offset, std::uint32_t value) {
  for (int i = 0; i < 4; ++i)
    bytes[static_cast<std::size_t>(offset) + static_cast<std::size_t>(i)] =
        static_cast<std::uint8_t>(value >> (24 - 8 * i));
}

std::uint32_t get32(const Bytes& bytes, std::uint64_t offset) {
  return vx::test::FieldReader(
             vx::test::ByteView(bytes).subspan(static_cast<std::size_t>(offset), 4))
      .u32();
}

// ---- what is no recording ------------------------------------------------------------------

TEST(RecordingReader, TellsWhatIsNoRecording) {
  EXPECT_EQ(readBytes({}).form, Form::beginning);
  EXPECT_EQ(readBytes(Bytes(100, 0)).form, Form::foreign);
  EXPECT_EQ(readBytes(Bytes(100, 'x')).form, Form::foreign);
  Bytes other = record({}, true);
  other[11] = '2';  // another brand
  EXPECT_EQ(readBytes(other).form, Form::foreign);
}

TEST(RecordingReader, TellsAHeadThatIsNotWholeFromOneThatIsLost) {
  Plan plan;
  plan.fragments = 0;
  const Bytes head = record(plan, false);
  for (std::size_t size = 0; size < head.size(); ++size)
    ASSERT_EQ(readBytes(Bytes(head.begin(), head.begin() + static_cast<std::ptrdiff_t>(size))).form,
              Form::beginning)
        << size;
  Bytes image = record({}, false);
  image[52] ^= 0xFF;  // the type of moov
  EXPECT_EQ(readBytes(image).form, Form::headLost);
}

TEST(RecordingReader, TakesNoSizeThatReachesBeyondAnyFile) {
  Bytes image = record({}, true);
  std::fill_n(image.begin() + 40, 8, std::uint8_t{0xFF});
  EXPECT_EQ(readBytes(image).form, Form::foreign);
}

TEST(RecordingReader, HeadWithoutSamplesIsRepairableUnlessMuchIsLostBehindIt) {
  Plan plan;
  plan.fragments = 0;
  Bytes image = record(plan, false);
  const std::size_t head = image.size();
  EXPECT_TRUE(readBytes(image).isRepairable());
  image.resize(head + (std::size_t{64} << 20));
  EXPECT_TRUE(readBytes(image).isRepairable());
  image.push_back(0);
  EXPECT_FALSE(readBytes(image).isRepairable());
}

// ---- the head ------------------------------------------------------------------------------

/// Where the sound's track begins in a crashed recording.
std::uint64_t soundTrackOf(const Bytes& image) {
  return vx::test::readBoxes(image).find("moov/trak", 1)->offset;
}

TEST(RecordingReader, SoundOfATrackThatWasNotPublishedCounts) {
  Bytes image = record({}, false);
  setType(image, soundTrackOf(image), "free");
  const FoundRecording found = readBytes(image);
  EXPECT_EQ(found.form, Form::growing);
  ASSERT_TRUE(found.hasAudio());
  EXPECT_EQ(found.audio.index().sampleCount(), 9u);
}

TEST(RecordingReader, TornTrackThatWasNotPublishedIsNone) {
  Bytes image = record({}, false);
  const std::uint64_t mdia = vx::test::readBoxes(image).find("moov/trak", 1)->find("mdia")->offset;
  setType(image, soundTrackOf(image), "free");
  setType(image, mdia, "none");
  const FoundRecording found = readBytes(image);
  EXPECT_EQ(found.form, Form::growing);
  EXPECT_FALSE(found.hasAudio());
  EXPECT_EQ(found.video.index().sampleCount(), 12u);
}

TEST(RecordingReader, TornTrackThatWasPublishedLosesTheHead) {
  Bytes image = record({}, false);
  setType(image, vx::test::readBoxes(image).find("moov/trak", 1)->find("mdia")->offset, "none");
  EXPECT_EQ(readBytes(image).form, Form::headLost);
}

TEST(RecordingReader, SoundUnderTheNumberOfAnotherTrackLosesTheHead) {
  Bytes image = record({}, false);
  const std::uint64_t tkhd = vx::test::readBoxes(image).find("moov/trak", 1)->find("tkhd")->offset;
  const std::uint64_t number = tkhd + 12 + (image[tkhd + 8] == 1 ? 16 : 8);
  ASSERT_EQ(get32(image, number), 2u);
  put32(image, number, 3);
  EXPECT_EQ(readBytes(image).form, Form::headLost);
}

// ---- fragments -----------------------------------------------------------------------------

TEST(RecordingReader, FindsAFragmentBehindEightBytesOfGarbage) {
  Bytes image = record({}, false);
  const std::size_t begin = fragmentAt(1).first;
  image.insert(image.begin() + static_cast<std::ptrdiff_t>(begin), 8, 0xAB);
  const FoundRecording found = readBytes(image);
  EXPECT_EQ(found.fragmentCount, 3u);
  ASSERT_EQ(found.damagedPartCount, 1u);
  EXPECT_EQ(found.damagedParts[0].offset, begin);
  EXPECT_EQ(found.damagedParts[0].sizeBytes, 8u);
  EXPECT_EQ(found.tornBytes, 0u);
}

TEST(RecordingReader, TellsWhereTheFirstUnpublishedFragmentBegins) {
  Bytes image = record({}, false);
  setType(image, fragmentAt(1).first, "free");
  setType(image, fragmentAt(2).first, "free");
  const FoundRecording found = readBytes(image);
  EXPECT_EQ(found.unpublishedCount, 2u);
  EXPECT_EQ(found.unpublishedStart, fragmentAt(1).first);
  EXPECT_EQ(found.fragmentCount, 3u);
}

TEST(RecordingReader, FragmentThatGoesBackInTimeDoesNotCount) {
  Bytes image = record({}, false);
  const std::size_t size = image.size();
  const auto [begin, end] = fragmentAt(0);
  const Bytes first(image.begin() + static_cast<std::ptrdiff_t>(begin),
                    image.begin() + static_cast<std::ptrdiff_t>(end));
  image.insert(image.end(), first.begin(), first.end());
  const FoundRecording found = readBytes(image);
  EXPECT_EQ(found.fragmentCount, 3u);
  EXPECT_EQ(found.tornBytes, image.size() - size);
}

/// A recording whose last fragment, the one of this number, was changed by `change`, its checksum
/// made right again.
template <typename Change>
Bytes withLastMoofChanged(std::size_t number, Change change) {
  Plan plan;
  plan.fragments = number + 1;
  Bytes image = record(plan, false);
  const std::uint64_t moof = fragmentAt(number).first;
  change(image, *vx::test::readBoxes(image).find("moof", number));
  const std::uint32_t size = get32(image, moof);
  const auto start = static_cast<std::size_t>(moof);
  const std::uint64_t free = moof + size + get32(image, moof + size);
  put32(image, free + 12, crc32c(std::span(image).subspan(start, size)));
  return image;
}

TEST(RecordingReader, TakesNoFragmentWhoseTracksShareBytes) {
  EXPECT_EQ(readBytes(withLastMoofChanged(2, [](Bytes&, const BoxNode&) {})).fragmentCount, 3u);
  const Bytes image = withLastMoofChanged(2, [](Bytes& bytes, const BoxNode& moof) {
    const std::uint64_t video = moof.find("traf", 0)->find("trun")->offset + 16;
    const std::uint64_t audio = moof.find("traf", 1)->find("trun")->offset + 16;
    put32(bytes, audio, get32(bytes, video));
  });
  EXPECT_EQ(readBytes(image).fragmentCount, 2u);
}

TEST(RecordingReader, TakesNoTimeThatNoRecordingReaches) {
  // Of the pictures of a fragment, in units of 2^32 ms.
  const auto at = [](std::size_t number, std::uint32_t time) {
    return readBytes(withLastMoofChanged(
                         number,
                         [time](Bytes& bytes, const BoxNode& moof) {
                           put32(bytes, moof.find("traf", 0)->find("tfdt")->offset + 12, time);
                         }))
        .fragmentCount;
  };
  EXPECT_EQ(at(0, (1u << 12) - 1), 1u);
  EXPECT_EQ(at(0, 1u << 12), 0u);
  EXPECT_EQ(at(2, 1), 2u) << "farther behind the fragment before than a duration can tell";
}

/// Counts the bytes that are read.
class CountingInput final : public ReaderInput {
 public:
  explicit CountingInput(const Bytes& bytes) : _bytes(bytes) {}
  std::uint64_t sizeBytes() const override { return _bytes.size(); }
  std::uint64_t bytesRead = 0;

 protected:
  Status readAt(std::uint64_t offset, std::span<std::uint8_t> bytes, std::size_t& count) override {
    const auto begin = static_cast<std::size_t>(std::min<std::uint64_t>(offset, _bytes.size()));
    count = std::min(bytes.size(), _bytes.size() - begin);
    std::copy_n(_bytes.begin() + static_cast<std::ptrdiff_t>(begin), count, bytes.begin());
    bytesRead += count;
    return {};
  }

 private:
  const Bytes& _bytes;
};

TEST(RecordingReader, BytesMadeToLookLikeFragmentsCostNoMoreThanOthers) {
  // Fragments inside each other, all of which end at the same place with a checksum that is wrong.
  Plan plan;
  plan.fragments = 0;
  Bytes image = record(plan, false);
  constexpr std::size_t kHeads = 4000;
  const std::size_t begin = image.size();
  const std::size_t end = begin + kHeads * 24;
  image.resize(end + 8 + 24);
  for (std::size_t i = 0; i < kHeads; ++i) {
    const std::size_t at = begin + i * 24;
    put32(image, at, static_cast<std::uint32_t>(end - at));
    setType(image, at, "moof");
    put32(image, at + 8, 16);
    setType(image, at + 8, "mfhd");
  }
  put32(image, end, 8);
  setType(image, end, "mdat");
  put32(image, end + 8, 24);
  setType(image, end + 8, "free");
  setType(image, end + 12, "crcC");
  CountingInput input(image);
  FoundRecording found;
  ASSERT_TRUE(readRecording(input, ReadDepth::index, found).ok());
  EXPECT_EQ(found.fragmentCount, 0u);
  EXPECT_LT(input.bytesRead, 20 * image.size());
}

// ---- the finished file ---------------------------------------------------------------------

/// Where an entry of a table of a finished recording stands.
std::uint64_t entryOf(const Bytes& image, std::size_t track, std::string_view table,
                      std::uint64_t offset) {
  return vx::test::readBoxes(image)
             .find("moov/trak", track)
             ->find("mdia/minf/stbl/" + std::string(table))
             ->offset +
         offset;
}

Form formByIndex(const Bytes& image) { return readBytes(image, ReadDepth::index).form; }

TEST(RecordingReader, ChunksOfATrackDoNotOverlap) {
  Bytes image = record({}, true);
  ASSERT_EQ(formByIndex(image), Form::finished);
  const std::uint64_t second = entryOf(image, 0, "co64", 16 + 8);
  put32(image, second + 4, get32(image, entryOf(image, 0, "co64", 16) + 4) + 1);
  EXPECT_EQ(formByIndex(image), Form::indexLost);
}

TEST(RecordingReader, KeyFramesAreAmongTheSamples) {
  Bytes image = record({}, true);
  const std::uint64_t last =
      vx::test::readBoxes(image).find("moov/trak")->find("mdia/minf/stbl/stss")->end() - 4;
  put32(image, last, 999);
  EXPECT_EQ(formByIndex(image), Form::indexLost);
}

TEST(RecordingReader, SamplesEndWithinTheMedia) {
  Bytes image = record({}, true);
  put32(image, entryOf(image, 1, "stsz", 20 + 8 * 4), 100000);  // the last sound
  EXPECT_EQ(formByIndex(image), Form::indexLost);
}

TEST(RecordingReader, ChunkThatReachesBeyondWhatWasProvenIsDamaged) {
  Bytes image = record({}, true);
  const std::uint64_t third = entryOf(image, 1, "stsz", 20 + 2 * 4);  // of the first fragment
  put32(image, third, get32(image, third) + 8);
  const FoundRecording found = readBytes(image);
  EXPECT_EQ(found.form, Form::finished);
  EXPECT_EQ(found.damagedPartCount, 1u);
}

TEST(RecordingReader, TrimThatWasLostWithTheSoundsStartIsNotAppliedAgain) {
  Plan plan;
  plan.trimAtStart = 4800;
  Bytes image = record(plan, false);
  EXPECT_EQ(trimOfSound(readBytes(image)), 4800u);
  // The first fragment, with three sounds of 1024, is damaged.
  image[static_cast<std::size_t>(vx::test::readBoxes(image).find("mdat")->offset) + 20] ^= 1;
  const FoundRecording found = readBytes(image);
  ASSERT_EQ(found.fragmentCount, 2u);
  EXPECT_EQ(trimOfSound(found), 4800u - 3 * 1024);
}

}  // namespace
}  // namespace vx::mp4::test
