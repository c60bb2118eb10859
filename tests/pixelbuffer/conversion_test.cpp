// Conversion: the one copy of a frame, and black frames.
#include "platform/cf_ref.h"
#include "support/guarded_bytes.h"
#include "support/pixel_formats.h"
#include "support/recorder_fixture.h"

#include <cstring>
#include <numeric>

using namespace vx;

namespace {

constexpr OSType kY420 = kCVPixelFormatType_420YpCbCr8Planar;
constexpr OSType kBGRA = kCVPixelFormatType_32BGRA;
constexpr OSType kGray = kCVPixelFormatType_OneComponent8;

/// A buffer whose address stays valid as long as it is in scope.
class Locked {
 public:
  explicit Locked(CVPixelBufferRef buffer) : _buffer(CFRef<CVPixelBufferRef>::retain(buffer)) {
    CVPixelBufferLockBaseAddress(buffer, 0);
  }
  ~Locked() { CVPixelBufferUnlockBaseAddress(_buffer.get(), 0); }
  std::uint8_t* row(std::size_t y, std::size_t plane = 0) const {
    return static_cast<std::uint8_t*>(CVPixelBufferGetBaseAddressOfPlane(_buffer.get(), plane)) +
           y * CVPixelBufferGetBytesPerRowOfPlane(_buffer.get(), plane);
  }
  std::vector<int> bytes(std::size_t y, std::size_t count, std::size_t plane = 0) const {
    return {row(y, plane), row(y, plane) + count};
  }
  /// Every byte of every plane, padding included.
  void fill(std::uint8_t value) const {
    std::memset(row(0), value, CVPixelBufferGetDataSize(_buffer.get()));
  }
  bool isFilledWith(std::uint8_t value, std::size_t plane = 0) const {
    const std::size_t count = CVPixelBufferGetHeightOfPlane(_buffer.get(), plane) *
                              CVPixelBufferGetBytesPerRowOfPlane(_buffer.get(), plane);
    return std::all_of(row(0, plane), row(0, plane) + count,
                       [&](std::uint8_t byte) { return byte == value; });
  }

 private:
  CFRef<CVPixelBufferRef> _buffer;
};

std::vector<std::uint8_t> counting(std::size_t count) {
  std::vector<std::uint8_t> bytes(count);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
  return bytes;
}

class Conversion : public RecorderTest {
 protected:
  CFRef<CVPixelBufferRef> convert(const void* frame, CGSize size, std::uint32_t bytesPerRow,
                                  OSType format) {
    return CFRef<CVPixelBufferRef>::adopt(
        peer.convertPixelBufferFromFrameBuffer(frame, size, bytesPerRow, format));
  }
  /// The buffer that the next conversion to this size gets holds this value in every byte.
  void leaveBytesOf(std::uint8_t value, CGSize size, OSType format) {
    Locked(convert(nullptr, size, 0, format).get()).fill(value);
  }
};

using testing::ElementsAre;

TEST_F(Conversion, PackedRowsAreCopiedByTheirPitch) {
  const auto frame = counting(3 * 12);
  const auto buffer = convert(frame.data(), CGSizeMake(2, 3), 12, kBGRA);
  ASSERT_TRUE(buffer);
  EXPECT_EQ(CVPixelBufferGetBytesPerRow(buffer.get()), 32u);
  const Locked locked(buffer.get());
  EXPECT_THAT(locked.bytes(0, 8), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7));
  EXPECT_THAT(locked.bytes(1, 8), ElementsAre(12, 13, 14, 15, 16, 17, 18, 19));
  EXPECT_THAT(locked.bytes(2, 8), ElementsAre(24, 25, 26, 27, 28, 29, 30, 31));
}

TEST_F(Conversion, BytesBehindAShortRowKeepWhatTheBufferHeld) {
  const auto ones = std::vector<std::uint8_t>(64, 1);
  convert(ones.data(), CGSizeMake(8, 2), 32, kBGRA);
  const auto twos = std::vector<std::uint8_t>(64, 2);
  const auto buffer = convert(twos.data(), CGSizeMake(8, 2), 4, kBGRA);
  const Locked locked(buffer.get());
  EXPECT_THAT(locked.bytes(1, 6), ElementsAre(2, 2, 2, 2, 1, 1));
}

