// A recorder that is fed with plain pictures and coded sound.
#pragma once

#include <cmath>
#include <stdexcept>

#include "support/audio_buffers.h"
#include "support/frame_source.h"
#include "support/program.h"
#include "support/sound.h"
#include "support/temporary_folder.h"

namespace vx::test {

class SoundRecording {
 public:
  SoundRecording() { _driven->recorder().setAudioEnabled(true); }

  /// A dark picture, or a bright one.
  void picture(std::uint32_t timeMs, bool isBright = false) {
    _driven->append(isBright ? _bright : _dark, timeMs);
  }
  /// Dark pictures every `stepMs`, the last one at `untilMs`.
  void picturesUntil(std::uint32_t untilMs, std::uint32_t stepMs = 100) {
    for (; _nextMs <= untilMs; _nextMs += stepMs) {
      picture(_nextMs);
    }
  }
  void pause() { _driven->pause(); }

  void sound(const AudioBufferBuilder& buffer) {
    const auto input = _driven->recorder().audioWriterInput();
    if (!input || !input->waitUntilReadyForMoreMediaData(kBound)) {
      throw std::runtime_error("the recorder never had room for the sound");
    }
    _driven->recorder().appendAudioSample(buffer.build().get());
  }
  /// Each unit in a buffer of its own, one behind the other from `start` samples on.
  void units(const CodedSound& sound, std::int64_t start, std::size_t first = 0,
             std::size_t end = SIZE_MAX) {
    for (std::size_t i = first; i < std::min(end, sound.units.size()); ++i) {
      unit(sound, i, start + static_cast<std::int64_t>(i - first) * kUnitSamples);
    }
  }
  void unit(const CodedSound& coded, std::size_t index, std::int64_t time) {
    sound(bufferOf(coded).at(CMTimeMake(time, coded.sampleRate)).unit(coded.units[index]));
  }
  static AudioBufferBuilder bufferOf(const CodedSound& coded) {
    return AudioBufferBuilder()
        .stream(aacStream(coded.sampleRate, static_cast<std::uint32_t>(coded.channels)))
        .cookie(coded.config);
  }

  bool stop() { return _driven->stop(); }
  const std::string& path() const { return _driven->path(); }
  DrivenRecorder& driven() { return *_driven; }
  const TemporaryFolder& folder() const { return _folder; }

 private:
  TemporaryFolder _folder;
  std::shared_ptr<DrivenRecorder> _driven = DrivenRecorder::make(_folder.path(), "sound.mp4");
  SourceFrame _dark = makeSourceFrame(kCVPixelFormatType_32BGRA, 64, 48, plain({0, 0, 0}));
  SourceFrame _bright = makeSourceFrame(kCVPixelFormatType_32BGRA, 64, 48, plain({255, 255, 255}));
  std::uint32_t _nextMs = 0;
};

}  // namespace vx::test
