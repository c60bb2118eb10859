#include "platform/avfoundation/mp4/reader_fragment.h"

#include "platform/avfoundation/mp4/crc32c.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace vx::mp4 {

namespace {

constexpr std::size_t kTypeOffset = 4;
constexpr std::uint64_t kMfhdBytes = 16;
constexpr std::uint64_t kChecksumBoxBytes = 20;  // and up to 7 zeros
constexpr std::size_t kBlockBytes = std::size_t{128} << 10;

/// The checksum of a part of the file; none when it cannot be read to its end.
std::optional<std::uint32_t> checksumOf(ReaderInput& input, std::uint64_t begin, std::uint64_t end,
                                        std::uint32_t previous = 0) {
  std::vector<std::uint8_t> block(
      static_cast<std::size_t>(std::min<std::uint64_t>(kBlockBytes, end - begin)));
  std::uint32_t checksum = previous;
  while (begin < end) {
    const std::size_t wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(block.size(), end - begin));
    const std::span<std::uint8_t> part(block.data(), wanted);
    if (input.read(begin, part) != wanted) return std::nullopt;
    checksum = crc32c(part, checksum);
    begin += wanted;
  }
  return checksum;
}

/// The checksum of a moof as published, whatever its type is now.
std::optional<std::uint32_t> checksumOfMoof(ReaderInput& input, const FoundBox& moof) {
  ByteStream header;
  header.put32(static_cast<std::uint32_t>(moof.sizeBytes()));
  header.put32(fourCC("moof"));
  return checksumOf(input, moof.payload, moof.end, crc32c(header.bytes()));
}

// The commit order knows boxes with 32-bit sizes only.
std::optional<FoundBox> shortBoxAt(ReaderInput& input, std::uint64_t offset, std::uint64_t limit) {
  const auto box = BoxReader(input, offset, limit).next();
  return box && box->payload == offset + kBoxHeaderBytes ? box : std::nullopt;
}

}  // namespace

std::optional<FoundFragment> FragmentFinder::findFrom(std::uint64_t offset) {
  const auto found = findAt(offset);
  return found ? found : findBehind(offset);
}

std::optional<FoundFragment> FragmentFinder::findAt(std::uint64_t offset) {
  const auto moof = shortBoxAt(_input, offset, _limit);
  if (!moof || (moof->type != fourCC("moof") && moof->type != fourCC("free"))) return std::nullopt;
  const auto mfhd = shortBoxAt(_input, moof->payload, moof->end);
  if (!mfhd || mfhd->type != fourCC("mfhd") || mfhd->sizeBytes() != kMfhdBytes) return std::nullopt;
  const auto mdat = shortBoxAt(_input, moof->end, _limit);
  if (!mdat || mdat->type != fourCC("mdat")) return std::nullopt;
  const auto free = shortBoxAt(_input, mdat->end, _limit);
  if (!free || free->type != fourCC("free") || free->end % kFragmentAlignment != 0 ||
      free->sizeBytes() < kChecksumBoxBytes ||
      free->sizeBytes() >= kChecksumBoxBytes + kFragmentAlignment)
    return std::nullopt;
  ByteReader checksums(_input, free->payload, free->end);
  if (checksums.u32() != fourCC(kChecksumTag)) return std::nullopt;
  const std::uint32_t moofChecksum = checksums.u32();
  const std::uint32_t mdatChecksum = checksums.u32();
  if (moof->sizeBytes() > _workLeft) return std::nullopt;
  _workLeft -= moof->sizeBytes();
  if (checksumOfMoof(_input, *moof) != moofChecksum) return std::nullopt;
  return FoundFragment{*moof, *mdat, free->end, moof->type == fourCC("moof"), mdatChecksum};
}

std::optional<FoundFragment> FragmentFinder::findBehind(std::uint64_t offset) {
  constexpr std::array<std::uint8_t, 4> kType = {'m', 'o', 'o', 'f'};
  std::vector<std::uint8_t> block(kBlockBytes);
  std::uint64_t position = (offset / kFragmentAlignment + 1) * kFragmentAlignment;
  while (position < _limit) {
    const auto wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(block.size(), _limit - position));
    const std::size_t count = _input.read(position, {block.data(), wanted});
    if (count < kFragmentAlignment) return std::nullopt;
    for (std::size_t i = 0; i + kFragmentAlignment <= count; i += kFragmentAlignment) {
      if (std::memcmp(&block[i + kTypeOffset], kType.data(), kType.size()) != 0) continue;
      if (const auto found = findAt(position + i)) return found;
    }
    position += count / kFragmentAlignment * kFragmentAlignment;
  }
  return std::nullopt;
}

