// Where samples lie, and what pictures are made of.
#include "support/movie_checker_parts.h"

#include <algorithm>

namespace vx::test::checker {

namespace {

struct PlacedSample {
  Extent extent;
  std::uint32_t trackId;
  std::size_t number;  // from 1

  std::string name() const {
    return "sample " + std::to_string(number) + " of track " + std::to_string(trackId);
  }
};

bool isInside(const Extent& sample, const std::vector<Extent>& media) {
  auto behind = std::upper_bound(
      media.begin(), media.end(), sample.begin,
      [](std::uint64_t offset, const Extent& extent) { return offset < extent.begin; });
  return behind != media.begin() && sample.end <= std::prev(behind)->end;
}

void checkOverlaps(std::vector<PlacedSample>& samples, Findings& findings) {
  std::stable_sort(
      samples.begin(), samples.end(),
      [](const PlacedSample& a, const PlacedSample& b) { return a.extent.begin < b.extent.begin; });
  for (std::size_t i = 1; i < samples.size(); ++i)
    if (samples[i - 1].extent.end > samples[i].extent.begin)
      findings.add(samples[i - 1].name() + " overlaps " + samples[i].name());
}

// ISO/IEC 14496-15, 5.3.2 and 5.4.2: whole NAL units behind their lengths, parameter sets only in
// the sample entry, and an IDR picture exactly where the tables announce a sync sample.
void checkPicture(ByteView bytes, int lengthBytes, bool isSync, const PlacedSample& sample,
                  Findings& findings) {
  bool hasIdr = false;
  bool hasSlice = false;
  for (std::size_t position = 0; position < bytes.size();) {
    FieldReader reader(bytes.subspan(position));
    const std::uint64_t length = reader.unsignedField(lengthBytes);
    if (reader.overrun() || length == 0 || length > reader.left())
      return findings.add(sample.name() + " does not split into whole NAL units");
    position += static_cast<std::size_t>(lengthBytes);
    const std::uint8_t header = bytes[position];
    const int type = header & 0x1F;
    if ((header & 0x80) != 0 || type < 1 || type > 20)
      findings.add(sample.name() + " holds something that is no NAL unit");
    if (type == 7 || type == 8) findings.add(sample.name() + " holds a parameter set");
    hasIdr |= type == 5;
    hasSlice |= type == 1 || type == 5;
    position += length;
  }
  if (!hasSlice) findings.add(sample.name() + " holds no picture");
  if (hasIdr && !isSync) findings.add(sample.name() + " is a sync sample and is not announced");
  if (!hasIdr && isSync) findings.add(sample.name() + " is announced as a sync sample");
}

bool liesInMedia(const Extent& sample, const FileState& state) {
  return sample.end >= sample.begin && sample.end <= state.file.size() &&
         isInside(sample, state.media);
}

}  // namespace

void checkSampleBytes(const FileState& state, Findings& findings) {
  std::vector<PlacedSample> placed;
  for (const TrackState& each : state.tracks) {
    std::size_t number = 0;
    for (const CheckedSample& sample : each.track.samples) {
      const PlacedSample place{
          {sample.offset, sample.offset + sample.sizeBytes}, each.track.id, ++number};
      if (sample.sizeBytes == 0) findings.add(place.name() + " has no bytes");
      if (!liesInMedia(place.extent, state)) {
        findings.add(place.name() + " does not lie inside an mdat");
        continue;
      }
      if (each.track.codec == "avc1" && each.track.nalLengthBytes > 0)
        checkPicture(sampleBytes(state.file, sample), each.track.nalLengthBytes, sample.isSync,
                     place, findings);
      placed.push_back(place);
    }
  }
  checkOverlaps(placed, findings);
}

}  // namespace vx::test::checker
