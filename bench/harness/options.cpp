#include "bench/harness/options.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace bench {
namespace {

Options parse(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const auto value = [&]() -> std::string {
      if (i + 1 == argc) {
        throw std::invalid_argument(argument + " needs a value");
      }
      return argv[++i];
    };
    if (argument == "--smoke") {
      options.smoke = true;
    } else if (argument == "--short") {
      options.isShort = true;
    } else if (argument == "--small-pages") {
      options.smallPages = true;
    } else if (argument == "--clips") {
      options.clips = value();
    } else if (argument == "--folder") {
      options.folder = value();
    } else if (argument == "--only") {
      options.only = value();
    } else if (argument.find_first_not_of("0123456789") == std::string::npos) {
      options.count = std::stoul(argument);
    } else {
      throw std::invalid_argument("unknown argument " + argument);
    }
  }
  return options;
}

}  // namespace

int runProgram(int argc, char** argv, void (*program)(const Options&)) {
  std::string made;
  int result = EXIT_SUCCESS;
  try {
    Options options = parse(argc, argv);
    if (options.smallPages) {
      ::prctl(PR_SET_THP_DISABLE, 1, 0, 0, 0);  // for programs that are started as well
    }
    if (options.folder.empty()) {
      const std::filesystem::path temporary = std::filesystem::temp_directory_path();
      options.folder = made = temporary / ("vx-bench-" + std::to_string(::getpid()));
    }
    std::filesystem::create_directories(options.folder);
    program(options);
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "%s: %s\n", argv[0], problem.what());
    result = EXIT_FAILURE;
  }
  if (!made.empty()) {
    std::error_code ignored;
    std::filesystem::remove_all(made, ignored);
  }
  return result;
}

}  // namespace bench
