#include "support/sound.h"

#include <cmath>
#include <cstring>
#include <fstream>
#include <memory>
#include <numbers>
#include <regex>
#include <sstream>

#include "support/program.h"
#include "support/temporary_folder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
}

namespace vx::test {
namespace {

struct Deleter {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
template <typename T>
using Owned = std::unique_ptr<T, Deleter>;

void require(bool condition, const char* what) {
  if (!condition) {
    throw ReadError(what);
  }
}

SoundBytes bytesOf(const std::uint8_t* data, int size) { return {data, data + size}; }

void receiveUnits(AVCodecContext& encoder, AVPacket& packet, CodedSound& sound) {
  while (avcodec_receive_packet(&encoder, &packet) >= 0) {
    sound.units.push_back(bytesOf(packet.data, packet.size));
    av_packet_unref(&packet);
  }
}

Owned<AVCodecContext> openEncoder(int sampleRate, int channels) {
  const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
  Owned<AVCodecContext> encoder(avcodec_alloc_context3(codec));
  encoder->sample_rate = sampleRate;
  encoder->sample_fmt = AV_SAMPLE_FMT_FLTP;
  encoder->bit_rate = 128000;
  encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_BITEXACT;
  av_channel_layout_default(&encoder->ch_layout, channels);
  require(avcodec_open2(encoder.get(), codec, nullptr) >= 0, "the AAC encoder does not open");
  return encoder;
}

Owned<AVFrame> unitFrame(const AVCodecContext& encoder) {
  Owned<AVFrame> frame(av_frame_alloc());
  frame->format = encoder.sample_fmt;
  frame->sample_rate = encoder.sample_rate;
  frame->nb_samples = kUnitSamples;
  av_channel_layout_copy(&frame->ch_layout, &encoder.ch_layout);
  require(av_frame_get_buffer(frame.get(), 0) >= 0, "no memory");
  return frame;
}

Owned<AVCodecContext> openDecoder(const AVCodecParameters& parameters) {
  const AVCodec* codec = avcodec_find_decoder(parameters.codec_id);
  Owned<AVCodecContext> decoder(avcodec_alloc_context3(codec));
  require(avcodec_parameters_to_context(decoder.get(), &parameters) >= 0 &&
              avcodec_open2(decoder.get(), codec, nullptr) >= 0,
          "the AAC decoder does not open");
  return decoder;
}

std::vector<float> interleaved(const AVFrame& frame) {
  const int channels = frame.ch_layout.nb_channels;
  std::vector<float> samples;
  samples.reserve(static_cast<std::size_t>(frame.nb_samples * channels));
  for (int i = 0; i < frame.nb_samples; ++i) {
    for (int channel = 0; channel < channels; ++channel) {
      samples.push_back(reinterpret_cast<const float*>(frame.extended_data[channel])[i]);
    }
  }
  return samples;
}

template <typename Take>
void decode(AVCodecContext& decoder, const AVPacket* packet, Take take) {
  Owned<AVFrame> frame(av_frame_alloc());
  require(avcodec_send_packet(&decoder, packet) >= 0, "the sound is damaged");
  while (avcodec_receive_frame(&decoder, frame.get()) >= 0) {
    take(*frame);
  }
}

}  // namespace

CodedSound encodeAac(const std::vector<float>& samples, int sampleRate, int channels) {
  const Owned<AVCodecContext> encoder = openEncoder(sampleRate, channels);
  const Owned<AVPacket> packet(av_packet_alloc());
  CodedSound sound;
  sound.sampleRate = sampleRate;
  sound.channels = channels;
  sound.config = bytesOf(encoder->extradata, encoder->extradata_size);
  sound.delay = encoder->initial_padding;
  for (std::size_t start = 0; start < samples.size(); start += kUnitSamples) {
    const Owned<AVFrame> frame = unitFrame(*encoder);
    frame->pts = static_cast<std::int64_t>(start);
    for (int channel = 0; channel < channels; ++channel) {
      auto* plane = reinterpret_cast<float*>(frame->extended_data[channel]);
      for (std::size_t i = 0; i < kUnitSamples; ++i) {
        plane[i] = start + i < samples.size() ? samples[start + i] : 0.0F;
      }
    }
    require(avcodec_send_frame(encoder.get(), frame.get()) >= 0, "the sound cannot be encoded");
    receiveUnits(*encoder, *packet, sound);
  }
  avcodec_send_frame(encoder.get(), nullptr);
  receiveUnits(*encoder, *packet, sound);
  return sound;
}

std::vector<float> decodeAac(const CodedSound& sound) {
  AVCodecParameters* parameters = avcodec_parameters_alloc();
  parameters->codec_type = AVMEDIA_TYPE_AUDIO;
  parameters->codec_id = AV_CODEC_ID_AAC;
  parameters->sample_rate = sound.sampleRate;
  parameters->extradata =
      static_cast<std::uint8_t*>(av_mallocz(sound.config.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  std::memcpy(parameters->extradata, sound.config.data(), sound.config.size());
  parameters->extradata_size = static_cast<int>(sound.config.size());
  const Owned<AVCodecContext> decoder = openDecoder(*parameters);
  avcodec_parameters_free(&parameters);
  std::vector<float> all;
  const auto take = [&all](const AVFrame& frame) {
    const std::vector<float> samples = interleaved(frame);
    all.insert(all.end(), samples.begin(), samples.end());
  };
  const Owned<AVPacket> packet(av_packet_alloc());
  for (const SoundBytes& unit : sound.units) {
    require(av_new_packet(packet.get(), static_cast<int>(unit.size())) >= 0, "no memory");
    std::memcpy(packet->data, unit.data(), unit.size());
    decode(*decoder, packet.get(), take);
    av_packet_unref(packet.get());
  }
  decode(*decoder, nullptr, take);
  return all;
}

std::vector<float> tone(std::size_t samples, int sampleRate) {
  constexpr double kHertz = 1000;
  constexpr double kAmplitude = 0.5;
  std::vector<float> wave(samples);
  for (std::size_t i = 0; i < samples; ++i) {
    wave[i] = static_cast<float>(
        kAmplitude * std::sin(2 * std::numbers::pi * kHertz * static_cast<double>(i) / sampleRate));
  }
  return wave;
}

std::vector<float> SoundTrack::samples() const {
  std::vector<float> all;
  for (const Piece& piece : pieces) {
    all.insert(all.end(), piece.samples.begin(), piece.samples.end());
  }
  return all;
}

double SoundTrack::onsetMs(float level, double fromMs) const {
  for (const Piece& piece : pieces) {
    for (std::size_t i = 0; i < piece.samples.size(); ++i) {
      const auto position = piece.time + static_cast<std::int64_t>(i) / channels;
      const double ms = static_cast<double>(position) * 1000 / sampleRate;
      if (ms >= fromMs && std::abs(piece.samples[i]) >= level) {
        return ms;
      }
    }
  }
  return -1;
}

SoundTrack readSound(const std::string& path, SoundRange decoded) {
  AVFormatContext* opened = nullptr;
  require(avformat_open_input(&opened, path.c_str(), nullptr, nullptr) >= 0,
          "cannot open the file");
  const Owned<AVFormatContext> context(opened);
  require(avformat_find_stream_info(opened, nullptr) >= 0, "cannot read the file");
  SoundTrack track;
  const int index = av_find_best_stream(opened, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
  if (index < 0) {
    return track;
  }
  const AVStream& stream = *opened->streams[index];
  track.sampleRate = stream.codecpar->sample_rate;
  track.channels = stream.codecpar->ch_layout.nb_channels;
  track.config = bytesOf(stream.codecpar->extradata, stream.codecpar->extradata_size);
  const AVRational samples{1, track.sampleRate};
  const Owned<AVCodecContext> decoder = openDecoder(*stream.codecpar);
  decoder->pkt_timebase = stream.time_base;
  const auto take = [&](const AVFrame& frame) {
    track.pieces.push_back(
        {av_rescale_q(frame.pts, stream.time_base, samples), interleaved(frame)});
  };
  const Owned<AVPacket> packet(av_packet_alloc());
  while (av_read_frame(opened, packet.get()) >= 0) {
    if (packet->stream_index == index) {
      track.units.push_back(bytesOf(packet->data, packet->size));
      track.unitTimes.push_back(av_rescale_q(packet->pts, stream.time_base, samples));
      const double ms = static_cast<double>(track.unitTimes.back()) * 1000 / track.sampleRate;
      if (ms >= decoded.fromMs - 1000 && ms < decoded.untilMs) {
        decode(*decoder, packet.get(), take);
      }
    }
    av_packet_unref(packet.get());
  }
  decode(*decoder, nullptr, take);
  return track;
}

namespace {

std::int64_t nanoseconds(const std::string& hours, const std::string& minutes,
                         const std::string& seconds, const std::string& rest) {
  const std::int64_t whole =
      (std::stoll(hours) * 60 + std::stoll(minutes)) * 60 + std::stoll(seconds);
  return whole * 1000000000 + std::stoll(rest);
}

/// What `identity` tells of the segments and buffers that pass it, put together with the samples.
void readPieces(const std::string& messages, const std::vector<float>& samples, SoundTrack& track) {
  static const std::regex segment(
      R"(GstSegment\).* start=\(guint64\)(\d+).* time=\(guint64\)(\d+))");
  static const std::regex chain(R"(chain .*\((\d+) bytes,.* pts: (\d+):(\d+):(\d+)\.(\d+))");
  std::istringstream lines(messages);
  std::int64_t shift = 0;
  auto next = samples.begin();
  for (std::string line; std::getline(lines, line);) {
    std::smatch match;
    if (std::regex_search(line, match, segment)) {
      shift = std::stoll(match[2]) - std::stoll(match[1]);
    } else if (std::regex_search(line, match, chain)) {
      const std::int64_t time = nanoseconds(match[2], match[3], match[4], match[5]) + shift;
      const auto count = std::min<std::ptrdiff_t>(
          std::stoll(match[1]) / static_cast<std::ptrdiff_t>(sizeof(float)), samples.end() - next);
      track.pieces.push_back(
          {av_rescale(time, track.sampleRate, 1000000000), {next, next + count}});
      next += count;
    }
  }
}

std::vector<float> readFloats(const std::string& path) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  std::vector<float> samples(static_cast<std::size_t>(file.tellg()) / sizeof(float));
  file.seekg(0);
  file.read(reinterpret_cast<char*>(samples.data()),
            static_cast<std::streamsize>(samples.size() * sizeof(float)));
  return samples;
}

}  // namespace

SoundTrack playSoundWithGStreamer(const std::string& path, int sampleRate) {
  const TemporaryFolder folder;
  const std::string raw = folder / "sound.raw";
  const std::string form = "audio/x-raw,format=F32LE,layout=interleaved,channels=1";
  const ProgramResult result = runProgram({"gst-launch-1.0",
                                           "-v",
                                           "filesrc",
                                           "location=" + path,
                                           "!",
                                           "qtdemux",
                                           "name=d",
                                           "d.audio_0",
                                           "!",
                                           "queue",
                                           "!",
                                           "aacparse",
                                           "!",
                                           "avdec_aac",
                                           "!",
                                           "audioconvert",
                                           "!",
                                           form,
                                           "!",
                                           "identity",
                                           "silent=false",
                                           "!",
                                           "filesink",
                                           "location=" + raw});
  if (result.status != 0) {
    throw ReadError("GStreamer: " + result.errors);
  }
  SoundTrack track;
  track.sampleRate = sampleRate;
  track.channels = 1;
  readPieces(result.output, readFloats(raw), track);
  return track;
}

}  // namespace vx::test
