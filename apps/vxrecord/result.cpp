#include "result.h"

#include "report_text.h"
#include "standard_output.h"

using namespace vxapps;

namespace vxrecord {

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

ExitStatus answer(const std::string& text, ExitStatus status) {
  const bool isPrinted = printAll("vxrecord", text);
  return isPrinted || status != ExitStatus::done ? status : ExitStatus::recordingFailed;
}

std::string asJson(const RunResult& result) {
  std::string json = "{\"file\": " + jsonTextOrNull(result.file);
  json += std::string(", \"outcome\": ") + (result.isDone ? "\"done\"" : "\"failed\"");
  json += ", \"frames\": " + std::to_string(result.frames);
  json += ", \"dropped\": " + std::to_string(result.dropped);
  json += ", \"durationMs\": " + std::to_string(result.durationMs);
  json += ", \"bytes\": " + std::to_string(result.bytes);
  json += ", \"seconds\": " + printed("%.3f", result.seconds);
  json += ", \"error\": " + jsonTextOrNull(result.error);
  return json += "}";
}

std::string asSentence(const RunResult& result) {
  return "recorded " + std::to_string(result.frames) + " frames, " + secondsOf(result.durationMs) +
         ", " + readableSize(result.bytes) + ", dropped " + std::to_string(result.dropped) + ": " +
         result.file.value_or("");
}

}  // namespace vxrecord
