// A sequence of calls to a recorder, each taken from the input: frames of any format and size,
// sound, pause, stop, properties, a disk and an encoder that fail. Whatever comes, the recorder
// ends, says so once, and leaves a file that is put together right and holds what was coded.
#include "require.h"
#include "stress/recorder_with_parts.h"
#include "stress/stand_ins.h"
#include "stress/threads.h"
#include "support/audio_buffers.h"
#include "support/movie_checker.h"
#include "support/pixel_formats.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>

using namespace vx;
using namespace vx::test;

namespace {

using Calls = FuzzedDataProvider;

// One of the formats, or a code that is none.
OSType anyFormat(Calls& calls) {
  constexpr std::array kNone = {OSType{0}, OSType{0x78787878}};
  constexpr std::size_t kKnown = std::size(kAllPixelFormats);
  const auto number = calls.ConsumeIntegralInRange<std::size_t>(0, kKnown + kNone.size() - 1);
  return number < kKnown ? kAllPixelFormats[number] : kNone[number - kKnown];
}

struct Ear : VXVideoRecorderDelegate {
  void writeLog(const std::string& message, std::int32_t) override { characters += message.size(); }
  void writeVideoFileDone() override { ++filesDone; }
  std::atomic<std::size_t> characters = 0;
  std::atomic<int> filesDone = 0;
};

class Host {
 public:
  void play(Calls& calls);
  void end();

 private:
  void appendFrame(Calls& calls);
  void appendSound(Calls& calls);
  void setProperty(Calls& calls);
  void breakSomething(Calls& calls);
  void start(std::uint32_t width, std::uint32_t height, std::uint32_t timestampMs);
  void checkFile(bool isComplete) const;

