// The wish to end the recording, as it comes from the keyboard or another process.
#pragma once

#include <chrono>

namespace vxrecord {

/// Lets SIGINT, SIGTERM and SIGHUP ask for the end. The second of a kind ends the program as if
/// nobody listened, so that a program that hangs can still be ended. A reader that goes away from
/// our output (SIGPIPE) does not end a recording.
void listenForInterruption();

/// Whether the end was asked for. Thread: any.
bool isInterrupted();

/// Sleeps until `moment` or until the end is asked for; false in the second case.
bool sleepUntil(std::chrono::steady_clock::time_point moment);

}  // namespace vxrecord
