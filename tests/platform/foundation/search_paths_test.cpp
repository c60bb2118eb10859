#include "platform/foundation/search_paths.h"

#include "VXVideoRecorder/platform/foundation/NSFileManager.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

namespace vx {
namespace {

std::optional<std::string> documentsIn(std::string_view userDirs) {
  return documentsFolderFromUserDirs(userDirs, "/home/me");
}

TEST(UserDirs, GivesTheDocumentsFolderBelowHome) {
  EXPECT_EQ(documentsIn("# comment\n"
                        "XDG_DESKTOP_DIR=\"$HOME/Desktop\"\n"
                        "XDG_DOCUMENTS_DIR=\"$HOME/Dokumente\"\n"),
            "/home/me/Dokumente");
}

TEST(UserDirs, GivesAnAbsoluteFolder) {
  EXPECT_EQ(documentsIn("XDG_DOCUMENTS_DIR=\"/data/docs/\""), "/data/docs");
}

TEST(UserDirs, AllowsBlanksAroundKeyAndEquals) {
  EXPECT_EQ(documentsIn(" \tXDG_DOCUMENTS_DIR = \"$HOME/D\" \r\n"), "/home/me/D");
}

TEST(UserDirs, TakesABackslashOffTheCharacterAfterIt) {
  EXPECT_EQ(documentsIn(R"(XDG_DOCUMENTS_DIR="$HOME/a\"b\\c\$d")"), "/home/me/a\"b\\c$d");
}

TEST(UserDirs, LetsTheLastGoodLineWin) {
  EXPECT_EQ(documentsIn("XDG_DOCUMENTS_DIR=\"$HOME/a\"\n"
                        "XDG_DOCUMENTS_DIR=\"$HOME/b\"\n"
                        "XDG_DOCUMENTS_DIR=\"relative\"\n"),
            "/home/me/b");
}

// Pointing a folder at home is how a user says "I want none of its own".
TEST(UserDirs, GivesHomeItselfWhenTheFolderPointsThere) {
  EXPECT_EQ(documentsIn("XDG_DOCUMENTS_DIR=\"$HOME/\""), "/home/me");
  EXPECT_EQ(documentsIn("XDG_DOCUMENTS_DIR=\"$HOME\""), "/home/me");
}

TEST(UserDirs, PassesOverMalformedLines) {
  EXPECT_EQ(documentsIn(""), std::nullopt);
  EXPECT_EQ(documentsIn("XDG_DOCUMENTS_DIR=$HOME/D"), std::nullopt);
  EXPECT_EQ(documentsIn("XDG_DOCUMENTS_DIR=\"$HOME/D"), std::nullopt);
  EXPECT_EQ(documentsIn("XDG_DOCUMENTS_DIR=\"$HOME/D\\"), std::nullopt);
  EXPECT_EQ(documentsIn("XDG_DOCUMENTS_DIR=\"$HOMER/D\""), std::nullopt);
  EXPECT_EQ(documentsIn("XDG_DOCUMENTS_DIR=\"\""), std::nullopt);
  EXPECT_EQ(documentsIn("XDG_DOCUMENTS_DIRS=\"/a\""), std::nullopt);
  EXPECT_EQ(documentsIn("#XDG_DOCUMENTS_DIR=\"/a\""), std::nullopt);
}

TEST(Tilde, ReplacesOnlyAWholeHomeFolder) {
  EXPECT_EQ(abbreviatedWithTilde("/home/me/D", "/home/me"), "~/D");
  EXPECT_EQ(abbreviatedWithTilde("/home/me", "/home/me"), "~");
  EXPECT_EQ(abbreviatedWithTilde("/home/mel/D", "/home/me"), "/home/mel/D");
  EXPECT_EQ(abbreviatedWithTilde("/a", "/"), "/a");
}

std::string documentsFolder(bool expandTilde = true) {
  return NSSearchPathForDirectoriesInDomains(NSDocumentDirectory, NSUserDomainMask, expandTilde)
      .at(0);
}

void writeUserDirs(const TemporaryFolder& home, const std::string& folder) {
  home.makeFolder(folder);
  std::ofstream(home / folder + "/user-dirs.dirs") << "XDG_DOCUMENTS_DIR=\"$HOME/Texte\"\n";
}

TEST(SearchPath, ReadsTheUsersConfiguration) {
  const TemporaryFolder home;
  const ScopedEnvironment homeVariable("HOME", home.path().c_str());
  const ScopedEnvironment configuration("XDG_CONFIG_HOME", nullptr);
  writeUserDirs(home, ".config");
  EXPECT_EQ(documentsFolder(), home / "Texte");
  EXPECT_EQ(documentsFolder(false), "~/Texte");
}

TEST(SearchPath, ReadsTheConfigurationWhereTheEnvironmentSaysItIs) {
  const TemporaryFolder home;
  const ScopedEnvironment homeVariable("HOME", home.path().c_str());
  const ScopedEnvironment configuration("XDG_CONFIG_HOME", (home / "etc").c_str());
  writeUserDirs(home, "etc");
  EXPECT_EQ(documentsFolder(), home / "Texte");
}

TEST(SearchPath, IsDocumentsBelowHomeWithoutAConfiguration) {
  const TemporaryFolder home;
  const ScopedEnvironment homeVariable("HOME", (home.path() + "/").c_str());
  const ScopedEnvironment configuration("XDG_CONFIG_HOME", "relative/is/ignored");
  EXPECT_EQ(documentsFolder(), home / "Documents");
}

TEST(SearchPath, AsksTheAccountWithoutAHomeVariable) {
  const TemporaryFolder empty;
  const ScopedEnvironment configuration("XDG_CONFIG_HOME", empty.path().c_str());
  const passwd* account = ::getpwuid(::geteuid());
  ASSERT_NE(account, nullptr);
  const std::string expected = stringByAppendingPathComponent(account->pw_dir, "Documents");
  for (const char* home : {static_cast<const char*>(nullptr), "", "not/absolute"}) {
    const ScopedEnvironment homeVariable("HOME", home);
    EXPECT_EQ(documentsFolder(), expected);
  }
}

// Whoever asks delivers the frames of a screen and must not wait for anybody.
TEST(SearchPath, DoesNotWaitForAConfigurationThatIsAPipe) {
  const TemporaryFolder home;
  const ScopedEnvironment homeVariable("HOME", home.path().c_str());
  const ScopedEnvironment configuration("XDG_CONFIG_HOME", (home / "etc").c_str());
  home.makeFolder("etc");
  ASSERT_EQ(::mkfifo((home / "etc/user-dirs.dirs").c_str(), 0600), 0);
  EXPECT_EQ(documentsFolder(), home / "Documents");
}

TEST(SearchPath, PassesOverAConfigurationWithoutEnd) {
  const TemporaryFolder home;
  const ScopedEnvironment homeVariable("HOME", home.path().c_str());
  const ScopedEnvironment configuration("XDG_CONFIG_HOME", (home / "etc").c_str());
  writeUserDirs(home, "etc");
  std::filesystem::resize_file(home / "etc/user-dirs.dirs", std::uint64_t{1} << 40);
  EXPECT_EQ(documentsFolder(), home / "Documents");
}

TEST(SearchPath, IsEmptyForOtherDirectoriesAndDomains) {
  EXPECT_TRUE(NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory(1), NSUserDomainMask, true)
                  .empty());
  EXPECT_TRUE(
      NSSearchPathForDirectoriesInDomains(NSDocumentDirectory, NSSearchPathDomainMask(2), true)
          .empty());
}

}  // namespace
}  // namespace vx
