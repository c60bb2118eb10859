#include "result.h"

#include <array>
#include <cstdio>

namespace vxrecord {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

std::string printed(const char* format, double number) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), format, number);
  return text.data();
}

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

std::string textOrNull(const std::optional<std::string>& text) {
  return text ? jsonText(*text) : "null";
}

}  // namespace

std::string jsonText(std::string_view text) {
  std::string result = "\"";
  while (!text.empty()) {
    const std::size_t length = sequenceLength(text);
    if (length == 0) {
      result += kReplacement;
    } else if (length == 1) {
      result += escaped(text.front());
    } else {
      result += text.substr(0, length);
    }
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return result += '"';
}

std::string readableSize(std::uint64_t bytes) {
  constexpr double kUnit = 1000;
  const auto size = static_cast<double>(bytes);
  if (size < kUnit) {
    return std::to_string(bytes) + " B";
  }
  if (size < kUnit * kUnit) {
    return printed("%.1f kB", size / kUnit);
  }
  if (size < kUnit * kUnit * kUnit) {
    return printed("%.1f MB", size / (kUnit * kUnit));
  }
  return printed("%.2f GB", size / (kUnit * kUnit * kUnit));
}

ExitStatus exitStatusOf(const RunResult& result) {
  return result.isDone && !result.error ? ExitStatus::done : ExitStatus::recordingFailed;
}

std::string asJson(const RunResult& result) {
  std::string json = "{\"file\": " + textOrNull(result.file);
  json += std::string(", \"outcome\": ") + (result.isDone ? "\"done\"" : "\"failed\"");
  json += ", \"frames\": " + std::to_string(result.frames);
  json += ", \"dropped\": " + std::to_string(result.dropped);
  json += ", \"durationMs\": " + std::to_string(result.durationMs);
  json += ", \"bytes\": " + std::to_string(result.bytes);
  json += ", \"seconds\": " + printed("%.3f", result.seconds);
  json += ", \"error\": " + textOrNull(result.error);
  return json += "}";
}

std::string asSentence(const RunResult& result) {
  return "recorded " + std::to_string(result.frames) + " frames, " +
         printed("%.3f s", static_cast<double>(result.durationMs) / 1000) + ", " +
         readableSize(result.bytes) + ", dropped " + std::to_string(result.dropped) + ": " +
         result.file.value_or("");
}

}  // namespace vxrecord
