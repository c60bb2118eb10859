#include "VXVideoRecorder/platform/foundation/NSBundle.h"

#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace vx;

namespace {

std::string propertyListWithName(const std::string& name) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
         "<key>CFBundleName</key><string>" +
         name + "</string></dict></plist>";
}

// A file system of its own: programs below "app", data folders "own", "first" and "second".
class NSBundleTest : public testing::Test {
 protected:
  NSBundleTest() {
    folder.makeFolder("app/bin");
    folder.makeFolder("own/applications");
    folder.makeFolder("first/applications");
    folder.makeFolder("second/applications");
  }

  void write(const std::string& name, const std::string& contents) {
    std::ofstream(folder / name, std::ios::binary) << contents;
  }
  void writeEntry(const std::string& name, const std::string& lines) {
    write(name, "[Desktop Entry]\nType=Application\n" + lines);
  }
  std::optional<NSDictionary> info(const std::string& executable = "app/bin/viewer") {
    return NSBundle::bundleWithExecutablePath(folder / executable).infoDictionary();
  }
  std::string value(const char* key, const std::string& executable = "app/bin/viewer") {
    const auto dictionary = info(executable);
    const Object* object = dictionary ? dictionary->objectForKey(key) : nullptr;
    return object != nullptr ? object->description() : "absent";
  }
  std::string name(const std::string& executable = "app/bin/viewer") {
    return value("CFBundleName", executable);
  }

  TemporaryFolder folder;
  ScopedEnvironment own{"XDG_DATA_HOME", (folder / "own").c_str()};
  ScopedEnvironment shared{"XDG_DATA_DIRS",
                           ((folder / "first") + ":relative::" + (folder / "second")).c_str()};
  ScopedEnvironment all{"LC_ALL", nullptr};
  ScopedEnvironment messages{"LC_MESSAGES", "de_AT.UTF-8"};
  ScopedEnvironment language{"LANG", "fr_FR.UTF-8"};
};

TEST_F(NSBundleTest, HasNoInformationWithoutAnyFile) {
  EXPECT_EQ(info(), std::nullopt);
  EXPECT_EQ(NSBundle::bundleWithExecutablePath("").infoDictionary(), std::nullopt);
  EXPECT_EQ(NSBundle::bundleWithExecutablePath("viewer").infoDictionary(), std::nullopt);
}

TEST_F(NSBundleTest, ReadsThePropertyListBesideTheProgram) {
  write("app/bin/Info.plist", propertyListWithName("beside"));
  EXPECT_EQ(name(), "beside");
}

TEST_F(NSBundleTest, PrefersThePropertyListOfABundle) {
  folder.makeFolder("Viewer.app/Contents/MacOS");
  write("Viewer.app/Contents/MacOS/Info.plist", propertyListWithName("beside"));
  EXPECT_EQ(name("Viewer.app/Contents/MacOS/viewer"), "beside");
  write("Viewer.app/Contents/Info.plist", propertyListWithName("bundle"));
  EXPECT_EQ(name("Viewer.app/Contents/MacOS/viewer"), "bundle");
}

TEST_F(NSBundleTest, LooksAboveTheProgramOnlyInABundle) {
  write("app/Info.plist", propertyListWithName("above"));
  EXPECT_EQ(info(), std::nullopt);
}

TEST_F(NSBundleTest, PrefersAPropertyListToADesktopEntry) {
  writeEntry("own/applications/viewer.desktop", "Name=entry\n");
  write("app/bin/Info.plist", propertyListWithName("beside"));
  EXPECT_EQ(name(), "beside");
}

TEST_F(NSBundleTest, HasNoInformationWhenThePropertyListIsMalformed) {
  writeEntry("own/applications/viewer.desktop", "Name=entry\n");
  write("app/bin/Info.plist", "<plist><dict>");
  EXPECT_EQ(info(), std::nullopt);
}

