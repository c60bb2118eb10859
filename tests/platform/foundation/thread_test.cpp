#include "VXVideoRecorder/platform/foundation/NSThread.h"
#include "platform/foundation/thread_name.h"

#include <execinfo.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <array>
#include <atomic>
#include <future>
#include <thread>

namespace vx {
namespace {

std::string systemNameOfThisThread() {
  std::array<char, 16> name{};
  ::pthread_getname_np(::pthread_self(), name.data(), name.size());
  return name.data();
}

TEST(Thread, IsTheSameObjectAtEveryCallOfOneThread) {
  EXPECT_EQ(NSThread::currentThread(), NSThread::currentThread());
}

TEST(Thread, IsAnotherObjectInAnotherThread) {
  std::shared_ptr<NSThread> other;
  std::thread([&] { other = NSThread::currentThread(); }).join();
  EXPECT_NE(other, NSThread::currentThread());
}

TEST(Thread, HasNoNameAtFirst) {
  std::thread([] { EXPECT_EQ(NSThread::currentThread()->name(), ""); }).join();
}

TEST(Thread, KeepsItsWholeNameAndShowsTheSystemItsFront) {
  std::thread([] {
    NSThread::currentThread()->setName("[VXVideoRecorder] Display_1.mp4 (1)");
    EXPECT_EQ(NSThread::currentThread()->name(), "[VXVideoRecorder] Display_1.mp4 (1)");
    EXPECT_EQ(systemNameOfThisThread(), "[VXVideoRecorde");
  }).join();
}

TEST(Thread, CanBeNamedByAnotherThreadWhileItRuns) {
  std::promise<std::shared_ptr<NSThread>> started;
  std::promise<void> named;
  std::string seen;
  std::thread thread([&] {
    started.set_value(NSThread::currentThread());
    named.get_future().wait();
    seen = systemNameOfThisThread();
  });
  started.get_future().get()->setName("renamed");
  named.set_value();
  thread.join();
  EXPECT_EQ(seen, "renamed");
}

TEST(Thread, CanBeNamedAfterItHasEnded) {
  std::shared_ptr<NSThread> ended;
  std::thread([&] { ended = NSThread::currentThread(); }).join();
  ended->setName("late");
  EXPECT_EQ(ended->name(), "late");
}

TEST(Thread, NameOfOneThatHasEndedReachesNoOther) {
  std::shared_ptr<NSThread> ended;
  std::thread([&] { ended = NSThread::currentThread(); }).join();
  std::thread([&] {  // in the system's eyes often the same again
    NSThread::currentThread()->setName("alive");
    ended->setName("late");
    EXPECT_EQ(systemNameOfThisThread(), "alive");
  })
      .join();
}

TEST(Thread, CanBeNamedWhileItEnds) {
  for (int i = 0; i < 200; ++i) {
    std::promise<std::shared_ptr<NSThread>> started;
    std::thread thread([&] { started.set_value(NSThread::currentThread()); });
    started.get_future().get()->setName("ending");
    thread.join();
  }
}

TEST(Thread, CanBeNamedAndReadByManyThreadsAtOnce) {
  const std::shared_ptr<NSThread> shared = NSThread::currentThread();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&shared, i] {
      for (int round = 0; round < 100; ++round) {
        shared->setName(std::string(20, static_cast<char>('a' + i)));
        EXPECT_EQ(shared->name().size(), 20U);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

struct AsksAtTheVeryEnd {
  std::atomic<bool>* asked;
  ~AsksAtTheVeryEnd() {
    NSThread::currentThread()->setName("end");
    *asked = true;
  }
};

TEST(Thread, CanBeAskedForByADestructorThatRunsAsTheThreadEnds) {
  std::atomic<bool> asked = false;
  std::thread([&] {
    thread_local AsksAtTheVeryEnd first{&asked};
    (void)first;
    NSThread::currentThread();  // made later, so it goes first
  }).join();
  EXPECT_TRUE(asked);
}

TEST(ThreadName, IsCutToFifteenBytes) {
  EXPECT_EQ(threadNameShown("0123456789abcde"), "0123456789abcde");
  EXPECT_EQ(threadNameShown("0123456789abcdef"), "0123456789abcde");
  EXPECT_EQ(threadNameShown(""), "");
}

TEST(ThreadName, IsCutBetweenCharacters) {
  EXPECT_EQ(threadNameShown("0123456789abcdäx"), "0123456789abcd");
  EXPECT_EQ(threadNameShown("0123456789abcäx"), "0123456789abcä");
  EXPECT_EQ(threadNameShown("0123456789ab€x"), "0123456789ab€");
  EXPECT_EQ(threadNameShown("0123456789abc€x"), "0123456789abc");
  EXPECT_EQ(threadNameShown("0123456789abc😀"), "0123456789abc");
  EXPECT_EQ(threadNameShown("0123456789a😀x"), "0123456789a😀");
}

TEST(ThreadName, IsCutAnywhereWhenItIsNotText) {
  EXPECT_EQ(threadNameShown(std::string(20, '\x80')), std::string(15, '\x80'));
}

[[gnu::noinline]] std::vector<std::string> symbolsFromHere() {
  return NSThread::callStackSymbols();
}

TEST(CallStack, BeginsWithTheCaller) {
  std::array<void*, 128> frames{};
  const int count = ::backtrace(frames.data(), static_cast<int>(frames.size()));
  EXPECT_EQ(NSThread::callStackSymbols().size(), static_cast<std::size_t>(count));
}

TEST(CallStack, HasOneTextAFrame) {
  const std::vector<std::string> symbols = symbolsFromHere();
  ASSERT_GE(symbols.size(), 3U);
  for (const std::string& symbol : symbols) {
    EXPECT_FALSE(symbol.empty());
  }
}

[[gnu::noinline]] std::size_t depthBelow(int levels) {
  const std::size_t depth =
      levels == 0 ? NSThread::callStackSymbols().size() : depthBelow(levels - 1);
  std::atomic_signal_fence(std::memory_order_seq_cst);  // keeps this call from becoming a jump
  return depth;
}

TEST(CallStack, EndsAtABoundOnAVeryDeepStack) { EXPECT_LE(depthBelow(1000), 128U); }

}  // namespace
}  // namespace vx
