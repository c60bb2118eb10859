#include "stress/stand_ins.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

#include "VXVideoRecorder/platform/AVFoundation.h"
#include "platform/avfoundation/mp4/file_errors.h"
#include "platform/avfoundation/mp4/movie_file.h"

namespace vx::test {
namespace {

constexpr std::chrono::minutes kLongestWait{2};
constexpr std::uint8_t kFillerData = 12;  // ISO/IEC 14496-10, 7.4.1: the type of such a NAL unit

void appendFiller(std::vector<std::uint8_t>& bytes, std::size_t count) {
  constexpr std::size_t kLengthBytes = 4;
  if (count <= kLengthBytes + 2) {
    return;
  }
  const std::size_t length = count - kLengthBytes;
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes.push_back(static_cast<std::uint8_t>(length >> shift));
  }
  bytes.push_back(kFillerData);
  bytes.insert(bytes.end(), length - 2, 0xFF);
  bytes.push_back(0x80);
}

class PlayedEncoder final : public VideoEncoder {
 public:
  explicit PlayedEncoder(std::shared_ptr<EncoderScript> script)
      : _script(std::move(script)), _sets{_script->source.sps, _script->source.pps} {}

  Status open(const VideoEncoderSettings&) override {
    return _script->opens ? Status()
                          : NSError(AVFoundationErrorDomain, AVErrorEncoderNotFound, "closed");
  }
  const ParameterSets& parameterSets() const override { return _sets; }
  Status encode(const PlanarPicture&, const PictureRequest& request,
                AccessUnit& accessUnit) override {
    const std::int64_t number = _script->coded++;
    _script->waitWhileHanging(number);
    if (number == _script->failsAt) {
      return NSError(AVFoundationErrorDomain, AVErrorEncodeFailed, "broken");
    }
    _last = _script->pictureAfter(_last, request.forceKeyFrame || number == 0);
    const H264Source::Picture& picture = _script->source.pictures[_last];
    accessUnit = {picture.bytes, picture.isKeyFrame};
    if (_script->paddingBytes > 0) {
      _padded = picture.bytes;
      appendFiller(_padded, _script->paddingBytes);
      accessUnit.bytes = _padded;
    }
    return {};
  }

 private:
  std::shared_ptr<EncoderScript> _script;
  ParameterSets _sets;
  std::size_t _last = 0;
  std::vector<std::uint8_t> _padded;
};

class MemoryFile final : public mp4::OutputFile {
 public:
  explicit MemoryFile(std::shared_ptr<MemoryDisk> disk) : _disk(std::move(disk)) {}
  ~MemoryFile() override { _disk->noteClosed(); }

  Status writeAt(std::uint64_t offset, std::span<const std::uint8_t> bytes) override {
    if (Status status = reserve(offset + bytes.size()); !status) {
      return status;
    }
    std::vector<std::uint8_t>& all = _disk->bytes;
    all.resize(std::max<std::size_t>(all.size(), offset + bytes.size()));
    std::copy(bytes.begin(), bytes.end(), all.begin() + static_cast<std::ptrdiff_t>(offset));
    return {};
  }
  Status sync() override { return fault(); }
  Status syncFolder() override { return fault(); }
  Status reserve(std::uint64_t end) override {
    return end > _disk->capacity ? mp4::writingError(ENOSPC, "in memory") : fault();
  }
  Status truncate(std::uint64_t sizeBytes) override {
    _disk->bytes.resize(sizeBytes);
    return fault();
  }
  Status checkStillNamed() override { return {}; }
  void discard() override { _disk->bytes.clear(); }
  Status close() override { return fault(); }

 private:
  Status fault() const {
    const int error = _disk->failsWith;
    return error == 0 ? Status() : mp4::writingError(error, "in memory");
  }

  std::shared_ptr<MemoryDisk> _disk;
};

}  // namespace

std::shared_ptr<EncoderScript> EncoderScript::make() {
  auto script = std::make_shared<EncoderScript>();
  static const H264Source source = makeH264(64, 48, 40, 10);
  script->source = source;
  return script;
}

std::size_t EncoderScript::pictureAfter(std::size_t last, bool isKeyFrame) const {
  const std::size_t count = source.pictures.size();
  std::size_t next = (last + 1) % count;
  while (isKeyFrame && !source.pictures[next].isKeyFrame) {
    next = (next + 1) % count;
  }
  return next;
}

void EncoderScript::hangAt(std::int64_t number) {
  {
    std::lock_guard lock(_mutex);
    _hangsAt = number;
  }
  _changed.notify_all();
}

void EncoderScript::waitWhileHanging(std::int64_t number) {
  std::unique_lock lock(_mutex);
  _changed.wait(lock, [&] { return _hangsAt < 0 || number < _hangsAt; });
}

VideoEncoderFactory playedEncoder(std::shared_ptr<EncoderScript> script) {
  return [script = std::move(script)] { return std::make_unique<PlayedEncoder>(script); };
}

void MemoryDisk::noteClosed() {
  {
    std::lock_guard lock(_mutex);
    _isClosed = true;
  }
  _changed.notify_all();
}

bool MemoryDisk::waitUntilClosed() {
  std::unique_lock lock(_mutex);
  return _changed.wait_for(lock, kLongestWait, [this] { return _isClosed; });
}

std::unique_ptr<mp4::OutputFile> makeMemoryFile(std::shared_ptr<MemoryDisk> disk) {
  return std::make_unique<MemoryFile>(std::move(disk));
}

WriterParts standInParts(std::shared_ptr<EncoderScript> script, std::shared_ptr<MemoryDisk> disk) {
  WriterParts parts;
  parts.makeEncoder = playedEncoder(std::move(script));
  parts.createFile = [disk = std::move(disk)](const std::string&,
                                              std::unique_ptr<mp4::RecordingFile>& out) {
    out = std::make_unique<mp4::MovieFile>(makeMemoryFile(disk));
    return Status();
  };
  return parts;
}

}  // namespace vx::test
