#include "bench/stand_in/stand_in_encoder.h"

#include "platform/avfoundation/encoder/video_encoder.h"

#include <iterator>

namespace bench {
namespace {

std::size_t pictureBytes = 64;

class StandInEncoder final : public vx::VideoEncoder {
 public:
  vx::Status open(const vx::VideoEncoderSettings& settings) override {
    _keyFrameInterval = settings.maxKeyFrameInterval;
    _bytes.assign(pictureBytes, 0);
    return vx::Status::success();
  }
  const vx::ParameterSets& parameterSets() const override { return _sets; }
  vx::Status encode(const vx::PlanarPicture&, const vx::PictureRequest& request,
                    vx::AccessUnit& accessUnit) override {
    accessUnit.isKeyFrame = request.forceKeyFrame || _sinceKeyFrame + 1 >= _keyFrameInterval;
    _sinceKeyFrame = accessUnit.isKeyFrame ? 0 : _sinceKeyFrame + 1;
    accessUnit.bytes = _bytes;
    return vx::Status::success();
  }

 private:
  vx::ParameterSets _sets{{std::begin(kStandInSps), std::end(kStandInSps)},
                          {std::begin(kStandInPps), std::end(kStandInPps)}};
  std::vector<std::uint8_t> _bytes;
  int _keyFrameInterval = 30;
  int _sinceKeyFrame = 0;
};

}  // namespace

void setStandInPictureBytes(std::size_t bytes) { pictureBytes = bytes; }

}  // namespace bench

std::unique_ptr<vx::VideoEncoder> vx::makeX264Encoder() {
  return std::make_unique<bench::StandInEncoder>();
}
