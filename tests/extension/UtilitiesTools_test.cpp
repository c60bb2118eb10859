#include "VXVideoRecorder/UtilitiesTools.h"

#include "extension/application_name.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

using namespace vx;

namespace {

TEST(ApplicationName, IsTheDisplayNameWhenBothAreThere) {
  EXPECT_EQ(applicationName(NSDictionary{{"CFBundleName", "a"}, {"CFBundleDisplayName", "b"}}),
            Object("b"));
}

TEST(ApplicationName, IsTheBundleNameWithoutADisplayName) {
  EXPECT_EQ(applicationName(NSDictionary{{"CFBundleName", "a"}}), Object("a"));
}

TEST(ApplicationName, IsTheDisplayNameWhateverItIs) {
  for (const Object& value : {Object(""), Object("(null)"), Object(5), Object(NSNull())}) {
    EXPECT_EQ(applicationName(NSDictionary{{"CFBundleName", "a"}, {"CFBundleDisplayName", value}}),
              value);
  }
}

TEST(ApplicationName, IsAbsentWithoutEither) {
  EXPECT_EQ(applicationName(NSDictionary{{"CFBundleIdentifier", "a"}}), std::nullopt);
  EXPECT_EQ(applicationName(std::nullopt), std::nullopt);
}

TEST(AppBundleName, IsThatOfTheRunningProgram) {
  const TemporaryFolder folder;
  const ScopedEnvironment own("XDG_DATA_HOME", folder.path().c_str());
  const ScopedEnvironment shared("XDG_DATA_DIRS", folder.path().c_str());
  EXPECT_EQ(UtilitiesTools::appBundleName(), std::nullopt);
  folder.makeFolder("applications");
  const std::string program = std::filesystem::read_symlink("/proc/self/exe").filename();
  std::ofstream(folder / ("applications/" + program + ".desktop"))
      << "[Desktop Entry]\nType=Application\nName=Tests\n";
  EXPECT_EQ(UtilitiesTools::appBundleName(), Object("Tests"));
}

}  // namespace
