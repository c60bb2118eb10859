// Recordings made by a plan, as a finish or a crash leaves them.
#pragma once

#include "journal_file.h"
#include "movie_fixture.h"
#include "platform/avfoundation/mp4/movie_file.h"

#include <gtest/gtest.h>

#include <utility>

namespace vx::mp4::test {

/// What a recording is made of.
struct Plan {
  VideoTrackDescription video = videoTrack(smallSource(), 64, 48);
  bool hasSound = true;
  std::int64_t firstPicture = 0;  // ms
  std::int64_t firstSound = 0;    // units of the sample rate
  std::uint32_t trimAtStart = 0;
  std::size_t fragments = 3;
};

/// Records by the plan; with `finish` completes, without it dies behind the last commit.
inline Bytes record(const Plan& plan, bool finish) {
  auto journal = std::make_shared<Journal>();
  std::size_t committedSteps = 0;
  {
    MovieFile file(std::make_unique<JournalFile>(journal));
    EXPECT_TRUE(file.begin(plan.video, plan.hasSound).ok());
    AudioTrackDescription audio = audioTrack();
    audio.trimAtStart = plan.trimAtStart;
    if (plan.hasSound) {
      EXPECT_TRUE(file.declareAudio(audio).ok());
    }
    std::size_t number = 0;
    for (std::size_t fragment = 0; fragment < plan.fragments; ++fragment) {
      for (int i = 0; i < 4; ++i, ++number) {
        const auto time = plan.firstPicture + static_cast<std::int64_t>(number * number * 7);
        EXPECT_TRUE(file.appendVideo(picture(smallSource(), number, time, 33)).ok());
      }
      for (int i = 0; plan.hasSound && i < 3; ++i)
        EXPECT_TRUE(file.appendAudio(sound(plan.firstSound)).ok());
      EXPECT_TRUE(file.commit().ok());
    }
    committedSteps = journal->steps.size();
    if (finish) {
      EXPECT_TRUE(file.finish(std::nullopt).ok());
    }
  }
  return finish ? journal->image() : journal->image(committedSteps);
}

/// The boxes that make the finished movie, without times of day.
inline std::string movieBoxes(const Bytes& bytes) {
  const BoxNode root = vx::test::readBoxes(bytes);
  return vx::test::dumpBoxes(root);
}

/// A fragment's place in the file.
inline std::pair<std::size_t, std::size_t> fragmentAt(std::size_t number) {
  Plan plan;
  plan.fragments = number;
  const std::size_t begin = record(plan, false).size();
  plan.fragments = number + 1;
  return {begin, record(plan, false).size()};
}

/// The same file with the type of a box changed, which begins at `offset`.
inline void setType(Bytes& bytes, std::uint64_t offset, std::string_view type) {
  std::copy(type.begin(), type.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset + 4));
}

}  // namespace vx::mp4::test
