#include "platform/coremedia/format_description.h"

#include "VXVideoRecorder/platform/CoreVideo.h"
#include "platform/cf_ref.h"

#include <cmath>
#include <cstring>
#include <new>

namespace vx {

OSStatus CMAudioFormatDescriptionCreate(CFAllocatorRef, const AudioStreamBasicDescription* asbd,
                                        std::size_t layoutSize, const AudioChannelLayout* layout,
                                        std::size_t magicCookieSize, const void* magicCookie,
                                        const NSDictionary*,
                                        CMAudioFormatDescriptionRef* formatDescriptionOut) {
  if (!formatDescriptionOut) {
    return kCMFormatDescriptionError_InvalidParameter;
  }
  *formatDescriptionOut = nullptr;
  const bool isMissingBytes = (layoutSize > 0 && !layout) || (magicCookieSize > 0 && !magicCookie);
  if (!asbd || isMissingBytes || !std::isfinite(asbd->mSampleRate) || asbd->mSampleRate <= 0) {
    return kCMFormatDescriptionError_InvalidParameter;
  }
  auto* made = new (std::nothrow) CMFormatDescription;
  auto description = CFRef<CMFormatDescriptionRef>::adopt(made);
  if (!made) {
    return kCMFormatDescriptionError_AllocationFailed;
  }
  made->mediaType = kCMMediaType_Audio;
  made->mediaSubType = asbd->mFormatID;
  made->stream = *asbd;
  if (magicCookieSize > 0) {
    made->magicCookie.reset(new (std::nothrow) std::uint8_t[magicCookieSize]);
    if (!made->magicCookie) {
      return kCMFormatDescriptionError_AllocationFailed;
    }
    std::memcpy(made->magicCookie.get(), magicCookie, magicCookieSize);
    made->magicCookieSize = magicCookieSize;
  }
  *formatDescriptionOut = description.release();
  return noErr;
}

OSStatus CMVideoFormatDescriptionCreateForImageBuffer(
    CFAllocatorRef, CVImageBufferRef imageBuffer,
    CMVideoFormatDescriptionRef* formatDescriptionOut) {
  if (!formatDescriptionOut) {
    return kCMFormatDescriptionError_InvalidParameter;
  }
  *formatDescriptionOut = nullptr;
  if (!imageBuffer) {
    return kCMFormatDescriptionError_InvalidParameter;
  }
  auto* made = new (std::nothrow) CMFormatDescription;
  if (!made) {
    return kCMFormatDescriptionError_AllocationFailed;
  }
  made->mediaType = kCMMediaType_Video;
  made->mediaSubType = CVPixelBufferGetPixelFormatType(imageBuffer);
  made->dimensions = {static_cast<std::int32_t>(CVPixelBufferGetWidth(imageBuffer)),
                      static_cast<std::int32_t>(CVPixelBufferGetHeight(imageBuffer))};
  *formatDescriptionOut = made;
  return noErr;
}

CMMediaType CMFormatDescriptionGetMediaType(CMFormatDescriptionRef description) {
  return description ? description->mediaType : 0;
}

FourCharCode CMFormatDescriptionGetMediaSubType(CMFormatDescriptionRef description) {
  return description ? description->mediaSubType : 0;
}

const AudioStreamBasicDescription* CMAudioFormatDescriptionGetStreamBasicDescription(
    CMAudioFormatDescriptionRef description) {
  const bool isAudio = CMFormatDescriptionGetMediaType(description) == kCMMediaType_Audio;
  return isAudio ? &description->stream : nullptr;
}

const void* CMAudioFormatDescriptionGetMagicCookie(CMAudioFormatDescriptionRef description,
                                                   std::size_t* sizeOut) {
  if (sizeOut) {
    *sizeOut = description ? description->magicCookieSize : 0;
  }
  return description ? description->magicCookie.get() : nullptr;
}

CMVideoDimensions CMVideoFormatDescriptionGetDimensions(CMVideoFormatDescriptionRef description) {
  return description ? description->dimensions : CMVideoDimensions{};
}

}  // namespace vx
