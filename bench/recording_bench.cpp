// A whole recording, pushed as fast as it is taken: wall and CPU seconds against the same frames
// through libavcodec and libavformat with equal encoder settings. Both sides run in turn.
#include "VXVideoRecorder/VXVideoRecorder.h"
#include "bench/libav_recorder.h"
#include "bench/timing.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <string>

namespace {

struct Cost {
  double wallSeconds;
  double cpuSeconds;
};

class DoneDelegate : public VXVideoRecorderDelegate {
 public:
  void writeVideoFileDone() override { done.set_value(); }
  std::promise<void> done;
};

void recordWithRecorder(const bench::MovingPicture& picture, std::size_t frames,
                        const std::string& folder) {
  auto delegate = std::make_shared<DoneDelegate>();
  auto recorder = VXVideoRecorder::initWithDelegate(delegate);
  recorder->setStoragePath(folder);
  recorder->setFilename("recorder.mp4");
  for (std::size_t i = 0; i < frames; ++i) {
    if (recorder->videoWriterInput()) {
      recorder->videoWriterInput()->waitUntilReadyForMoreMediaData(std::chrono::minutes(1));
    }
    const std::vector<std::uint8_t>& bytes = picture.frame(i);
    recorder->appendVideoSample(
        {{"timestamp", static_cast<std::uint32_t>(i * 33)},
         {"frameBuffer", vx::NSData::dataWithBytesNoCopy(bytes.data(), bytes.size())},
         {"pixelFormatType", picture.format()},
         {"width", picture.width()},
         {"height", picture.height()},
         {"bytesPerRow", picture.bytesPerRow()}});
  }
  recorder->stop();
  delegate->done.get_future().wait();
}

Cost costOf(const std::function<void()>& run) {
  const double cpuBefore = bench::cpuSeconds();
  const auto start = bench::Clock::now();
  run();
  return {bench::secondsSince(start), bench::cpuSeconds() - cpuBefore};
}

void measure(std::uint32_t width, std::uint32_t height, std::size_t frames, int rounds,
             const std::string& folder) {
  const bench::MovingPicture picture(width, height, vx::kCVPixelFormatType_420YpCbCr8Planar);
  std::vector<double> ownWall, ownCpu, otherWall, otherCpu;
  for (int round = 0; round < rounds; ++round) {
    const Cost own = costOf([&] { recordWithRecorder(picture, frames, folder); });
    const Cost other =
        costOf([&] { bench::recordWithLibav(picture, frames, folder + "/libav.mp4"); });
    ownWall.push_back(own.wallSeconds);
    ownCpu.push_back(own.cpuSeconds);
    otherWall.push_back(other.wallSeconds);
    otherCpu.push_back(other.cpuSeconds);
  }
  const auto bytes = [&](const char* name) {
    return static_cast<double>(std::filesystem::file_size(folder + name)) * 1e-6;
  };
  std::printf("%4ux%-4u  %7.2f  %7.2f  %6.2f  %7.2f  %7.2f  %6.2f  %7.2f  %7.2f\n", width, height,
              bench::median(ownWall), bench::median(otherWall),
              bench::median(ownWall) / bench::median(otherWall), bench::median(ownCpu),
              bench::median(otherCpu), bench::median(ownCpu) / bench::median(otherCpu),
              bytes("/recorder.mp4"), bytes("/libav.mp4"));
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t frames = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 300;
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 3;
  const std::string folder =
      (std::filesystem::temp_directory_path() / "vx-recording-bench").string();
  std::filesystem::create_directories(folder);
  std::printf("%zu frames, medians of %d rounds; seconds, ratio to libav, megabytes\n", frames,
              rounds);
  std::printf("%-9s  %7s  %7s  %6s  %7s  %7s  %6s  %7s  %7s\n", "size", "wall", "libav", "x", "cpu",
              "libav", "x", "MB", "libav");
  measure(1280, 720, frames, rounds, folder);
  measure(1920, 1080, frames, rounds, folder);
  measure(3840, 2160, frames / 4, rounds, folder);
  std::filesystem::remove_all(folder);
}
