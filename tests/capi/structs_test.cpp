// Structs of callers that were built with an older or a newer header.
#include "capi/structs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

using namespace vx::capi;
using testing::HasSubstr;

namespace {

/// The struct as a later version may have it.
struct LongerFrame {
  vx_frame known = VX_FRAME_INIT;
  std::uint64_t added = 0;
  LongerFrame() { known.size = sizeof(LongerFrame); }
};

}  // namespace

TEST(Structs, ReadWhatBothSidesKnow) {
  LongerFrame theirs;
  theirs.known.width = 7;
  vx_frame ours = VX_FRAME_INIT;
  EXPECT_EQ(read(&theirs.known, "vx_frame", ours), VX_OK);
  EXPECT_EQ(ours.width, 7u);
  EXPECT_EQ(ours.size, sizeof(vx_frame));
}

TEST(Structs, RefuseAMemberThatIsNotKnownAndSet) {
  LongerFrame theirs;
  theirs.added = 1;
  vx_frame ours = VX_FRAME_INIT;
  EXPECT_EQ(read(&theirs.known, "vx_frame", ours), VX_UNSUPPORTED);
  EXPECT_THAT(vx_last_error(), HasSubstr("vx_frame uses members"));
}

TEST(Structs, AreZeroBeyondWhatIsKnownWhenFilled) {
  LongerFrame theirs;
  theirs.added = 1;
  vx_frame ours = VX_FRAME_INIT;
  ours.height = 9;
  EXPECT_EQ(write(ours, "vx_frame", &theirs.known), VX_OK);
  EXPECT_EQ(theirs.known.height, 9u);
  EXPECT_EQ(theirs.known.size, sizeof(LongerFrame));
  EXPECT_EQ(theirs.added, 0u);
}

TEST(Structs, MayBe64KibibytesLongAndNoLonger) {
  std::vector<std::uint64_t> memory(65536 / 8 + 1);
  auto* theirs = reinterpret_cast<vx_frame*>(memory.data());
  vx_frame ours = VX_FRAME_INIT;
  theirs->size = 65536;
  EXPECT_EQ(read(theirs, "vx_frame", ours), VX_OK);
  theirs->size = 65537;
  EXPECT_EQ(read(theirs, "vx_frame", ours), VX_INVALID_ARGUMENT);
}

TEST(Structs, WithoutTheirSizeAreRefused) {
  vx_frame ours = VX_FRAME_INIT;
  for (const std::size_t size : {std::size_t{0}, sizeof(vx_frame) - 1, SIZE_MAX}) {
    vx_frame theirs = VX_FRAME_INIT;
    theirs.size = size;
    EXPECT_EQ(read(&theirs, "vx_frame", ours), VX_INVALID_ARGUMENT) << size;
    EXPECT_EQ(write(ours, "vx_frame", &theirs), VX_INVALID_ARGUMENT) << size;
  }
  EXPECT_THAT(vx_last_error(), HasSubstr("must be sizeof(vx_frame)"));
}
