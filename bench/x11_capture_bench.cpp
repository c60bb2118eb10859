// What it costs to watch a display: vxrecord's input against FFmpeg's x11grab, both with the
// pointer drawn in, on a screen that stands still, on one with a small animation and on one that is
// drawn anew as a whole. Processor time of the program and of the X server together, as a share of
// one core, less what the server needs for the drawing alone. The number on the command line is the
// seconds of each measurement.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "bench/harness/child.h"
#include "bench/harness/options.h"
#include "bench/harness/report.h"
#include "bench/harness/timing.h"
#include "tests/support/program.h"
#include "tests/support/x11_stage.h"
#include "x11_input.h"

extern "C" {
#include <libavdevice/avdevice.h>
#include <libavformat/avformat.h>
}

namespace {

using bench::Clock;

constexpr auto kDrawingInterval = std::chrono::microseconds(33333);

struct Scene {
  const char* name;
  int width;  // of what is drawn; 0: nothing
  int height;
};

/// A process that draws until this goes.
class Painter {
 public:
  Painter(const std::string& display, const Scene& scene) : _id(::fork()) {
    if (_id == 0) {
      paint(display, scene);
    }
  }
  ~Painter() {
    ::kill(_id, SIGKILL);
    ::waitpid(_id, nullptr, 0);
  }
  Painter(const Painter&) = delete;
  Painter& operator=(const Painter&) = delete;

 private:
  [[noreturn]] static void paint(const std::string& display, const Scene& scene) {
    vx::test::X11Stage stage(display);
    auto next = Clock::now();
    for (std::uint32_t i = 0; scene.width > 0; ++i) {
      stage.fill(0, 0, scene.width, scene.height, i * 0x10203U & 0xFFFFFFU);
      std::this_thread::sleep_until(next += kDrawingInterval);
    }
    while (true) {
      ::pause();
    }
  }
  pid_t _id;
};

/// Processor time that another process has taken.
double cpuSecondsOf(pid_t id) {
  std::ifstream file("/proc/" + std::to_string(id) + "/stat");
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  std::istringstream fields(text.substr(text.rfind(')') + 2));
  std::string skipped;
  for (int i = 0; i < 11; ++i) {
    fields >> skipped;
  }
  double user = 0;
  double system = 0;
  fields >> user >> system;
  return (user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

struct Watching {
  double cpuSeconds = 0;
  long frames = 0;
};

Watching watchWithInput(const std::string& display, double seconds) {
  const auto input = vxrecord::openDisplay(display);
  const double before = bench::cpuSeconds();
  const auto start = Clock::now();
  Watching result;
  vxrecord::MediaFrame frame;
  while (bench::secondsSince(start) < seconds) {
    result.frames += input->read(frame) == vxrecord::ReadResult::frame ? 1 : 0;
  }
  result.cpuSeconds = bench::cpuSeconds() - before;
  return result;
}

Watching watchWithLibav(const std::string& display, double seconds, const char* rate) {
  avdevice_register_all();
  AVDictionary* options = nullptr;
  av_dict_set(&options, "framerate", rate, 0);
  AVFormatContext* context = nullptr;
  const int opened =
      avformat_open_input(&context, display.c_str(), av_find_input_format("x11grab"), &options);
  av_dict_free(&options);
  if (opened < 0) {
    throw std::runtime_error("x11grab cannot open " + display);
  }
  const double before = bench::cpuSeconds();
  const auto start = Clock::now();
  Watching result;
  AVPacket* packet = av_packet_alloc();
  while (bench::secondsSince(start) < seconds && av_read_frame(context, packet) >= 0) {
    av_packet_unref(packet);
    ++result.frames;
  }
  result.cpuSeconds = bench::cpuSeconds() - before;
  av_packet_free(&packet);
  avformat_close_input(&context);
  return result;
}

Watching watchNot(double seconds) {
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  return {};
}

class Bench {
 public:
  Bench(const bench::Options& options, const bench::Size& size)
      : _seconds(options.count ? static_cast<double>(options.count) : options.pick(5.0, 2.0, 0.2)),
        _display(std::to_string(size.width) + "x" + std::to_string(size.height)),
        _size(std::to_string(size.width) + "x" + std::to_string(size.height)) {}

  void measure(const Scene& scene) {
    const Painter painter(_display.name(), scene);
    const double drawing = shareOf([&] { return watchNot(_seconds); }).share;
    const std::string& name = _display.name();
    tell(scene, "vxrecord", drawing, shareOf([&] { return watchWithInput(name, _seconds); }));
    tell(scene, "x11grab at 30", drawing,
         shareOf([&] { return watchWithLibav(name, _seconds, "30"); }));
    tell(scene, "x11grab at 60", drawing,
         shareOf([&] { return watchWithLibav(name, _seconds, "60"); }));
  }

 private:
  struct Share {
    double share = 0;  // of one core
    long frames = 0;
  };
  Share shareOf(const std::function<Watching()>& watch) const {
    const double before = cpuSecondsOf(_display.serverId());
    const Watching result = bench::inChild(watch);
    const double server = cpuSecondsOf(_display.serverId()) - before;
    return {(result.cpuSeconds + server) / _seconds, result.frames};
  }
  void tell(const Scene& scene, const std::string& who, double drawing, const Share& share) const {
    const std::string subject = std::string(scene.name) + ", " + _size;
    bench::report({"watching a display", subject, who, (share.share - drawing) * 100, "%", {}});
    bench::report({"watching a display",
                   subject,
                   who + ", pictures a second",
                   static_cast<double>(share.frames) / _seconds,
                   "",
                   {}});
  }

  double _seconds;
  vx::test::VirtualDisplay _display;
  std::string _size;
};

void program(const bench::Options& options) {
  const bench::Size size = options.sizes()[0];
  Bench bench(options, size);
  const Scene scenes[] = {
      {"still", 0, 0},
      {"animation of 200x150", 200, 150},
      {"whole screen", static_cast<int>(size.width), static_cast<int>(size.height)}};
  for (const Scene& scene : scenes) {
    if (options.wants(scene.name)) {
      bench.measure(scene);
    }
  }
}

}  // namespace

int main(int argc, char** argv) { return bench::runProgram(argc, argv, program); }
