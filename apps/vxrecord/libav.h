// FFmpeg's objects with an owner, and its messages.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

struct AVCodecContext;
struct AVFilterGraph;
struct AVFormatContext;
struct AVFrame;
struct AVPacket;
struct SwrContext;
struct SwsContext;

namespace vxrecord {

struct LibavDeleter {
  void operator()(AVCodecContext* context) const;
  void operator()(AVFilterGraph* graph) const;
  void operator()(AVFormatContext* context) const;
  void operator()(AVFrame* frame) const;
  void operator()(AVPacket* packet) const;
  void operator()(SwrContext* context) const;
  void operator()(SwsContext* context) const;
};
template <typename T>
using LibavPointer = std::unique_ptr<T, LibavDeleter>;

/// Errors: both throw std::bad_alloc.
LibavPointer<AVFrame> makeFrame();
LibavPointer<AVPacket> makePacket();

/// Which of FFmpeg's messages are shown on standard error.
enum class LibavTalk : std::uint8_t { nothing, warnings, everything };
/// Takes the others off it. Before FFmpeg is used.
void catchLibavMessages(LibavTalk talk);
/// What `code` means, with the last error message behind it where FFmpeg gave one since the last
/// call. Thread: any.
std::string libavErrorText(int code);

}  // namespace vxrecord
