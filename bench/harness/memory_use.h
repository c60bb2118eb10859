// How much memory a process takes, as the system counts it.
#pragma once

#include <sys/types.h>

#include <cstdint>

namespace bench {

std::uint64_t residentBytes();
/// The most that was resident since `forgetPeak`.
std::uint64_t peakResidentBytes();
void forgetPeak();
/// The most that another process, which still runs, ever had resident.
std::uint64_t peakResidentBytesOf(pid_t process);

}  // namespace bench
