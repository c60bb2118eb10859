// The boxes of a recording, in the order in which they stand in a file. Structs hold what varies;
// each function writes one box and names the section that defines it.
#pragma once

#include "platform/avfoundation/coded_video.h"
#include "platform/avfoundation/mp4/byte_stream.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace vx::mp4 {

inline constexpr std::uint32_t kMovieTimescale = 1000;
inline constexpr std::uint32_t kVideoTimescale = 1000;
inline constexpr std::uint32_t kVideoTrackId = 1;
inline constexpr std::uint32_t kAudioTrackId = 2;

// ---- the file ------------------------------------------------------------------------------

/// 32 bytes, true of both lives of the file. ISO/IEC 14496-12, 4.3
void write_ftyp(ByteStream& stream);
/// A box that readers skip. ISO/IEC 14496-12, 8.1.2
void write_free(ByteStream& stream, std::size_t payloadBytes);

// ---- the movie -----------------------------------------------------------------------------

struct MovieHeader {
  std::uint64_t creationTime = 0;  // seconds since 1904-01-01 UTC
  std::uint64_t modificationTime = 0;
  std::uint64_t duration = 0;  // kMovieTimescale
  std::uint32_t nextTrackId = 3;
};
/// ISO/IEC 14496-12, 8.2.2
void write_mvhd(ByteStream& stream, const MovieHeader& header);

/// a b u c d v x y w, as stored.
using Matrix = std::array<std::int32_t, 9>;
/// The matrix of a display transform (a b c d tx ty), moved so that no part of a picture of this
/// size gets a negative coordinate, where players would cut it off.
Matrix displayMatrix(const std::array<double, 6>& transform, std::uint32_t width,
                     std::uint32_t height);

struct TrackHeader {
  std::uint64_t creationTime = 0;
  std::uint64_t modificationTime = 0;
  std::uint32_t trackId = 0;
  std::uint64_t duration = 0;  // kMovieTimescale
  std::int16_t alternateGroup = 0;
  std::int16_t volume = 0;  // 8.8
  Matrix matrix{0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000};
  std::uint32_t width = 0;  // pixels
  std::uint32_t height = 0;
};
/// ISO/IEC 14496-12, 8.3.2
void write_tkhd(ByteStream& stream, const TrackHeader& header);

struct Edit {
  std::uint64_t segmentDuration = 0;  // kMovieTimescale
  std::int64_t mediaTime = 0;         // the track's timescale; kEmptyEdit: nothing is shown
};
inline constexpr std::int64_t kEmptyEdit = -1;
/// `edts` with its `elst`; nothing when there is no edit. ISO/IEC 14496-12, 8.6.5 and 8.6.6
void write_edts(ByteStream& stream, std::span<const Edit> edits);

/// How many samples at a sound's start are not to be heard, in the words of a comment that readers
/// look for who do not apply the edit list of a fragmented movie. It is no part of the standard.
void write_udta_priming(ByteStream& stream, std::uint32_t samples);

struct MediaHeader {
  std::uint64_t creationTime = 0;
  std::uint64_t modificationTime = 0;
  std::uint32_t timescale = 0;
  std::uint64_t duration = 0;
};
/// ISO/IEC 14496-12, 8.4.2
void write_mdhd(ByteStream& stream, const MediaHeader& header);
/// ISO/IEC 14496-12, 8.4.3
void write_hdlr(ByteStream& stream, std::string_view handlerType, std::string_view name);
/// ISO/IEC 14496-12, 12.1.2
void write_vmhd(ByteStream& stream);
/// ISO/IEC 14496-12, 12.2.2
void write_smhd(ByteStream& stream);
/// The media are in this file. ISO/IEC 14496-12, 8.7.1 and 8.7.2
void write_dinf(ByteStream& stream);

// ---- sample descriptions -------------------------------------------------------------------

struct VideoSampleEntry {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  ParameterSets parameterSets;
  ColourTags colour;
};
/// `stsd` with one `avc1`. ISO/IEC 14496-12, 8.5.2 and 12.1.3; ISO/IEC 14496-15, 5.4.2
void write_stsd_avc1(ByteStream& stream, const VideoSampleEntry& entry);
/// ISO/IEC 14496-15, 5.3.3
void write_avcC(ByteStream& stream, const ParameterSets& parameterSets);
/// ISO/IEC 14496-12, 12.1.5
void write_colr(ByteStream& stream, const ColourTags& colour);

struct AudioSampleEntry {
  std::uint16_t channels = 0;
  std::uint32_t sampleRate = 0;
  std::vector<std::uint8_t> audioSpecificConfig;
  std::uint32_t averageBitRate = 0;  // bits per second; 0 while unknown
};
/// `stsd` with one `mp4a`. ISO/IEC 14496-12, 8.5.2 and 12.2.3; ISO/IEC 14496-14, 6.7.2
void write_stsd_mp4a(ByteStream& stream, const AudioSampleEntry& entry);
/// ISO/IEC 14496-14, 6.7.2; ISO/IEC 14496-1, 7.2.6
void write_esds(ByteStream& stream, const AudioSampleEntry& entry);

// ---- fragments -----------------------------------------------------------------------------

/// ISO/IEC 14496-12, 8.8.3
void write_trex(ByteStream& stream, std::uint32_t trackId);
/// ISO/IEC 14496-12, 8.8.5
void write_mfhd(ByteStream& stream, std::uint32_t sequenceNumber);
inline constexpr std::uint32_t kDefaultBaseIsMoof = 0x020000;
/// Offsets count from the `moof`. ISO/IEC 14496-12, 8.8.7
void write_tfhd(ByteStream& stream, std::uint32_t trackId);
/// ISO/IEC 14496-12, 8.8.12
void write_tfdt(ByteStream& stream, std::uint64_t baseMediaDecodeTime);

struct RunSample {
  std::uint32_t duration = 0;
  std::uint32_t sizeBytes = 0;
  bool isKeyFrame = true;
};
/// The data offset, and of each sample its duration, size and flags.
inline constexpr std::uint32_t kRunFlags = 0x000001 | 0x000100 | 0x000200 | 0x000400;
inline constexpr std::uint32_t kIsNoSyncSample = 0x00010000;  // among a sample's flags
/// Returns where the data offset stands, for when it is known. ISO/IEC 14496-12, 8.8.8
std::uint64_t write_trun(ByteStream& stream, std::span<const RunSample> samples);

/// The checksums of a fragment's `moof` and `mdat`, in a `free` box of this project's own.
struct FragmentChecksums {
  std::uint32_t moof = 0;
  std::uint32_t mdat = 0;
};
inline constexpr std::string_view kChecksumTag = "crcC";
/// A fragment begins at a multiple of this, so that its type lies within one sector of a disk.
inline constexpr std::uint64_t kFragmentAlignment = 8;
/// Padded so that with it `bytesBefore` becomes such a multiple.
void write_checksums(ByteStream& stream, const FragmentChecksums& checksums,
                     std::uint64_t bytesBefore);

}  // namespace vx::mp4
