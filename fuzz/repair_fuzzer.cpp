// Damaged recordings, read and repaired: nothing that could be read is lost, whatever the bytes
// are, and wherever the repair is broken off.
#include "platform/avfoundation/mp4/memory_file.h"
#include "recording_images.h"
#include "require.h"

#include <algorithm>
#include <cstring>

using namespace vx::mp4;
using vx::fuzz::Bytes;
using vx::mp4::test::Killed;
using vx::mp4::test::MemoryInput;
using vx::mp4::test::MemoryOutput;
using vx::mp4::test::readBytes;

namespace {

/// The fuzzer's bytes, as choices.
class Choices {
 public:
  Choices(const std::uint8_t* bytes, std::size_t size) : _bytes(bytes), _left(size) {}
  bool empty() const { return _left == 0; }
  std::uint8_t byte() { return static_cast<std::uint8_t>(number(1)); }
  std::uint32_t number(int byteCount) {
    std::uint32_t value = 0;
    for (; byteCount > 0 && _left > 0; --byteCount, --_left) value = value << 8 | *_bytes++;
    return value;
  }
  Bytes rest() { return {_bytes, _bytes + std::exchange(_left, 0)}; }

 private:
  const std::uint8_t* _bytes;
  std::size_t _left;
};

void damage(Bytes& image, Choices& choices) {
  constexpr std::size_t kMostBytes = 1 << 16;
  constexpr std::array<const char*, 8> kTypes = {"moof", "mdat", "free", "moov",
                                                 "trak", "traf", "trun", "stsz"};
  const std::uint8_t kind = choices.byte();
  const std::size_t place = image.empty() ? 0 : choices.number(2) % image.size();
  const auto put = [&](const void* bytes, std::size_t count) {
    count = std::min(count, image.size() - place);
    std::memcpy(image.data() + place, bytes, count);
  };
  const std::uint32_t value = choices.number(kind % 8 < 2 ? 1 : 4);
  const std::array<std::uint8_t, 4> big = {
      static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
      static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
  switch (kind % 8) {
    case 0:
      return put(&big[3], 1);
    case 1:
      return put(kTypes[value % kTypes.size()], 4);
    case 2:
      return put(big.data(), 4);
    case 3:  // cut
      return image.resize(place);
    case 4:  // zeros
      std::fill_n(image.begin() + static_cast<std::ptrdiff_t>(place),
                  std::min<std::size_t>(value % 4096, image.size() - place), std::uint8_t{0});
      return;
    case 5:  // taken out
      image.erase(
          image.begin() + static_cast<std::ptrdiff_t>(place),
          image.begin() + static_cast<std::ptrdiff_t>(
                              place + std::min<std::size_t>(value % 4096, image.size() - place)));
      return;
    case 6: {  // doubled
      const Bytes part(
          image.begin() + static_cast<std::ptrdiff_t>(place),
          image.begin() + static_cast<std::ptrdiff_t>(
                              place + std::min<std::size_t>(value % 4096, image.size() - place)));
      if (image.size() + part.size() <= kMostBytes)
        image.insert(image.begin() + static_cast<std::ptrdiff_t>(place), part.begin(), part.end());
      return;
    }
    default:  // longer
      image.resize(std::min<std::size_t>(image.size() + value % 4096, kMostBytes),
                   static_cast<std::uint8_t>(value >> 24));
  }
}

/// What a reader gets of a track.
struct Contents {
  std::vector<IndexedSample> samples;
  std::vector<IndexedChunk> chunks;

  explicit Contents(const FoundSamples& found) {
    SampleIndex::SampleReader reader(found.index());
    SampleIndex::ChunkReader chunkReader(found.index());
    for (IndexedSample sample; reader.next(sample);) samples.push_back(sample);
    for (IndexedChunk chunk; chunkReader.next(chunk);) chunks.push_back(chunk);
  }
  bool operator==(const Contents& other) const {
    return std::equal(samples.begin(), samples.end(), other.samples.begin(), other.samples.end(),
                      [](const IndexedSample& a, const IndexedSample& b) {
                        return a.sizeBytes == b.sizeBytes && a.delta == b.delta &&
                               a.isKeyFrame == b.isKeyFrame;
                      }) &&
           std::equal(chunks.begin(), chunks.end(), other.chunks.begin(), other.chunks.end(),
                      [](const IndexedChunk& a, const IndexedChunk& b) {
                        return a.offset == b.offset && a.sampleCount == b.sampleCount;
                      });
  }
};

void requireSame(const FoundRecording& before, const FoundRecording& after) {
  require(Contents(before.video) == Contents(after.video), "no picture is lost or changed");
  if (before.hasAudio())
    require(Contents(before.audio) == Contents(after.audio), "no sound is lost or changed");
  require(before.video.lastDuration() == after.video.lastDuration(), "the end stays");
}

void checkRepair(const Bytes& image, const FoundRecording& found) {
  Bytes completed = image;
  MemoryInput input(completed);
  MemoryOutput output(completed);
  if (!completeRecording(found, input, output).ok()) {
    requireSame(found, readBytes(completed));
    return;
  }
  const FoundRecording after = readBytes(completed);
  require(after.form == FoundRecording::Form::finished, "a repaired recording is complete");
  require(!after.isRepairable(), "and needs no other repair");
  require(after.damagedPartCount == 0, "what it plays is what was written");
  requireSame(found, after);
  constexpr std::size_t kHead = kPlaceholderOffset + kPlaceholderBytes;
  require(std::equal(image.begin() + kHead,
                     image.begin() + static_cast<std::ptrdiff_t>(found.committedEnd),
                     completed.begin() + kHead),
          "no sample is moved");
}

void checkBrokenOffRepair(const Bytes& image, const FoundRecording& found, std::size_t bytes) {
  Bytes broken = image;
  MemoryInput input(broken);
  MemoryOutput output(broken);
  output.bytesLeft = bytes;
  output.isKilled = true;
  try {
    static_cast<void>(completeRecording(found, input, output));
  } catch (const Killed&) {
  }
  const FoundRecording after = readBytes(broken);
  require(after.isRepairable() || after.form == FoundRecording::Form::finished,
          "a repair that was broken off can be repeated");
  requireSame(found, after);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Choices choices(bytes, size);
  const std::uint8_t base = choices.byte();
  const std::uint8_t flags = choices.byte();
  const std::size_t killedBehind = choices.number(2) % 4096;
  Bytes image;
  if (base % 8 < vx::fuzz::kImageCount) {
    image = vx::fuzz::recordingImage(base % 8);
    while (!choices.empty()) damage(image, choices);
  } else {
    image = choices.rest();
  }
  if ((flags & 1) != 0) vx::fuzz::renewChecksums(image);

  const FoundRecording found = readBytes(image);
  if (!found.isRepairable()) return 0;
  checkRepair(image, found);
  checkBrokenOffRepair(image, found, killedBehind);
  return 0;
}
