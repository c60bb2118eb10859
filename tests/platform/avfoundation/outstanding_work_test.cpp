// What a program that ends does with work that is not done yet: each test ends a child.
#include "platform/avfoundation/outstanding_work.h"
#include "platform/foundation/sanitizers.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string_view>
#include <thread>

namespace vx {
namespace {

void say(std::string_view text) {
  static_cast<void>(::write(STDERR_FILENO, text.data(), text.size()) == 0);
}

std::atomic<bool> isEnding = false;

class OutstandingWork : public testing::Test {
 protected:
  void SetUp() override {
#if VX_THREAD_SANITIZER
    GTEST_SKIP() << "a child of a sanitized program with threads may start none";
#endif
  }
};

TEST_F(OutstandingWork, ProgramThatEndsWaitsForIt) {
  const auto endWithWork = [] {
    outstanding_work::begin();
    std::atexit([] { isEnding = true; });  // behind which the wait comes
    static_cast<void>(outstanding_work::startThread("worker", [] {
      while (!isEnding) {
        std::this_thread::yield();
      }
      const auto done = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
      while (std::chrono::steady_clock::now() < done) {  // work takes its time
      }
      say("done");
      outstanding_work::end();
    }));
    std::exit(0);
  };
  EXPECT_EXIT(endWithWork(), testing::ExitedWithCode(0), "done");
}

TEST_F(OutstandingWork, WorkerMayEndTheProgramItself) {
  const auto endFromWithin = [] {
    outstanding_work::begin();
    static_cast<void>(outstanding_work::startThread("worker", [] {
      const outstanding_work::WorkerScope scope;
      std::exit(7);
    }));
    for (;;) {
      ::pause();
    }
  };
  EXPECT_EXIT(endFromWithin(), testing::ExitedWithCode(7), "");
}

TEST_F(OutstandingWork, ChildDoesNotWaitForItsParents) {
  outstanding_work::begin();
  EXPECT_EXIT(std::exit(0), testing::ExitedWithCode(0), "");
  outstanding_work::end();
}

}  // namespace
}  // namespace vx
