// A recording file over any output: the tracks on one side, the commit order on the other.
#pragma once

#include "platform/avfoundation/mp4/fragment_committer.h"
#include "platform/avfoundation/mp4/recording_file.h"
#include "platform/avfoundation/mp4/track_recorder.h"

#include <memory>
#include <optional>
#include <string>

namespace vx::mp4 {

class MovieFile final : public RecordingFile {
 public:
  explicit MovieFile(std::unique_ptr<OutputFile> file);
  /// Leaves what was committed, without what was not.
  ~MovieFile() override;

  Status begin(const VideoTrackDescription& video, bool reserveAudio) override;
  Status declareAudio(const AudioTrackDescription& audio) override;
  Status appendVideo(const CodedSample& sample) override;
  Status appendAudio(const CodedSample& sample) override;
  std::size_t uncommittedBytes() const override;
  bool hasUncommittedSamples() const override;
  Status commit() override;
  Status finish(std::optional<std::int64_t> sessionEndMs) override;

 private:
  /// `full`: no room for more samples, but the file can be finished. `failed`: the disk cannot be
  /// trusted, and the file stays as it is.
  enum class State { created, recording, full, failed, finished };

  template <typename Step>
  Status guarded(Step step);
  Status requireRecording() const;
  Status append(TrackRecorder& track, const CodedSample& sample, std::int64_t time);
  Status commitPending();
  Status publishAudio();
  Status commitFragment();
  Status finishMovie(std::optional<std::int64_t> sessionEndMs);
  FinishedMovie finishedMovie(std::optional<std::int64_t> sessionEndMs) const;
  Status keepFirst(Status status);
  void giveUpPending();

  std::unique_ptr<OutputFile> _file;
  FragmentCommitter _committer;
  State _state = State::created;
  Status _firstError;

  std::uint64_t _creationTime = 0;
  VideoTrackDescription _video;
  std::optional<AudioTrackDescription> _audio;
  MovieHead _head;
  bool _isAudioPublished = false;
  TrackRecorder _videoTrack{kVideoTrackId};
  TrackRecorder _audioTrack{kAudioTrackId};
  std::uint32_t _sequenceNumber = 0;
};

}  // namespace vx::mp4
