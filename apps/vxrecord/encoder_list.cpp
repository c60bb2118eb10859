#include "encoder_list.h"

#include <algorithm>

#include "VXVideoRecorder/platform/AVVideoEncoder.h"
#include "options.h"

namespace vxrecord {
namespace {

using vx::AVVideoEncoder;
using vx::AVVideoEncoderDescription;

std::string padded(std::string text, std::size_t width) {
  text.resize(std::max(text.size(), width), ' ');
  return text;
}

std::string remarkOf(const std::string& name) {
  if (name == AVVideoEncoder::preferredEncoderName()) {
    return " (default)";
  }
  return AVVideoEncoder::isUsable(name) ? "" : " (not usable on this machine)";
}

}  // namespace

std::string encoderLines(bool withLicences) {
  std::vector<AVVideoEncoderDescription> all = AVVideoEncoder::availableEncoders();
  all.insert(all.begin(), {std::string(AVVideoEncoder::kAuto),
                           "hardware that works on this machine, software otherwise",
                           false,
                           {}});
  std::size_t width = 0;
  for (const AVVideoEncoderDescription& encoder : all) {
    width = std::max(width, encoder.name.size());
  }
  std::string lines;
  for (const AVVideoEncoderDescription& encoder : all) {
    lines += padded(encoder.name, width) + "  " + encoder.description + remarkOf(encoder.name);
    lines += '\n';
    if (withLicences && !encoder.licenceNote.empty()) {
      lines += std::string(width + 2, ' ') + encoder.licenceNote + '\n';
    }
  }
  return lines;
}

std::string encoderNames() {
  std::string names(AVVideoEncoder::kAuto);
  for (const AVVideoEncoderDescription& encoder : AVVideoEncoder::availableEncoders()) {
    names += ", " + encoder.name;
  }
  return names;
}

// A recording that could not start would only say so after it has replaced an older file.
void chooseEncoder(const std::string& name) {
  if (!AVVideoEncoder::setPreferredEncoderName(name)) {
    throw UsageError("unknown encoder " + quoted(name) +
                     "; --encoder takes one of: " + encoderNames());
  }
  if (!AVVideoEncoder::isUsable(name)) {
    throw UsageError("the encoder " + quoted(name) +
                     " cannot be used on this machine; vxrecord --list-encoders tells which can");
  }
}

}  // namespace vxrecord
