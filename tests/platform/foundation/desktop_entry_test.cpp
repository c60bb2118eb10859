#include "platform/foundation/desktop_entry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace vx;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string entry(const std::string& lines) {
  return "[Desktop Entry]\nType=Application\n" + lines;
}

std::string displayName(const std::string& lines, std::string_view locale) {
  const auto parsed = parseDesktopEntry(entry(lines), locale);
  return parsed ? parsed->localizedName.value_or(parsed->name) : "absent";
}

TEST(DesktopEntry, HasANameAndAProgram) {
  const auto parsed = parseDesktopEntry(entry("Name=Screen Viewer\nExec=viewer --new %U\n"), "C");
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->name, "Screen Viewer");
  EXPECT_EQ(parsed->localizedName, std::nullopt);
  EXPECT_EQ(parsed->program, "viewer");
}

TEST(DesktopEntry, TakesTheNameOfTheBestMatchingLanguage) {
  const std::string names =
      "Name=Viewer\nName[de]=Betrachter\nName[de_AT]=Schauer\nName[sr@latin]=Pregled\n";
  EXPECT_EQ(displayName(names, "de_DE.UTF-8"), "Betrachter");
  EXPECT_EQ(displayName(names, "de_AT.UTF-8@euro"), "Schauer");
  EXPECT_EQ(displayName(names, "sr_RS@latin"), "Pregled");
  EXPECT_EQ(displayName(names, "sr_RS"), "Viewer");
  EXPECT_EQ(displayName(names, "C.UTF-8"), "Viewer");
  EXPECT_EQ(displayName(names, ""), "Viewer");
}

TEST(DesktopEntry, ReadsBlanksCommentsAndEscapes) {
  EXPECT_EQ(displayName("# a comment\n\n  Name =  A\\sB\\\\C\\tD  \r\n", "C"), "A B\\C\tD");
  EXPECT_EQ(displayName("Name=A\\nB\\rC\\;D\\\n", "C"), "A\nB\rC;D\\");
}

TEST(DesktopEntry, EndsWithItsGroup) {
  EXPECT_EQ(displayName("Name=Viewer\n[Desktop Action new]\nName=New Window\nName[de]=Neu\n", "de"),
            "Viewer");
}

TEST(DesktopEntry, IsAbsentUnlessItIsAnApplication) {
  const std::string texts[] = {
      "",
      "[Desktop Entry]\n",
      "Name=no group\nType=Application\n",
      "[Other]\nName=other group\nType=Application\n",
      "[Desktop Entry]\nType=Link\nName=link\n",
      "[Desktop Entry]\nName=no type\n",
      entry("Exec=no-name\n"),
      entry("Name=deleted\nHidden=true\n"),
      entry("Name=\xff\n"),
      entry(std::string("Name=a\0b\n", 9)),
  };
  for (const std::string& text : texts) {
    EXPECT_FALSE(parseDesktopEntry(text, "C").has_value()) << text;
  }
}

TEST(DesktopEntry, MayLackACommand) {
  const auto parsed = parseDesktopEntry(entry("Name=by D-Bus\n"), "C");
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->program, std::nullopt);
}

TEST(LocaleKeys, GoFromTheMostSpecificOn) {
  EXPECT_THAT(localeKeys("sr_RS.UTF-8@latin"),
              ElementsAre("sr_RS@latin", "sr_RS", "sr@latin", "sr"));
  EXPECT_THAT(localeKeys("de_AT"), ElementsAre("de_AT", "de"));
  EXPECT_THAT(localeKeys("eo"), ElementsAre("eo"));
  for (const char* plain : {"", "C", "C.UTF-8", "POSIX", "@latin", "_AT"}) {
    EXPECT_THAT(localeKeys(plain), IsEmpty()) << plain;
  }
}

TEST(ProgramOfExec, IsTheFirstWordThatIsAProgram) {
  const std::pair<const char*, const char*> cases[] = {
      {"viewer", "viewer"},
      {"  viewer %U", "viewer"},
      {"/opt/viewer/bin/viewer --flag", "/opt/viewer/bin/viewer"},
      {"\"/opt/my viewer/run\" %f", "/opt/my viewer/run"},
      {"\"a\\\"b\\\\c\" x", "a\"b\\c"},
      {"\"never closed", "never closed"},
      {"env LANG=C VAR=1 viewer x=y", "viewer"},
      {"/usr/bin/env viewer", "viewer"},
  };
  for (const auto& [exec, program] : cases) {
    EXPECT_EQ(programOfExec(exec), program) << exec;
  }
  for (const char* none : {"", "  ", "env", "env A=B", "\"\""}) {
    EXPECT_EQ(programOfExec(none), std::nullopt) << none;
  }
}

}  // namespace
