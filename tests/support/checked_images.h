// Images of movies for the tests of the checker, and ways to spoil them.
#pragma once

#include "platform/avfoundation/mp4/journal_file.h"
#include "platform/avfoundation/mp4/movie_file.h"
#include "platform/avfoundation/mp4/movie_fixture.h"
#include "support/movie_checker.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>

namespace vx::test {

enum class Finish { no, yes };

/// Three fragments, nine pictures, sounds from the second fragment on.
inline Bytes makeMovieImage(Finish finish) {
  using namespace vx::mp4::test;
  auto journal = std::make_shared<Journal>();
  vx::mp4::MovieFile file(std::make_unique<JournalFile>(journal));
  EXPECT_TRUE(file.begin(videoTrack(smallSource(), 64, 48), true).ok());
  for (std::size_t i = 0; i < 9; ++i) {
    EXPECT_TRUE(
        file.appendVideo(picture(smallSource(), i, static_cast<std::int64_t>(i) * 40, 40)).ok());
    if (i == 3) {
      EXPECT_TRUE(file.declareAudio(audioTrack()).ok());
    }
    if (i > 3) {
      EXPECT_TRUE(file.appendAudio(sound(0)).ok());
    }
    if (i % 3 == 2) {
      EXPECT_TRUE(file.commit().ok());
    }
  }
  if (finish == Finish::yes) {
    EXPECT_TRUE(file.finish(360).ok());
  }
  return journal->image();
}

inline void put32(Bytes& image, std::uint64_t offset, std::uint32_t value) {
  for (int i = 0; i < 4; ++i)
    image.at(offset + static_cast<std::uint64_t>(i)) =
        static_cast<std::uint8_t>(value >> (24 - 8 * i));
}

/// Where the field `fieldOffset` bytes into the payload of a box stands in the file.
inline std::uint64_t fieldAt(const Bytes& image, const std::string& path, std::size_t fieldOffset,
                             std::size_t number = 0) {
  const BoxNode root = readBoxes(image);
  const BoxNode* box = root.find(path, number);
  EXPECT_NE(box, nullptr) << path;
  return box == nullptr ? 0 : box->offset + box->headerBytes + fieldOffset;
}

/// The findings once a field has another value.
inline std::vector<std::string> findingsWith(Bytes image, const std::string& path,
                                             std::size_t fieldOffset, std::uint32_t value) {
  put32(image, fieldAt(image, path, fieldOffset), value);
  return checkMovie(image).findings;
}

inline auto finding(const std::string& text) { return testing::Contains(testing::HasSubstr(text)); }

}  // namespace vx::test
