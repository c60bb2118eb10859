#include "platform/foundation/utf8.h"

#include <algorithm>
#include <cstddef>

namespace vx {
namespace {

using Byte = unsigned char;

// What may follow a lead byte: how many bytes, and the range of the first of them, which rules out
// overlong forms, surrogates and values above U+10FFFF (Unicode, table 3-7).
struct Continuation {
  std::size_t length = 0;  // 0: no lead byte
  Byte lowest = 0x80;
  Byte highest = 0xBF;
};

Continuation continuationOf(Byte lead) {
  if (lead >= 0xC2 && lead <= 0xDF) {
    return {.length = 1};
  }
  if (lead >= 0xE0 && lead <= 0xEF) {
    return {.length = 2,
            .lowest = Byte(lead == 0xE0 ? 0xA0 : 0x80),
            .highest = Byte(lead == 0xED ? 0x9F : 0xBF)};
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    return {.length = 3,
            .lowest = Byte(lead == 0xF0 ? 0x90 : 0x80),
            .highest = Byte(lead == 0xF4 ? 0x8F : 0xBF)};
  }
  return {};
}

bool isTrailing(char c) { return (static_cast<Byte>(c) & 0xC0) == 0x80; }
bool isBeyondASCII(char c) { return static_cast<Byte>(c) >= 0x80; }

}  // namespace

bool isValidUTF8(std::string_view text) {
  const char* at = text.data();
  const char* const end = at + text.size();
  while ((at = std::find_if(at, end, isBeyondASCII)) != end) {
    const Continuation wanted = continuationOf(static_cast<Byte>(*at++));
    if (wanted.length == 0 || static_cast<std::size_t>(end - at) < wanted.length) {
      return false;
    }
    const Byte first = static_cast<Byte>(*at);
    if (first < wanted.lowest || first > wanted.highest ||
        !std::all_of(at, at + wanted.length, isTrailing)) {
      return false;
    }
    at += wanted.length;
  }
  return true;
}

}  // namespace vx
