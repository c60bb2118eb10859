// An encoder that costs no time: real coded pictures, whatever it is given.
#pragma once

#include "platform/avfoundation/mp4/movie_fixture.h"
#include "platform/avfoundation/writer_core.h"
#include "stress/recorder_with_parts.h"

#include <atomic>
#include <memory>

namespace vx::test {

/// How many pictures were coded; shared with the test.
using CodedCount = std::shared_ptr<std::atomic<std::size_t>>;

/// Gives the pictures of `smallSource` (64 x 48) in turn, each made this much longer by filler,
/// which decoders pass over.
class ReplayEncoder final : public VideoEncoder {
 public:
  explicit ReplayEncoder(CodedCount count, std::uint32_t fillerBytes = 0)
      : _count(std::move(count)), _fillerBytes(fillerBytes) {}

  Status open(const VideoEncoderSettings&) override {
    _sets = {source().sps, source().pps};
    return Status::success();
  }
  const ParameterSets& parameterSets() const override { return _sets; }
  Status encode(const PlanarPicture&, const PictureRequest&, AccessUnit& unit) override {
    const auto& picture = source().pictures[*_count % source().pictures.size()];
    _bytes = picture.bytes;
    if (_fillerBytes > 0) addFiller();
    unit = {_bytes, picture.isKeyFrame};
    ++*_count;
    return Status::success();
  }

 private:
  static const H264Source& source() { return mp4::test::smallSource(); }

  void addFiller() {
    for (int shift = 24; shift >= 0; shift -= 8)
      _bytes.push_back(static_cast<std::uint8_t>((_fillerBytes + 2) >> shift));
    _bytes.push_back(12);  // a NAL unit of filler data
    _bytes.insert(_bytes.end(), _fillerBytes, 0xFF);
    _bytes.push_back(0x80);
  }

  CodedCount _count;
  std::uint32_t _fillerBytes;
  ParameterSets _sets;
  std::vector<std::uint8_t> _bytes;
};

}  // namespace vx::test