bool isPayloadSound(ReaderInput& input, const FoundFragment& fragment) {
  return checksumOf(input, fragment.mdat.offset, fragment.mdat.end) == fragment.mdatChecksum;
}

namespace {

/// One track's part of a fragment.
struct Run {
  std::uint32_t trackId = 0;
  std::uint64_t time = 0;
  std::uint64_t offset = 0;
  std::uint32_t count = 0;
  std::uint64_t entries = 0;  // where they stand
  std::uint64_t entriesEnd = 0;
};

bool read_trun(ReaderInput& input, const FoundBox& trun, const FoundFragment& fragment, Run& run) {
  ByteReader reader(input, trun.payload, trun.end);
  if (reader.u32() != kRunFlags) return false;
  run.count = reader.u32();
  const std::uint32_t dataOffset = reader.u32();
  run.offset = fragment.moof.offset + dataOffset;
  run.entries = reader.position();
  run.entriesEnd = trun.end;
  return reader.ok() && run.count > 0 && reader.left() == std::uint64_t{run.count} * 12;
}

bool read_traf(ReaderInput& input, const FoundBox& traf, const FoundFragment& fragment, Run& run) {
  const auto tfhd = findBox({input, traf}, fourCC("tfhd"));
  const auto tfdt = findBox({input, traf}, fourCC("tfdt"));
  const auto trun = findBox({input, traf}, fourCC("trun"));
  if (!tfhd || !tfdt || !trun) return false;
  ByteReader header(input, tfhd->payload, tfhd->end);
  if (header.u32() != kDefaultBaseIsMoof) return false;
  run.trackId = header.u32();
  ByteReader time(input, tfdt->payload, tfdt->end);
  if (time.u8() != 1) return false;
  time.skip(3);
  run.time = time.u64();
  return header.ok() && time.ok() && read_trun(input, *trun, fragment, run);
}

template <typename Take>
bool forEachSample(ReaderInput& input, const Run& run, Take take) {
  ByteReader reader(input, run.entries, run.entriesEnd);
  for (std::uint32_t i = 0; i < run.count; ++i) {
    const std::uint32_t duration = reader.u32();
    const std::uint32_t sizeBytes = reader.u32();
    const bool isKeyFrame = (reader.u32() & kIsNoSyncSample) == 0;
    if (!reader.ok()) return false;
    take(sizeBytes, duration, isKeyFrame);
  }
  return true;
}

/// Where the run's bytes end, if they lie behind `taken` and within the fragment, and if the times
/// can be.
std::optional<std::uint64_t> endOf(ReaderInput& input, const Run& run, std::uint64_t taken,
                                   const FoundFragment& fragment) {
  std::uint64_t end = run.offset;
  std::uint64_t duration = 0;
  const bool isRead =
      forEachSample(input, run, [&](std::uint32_t sizeBytes, std::uint32_t sampleDuration, bool) {
        end += sizeBytes;
        duration += sampleDuration;
      });
  if (!isRead || run.offset < taken || end > fragment.mdat.end) return std::nullopt;
  if (run.time > kMaxRecordedTime || duration > kMaxRecordedTime - run.time) return std::nullopt;
  return end;
}

void addRun(ReaderInput& input, const Run& run, FoundSamples& track) {
  track.beginRun(run.time, run.offset);
  // It was read to its end a moment ago; if that fails now, the input's status says so.
  static_cast<void>(
      forEachSample(input, run, [&](std::uint32_t size, std::uint32_t duration, bool isKeyFrame) {
        track.add(size, duration, isKeyFrame);
      }));
  track.endRun();
}

}  // namespace

bool addSamples(ReaderInput& input, const FoundFragment& fragment, FoundSamples& video,
                FoundSamples* audio) {
  std::optional<Run> videoRun;
  std::optional<Run> audioRun;
  std::uint64_t taken = fragment.mdat.payload;
  BoxReader boxes(input, fragment.moof);
  while (const auto box = boxes.next()) {
    if (box->type != fourCC("traf")) continue;
    Run run;
    if (!read_traf(input, *box, fragment, run)) return false;
    const auto end = endOf(input, run, taken, fragment);
    if (!end) return false;
    taken = *end;
    const bool isVideo = run.trackId == kVideoTrackId;
    if (!isVideo && (run.trackId != kAudioTrackId || audio == nullptr)) continue;
    std::optional<Run>& place = isVideo ? videoRun : audioRun;
    if (place || !(isVideo ? video : *audio).canContinueAt(run.time)) return false;
    place = run;
  }
  if (videoRun) addRun(input, *videoRun, video);
  if (audioRun) addRun(input, *audioRun, *audio);
  return true;
}

}  // namespace vx::mp4
