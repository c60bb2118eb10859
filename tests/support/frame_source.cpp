#include "support/frame_source.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "support/program.h"

namespace vx::test {
namespace {

struct YCbCr {
  double y = 0;
  double cb = 0;
  double cr = 0;
};

// ITU-R BT.601, 8-bit video range.
YCbCr toYCbCr(const Rgb& color) {
  const double r = color.red / 255.0;
  const double g = color.green / 255.0;
  const double b = color.blue / 255.0;
  const double luma = 0.299 * r + 0.587 * g + 0.114 * b;
  return {16 + 219 * luma, 128 + 224 * (b - luma) / 1.772, 128 + 224 * (r - luma) / 1.402};
}

std::uint8_t rounded(double value) { return static_cast<std::uint8_t>(std::lround(value)); }

/// The mean colour of a block of pixels, clipped to the picture.
YCbCr meanOf(const SourceFrame& frame, const Painter& paint, int x, int y, int columns, int rows) {
  YCbCr sum;
  int count = 0;
  for (int j = y; j < std::min(y + rows, static_cast<int>(frame.height)); ++j) {
    for (int i = x; i < std::min(x + columns, static_cast<int>(frame.width)); ++i) {
      const YCbCr color = toYCbCr(paint(i, j));
      sum = {sum.y + color.y, sum.cb + color.cb, sum.cr + color.cr};
      ++count;
    }
  }
  return {sum.y / count, sum.cb / count, sum.cr / count};
}

void fillPlanes(SourceFrame& frame, const Painter& paint) {
  const int width = static_cast<int>(frame.width);
  const int height = static_cast<int>(frame.height);
  frame.bytesPerRow = frame.width;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      frame.bytes.push_back(rounded(toYCbCr(paint(x, y)).y));
    }
  }
  for (const bool isCb : {true, false}) {
    for (int y = 0; y < height; y += 2) {
      for (int x = 0; x + 1 < width; x += 2) {
        const YCbCr color = meanOf(frame, paint, x, y, 2, 2);
        frame.bytes.push_back(rounded(isCb ? color.cb : color.cr));
      }
    }
  }
}

// Two pixels in four bytes; the last pixel of an odd width has a partner that nobody sees.
void fillPairs(SourceFrame& frame, const Painter& paint, bool lumaFirst) {
  const int width = static_cast<int>(frame.width);
  frame.bytesPerRow = (frame.width + 1) / 2 * 4;
  for (int y = 0; y < static_cast<int>(frame.height); ++y) {
    for (int x = 0; x < width; x += 2) {
      const YCbCr color = meanOf(frame, paint, x, y, 2, 1);
      const std::uint8_t y0 = rounded(toYCbCr(paint(x, y)).y);
      const std::uint8_t y1 = rounded(toYCbCr(paint(std::min(x + 1, width - 1), y)).y);
      const std::uint8_t cb = rounded(color.cb);
      const std::uint8_t cr = rounded(color.cr);
      const std::vector<std::uint8_t> pair = lumaFirst ? std::vector<std::uint8_t>{y0, cb, y1, cr}
                                                       : std::vector<std::uint8_t>{cb, y0, cr, y1};
      frame.bytes.insert(frame.bytes.end(), pair.begin(), pair.end());
    }
  }
}

/// Letters: what each byte of a pixel holds; "-" a byte that means nothing.
void fillPixels(SourceFrame& frame, const Painter& paint, const std::string& letters) {
  frame.bytesPerRow = frame.width * static_cast<std::uint32_t>(letters.size());
  for (int y = 0; y < static_cast<int>(frame.height); ++y) {
    for (int x = 0; x < static_cast<int>(frame.width); ++x) {
      const Rgb color = paint(x, y);
      for (const char letter : letters) {
        frame.bytes.push_back(static_cast<std::uint8_t>(letter == 'R'   ? color.red
                                                        : letter == 'G' ? color.green
                                                        : letter == 'B' ? color.blue
                                                                        : 255));
      }
    }
  }
}

}  // namespace

Painter plain(const Rgb& color) {
  return [color](int, int) { return color; };
}

Painter quarters(int width, int height) {
  return [width, height](int x, int y) -> Rgb {
    const bool isRight = x >= width / 2;
    const bool isLower = y >= height / 2;
    if (isLower) {
      return isRight ? Rgb{255, 255, 255} : Rgb{0, 0, 255};
    }
    return isRight ? Rgb{0, 255, 0} : Rgb{255, 0, 0};
  };
}

