// Properties that hold for every input.
#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the program, so that the fuzzer keeps the input, when `holds` is false.
inline void require(bool holds, const char* property) {
  if (!holds) {
    std::fprintf(stderr, "violated: %s\n", property);
    std::abort();
  }
}