TEST_F(Conversion, PlanesFollowEachOtherWithoutPadding) {
  const auto frame = counting(4 * 4 + 2 * 2 + 2 * 2);
  const auto buffer = convert(frame.data(), CGSizeMake(4, 4), 0, kY420);
  const Locked locked(buffer.get());
  EXPECT_THAT(locked.bytes(0, 4), ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(locked.bytes(3, 4), ElementsAre(12, 13, 14, 15));
  EXPECT_THAT(locked.bytes(0, 2, 1), ElementsAre(16, 17));
  EXPECT_THAT(locked.bytes(1, 2, 1), ElementsAre(18, 19));
  EXPECT_THAT(locked.bytes(0, 2, 2), ElementsAre(20, 21));
  EXPECT_THAT(locked.bytes(1, 2, 2), ElementsAre(22, 23));
}

TEST_F(Conversion, PlanarIgnoresBytesPerRow) {
  const auto frame = counting(24);
  const auto plain = convert(frame.data(), CGSizeMake(4, 4), 0, kY420);
  const auto padded = convert(frame.data(), CGSizeMake(4, 4), 4096, kY420);
  const Locked a(plain.get());
  const Locked b(padded.get());
  for (std::size_t plane = 0; plane < 3; ++plane) {
    EXPECT_EQ(a.bytes(1, 2, plane), b.bytes(1, 2, plane));
  }
}

TEST_F(Conversion, OddWidthCopiesTheWholeHalfOfChroma) {
  // 5x3: luma 5 bytes a row, chroma floor(5 / 2) = 2 bytes a row in ceil(3 / 2) = 2 rows.
  const auto frame = counting(15 + 4 + 4);
  const auto buffer = convert(frame.data(), CGSizeMake(5, 3), 0, kY420);
  const Locked locked(buffer.get());
  EXPECT_THAT(locked.bytes(2, 5), ElementsAre(10, 11, 12, 13, 14));
  EXPECT_THAT(locked.bytes(0, 2, 1), ElementsAre(15, 16));
  EXPECT_THAT(locked.bytes(1, 2, 1), ElementsAre(17, 18));
  EXPECT_THAT(locked.bytes(1, 2, 2), ElementsAre(21, 22));
  // The third chroma column is not the host's: it keeps the black it was born with.
  EXPECT_EQ(locked.row(1, 1)[2], 0x80);
}

TEST_F(Conversion, CursorAdvancesByTheSmallerPitch) {
  // A buffer narrower than the frame claims to be: rows are cut, and the next plane begins behind
  // what was cut to.
  CFRef<CVPixelBufferRef> narrow;
  ASSERT_EQ(CVPixelBufferCreate(nullptr, 4, 2, kY420, nullptr, narrow.out()), kCVReturnSuccess);
  ASSERT_EQ(CVPixelBufferGetBytesPerRowOfPlane(narrow.get(), 0), 4u);
  const auto frame = counting(64);
  const Locked locked(narrow.get());
  VXVideoRecorderPeer::copyPlanes(frame.data(), CGSizeMake(8, 2), narrow.get());
  EXPECT_THAT(locked.bytes(1, 4), ElementsAre(8, 9, 10, 11));
  EXPECT_THAT(locked.bytes(0, 2, 1), ElementsAre(8, 9));    // behind 4 bytes x 2 rows
  EXPECT_THAT(locked.bytes(0, 2, 2), ElementsAre(10, 11));  // behind 2 bytes x 1 row more
}

TEST_F(Conversion, BlackPlanesAreFilledPaddingIncluded) {
  leaveBytesOf(200, CGSizeMake(5, 3), kY420);
  const auto buffer = convert(nullptr, CGSizeMake(5, 3), 0, kY420);
  const Locked locked(buffer.get());
  EXPECT_TRUE(locked.isFilledWith(0x10, 0));
  EXPECT_TRUE(locked.isFilledWith(0x80, 1));
  EXPECT_TRUE(locked.isFilledWith(0x80, 2));
}

TEST_F(Conversion, BlackOfPackedFormatsIsAllZeroPaddingIncluded) {
  for (const OSType format : kAllPixelFormats) {
    if (format == kY420) continue;
    peer.pools().clear();
    leaveBytesOf(200, CGSizeMake(5, 3), format);
    const auto black = convert(nullptr, CGSizeMake(5, 3), 0, format);
    ASSERT_EQ(CVPixelBufferGetBytesPerRow(black.get()), 32u) << "at least 12 of padding";
    EXPECT_TRUE(Locked(black.get()).isFilledWith(0)) << nameOfPixelFormat(format);
  }
}

TEST_F(Conversion, OtherFormatOfTheSameSizeGetsTheFirstOnesBuffer) {
  const std::vector<std::uint8_t> packed(4 * 4 * 4, 9);
  convert(packed.data(), CGSizeMake(4, 4), 16, kBGRA);
  const auto frame = counting(24);
  const auto buffer = convert(frame.data(), CGSizeMake(4, 4), 0, kY420);
  EXPECT_EQ(CVPixelBufferGetPixelFormatType(buffer.get()), kBGRA);
  // The planar branch goes on: the first plane's rows land in the packed buffer's only plane.
  EXPECT_THAT(Locked(buffer.get()).bytes(1, 4), ElementsAre(4, 5, 6, 7));
}

TEST_F(Conversion, PackedFrameInAPlanarBufferStaysInItsFirstPlane) {
  const std::vector<std::uint8_t> planar(24, 50);
  convert(planar.data(), CGSizeMake(4, 4), 0, kY420);
  const std::vector<std::uint8_t> packed(4 * 64, 7);
  const auto buffer = convert(packed.data(), CGSizeMake(4, 4), 64, kBGRA);
  EXPECT_EQ(CVPixelBufferGetPixelFormatType(buffer.get()), kY420);
  const Locked locked(buffer.get());
  EXPECT_THAT(locked.bytes(3, 4), ElementsAre(7, 7, 7, 7));
  EXPECT_THAT(locked.bytes(0, 2, 1), ElementsAre(50, 50));
}

TEST_F(Conversion, BlackInABufferOfAnotherFormatStaysInside) {
  convert(nullptr, CGSizeMake(4, 4), 0, kGray);
  EXPECT_TRUE(Locked(convert(nullptr, CGSizeMake(4, 4), 0, kY420).get()).isFilledWith(0x10));
  convert(nullptr, CGSizeMake(6, 6), 0, kY420);
  EXPECT_TRUE(Locked(convert(nullptr, CGSizeMake(6, 6), 0, kGray).get()).isFilledWith(0x00));
}

TEST_F(Conversion, UnknownFormatLogsBothFailures) {
  EXPECT_FALSE(convert(nullptr, CGSizeMake(4, 4), 0, 0x3F3F3F3F));
  EXPECT_THAT(delegate->lines(),
              ElementsAre(RememberingDelegate::Line{line(" Pixel buffer pool create failed"), 2},
                          RememberingDelegate::Line{line(" Pixel buffer create failed"), 2}));
}

TEST_F(Conversion, PoolThatCannotSupplyIsNotReplaced) {
  // 65535 x 65535 pixels of 4 bytes: the pool can be made, a buffer cannot.
  EXPECT_FALSE(convert(nullptr, CGSizeMake(65535, 65535), 0, kBGRA));
  EXPECT_EQ(peer.pools().size(), 1u);
  EXPECT_THAT(delegate->lines(),
              ElementsAre(RememberingDelegate::Line{line(" Pixel buffer create failed"), 2}));
}

TEST_F(Conversion, ResultBelongsToTheCaller) {
  const auto buffer = convert(nullptr, CGSizeMake(4, 4), 0, kBGRA);
  EXPECT_EQ(CFGetRetainCount(buffer.get()), 1);
  EXPECT_EQ(peer.buffer(), nullptr);
}

TEST_F(Conversion, ReleasedBufferIsUsedAgain) {
  CVPixelBufferRef first = convert(nullptr, CGSizeMake(4, 4), 0, kBGRA).get();
  EXPECT_EQ(convert(nullptr, CGSizeMake(4, 4), 0, kBGRA).get(), first);
}

TEST_F(Conversion, BlackFrameReplacesTheHeldOneWithoutReleasingIt) {
  peer.createBlackBufferWithFormat(kBGRA, CGSizeMake(4, 4));
  const CVPixelBufferRef held = peer.buffer();
  ASSERT_NE(held, nullptr);
  peer.createBlackBufferWithFormat(kBGRA, CGSizeMake(4, 4));
  EXPECT_NE(peer.buffer(), held);
  EXPECT_EQ(CFGetRetainCount(held), 1);
}

TEST_F(Conversion, BlackFrameThatFailsLeavesTheHeldOne) {
  peer.createBlackBufferWithFormat(kBGRA, CGSizeMake(4, 4));
  const CVPixelBufferRef held = peer.buffer();
  peer.createBlackBufferWithFormat(0x3F3F3F3F, CGSizeMake(5, 5));
  EXPECT_EQ(peer.buffer(), held);
}

TEST(RowCopy, NoRowsReadNothing) { VXVideoRecorderPeer::copyBuffer(nullptr, 16, nullptr, 16, 0); }

TEST(RowCopy, CopiesTheSmallerPitchAndStepsByEach) {
  const auto source = counting(12);
  std::vector<std::uint8_t> destination(10, 99);
  VXVideoRecorderPeer::copyBuffer(source.data(), 4, destination.data(), 3, 3);
  EXPECT_THAT(destination, ElementsAre(0, 1, 2, 4, 5, 6, 8, 9, 10, 99));
  std::fill(destination.begin(), destination.end(), std::uint8_t{99});
  VXVideoRecorderPeer::copyBuffer(source.data(), 2, destination.data(), 4, 2);
  EXPECT_THAT(destination, ElementsAre(0, 1, 99, 99, 2, 3, 99, 99, 99, 99));
}

struct Format {
  OSType code;
  std::uint32_t bytesPerPixel;
};

class FrameLength : public RecorderTest, public testing::WithParamInterface<Format> {};

TEST_P(FrameLength, IsAllThatIsRead) {
  for (const auto& [width, height] : {std::pair{1u, 1u}, {2u, 2u}, {7u, 5u}, {33u, 3u}}) {
    for (const std::uint32_t padding : {0u, 5u}) {
      const std::uint32_t pitch = width * GetParam().bytesPerPixel + padding;
      const GuardedBytes frame(
          VXVideoRecorder::frameBufferLength(GetParam().code, width, height, pitch));
      const auto buffer = CFRef<CVPixelBufferRef>::adopt(peer.convertPixelBufferFromFrameBuffer(
          frame.data(), CGSizeMake(width, height), pitch, GetParam().code));
      ASSERT_TRUE(buffer);
      EXPECT_EQ(*Locked(buffer.get()).row(height - 1), 0x55);
    }
  }
}

TEST_P(FrameLength, IsEnoughWhateverFormatMetTheSizeFirst) {
  constexpr std::uint32_t kWidth = 7, kHeight = 5;
  const std::uint32_t pitch = kWidth * GetParam().bytesPerPixel + 40;
  for (const OSType first :
       {kY420, kBGRA, kCVPixelFormatType_24RGB, kCVPixelFormatType_422YpCbCr8, kGray}) {
    peer.pools().clear();
    ASSERT_NE(peer.getBufferPoolWithSize(CGSizeMake(kWidth, kHeight), first), nullptr);
    const GuardedBytes frame(
        VXVideoRecorder::frameBufferLength(GetParam().code, kWidth, kHeight, pitch));
    const auto buffer = CFRef<CVPixelBufferRef>::adopt(peer.convertPixelBufferFromFrameBuffer(
        frame.data(), CGSizeMake(kWidth, kHeight), pitch, GetParam().code));
    ASSERT_TRUE(buffer);
    EXPECT_EQ(CVPixelBufferGetPixelFormatType(buffer.get()), first);
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, FrameLength,
    testing::Values(Format{kY420, 1}, Format{kBGRA, 4}, Format{kCVPixelFormatType_32ARGB, 4},
                    Format{kCVPixelFormatType_24RGB, 3}, Format{kCVPixelFormatType_422YpCbCr8, 2},
                    Format{kGray, 1}),
    [](const auto& instance) { return "format_" + std::to_string(instance.param.code); });

TEST(FrameLengthRule, IsExact) {
  EXPECT_EQ(VXVideoRecorder::frameBufferLength(kY420, 5, 3, 0), 15u + 4 + 4);
  EXPECT_EQ(VXVideoRecorder::frameBufferLength(kBGRA, 64, 10, 256), 2560u);
  EXPECT_EQ(VXVideoRecorder::frameBufferLength(kBGRA, 8, 10, 4096), 4096u * 9 + 32);
  EXPECT_EQ(VXVideoRecorder::frameBufferLength(kBGRA, 4, 10, 4096), 4096u * 9 + 32) << "aligned";
  EXPECT_EQ(VXVideoRecorder::frameBufferLength(kBGRA, 0, 10, 256), 0u);
}

TEST(FrameLengthRule, EndsAtTheLargestBuffer) {
  constexpr std::uint32_t kMost = 4294967295;
  for (const std::uint32_t side : {65535u, 65536u, kMost}) {
    EXPECT_EQ(VXVideoRecorder::frameBufferLength(kY420, side, side, 0),
              65535ull * 65535 + 2ull * 32767 * 32768);
    EXPECT_EQ(VXVideoRecorder::frameBufferLength(kBGRA, side, side, kMost),
              65534ull * kMost + 262144);
  }
}

}  // namespace
