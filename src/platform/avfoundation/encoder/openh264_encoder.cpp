// H.264 through libopenh264: the permissively licensed encoder.
#include "VXVideoRecorder/platform/AVFoundation.h"
#include "platform/avfoundation/encoder/annex_b.h"
#include "platform/avfoundation/encoder/sps_timing.h"
#include "platform/avfoundation/encoder/video_encoder.h"

#include <wels/codec_api.h>

#include <algorithm>
#include <string>
#include <thread>

namespace vx {
namespace {

constexpr int kMostThreads = 4;
constexpr int kHighestQuantizer = 51;
constexpr int kShortestSide = 16;  // it opens for less, and then codes nothing

struct EncoderDestroyer {
  void operator()(ISVCEncoder* encoder) const {
    encoder->Uninitialize();
    WelsDestroySVCEncoder(encoder);
  }
};

NSError failure(std::int64_t code, const std::string& what) {
  return NSError(AVFoundationErrorDomain, code, what);
}

std::vector<std::uint8_t> bytesOf(const SFrameBSInfo& info) {
  std::vector<std::uint8_t> bytes;
  for (int i = 0; i < info.iLayerNum; ++i) {
    const SLayerBSInfo& layer = info.sLayerInfo[i];
    int size = 0;
    for (int unit = 0; unit < layer.iNalCount; ++unit) {
      size += layer.pNalLengthInByte[unit];
    }
    bytes.insert(bytes.end(), layer.pBsBuf, layer.pBsBuf + size);
  }
  return bytes;
}

class OpenH264Encoder final : public VideoEncoder {
 public:
  Status open(const VideoEncoderSettings& settings) override;
  const ParameterSets& parameterSets() const override { return _parameterSets; }
  Status encode(const PlanarPicture& picture, const PictureRequest& request,
                AccessUnit& accessUnit) override;

 private:
  SEncParamExt parameters(const VideoEncoderSettings& settings) const;
  static void describeLayer(const VideoEncoderSettings& settings, SSpatialLayerConfig& layer);
  Status readParameterSets(const VideoEncoderSettings& settings);

