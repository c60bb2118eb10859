#include "report.h"

#include "report_text.h"

using namespace vxapps;

namespace vxrepair {
namespace {

const char* wordFor(FileReport::Outcome outcome) {
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
    text += "  left out, as still being written: " + counted(found.tornBytes(), "byte", "bytes") +
            " at the end\n";
  if (found.damagedPartCount() > 0)
    text += "  left out, as damaged: " + counted(found.damagedPartCount(), "part", "parts") + "\n";
  if (const std::uint64_t frames = found.videoTrack() ? found.videoTrack()->leftOutSamples : 0)
    text += "  left out, as not to be shown without what is damaged before: " +
            counted(frames, "frame", "frames") + "\n";
  return text;
}

}  // namespace

std::string asJson(const FileReport& report) {
  const VXRecordingInspection* found = report.found ? &*report.found : nullptr;
  const VXRecordedTrack none;
  const VXRecordedTrack& video =
      found != nullptr && found->videoTrack() ? *found->videoTrack() : none;
  const VXRecordedTrack& audio =
      found != nullptr && found->audioTrack() ? *found->audioTrack() : none;
  const auto number = [](auto value) { return std::to_string(value); };
  std::string json = "{\"file\": " + jsonText(report.file);
  json += std::string(", \"outcome\": \"") + wordFor(report.outcome) + "\"";
  json += ", \"state\": ";
  json += found == nullptr ? "null" : jsonText(nameOf(found->state()));
  json += ", \"frames\": " + number(video.sampleCount);
  json += ", \"sounds\": " + number(audio.sampleCount);
  json += ", \"durationMs\": " + number(found == nullptr ? 0 : found->durationMs());
  json += ", \"tornBytes\": " + number(found == nullptr ? 0 : found->tornBytes());
  json += ", \"damagedParts\": " + number(found == nullptr ? 0 : found->damagedPartCount());
  json += ", \"leftOutFrames\": " + number(video.leftOutSamples);
  json += ", \"error\": " + jsonTextOrNull(report.error);
  return json += "}";
}

std::string asText(const FileReport& report) {
  std::string text = report.file + ": " + sentenceFor(report.outcome);
  if (!report.found) return text + "\n";
  text += ": " + contentsOf(*report.found) + "\n";
  return report.outcome == FileReport::Outcome::whole ? text : text + lossesOf(*report.found);
}

}  // namespace vxrepair
