// Frames and audio on their way into the recorder.
#include "capi/recorder.h"
#include "capi/structs.h"
#include "platform/cf_ref.h"
#include "platform/corevideo/pixel_layout.h"
#include "recorder/absent_objects.h"
#include "recorder/memory_shortage.h"

#include <chrono>
#include <cmath>
#include <new>

using namespace vx;
using namespace vx::capi;
using vx::recorder::isReady;

namespace {

constexpr std::uint32_t kDefaultFramesPerUnit = 1024;

// ---- Video -----------------------------------------------------------------------------------

vx_result checkFrame(const vx_frame& frame) {
  const auto number = [](std::uint64_t value) { return std::to_string(value); };
  if (!findPixelFormat(frame.pixel_format)) {
    return fail(VX_INVALID_ARGUMENT, "the pixel format " + number(frame.pixel_format) +
                                         " is none of VX_PIXEL_FORMAT_...");
  }
  if (frame.width == 0 || frame.height == 0 || frame.width > kMaxPixelBufferSide ||
      frame.height > kMaxPixelBufferSide) {
    return fail(VX_INVALID_ARGUMENT, "a frame of " + number(frame.width) + " x " +
                                         number(frame.height) + " pixels cannot be recorded");
  }
  const std::size_t needed = VXVideoRecorder::frameBufferLength(frame.pixel_format, frame.width,
                                                                frame.height, frame.bytes_per_row);
  if (frame.pixels && frame.pixels_length < needed) {
    return fail(VX_INVALID_ARGUMENT, "the frame has " + number(frame.pixels_length) +
                                         " bytes and needs " + number(needed));
  }
  return VX_OK;
}

NSDictionary dictionaryOf(const vx_frame& frame) {
  NSMutableDictionary dictionary{{"timestamp", frame.timestamp_ms},
                                 {"isHwDecode", frame.is_hw_decode},
                                 {"multiVideoType", frame.multi_video_type},
                                 {"pixelFormatType", frame.pixel_format},
                                 {"width", frame.width},
                                 {"height", frame.height},
                                 {"bytesPerRow", frame.bytes_per_row}};
  if (frame.pixels) {
    dictionary.setObject(NSData::dataWithBytesNoCopy(frame.pixels, frame.pixels_length),
                         "frameBuffer");
  }
  return dictionary;
}

vx_result appendFrame(vx_recorder& handle, const vx_frame* given) {
  vx_frame frame = VX_FRAME_INIT;
  if (const vx_result result = read(given, "vx_frame", frame); result != VX_OK) {
    return result;
  }
  if (const vx_result result = checkFrame(frame); result != VX_OK) {
    return result;
  }
  if (const vx_result result = checkWriting(handle); result != VX_OK) {
    return result;
  }
  // Held on to: a callback may destroy the recorder.
  const std::shared_ptr<VXVideoRecorder> recorder = handle.recorder;
  const std::shared_ptr<Host> host = handle.host;
  // Only this thread fills the queue, so room that is there now is there within the call.
  const bool hasRoom = !recorder->writer() || isReady(recorder->videoWriterInput());
  host->forgetTrouble();
  const std::uint32_t shortages = memoryShortages;
  recorder->appendVideoSample(dictionaryOf(frame));
  if (memoryShortages != shortages) {
    return fail(VX_OUT_OF_MEMORY, "there is no memory for the frame");
  }
  const std::shared_ptr<AVAssetWriter> writer = recorder->writer();
  if (!writer) {
    return fail(VX_FAILED, "the file cannot be made; the log says more");
  }
  if (writer->status() == AVAssetWriterStatusFailed) {
    return fail(VX_FAILED, failureText(*recorder));
  }
  if (const std::optional<Trouble> trouble = host->trouble()) {
    return fail(trouble->result, trouble->line);
  }
  return hasRoom ? VX_OK : VX_DROPPED;
}

vx_result waitForRoom(const vx_recorder& handle, std::int32_t timeoutMs) {
  using std::chrono::milliseconds;
  constexpr std::int32_t kSliceMs = 1000;  // of a wait without end
  const std::shared_ptr<AVAssetWriterInput> input = handle.recorder->videoWriterInput();
  for (;;) {
    if (const vx_result result = checkWriting(handle); result != VX_OK || !input) {
      return result;
    }
    if (input->waitUntilReadyForMoreMediaData(milliseconds(timeoutMs < 0 ? kSliceMs : timeoutMs))) {
      return VX_OK;
    }
    if (timeoutMs >= 0) {
      const vx_result result = checkWriting(handle);
      return result == VX_OK ? VX_TIMED_OUT : result;
    }
  }
}

// ---- Audio -----------------------------------------------------------------------------------

vx_result checkAudio(const vx_audio& audio) {
  if (!audio.data || audio.data_length == 0) {
    return fail(VX_INVALID_ARGUMENT, "the audio has no bytes");
  }
  if (!std::isfinite(audio.sample_rate) || audio.sample_rate < 1000 || audio.sample_rate > 1e6) {
    return fail(VX_INVALID_ARGUMENT, "the audio's sample rate cannot be");
  }
  if ((audio.config == nullptr) != (audio.config_length == 0) ||
      (audio.unit_lengths == nullptr) != (audio.unit_count == 0)) {
    return fail(VX_INVALID_ARGUMENT, "a pointer and its number must both be given, or none");
  }
  if (audio.timescale < 0) {
    return fail(VX_INVALID_ARGUMENT, "the audio's timescale is negative");
  }
  std::size_t left = audio.data_length;
  for (std::size_t i = 0; i < audio.unit_count; ++i) {
    if (audio.unit_lengths[i] == 0 || audio.unit_lengths[i] > left) {
      return fail(VX_INVALID_ARGUMENT, "the lengths of the units do not fit the audio's bytes");
    }
    left -= audio.unit_lengths[i];
  }
  return VX_OK;
}

/// What the caller gave was looked at before, so nothing but memory can be missing.
void check(OSStatus status) {
  if (status != noErr) {
    throw std::bad_alloc();
  }
}

CFRef<CMAudioFormatDescriptionRef> formatOf(const vx_audio& audio) {
  AudioStreamBasicDescription stream;
  stream.mSampleRate = audio.sample_rate;
  stream.mFormatID = kAudioFormatMPEG4AAC;
  stream.mFormatFlags = audio.object_type;
  stream.mFramesPerPacket = audio.frames_per_unit ? audio.frames_per_unit : kDefaultFramesPerUnit;
  stream.mChannelsPerFrame = audio.channels;
  CFRef<CMAudioFormatDescriptionRef> format;
  check(CMAudioFormatDescriptionCreate(kCFAllocatorDefault, &stream, 0, nullptr,
                                       audio.config_length, audio.config, nullptr, format.out()));
  return format;
}

CFRef<CMSampleBufferRef> bufferOf(const vx_audio& audio) {
  const CFRef<CMAudioFormatDescriptionRef> format = formatOf(audio);
  CFRef<CMBlockBufferRef> block;
  check(CMBlockBufferCreateWithBytes(kCFAllocatorDefault, audio.data, audio.data_length,
                                     block.out()));
  const std::uint32_t frames =
      audio.frames_per_unit ? audio.frames_per_unit : kDefaultFramesPerUnit;
  const CMTime start = audio.timescale ? CMTimeMake(audio.time, audio.timescale) : kCMTimeZero;
  const CMSampleTimingInfo timing{CMTimeMake(frames, static_cast<CMTimeScale>(audio.sample_rate)),
                                  start, kCMTimeInvalid};
  const auto sizes = static_cast<CMItemCount>(audio.unit_count);
  CFRef<CMSampleBufferRef> buffer;
  check(CMSampleBufferCreateReady(kCFAllocatorDefault, block.get(), format.get(), sizes ? sizes : 1,
                                  1, &timing, sizes, audio.unit_lengths, buffer.out()));
  if (audio.timescale && audio.trim_at_start >= 0) {
    CMSetAttachment(buffer.get(), kCMSampleBufferAttachmentKey_TrimDurationAtStart,
                    CMTimeCopyAsDictionary(CMTimeMake(audio.trim_at_start, audio.timescale),
                                           kCFAllocatorDefault),
                    kCMAttachmentMode_ShouldPropagate);
  }
  return buffer;
}

vx_result appendAudio(vx_recorder& handle, const vx_audio* given) {
  vx_audio audio = VX_AUDIO_INIT;
  if (const vx_result result = read(given, "vx_audio", audio); result != VX_OK) {
    return result;
  }
  if (const vx_result result = checkAudio(audio); result != VX_OK) {
    return result;
  }
  if (const vx_result result = checkWriting(handle); result != VX_OK) {
    return result;
  }
  const std::shared_ptr<VXVideoRecorder> recorder = handle.recorder;
  const std::shared_ptr<Host> host = handle.host;
  if (recorder->writer() && !recorder->audioWriterInput()) {
    return fail(VX_WRONG_STATE, "the file has no audio track: audio_enabled was not set");
  }
  const bool isTaken =
      CMTIME_IS_VALID(recorder->firstVideoFrameTime()) && isReady(recorder->audioWriterInput());
  host->forgetTrouble();
  const std::uint32_t shortages = memoryShortages;
  recorder->appendAudioSample(bufferOf(audio).get());
  if (memoryShortages != shortages) {
    return fail(VX_OUT_OF_MEMORY, "there is no memory for the audio");
  }
  if (const std::optional<Trouble> trouble = host->trouble()) {
    return fail(trouble->result, trouble->line);
  }
  return isTaken ? VX_OK : VX_DROPPED;
}

}  // namespace