TEST_F(NSBundleTest, HasNoInformationWhenThePropertyListIsNoReasonableFile) {
  folder.makeFolder("app/bin/Info.plist");
  EXPECT_EQ(info(), std::nullopt);
  folder.makeFolder("pipe");
  ASSERT_EQ(::mkfifo((folder / "pipe/Info.plist").c_str(), 0600), 0);
  EXPECT_EQ(info("pipe/viewer"), std::nullopt);
  folder.makeFolder("large");
  folder.makeFile("large/Info.plist", 3u << 20);
  EXPECT_EQ(info("large/viewer"), std::nullopt);
}

TEST_F(NSBundleTest, TakesBothNamesFromTheDesktopEntry) {
  writeEntry("second/applications/viewer.desktop", "Name=Viewer\nName[de]=Betrachter\n");
  EXPECT_EQ(name(), "Viewer");
  EXPECT_EQ(value("CFBundleDisplayName"), "Betrachter");
}

TEST_F(NSBundleTest, FollowsTheLocaleThatOverridesTheOthers) {
  writeEntry("own/applications/viewer.desktop", "Name=V\nName[de]=D\nName[fr]=F\nName[it]=I\n");
  EXPECT_EQ(value("CFBundleDisplayName"), "D");
  {
    const ScopedEnvironment none{"LC_MESSAGES", nullptr};
    EXPECT_EQ(value("CFBundleDisplayName"), "F");
  }
  const ScopedEnvironment italian{"LC_ALL", "it_IT.UTF-8"};
  EXPECT_EQ(value("CFBundleDisplayName"), "I");
}

TEST_F(NSBundleTest, TakesThePlainNameTwiceWithoutATranslation) {
  writeEntry("own/applications/viewer.desktop", "Name=Viewer\nName[fr]=Visionneuse\n");
  EXPECT_EQ(value("CFBundleDisplayName"), "Viewer");
  EXPECT_EQ(name(), "Viewer");
}

TEST_F(NSBundleTest, PrefersEntriesOfEarlierFolders) {
  writeEntry("second/applications/viewer.desktop", "Name=second\n");
  writeEntry("first/applications/viewer.desktop", "Name=first\n");
  EXPECT_EQ(name(), "first");
  writeEntry("own/applications/viewer.desktop", "Name=own\n");
  EXPECT_EQ(name(), "own");
}

TEST_F(NSBundleTest, FindsTheUsersOwnEntriesBelowTheHomeFolder) {
  const ScopedEnvironment none("XDG_DATA_HOME", nullptr);
  const ScopedEnvironment home("HOME", (folder / "home").c_str());
  folder.makeFolder("home/.local/share/applications");
  writeEntry("home/.local/share/applications/viewer.desktop", "Name=at home\n");
  EXPECT_EQ(name(), "at home");
}

TEST_F(NSBundleTest, TakesAnEntryHiddenInAnEarlierFolderForDeleted) {
  writeEntry("second/applications/viewer.desktop", "Name=second\n");
  writeEntry("own/applications/viewer.desktop", "Name=own\nHidden=true\n");
  EXPECT_EQ(info(), std::nullopt);
}

TEST_F(NSBundleTest, FindsAnEntryByItsCommand) {
  writeEntry("first/applications/a.desktop", "Name=other\nExec=another-viewer\n");
  write("first/applications/b.desktop", "malformed");
  writeEntry("first/applications/org.example.Viewer.desktop", "Name=found\nExec=viewer %U\n");
  EXPECT_EQ(name(), "found");
}

TEST_F(NSBundleTest, FindsAnEntryByALinkToTheProgram) {
  folder.makeFile("app/bin/viewer");
  std::filesystem::create_symlink(folder / "app/bin/viewer", folder / "link");
  writeEntry("first/applications/org.example.desktop", "Name=found\nExec=" + (folder / "link"));
  EXPECT_EQ(name(), "found");
}

TEST_F(NSBundleTest, DoesNotTakeANamesakeElsewhereForTheProgram) {
  writeEntry("first/applications/org.example.desktop", "Name=other\nExec=/elsewhere/viewer\n");
  EXPECT_EQ(info(), std::nullopt);
}

TEST_F(NSBundleTest, FindsEntriesInSubfolders) {
  folder.makeFolder("first/applications/vendor");
  writeEntry("first/applications/vendor/viewer.desktop", "Name=sub\nExec=viewer\n");
  EXPECT_EQ(name(), "sub");
  EXPECT_EQ(name("app/bin/vendor-viewer"), "sub");
}

