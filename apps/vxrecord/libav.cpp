#include "libav.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <new>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libavutil/log.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace vxrecord {
namespace {

constexpr std::size_t kLongestMessage = 1024;

/// FFmpeg calls its log from any of its threads.
struct Messages {
  std::mutex mutex;
  std::string lastError;          // guarded by mutex
  int shownLevel = AV_LOG_QUIET;  // set before FFmpeg is used
};

Messages& messages() {
  static Messages shared;
  return shared;
}

void keepMessage(void* context, int level, const char* format, va_list arguments) {
  Messages& shared = messages();
  if (level > std::max(shared.shownLevel, AV_LOG_ERROR)) {
    return;
  }
  std::array<char, kLongestMessage> line{};
  int printPrefix = 1;
  av_log_format_line2(context, level, format, arguments, line.data(), static_cast<int>(line.size()),
                      &printPrefix);
  std::string text = line.data();
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
    text.pop_back();
  }
  std::lock_guard lock(shared.mutex);
  if (level <= shared.shownLevel) {
    std::fprintf(stderr, "%s\n", text.c_str());
  }
  if (level <= AV_LOG_ERROR && !text.empty()) {
    shared.lastError = std::move(text);
  }
}

}  // namespace

void LibavDeleter::operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
void LibavDeleter::operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
void LibavDeleter::operator()(AVFormatContext* context) const { avformat_close_input(&context); }
void LibavDeleter::operator()(AVFrame* frame) const { av_frame_free(&frame); }
void LibavDeleter::operator()(AVPacket* packet) const { av_packet_free(&packet); }
void LibavDeleter::operator()(SwrContext* context) const { swr_free(&context); }
void LibavDeleter::operator()(SwsContext* context) const { sws_freeContext(context); }

LibavPointer<AVFrame> makeFrame() {
  LibavPointer<AVFrame> frame(av_frame_alloc());
  if (!frame) {
    throw std::bad_alloc();
  }
  return frame;
}

LibavPointer<AVPacket> makePacket() {
  LibavPointer<AVPacket> packet(av_packet_alloc());
  if (!packet) {
    throw std::bad_alloc();
  }
  return packet;
}

void catchLibavMessages(LibavTalk talk) {
  if (talk != LibavTalk::nothing) {
    messages().shownLevel = talk == LibavTalk::everything ? AV_LOG_VERBOSE : AV_LOG_WARNING;
  }
  av_log_set_callback(keepMessage);
}

std::string libavErrorText(int code) {
  std::array<char, AV_ERROR_MAX_STRING_SIZE> meaning{};
  av_strerror(code, meaning.data(), meaning.size());
  std::string text = meaning.data();
  Messages& shared = messages();
  std::lock_guard lock(shared.mutex);
  if (!shared.lastError.empty()) {
    text += " (" + shared.lastError + ")";
    shared.lastError.clear();
  }
  return text;
}

}  // namespace vxrecord
