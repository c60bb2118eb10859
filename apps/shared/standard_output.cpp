#include "standard_output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace vxapps {

bool printAll(const char* program, std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0) {
    return true;
  }
  std::fprintf(stderr, "%s: standard output cannot be written: %s\n", program,
               std::strerror(errno));
  return false;
}

}  // namespace vxapps
