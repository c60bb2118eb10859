// Files and addresses that FFmpeg opens, as an input.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "input.h"

namespace vxrecord {

/// What FFmpeg is told to open.
struct MediaAddress {
  std::string url;
  std::vector<std::pair<std::string, std::string>> options;
  bool isLive = false;
  bool withSound = false;  ///< the first sound stream, if there is one
  std::string shownName;   ///< for messages
  std::string advice;      ///< what to do when it cannot be opened
};

/// Errors: throws InputError.
std::unique_ptr<Input> openMedia(const MediaAddress& address);

/// A name as a person writes it. A name that exists on disk is taken literally, whatever characters
/// are in it; only other names are looked at as addresses.
std::unique_ptr<Input> openMedia(const std::string& name, bool withSound);

}  // namespace vxrecord
