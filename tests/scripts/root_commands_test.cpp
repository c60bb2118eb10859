// ./record, ./check and what the continuous integration runs: which steps they take, in which
// order, and how they end when one fails. Everything that they call is a stand-in that only says
// its name.
#include "support/program.h"
#include "support/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace vx::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class RootCommand : public testing::Test {
 protected:
  RootCommand() {
    for (const char* script :
         {"scripts/install-packages", "scripts/check-form", "scripts/check-tidy",
          "scripts/check-package", "scripts/run-fuzzers", "bin/cmake", "bin/ctest"}) {
      makeStandIn(script);
    }
  }

  /// A program that notes its name and its words; and fails when FAILING is its first two.
  void makeStandIn(const std::string& path) {
    fs::create_directories(fs::path(root / path).parent_path());
    std::ofstream(root / path) << "#!/bin/sh\n"
                                  "name=${0##*/}\n"
                                  "{ printf %s \"$name\"; [ $# -eq 0 ] || printf ' <%s>' \"$@\"; "
                                  "echo; } >>\"$NOTES\"\n"
                                  "[ \"$name $1\" != \"$FAILING\" ] || { echo \"$name: no\"; "
                                  "exit 7; }\n";
    fs::permissions(root / path, fs::perms(0755));
  }
  /// Copies a command of the repository to its place below the folder.
  void take(const std::string& path) {
    fs::create_directories(fs::path(root / path).parent_path());
    fs::copy_file(fs::path(VX_ROOT) / path, root / path);
  }
  ProgramResult run(const std::string& command, const std::vector<std::string>& words = {},
                    const std::string& failing = "none") {
    std::vector<std::string> arguments{root / command};
    arguments.insert(arguments.end(), words.begin(), words.end());
    return runProgram(arguments, {"PATH=" + root / "bin" + ":/usr/bin:/bin",
                                  "NOTES=" + root / "notes", "FAILING=" + failing});
  }
  std::string notes() const {
    std::ostringstream text;
    text << std::ifstream(root / "notes").rdbuf();
    return text.str();
  }

  TemporaryFolder root;
};

class RecordCommand : public RootCommand {
 protected:
  RecordCommand() {
    take("record");
    makeStandIn("build/record/apps/vxrecord/vxrecord");
  }
  const std::string kBuild =
      "install-packages <build>\n"
      "cmake <--preset> <record>\n"
      "cmake <--build> <--preset> <record>\n";
};

TEST_F(RecordCommand, WithoutWordsRecordsTenSecondsOfTheBuiltInPicture) {
  EXPECT_EQ(run("record").status, 0);
  EXPECT_EQ(notes(), kBuild + "vxrecord <--storage-path> <" + root / "recordings" +
                         "> <--duration> <10> <--realtime> <test:1280x720@30>\n");
  EXPECT_TRUE(root.has("recordings"));
}

TEST_F(RecordCommand, HandsItsWordsOnAsTheyAre) {
  EXPECT_EQ(run("record", {"--filename", "a b.mp4", "x11::0"}).status, 0);
  EXPECT_EQ(notes(), kBuild + "vxrecord <--filename> <a b.mp4> <x11::0>\n");
  EXPECT_FALSE(root.has("recordings"));
}

TEST_F(RecordCommand, EndsAsTheRecordingDoes) {
  EXPECT_EQ(run("record", {"wrong"}, "vxrecord wrong").status, 7);
}

TEST_F(RecordCommand, ShowsWhyTheBuildFailed) {
  const ProgramResult result = run("record", {}, "cmake --build");
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.errors, HasSubstr("cmake: no\nThe build failed; the whole log is " +
                                       root / "build/record.log"));
  EXPECT_EQ(notes(), kBuild);
}

TEST_F(RecordCommand, EndsWhenPackagesAreMissing) {
  EXPECT_EQ(run("record", {}, "install-packages build").status, 7);
  EXPECT_EQ(notes(), "install-packages <build>\n");
}

class CheckCommand : public RootCommand {
 protected:
  CheckCommand() { take("check"); }
  static std::string preset(const std::string& name) {
    return "cmake <--preset> <" + name + ">\ncmake <--build> <--preset> <" + name +
           ">\nctest <--preset> <" + name + ">\n";
  }
  const std::string kInstall = "install-packages <build> <examples> <reference> <test>\n";
};

TEST_F(CheckCommand, RunsEveryStage) {
  EXPECT_EQ(run("check").status, 0);
  EXPECT_EQ(notes(), kInstall + "check-form\n" + preset("release") + "check-tidy\n" +
                         preset("asan") + preset("tsan") + "check-package\nrun-fuzzers <60>\n");
}

TEST_F(CheckCommand, RunsTheStagesThatAreNamed) {
  EXPECT_EQ(run("check", {"tsan", "form"}).status, 0);
  EXPECT_EQ(notes(), kInstall + preset("tsan") + "check-form\n");
}

TEST_F(CheckCommand, EndsWithTheFirstStageThatFails) {
  EXPECT_NE(run("check", {"form", "release", "tidy"}, "ctest --preset").status, 0);
  EXPECT_EQ(notes(), kInstall + "check-form\n" + preset("release"));
}

TEST_F(CheckCommand, RefusesAStageThatItDoesNotHave) {
  const ProgramResult result = run("check", {"everything"});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.errors, HasSubstr("unknown stage: everything"));
}

TEST_F(RootCommand, OfTheContinuousIntegrationIsTheWholeCheck) {
  take(".ci/run");
  makeStandIn("check");
  EXPECT_EQ(run(".ci/run").status, 0);
  EXPECT_EQ(notes(), "check\n");
}

}  // namespace
}  // namespace vx::test
