#include "platform/avfoundation/mp4/boxes.h"

#include "movie_fixture.h"

#include <gtest/gtest.h>

#include <functional>

namespace vx::mp4::test {
namespace {

using namespace vx::test;

constexpr std::uint64_t kMax32 = 0xFFFFFFFF;
constexpr std::uint64_t kBeyond32 = 0x100000000;

/// One box, written and read back. The bytes live as long as this.
class Written {
 public:
  template <typename Write>
  explicit Written(Write write) {
    ByteStream stream;
    write(stream);
    EXPECT_TRUE(stream.finish().ok());
    _bytes = stream.bytes();
    _root = readBoxes(_bytes);
    EXPECT_FALSE(_root.children.empty());
  }
  const BoxNode& box() const { return _root.children.at(0); }
  const BoxNode& find(std::string_view path) const { return *_root.find(path); }
  const Bytes& bytes() const { return _bytes; }

 private:
  Bytes _bytes;
  BoxNode _root;
};

class BoxesWithWideValue : public testing::TestWithParam<std::uint64_t> {};
INSTANTIATE_TEST_SUITE_P(Edge, BoxesWithWideValue,
                         testing::Values(0, kMax32 - 1, kMax32, kBeyond32, kBeyond32 << 20));

TEST_P(BoxesWithWideValue, MvhdReadsBack) {
  const std::uint64_t value = GetParam();
  const Written written([&](ByteStream& s) { write_mvhd(s, {value, value + 1, value + 2, 3}); });
  const MovieHeaderBox header = parse_mvhd(written.box());
  EXPECT_EQ(written.box().sizeBytes, 120u);
  EXPECT_EQ(header.version, 1);
  EXPECT_EQ(header.creationTime, value);
  EXPECT_EQ(header.modificationTime, value + 1);
  EXPECT_EQ(header.timescale, 1000u);
  EXPECT_EQ(header.duration, value + 2);
  EXPECT_EQ(header.nextTrackId, 3u);
}

TEST_P(BoxesWithWideValue, TkhdReadsBack) {
  TrackHeader header;
  header.creationTime = GetParam();
  header.modificationTime = GetParam() + 1;
  header.trackId = 2;
  header.duration = GetParam() + 2;
  header.alternateGroup = 1;
  header.volume = 0x100;
  header.width = 65535;
  header.height = 1;
  const Written written([&](ByteStream& s) { write_tkhd(s, header); });
  const TrackHeaderBox read = parse_tkhd(written.box());
  EXPECT_EQ(written.box().sizeBytes, 104u);
  EXPECT_EQ(read.version, 1);
  EXPECT_EQ(read.flags, 3u);
  EXPECT_EQ(read.creationTime, header.creationTime);
  EXPECT_EQ(read.modificationTime, header.modificationTime);
  EXPECT_EQ(read.trackId, 2u);
  EXPECT_EQ(read.duration, header.duration);
  EXPECT_EQ(read.alternateGroup, 1);
  EXPECT_EQ(read.volume, 0x100);
  EXPECT_EQ(read.matrix, header.matrix);
  EXPECT_EQ(read.width, 65535u << 16);
  EXPECT_EQ(read.height, 1u << 16);
}

TEST_P(BoxesWithWideValue, MdhdReadsBack) {
  const Written written([&](ByteStream& s) {
    write_mdhd(s, {GetParam(), GetParam(), 48000, GetParam()});
  });
  const MediaHeaderBox header = parse_mdhd(written.box());
  EXPECT_EQ(written.box().sizeBytes, 44u);
  EXPECT_EQ(header.version, 1);
  EXPECT_EQ(header.creationTime, GetParam());
  EXPECT_EQ(header.modificationTime, GetParam());
  EXPECT_EQ(header.timescale, 48000u);
  EXPECT_EQ(header.duration, GetParam());
  EXPECT_EQ(header.language, 0x55C4);
}

TEST_P(BoxesWithWideValue, ElstReadsBack) {
  const auto time = static_cast<std::int64_t>(GetParam());
  const std::vector<Edit> edits = {{GetParam(), kEmptyEdit}, {7, time}};
  const Written written([&](ByteStream& s) { write_edts(s, edits); });
  EXPECT_EQ(written.box().type, "edts");
  EXPECT_EQ(parse_elst(written.find("edts/elst")),
            (std::vector<EditBox>{{GetParam(), -1, 0x10000}, {7, time, 0x10000}}));
}

TEST_P(BoxesWithWideValue, TfdtReadsBack) {
  const Written written([&](ByteStream& s) { write_tfdt(s, GetParam()); });
  EXPECT_EQ(parse_tfdt(written.box()), GetParam());
  EXPECT_EQ(written.box().payload[0], 1);
}

TEST(Boxes, FtypIs32BytesAndNamesBothLives) {
  const Written written(write_ftyp);
  FieldReader reader(written.box().payload);
  EXPECT_EQ(written.box().sizeBytes, 32u);
  EXPECT_EQ(reader.text(4), "isom");
  EXPECT_EQ(reader.u32(), 0x200u);
  EXPECT_EQ(reader.text(16), "isomiso6avc1mp41");
}

TEST(Boxes, NoEditsGiveNoBox) {
  ByteStream stream;
  write_edts(stream, {});
  EXPECT_TRUE(stream.bytes().empty());
}

TEST(Boxes, HdlrNamesItsMedia) {
  const Written written([](ByteStream& s) { write_hdlr(s, "vide", "Video"); });
  FieldReader reader(written.box().payload);
  reader.skip(8);
  EXPECT_EQ(reader.text(4), "vide");
  reader.skip(12);
  EXPECT_EQ(reader.text(6), std::string("Video\0", 6));
  EXPECT_EQ(reader.left(), 0u);
}

TEST(Boxes, MediaHeadersHaveTheSizesThatTheStandardGivesThem) {
  EXPECT_EQ(Written(write_vmhd).box().sizeBytes, 20u);
  EXPECT_EQ(Written(write_smhd).box().sizeBytes, 16u);
}

TEST(Boxes, VmhdHasTheFlagThatTheStandardAsksFor) {
  const Written written(write_vmhd);
  EXPECT_EQ(FieldReader(written.box().payload).u32(), 1u);
}

TEST(Boxes, HeadersTellTheUsualRateAndVolumeAndNoLanguage) {
  const Written movie([](ByteStream& s) { write_mvhd(s, {}); });
  FieldReader mvhd(movie.box().payload);
  mvhd.skip(32);  // version, times, timescale, duration
  EXPECT_EQ(mvhd.u32(), 0x10000u);
  EXPECT_EQ(mvhd.u16(), 0x100u);
  const Written media([](ByteStream& s) { write_mdhd(s, {}); });
  FieldReader mdhd(media.box().payload);
  mdhd.skip(32);
  EXPECT_EQ(mdhd.u16(), ('u' - 0x60) << 10 | ('n' - 0x60) << 5 | ('d' - 0x60));
}

TEST(Boxes, PrimingIsToldInHexadecimal) {
  const Written written([](ByteStream& s) { write_udta_priming(s, 2112); });
  const std::string text(written.bytes().begin(), written.bytes().end());
  EXPECT_NE(text.find(" 00000000 00000840 00000000 0000000000000000"), std::string::npos);
}

TEST(Boxes, DinfSaysThatTheMediaAreInThisFile) {
  const Written written(write_dinf);
  const BoxNode& url = written.find("dinf/dref/url ");
  FieldReader reader(url.payload);
  EXPECT_EQ(reader.u32(), 1u);
  EXPECT_EQ(reader.left(), 0u);
}

TEST(Boxes, Avc1HoldsTheTrueSizeAndTheColours) {
  VideoSampleEntry entry{1921, 1081, {smallSource().sps, smallSource().pps}, {}};
  entry.colour.fullRange = true;
  const Written written([&](ByteStream& s) { write_stsd_avc1(s, entry); });
  const SampleEntryBox read = parseSampleEntry(written.find("stsd/avc1"));
  EXPECT_EQ(read.dataReference, 1);
  EXPECT_EQ(read.width, 1921);
  EXPECT_EQ(read.height, 1081);
  FieldReader fields(written.find("stsd/avc1").payload);
  fields.skip(40);  // what comes before the resolution and the number of frames, and those
  EXPECT_EQ(fields.u16(), 1);
  fields.skip(32);
  EXPECT_EQ(fields.u16(), 0x18);  // colour without alpha
  EXPECT_EQ(fields.u16(), 0xFFFF);
  const ColourBox colour = parse_colr(written.find("stsd/avc1/colr"));
  EXPECT_EQ(colour.type, "nclx");
  EXPECT_EQ(colour.primaries, 1);
  EXPECT_EQ(colour.transfer, 13);
  EXPECT_EQ(colour.matrix, 6);
  EXPECT_TRUE(colour.fullRange);
}

TEST(Boxes, AvcCHoldsTheParameterSetsAndTheHighProfilesFormat) {
  const ParameterSets sets{smallSource().sps, smallSource().pps};
  const Written written([&](ByteStream& s) { write_avcC(s, sets); });
  const AvcConfigBox config = parse_avcC(written.box());
  EXPECT_EQ(config.version, 1);
  EXPECT_EQ(config.profile, 100);
  EXPECT_EQ(config.constraints, sets.sps[2]);
  EXPECT_EQ(config.level, sets.sps[3]);
  EXPECT_EQ(config.nalLengthBytes, 4);
  EXPECT_EQ(config.sps, std::vector<Bytes>{sets.sps});
  EXPECT_EQ(config.pps, std::vector<Bytes>{sets.pps});
  EXPECT_EQ(config.format, (AvcConfigBox::Format{1, 8, 8, 0}));
}

TEST(Boxes, AvcCOfTheBaselineProfileHasNoFormat) {
  const ParameterSets sets{{0x67, 66, 0xC0, 30, 0xDA}, {0x68, 0xCE}};
  const Written written([&](ByteStream& s) { write_avcC(s, sets); });
  EXPECT_EQ(parse_avcC(written.box()).format, std::nullopt);
}

TEST(Boxes, AvcCReadsAnotherFormatFromTheParameterSet) {
  // profile 122; set 0, chroma format 2, 10 bits of luma and chroma: 1 011 011 011 0...
  const ParameterSets sets{{0x67, 122, 0, 40, 0b10110110, 0b11000000}, {0x68, 0xCE}};
  const Written written([&](ByteStream& s) { write_avcC(s, sets); });
  EXPECT_EQ(parse_avcC(written.box()).format, (AvcConfigBox::Format{2, 10, 10, 0}));
}

TEST(Boxes, Mp4aHoldsTheRateAndTheConfiguration) {
  const Bytes config = {0x11, 0x90, 0x56, 0xE5};
  const Written written([&](ByteStream& s) { write_stsd_mp4a(s, {6, 48000, config, 123456}); });
  const SampleEntryBox entry = parseSampleEntry(written.find("stsd/mp4a"));
  EXPECT_EQ(entry.channels, 6);
  EXPECT_EQ(entry.sampleRate, 48000u << 16);
  const ElementaryStreamBox stream = parse_esds(written.find("stsd/mp4a/esds"));
  EXPECT_EQ(stream.objectType, 0x40);
  EXPECT_EQ(stream.streamType, 5);
  EXPECT_EQ(stream.averageBitRate, 123456u);
  EXPECT_EQ(stream.decoderSpecificInfo, config);
  EXPECT_EQ(stream.syncLayerPredefined, 2);
}

TEST(Boxes, Mp4aLeavesARateOpenThatItCannotHold) {
  const Written written([&](ByteStream& s) { write_stsd_mp4a(s, {2, 96000, {0x10, 0x10}, 0}); });
  EXPECT_EQ(parseSampleEntry(written.find("stsd/mp4a")).sampleRate, 0u);
}

TEST(Boxes, TrexNamesItsTrackAndDescription) {
  const Written written([](ByteStream& s) { write_trex(s, 2); });
  const TrackExtendsBox extends = parse_trex(written.box());
  EXPECT_EQ(written.box().sizeBytes, 32u);
  EXPECT_EQ(extends.trackId, 2u);
  EXPECT_EQ(extends.description, 1u);
}

TEST(Boxes, FragmentHeadersReadBack) {
  EXPECT_EQ(parse_mfhd(Written([](ByteStream& s) { write_mfhd(s, 0xFFFFFFFF); }).box()),
            0xFFFFFFFFu);
  const FragmentHeaderBox header =
      parse_tfhd(Written([](ByteStream& s) { write_tfhd(s, 2); }).box());
  EXPECT_EQ(header.trackId, 2u);
  EXPECT_EQ(header.flags, 0x020000u);
}

TEST(Boxes, TrunTellsEachSamplesDurationSizeAndKind) {
  const std::vector<RunSample> samples = {{0xFFFFFFFF, 0xFFFFFFFF, true}, {0, 7, false}};
  std::uint64_t dataOffsetPosition = 0;
  const Written written([&](ByteStream& s) { dataOffsetPosition = write_trun(s, samples); });
  const RunBox run = parse_trun(written.box());
  EXPECT_EQ(run.flags, 0x701u);
  EXPECT_EQ(run.samples, (std::vector<RunBox::Sample>{{0xFFFFFFFF, 0xFFFFFFFF, 0x02000000},
                                                      {0, 7, 0x01010000}}));
  EXPECT_EQ(dataOffsetPosition, 16u);
}

TEST(Boxes, ChecksumsPadTheFragmentToEightBytes) {
  for (std::uint64_t before = 100; before < 108; ++before) {
    const Written written([&](ByteStream& s) { write_checksums(s, {1, 2}, before); });
    EXPECT_EQ((before + written.bytes().size()) % 8, 0u);
    FieldReader reader(written.box().payload);
    EXPECT_EQ(written.box().type, "free");
    EXPECT_EQ(reader.text(4), "crcC");
    EXPECT_EQ(reader.u32(), 1u);
    EXPECT_EQ(reader.u32(), 2u);
  }
}

// ---- the display matrix --------------------------------------------------------------------

Matrix linear(std::int32_t a, std::int32_t b, std::int32_t c, std::int32_t d, std::int32_t x,
              std::int32_t y) {
  constexpr std::int32_t kOne = 0x10000;
  return {a * kOne, b * kOne, 0, c * kOne, d * kOne, 0, x * kOne, y * kOne, 0x40000000};
}

TEST(DisplayMatrix, KeepsTheIdentity) {
  EXPECT_EQ(displayMatrix({1, 0, 0, 1, 0, 0}, 640, 480), linear(1, 0, 0, 1, 0, 0));
}

TEST(DisplayMatrix, MovesTurnedPicturesToPositiveCoordinates) {
  constexpr double kNearlyZero = 6.123e-17;  // what the cosine of a quarter turn comes to
  EXPECT_EQ(displayMatrix({kNearlyZero, 1, -1, kNearlyZero, 0, 0}, 640, 480),
            linear(0, 1, -1, 0, 480, 0));
  EXPECT_EQ(displayMatrix({kNearlyZero, -1, 1, kNearlyZero, 0, 0}, 640, 480),
            linear(0, -1, 1, 0, 0, 640));
  EXPECT_EQ(displayMatrix({-1, 0, 0, -1, 0, 0}, 640, 480), linear(-1, 0, 0, -1, 640, 480));
}

TEST(DisplayMatrix, KeepsATranslationThatIsInPlaceAlready) {
  EXPECT_EQ(displayMatrix({0, 1, -1, 0, 480, 0}, 640, 480), linear(0, 1, -1, 0, 480, 0));
}

}  // namespace
}  // namespace vx::mp4::test
