#include <algorithm>
#include <array>
#include <cstdio>

#include "report_text.h"
#include "verify.h"

using namespace vxapps;

namespace vxrecord {
namespace {

/// The picture that is shown for the longest time; the first of several.
struct LongestFrame {
  std::int64_t atMs = 0;
  std::int64_t durationMs = -1;
};

LongestFrame longestOf(const VXRecordingInspection& recording) {
  LongestFrame longest;
  recording.enumerateVideoSamples([&](const VXRecordedSample& sample) {
    if (sample.duration > longest.durationMs) {
      longest = {sample.time, sample.duration};
    }
    return true;
  });
  return longest;
}

std::string picturesOf(const VXRecordedTrack& video) {
  std::string text = counted(video.sampleCount, "frame", "frames") + ", " +
                     std::to_string(video.width) + "x" + std::to_string(video.height);
  if (video.rotationDegrees != 0) {
    text += " turned by " + std::to_string(video.rotationDegrees) + "°";
  }
  return text + ", " + counted(video.keyFrameCount, "key frame", "key frames");
}

std::string soundOf(const VXRecordedTrack& audio) {
  std::string text = std::to_string(audio.timescale) + " Hz, " +
                     counted(audio.channels, "channel", "channels") + ", from " +
                     clockText(audio.startMs) + " to " + clockText(audio.durationMs);
  if (audio.trimAtStart > 0) {
    text += ", " + secondsOf(std::int64_t{audio.trimAtStart} * 1000 / audio.timescale) +
            " before that not heard";
  }
  return text;
}

std::string blackOf(const Verification& verification) {
  if (verification.blackTrouble) {
    return "unknown: " + *verification.blackTrouble;
  }
  constexpr std::size_t kMostShown = 10;
  std::string text = verification.black.empty() ? "none" : "";
  for (std::size_t i = 0; i < verification.black.size(); ++i) {
    if (i == kMostShown) {
      return text + " and " + std::to_string(verification.black.size() - i) + " more";
    }
    const TimeSpan& span = verification.black[i];
    text += (i == 0 ? "" : ", ") + std::to_string(span.lengthMs()) + " ms at " +
            clockText(span.startMs);
  }
  return text;
}

void addLine(std::string& text, const char* name, const std::string& value) {
  std::array<char, 32> start{};
  std::snprintf(start.data(), start.size(), "  %-10s ", name);
  text += start.data() + value + "\n";
}

std::string listOf(const std::vector<TimeSpan>& spans) {
  std::string list = "[";
  for (const TimeSpan& span : spans) {
    list += std::string(list.size() > 1 ? ", " : "") +
            "{\"atMs\": " + std::to_string(span.startMs) +
            ", \"durationMs\": " + std::to_string(span.lengthMs()) + "}";
  }
  return list + "]";
}

std::string audioObject(const std::optional<VXRecordedTrack>& audio) {
  if (!audio) {
    return "null";
  }
  return "{\"samples\": " + std::to_string(audio->sampleCount) +
         ", \"sampleRate\": " + std::to_string(audio->timescale) +
         ", \"channels\": " + std::to_string(audio->channels) +
         ", \"startMs\": " + std::to_string(audio->startMs) +
         ", \"endMs\": " + std::to_string(audio->durationMs) +
         ", \"trimAtStart\": " + std::to_string(audio->trimAtStart) + "}";
}

std::string videoObject(const Verification& verification) {
  const auto& video = verification.recording.videoTrack();
  if (!video) {
    return "null";
  }
  const LongestFrame longest = longestOf(verification.recording);
  return "{\"frames\": " + std::to_string(video->sampleCount) +
         ", \"keyFrames\": " + std::to_string(video->keyFrameCount) +
         ", \"width\": " + std::to_string(video->width) +
         ", \"height\": " + std::to_string(video->height) +
         ", \"rotationDegrees\": " + std::to_string(video->rotationDegrees) +
         ", \"startMs\": " + std::to_string(video->startMs) +
         ", \"endMs\": " + std::to_string(video->durationMs) +
         ", \"longestFrameMs\": " + std::to_string(std::max<std::int64_t>(longest.durationMs, 0)) +
         ", \"longestFrameAtMs\": " + std::to_string(longest.atMs) +
         ", \"black\": " + (verification.blackTrouble ? "null" : listOf(verification.black)) + "}";
}

}  // namespace

std::string asText(const std::string& path, const Verification& verification) {
  const VXRecordingInspection& recording = verification.recording;
  std::string text = path + ": " + nameOf(recording.state()) + "\n";
  text += "  " + recording.localizedDescription() + "\n";
  if (!recording.videoTrack()) {
    return text;
  }
  addLine(text, "duration",
          clockText(recording.durationMs()) + ", " + readableSize(recording.sizeBytes()));
  addLine(text, "pictures", picturesOf(*recording.videoTrack()));
  if (const LongestFrame longest = longestOf(recording); longest.durationMs >= 0) {
    addLine(text, "longest",
            std::to_string(longest.durationMs) + " ms at " + clockText(longest.atMs));
  }
  addLine(text, "black", blackOf(verification));
  addLine(text, "sound", recording.audioTrack() ? soundOf(*recording.audioTrack()) : "none");
  if (recording.damagedPartCount() > 0) {
    addLine(text, "damaged",
            counted(recording.damagedPartCount(), "part", "parts") + ", the first at byte " +
                std::to_string(recording.damagedParts().front().offset));
  }
  if (recording.tornBytes() > 0) {
    addLine(text, "torn", counted(recording.tornBytes(), "byte", "bytes") + " at the end");
  }
  return text;
}

std::string asJson(const std::string& path, const Verification& verification) {
  const VXRecordingInspection& recording = verification.recording;
  std::string json = "{\"file\": " + jsonText(path);
  json += ", \"state\": " + jsonText(nameOf(recording.state()));
  json += std::string(", \"isWhole\": ") + (verification.isWhole() ? "true" : "false");
  json += std::string(", \"canBeRepaired\": ") + (recording.canBeRepaired() ? "true" : "false");
  json += ", \"durationMs\": " + std::to_string(recording.durationMs());
  json += ", \"bytes\": " + std::to_string(recording.sizeBytes());
  json += ", \"video\": " + videoObject(verification);
  json += ", \"audio\": " + audioObject(recording.audioTrack());
  json += ", \"damagedParts\": " + std::to_string(recording.damagedPartCount());
  json += ", \"tornBytes\": " + std::to_string(recording.tornBytes());
  json += ", \"text\": " + jsonText(recording.localizedDescription());
  return json + "}";
}

namespace {

/// Stretches of sound without a gap. A sound that lasts longer than the others stands before one.
class SoundStretches {
 public:
  SoundStretches(const VXRecordedTrack& track, Timeline& timeline)
      : _track(track), _timeline(timeline) {}
  void add(const VXRecordedSample& sample) {
    _usual = _usual == 0 ? sample.duration : std::min(_usual, std::max(sample.duration, 1U));
    if (!_hasStart) {
      begin(sample.time);
    }
    if (sample.time > _end) {
      end();
      begin(sample.time);
    }
    _end = sample.time + std::min(sample.duration, _usual);
  }
  void end() {
    if (!_hasStart) {
      return;
    }
    const std::int64_t heardFrom = std::max(msOf(_start), _track.startMs);
    const std::int64_t until = std::min(msOf(_end), _track.durationMs);
    if (std::max<std::int64_t>(msOf(_start), 0) < heardFrom) {
      _timeline.unheard.push_back(
          {std::max<std::int64_t>(msOf(_start), 0), std::min(heardFrom, msOf(_end))});
    }
    if (heardFrom < until) {
      _timeline.sound.push_back({heardFrom, until});
    }
  }

