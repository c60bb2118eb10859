// vxrecord at a terminal: real keys, real signals, and the terminal as it was in every way out.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <filesystem>

#include "endtoend/vxrecord_run.h"
#include "support/media_reader.h"
#include "support/temporary_folder.h"
#include "support/terminal_program.h"

namespace vx::test {
namespace {

using testing::HasSubstr;

class VxrecordTerminal : public testing::Test {
 protected:
  void start(std::vector<std::string> arguments, int columns = 200) {
    arguments.insert(arguments.begin(), {"--storage-path", folder.path()});
    _program.emplace(vxrecordWith(arguments), columns);
  }
  void startAndRecord() {
    start({"--realtime", "test:160x120@25"});
    ASSERT_TRUE(waitUntil([this] { return framesShown() > 5; })) << program().screen();
  }
  TerminalProgram& program() { return *_program; }
  std::string file() const { return folder / "Display_1.mp4"; }

  /// Of the progress line that stands on the screen; -1 before the first.
  std::int64_t framesShown() {
    const std::string& screen = program().screen();
    const std::size_t end = screen.rfind(" frames  ");
    const std::size_t begin = end == std::string::npos ? end : screen.rfind(' ', end - 1);
    return begin == std::string::npos ? -1 : std::stoll(screen.substr(begin));
  }
  bool isShownAsPaused() {
    const std::string& screen = program().screen();
    const std::size_t line = screen.rfind('\r');
    return line != std::string::npos && screen.find("paused  ", line) != std::string::npos;
  }
  /// Presses the key that begins or ends a pause, and waits until the screen agrees.
  void toggle(bool isPausedThen) {
    program().type(" ");
    ASSERT_TRUE(waitUntil([&] { return isShownAsPaused() == isPausedThen; }));
  }
  void waitForFrames(std::int64_t more) {
    const std::int64_t wanted = framesShown() + more;
    ASSERT_TRUE(waitUntil([&] { return framesShown() >= wanted; })) << program().screen();
  }

  TemporaryFolder folder;

 private:
  std::optional<TerminalProgram> _program;
};

/// A pause in a recording: one picture that carries no number.
struct Black {
  std::int64_t durationMs = 0;
  std::int64_t numbersLeftOut = 0;
};

std::vector<Black> blacksOf(const std::string& path) {
  const std::vector<std::int64_t> numbers = frameNumbers(path);
  const std::vector<std::int64_t> times = readFile(path).videoTimesMs();
  std::vector<Black> blacks;
  for (std::size_t i = 1; i + 1 < numbers.size(); ++i) {
    if (numbers[i] < 0) {
      blacks.push_back({times[i + 1] - times[i], numbers[i + 1] - numbers[i - 1] - 2});
    }
  }
  return blacks;
}

TEST_F(VxrecordTerminal, KeyEndsTheRecording) {
  start({"--realtime", "--json", "test:160x120@25"});
  const termios before = program().mode();
  ASSERT_TRUE(waitUntil([this] { return framesShown() > 5; }));
  EXPECT_FALSE(program().isInLineMode());
  program().type("xq");
  EXPECT_EQ(program().wait(), 0) << program().screen();
  EXPECT_TRUE(program().mode() == before);
  EXPECT_EQ(static_cast<std::int64_t>(frameNumbers(file()).size()),
            jsonNumber(program().screen(), "frames"));
}

TEST_F(VxrecordTerminal, PersonIsToldOfTheKeys) {
  startAndRecord();
  EXPECT_THAT(program().screen(), HasSubstr("(space pauses, q ends)"));
}

TEST_F(VxrecordTerminal, SpacePausesAndResumes) {
  startAndRecord();
  toggle(true);
  const std::int64_t frames = framesShown();
  program().type("s");  // no key: nothing happens
  const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(1800);
  ASSERT_TRUE(waitUntil([&] { return std::chrono::steady_clock::now() > until; }));
  EXPECT_EQ(framesShown(), frames);
  toggle(false);
  waitForFrames(5);
  program().type("q");
  ASSERT_EQ(program().wait(), 0);
  const std::vector<Black> blacks = blacksOf(file());
  ASSERT_EQ(blacks.size(), 1u);
  EXPECT_EQ(blacks[0].durationMs, 1000);
  EXPECT_GT(blacks[0].numbersLeftOut, 25);
}

TEST_F(VxrecordTerminal, EveryPauseIsBlack) {
  startAndRecord();
  for (int pause = 0; pause < 3; ++pause) {
    toggle(true);
    toggle(false);
    waitForFrames(3);
  }
  program().type("q");
  ASSERT_EQ(program().wait(), 0);
  const std::vector<Black> blacks = blacksOf(file());
  ASSERT_EQ(blacks.size(), 3u);
  for (const Black& black : blacks) {
    EXPECT_LE(black.durationMs, 1000);
  }
}

TEST_F(VxrecordTerminal, RecordingThatEndsInAPauseIsWhole) {
  startAndRecord();
  toggle(true);
  program().type("Q");
  EXPECT_EQ(program().wait(), 0);
  EXPECT_EQ(decodeStrictly(file(), nullptr).errors, 0);
}

TEST_F(VxrecordTerminal, InputThatWaitsLosesNothingByAPause) {
  start({"--duration", "200", "test:64x48@25"});
  ASSERT_TRUE(waitUntil([this] { return framesShown() > 5; }));
  toggle(true);
  const std::int64_t frames = framesShown();
  toggle(false);
  EXPECT_EQ(program().wait(), 0);
  const std::vector<std::int64_t> numbers = frameNumbers(file());
  ASSERT_EQ(numbers.size(), 5000u);
  EXPECT_EQ(numbers[static_cast<std::size_t>(frames)], frames);
  EXPECT_EQ(numbers.back(), 4999);
}

TEST_F(VxrecordTerminal, LineFitsANarrowTerminal) {
  start({"--realtime", "test:160x120@25"}, 30);
  ASSERT_TRUE(waitUntil([this] { return framesShown() > 5; }));
  program().type("q");
  ASSERT_EQ(program().wait(), 0);
  const std::string& screen = program().screen();
  const std::size_t begin = screen.find('\r', screen.find('\n')) + 1;
  const std::size_t end = screen.find('\x1b', begin);
  EXPECT_LT(end - begin, 30u);
}

// The terminal is as it was, whatever signal ends the program.
class SignalsAtATerminal : public VxrecordTerminal, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(Ends, SignalsAtATerminal,
                         testing::Values(SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGABRT, SIGUSR1,
                                         SIGALRM, SIGXCPU),
                         [](const auto& test) { return sigabbrev_np(test.param); });

TEST_P(SignalsAtATerminal, LeaveItAsItWas) {
  start({"--realtime", "test:160x120@25"});
  const termios before = program().mode();
  ASSERT_TRUE(waitUntil([this] { return framesShown() > 5; }));
  program().signal(GetParam());
  const bool isClean = GetParam() == SIGINT || GetParam() == SIGTERM || GetParam() == SIGHUP;
  EXPECT_EQ(program().wait(), isClean ? 0 : 128 + GetParam());
  EXPECT_TRUE(program().mode() == before);
  EXPECT_EQ(decodeStrictly(file(), nullptr).errors, 0);
}

TEST_F(VxrecordTerminal, KeysOfTheTerminalThatMeanSignalsStillDo) {
  startAndRecord();
  program().type("\x03");
  EXPECT_EQ(program().wait(), 0);
}

TEST_F(VxrecordTerminal, SecondCtrlCWithinASecondLosesNothing) {
  startAndRecord();
  program().type("\x03\x03\x03");
  EXPECT_EQ(program().wait(), 0) << program().screen();
  EXPECT_THAT(program().screen(), HasSubstr("recorded "));
}

TEST_F(VxrecordTerminal, TerminalThatClosesEndsTheRecordingCleanly) {
  startAndRecord();
  program().hangUp();
  EXPECT_EQ(program().wait(), 0);
  EXPECT_EQ(decodeStrictly(file(), nullptr).errors, 0);
}

TEST_F(VxrecordTerminal, StoppedProgramGivesTheTerminalBackMeanwhile) {
  start({"--realtime", "test:160x120@25"});
  const termios before = program().mode();
  ASSERT_TRUE(waitUntil([this] { return framesShown() > 5; }));
  program().signal(SIGTSTP);
  int state = 0;
  ASSERT_EQ(waitpid(program().id(), &state, WUNTRACED), program().id());
  ASSERT_TRUE(WIFSTOPPED(state));
  EXPECT_TRUE(program().mode() == before);
  program().signal(SIGCONT);
  ASSERT_TRUE(waitUntil([this] { return !program().isInLineMode(); }));
  waitForFrames(1);
  program().type("q");
  EXPECT_EQ(program().wait(), 0);
  EXPECT_TRUE(program().mode() == before);
}

/// The program as a job of a shell at the terminal.
class JobAtATerminal : public VxrecordTerminal {
 protected:
  /// `behind`: what stands behind the command, as "&".
  void startJob(const std::string& behind) {
    std::string line;
    for (const std::string& word :
         vxrecordWith({"--realtime", "--storage-path", folder.path(), "test:160x120@25"})) {
      line += word + " ";
    }
    shell.type(line + behind + "\n");
    ASSERT_TRUE(shows(" frames  ")) << shell.screen();
  }
  bool shows(const std::string& text) {
    return waitUntil([&] { return shell.screen().find(text) != std::string::npos; });
  }

