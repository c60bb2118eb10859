#include "support/checked_images.h"
#include "support/movie_checker.h"

#include <gtest/gtest.h>

namespace vx::test {
namespace {

using testing::IsEmpty;

const Bytes& growing() {
  static const Bytes image = makeMovieImage(Finish::no);
  return image;
}

TEST(MovieChecker, FindsNothingInAGrowingMovie) {
  const CheckedMovie movie = checkMovie(growing());
  EXPECT_THAT(movie.findings, IsEmpty());
  EXPECT_EQ(movie.form, MovieForm::fragmented);
  EXPECT_EQ(movie.fragmentCount, 3u);
  ASSERT_NE(movie.video(), nullptr);
  ASSERT_NE(movie.audio(), nullptr);
  EXPECT_EQ(movie.video()->samples.size(), 9u);
  EXPECT_EQ(movie.audio()->samples.size(), 5u);
  EXPECT_EQ(movie.video()->samples[8].time, 320);
}

TEST(MovieChecker, YieldsTheSameSamplesBeforeAndAfterTheFinish) {
  const Bytes plain = makeMovieImage(Finish::yes);
  const auto before = checkMovie(growing());
  const auto after = checkMovie(plain);
  for (const char* handler : {"vide", "soun"}) {
    const auto& samples = before.track(handler)->samples;
    ASSERT_EQ(samples.size(), after.track(handler)->samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i) {
      const CheckedSample& other = after.track(handler)->samples[i];
      EXPECT_EQ(samples[i].time, other.time);
      EXPECT_EQ(samples[i].offset, other.offset);
      EXPECT_EQ(samples[i].sizeBytes, other.sizeBytes);
      EXPECT_EQ(samples[i].isSync, other.isSync);
    }
  }
}

// ---- an end that was never finished --------------------------------------------------------

std::uint64_t lastFragmentAt(const Bytes& image) {
  const BoxNode root = readBoxes(image);
  return root.find("moof", 2)->offset;
}

TEST(MovieChecker, PassesOverATornEndOnlyWhenAsked) {
  Bytes image = growing();
  const std::uint64_t last = lastFragmentAt(image);
  image.resize(last + 5);
  EXPECT_THAT(checkMovie(image).findings, finding("beyond the end"));
  const CheckedMovie movie = checkMovie(image, FileEnd::mayBeTorn);
  EXPECT_THAT(movie.findings, IsEmpty());
  EXPECT_EQ(movie.wholeBytes, last);
  EXPECT_EQ(movie.video()->samples.size(), 6u);
}

TEST(MovieChecker, PassesOverATornBoxThatReadersSkip) {
  Bytes image = growing();
  const std::uint64_t last = lastFragmentAt(image);
  std::copy_n("free", 4, image.begin() + static_cast<std::ptrdiff_t>(last) + 4);
  for (std::size_t size = image.size(); size > last; --size) {
    image.resize(size);
    EXPECT_THAT(checkMovie(image, FileEnd::mayBeTorn).findings, IsEmpty()) << size;
  }
}

TEST(MovieChecker, FindsAPublishedFragmentThatIsTorn) {
  Bytes image = growing();
  image.resize(lastFragmentAt(image) + 20);
  EXPECT_THAT(checkMovie(image, FileEnd::mayBeTorn).findings, finding("beyond the end"));
}

TEST(MovieChecker, FindsAPublishedFragmentWhoseMediaIsTorn) {
  Bytes image = growing();
  image.resize(image.size() - 60);
  EXPECT_THAT(checkMovie(image, FileEnd::mayBeTorn).findings, finding("inside an mdat"));
}

TEST(MovieChecker, PassesOverZerosBehindTheLastFragment) {
  Bytes image = growing();
  image.resize(image.size() + 4096);
  EXPECT_THAT(checkMovie(image, FileEnd::mayBeTorn).findings, IsEmpty());
}

// ---- fields --------------------------------------------------------------------------------

struct Spoiled {
  const char* name;
  const char* path;
  std::size_t fieldOffset;
  std::uint32_t value;
  const char* finding;
};
class MovieCheckerFragment : public testing::TestWithParam<Spoiled> {};

TEST_P(MovieCheckerFragment, IsFoundWrong) {
  const Spoiled& each = GetParam();
  EXPECT_THAT(findingsWith(growing(), each.path, each.fieldOffset, each.value),
              finding(each.finding));
}

INSTANTIATE_TEST_SUITE_P(
    Each, MovieCheckerFragment,
    testing::Values(
        Spoiled{"Defaults", "moov/mvex/trex", 4, 9, "no trex for track 1"},
        Spoiled{"DefaultDescription", "moov/mvex/trex", 8, 2, "description that stsd has not"},
        Spoiled{"Number", "moof/mfhd", 4, 7, "numbers do not rise"},
        Spoiled{"Track", "moof/traf/tfhd", 4, 9, "belongs to track 9"},
        Spoiled{"Base", "moof/traf/tfhd", 0, 0, "another track's data"},
        Spoiled{"HeaderLength", "moof/traf/tfhd", 0, 0x020008, "tfhd has not the length"},
        Spoiled{"Time", "moof/traf/tfdt", 8, 1000, "before the end of the one before"},
        Spoiled{"HugeTime", "moof/traf/tfdt", 4, 0x7FFFFFFF, "cannot be meant"},
        Spoiled{"RunLength", "moof/traf/trun", 4, 0x7FFFFFFF, "exactly the samples"},
        Spoiled{"RunOfNothing", "moof/traf/trun", 0, 0x000001, "exactly the samples"},
        Spoiled{"Offset", "moof/traf/trun", 8, 0xFFFFFF00, "does not lie inside an mdat"},
        Spoiled{"SampleSize", "moof/traf/trun", 16, 0x00FFFFFF, "does not lie inside an mdat"},
        Spoiled{"SampleFlags", "moof/traf/trun", 20, 0x01010000, "is not announced"}),
    [](const auto& each) { return each.param.name; });

TEST(MovieChecker, FindsFragmentsThatNothingAnnounces) {
  Bytes image = growing();
  put32(image, fieldAt(image, "moov/mvex", 0) - 4, 0x66726565);
  EXPECT_THAT(checkMovie(image).findings, finding("no mvex announces"));
}

}  // namespace
}  // namespace vx::test
