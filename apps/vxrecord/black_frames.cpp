#include "black_frames.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <cstdlib>

#include "input.h"
#include "libav.h"
#include "stream_decoder.h"

namespace vxrecord {
namespace {

// What coding adds to black is a value or two.
constexpr int kBlackLuma = 16;
constexpr int kGreyChroma = 128;
constexpr int kTolerance = 4;

bool isFlat(const AVFrame& frame, int plane, int rows, int columns, int value) {
  for (int row = 0; row < rows; ++row) {
    const std::uint8_t* line = frame.data[plane] + row * frame.linesize[plane];
    for (int column = 0; column < columns; ++column) {
      if (std::abs(line[column] - value) > kTolerance) {
        return false;
      }
    }
  }
  return true;
}

bool isBlack(const AVFrame& frame) {
  if (frame.format != AV_PIX_FMT_YUV420P && frame.format != AV_PIX_FMT_YUVJ420P) {
    return false;
  }
  const int black = frame.color_range == AVCOL_RANGE_JPEG ? 0 : kBlackLuma;
  const int chromaRows = (frame.height + 1) / 2;
  const int chromaColumns = (frame.width + 1) / 2;
  return isFlat(frame, 0, frame.height, frame.width, black) &&
         isFlat(frame, 1, chromaRows, chromaColumns, kGreyChroma) &&
         isFlat(frame, 2, chromaRows, chromaColumns, kGreyChroma);
}

/// A picture and what is to be known of it.
struct Candidate {
  TimeSpan span;
  bool isDecoded = false;
};

/// More bytes than any black picture takes: some for each block of 16 x 16 pixels.
std::uint32_t mostBlackBytes(const VXRecordedTrack& video) {
  constexpr std::uint32_t kHeaders = 1500;
  return kHeaders + (video.width / 16 + 1) * (video.height / 16 + 1) * 2;
}

std::vector<Candidate> candidatesOf(const VXRecordingInspection& recording) {
  std::vector<Candidate> candidates;
  const std::uint32_t mostBytes = mostBlackBytes(*recording.videoTrack());
  std::size_t groupStart = 0;
  bool canBeBlack = false;
  const auto endGroup = [&] {
    for (std::size_t i = groupStart; i < candidates.size(); ++i) {
      candidates[i].isDecoded = canBeBlack;
    }
    groupStart = candidates.size();
    canBeBlack = false;
  };
  recording.enumerateVideoSamples([&](const VXRecordedSample& sample) {
    if (sample.isKeyFrame) {
      endGroup();
    }
    candidates.push_back({{sample.time, sample.time + sample.duration}, false});
    canBeBlack = canBeBlack || sample.sizeBytes <= mostBytes;
    return true;
  });
  endGroup();
  return candidates;
}

class BlackFinder {
 public:
  BlackFinder(const std::string& path, const VXRecordingInspection& recording)
      : _candidates(candidatesOf(recording)) {
    AVFormatContext* context = nullptr;
    // Without a protocol in front, a name with a colon would be taken for an address.
    const int code = avformat_open_input(&context, ("file:" + path).c_str(), nullptr, nullptr);
    if (code < 0) {
      throw InputError("the recording cannot be opened for decoding: " + libavErrorText(code));
    }
    _file.reset(context);
    for (unsigned i = 0; i < context->nb_streams; ++i) {
      const bool isVideo = context->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
      context->streams[i]->discard = isVideo ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
      _stream = isVideo && _stream < 0 ? static_cast<int>(i) : _stream;
    }
    if (_stream < 0) {
      throw InputError("the recording has no pictures that FFmpeg can find");
    }
    _decoder.emplace(*context->streams[_stream]);
  }

  std::vector<TimeSpan> find() {
    const LibavPointer<AVPacket> packet = makePacket();
    std::size_t number = 0;
    while (number < _candidates.size()) {
      if (const int code = av_read_frame(_file.get(), packet.get()); code < 0) {
        require(code == AVERROR_EOF, "read", code);
        break;
      }
      if (packet->stream_index == _stream) {
        take(*packet, number++);
      }
      av_packet_unref(packet.get());
    }
    _decoder->send(nullptr);
    receive();
    return _black;
  }

 private:
  void take(AVPacket& packet, std::size_t number) {
    if (!_candidates[number].isDecoded) {
      return;
    }
    // The decoder gives a picture its packet's time: here, which picture it is.
    packet.pts = packet.dts = static_cast<std::int64_t>(number);
    _decoder->send(&packet);
    receive();
  }

  void receive() {
    StreamDecoder::Result result = _decoder->receive(*_frame);
    for (; result == StreamDecoder::Result::frame; result = _decoder->receive(*_frame)) {
      const auto number = static_cast<std::size_t>(_frame->pts);
      if (number < _candidates.size() && isBlack(*_frame)) {
        add(_candidates[number].span);
      }
    }
    require(result != StreamDecoder::Result::broken, "decoded", _decoder->lastError());
  }

  static void require(bool isFine, const char* what, int code) {
    if (!isFine) {
      throw InputError("the recording cannot be " + std::string(what) +
                       " any further: " + libavErrorText(code));
    }
  }

  void add(const TimeSpan& span) {
    if (!_black.empty() && _black.back().endMs == span.startMs) {
      _black.back().endMs = span.endMs;
    } else {
      _black.push_back(span);
    }
  }

  std::vector<Candidate> _candidates;
  LibavPointer<AVFormatContext> _file;
  int _stream = -1;
  std::optional<StreamDecoder> _decoder;
  LibavPointer<AVFrame> _frame = makeFrame();
  std::vector<TimeSpan> _black;
};

}  // namespace

std::vector<TimeSpan> findBlack(const std::string& path, const VXRecordingInspection& recording) {
  if (!recording.videoTrack() || recording.videoTrack()->sampleCount == 0) {
    return {};
  }
  return BlackFinder(path, recording).find();
}

}  // namespace vxrecord