static_assert(VX_PIXEL_FORMAT_420 == kCVPixelFormatType_420YpCbCr8Planar);
static_assert(VX_PIXEL_FORMAT_BGRA == kCVPixelFormatType_32BGRA);
static_assert(VX_PIXEL_FORMAT_ARGB == kCVPixelFormatType_32ARGB);
static_assert(VX_PIXEL_FORMAT_RGBA == kCVPixelFormatType_32RGBA);
static_assert(VX_PIXEL_FORMAT_ABGR == kCVPixelFormatType_32ABGR);
static_assert(VX_PIXEL_FORMAT_RGB == kCVPixelFormatType_24RGB);
static_assert(VX_PIXEL_FORMAT_BGR == kCVPixelFormatType_24BGR);
static_assert(VX_PIXEL_FORMAT_UYVY == kCVPixelFormatType_422YpCbCr8);
static_assert(VX_PIXEL_FORMAT_YUYV == kCVPixelFormatType_422YpCbCr8_yuvs);
static_assert(VX_PIXEL_FORMAT_GRAY == kCVPixelFormatType_OneComponent8);

size_t vx_frame_buffer_length(uint32_t pixel_format, uint32_t width, uint32_t height,
                              uint32_t bytes_per_row) {
  return VXVideoRecorder::frameBufferLength(pixel_format, width, height, bytes_per_row);
}

vx_result vx_recorder_append_frame(vx_recorder* recorder, const vx_frame* frame) {
  return guardedWith(recorder, [&](vx_recorder& handle) { return appendFrame(handle, frame); });
}

vx_result vx_recorder_wait_for_room(vx_recorder* recorder, int32_t timeout_ms) {
  return guardedWith(recorder,
                     [&](vx_recorder& handle) { return waitForRoom(handle, timeout_ms); });
}

vx_result vx_recorder_append_audio(vx_recorder* recorder, const vx_audio* audio) {
  return guardedWith(recorder, [&](vx_recorder& handle) { return appendAudio(handle, audio); });
}
