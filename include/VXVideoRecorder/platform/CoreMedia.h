// Media time, format descriptions and sample buffers.
//
// Thread: the objects may be passed between threads and retained and released on any; one object is
// not to be changed (data or attachments set) while another thread uses it.
#pragma once

#include "VXVideoRecorder/platform/CoreFoundation.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

#pragma GCC visibility push(default)

namespace vx {

// ---- Time ----------------------------------------------------------------------------------

using CMTimeValue = std::int64_t;
using CMTimeScale = std::int32_t;
using CMTimeEpoch = std::int64_t;

enum CMTimeFlags : std::uint32_t {
  kCMTimeFlags_Valid = 1,
  kCMTimeFlags_HasBeenRounded = 2,
  kCMTimeFlags_PositiveInfinity = 4,
  kCMTimeFlags_NegativeInfinity = 8,
  kCMTimeFlags_Indefinite = 16,
};

/// `value / timescale` seconds. All fields zero is the invalid time.
struct CMTime {
  CMTimeValue value = 0;
  CMTimeScale timescale = 0;
  std::uint32_t flags = 0;
  CMTimeEpoch epoch = 0;
};

inline constexpr CMTime kCMTimeInvalid{};
inline constexpr CMTime kCMTimeZero{0, 1, kCMTimeFlags_Valid, 0};

constexpr bool CMTIME_IS_VALID(CMTime time) { return (time.flags & kCMTimeFlags_Valid) != 0; }
constexpr bool CMTIME_IS_INVALID(CMTime time) { return !CMTIME_IS_VALID(time); }
constexpr bool CMTIME_IS_NUMERIC(CMTime time) {
  return (time.flags & (kCMTimeFlags_Valid | kCMTimeFlags_PositiveInfinity |
                        kCMTimeFlags_NegativeInfinity | kCMTimeFlags_Indefinite)) ==
         kCMTimeFlags_Valid;
}

/// The time `value / timescale`; the invalid time when `timescale` is not positive.
CMTime CMTimeMake(CMTimeValue value, CMTimeScale timescale);
/// `seconds` rounded to the nearest multiple of `1 / preferredTimescale`; marked as rounded when
/// that changed it. Invalid for a timescale that is not positive, infinite beyond the range.
CMTime CMTimeMakeWithSeconds(double seconds, CMTimeScale preferredTimescale);
double CMTimeGetSeconds(CMTime time);
/// -1, 0 or 1. Exact for any pair of timescales. Invalid times are equal to each other and greater
/// than all others; then come positive infinity, indefinite, numbers, negative infinity.
std::int32_t CMTimeCompare(CMTime a, CMTime b);
/// `time` in another timescale, rounded half away from zero.
CMTime CMTimeConvertScale(CMTime time, CMTimeScale newTimescale);

inline constexpr std::string_view kCMTimeValueKey = "value";
inline constexpr std::string_view kCMTimeScaleKey = "timescale";
inline constexpr std::string_view kCMTimeEpochKey = "epoch";
inline constexpr std::string_view kCMTimeFlagsKey = "flags";

/// The four fields of `time` as numbers under the four keys above.
NSDictionary CMTimeCopyAsDictionary(CMTime time, CFAllocatorRef allocator);
/// The time that such a dictionary describes; invalid when a field is missing or no number.
CMTime CMTimeMakeFromDictionary(const NSDictionary& dictionary);

// ---- Format descriptions -------------------------------------------------------------------

using FourCharCode = std::uint32_t;
using CMMediaType = FourCharCode;
inline constexpr CMMediaType kCMMediaType_Video = 0x76696465;  // 'vide'
inline constexpr CMMediaType kCMMediaType_Audio = 0x736F756E;  // 'soun'

inline constexpr FourCharCode kAudioFormatMPEG4AAC = 0x61616320;   // 'aac '
inline constexpr FourCharCode kAudioFormatLinearPCM = 0x6C70636D;  // 'lpcm'

/// MPEG-4 audio object types (ISO/IEC 14496-3), as the format flags of AAC.
enum : std::uint32_t {
  kMPEG4Object_AAC_Main = 1,
  kMPEG4Object_AAC_LC = 2,
  kMPEG4Object_AAC_SSR = 3,
  kMPEG4Object_AAC_LTP = 4,
  kMPEG4Object_AAC_SBR = 5,
};

/// What one stream of audio is made of.
struct AudioStreamBasicDescription {
  double mSampleRate = 0;  ///< frames per second
  std::uint32_t mFormatID = 0;
  std::uint32_t mFormatFlags = 0;
  std::uint32_t mBytesPerPacket = 0;
  std::uint32_t mFramesPerPacket = 0;
  std::uint32_t mBytesPerFrame = 0;
  std::uint32_t mChannelsPerFrame = 0;
  std::uint32_t mBitsPerChannel = 0;
  std::uint32_t mReserved = 0;
  friend bool operator==(const AudioStreamBasicDescription&,
                         const AudioStreamBasicDescription&) = default;
};

struct AudioChannelLayout;
struct CMFormatDescription;
using CMFormatDescriptionRef = const CMFormatDescription*;
using CMAudioFormatDescriptionRef = CMFormatDescriptionRef;
using CMVideoFormatDescriptionRef = CMFormatDescriptionRef;

inline constexpr OSStatus kCMFormatDescriptionError_InvalidParameter = -12710;
inline constexpr OSStatus kCMFormatDescriptionError_AllocationFailed = -12711;

/// Describes audio. `magicCookie` is what the decoder needs beyond the stream description: for AAC
/// the AudioSpecificConfig of ISO/IEC 14496-3, bare or within an elementary stream descriptor. It
/// is copied. `extensions` may be null; the channel layout and the extensions are not kept.
/// Errors: `kCMFormatDescriptionError_InvalidParameter` for a null description or result, a sample
/// rate that is not positive and finite, or a size without bytes.
OSStatus CMAudioFormatDescriptionCreate(CFAllocatorRef allocator,
                                        const AudioStreamBasicDescription* asbd,
                                        std::size_t layoutSize, const AudioChannelLayout* layout,
                                        std::size_t magicCookieSize, const void* magicCookie,
                                        const NSDictionary* extensions,
                                        CMAudioFormatDescriptionRef* formatDescriptionOut);

CMMediaType CMFormatDescriptionGetMediaType(CMFormatDescriptionRef description);
/// The coding of audio (`mFormatID`), the pixel format of video.
FourCharCode CMFormatDescriptionGetMediaSubType(CMFormatDescriptionRef description);
/// Null for a description of something else.
const AudioStreamBasicDescription* CMAudioFormatDescriptionGetStreamBasicDescription(
    CMAudioFormatDescriptionRef description);
/// The bytes given at creation and their number; null when there are none.
const void* CMAudioFormatDescriptionGetMagicCookie(CMAudioFormatDescriptionRef description,
                                                   std::size_t* sizeOut);

struct CMVideoDimensions {
  std::int32_t width = 0;
  std::int32_t height = 0;
};
CMVideoDimensions CMVideoFormatDescriptionGetDimensions(CMVideoFormatDescriptionRef description);

// ---- Sample buffers ------------------------------------------------------------------------

struct CVPixelBuffer;
using CVPixelBufferRef = CVPixelBuffer*;
using CVImageBufferRef = CVPixelBufferRef;

/// Describes the pictures that `imageBuffer` is one of.
OSStatus CMVideoFormatDescriptionCreateForImageBuffer(
    CFAllocatorRef allocator, CVImageBufferRef imageBuffer,
    CMVideoFormatDescriptionRef* formatDescriptionOut);

struct CMBlockBuffer;
using CMBlockBufferRef = CMBlockBuffer*;

inline constexpr OSStatus kCMBlockBufferBlockAllocationFailedErr = -12701;
inline constexpr OSStatus kCMBlockBufferBadLengthParameterErr = -12704;
inline constexpr OSStatus kCMBlockBufferBadPointerParameterErr = -12705;

/// A block that holds a copy of `length` bytes, at least one.
OSStatus CMBlockBufferCreateWithBytes(CFAllocatorRef allocator, const void* bytes,
                                      std::size_t length, CMBlockBufferRef* blockBufferOut);
const std::uint8_t* CMBlockBufferGetBytes(CMBlockBufferRef blockBuffer);
std::size_t CMBlockBufferGetDataLength(CMBlockBufferRef blockBuffer);

using CMItemCount = std::int64_t;

/// When a sample is shown, for how long, and when it must be decoded (invalid: when shown).
struct CMSampleTimingInfo {
  CMTime duration;
  CMTime presentationTimeStamp;
  CMTime decodeTimeStamp;
};

struct CMSampleBuffer;
using CMSampleBufferRef = CMSampleBuffer*;
using CMSampleBufferMakeDataReadyCallback = OSStatus (*)(CMSampleBufferRef, void* refcon);

inline constexpr OSStatus kCMSampleBufferError_AllocationFailed = -12730;
inline constexpr OSStatus kCMSampleBufferError_RequiredParameterMissing = -12731;
inline constexpr OSStatus kCMSampleBufferError_AlreadyHasDataBuffer = -12732;
inline constexpr OSStatus kCMSampleBufferError_SampleIndexOutOfRange = -12734;
inline constexpr OSStatus kCMSampleBufferError_BufferHasNoSampleTimingInfo = -12736;
inline constexpr OSStatus kCMSampleBufferError_InvalidEntryCount = -12738;
inline constexpr OSStatus kCMSampleBufferError_InvalidSampleData = -12742;
inline constexpr OSStatus kCMSampleBufferError_InvalidMediaFormat = -12743;

/// A sample buffer around one picture. It keeps its own reference to the picture and to
/// `formatDescription`.
/// Errors: `kCMSampleBufferError_InvalidMediaFormat` when the description is not one of a picture
/// of this size and pixel format.
OSStatus CMSampleBufferCreateReadyWithImageBuffer(CFAllocatorRef allocator,
                                                  CVImageBufferRef imageBuffer,
                                                  CMVideoFormatDescriptionRef formatDescription,
                                                  const CMSampleTimingInfo* sampleTiming,
                                                  CMSampleBufferRef* sampleBufferOut);

/// A sample buffer around coded bytes: `numSamples` samples, timed by no entry (their times are
/// invalid), by one that applies to all (each begins where the one before it ends) or by one each;
/// sized by no entry (unknown), by one that applies to all, or by one each. `dataBuffer` may be
/// null and set later; with `dataReady` false the callback (may be null) is what would make it
/// ready. Errors: `kCMSampleBufferError_InvalidEntryCount` for a negative number of samples and any
/// other number of entries; `kCMSampleBufferError_InvalidSampleData` when the sizes add up to more
/// than the block holds; `kCMSampleBufferError_RequiredParameterMissing` for a null array or
/// result.
OSStatus CMSampleBufferCreate(CFAllocatorRef allocator, CMBlockBufferRef dataBuffer, bool dataReady,
                              CMSampleBufferMakeDataReadyCallback makeDataReadyCallback,
                              void* makeDataReadyRefcon, CMFormatDescriptionRef formatDescription,
                              CMItemCount numSamples, CMItemCount numSampleTimingEntries,
                              const CMSampleTimingInfo* sampleTimingArray,
                              CMItemCount numSampleSizeEntries, const std::size_t* sampleSizeArray,
                              CMSampleBufferRef* sampleBufferOut);

/// The same with the data at hand: several AAC access units that a host times itself travel so.
OSStatus CMSampleBufferCreateReady(CFAllocatorRef allocator, CMBlockBufferRef dataBuffer,
                                   CMFormatDescriptionRef formatDescription, CMItemCount numSamples,
                                   CMItemCount numSampleTimingEntries,
                                   const CMSampleTimingInfo* sampleTimingArray,
                                   CMItemCount numSampleSizeEntries,
                                   const std::size_t* sampleSizeArray,
                                   CMSampleBufferRef* sampleBufferOut);

struct AudioBuffer {
  std::uint32_t mNumberChannels = 0;
  std::uint32_t mDataByteSize = 0;
  void* mData = nullptr;
};
struct AudioBufferList {
  std::uint32_t mNumberBuffers = 0;
  AudioBuffer mBuffers[1];
};

/// Copies the bytes of `bufferList` into a new block, one buffer behind the other, makes it the
/// sample buffer's data and marks the data as ready.
/// Errors: the sample buffer stays as it was. `kCMSampleBufferError_RequiredParameterMissing` for
/// null pointers, `kCMSampleBufferError_AlreadyHasDataBuffer`,
/// `kCMSampleBufferError_InvalidMediaFormat` for a format that is not audio,
/// `kCMSampleBufferError_InvalidSampleData` for no bytes at all or fewer than the samples' sizes,
/// `kCMBlockBufferBlockAllocationFailedErr`.
OSStatus CMSampleBufferSetDataBufferFromAudioBufferList(
    CMSampleBufferRef sampleBuffer, CFAllocatorRef blockBufferStructureAllocator,
    CFAllocatorRef blockBufferMemoryAllocator, std::uint32_t flags,
    const AudioBufferList* bufferList);

CVImageBufferRef CMSampleBufferGetImageBuffer(CMSampleBufferRef sampleBuffer);
CMBlockBufferRef CMSampleBufferGetDataBuffer(CMSampleBufferRef sampleBuffer);
bool CMSampleBufferDataIsReady(CMSampleBufferRef sampleBuffer);
CMFormatDescriptionRef CMSampleBufferGetFormatDescription(CMSampleBufferRef sampleBuffer);
CMItemCount CMSampleBufferGetNumSamples(CMSampleBufferRef sampleBuffer);
/// The first sample's presentation time.
CMTime CMSampleBufferGetPresentationTimeStamp(CMSampleBufferRef sampleBuffer);
/// The sum of the samples' durations; invalid when one of them is.
CMTime CMSampleBufferGetDuration(CMSampleBufferRef sampleBuffer);
/// Timing of one sample, worked out where one entry applies to all.
OSStatus CMSampleBufferGetSampleTimingInfo(CMSampleBufferRef sampleBuffer, CMItemCount sampleIndex,
                                           CMSampleTimingInfo* timingInfoOut);
/// Size of one sample in bytes; 0 when sizes are unknown.
std::size_t CMSampleBufferGetSampleSize(CMSampleBufferRef sampleBuffer, CMItemCount sampleIndex);

// ---- Attachments ---------------------------------------------------------------------------

using CMAttachmentMode = std::uint32_t;
inline constexpr CMAttachmentMode kCMAttachmentMode_ShouldNotPropagate = 0;
inline constexpr CMAttachmentMode kCMAttachmentMode_ShouldPropagate = 1;

inline constexpr std::string_view kCMSampleBufferAttachmentKey_ForceKeyFrame = "ForceKeyFrame";
inline constexpr std::string_view kCMSampleBufferAttachmentKey_TrimDurationAtStart =
    "TrimDurationAtStart";

/// Attaches a value to the sample buffer, in place of one under the same key.
/// Errors: when memory is short the value is not attached, as `CMGetAttachment` tells.
void CMSetAttachment(CMSampleBufferRef target, std::string_view key, Object value,
                     CMAttachmentMode mode);
/// The value under `key`, or null; `modeOut` may be null. Valid until the attachment changes.
const Object* CMGetAttachment(CMSampleBufferRef target, std::string_view key,
                              CMAttachmentMode* modeOut);

}  // namespace vx

#pragma GCC visibility pop
