// All options in one table: what the parser takes, --help shows, the man page explains and the
// shells complete.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "options.h"

namespace vxrecord {

/// A command line that is being read.
struct CommandLine {
  Command command;
  std::optional<std::int64_t> pauseAtMs;
  std::optional<std::int64_t> pauseForMs;
  bool isQuiet = false;
  int verbosity = 0;
};

/// What a shell offers for an option's value.
enum class Completion : std::uint8_t { nothing, folders, words, encoders };

struct OptionEntry {
  std::string_view name;    ///< "--duration"
  std::string_view letter;  ///< "-v"; empty without one
  std::string_view value;   ///< what the value is called; empty for an option without one
  std::string text;         ///< a sentence or two, without a line break
  Completion completion = Completion::nothing;
  std::vector<std::string> words;  ///< for Completion::words
  /// Errors: throws UsageError.
  void (*apply)(CommandLine& line, std::string_view value) = nullptr;
};

/// In the order in which they are explained.
const std::vector<OptionEntry>& optionTable();

/// The entry of a name or letter; null for none.
const OptionEntry* optionNamed(std::string_view nameOrLetter);

}  // namespace vxrecord
