// Where the recording goes, and whether it can.
#pragma once

#include <stdexcept>
#include <string>

#include "options.h"

namespace vxrecord {

/// A recording that cannot be written where it was asked for; the text says what to do.
class OutputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct OutputPlace {
  std::string folder;
  std::string filename;
  std::string path() const;
};

/// The folder and name by the options, the recorder's own defaults where they say nothing.
OutputPlace outputPlaceFor(const Options& options);

/// Makes the folder and makes sure that a recording there cannot destroy anything but an earlier
/// recording. The recorder itself would fall back to another folder without a word, and would
/// replace whatever stands under the name.
/// Errors: throws OutputError, or UsageError when input and recording are the same file.
void prepareOutputPlace(const OutputPlace& place, const std::string& input);

}  // namespace vxrecord
