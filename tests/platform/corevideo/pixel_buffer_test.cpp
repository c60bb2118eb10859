#include "VXVideoRecorder/platform/CoreVideo.h"

#include "support/pixel_buffers.h"

#include <gtest/gtest.h>

#include <cstring>

namespace vx {
namespace {

constexpr OSType kY420 = kCVPixelFormatType_420YpCbCr8Planar;

CVReturn createStatus(std::size_t width, std::size_t height, OSType format,
                      const NSDictionary* attributes = nullptr) {
  PixelBuffer buffer;
  const CVReturn status =
      CVPixelBufferCreate(nullptr, width, height, format, attributes, buffer.out());
  EXPECT_EQ(status == kCVReturnSuccess, static_cast<bool>(buffer));
  return status;
}

PixelBuffer aligned(std::size_t width, std::size_t height, OSType format, int alignment) {
  const NSDictionary attributes = {{std::string(kCVPixelBufferBytesPerRowAlignmentKey), alignment}};
  PixelBuffer buffer;
  EXPECT_EQ(CVPixelBufferCreate(nullptr, width, height, format, &attributes, buffer.out()),
            kCVReturnSuccess);
  return buffer;
}

TEST(PixelBuffer, TellsWhatItWasMadeFrom) {
  const PixelBuffer buffer = makePixelBuffer(7, 5, kCVPixelFormatType_32BGRA);
  EXPECT_EQ(CVPixelBufferGetWidth(buffer.get()), 7u);
  EXPECT_EQ(CVPixelBufferGetHeight(buffer.get()), 5u);
  EXPECT_EQ(CVPixelBufferGetPixelFormatType(buffer.get()), kCVPixelFormatType_32BGRA);
  EXPECT_EQ(CVPixelBufferLockBaseAddress(buffer.get(), 0), kCVReturnSuccess);
  EXPECT_EQ(CVPixelBufferUnlockBaseAddress(buffer.get(), 0), kCVReturnSuccess);
}

TEST(PixelBuffer, RowsAreAsLongAsTheirPixels) {
  const auto bytesPerRow = [](std::size_t width, OSType format) {
    return CVPixelBufferGetBytesPerRow(makePixelBuffer(width, 1, format).get());
  };
  for (const OSType format : {kCVPixelFormatType_32BGRA, kCVPixelFormatType_32ARGB,
                              kCVPixelFormatType_32RGBA, kCVPixelFormatType_32ABGR}) {
    EXPECT_EQ(bytesPerRow(7, format), 28u);
  }
  EXPECT_EQ(bytesPerRow(7, kCVPixelFormatType_24RGB), 21u);
  EXPECT_EQ(bytesPerRow(7, kCVPixelFormatType_24BGR), 21u);
  EXPECT_EQ(bytesPerRow(7, kCVPixelFormatType_422YpCbCr8), 16u);
  EXPECT_EQ(bytesPerRow(7, kCVPixelFormatType_422YpCbCr8_yuvs), 16u);
  EXPECT_EQ(bytesPerRow(7, kCVPixelFormatType_OneComponent8), 7u);
  EXPECT_EQ(bytesPerRow(7, kY420), 7u);
}

TEST(PixelBuffer, RowsAreAlignedOnRequest) {
  for (const OSType format : kAllPixelFormats) {
    for (const std::size_t width : {1u, 7u, 32u, 33u}) {
      const PixelBuffer buffer = aligned(width, 3, format, 32);
      EXPECT_EQ(CVPixelBufferGetBytesPerRow(buffer.get()) % 32, 0u);
      EXPECT_EQ(CVPixelBufferGetBytesPerRowOfPlane(buffer.get(), 1) % 32, 0u);
    }
  }
  EXPECT_EQ(CVPixelBufferGetBytesPerRow(aligned(8, 1, kCVPixelFormatType_24RGB, 32).get()), 32u);
  EXPECT_EQ(CVPixelBufferGetBytesPerRow(aligned(11, 1, kCVPixelFormatType_24RGB, 32).get()), 64u);
  EXPECT_EQ(CVPixelBufferGetBytesPerRowOfPlane(aligned(66, 1, kY420, 32).get(), 1), 64u);
}

TEST(PixelBuffer, BaseAddressIsAligned) {
  const PixelBuffer buffer = makePixelBuffer(3, 3, kCVPixelFormatType_24RGB);
  const auto address = reinterpret_cast<std::uintptr_t>(CVPixelBufferGetBaseAddress(buffer.get()));
  EXPECT_EQ(address % 32, 0u);
}

TEST(PixelBuffer, PlanesOfOddSizesAreRoundedUp) {
  const PixelBuffer buffer = makePixelBuffer(5, 3, kY420);
  EXPECT_TRUE(CVPixelBufferIsPlanar(buffer.get()));
  ASSERT_EQ(CVPixelBufferGetPlaneCount(buffer.get()), 3u);
  for (const std::size_t plane : {1u, 2u}) {
    EXPECT_EQ(CVPixelBufferGetWidthOfPlane(buffer.get(), plane), 3u);
    EXPECT_EQ(CVPixelBufferGetHeightOfPlane(buffer.get(), plane), 2u);
    EXPECT_EQ(CVPixelBufferGetBytesPerRowOfPlane(buffer.get(), plane), 3u);
  }
  EXPECT_EQ(CVPixelBufferGetWidthOfPlane(buffer.get(), 0), 5u);
  EXPECT_EQ(CVPixelBufferGetHeightOfPlane(buffer.get(), 0), 3u);
  EXPECT_EQ(CVPixelBufferGetDataSize(buffer.get()), 5u * 3 + 2 * 3 * 2);
}

TEST(PixelBuffer, PlanesLieOneBehindTheOther) {
  const PixelBuffer buffer = aligned(5, 3, kY420, 32);
  EXPECT_EQ(rowOf(buffer, 0, 0), CVPixelBufferGetBaseAddress(buffer.get()));
  EXPECT_EQ(rowOf(buffer, 0, 1) - rowOf(buffer, 0, 0), 3 * 32);
  EXPECT_EQ(rowOf(buffer, 0, 2) - rowOf(buffer, 0, 1), 2 * 32);
  EXPECT_EQ(CVPixelBufferGetDataSize(buffer.get()), std::size_t{7 * 32});
}

TEST(PixelBuffer, PackedAnswersForItsOnlyPlane) {
  const PixelBuffer buffer = makePixelBuffer(4, 2, kCVPixelFormatType_32BGRA);
  EXPECT_FALSE(CVPixelBufferIsPlanar(buffer.get()));
  EXPECT_EQ(CVPixelBufferGetPlaneCount(buffer.get()), 0u);
  EXPECT_EQ(CVPixelBufferGetBaseAddressOfPlane(buffer.get(), 0),
            CVPixelBufferGetBaseAddress(buffer.get()));
  EXPECT_EQ(CVPixelBufferGetBytesPerRowOfPlane(buffer.get(), 0), 16u);
  EXPECT_EQ(CVPixelBufferGetHeightOfPlane(buffer.get(), 0), 2u);
}

TEST(PixelBuffer, AnswersNothingForAPlaneThatIsNotThere) {
  const PixelBuffer packed = makePixelBuffer(4, 2, kCVPixelFormatType_32BGRA);
  const PixelBuffer planar = makePixelBuffer(4, 2, kY420);
  for (const auto& [buffer, plane] : {std::pair{packed.get(), 1u}, std::pair{planar.get(), 3u}}) {
    EXPECT_EQ(CVPixelBufferGetBaseAddressOfPlane(buffer, plane), nullptr);
    EXPECT_EQ(CVPixelBufferGetBytesPerRowOfPlane(buffer, plane), 0u);
    EXPECT_EQ(CVPixelBufferGetWidthOfPlane(buffer, plane), 0u);
    EXPECT_EQ(CVPixelBufferGetHeightOfPlane(buffer, plane), 0u);
  }
}

TEST(PixelBuffer, IsBornBlackInEveryByte) {
  struct Black {
    OSType format;
    std::uint8_t even, odd;
  };
  constexpr Black kBlacks[] = {{kCVPixelFormatType_32BGRA, 0, 0},
                               {kCVPixelFormatType_24RGB, 0, 0},
                               {kCVPixelFormatType_OneComponent8, 0, 0},
                               {kCVPixelFormatType_422YpCbCr8, 128, 16},
                               {kCVPixelFormatType_422YpCbCr8_yuvs, 16, 128}};
  for (const Black& black : kBlacks) {
    const PixelBuffer buffer = aligned(5, 3, black.format, 32);
    const std::uint8_t* bytes = rowOf(buffer, 0);
    for (std::size_t i = 0; i < CVPixelBufferGetDataSize(buffer.get()); ++i) {
      ASSERT_EQ(bytes[i], i % 2 == 0 ? black.even : black.odd) << i;
    }
  }
}

TEST(PixelBuffer, PlanarIsBornBlackInEveryByte) {
  const PixelBuffer buffer = aligned(5, 3, kY420, 32);
  const std::uint8_t* bytes = rowOf(buffer, 0);
  for (std::size_t i = 0; i < CVPixelBufferGetDataSize(buffer.get()); ++i) {
    ASSERT_EQ(bytes[i], i < std::size_t{3 * 32} ? 16 : 128) << i;
  }
}

TEST(PixelBuffer, EveryByteCanBeWritten) {
  for (const OSType format : kAllPixelFormats) {
    const PixelBuffer buffer = makePixelBuffer(5, 3, format);
    std::memset(rowOf(buffer, 0), 0xab, CVPixelBufferGetDataSize(buffer.get()));
    EXPECT_EQ(*rowOf(buffer, 2), 0xab);
  }
}

TEST(PixelBuffer, UnknownFormatsAreRefused) {
  EXPECT_EQ(createStatus(4, 4, 0x12345678), kCVReturnInvalidPixelFormat);
  EXPECT_EQ(createStatus(4, 4, 0), kCVReturnInvalidPixelFormat);
}

TEST(PixelBuffer, UnusableSizesAreRefused) {
  EXPECT_EQ(createStatus(0, 4, kY420), kCVReturnInvalidSize);
  EXPECT_EQ(createStatus(4, 0, kY420), kCVReturnInvalidSize);
  EXPECT_EQ(createStatus(65536, 1, kY420), kCVReturnInvalidSize);
  EXPECT_EQ(createStatus(SIZE_MAX, SIZE_MAX, kCVPixelFormatType_32BGRA), kCVReturnInvalidSize);
  EXPECT_EQ(createStatus(65535, 1, kCVPixelFormatType_32BGRA), kCVReturnSuccess);
  EXPECT_EQ(createStatus(1, 65535, kY420), kCVReturnSuccess);
}

TEST(PixelBuffer, MoreMemoryThanThereIsFailsWithAStatus) {
  const NSDictionary attributes = {{std::string(kCVPixelBufferBytesPerRowAlignmentKey), 1 << 30}};
  EXPECT_EQ(createStatus(65535, 65535, kY420, &attributes), kCVReturnAllocationFailed);
}

TEST(PixelBuffer, UnusableAlignmentsAreRefused) {
  for (const Object& alignment :
       {Object(0), Object(-32), Object(33), Object("32"), Object(std::int64_t{1} << 40)}) {
    const NSDictionary attributes = {
        {std::string(kCVPixelBufferBytesPerRowAlignmentKey), alignment}};
    EXPECT_EQ(createStatus(4, 4, kY420, &attributes), kCVReturnInvalidPixelBufferAttributes);
  }
}

TEST(PixelBuffer, NullIsAnswered) {
  EXPECT_EQ(CVPixelBufferCreate(nullptr, 4, 4, kY420, nullptr, nullptr), kCVReturnInvalidArgument);
  EXPECT_EQ(CVPixelBufferRetain(nullptr), nullptr);
  CVPixelBufferRelease(nullptr);
  EXPECT_EQ(CVPixelBufferLockBaseAddress(nullptr, 0), kCVReturnInvalidArgument);
  EXPECT_EQ(CVPixelBufferUnlockBaseAddress(nullptr, 0), kCVReturnInvalidArgument);
  EXPECT_EQ(CVPixelBufferGetBaseAddress(nullptr), nullptr);
  EXPECT_EQ(CVPixelBufferGetBytesPerRow(nullptr), 0u);
  EXPECT_EQ(CVPixelBufferGetWidth(nullptr) + CVPixelBufferGetHeight(nullptr), 0u);
  EXPECT_EQ(CVPixelBufferGetDataSize(nullptr), 0u);
  EXPECT_EQ(CVPixelBufferGetPlaneCount(nullptr), 0u);
}

}  // namespace
}  // namespace vx