TEST_F(NSBundleTest, FindsEntriesFourFoldersDeepAndNoDeeper) {
  folder.makeFolder("first/applications/a/b/c/d/e");
  writeEntry("first/applications/a/b/c/d/e/viewer.desktop", "Name=too deep\nExec=viewer\n");
  EXPECT_EQ(info(), std::nullopt);
  writeEntry("first/applications/a/b/c/d/viewer.desktop", "Name=deep\nExec=viewer\n");
  EXPECT_EQ(name(), "deep");
}

TEST_F(NSBundleTest, TakesNoEntryWithoutACommandForThePrograms) {
  writeEntry("first/applications/org.example.desktop", "Name=by D-Bus\n");
  EXPECT_EQ(info(), std::nullopt);
}

TEST_F(NSBundleTest, TakesThePlainNameWhereNothingNamesALanguage) {
  const ScopedEnvironment noMessages{"LC_MESSAGES", nullptr};
  const ScopedEnvironment noLanguage{"LANG", nullptr};
  writeEntry("first/applications/viewer.desktop", "Name=Viewer\nName[de]=Betrachter\n");
  EXPECT_EQ(value("CFBundleDisplayName"), "Viewer");
}

TEST_F(NSBundleTest, LooksWhereTheSystemKeepsItsEntriesWhenNothingNamesAFolder) {
  std::error_code missing;
  const std::filesystem::directory_iterator installed("/usr/share/applications", missing);
  for (const auto& each : installed) {
    const std::string program = "app/bin/" + each.path().stem().string();
    const ScopedEnvironment usual{"XDG_DATA_DIRS", "/usr/local/share:/usr/share"};
    if (const std::optional<NSDictionary> expected = info(program)) {
      const ScopedEnvironment none{"XDG_DATA_DIRS", nullptr};
      EXPECT_EQ(info(program), expected);
      return;
    }
  }
  GTEST_SKIP() << "no application is installed here";
}

TEST_F(NSBundleTest, ReadsAnewAtEveryCall) {
  const NSBundle bundle = NSBundle::bundleWithExecutablePath(folder / "app/bin/viewer");
  EXPECT_EQ(bundle.infoDictionary(), std::nullopt);
  write("app/bin/Info.plist", propertyListWithName("beside"));
  EXPECT_NE(bundle.infoDictionary(), std::nullopt);
}

TEST_F(NSBundleTest, OfTheRunningProgramIsFoundByItsName) {
  EXPECT_EQ(NSBundle::mainBundle().infoDictionary(), std::nullopt);
  const std::string program = std::filesystem::read_symlink("/proc/self/exe").filename();
  writeEntry("own/applications/" + program + ".desktop", "Name=this test\n");
  ASSERT_NE(NSBundle::mainBundle().infoDictionary(), std::nullopt);
}

// The system marks the path of such a program.
TEST_F(NSBundleTest, OfARunningProgramWhoseFileWasRemovedIsFoundByItsName) {
  constexpr const char* kVariable = "VX_TEST_PROGRAM_TO_REMOVE";
  if (const char* itself = std::getenv(kVariable)) {  // the copy below
    std::filesystem::remove(itself);
    writeEntry("own/applications/viewer.desktop", "Name=removed\n");
    const auto dictionary = NSBundle::mainBundle().infoDictionary();
    ASSERT_TRUE(dictionary);
    EXPECT_EQ(dictionary->objectForKey("CFBundleName")->description(), "removed");
    return;
  }
  const std::string copy = folder / "app/bin/viewer";
  std::filesystem::copy_file("/proc/self/exe", copy);
  const ScopedEnvironment toRemove{kVariable, copy.c_str()};
  const std::string test = testing::UnitTest::GetInstance()->current_test_info()->name();
  EXPECT_EQ(std::system((copy + " --gtest_filter=NSBundleTest." + test + " >/dev/null").c_str()),
            0);
  EXPECT_FALSE(folder.has("app/bin/viewer"));
}

}  // namespace
