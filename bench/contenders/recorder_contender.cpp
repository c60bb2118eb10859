#include "VXVideoRecorder/VXVideoRecorder.h"
#include "bench/contenders/contender.h"
#include "platform/corevideo/pixel_buffer_registry.h"

#include <atomic>
#include <filesystem>
#include <future>
#include <stdexcept>

namespace bench {
namespace {

class Delegate : public VXVideoRecorderDelegate {
 public:
  void writeLog(const std::string& message, std::int32_t) override {
    if (message.find("sample not appended") != std::string::npos) {
      ++refused;
    }
    if (message.find(" - failed") != std::string::npos) {
      failed = true;
    }
  }
  void writeVideoFileDone() override { done.set_value(); }

  std::size_t refused = 0;
  std::atomic<bool> failed = false;
  std::promise<void> done;
};

class RecorderContender final : public Contender {
 public:
  const char* name() const override { return "recorder"; }

  void open(const FrameSource& source, const RecordingSettings& settings) override {
    const std::filesystem::path path = settings.path;
    _source = &source;
    _recorder->setStoragePath(path.parent_path().string());
    _recorder->setFilename(path.filename().string());
  }

  void waitForRoom(Pace) override {
    if (_recorder->videoWriterInput()) {
      _recorder->videoWriterInput()->waitUntilReadyForMoreMediaData(std::chrono::minutes(1));
    }
  }

  bool append(std::size_t i, std::uint32_t timeMs) override {
    const std::span<const std::uint8_t> bytes = _source->frame(i);
    const std::size_t refusedBefore = _delegate->refused;
    _recorder->appendVideoSample(
        {{"timestamp", timeMs},
         {"frameBuffer", vx::NSData::dataWithBytesNoCopy(bytes.data(), bytes.size())},
         {"pixelFormatType", _source->format()},
         {"width", _source->width()},
         {"height", _source->height()},
         {"bytesPerRow", _source->bytesPerRow()}});
    return _delegate->refused == refusedBefore;
  }

  std::size_t framesHeld() const override {
    const auto counts = vx::PixelBufferRegistry::instance().counts();
    return counts.buffers - counts.idleBuffers;
  }

  void stop() override { _recorder->stop(); }

  void waitUntilDone() override {
    _delegate->done.get_future().wait();
    if (_delegate->failed) {
      throw std::runtime_error("the recorder failed");
    }
  }

 private:
  std::shared_ptr<Delegate> _delegate = std::make_shared<Delegate>();
  std::shared_ptr<VXVideoRecorder> _recorder = VXVideoRecorder::initWithDelegate(_delegate);
  const FrameSource* _source = nullptr;
};

}  // namespace

std::unique_ptr<Contender> makeRecorder() { return std::make_unique<RecorderContender>(); }

}  // namespace bench
