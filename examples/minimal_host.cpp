// The smallest host: two seconds of a picture that changes its colour, in ./minimal.mp4.
#include "VXVideoRecorder/VXVideoRecorder.h"

#include <thread>

int main() {
  const auto recorder = VXVideoRecorder::initWithDelegate(nullptr);
  recorder->setStoragePath(".");
  recorder->setFilename("minimal.mp4");
  for (std::uint32_t ms = 0; ms < 2000; ms += 40) {
    const std::vector<std::uint32_t> pixels(640 * 360, 0xFF204060U + ms / 10);  // B, G, R, A
    recorder->appendVideoSample(
        {{"timestamp", ms},
         {"frameBuffer", vx::NSData::dataWithBytesNoCopy(pixels.data(), pixels.size() * 4)},
         {"pixelFormatType", vx::kCVPixelFormatType_32BGRA},
         {"width", 640u},
         {"height", 360u},
         {"bytesPerRow", 640u * 4}});
    std::this_thread::sleep_for(std::chrono::milliseconds(40));
  }
  recorder->stop();  // the file is completed even if the program ends right now
}
