// Uses the library across its edge: a virtual class of its own, values both ways, an exception.
// usage: cpp_host FILE
#include "VXVideoRecorder/VXVideoRecorderFramework.h"

#include <cstdio>
#include <future>

namespace {

class Host : public VXVideoRecorderDelegate {
 public:
  void writeVideoFileDone() override { _done.set_value(); }
  void wait() { _done.get_future().wait(); }

 private:
  std::promise<void> _done;
};

vx::NSDictionary frameAt(std::uint32_t ms, const std::vector<std::uint32_t>& pixels) {
  return {{"timestamp", ms},
          {"frameBuffer", vx::NSData::dataWithBytesNoCopy(pixels.data(), pixels.size() * 4)},
          {"pixelFormatType", vx::kCVPixelFormatType_32BGRA},
          {"width", 320u},
          {"height", 240u},
          {"bytesPerRow", 320u * 4}};
}

bool wrongKindIsRaised(VXVideoRecorder& recorder) {
  try {
    recorder.appendVideoSample({{"timestamp", "soon"}});
  } catch (const vx::NSException& exception) {
    return exception.name() == vx::NSInvalidArgumentException;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string path = argc > 1 ? argv[1] : "consumer.mp4";
  const auto host = std::make_shared<Host>();
  const auto recorder = VXVideoRecorder::initWithDelegate(host);
  const std::size_t slash = path.find_last_of('/');
  recorder->setStoragePath(slash == std::string::npos ? "." : path.substr(0, slash));
  recorder->setFilename(slash == std::string::npos ? path : path.substr(slash + 1));
  if (!wrongKindIsRaised(*recorder)) {
    std::fprintf(stderr, "the library's exception did not arrive\n");
    return 1;
  }
  for (std::uint32_t ms = 0; ms < 1000; ms += 40) {
    const std::vector<std::uint32_t> pixels(320 * 240, 0xFF204060U + ms);
    if (recorder->videoWriterInput()) {
      recorder->videoWriterInput()->waitUntilReadyForMoreMediaData(std::chrono::seconds(10));
    }
    recorder->appendVideoSample(frameAt(ms, pixels));
  }
  recorder->stop();
  host->wait();
  const bool completed = recorder->writer()->status() == vx::AVAssetWriterStatusCompleted;
  std::printf("%.1f %s\n", VXVideoRecorderFrameworkVersionNumber, completed ? "done" : "failed");
  return completed ? 0 : 1;
}
