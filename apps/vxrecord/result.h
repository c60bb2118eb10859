// How a run ended, for people and for programs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vxrecord {

/// The exit status of the program.
enum class ExitStatus : int { done = 0, recordingFailed = 1, wrongUse = 2 };

struct RunResult {
  std::optional<std::string> file;  ///< none when no file was made
  bool isDone = false;              ///< the recorder reported the file as done
  std::int64_t frames = 0;          ///< taken by the recorder
  std::int64_t dropped = 0;         ///< refused by it
  std::int64_t durationMs = 0;      ///< of the file
  std::uint64_t bytes = 0;          ///< of the file
  double seconds = 0;               ///< that the run took
  std::optional<std::string> error;
};

/// 0 only for a file that is done and an input that was recorded to its end.
ExitStatus exitStatusOf(const RunResult& result);

/// Prints an answer; `status`, or that of a failure when it cannot be printed.
ExitStatus answer(const std::string& text, ExitStatus status);

/// One line: the object that --json prints.
std::string asJson(const RunResult& result);
/// One line for people.
std::string asSentence(const RunResult& result);

/// 1234567 as "1.2 MB".
std::string readableSize(std::uint64_t bytes);

}  // namespace vxrecord
