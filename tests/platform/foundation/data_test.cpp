#include "VXVideoRecorder/platform/foundation/NSError.h"
#include "VXVideoRecorder/platform/foundation/NSObject.h"

#include <gtest/gtest.h>

#include <limits>

using namespace vx;
using std::chrono::nanoseconds;

namespace {

TEST(NSData, CopiesItsBytes) {
  char bytes[] = "abc";
  const NSData data = NSData::dataWithBytes(bytes, 3);
  bytes[0] = 'x';
  EXPECT_EQ(data, NSData::dataWithBytes("abc", 3));
  EXPECT_NE(static_cast<const void*>(data.bytes()), bytes);
}

TEST(NSData, RefersToTheCallersBytesWithoutCopying) {
  const char bytes[] = "abc";
  const NSData data = NSData::dataWithBytesNoCopy(bytes, 3);
  const NSData copy = data;
  EXPECT_EQ(static_cast<const void*>(copy.bytes()), bytes);
  EXPECT_EQ(copy.length(), 3u);
}

TEST(NSData, CallsTheDeallocatorOnceWhenTheLastCopyIsGone) {
  char bytes[] = "abc";
  int calls = 0;
  {
    NSData copy;
    {
      const NSData data = NSData::dataWithBytesNoCopy(bytes, 3, [&](void* freed, std::size_t size) {
        ++calls;
        EXPECT_EQ(freed, bytes);
        EXPECT_EQ(size, 3u);
      });
      copy = data;
    }
    EXPECT_EQ(calls, 0);
  }
  EXPECT_EQ(calls, 1);
}

TEST(NSData, IsEmptyFromNullBytes) {
  EXPECT_EQ(NSData::dataWithBytes(nullptr, 5).length(), 0u);
  EXPECT_EQ(NSData::dataWithBytesNoCopy(nullptr, 5).length(), 0u);
  EXPECT_EQ(NSData::dataWithBytes("", 0), NSData());
}

TEST(NSData, IsEqualByContent) {
  EXPECT_NE(NSData::dataWithBytes("ab", 2), NSData::dataWithBytes("abc", 3));
  EXPECT_NE(NSData::dataWithBytes("abd", 3), NSData::dataWithBytes("abc", 3));
}

TEST(NSDate, ComparesMoments) {
  const NSDate early{std::chrono::sys_time<nanoseconds>(nanoseconds(1))};
  const NSDate late{std::chrono::sys_time<nanoseconds>(nanoseconds(2))};
  EXPECT_EQ(early.compare(late), NSComparisonResult::ascending);
  EXPECT_EQ(late.compare(early), NSComparisonResult::descending);
  EXPECT_EQ(late.compare(late), NSComparisonResult::same);
}

}  // namespace
