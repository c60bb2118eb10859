// Programs run as a person would run them: arguments in, exit status and output out.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vx::test {

/// How long any wait of a test may last.
inline constexpr std::chrono::seconds kBound{120};

/// A program that runs beside the test. Killed by its id if it still runs when this goes.
class Program {
 public:
  /// Starts `arguments`, the first of which is found along PATH. Both outputs go to files of its
  /// own; standard input is empty.
  explicit Program(const std::vector<std::string>& arguments,
                   const std::vector<std::string>& environment = {});
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  pid_t id() const { return _id; }
  void signal(int number) const;
  /// Whether it has not ended yet.
  bool isRunning();
  /// Waits for the end: the exit status, or 128 and the signal's number. Throws after `kBound`.
  int wait();
  std::string output() const;
  std::string errors() const;

 private:
  bool reap(bool block);

  pid_t _id = -1;
  std::string _folder;
  std::optional<int> _status;
};

struct ProgramResult {
  int status = 0;
  std::string output;
  std::string errors;
};
ProgramResult runProgram(const std::vector<std::string>& arguments,
                         const std::vector<std::string>& environment = {});

/// Runs ffmpeg to make a file. Throws when that fails.
void makeWithFFmpeg(const std::vector<std::string>& arguments);

/// Waits until `condition` holds; false after `kBound`.
bool waitUntil(const std::function<bool()>& condition);

/// A virtual X screen on a free display of its own, without a network socket.
class VirtualDisplay {
 public:
  /// Options of a server that only who knows its address meets, not who looks for displays.
  static const std::vector<std::string> kHidden;

  explicit VirtualDisplay(const std::string& size = "640x480",
                          const std::vector<std::string>& serverOptions = {}, int depth = 24);
  pid_t serverId() const { return _server->id(); }
  /// Ends the server while its clients are still there.
  void end() { _server.reset(); }
  /// ":N", or "127.0.0.1:N" of a hidden one.
  const std::string& name() const { return _name; }

 private:
  std::string _folder;
  std::optional<Program> _server;
  std::string _name;
};

}  // namespace vx::test