SourceFrame makeSourceFrame(vx::OSType format, int width, int height, const Painter& paint) {
  SourceFrame frame;
  frame.format = format;
  frame.width = static_cast<std::uint32_t>(width);
  frame.height = static_cast<std::uint32_t>(height);
  switch (format) {
    case vx::kCVPixelFormatType_420YpCbCr8Planar:
      fillPlanes(frame, paint);
      break;
    case vx::kCVPixelFormatType_422YpCbCr8:
      fillPairs(frame, paint, false);
      break;
    case vx::kCVPixelFormatType_422YpCbCr8_yuvs:
      fillPairs(frame, paint, true);
      break;
    case vx::kCVPixelFormatType_32BGRA:
      fillPixels(frame, paint, "BGRA");
      break;
    case vx::kCVPixelFormatType_32ARGB:
      fillPixels(frame, paint, "ARGB");
      break;
    case vx::kCVPixelFormatType_32RGBA:
      fillPixels(frame, paint, "RGBA");
      break;
    case vx::kCVPixelFormatType_32ABGR:
      fillPixels(frame, paint, "ABGR");
      break;
    case vx::kCVPixelFormatType_24RGB:
      fillPixels(frame, paint, "RGB");
      break;
    case vx::kCVPixelFormatType_24BGR:
      fillPixels(frame, paint, "BGR");
      break;
    case vx::kCVPixelFormatType_OneComponent8:
      fillPixels(frame, paint, "R");
      break;
    default:
      throw std::invalid_argument("no such pixel format");
  }
  return frame;
}

// The recorder owns its delegate, so the delegate must not own the recorder.
struct DrivenRecorder::Ear : VXVideoRecorderDelegate {
  std::weak_ptr<DrivenRecorder> receiver;
  void writeLog(const std::string& message, std::int32_t) override {
    if (const auto driven = receiver.lock()) {
      driven->keepLine(message);
    }
  }
  void writeVideoFileDone() override {
    if (const auto driven = receiver.lock()) {
      driven->noteFileDone();
    }
  }
};

std::shared_ptr<DrivenRecorder> DrivenRecorder::make(const std::string& folder,
                                                     const std::string& filename) {
  const std::shared_ptr<DrivenRecorder> driven(new DrivenRecorder);
  const auto ear = std::make_shared<Ear>();
  ear->receiver = driven;
  driven->_recorder = VXVideoRecorder::initWithDelegate(ear);
  driven->_recorder->setStoragePath(folder);
  driven->_recorder->setFilename(filename);
  driven->_path = folder + "/" + filename;
  return driven;
}

void DrivenRecorder::append(const SourceFrame& frame, std::uint32_t timestampMs) {
  if (const auto input = _recorder->videoWriterInput()) {
    if (!input->waitUntilReadyForMoreMediaData(kBound)) {
      throw std::runtime_error("the recorder never had room for the frame");
    }
  }
  _recorder->appendVideoSample(
      {{"timestamp", timestampMs},
       {"frameBuffer", vx::NSData::dataWithBytesNoCopy(frame.bytes.data(), frame.bytes.size())},
       {"multiVideoType", _multiVideoType},
       {"pixelFormatType", frame.format},
       {"width", frame.width},
       {"height", frame.height},
       {"bytesPerRow", frame.bytesPerRow}});
}

bool DrivenRecorder::stop() {
  if (const auto input = _recorder->videoWriterInput()) {
    input->waitUntilReadyForMoreMediaData(kBound);
  }
  _recorder->stop();
  std::unique_lock lock(_mutex);
  const bool isAnnounced = _changed.wait_for(lock, kBound, [this] { return _isFileDone; });
  return isAnnounced && std::any_of(_log.begin(), _log.end(), [](const std::string& line) {
           return line.ends_with(" - done");
         });
}

std::vector<std::string> DrivenRecorder::log() const {
  std::lock_guard lock(_mutex);
  return _log;
}

void DrivenRecorder::keepLine(const std::string& message) {
  std::lock_guard lock(_mutex);
  _log.push_back(message);
}

void DrivenRecorder::noteFileDone() {
  std::lock_guard lock(_mutex);
  _isFileDone = true;
  _changed.notify_all();
}

}  // namespace vx::test
