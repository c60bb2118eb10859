#include "VXVideoRecorder/platform/foundation/NSThread.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <regex>
#include <sstream>
#include <string>
#include <thread>

namespace vx {
namespace {

TEST(Log, WritesOneLineWithTimeProgramAndProcess) {
  testing::internal::CaptureStderr();
  NSLog("hello");
  const std::string line = testing::internal::GetCapturedStderr();
  const std::regex expected(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \S+\[)" +
                            std::to_string(::getpid()) + R"(\] hello\n)");
  EXPECT_TRUE(std::regex_match(line, expected)) << line;
}

TEST(Log, WritesAnEmptyLineAndAVeryLongOne) {
  testing::internal::CaptureStderr();
  NSLog("");
  NSLog(std::string(1000000, 'x'));
  const std::string lines = testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), 'x') >= 1000000, true);
}

TEST(Log, KeepsTheLinesOfSeveralThreadsWhole) {
  testing::internal::CaptureStderr();
  std::vector<std::thread> threads;
  for (char letter : {'a', 'b', 'c', 'd'}) {
    threads.emplace_back([letter] {
      for (int i = 0; i < 100; ++i) NSLog("<" + std::string(300, letter) + ">");
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::istringstream lines(testing::internal::GetCapturedStderr());
  int whole = 0;
  for (std::string line; std::getline(lines, line);) {
    const std::size_t start = line.find('<');
    ASSERT_NE(start, std::string::npos) << line;
    ASSERT_EQ(line.substr(start), "<" + std::string(300, line[start + 1]) + ">");
    ++whole;
  }
  EXPECT_EQ(whole, 400);
}

/// Standard error is something else while it lives.
class ReplacedStandardError {
 public:
  explicit ReplacedStandardError(int descriptor)
      : _kept(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 100)) {
    ::dup2(descriptor, STDERR_FILENO);
  }
  ~ReplacedStandardError() {
    ::dup2(_kept, STDERR_FILENO);
    ::close(_kept);
  }

 private:
  int _kept;
};

TEST(Log, LeavesTheProcessAliveWhenNobodyReadsThePipe) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  ::close(ends[0]);
  {
    const ReplacedStandardError replaced(ends[1]);
    NSLog("nobody hears this");
  }
  ::close(ends[1]);
  sigset_t pending;
  ::sigpending(&pending);
  EXPECT_EQ(::sigismember(&pending, SIGPIPE), 0);
}

TEST(Log, IsSilentWithoutAStandardError) {
  const int kept = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 100);
  ::close(STDERR_FILENO);
  NSLog("nobody hears this");
  ::dup2(kept, STDERR_FILENO);
  ::close(kept);
}

}  // namespace
}  // namespace vx
