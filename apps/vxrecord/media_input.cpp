#include "media_input.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <deque>
#include <new>
#include <optional>

#include "command_words.h"
#include "frame_clock.h"
#include "interruption.h"
#include "report_text.h"
#include "sound_converter.h"
#include "stream_decoder.h"
#include "upright.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavdevice/avdevice.h>
#include <libavformat/avformat.h>
}

namespace vxrecord {
namespace {

constexpr std::chrono::milliseconds kRetry{5};
constexpr AVRational kUsualRate = {25, 1};
constexpr std::array<std::string_view, 8> kLiveProtocols = {"rtsp", "rtsps", "rtp", "srtp",
                                                            "udp",  "rtmp",  "srt", "rist"};

using vxapps::quoted;

/// Options for FFmpeg; what it does not know stays in and is let go of.
class Dictionary {
 public:
  Dictionary() = default;
  ~Dictionary() { av_dict_free(&_entries); }
  Dictionary(const Dictionary&) = delete;
  Dictionary& operator=(const Dictionary&) = delete;
  void set(const std::string& key, const std::string& value) {
    av_dict_set(&_entries, key.c_str(), value.c_str(), 0);
  }
  AVDictionary** get() { return &_entries; }

 private:
  AVDictionary* _entries = nullptr;
};

int endIsAskedFor(void*) { return isInterrupted() ? 1 : 0; }

LibavPointer<AVFormatContext> openContext(const MediaAddress& address) {
  AVFormatContext* context = avformat_alloc_context();
  if (!context) {
    throw std::bad_alloc();
  }
  context->interrupt_callback = {endIsAskedFor, nullptr};
  Dictionary options;
  for (const auto& [key, value] : address.options) {
    options.set(key, value);
  }
  // On failure the context is freed by the call.
  const int result = avformat_open_input(&context, address.url.c_str(), nullptr, options.get());
  if (result < 0) {
    throw InputError("cannot open " + address.shownName + ": " + libavErrorText(result) + "; " +
                     address.advice);
  }
  LibavPointer<AVFormatContext> owned(context);
  const int found = avformat_find_stream_info(context, nullptr);
  if (found < 0) {
    throw InputError("cannot read " + address.shownName + ": " + libavErrorText(found) + "; " +
                     address.advice);
  }
  return owned;
}

/// The best video stream; a cover picture of a music file is none. The others are not read.
AVStream& chooseVideo(AVFormatContext& context, const std::string& shownName) {
  const int best = av_find_best_stream(&context, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  const bool isVideo =
      best >= 0 && (context.streams[best]->disposition & AV_DISPOSITION_ATTACHED_PIC) == 0;
  if (!isVideo) {
    throw InputError("there is no video in " + shownName + "; give an input that has some");
  }
  for (unsigned i = 0; i < context.nb_streams; ++i) {
    if (static_cast<int>(i) != best) {
      context.streams[i]->discard = AVDISCARD_ALL;
    }
  }
  return *context.streams[best];
}

/// The first sound stream, read from here on; null without one.
AVStream* chooseSound(AVFormatContext& context, bool withSound) {
  for (unsigned i = 0; withSound && i < context.nb_streams; ++i) {
    if (context.streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) {
      context.streams[i]->discard = AVDISCARD_DEFAULT;
      return context.streams[i];
    }
  }
  return nullptr;
}

std::optional<DisplayMatrix> matrixIn(const std::uint8_t* bytes, std::size_t size) {
  DisplayMatrix matrix;
  if (!bytes || size < sizeof(matrix.numbers)) {
    return std::nullopt;
  }
  std::memcpy(matrix.numbers.data(), bytes, sizeof(matrix.numbers));
  return matrix;
}

std::optional<DisplayMatrix> matrixOf(const AVStream& stream) {
  std::size_t size = 0;
  const std::uint8_t* bytes = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
  return matrixIn(bytes, size);
}

std::optional<DisplayMatrix> matrixOf(const AVFrame& picture) {
  const AVFrameSideData* data = av_frame_get_side_data(&picture, AV_FRAME_DATA_DISPLAYMATRIX);
  return data ? matrixIn(data->data, data->size) : std::nullopt;
}

FrameClock clockOf(AVFormatContext& context, AVStream& stream) {
  AVRational rate = av_guess_frame_rate(&context, &stream, nullptr);
  if (rate.num <= 0 || rate.den <= 0) {
    rate = kUsualRate;
  }
  const std::int64_t usualTicks = av_rescale_q(1, av_inv_q(rate), stream.time_base);
  return {{stream.time_base.num, stream.time_base.den}, usualTicks};
}

class MediaInput : public Input {
 public:
  explicit MediaInput(const MediaAddress& address)
      : _isLive(address.isLive),
        _shownName(address.shownName),
        _context(openContext(address)),
        _video(chooseVideo(*_context, address.shownName)),
        _decoder(_video),
        _matrix(matrixOf(_video)),
        _clock(clockOf(*_context, _video)),
        _sound(chooseSound(*_context, address.withSound)),
        _packet(makePacket()) {
    if (_sound) {
      _soundDecoder.emplace(*_sound);
    }
  }

  ReadResult read(MediaFrame& frame) override;
  bool isLive() const override { return _isLive; }
  bool hasSound() const override { return _sound != nullptr; }
  std::string trouble() const override;

 private:
  enum class Step : std::uint8_t { goOn, interrupted, broken };
  Step sendNextPacket();
  void take(AVFrame& picture, MediaFrame& frame);
  LibavPointer<AVFrame> upright(LibavPointer<AVFrame> picture);
  bool readSound(MediaFrame& frame);

  bool _isLive;
  std::string _shownName;
  LibavPointer<AVFormatContext> _context;
  AVStream& _video;
  StreamDecoder _decoder;
  std::optional<DisplayMatrix> _matrix;  // of the container
  UprightPictures _upright;
  FrameClock _clock;
  AVStream* _sound;
  std::optional<StreamDecoder> _soundDecoder;
  std::deque<LibavPointer<AVFrame>> _decodedSound;
  SoundConverter _soundConverter;
  std::optional<std::int64_t> _firstTicks;  // of the first picture
  LibavPointer<AVPacket> _packet;
  std::string _breakage;
};

ReadResult MediaInput::read(MediaFrame& frame) {
  LibavPointer<AVFrame> picture = makeFrame();
  while (true) {
    switch (_decoder.receive(*picture)) {
      case StreamDecoder::Result::frame:
        take(*picture, frame);
        frame.picture = upright(std::move(picture));
        return ReadResult::frame;
      case StreamDecoder::Result::end:
        if (readSound(frame)) {
          return ReadResult::frame;
        }
        return _breakage.empty() ? ReadResult::end : ReadResult::broken;
      case StreamDecoder::Result::broken:
        _breakage = "decoding stopped: " + libavErrorText(_decoder.lastError());
        return ReadResult::broken;
      case StreamDecoder::Result::needsPacket:
        break;
    }
    if (readSound(frame)) {
      return ReadResult::frame;
    }
    if (sendNextPacket() == Step::interrupted) {
      return ReadResult::interrupted;
    }
  }
}

LibavPointer<AVFrame> MediaInput::upright(LibavPointer<AVFrame> picture) {
  const AVRational shape = av_guess_sample_aspect_ratio(_context.get(), &_video, picture.get());
  const std::optional<DisplayMatrix> matrix = matrixOf(*picture);
  return _upright.turned(std::move(picture), shape.num, shape.den, matrix ? matrix : _matrix);
}

void MediaInput::take(AVFrame& picture, MediaFrame& frame) {
  std::optional<std::int64_t> ticks;
  if (picture.best_effort_timestamp != AV_NOPTS_VALUE) {
    ticks = picture.best_effort_timestamp;
  }
  if (!_firstTicks) {
    _firstTicks = ticks.value_or(0);
  }
  frame.kind = MediaFrame::Kind::picture;
  frame.timeMs = _clock.millisecondsAt(ticks);
}

// Sound has to wait until the first picture tells where time 0 is.
bool MediaInput::readSound(MediaFrame& frame) {
  if (!_sound) {
    return false;
  }
  // What cannot be decoded is counted; pictures go on without it, and perhaps the next packet can.
  for (LibavPointer<AVFrame> decoded = makeFrame();
       _soundDecoder->receive(*decoded) == StreamDecoder::Result::frame; decoded = makeFrame()) {
    _decodedSound.push_back(std::move(decoded));
  }
  if (!_firstTicks || _decodedSound.empty()) {
    return false;
  }
  const LibavPointer<AVFrame> decoded = std::move(_decodedSound.front());
  _decodedSound.pop_front();
  const AVRational samples = {1, kSoundRate};
  std::optional<std::int64_t> time;
  if (decoded->best_effort_timestamp != AV_NOPTS_VALUE) {
    time = av_rescale_q(decoded->best_effort_timestamp, _sound->time_base, samples) -
           av_rescale_q(*_firstTicks, _video.time_base, samples);
  }
  frame.kind = MediaFrame::Kind::sound;
  frame.sound = _soundConverter.convert(*decoded, time);
  frame.timeMs = av_rescale(frame.sound.start, 1000, kSoundRate);
  return true;
}

// An input that breaks off still gives the pictures that the decoder holds.
MediaInput::Step MediaInput::sendNextPacket() {
  while (!isInterrupted()) {
    const int result = av_read_frame(_context.get(), _packet.get());
    if (result >= 0) {
      if (_packet->stream_index == _video.index) {
        _decoder.send(_packet.get());
      } else if (_sound && _packet->stream_index == _sound->index) {
        _soundDecoder->send(_packet.get());
      }
      av_packet_unref(_packet.get());
      return Step::goOn;
    }
    if (result == AVERROR(EAGAIN)) {
      sleepUntil(std::chrono::steady_clock::now() + kRetry);
      continue;
    }
    if (result == AVERROR_EXIT) {
      break;
    }
    if (result != AVERROR_EOF) {
      _breakage = _shownName + " broke off: " + libavErrorText(result);
    }
    _decoder.send(nullptr);
    if (_soundDecoder) {
      _soundDecoder->send(nullptr);
    }
    return Step::goOn;
  }
  return Step::interrupted;
}

std::string MediaInput::trouble() const {
  const std::int64_t damaged =
      _decoder.damagedPackets() + (_soundDecoder ? _soundDecoder->damagedPackets() : 0);
  if (!_breakage.empty() || damaged == 0) {
    return _breakage;
  }
  return "left out of the input: " +
         vxapps::counted(static_cast<std::uint64_t>(damaged), "damaged piece", "damaged pieces");
}

bool isLiveAddress(const std::string& name) {
  for (const std::string_view protocol : kLiveProtocols) {
    if (name.starts_with(std::string(protocol) + "://")) {
      return true;
    }
  }
  return false;
}

/// Lets a name that is no file pass when it can be an address or a pattern for numbered pictures.
void requireAddress(const std::string& name) {
  const std::size_t colon = name.find(':');
  const bool isProtocol =
      colon != std::string::npos && avio_find_protocol_name(name.c_str()) != nullptr;
  if (isProtocol || isLiveAddress(name) || av_filename_number_test(name.c_str()) != 0) {
    return;
  }
  std::string advice = "; check the name";
  if (colon != std::string::npos) {
    advice += ", or write an address that FFmpeg knows (" + quoted(name.substr(0, colon + 1)) +
              " is none)";
  }
  throw InputError("no such file: " + quoted(name) + advice);
}

// A name that stands on disk: the prefix keeps a colon from being read as a protocol, the option
// keeps a percent sign from being read as a pattern for numbered pictures.
MediaAddress addressOfFile(const std::string& name, mode_t mode) {
  MediaAddress address;
  const bool isDevice = S_ISCHR(mode) || S_ISBLK(mode);
  address.url = isDevice ? name : "file:" + name;
  address.isLive = isDevice;
  address.options = {{"pattern_type", "none"}};
  return address;
}

}  // namespace

std::unique_ptr<Input> openMedia(const MediaAddress& address) {
  avdevice_register_all();  // cameras
  return std::make_unique<MediaInput>(address);
}

std::unique_ptr<Input> openMedia(const std::string& name, bool withSound) {
  MediaAddress address;
  struct stat entry = {};
  if (name == "-") {
    address.url = "pipe:0";
  } else if (stat(name.c_str(), &entry) == 0) {
    if (S_ISDIR(entry.st_mode)) {
      throw InputError(quoted(name) + " is a folder; give a file in it");
    }
    address = addressOfFile(name, entry.st_mode);
  } else if (errno == ENOENT || errno == ENOTDIR || errno == ENAMETOOLONG) {
    requireAddress(name);
    address.url = name;
    address.isLive = isLiveAddress(name);
  } else {
    throw InputError("cannot open " + quoted(name) + ": " + std::strerror(errno));
  }
  address.withSound = withSound;
  address.shownName = name == "-" ? "standard input" : quoted(name);
  address.advice = "it has to be a file or address that FFmpeg plays, and readable";
  return openMedia(address);
}

}  // namespace vxrecord