 private:
  void begin(std::int64_t time) {
    _start = time;
    _end = time;
    _hasStart = true;
  }
  // Second by second: times that a damaged file claims have no room to be multiplied.
  std::int64_t msOf(std::int64_t time) const {
    const std::int64_t rate = _track.timescale;
    return time / rate * 1000 + time % rate * 1000 / rate;
  }

  const VXRecordedTrack& _track;
  Timeline& _timeline;
  std::uint32_t _usual = 0;
  std::int64_t _start = 0;
  std::int64_t _end = 0;
  bool _hasStart = false;
};

}  // namespace

Timeline timelineOf(const std::string& path, const Verification& verification) {
  const VXRecordingInspection& recording = verification.recording;
  Timeline timeline;
  timeline.title = asUtf8(path.substr(path.rfind('/') + 1));
  timeline.durationMs = recording.durationMs();
  timeline.subtitle = nameOf(recording.state());
  if (!recording.videoTrack()) {
    return timeline;
  }
  timeline.subtitle += ", " + clockText(recording.durationMs()) + ", " +
                       picturesOf(*recording.videoTrack()) + ", " +
                       readableSize(recording.sizeBytes());
  timeline.frames.reserve(recording.videoTrack()->sampleCount);
  recording.enumerateVideoSamples([&](const VXRecordedSample& sample) {
    timeline.frames.push_back({sample.time, sample.duration, sample.isKeyFrame});
    return true;
  });
  timeline.black = verification.black;
  if (recording.audioTrack()) {
    timeline.hasSound = true;
    SoundStretches stretches(*recording.audioTrack(), timeline);
    recording.enumerateAudioSamples([&](const VXRecordedSample& sample) {
      stretches.add(sample);
      return true;
    });
    stretches.end();
  }
  return timeline;
}

}  // namespace vxrecord