  std::unique_ptr<ISVCEncoder, EncoderDestroyer> _encoder;
  AnnexBReader _reader;
  ParameterSets _parameterSets;
  std::int64_t _lastTickMs = -1;
};

SEncParamExt OpenH264Encoder::parameters(const VideoEncoderSettings& settings) const {
  SEncParamExt p;
  _encoder->GetDefaultParams(&p);
  p.iUsageType = CAMERA_VIDEO_REAL_TIME;  // the one for screens changes parameter sets on its way
  p.iPicWidth = settings.width;
  p.iPicHeight = settings.height;
  p.iTargetBitrate = settings.averageBitRate;
  p.iMaxBitrate = UNSPECIFIED_BIT_RATE;
  p.fMaxFrameRate = static_cast<float>(settings.expectedSourceFrameRate);
  p.iRCMode = RC_TIMESTAMP_MODE;  // by the pictures' own times
  p.bEnableFrameSkip = false;     // a picture that came is a picture in the file
  p.iMinQp = kLowestQuantizer;
  p.iMaxQp = kHighestQuantizer;
  p.uiIntraPeriod = static_cast<unsigned>(settings.maxKeyFrameInterval);
  p.eSpsPpsIdStrategy = CONSTANT_ID;
  p.iEntropyCodingModeFlag = 1;
  p.iNumRefFrame = 1;
  p.iTemporalLayerNum = 1;
  p.iSpatialLayerNum = 1;
  p.iMultipleThreadIdc = static_cast<unsigned short>(
      std::clamp<unsigned>(std::thread::hardware_concurrency(), 1, kMostThreads));
  describeLayer(settings, p.sSpatialLayers[0]);
  return p;
}

void OpenH264Encoder::describeLayer(const VideoEncoderSettings& settings,
                                    SSpatialLayerConfig& layer) {
  layer.iVideoWidth = settings.width;
  layer.iVideoHeight = settings.height;
  layer.fFrameRate = static_cast<float>(settings.expectedSourceFrameRate);
  layer.iSpatialBitrate = settings.averageBitRate;
  layer.iMaxSpatialBitrate = UNSPECIFIED_BIT_RATE;
  layer.uiProfileIdc = PRO_HIGH;
  layer.uiLevelIdc = LEVEL_UNKNOWN;
  layer.sSliceArgument.uiSliceMode = SM_FIXEDSLCNUM_SLICE;
  layer.sSliceArgument.uiSliceNum = 0;  // as many as threads
  layer.bVideoSignalTypePresent = true;
  layer.uiVideoFormat = VF_UNDEF;
  layer.bFullRange = settings.colour.fullRange;
  layer.bColorDescriptionPresent = true;
  layer.uiColorPrimaries = static_cast<unsigned char>(settings.colour.primaries);
  layer.uiTransferCharacteristics = static_cast<unsigned char>(settings.colour.transfer);
  layer.uiColorMatrix = static_cast<unsigned char>(settings.colour.matrix);
}

Status OpenH264Encoder::open(const VideoEncoderSettings& settings) {
  ISVCEncoder* raw = nullptr;
  if (WelsCreateSVCEncoder(&raw) != 0 || !raw) {
    return failure(AVErrorEncoderNotFound, "The H.264 encoder could not be made.");
  }
  _encoder.reset(raw);
  int level = WELS_LOG_QUIET;
  _encoder->SetOption(ENCODER_OPTION_TRACE_LEVEL, &level);
  const SEncParamExt p = parameters(settings);
  const bool isTooSmall = std::min(settings.width, settings.height) < kShortestSide;
  if (isTooSmall || _encoder->InitializeExt(&p) != cmResultSuccess) {
    return failure(AVErrorEncoderNotFound,
                   "The H.264 encoder could not be opened: openh264 takes pictures from 16x16 on, "
                   "of at most as many pixels as 4096x2304 has.");
  }
  return readParameterSets(settings);
}

Status OpenH264Encoder::readParameterSets(const VideoEncoderSettings& settings) {
  SFrameBSInfo info{};
  if (_encoder->EncodeParameterSets(&info) != cmResultSuccess) {
    return failure(AVErrorEncodeFailed, "The H.264 encoder gave no parameter sets.");
  }
  _reader.read(bytesOf(info));
  _parameterSets = _reader.parameterSets();
  _parameterSets.sps = withUsualFrameRate(
      _parameterSets.sps, static_cast<std::uint32_t>(settings.expectedSourceFrameRate));
  return Status::success();
}

Status OpenH264Encoder::encode(const PlanarPicture& picture, const PictureRequest& request,
                               AccessUnit& accessUnit) {
  if (request.forceKeyFrame) {
    _encoder->ForceIntraFrame(true);
  }
  SSourcePicture in{};
  in.iColorFormat = videoFormatI420;
  in.iPicWidth = picture.width;
  in.iPicHeight = picture.height;
  in.uiTimeStamp = _lastTickMs = std::max(_lastTickMs + 1, request.timeMs);
  for (std::size_t plane = 0; plane < picture.planes.size(); ++plane) {
    in.pData[plane] = const_cast<std::uint8_t*>(picture.planes[plane]);
    in.iStride[plane] = picture.bytesPerRow[plane];
  }
  SFrameBSInfo info{};
  if (_encoder->EncodeFrame(&in, &info) != cmResultSuccess) {
    return failure(AVErrorEncodeFailed, "The H.264 encoder could not code a picture.");
  }
  _reader.read(bytesOf(info));
  if (_reader.sample().empty()) {
    return failure(AVErrorEncodeFailed, "The H.264 encoder left a picture out.");
  }
  accessUnit.bytes = _reader.sample();
  accessUnit.isKeyFrame = _reader.hasKeyFrame();
  return Status::success();
}

}  // namespace

std::unique_ptr<VideoEncoder> makeOpenH264Encoder() { return std::make_unique<OpenH264Encoder>(); }

}  // namespace vx
