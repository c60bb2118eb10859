// vxrecord, run as a program.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "support/media_reader.h"
#include "support/program.h"

namespace vx::test {

/// The program's path and these arguments.
std::vector<std::string> vxrecordWith(const std::vector<std::string>& arguments);
ProgramResult runVxrecord(const std::vector<std::string>& arguments);

/// A number, or a text without its quotes, of the one-line object that --json prints.
std::int64_t jsonNumber(const std::string& json, const std::string& key);
std::string jsonValue(const std::string& json, const std::string& key);

/// Recording time in milliseconds of the last progress line; -1 before the first.
std::int64_t lastProgressMs(const std::string& errors);

/// The numbers that the built-in picture carries; -1 for a picture without.
std::vector<std::int64_t> frameNumbers(const std::string& path);

}  // namespace vx::test
