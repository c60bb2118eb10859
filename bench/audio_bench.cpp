// Sound: what appendAudioSample costs the host's thread for each buffer, and what share of a whole
// recording's processor time the sound takes: the same pictures with and without it, in turn.
#include "VXVideoRecorder/VXVideoRecorder.h"
#include "bench/harness/frame_source.h"
#include "bench/harness/options.h"
#include "bench/harness/report.h"
#include "bench/harness/timing.h"

#include <future>
#include <numeric>
#include <string>

namespace {

using bench::Clock;

constexpr std::uint32_t kFrameMs = 33;
constexpr std::int64_t kUnitSamples = 1024;
constexpr std::int32_t kSampleRate = 44100;
constexpr std::size_t kUnitBytes = 372;  // 128 kbit/s

class DoneDelegate : public VXVideoRecorderDelegate {
 public:
  void writeVideoFileDone() override { done.set_value(); }
  std::promise<void> done;
};

/// Makes buffers as a host does: one access unit, its time and its description.
class Units {
 public:
  Units() : _bytes(kUnitBytes, 0x21) {
    vx::AudioStreamBasicDescription stream;
    stream.mSampleRate = kSampleRate;
    stream.mFormatID = vx::kAudioFormatMPEG4AAC;
    stream.mFormatFlags = vx::kMPEG4Object_AAC_LC;
    stream.mFramesPerPacket = kUnitSamples;
    stream.mChannelsPerFrame = 2;
    vx::CMAudioFormatDescriptionCreate(nullptr, &stream, 0, nullptr, 0, nullptr, nullptr, &_format);
  }
  ~Units() { vx::CFRelease(_format); }
  Units(const Units&) = delete;
  Units& operator=(const Units&) = delete;

  vx::CMSampleBufferRef make(std::int64_t number) const {
    vx::CMBlockBufferRef block = nullptr;
    vx::CMBlockBufferCreateWithBytes(nullptr, _bytes.data(), _bytes.size(), &block);
    const vx::CMSampleTimingInfo timing{vx::CMTimeMake(kUnitSamples, kSampleRate),
                                        vx::CMTimeMake(number * kUnitSamples, kSampleRate),
                                        vx::kCMTimeInvalid};
    const std::size_t size = _bytes.size();
    vx::CMSampleBufferRef buffer = nullptr;
    vx::CMSampleBufferCreateReady(nullptr, block, _format, 1, 1, &timing, 1, &size, &buffer);
    vx::CFRelease(block);
    return buffer;
  }

 private:
  std::vector<std::uint8_t> _bytes;
  vx::CMAudioFormatDescriptionRef _format = nullptr;
};

struct Cost {
  double cpuSeconds = 0;
  std::vector<double> appends;
  std::vector<double> makes;
};

vx::NSDictionary frameOf(const bench::MovingPicture& picture, std::size_t i) {
  const std::span<const std::uint8_t> bytes = picture.frame(i);
  return {{"timestamp", static_cast<std::uint32_t>(i * kFrameMs)},
          {"frameBuffer", vx::NSData::dataWithBytesNoCopy(bytes.data(), bytes.size())},
          {"pixelFormatType", picture.format()},
          {"width", picture.width()},
          {"height", picture.height()},
          {"bytesPerRow", picture.bytesPerRow()}};
}

void appendSound(VXVideoRecorder& recorder, const Units& units, std::int64_t number, Cost& cost) {
  recorder.audioWriterInput()->waitUntilReadyForMoreMediaData(std::chrono::seconds(10));
  const auto start = Clock::now();
  vx::CMSampleBufferRef buffer = units.make(number);
  const double made = bench::secondsSince(start);
  const auto appendStart = Clock::now();
  recorder.appendAudioSample(buffer);
  cost.appends.push_back(bench::secondsSince(appendStart));
  cost.makes.push_back(made);
  vx::CFRelease(buffer);
}

Cost record(const bench::MovingPicture& picture, std::size_t frames, bool withSound,
            const std::string& folder) {
  Cost cost;
  const Units units;
  const double cpuBefore = bench::cpuSeconds();
  auto delegate = std::make_shared<DoneDelegate>();
  auto recorder = VXVideoRecorder::initWithDelegate(delegate);
  recorder->setStoragePath(folder);
  recorder->setFilename("audio.mp4");
  recorder->setAudioEnabled(withSound);
  std::int64_t unit = 0;
  for (std::size_t i = 0; i < frames; ++i) {
    if (recorder->videoWriterInput()) {
      recorder->videoWriterInput()->waitUntilReadyForMoreMediaData(std::chrono::minutes(1));
    }
    recorder->appendVideoSample(frameOf(picture, i));
    const auto untilMs = static_cast<std::int64_t>(i * kFrameMs);
    for (; withSound && i > 0 && unit * kUnitSamples * 1000 < untilMs * kSampleRate; ++unit) {
      appendSound(*recorder, units, unit, cost);
    }
  }
  recorder->stop();
  delegate->done.get_future().wait();
  cost.cpuSeconds = bench::cpuSeconds() - cpuBefore;
  return cost;
}

void measure(std::uint32_t width, std::uint32_t height, const bench::Options& options) {
  const bench::MovingPicture picture(width, height);
  const auto frames = options.pick<std::size_t>(600, 200, 20);
  const int rounds = options.pick(5, 2, 1);
  std::vector<double> with, without, appends, makes;
  double hostSeconds = 0;
  for (int round = 0; round < rounds; ++round) {
    without.push_back(record(picture, frames, false, options.folder).cpuSeconds);
    const Cost cost = record(picture, frames, true, options.folder);
    with.push_back(cost.cpuSeconds);
    appends.insert(appends.end(), cost.appends.begin(), cost.appends.end());
    makes.insert(makes.end(), cost.makes.begin(), cost.makes.end());
    hostSeconds += std::accumulate(cost.appends.begin(), cost.appends.end(), 0.0);
  }
  const double recording = bench::median(with);
  const auto figure = [&](const char* measure, double value, const char* unit) {
    bench::report({"sound", picture.name(), measure, value, unit, {}});
  };
  figure("making a buffer, median", bench::median(makes) * 1e6, "us");
  figure("append, median", bench::median(appends) * 1e6, "us");
  figure("append, p99", bench::quantile(appends, 0.99) * 1e6, "us");
  figure("share of the recording's CPU", (1 - bench::median(without) / recording) * 100, "%");
  figure("appends' share of the recording's CPU", hostSeconds / rounds / recording * 100, "%");
}

void program(const bench::Options& options) {
  measure(320, 240, options);
  measure(1280, 720, options);
}

}  // namespace

int main(int argc, char** argv) { return bench::runProgram(argc, argv, program); }
