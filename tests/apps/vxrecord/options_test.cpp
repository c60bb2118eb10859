#include "options.h"

#include <gtest/gtest.h>

#include "support/pixel_formats.h"

namespace vxrecord {
namespace {

Options parsed(const std::vector<std::string>& words) { return parseCommandLine(words).options; }

TEST(Options, DefaultsAreTheRecorders) {
  const Options options = parsed({"a.mkv"});
  EXPECT_EQ(options.input, "a.mkv");
  EXPECT_FALSE(options.storagePath);
  EXPECT_FALSE(options.filename);
  EXPECT_EQ(options.index, 1u);
  EXPECT_EQ(options.folderLimitMegabytes, 0u);
  EXPECT_EQ(options.pixelFormat.code, vx::kCVPixelFormatType_420YpCbCr8Planar);
  EXPECT_FALSE(options.durationMs);
  EXPECT_EQ(options.talk, Talk::normal);
}

TEST(Options, ValuesStandBehindOrAreAttached) {
  EXPECT_EQ(parsed({"--index", "5", "a"}).index, 5u);
  EXPECT_EQ(parsed({"a", "--index=6"}).index, 6u);
  EXPECT_EQ(parsed({"--filename=x=y.mp4", "a"}).filename, "x=y.mp4");
  EXPECT_EQ(parsed({"--storage-path", "--strange", "a"}).storagePath, "--strange");
}

TEST(Options, SecondsBecomeMilliseconds) {
  EXPECT_EQ(parsed({"--duration", "2.5", "a"}).durationMs, 2500);
  EXPECT_EQ(parsed({"--duration", "1.001", "a"}).durationMs, 1001) << "the nearest millisecond";
  const Options options = parsed({"--pause-at=0", "--pause-for=.25", "a"});
  ASSERT_TRUE(options.pause);
  EXPECT_EQ(options.pause->atMs, 0);
  EXPECT_EQ(options.pause->forMs, 250);
}

TEST(Options, APauseHasAStartAndALength) {
  EXPECT_THROW(parsed({"--pause-at=1", "a"}), UsageError);
  EXPECT_THROW(parsed({"--pause-for=1", "a"}), UsageError);
}

TEST(Options, OneInputIsTaken) {
  EXPECT_THROW(parsed({"a", "b"}), UsageError);
  EXPECT_THROW(parsed({}), UsageError);
}

TEST(Options, FilenameIsNoFolder) {
  for (const char* name : {"", ".", "..", "a/b", "/a"}) {
    EXPECT_THROW(parsed({"--filename", name, "a"}), UsageError) << name;
  }
  EXPECT_EQ(parsed({"--filename", "..mp4", "a"}).filename, "..mp4");
}

TEST(Options, LastOneWins) { EXPECT_EQ(parsed({"--index=1", "--index=2", "a"}).index, 2u); }

TEST(Options, DashesEndTheOptions) {
  EXPECT_EQ(parsed({"--json", "--", "--json"}).input, "--json");
  EXPECT_EQ(parsed({"-"}).input, "-");
  EXPECT_THROW(parsed({"-dash.mkv"}), UsageError);
}

TEST(Options, HelpAndVersionNeedNothingElse) {
  EXPECT_EQ(parseCommandLine({"--help"}).action, Command::Action::showHelp);
  EXPECT_EQ(parseCommandLine({"--json", "--version", "--nonsense"}).action,
            Command::Action::showVersion);
}

TEST(Options, FlagsTakeNoValue) { EXPECT_THROW(parsed({"--json=yes", "a"}), UsageError); }

TEST(Options, AudioIsOffUnlessAskedFor) {
  EXPECT_FALSE(parsed({"a"}).audio);
  EXPECT_TRUE(parsed({"--audio", "a"}).audio);
  EXPECT_TRUE(parsed({"a", "--audio"}).audio);
  EXPECT_THROW(parsed({"--audio=aac", "a"}), UsageError);
}

TEST(Options, EachLetterVSaysMore) {
  EXPECT_EQ(parsed({"-v", "a"}).talk, Talk::verbose);
  EXPECT_EQ(parsed({"--verbose", "a"}).talk, Talk::verbose);
  EXPECT_EQ(parsed({"-vv", "a"}).talk, Talk::debug);
  EXPECT_EQ(parsed({"-v", "--verbose", "-v", "a"}).talk, Talk::debug);
  EXPECT_EQ(parsed({"-q", "a"}).talk, Talk::quiet);
  EXPECT_THROW(parsed({"-qv", "a"}), UsageError);
}

TEST(Options, LettersCountOnlyTogether) {
  EXPECT_THROW(parsed({"-hx", "a"}), UsageError);
  EXPECT_EQ(parseCommandLine({"-h"}).action, Command::Action::showHelp);
}

TEST(Options, ListsNeedNoInput) {
  EXPECT_EQ(parseCommandLine({"--list-displays"}).action, Command::Action::listDisplays);
  EXPECT_EQ(parseCommandLine({"--list-encoders"}).action, Command::Action::listEncoders);
}

TEST(Options, ListsHeedWhatStandsAroundThem) {
  EXPECT_EQ(parsed({"--list-encoders", "-v"}).talk, Talk::verbose);
  EXPECT_EQ(parsed({"-v", "--list-encoders"}).talk, Talk::verbose);
  EXPECT_THROW(parsed({"--list-encoders", "--nonsense"}), UsageError);
}

TEST(Options, EncoderIsTheBuildsUnlessNamed) {
  EXPECT_FALSE(parsed({"a"}).encoder);
  EXPECT_EQ(parsed({"--encoder", "auto", "a"}).encoder, "auto");
}

TEST(Options, QuietAndVerboseExcludeEachOther) {
  EXPECT_THROW(parsed({"--quiet", "--verbose", "a"}), UsageError);
  EXPECT_EQ(parsed({"--quiet", "--quiet", "a"}).talk, Talk::quiet);
}

TEST(Options, NumbersAreReadToTheirEnd) {
  for (const char* value : {"", " 1", "1 ", "1x", "+1", "-1", "0x10", "1e3", "4294967296"}) {
    EXPECT_THROW(parsed({"--index", value, "a"}), UsageError) << value;
  }
  for (const char* value : {"", "inf", "nan", "-1", "0", "1s", "1,5", "1e99"}) {
    EXPECT_THROW(parsed({"--duration", value, "a"}), UsageError) << value;
  }
}

TEST(PixelFormat, NamesCodesAndConstantsAreTaken) {
  for (const char* name : {"BGRA", "bgra", "32BGRA", "kCVPixelFormatType_32BGRA"}) {
    const auto format = pixelFormatNamed(name);
    ASSERT_TRUE(format) << name;
    EXPECT_EQ(format->code, vx::kCVPixelFormatType_32BGRA);
  }
  EXPECT_EQ(pixelFormatNamed("24BG")->code, vx::kCVPixelFormatType_24BGR);
  EXPECT_EQ(pixelFormatNamed("gray")->code, vx::kCVPixelFormatType_OneComponent8);
  EXPECT_EQ(pixelFormatNamed("yuvs")->code, vx::kCVPixelFormatType_422YpCbCr8_yuvs);
  EXPECT_FALSE(pixelFormatNamed("nv12"));
  EXPECT_FALSE(pixelFormatNamed(""));
}

TEST(PixelFormat, EveryOneOfTheRecorderIsTaken) {
  for (const vx::OSType code : kAllPixelFormats) {
    std::string characters;
    for (int shift = 24; shift >= 0; shift -= 8) {
      characters += static_cast<char>(code >> shift);
    }
    const auto format = pixelFormatNamed(characters);
    ASSERT_TRUE(format) << nameOfPixelFormat(code) << " is missing in pixel_format.cpp";
    EXPECT_EQ(format->code, code);
  }
}

TEST(PixelFormat, EveryNameInTheListIsTaken) {
  const std::string names = pixelFormatNames();
  EXPECT_EQ(names, "y420, BGRA, ARGB, RGBA, ABGR, RGB, BGR, 2vuy, yuvs, gray");
}

}  // namespace
}  // namespace vxrecord
