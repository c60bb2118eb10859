// Recordings that were broken off: what is in them, and how to complete them.
//
// A recording can be played at every moment, also after a crash, a kill or a power cut. What such a
// file lacks is the index that lets players jump in it at once and tell its length; a repair adds
// it. A host may look at its recordings at its next start and repair those that need it, or leave
// that to the program `vxrepair`. Nothing is ever repaired unasked.
#pragma once

#include "VXVideoRecorder/platform/Foundation.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#pragma GCC visibility push(default)

/// What a file is found to be.
enum class VXRecordingState : std::uint8_t {
  whole,        ///< a complete recording; nothing is to be done
  interrupted,  ///< broken off; it can be played, and a repair completes it
  damaged,      ///< not what the recorder wrote any more; `canBeRepaired` tells whether that helps
  recording,    ///< held by a recorder that still writes it, or by a repair
  empty,        ///< broken off before anything of it was stored; it can be deleted
  foreign,      ///< not a recording of this library
};

/// How thoroughly a complete recording is looked at. One that is not complete is always read to its
/// end.
enum class VXInspectionDepth : std::uint8_t {
  index,     ///< its index; takes as long as the number of its samples demands
  contents,  ///< the checksums of all its samples as well; reads the whole file
};

/// A track of a recording.
struct VXRecordedTrack {
  std::uint32_t timescale = 0;  ///< units of time a second: 1000 for pictures, else the sample rate
  std::uint64_t sampleCount = 0;
  std::uint64_t keyFrameCount = 0;
  std::uint64_t sizeBytes = 0;       ///< of all samples
  std::int64_t durationMs = 0;       ///< from the file's start to the track's end
  std::int64_t startMs = 0;          ///< when it is first seen or heard
  std::uint32_t longestSample = 0;   ///< the longest duration of a sample, in units of `timescale`
  std::uint64_t leftOutSamples = 0;  ///< pictures that cannot be shown for want of earlier ones

  std::uint32_t width = 0;  ///< pixels, before the turn
  std::uint32_t height = 0;
  int rotationDegrees = 0;  ///< how players turn the picture, clockwise

  std::uint16_t channels = 0;
  std::uint32_t trimAtStart =
      0;  ///< what of the sound's start is not heard, in units of `timescale`
};

/// One coded picture or sound.
struct VXRecordedSample {
  std::int64_t time = 0;       ///< on the file's timeline, in units of the track's `timescale`
  std::uint32_t duration = 0;  ///< until the next one
  std::uint32_t sizeBytes = 0;
  std::uint64_t offset = 0;  ///< of its bytes in the file
  bool isKeyFrame = false;
};

/// Bytes of a file that are not what the recorder wrote.
struct VXDamagedPart {
  std::uint64_t offset = 0;
  std::uint64_t sizeBytes = 0;
};

/// What was found in a file, as it was at that time. Cheap to copy.
/// Thread: any.
class VXRecordingInspection {
 public:
  struct Contents;
  explicit VXRecordingInspection(std::shared_ptr<const Contents> contents);

  VXRecordingState state() const;
  /// Whether a repair would change something for the better.
  bool canBeRepaired() const;
  /// What the state is and what to do about it, in one or two sentences.
  std::string localizedDescription() const;

  std::uint64_t sizeBytes() const;
  /// Of the recording; of one that is not complete, what a repair would make of it.
  std::int64_t durationMs() const;
  /// Absent only of a file that is empty or foreign.
  const std::optional<VXRecordedTrack>& videoTrack() const;
  /// Absent when there is no sound.
  const std::optional<VXRecordedTrack>& audioTrack() const;

  /// Bytes at the end of an interrupted recording that were being written when it was broken off.
  std::uint64_t tornBytes() const;
  /// Parts in the middle that cannot be trusted: the first thousand of them.
  const std::vector<VXDamagedPart>& damagedParts() const;
  std::uint64_t damagedPartCount() const;

  /// Calls `visit` for each picture, or sound, in the order of the file until it returns false.
  void enumerateVideoSamples(const std::function<bool(const VXRecordedSample&)>& visit) const;
  void enumerateAudioSamples(const std::function<bool(const VXRecordedSample&)>& visit) const;

 private:
  std::shared_ptr<const Contents> _contents;
};

/// What a repair has done.
struct VXRepairResult {
  bool isChanged = false;           ///< false: the recording was complete already
  VXRecordingInspection found;      ///< as it was before
  VXRecordingInspection recording;  ///< as it is now
};

class VXRecordingRepair {
 public:
  /// Reads a file and tells what it is; changes nothing. Every byte of the file may be wrong. A
  /// recording that is being written is read as far as it stands.
  /// Thread: any; reads files, blocking for as long as `depth` says.
  /// Memory: a fraction of the file's size, some bytes a sample.
  /// Errors: absent, and `error` (when not null) is filled, when the file cannot be read.
  static std::optional<VXRecordingInspection> inspectRecordingAtPath(
      const std::string& path, VXInspectionDepth depth,
      std::optional<vx::NSError>* error = nullptr);

  /// Completes a recording that was broken off, in its own file and by the steps in which a
  /// recorder finishes: what could be played before can be played at every moment, and a repair
  /// that was broken off can be repeated. Needs room for the index on the disk, and moves no
  /// picture or sound. A recording that is complete stays as it is.
  /// Thread: any, one repair of a file at a time; reads the file to its end and waits for the disk.
  /// Errors: absent, and `error` (when not null) is filled, for a file that is no recording, is
  /// empty, is being written, or is damaged beyond repair; when it cannot be read or written, and
  /// when the disk is full. The file can then be played as before.
  static std::optional<VXRepairResult> repairRecordingAtPath(
      const std::string& path, std::optional<vx::NSError>* error = nullptr);
};

#pragma GCC visibility pop
