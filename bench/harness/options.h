// The arguments that every benchmark takes.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace bench {

struct Size {
  std::uint32_t width;
  std::uint32_t height;
};

struct Options {
  bool smoke = false;       // --smoke: a few frames, to see that it runs
  bool isShort = false;     // --short: fewer frames and rounds
  bool smallPages = false;  // --small-pages: how much memory large ones take is a matter of luck
  std::string clips;        // --clips DIR: where the desktop's frames are; none skips them
  std::string folder;       // --folder DIR: for recordings; a temporary one without it
  std::string only;         // --only TEXT: the cases whose name contains it
  unsigned long count = 0;  // a number: what it counts is the program's; 0 leaves it to the program

  /// Of the three sizes of a run, the one that was asked for.
  template <typename T>
  T pick(T full, T shorter, T smallest) const {
    return smoke ? smallest : isShort ? shorter : full;
  }
  /// Widths and heights of 1080p and 4K; a smoke run makes do with small ones.
  std::array<Size, 2> sizes() const {
    return smoke ? std::array<Size, 2>{{{320, 180}, {640, 360}}}
                 : std::array<Size, 2>{{{1920, 1080}, {3840, 2160}}};
  }
  bool wants(const std::string& subject) const { return subject.find(only) != std::string::npos; }
};

/// Runs a benchmark with what the command line says, in a folder that is removed in the end.
/// Returns main's result; what is thrown becomes a line on standard error.
int runProgram(int argc, char** argv, void (*program)(const Options&));

}  // namespace bench
