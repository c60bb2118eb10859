#include "bench/contenders/contender.h"
#include "bench/harness/memory_use.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <stdexcept>

extern char** environ;

namespace bench {
namespace {

std::vector<std::string> commandLine(const FrameSource& source, const RecordingSettings& settings) {
  const auto number = [](int value) { return std::to_string(value); };
  return {"ffmpeg", "-nostdin", "-v", "error", "-y",
          // raw frames in
          "-f", "rawvideo", "-pix_fmt", source.isPlanar() ? "yuv420p" : "bgra", "-video_size",
          std::to_string(source.width()) + "x" + std::to_string(source.height()), "-framerate",
          number(settings.framesPerSecond), "-i", "pipe:0",
          // H.264 out
          "-c:v", "libx264", "-pix_fmt", "yuv420p", "-preset", settings.speed.preset, "-tune",
          "zerolatency", "-profile:v", "high", "-b:v", number(settings.bitRate), "-g",
          number(kKeyFrameInterval), "-bf", "0", "-qmin", number(kLowestQuantizer), "-threads",
          number(encoderThreads(source)), "-x264-params", settings.speed.options, "-movflags",
          "empty_moov+default_base_moof", "-frag_duration", number(kFragmentMilliseconds * 1000),
          "-f", "mp4", settings.path};
}

class FfmpegPipeContender final : public Contender {
 public:
  const char* name() const override { return "ffmpeg pipe"; }
  ~FfmpegPipeContender() override { static_cast<void>(closeAndWait()); }
  void open(const FrameSource& source, const RecordingSettings& settings) override;
  bool append(std::size_t i, std::uint32_t timeMs) override;
  void stop() override;
  std::uint64_t peakBytesElsewhere() const override { return _peakBytes; }

 private:
  /// The program's exit status, or -1.
  int closeAndWait();

  const FrameSource* _source = nullptr;
  pid_t _program = -1;
  int _pipe = -1;
  std::uint64_t _peakBytes = 0;
};

void FfmpegPipeContender::open(const FrameSource& source, const RecordingSettings& settings) {
  constexpr int kLargestPipe = 1024 * 1024;  // what the system gives everybody
  _source = &source;
  std::signal(SIGPIPE, SIG_IGN);
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe to ffmpeg");
  }
  _pipe = ends[1];
  ::fcntl(_pipe, F_SETPIPE_SZ, kLargestPipe);
  std::vector<std::string> texts = commandLine(source, settings);
  std::vector<char*> arguments;
  for (std::string& text : texts) {
    arguments.push_back(text.data());
  }
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
  const int result =
      ::posix_spawnp(&_program, "ffmpeg", &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(ends[0]);
  if (result != 0) {
    throw std::runtime_error("ffmpeg cannot be started");
  }
}

bool FfmpegPipeContender::append(std::size_t i, std::uint32_t) {
  std::span<const std::uint8_t> bytes = _source->frame(i);
  while (!bytes.empty()) {
    const ssize_t written = ::write(_pipe, bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) {
      throw std::runtime_error("ffmpeg went away");
    }
    bytes = bytes.subspan(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
  }
  return true;
}

void FfmpegPipeContender::stop() {
  _peakBytes = peakResidentBytesOf(_program);
  if (closeAndWait() != 0) {
    throw std::runtime_error("ffmpeg failed");
  }
}

int FfmpegPipeContender::closeAndWait() {
  if (_pipe >= 0) {
    ::close(std::exchange(_pipe, -1));
  }
  int status = -1;
  if (_program > 0) {
    while (::waitpid(_program, &status, 0) < 0 && errno == EINTR) {
    }
    _program = -1;
  }
  return status;
}

}  // namespace

std::unique_ptr<Contender> makeFfmpegPipe() { return std::make_unique<FfmpegPipeContender>(); }

}  // namespace bench
