#include "platform/foundation/utf8.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

using namespace vx;

namespace {

// The encoding rule without its limits: what a lenient coder would write.
std::string encoded(char32_t code) {
  const auto tail = [code](int shift) {
    return static_cast<char>(0x80 | ((code >> shift) & 0x3F));
  };
  if (code < 0x80) {
    return {static_cast<char>(code)};
  }
  if (code < 0x800) {
    return {static_cast<char>(0xC0 | (code >> 6)), tail(0)};
  }
  if (code < 0x10000) {
    return {static_cast<char>(0xE0 | (code >> 12)), tail(6), tail(0)};
  }
  return {static_cast<char>(0xF0 | (code >> 18)), tail(12), tail(6), tail(0)};
}

TEST(UTF8, HoldsEveryCharacterButSurrogates) {
  for (char32_t code = 0; code < 0x120000; ++code) {
    const bool isCharacter = code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
    ASSERT_EQ(isValidUTF8("a" + encoded(code) + "b"), isCharacter)
        << std::hex << static_cast<std::uint32_t>(code);
  }
}

TEST(UTF8, DoesNotHoldCutCharacters) {
  for (const char32_t code : {U'\u00e9', U'\u20ac', U'\U0001F600'}) {
    const std::string whole = encoded(code);
    for (std::size_t length = 1; length < whole.size(); ++length) {
      EXPECT_FALSE(isValidUTF8(whole.substr(0, length)));
      EXPECT_FALSE(isValidUTF8(whole.substr(0, length) + "a"));
      EXPECT_FALSE(isValidUTF8(whole.substr(length)));
    }
  }
}

TEST(UTF8, DoesNotHoldOverlongForms) {
  for (const char* text : {"\xc0\x80", "\xc1\xbf", "\xe0\x80\x80", "\xe0\x9f\xbf",
                           "\xf0\x80\x80\x80", "\xf0\x8f\xbf\xbf"}) {
    EXPECT_FALSE(isValidUTF8(text));
  }
}

TEST(UTF8, DoesNotHoldBytesThatBeginNothing) {
  for (const char* text : {"\x80", "\xbf", "\xf5\x80\x80\x80", "\xff", "\xfe"}) {
    EXPECT_FALSE(isValidUTF8(text));
  }
  EXPECT_TRUE(isValidUTF8(""));
}

}  // namespace
