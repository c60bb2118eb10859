// One small recording whose samples are all known, on a real file, and the question whether what is
// left of it holds what was promised.
#pragma once

#include "platform/avfoundation/mp4/recording_file.h"
#include "support/movie_checker.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace vx::test {

struct RecordingPlan {
  std::size_t fragments = 4;
  std::size_t picturesPerFragment = 4;  // 40 ms each
  std::size_t soundsPerFragment = 5;    // from the second fragment on; 0 for none at all
  bool finishes = true;
};

/// What was accepted, and what a commit that succeeded has promised.
struct SampleCounts {
  std::size_t pictures = 0;
  std::size_t sounds = 0;
};

struct RecordingOutcome {
  Status created;
  Status begun;
  Status firstFailure;  // of any call after `begin`
  Status finished;
  bool allFailuresAreTheSame = true;  // the first one is kept and told again
  SampleCounts accepted;
  SampleCounts committed;
};

using CommitListener = std::function<void(const SampleCounts&)>;

/// Records by `plan` into `path`. With a listener: told when the head and when each fragment is
/// committed.
RecordingOutcome makeRecording(const std::string& path, const RecordingPlan& plan = {},
                               const CommitListener& committed = {});

/// Whether `file` is a sound movie that holds the first pictures and sounds of a recording, with
/// their bytes and times and at least as many as were promised: a text for each thing that is
/// wrong.
std::vector<std::string> whatIsWrong(ByteView file, const SampleCounts& promised,
                                     const SampleCounts& accepted);

/// The form that the checker finds, and how many pictures and sounds.
struct FoundMovie {
  MovieForm form = MovieForm::none;
  SampleCounts samples;
};
FoundMovie findMovie(ByteView file);

}  // namespace vx::test
