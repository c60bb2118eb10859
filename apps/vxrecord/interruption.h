// What a person or another process wants of a running recording: its end, or a pause.
#pragma once

#include <chrono>

namespace vxrecord {

/// How long after the first wish to end a further one counts as the same: fingers press Ctrl-C
/// twice, and a terminal that closes sends more than one SIGHUP.
inline constexpr std::chrono::milliseconds kSameWish{1000};

/// Lets SIGINT, SIGTERM and SIGHUP ask for the end, and SIGUSR2 for a pause or its end. A wish to
/// end that comes later than `kSameWish` after the first ends the program at once, so that one that
/// hangs can still be ended. SIGHUP stays ignored where it is (nohup). A reader that goes away from
/// our output (SIGPIPE) does not end a recording.
void listenForSignals();

/// Whether the end was asked for. Thread: any.
bool isInterrupted();
/// Asks for the end as SIGTERM does, but never ends the program at once. Thread: any.
void requestEnd();

/// Whether a pause was asked for and not its end. Thread: any.
bool isPauseWished();
/// Thread: any.
void togglePause();

/// Sleeps until `moment` or until the end is asked for; false in the second case.
/// Thread: one at a time.
bool sleepUntil(std::chrono::steady_clock::time_point moment);
/// Sleeps until `moment`, until the end is asked for or until a pause begins or ends. The same
/// thread as `sleepUntil`.
void sleepUntilWish(std::chrono::steady_clock::time_point moment);

/// Sleeps until `descriptor` has something to read, at most until `moment`; the asked-for end wakes
/// as well.
void waitUntilReadable(int descriptor, std::chrono::steady_clock::time_point moment);

}  // namespace vxrecord
