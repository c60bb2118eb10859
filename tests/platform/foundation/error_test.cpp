#include "VXVideoRecorder/platform/foundation/NSError.h"

#include <gtest/gtest.h>

using namespace vx;

namespace {

TEST(NSError, DescribesDomainCodeAndText) {
  const NSError error(NSCocoaErrorDomain, NSFileWriteOutOfSpaceError, "The disk is full.");
  EXPECT_EQ(error.description(), "Error Domain=NSCocoaErrorDomain Code=640 \"The disk is full.\"");
}

TEST(NSException, TellsItsReason) {
  const NSException exception(NSRangeException, "index 5 beyond bounds");
  EXPECT_EQ(exception.name(), "NSRangeException");
  EXPECT_STREQ(exception.what(), "index 5 beyond bounds");
}

}  // namespace
