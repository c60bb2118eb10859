#include "report_text.h"

#include <array>
#include <cstdio>

namespace vxapps {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

/// Length of the well-formed UTF-8 sequence at the front of `text`; 0 when there is none.
std::size_t sequenceLength(std::string_view text) {
  const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  if (first < 0x80) {
    return 1;
  }
  const std::size_t length = first >= 0xC2 && first <= 0xDF   ? 2
                             : first >= 0xE0 && first <= 0xEF ? 3
                             : first >= 0xF0 && first <= 0xF4 ? 4
                                                              : 0;
  if (length == 0 || text.size() < length) {
    return 0;
  }
  const unsigned char second = byte(1);
  const unsigned low = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;   // no overlong forms
  const unsigned high = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;  // no surrogates
  if (second < low || second > high) {
    return 0;
  }
  for (std::size_t i = 2; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) {
      return 0;
    }
  }
  return length;
}

std::string escaped(char character) {
  switch (character) {
    case '"':
      return "\\\"";
    case '\\':
      return "\\\\";
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      break;
  }
  if (static_cast<unsigned char>(character) >= 0x20) {
    return {character};
  }
  std::array<char, 8> text{};
  std::snprintf(text.data(), text.size(), "\\u%04x", static_cast<unsigned>(character));
  return text.data();
}

}  // namespace

const char* nameOf(VXRecordingState state) {
  switch (state) {
    case VXRecordingState::whole:
      return "whole";
    case VXRecordingState::interrupted:
      return "interrupted";
    case VXRecordingState::damaged:
      return "damaged";
    case VXRecordingState::recording:
      return "recording";
    case VXRecordingState::empty:
      return "empty";
    case VXRecordingState::foreign:
      break;
  }
  return "foreign";
}

std::string printed(const char* format, double number) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), format, number);
  return text.data();
}

std::string counted(std::uint64_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string secondsOf(std::int64_t milliseconds) {
  return printed("%.3f s", static_cast<double>(milliseconds) / 1000);
}

std::string asUtf8(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = sequenceLength(text);
    result += length == 0 ? kReplacement : text.substr(0, length);
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return result;
}

std::string jsonText(std::string_view text) {
  std::string result = "\"";
  for (const char character : asUtf8(text)) {
    result += escaped(character);
  }
  return result += '"';
}

std::string jsonTextOrNull(const std::optional<std::string>& text) {
  return text ? jsonText(*text) : "null";
}

}  // namespace vxapps
