#include "report.h"

#include <array>
#include <cstdio>

namespace vxrepair {
namespace {

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

const char* nameOf(FileReport::Outcome outcome) {
  switch (outcome) {
    case FileReport::Outcome::whole:
      return "whole";
    case FileReport::Outcome::repaired:
      return "repaired";
    case FileReport::Outcome::repairable:
      return "repairable";
    case FileReport::Outcome::notRepaired:
      break;
  }
  return "failed";
}

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

std::string contentsOf(const VXRecordingInspection& found) {
  const std::uint64_t frames = found.videoTrack() ? found.videoTrack()->sampleCount : 0;
  std::string text = counted(frames, "frame", "frames") + ", " + secondsOf(found.durationMs());
  if (found.audioTrack()) text += ", with sound";
  return text;
}

const char* sentenceFor(FileReport::Outcome outcome) {
  switch (outcome) {
    case FileReport::Outcome::whole:
      return "is complete, nothing to do";
    case FileReport::Outcome::repaired:
      return "was broken off and is complete now";
    default:
      return "was broken off and can be completed";
  }
}

/// What of the file is no part of the recording that comes of it.
std::string lossesOf(const VXRecordingInspection& found) {
  std::string text;
  if (found.tornBytes() > 0)
    text += "  the last " + counted(found.tornBytes(), "byte", "bytes") +
            " were still being written and are left out\n";
  const std::uint64_t leftOut = found.videoTrack() ? found.videoTrack()->leftOutSamples : 0;
  if (found.damagedPartCount() > 0)
    text += "  " + counted(found.damagedPartCount(), "part is", "parts are") +
            " damaged and left out; " + counted(leftOut, "frame", "frames") +
            " behind cannot be shown without them\n";
  return text;
}

std::string textOrNull(const std::optional<std::string>& text) {
  return text ? jsonText(*text) : "null";
}

/// Length of the well-formed UTF-8 sequence at the front of `text`; 0 when there is none.
std::size_t sequenceLength(std::string_view text) {
  const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  if (first < 0x80) return 1;
  std::size_t length = 0;
  if (first >= 0xC2 && first <= 0xDF) length = 2;
  if (first >= 0xE0 && first <= 0xEF) length = 3;
  if (first >= 0xF0 && first <= 0xF4) length = 4;
  if (length == 0 || text.size() < length) return 0;
  const unsigned low = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;   // no overlong forms
  const unsigned high = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;  // no surrogates
  if (byte(1) < low || byte(1) > high) return 0;
  for (std::size_t i = 2; i < length; ++i)
    if ((byte(i) & 0xC0) != 0x80) return 0;
  return length;
}

std::string escaped(char character) {
  if (character == '"' || character == '\\') return std::string("\\") + character;
  if (static_cast<unsigned char>(character) >= 0x20) return {character};
  std::array<char, 8> text{};
  std::snprintf(text.data(), text.size(), "\\u%04x", static_cast<unsigned>(character));
  return text.data();
}

}  // namespace

std::string jsonText(std::string_view text) {
  std::string result = "\"";
  while (!text.empty()) {
    const std::size_t length = sequenceLength(text);
    if (length == 0)
      result += "\xEF\xBF\xBD";
    else if (length == 1)
      result += escaped(text.front());
    else
      result += text.substr(0, length);
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return result += '"';
}

std::string asJson(const FileReport& report) {
  const VXRecordingInspection* found = report.found ? &*report.found : nullptr;
  const VXRecordedTrack none;
  const VXRecordedTrack& video =
      found != nullptr && found->videoTrack() ? *found->videoTrack() : none;
  const VXRecordedTrack& audio =
      found != nullptr && found->audioTrack() ? *found->audioTrack() : none;
  const auto number = [](auto value) { return std::to_string(value); };
  std::string json = "{\"file\": " + jsonText(report.file);
  json += std::string(", \"outcome\": \"") + nameOf(report.outcome) + "\"";
  json += ", \"state\": ";
  json += found == nullptr ? "null" : jsonText(nameOf(found->state()));
  json += ", \"frames\": " + number(video.sampleCount);
  json += ", \"sounds\": " + number(audio.sampleCount);
  json += ", \"durationMs\": " + number(found == nullptr ? 0 : found->durationMs());
  json += ", \"tornBytes\": " + number(found == nullptr ? 0 : found->tornBytes());
  json += ", \"damagedParts\": " + number(found == nullptr ? 0 : found->damagedPartCount());
  json += ", \"leftOutFrames\": " + number(video.leftOutSamples);
  json += ", \"error\": " + textOrNull(report.error);
  return json += "}";
}

std::string asText(const FileReport& report) {
  std::string text = report.file + ": " + sentenceFor(report.outcome);
  if (!report.found) return text + "\n";
  text += ": " + contentsOf(*report.found) + "\n";
  return report.outcome == FileReport::Outcome::whole ? text : text + lossesOf(*report.found);
}

}  // namespace vxrepair