  TerminalProgram shell{{"bash", "--norc", "-i"}};
};

TEST_F(JobAtATerminal, LeavesATerminalAloneThatTheShellHasTakenBack) {
  startJob("");
  const pid_t job = shell.foreground();
  kill(job, SIGSTOP);  // without a chance to give the terminal back
  ASSERT_TRUE(waitUntil([&] { return shell.foreground() != job; }));
  kill(job, SIGCONT);
  kill(job, SIGTERM);
  ASSERT_TRUE(shows("recorded ")) << shell.screen();
  shell.type(
      "\x15"
      "exit 7\n");
  EXPECT_EQ(shell.wait(), 7) << shell.screen();
}

// In the background the keys are the shell's; brought to the front, they are the program's again.
TEST_F(JobAtATerminal, TakesKeysWhenItIsInFront) {
  startJob("&");
  shell.type("echo q was t$((1))yped\n");
  ASSERT_TRUE(shows("q was t1yped")) << shell.screen();
  EXPECT_EQ(shell.screen().find("recorded "), std::string::npos);
  shell.type("fg\n");
  // The shell echoes the command; from then on the terminal is handed over.
  ASSERT_TRUE(waitUntil([&] { return !shell.isInLineMode() && shell.mode().c_cc[VMIN] == 1; }));
  ASSERT_TRUE(waitUntil([&] {
    shell.type("q");
    return shell.screen().find("recorded ") != std::string::npos;
  })) << shell.screen();
  EXPECT_EQ(decodeStrictly(file(), nullptr).errors, 0);
  shell.type("\n");  // a q that came too late for the program is a command of its own
  shell.type("exit 7\n");
  EXPECT_EQ(shell.wait(), 7) << shell.screen();
}

TEST_F(VxrecordTerminal, WrongInputLeavesTheTerminalAsItWas) {
  start({folder / "missing.mkv"});
  EXPECT_EQ(program().wait(), 2);
  EXPECT_TRUE(program().isInLineMode());
}

}  // namespace
}  // namespace vx::test
