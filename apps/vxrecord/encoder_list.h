// The encoders of this build, and the choice of one.
#pragma once

#include <string>

namespace vxrecord {

/// A line each, which begins with what --encoder takes: what it is, and whether this machine can
/// use it. With `withLicences` also what its licence asks of those who ship a program with it.
/// Tries hardware, which takes a moment.
std::string encoderLines(bool withLicences);

/// The names that --encoder takes.
std::string encoderNames();

/// Makes `name` the encoder of the recordings of this program.
/// Errors: throws UsageError for a name that this build does not have, or that this machine cannot
/// use.
void chooseEncoder(const std::string& name);

}  // namespace vxrecord
