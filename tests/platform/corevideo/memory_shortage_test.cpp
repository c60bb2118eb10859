// Pools where an allocation fails.
#include "platform/corevideo/pixel_buffer_registry.h"
#include "support/failing_memory.h"
#include "support/pixel_buffers.h"

#include <gtest/gtest.h>

namespace vx {
namespace {

using test::FailingMemory;
using Pool = CFRef<CVPixelBufferPoolRef>;

Pool poolOf(int side) {
  const NSDictionary attributes = {
      {std::string(kCVPixelBufferWidthKey), side},
      {std::string(kCVPixelBufferHeightKey), side},
      {std::string(kCVPixelBufferPixelFormatTypeKey), kCVPixelFormatType_32BGRA}};
  Pool pool;
  EXPECT_EQ(CVPixelBufferPoolCreate(nullptr, nullptr, &attributes, pool.out()), kCVReturnSuccess);
  return pool;
}

CVReturn draw(const Pool& pool, PixelBuffer& buffer) {
  return CVPixelBufferPoolCreatePixelBuffer(nullptr, pool.get(), buffer.out());
}

std::size_t idleBuffers() { return PixelBufferRegistry::instance().counts().idleBuffers; }

TEST(PixelBufferPoolWithoutMemory, TakesThatOfIdleBuffersAndTriesAgain) {
  const Pool finished = poolOf(8);
  const Pool pool = poolOf(4);
  PixelBuffer buffer;
  ASSERT_EQ(draw(finished, buffer), kCVReturnSuccess);
  buffer.reset();
  ASSERT_EQ(idleBuffers(), 1u);
  CVReturn status = kCVReturnSuccess;
  {
    const FailingMemory once(FailingMemory::Source::operatorNew, FailingMemory::Extent::one, 0);
    status = draw(pool, buffer);
  }
  EXPECT_EQ(status, kCVReturnSuccess);
  EXPECT_TRUE(buffer);
  EXPECT_EQ(idleBuffers(), 0u);
}

TEST(PixelBufferPoolWithoutMemory, FailsWithAStatusWhenThatDoesNotHelp) {
  const Pool pool = poolOf(4);
  PixelBuffer buffer;
  CVReturn status = kCVReturnSuccess;
  {
    const FailingMemory none(FailingMemory::Source::operatorNew,
                             FailingMemory::Extent::allFromThere, 0);
    status = draw(pool, buffer);
  }
  EXPECT_EQ(status, kCVReturnAllocationFailed);
  EXPECT_FALSE(buffer);
}

}  // namespace
}  // namespace vx
