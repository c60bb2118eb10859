// Exceptions become results, and results have texts.
#include "capi/results.h"

#include "VXVideoRecorder/platform/Foundation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <thread>

using namespace vx::capi;
using testing::StrEq;

namespace {

template <typename Exception>
vx_result resultOf(const Exception& exception) {
  return guarded([&]() -> vx_result { throw exception; });
}

}  // namespace

TEST(Results, OfTheLibrarysExceptionCarryItsReason) {
  EXPECT_EQ(resultOf(vx::NSException(vx::NSInvalidArgumentException, "the reason")), VX_EXCEPTION);
  EXPECT_THAT(vx_last_error(), StrEq("the reason"));
}

TEST(Results, OfMissingMemoryAreTheSameFromEveryLayer) {
  EXPECT_EQ(resultOf(std::bad_alloc()), VX_OUT_OF_MEMORY);
  EXPECT_EQ(resultOf(vx::NSException(vx::NSMallocException, "too much")), VX_OUT_OF_MEMORY);
}

TEST(Results, OfAnyOtherExceptionAreNegativeToo) {
  EXPECT_EQ(resultOf(std::runtime_error("unforeseen")), VX_EXCEPTION);
  EXPECT_THAT(vx_last_error(), StrEq("unforeseen"));
  EXPECT_EQ(resultOf(42), VX_EXCEPTION);
  EXPECT_THAT(vx_last_error(), StrEq("An exception without a text"));
}

TEST(Results, KeepTheirTextUntilTheNextErrorOfThisThread) {
  fail(VX_FAILED, "first");
  std::thread([] {
    EXPECT_THAT(vx_last_error(), StrEq(""));
    fail(VX_FAILED, "of another thread");
  }).join();
  EXPECT_EQ(guarded([] { return VX_OK; }), VX_OK);
  EXPECT_THAT(vx_last_error(), StrEq("first"));
}
