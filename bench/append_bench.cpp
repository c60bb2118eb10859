// The host's thread: what appendVideoSample costs while the encoder works, against a row-by-row
// memcpy of the same frame. Both run in turn, frame by frame, so that they see the same machine.
#include "VXVideoRecorder/VXVideoRecorder.h"
#include "bench/moving_picture.h"
#include "bench/timing.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

namespace {

using bench::Clock;

struct Row {
  const char* name;
  std::uint32_t width;
  std::uint32_t height;
  vx::OSType format;
};

/// Copies a frame row by row into one buffer after the other, as a queue of pictures would.
class PlainCopy {
 public:
  explicit PlainCopy(const bench::MovingPicture& picture)
      : _picture(picture), _buffers(kBuffers, std::vector<std::uint8_t>(picture.frame(0).size())) {}

  double run(std::size_t i) {
    const std::uint8_t* source = _picture.frame(i).data();
    std::uint8_t* destination = _buffers[i % kBuffers].data();
    const std::size_t pitch = _picture.bytesPerRow();
    const std::size_t bytes = _picture.frame(i).size();
    const auto start = Clock::now();
    for (std::size_t at = 0; at < bytes; at += pitch) {
      std::memcpy(destination + at, source + at, std::min(pitch, bytes - at));
    }
    return bench::secondsSince(start);
  }

 private:
  static constexpr std::size_t kBuffers = 6;
  const bench::MovingPicture& _picture;
  std::vector<std::vector<std::uint8_t>> _buffers;
};

vx::NSDictionary frameOf(const bench::MovingPicture& picture, std::size_t i) {
  const std::vector<std::uint8_t>& bytes = picture.frame(i);
  return {{"timestamp", static_cast<std::uint32_t>(i * 33)},
          {"frameBuffer", vx::NSData::dataWithBytesNoCopy(bytes.data(), bytes.size())},
          {"pixelFormatType", picture.format()},
          {"width", picture.width()},
          {"height", picture.height()},
          {"bytesPerRow", picture.bytesPerRow()}};
}

void measure(const Row& row, const std::string& folder, std::size_t frames) {
  const bench::MovingPicture picture(row.width, row.height, row.format);
  PlainCopy plainCopy(picture);
  auto recorder = VXVideoRecorder::initWithDelegate(nullptr);
  recorder->setStoragePath(folder);
  std::vector<double> appends;
  std::vector<double> copies;
  for (std::size_t i = 0; i < frames; ++i) {
    if (recorder->videoWriterInput()) {
      recorder->videoWriterInput()->waitUntilReadyForMoreMediaData(std::chrono::seconds(10));
    }
    const double copy = plainCopy.run(i);
    const auto start = Clock::now();
    recorder->appendVideoSample(frameOf(picture, i));
    const double append = bench::secondsSince(start);
    if (i >= frames / 5) {  // the first frames open the file and fill the pool
      appends.push_back(append);
      copies.push_back(copy);
    }
  }
  recorder->stop();
  const double copyMedian = bench::median(copies);
  std::printf("%-14s  %8.3f  %8.3f  %8.3f  %8.3f  %6.2f  %6.2f\n", row.name, copyMedian * 1e3,
              bench::quantile(copies, 0.99) * 1e3, bench::median(appends) * 1e3,
              bench::quantile(appends, 0.99) * 1e3, bench::median(appends) / copyMedian,
              bench::quantile(appends, 0.99) / bench::quantile(copies, 0.99));
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t frames = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 300;
  const std::string folder = (std::filesystem::temp_directory_path() / "vx-append-bench").string();
  std::printf("milliseconds a frame on the host's thread, %zu frames, encoder working\n", frames);
  std::printf("%-14s  %8s  %8s  %8s  %8s  %6s  %6s\n", "frame", "copy p50", "copy p99", "append50",
              "append99", "x p50", "x p99");
  for (const Row& row : {Row{"y420 1920x1080", 1920, 1080, vx::kCVPixelFormatType_420YpCbCr8Planar},
                         Row{"BGRA 1920x1080", 1920, 1080, vx::kCVPixelFormatType_32BGRA},
                         Row{"y420 3840x2160", 3840, 2160, vx::kCVPixelFormatType_420YpCbCr8Planar},
                         Row{"BGRA 3840x2160", 3840, 2160, vx::kCVPixelFormatType_32BGRA}}) {
    measure(row, folder, frames);
  }
  std::filesystem::remove_all(folder);
}
