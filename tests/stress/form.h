// The two lengths that each test here has: short under CTest, long through scripts/run-faults.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

namespace vx::test {

inline bool isLongForm() { return std::getenv("VX_STRESS_LONG") != nullptr; }
inline int rounds(int shortForm, int longForm) { return isLongForm() ? longForm : shortForm; }

/// One line of the result table.
inline void report(const std::string& line) { std::printf("result: %s\n", line.c_str()); }

/// Draws what a test leaves to chance. The seed is printed; VX_STRESS_SEED repeats a run.
class Chance {
 public:
  Chance() : _engine(seed()) {}
  std::int64_t between(std::int64_t lowest, std::int64_t highest) {
    return std::uniform_int_distribution<std::int64_t>(lowest, highest)(_engine);
  }

 private:
  static std::uint32_t seed() {
    const char* given = std::getenv("VX_STRESS_SEED");
    const std::uint32_t value = given ? static_cast<std::uint32_t>(std::strtoul(given, nullptr, 10))
                                      : std::random_device{}();
    std::printf("seed: %u\n", value);
    return value;
  }
  std::mt19937 _engine;
};

}  // namespace vx::test
