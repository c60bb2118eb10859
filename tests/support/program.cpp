#include "support/program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace vx::test {
namespace {

constexpr std::chrono::milliseconds kPoll{10};
constexpr int kSignalBase = 128;
constexpr int kCannotStart = 127;

std::string makeFolder() {
  std::string path = (std::filesystem::temp_directory_path() / "vxprogram-XXXXXX").string();
  if (mkdtemp(path.data()) == nullptr) {
    throw std::runtime_error("no temporary folder could be made");
  }
  return path;
}

std::string contentsOf(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

void redirect(const std::string& path, int flags, int descriptor) {
  const int file = open(path.c_str(), flags, 0600);
  if (file < 0 || dup2(file, descriptor) < 0) {
    _exit(kCannotStart);
  }
}

}  // namespace

Program::Program(const std::vector<std::string>& arguments,
                 const std::vector<std::string>& environment)
    : _folder(makeFolder()) {
  std::vector<char*> words;
  for (const std::string& argument : arguments) {
    words.push_back(const_cast<char*>(argument.c_str()));
  }
  words.push_back(nullptr);
  const std::string outputPath = _folder + "/output";
  const std::string errorsPath = _folder + "/errors";
  _id = fork();
  if (_id != 0) {
    if (_id < 0) {
      throw std::runtime_error("no process could be started");
    }
    return;
  }
  for (const std::string& setting : environment) {
    putenv(const_cast<char*>(setting.c_str()));
  }
  redirect("/dev/null", O_RDONLY, STDIN_FILENO);
  redirect(outputPath, O_WRONLY | O_CREAT, STDOUT_FILENO);
  redirect(errorsPath, O_WRONLY | O_CREAT, STDERR_FILENO);
  execvp(words.front(), words.data());
  _exit(kCannotStart);
}

Program::~Program() {
  if (isRunning()) {
    kill(_id, SIGKILL);
    reap(true);
  }
  std::error_code ignored;
  std::filesystem::remove_all(_folder, ignored);
}

void Program::signal(int number) const {
  if (!_status) {
    kill(_id, number);
  }
}

bool Program::reap(bool block) {
  int state = 0;
  if (!_status && waitpid(_id, &state, block ? 0 : WNOHANG) == _id) {
    _status = WIFEXITED(state) ? WEXITSTATUS(state) : kSignalBase + WTERMSIG(state);
  }
  return _status.has_value();
}

bool Program::isRunning() { return !reap(false); }

int Program::wait() {
  if (!waitUntil([this] { return !isRunning(); })) {
    throw std::runtime_error("the program did not end: " + errors());
  }
  return *_status;
}

std::string Program::output() const { return contentsOf(_folder + "/output"); }
std::string Program::errors() const { return contentsOf(_folder + "/errors"); }

ProgramResult runProgram(const std::vector<std::string>& arguments,
                         const std::vector<std::string>& environment) {
  Program program(arguments, environment);
  const int status = program.wait();
  return {status, program.output(), program.errors()};
}

void makeWithFFmpeg(const std::vector<std::string>& arguments) {
  std::vector<std::string> words = {"ffmpeg", "-v", "error", "-nostdin", "-y"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  const ProgramResult run = runProgram(words);
  if (run.status != 0) {
    throw std::runtime_error("ffmpeg failed: " + run.errors);
  }
}

bool waitUntil(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + kBound;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(kPoll);
  }
  return true;
}

const std::vector<std::string> VirtualDisplay::kHidden = {"-nolisten", "unix",    "-nolisten",
                                                          "local",     "-listen", "tcp"};

// The server finds a free display number by itself and writes it to descriptor 1. It would start
// anew whenever its last client leaves.
VirtualDisplay::VirtualDisplay(const std::string& size,
                               const std::vector<std::string>& serverOptions, int depth) {
  std::vector<std::string> words = {"Xvfb",      "-displayfd", "1",
                                    "-screen",   "0",          size + "x" + std::to_string(depth),
                                    "-nolisten", "tcp",        "-noreset"};
  words.insert(words.end(), serverOptions.begin(), serverOptions.end());
  const bool isHidden = std::find(words.begin(), words.end(), "-listen") != words.end();
  _server.emplace(words);
  const bool isUp = waitUntil([this] {
    return !_server->isRunning() || _server->output().find('\n') != std::string::npos;
  });
  const std::string number = _server->output();
  if (!isUp || number.empty()) {
    throw std::runtime_error("no virtual display: " + _server->errors());
  }
  _name = (isHidden ? "127.0.0.1:" : ":") + number.substr(0, number.find('\n'));
}

}  // namespace vx::test
