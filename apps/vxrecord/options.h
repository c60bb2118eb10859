// The command line, read into plain values.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "command_words.h"
#include "pixel_format.h"

namespace vxrecord {

using vxapps::asksForJson;
using vxapps::quoted;
using vxapps::UsageError;

/// How much a run says on standard error, each more than the one before.
enum class Talk : std::uint8_t {
  quiet,    ///< errors
  normal,   ///< progress and warnings
  verbose,  ///< the recorder's log, FFmpeg's warnings
  debug,    ///< all that FFmpeg says
};

/// A stretch of the input's time that is not recorded.
struct PauseWish {
  std::int64_t atMs = 0;
  std::int64_t forMs = 0;
};

struct Options {
  std::string input;
  std::optional<std::string> storagePath;
  std::optional<std::string> filename;
  std::optional<std::string> fileNamePrefix;
  std::uint32_t index = 1;
  std::uint64_t folderLimitMegabytes = 0;
  bool audio = false;
  bool rotate = false;
  std::optional<std::string> encoder;
  PixelFormat pixelFormat = defaultPixelFormat();
  std::optional<std::int64_t> durationMs;
  std::optional<PauseWish> pause;
  bool realtime = false;
  bool json = false;
  Talk talk = Talk::normal;
};

/// What the command line asks for.
struct Command {
  enum class Action : std::uint8_t { record, listDisplays, listEncoders, showHelp, showVersion };
  Action action = Action::record;
  Options options;
};

/// Reads the words behind the program's name.
/// Errors: throws UsageError.
Command parseCommandLine(const std::vector<std::string>& words);

}  // namespace vxrecord
