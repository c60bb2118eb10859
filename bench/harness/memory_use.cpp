#include "bench/harness/memory_use.h"

#include <fstream>
#include <sstream>
#include <string>

namespace bench {
namespace {

constexpr std::uint64_t kKilobyte = 1024;

std::uint64_t statusValue(const std::string& process, const std::string& key) {
  std::ifstream status("/proc/" + process + "/status");
  for (std::string line; std::getline(status, line);) {
    std::istringstream fields(line);
    std::string name;
    std::uint64_t kilobytes = 0;
    if (fields >> name >> kilobytes && name == key) {
      return kilobytes * kKilobyte;
    }
  }
  return 0;
}

}  // namespace

std::uint64_t residentBytes() { return statusValue("self", "VmRSS:"); }
std::uint64_t peakResidentBytes() { return statusValue("self", "VmHWM:"); }
std::uint64_t peakResidentBytesOf(pid_t process) {
  return statusValue(std::to_string(process), "VmHWM:");
}

void forgetPeak() {
  constexpr int kForgetPeakResidentSize = 5;  // proc(5), /proc/pid/clear_refs
  std::ofstream("/proc/self/clear_refs") << kForgetPeakResidentSize;
}

}  // namespace bench