  std::shared_ptr<EncoderScript> _script = EncoderScript::make();
  std::shared_ptr<MemoryDisk> _disk = std::make_shared<MemoryDisk>();
  std::shared_ptr<Ear> _ear = std::make_shared<Ear>();
  std::shared_ptr<VXVideoRecorder> _recorder = VXVideoRecorder::initWithDelegate(_ear);
  std::uint32_t _timestampMs = 0;
  bool _isStarted = false;
  bool _fileWasMade = false;
  int _stops = 0;
};

// ---- the calls -----------------------------------------------------------------------------

void Host::play(Calls& calls) {
  _recorder->setStoragePath("/");
  _recorder->setFilename("calls.mp4");
  _recorder->setAudioEnabled(calls.ConsumeBool());
  _timestampMs = calls.ConsumeBool() ? 0 : calls.ConsumeIntegral<std::uint32_t>();
  while (calls.remaining_bytes() > 0 && _stops < 3) {
    switch (calls.ConsumeIntegralInRange(0, 15)) {
      default:
        appendFrame(calls);
        break;
      case 10:
      case 11:
        appendSound(calls);
        break;
      case 12:
        _recorder->pause();
        break;
      case 13:
        setProperty(calls);
        break;
      case 14:
        breakSomething(calls);
        break;
      case 15:
        if (calls.ConsumeIntegralInRange(0, 3) == 0) {
          _recorder->stop();
          ++_stops;
        }
        break;
    }
  }
}

std::uint32_t stepOfClock(Calls& calls) {
  switch (calls.ConsumeIntegralInRange(0, 7)) {
    default:
      return calls.ConsumeIntegralInRange<std::uint32_t>(1, 100);
    case 5:
      return 0;
    case 6:
      return 0 - calls.ConsumeIntegralInRange<std::uint32_t>(1, 5000);
    case 7:
      return calls.ConsumeIntegral<std::uint32_t>();
  }
}

void Host::start(std::uint32_t width, std::uint32_t height, std::uint32_t timestampMs) {
  WriterParts parts = standInParts(_script, _disk);
  parts.createFile = [this, create = parts.createFile](const std::string& path,
                                                       std::unique_ptr<mp4::RecordingFile>& out) {
    _fileWasMade = true;
    return create(path, out);
  };
  startWithParts(*_recorder, "/calls.mp4", parts, CGSizeMake(width, height), timestampMs);
  _isStarted = true;
}

void Host::appendFrame(Calls& calls) {
  const OSType format = anyFormat(calls);
  const auto width = calls.ConsumeIntegralInRange<std::uint32_t>(0, 40);
  const auto height = calls.ConsumeIntegralInRange<std::uint32_t>(0, 40);
  const auto bytesPerRow = calls.ConsumeBool() ? width * 4 : calls.ConsumeIntegral<std::uint8_t>();
  _timestampMs += stepOfClock(calls);
  if (!_isStarted && width > 0 && height > 0) {
    start(width, height, _timestampMs);
  }
  if (const auto input = _recorder->videoWriterInput(); input && calls.ConsumeBool()) {
    input->waitUntilReadyForMoreMediaData(std::chrono::minutes(1));
  }
  const std::vector<std::uint8_t> pixels(
      VXVideoRecorder::frameBufferLength(format, width, height, bytesPerRow), 0x77);
  NSMutableDictionary frame{{"timestamp", _timestampMs},
                            {"pixelFormatType", format},
                            {"width", width},
                            {"height", height},
                            {"bytesPerRow", bytesPerRow},
                            {"isHwDecode", calls.ConsumeBool()},
                            {"multiVideoType", calls.ConsumeIntegralInRange(0, 15)}};
  if (calls.ConsumeIntegralInRange(0, 7) != 0) {
    frame.setObject(NSData::dataWithBytesNoCopy(pixels.data(), pixels.size()), "frameBuffer");
  }
  if (_isStarted) {  // without a writer of ours the recorder would make a real file
    _recorder->appendVideoSample(frame);
  }
}

void Host::appendSound(Calls& calls) {
  AudioStreamBasicDescription stream = aacStream();
  if (calls.ConsumeBool()) {
    stream.mSampleRate = calls.ConsumeIntegralInRange(-1, 100000);
    stream.mChannelsPerFrame = calls.ConsumeIntegralInRange<std::uint32_t>(0, 9);
    stream.mFramesPerPacket = calls.ConsumeIntegralInRange<std::uint32_t>(0, 2048);
  }
  if (calls.ConsumeBool()) {
    const std::string bytes = calls.ConsumeRandomLengthString(64);
    const CFRef<CMSampleBufferRef> buffer =
        CFRef<CMSampleBufferRef>::adopt(VXVideoRecorder::createAudioSampleBuffer(
            bytes.data(), static_cast<std::int32_t>(bytes.size()), stream));
    _recorder->appendAudioSample(buffer.get());
    return;
  }
  AudioBufferBuilder builder;
  builder.stream(stream).at(
      CMTimeMake(calls.ConsumeIntegral<std::int32_t>(), calls.PickValueInArray({1000, 44100, 0})));
  if (calls.ConsumeBool()) {
    const std::string cookie = calls.ConsumeRandomLengthString(16);
    builder.cookie({cookie.begin(), cookie.end()});
  }
  for (int i = calls.ConsumeIntegralInRange(0, 3); i > 0; --i) {
    const std::string unit = calls.ConsumeRandomLengthString(24);
    builder.unit({reinterpret_cast<const std::uint8_t*>(unit.data()), unit.size()});
  }
  if (calls.ConsumeBool()) {
    builder.trim(CMTimeMake(calls.ConsumeIntegral<std::int32_t>(), 44100));
  }
  CFRef<CMSampleBufferRef> buffer;
  try {
    buffer = builder.build();
  } catch (const std::exception&) {
    return;  // there is no such buffer
  }
  _recorder->appendAudioSample(buffer.get());
}

void Host::setProperty(Calls& calls) {
  switch (calls.ConsumeIntegralInRange(0, 4)) {
    case 0:
      _recorder->setIndex(calls.ConsumeIntegral<std::uint32_t>());
      break;
    case 1:
      _recorder->setUsername(calls.ConsumeRandomLengthString(8));
      break;
    case 2:
      _recorder->setFilename(calls.ConsumeRandomLengthString(8));
      break;
    case 3:
      _recorder->setFilename(std::nullopt);
      break;
    default:
      _recorder->setAudioEnabled(calls.ConsumeBool());
      break;
  }
}

void Host::breakSomething(Calls& calls) {
  switch (calls.ConsumeIntegralInRange(0, 3)) {
    case 0:
      _script->failsAt = _script->coded + calls.ConsumeIntegralInRange(0, 4);
      break;
    case 1:
      _disk->failsWith = calls.PickValueInArray({EIO, ENOSPC, EDQUOT, EFBIG, EROFS});
      break;
    case 2:
      _disk->failsWith = 0;
      break;
    default:
      _disk->capacity = calls.ConsumeIntegralInRange<std::uint64_t>(0, 1 << 16);
      break;
  }
}

// ---- what must hold ------------------------------------------------------------------------

void Host::end() {
  _recorder->stop();
  const std::vector<CVPixelBufferPoolRef> pools = VXVideoRecorderPeer(*_recorder).pools();
  const std::weak_ptr<AVAssetWriter> weakWriter = _recorder->writer();
  const bool wasStopped = _recorder->startedSession();
  bool isComplete = false;
  if (wasStopped) {
    // The finish keeps the writer; who holds it here sees how it ends.
    const std::shared_ptr<AVAssetWriter> writer = weakWriter.lock();
    _recorder.reset();
    require(!_fileWasMade || _disk->waitUntilClosed(), "the file is let go of");
    while (_ear->filesDone == 0) {
    }
    isComplete = writer && writer->status() == AVAssetWriterStatusCompleted;
  }
  _recorder.reset();
  require(!_fileWasMade || _disk->waitUntilClosed(), "the file is let go of");
  require(_ear->filesDone <= 1, "the notice comes once");
  if (_fileWasMade) {
    checkFile(isComplete);
  }
  // Recorders leave their pools behind; thousands of them would only slow the fuzzer down.
  for (CVPixelBufferPoolRef pool : pools) {
    CVPixelBufferPoolRelease(pool);
  }
}

void Host::checkFile(bool isComplete) const {
  const CheckedMovie movie = checkMovie(_disk->bytes, FileEnd::mayBeTorn);
  if (movie.form == MovieForm::none && !isComplete) {
    return;  // the encoder never opened, or the disk was full from the start
  }
  for (const std::string& finding : movie.findings) {
    std::fprintf(stderr, "finding: %s\n", finding.c_str());
  }
  require(movie.findings.empty(), "the file is put together right");
  require(!isComplete || movie.form == MovieForm::plain, "a completed file is a plain movie");
  const CheckedTrack* video = movie.video();
  require(video != nullptr, "the file has a video track");
  const auto count = static_cast<std::int64_t>(video->samples.size());
  require(count <= _script->coded, "no picture is in the file that was not coded");
  require(!isComplete || count == _script->coded, "a completed file holds every coded picture");
  std::size_t last = 0;
  for (const CheckedSample& sample : video->samples) {
    last = _script->pictureAfter(last, sample.isSync);
    const ByteView bytes = sampleBytes(_disk->bytes, sample);
    require(std::equal(bytes.begin(), bytes.end(), _script->source.pictures[last].bytes.begin(),
                       _script->source.pictures[last].bytes.end()),
            "each picture is what the encoder gave");
    require(sample.duration >= 0, "times never go back");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Calls calls(bytes, size);
  static const std::uint64_t threads = threadCount();
  Host host;
  host.play(calls);
  host.end();
  waitForThreads(threads);  // what they still hold is no leak
  return 0;
}
