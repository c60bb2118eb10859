#include "bench/contenders/contender.h"

#include <gst/app/gstappsrc.h>
#include <gst/gst.h>
#include <gst/video/video.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace bench {
namespace {

struct Unreferencer {
  void operator()(GstElement* element) const { gst_object_unref(element); }
  void operator()(GstMessage* message) const { gst_message_unref(message); }
};
template <typename T>
using Owned = std::unique_ptr<T, Unreferencer>;

std::string pipelineText(const FrameSource& source, const RecordingSettings& settings) {
  const auto number = [](auto value) { return std::to_string(value); };
  const std::string caps =
      std::string("video/x-raw,format=") + (source.isPlanar() ? "I420" : "BGRA") +
      ",width=" + number(source.width()) + ",height=" + number(source.height()) +
      ",framerate=" + number(settings.framesPerSecond) + "/1";
  return "appsrc name=source format=time block=true max-bytes=0 max-buffers=" +
         number(kQueuedFrames) + " caps=" + caps +
         (source.isPlanar() ? "" : " ! videoconvert ! video/x-raw,format=I420") +
         " ! x264enc tune=zerolatency speed-preset=" + settings.speed.preset +
         " option-string=" + settings.speed.options +
         // Without a buffer model, which the others have none of either.
         " pass=cbr vbv-buf-capacity=0 bitrate=" + number(settings.bitRate / 1000) +
         " bframes=0 dct8x8=true key-int-max=" + number(kKeyFrameInterval) +
         " qp-min=" + number(kLowestQuantizer) +
         " sliced-threads=true threads=" + number(encoderThreads(source)) +
         " ! video/x-h264,profile=high ! mp4mux fragment-duration=" +
         number(kFragmentMilliseconds) + " ! filesink location=" + settings.path;
}

class GStreamerContender final : public Contender {
 public:
  const char* name() const override { return "GStreamer"; }
  void prepare() override { gst_init(nullptr, nullptr); }
  ~GStreamerContender() override;
  void open(const FrameSource& source, const RecordingSettings& settings) override;
  void waitForRoom(Pace pace) override;
  bool append(std::size_t i, std::uint32_t timeMs) override;
  void stop() override;
  std::size_t framesHeld() const override { return _held; }

 private:
  void fill(GstBuffer* buffer, const std::uint8_t* bytes);

  const FrameSource* _source = nullptr;
  int _framesPerSecond = 0;
  std::atomic<std::size_t> _held = 0;  // buffers alive
  Owned<GstElement> _pipeline;
  Owned<GstElement> _input;
};

GStreamerContender::~GStreamerContender() {
  if (_pipeline) {
    gst_element_set_state(_pipeline.get(), GST_STATE_NULL);
  }
}

void GStreamerContender::open(const FrameSource& source, const RecordingSettings& settings) {
  _source = &source;
  _framesPerSecond = settings.framesPerSecond;
  GError* problem = nullptr;
  _pipeline.reset(gst_parse_launch(pipelineText(source, settings).c_str(), &problem));
  if (problem) {
    const std::string text = problem->message;
    g_error_free(problem);
    throw std::runtime_error("GStreamer: " + text);
  }
  _input.reset(gst_bin_get_by_name(GST_BIN(_pipeline.get()), "source"));
  gst_element_set_state(_pipeline.get(), GST_STATE_PLAYING);
}

// A push waits by itself, more cheaply; asking is for telling the two times apart.
void GStreamerContender::waitForRoom(Pace pace) {
  while (pace == Pace::whenThereIsRoom &&
         gst_app_src_get_current_level_buffers(GST_APP_SRC(_input.get())) >= kQueuedFrames) {
    std::this_thread::sleep_for(std::chrono::microseconds(500));
  }
}

// The copy that a host must make whose frame buffer is used again.
void GStreamerContender::fill(GstBuffer* buffer, const std::uint8_t* bytes) {
  GstMapInfo map;
  gst_buffer_map(buffer, &map, GST_MAP_WRITE);
  std::memcpy(map.data, bytes, map.size);
  gst_buffer_unmap(buffer, &map);
}

bool GStreamerContender::append(std::size_t i, std::uint32_t timeMs) {
  const std::span<const std::uint8_t> bytes = _source->frame(i);
  GstBuffer* buffer = gst_buffer_new_allocate(nullptr, bytes.size(), nullptr);
  ++_held;
  gst_mini_object_weak_ref(
      GST_MINI_OBJECT(buffer),
      [](gpointer held, GstMiniObject*) { --*static_cast<std::atomic<std::size_t>*>(held); },
      &_held);
  fill(buffer, bytes.data());
  GST_BUFFER_PTS(buffer) = timeMs * GST_MSECOND;
  GST_BUFFER_DURATION(buffer) = GST_SECOND / static_cast<guint64>(_framesPerSecond);
  if (gst_app_src_push_buffer(GST_APP_SRC(_input.get()), buffer) != GST_FLOW_OK) {
    throw std::runtime_error("GStreamer: a frame was refused");
  }
  return true;
}

void GStreamerContender::stop() {
  gst_app_src_end_of_stream(GST_APP_SRC(_input.get()));
  GstBus* bus = gst_element_get_bus(_pipeline.get());
  const Owned<GstMessage> message(gst_bus_timed_pop_filtered(
      bus, GST_CLOCK_TIME_NONE, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR)));
  gst_object_unref(bus);
  gst_element_set_state(_pipeline.get(), GST_STATE_NULL);
  if (GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_ERROR) {
    GError* problem = nullptr;
    gst_message_parse_error(message.get(), &problem, nullptr);
    const std::string text = problem->message;
    g_error_free(problem);
    throw std::runtime_error("GStreamer: " + text);
  }
}

}  // namespace

std::unique_ptr<Contender> makeGStreamer() { return std::make_unique<GStreamerContender>(); }

}  // namespace bench
