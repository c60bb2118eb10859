#include "recording_images.h"

#include "platform/avfoundation/mp4/crc32c.h"
#include "platform/avfoundation/mp4/memory_file.h"
#include "platform/avfoundation/mp4/movie_file.h"
#include "platform/avfoundation/mp4/reader_boxes.h"
#include "require.h"

#include <array>

namespace vx::fuzz {

namespace {

using namespace vx::mp4;
using vx::mp4::test::MemoryInput;
using vx::mp4::test::MemoryOutput;

constexpr int kFragments = 3;

VideoTrackDescription video() {
  VideoTrackDescription description;
  description.width = 63;
  description.height = 48;
  description.transform = {0, 1, -1, 0, 0, 0};
  description.parameterSets.sps = {0x67, 0x64, 0x00, 0x0A, 0xAC, 0xD9, 0x44, 0x26, 0x84};
  description.parameterSets.pps = {0x68, 0xEB, 0xE3, 0xCB};
  return description;
}

AudioTrackDescription audio() {
  AudioTrackDescription description;
  description.sampleRate = 48000;
  description.channels = 2;
  description.audioSpecificConfig = {0x11, 0x90};
  description.trimAtStart = 4800;
  return description;
}

/// What of a recording is there.
struct Shape {
  bool hasSound = false;
  bool isFinished = false;
};

Bytes record(const Shape& shape, std::size_t* lastFragment = nullptr) {
  Bytes bytes;
  MovieFile file(std::make_unique<MemoryOutput>(bytes));
  require(file.begin(video(), shape.hasSound).ok(), "a recording begins");
  if (shape.hasSound) require(file.declareAudio(audio()).ok(), "a recording takes sound");
  for (int number = 0; number < kFragments * 4; ++number) {
    const Bytes payload(20 + 7 * static_cast<std::size_t>(number), 0x5A);
    const std::int64_t time = 100 + number * number;
    require(file.appendVideo({payload, time, 33, number % 5 == 0}).ok(), "pictures are taken");
    if (shape.hasSound) require(file.appendAudio({payload, 0, 1024, true}).ok(), "so is sound");
    if (number % 4 != 3) continue;
    if (lastFragment != nullptr) *lastFragment = bytes.size();
    require(file.commit().ok(), "they are committed");
  }
  Bytes crashed = bytes;
  require(file.finish(std::nullopt).ok(), "a recording ends");
  return shape.isFinished ? bytes : crashed;
}

// The last fragment as it stands before it is published.
Bytes unpublished() {
  std::size_t last = 0;
  Bytes bytes = record({true, false}, &last);
  const std::string_view type = "free";
  std::copy(type.begin(), type.end(), bytes.begin() + static_cast<std::ptrdiff_t>(last + 4));
  return bytes;
}

// The index is written, but not counted yet.
Bytes almostFinished() {
  Bytes bytes = record({true, true});
  const Bytes crashed = record({true, false});
  std::copy_n(crashed.begin() + kPlaceholderOffset, kPlaceholderBytes,
              bytes.begin() + kPlaceholderOffset);
  return bytes;
}

std::array<Bytes, kImageCount> makeImages() {
  return {record({true, false}), record({false, false}), record({true, true}),
          record({false, true}), unpublished(),          almostFinished()};
}

void put32(Bytes& image, std::uint64_t offset, std::uint32_t value) {
  for (int i = 0; i < 4; ++i)
    image[static_cast<std::size_t>(offset) + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
}

std::uint32_t checksumOf(const Bytes& image, const FoundBox& box) {
  return crc32c({image.data() + box.offset, static_cast<std::size_t>(box.sizeBytes())});
}

std::optional<FoundBox> boxAt(const Bytes& image, std::uint64_t offset) {
  MemoryInput input(image);
  return BoxReader(input, offset, image.size()).next();
}

}  // namespace

const Bytes& recordingImage(std::size_t number) {
  static const std::array<Bytes, kImageCount> images = makeImages();
  return images[number % kImageCount];
}

void renewChecksums(Bytes& image) {
  for (std::uint64_t offset = kPlaceholderOffset + kPlaceholderBytes; offset < image.size();) {
    const auto moof = boxAt(image, offset);
    if (!moof) return;
    offset = moof->end;
    const auto mdat = boxAt(image, moof->end);
    const auto free = mdat ? boxAt(image, mdat->end) : std::nullopt;
    if (!free || mdat->type != fourCC("mdat") || free->sizeBytes() < 20) continue;
    Bytes header = image;
    put32(header, moof->offset + 4, fourCC("moof"));
    put32(image, free->payload + 4, checksumOf(header, *moof));
    put32(image, free->payload + 8, checksumOf(image, *mdat));
    offset = free->end;
  }
}

}  // namespace vx::fuzz
