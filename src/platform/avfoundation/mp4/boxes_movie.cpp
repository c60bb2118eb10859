#include "platform/avfoundation/mp4/boxes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace vx::mp4 {

namespace {

constexpr std::uint16_t kLanguageUndetermined = 0x55C4;  // "und", 5 bits a letter
constexpr std::uint32_t kFixedOne = 0x10000;             // 16.16
constexpr std::uint32_t kTrackEnabledInMovie = 3;
constexpr std::uint32_t kDataInSameFile = 1;

std::int32_t fixed16(double value) {
  const double scaled = std::round(value * kFixedOne);
  if (std::isnan(scaled)) return 0;
  return static_cast<std::int32_t>(std::clamp(scaled, -2147483648.0, 2147483647.0));
}

void putMatrix(ByteStream& stream, const Matrix& matrix) {
  for (std::int32_t value : matrix) stream.put32(static_cast<std::uint32_t>(value));
}

}  // namespace

void write_ftyp(ByteStream& stream) {
  Box box(stream, "ftyp");
  stream.putText("isom");
  stream.put32(0x200);
  stream.putText("isomiso6avc1mp41");
}

void write_free(ByteStream& stream, std::size_t payloadBytes) {
  Box box(stream, "free");
  stream.putZeros(payloadBytes);
}

void write_mvhd(ByteStream& stream, const MovieHeader& header) {
  FullBox box(stream, "mvhd", 1, 0);
  stream.put64(header.creationTime);
  stream.put64(header.modificationTime);
  stream.put32(kMovieTimescale);
  stream.put64(header.duration);
  stream.put32(kFixedOne);  // rate
  stream.put16(0x100);      // volume
  stream.putZeros(10);
  putMatrix(stream, TrackHeader{}.matrix);
  stream.putZeros(24);
  stream.put32(header.nextTrackId);
}

Matrix displayMatrix(const std::array<double, 6>& transform, std::uint32_t width,
                     std::uint32_t height) {
  const auto [a, b, c, d, tx, ty] = transform;
  const double minX = std::min(0.0, a * width) + std::min(0.0, c * height) + tx;
  const double minY = std::min(0.0, b * width) + std::min(0.0, d * height) + ty;
  Matrix matrix = TrackHeader{}.matrix;
  matrix[0] = fixed16(a);
  matrix[1] = fixed16(b);
  matrix[3] = fixed16(c);
  matrix[4] = fixed16(d);
  matrix[6] = fixed16(tx - std::min(0.0, minX));
  matrix[7] = fixed16(ty - std::min(0.0, minY));
  return matrix;
}

void write_tkhd(ByteStream& stream, const TrackHeader& header) {
  FullBox box(stream, "tkhd", 1, kTrackEnabledInMovie);
  stream.put64(header.creationTime);
  stream.put64(header.modificationTime);
  stream.put32(header.trackId);
  stream.put32(0);
  stream.put64(header.duration);
  stream.putZeros(8);
  stream.put16(0);  // layer
  stream.put16(static_cast<std::uint16_t>(header.alternateGroup));
  stream.put16(static_cast<std::uint16_t>(header.volume));
  stream.put16(0);
  putMatrix(stream, header.matrix);
  stream.put32(header.width << 16);
  stream.put32(header.height << 16);
}

void write_edts(ByteStream& stream, std::span<const Edit> edits) {
  if (edits.empty()) return;
  Box edts(stream, "edts");
  FullBox elst(stream, "elst", 1, 0);
  EntryCount count(stream);
  for (const Edit& edit : edits) {
    stream.put64(edit.segmentDuration);
    stream.put64(static_cast<std::uint64_t>(edit.mediaTime));
    stream.put32(kFixedOne);  // rate
    count.add();
  }
}

namespace {

// Text in the form of the box `----`: a name space, a name and a value.
void write_comment(ByteStream& stream, std::string_view name, std::string_view value) {
  constexpr std::uint32_t kUtf8 = 1;
  Box box(stream, "----");
  {
    FullBox mean(stream, "mean", 0, 0);
    stream.putText("com.apple.iTunes");
  }
  {
    FullBox nameBox(stream, "name", 0, 0);
    stream.putText(name);
  }
  Box data(stream, "data");
  stream.put32(kUtf8);
  stream.put32(0);  // any language
  stream.putText(value);
}

}  // namespace

void write_udta_priming(ByteStream& stream, std::uint32_t samples) {
  std::array<char, 64> text{};  // a flag, samples before, behind and of the sound (0: unknown)
  std::snprintf(text.data(), text.size(), " 00000000 %08X 00000000 0000000000000000", samples);
  Box udta(stream, "udta");
  FullBox meta(stream, "meta", 0, 0);
  write_hdlr(stream, "mdir", "");
  Box ilst(stream, "ilst");
  write_comment(stream, "iTunSMPB", text.data());
}

void write_mdhd(ByteStream& stream, const MediaHeader& header) {
  FullBox box(stream, "mdhd", 1, 0);
  stream.put64(header.creationTime);
  stream.put64(header.modificationTime);
  stream.put32(header.timescale);
  stream.put64(header.duration);
  stream.put16(kLanguageUndetermined);
  stream.put16(0);
}

void write_hdlr(ByteStream& stream, std::string_view handlerType, std::string_view name) {
  FullBox box(stream, "hdlr", 0, 0);
  stream.put32(0);
  stream.putText(handlerType);
  stream.putZeros(12);
  stream.putText(name);
  stream.put8(0);
}

void write_vmhd(ByteStream& stream) {
  FullBox box(stream, "vmhd", 0, 1);
  stream.putZeros(8);  // graphics mode copy, no colour
}

void write_smhd(ByteStream& stream) {
  FullBox box(stream, "smhd", 0, 0);
  stream.putZeros(4);  // balance in the centre
}

void write_dinf(ByteStream& stream) {
  Box dinf(stream, "dinf");
  FullBox dref(stream, "dref", 0, 0);
  EntryCount count(stream);
  FullBox url(stream, "url ", 0, kDataInSameFile);
  count.add();
}

}  // namespace vx::mp4
