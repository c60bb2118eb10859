#include "display_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>

#include "support/program.h"
#include "support/temporary_folder.h"

namespace vxrecord {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

DisplayState* named(std::vector<DisplayState>& displays, const std::string& name) {
  const auto found =
      std::find_if(displays.begin(), displays.end(),
                   [&](const DisplayState& display) { return display.name == name; });
  return found == displays.end() ? nullptr : &*found;
}

TEST(DisplayList, RunningDisplayIsFoundWithItsSize) {
  const vx::test::VirtualDisplay display("800x600");
  unsetenv("DISPLAY");
  std::vector<DisplayState> displays = findDisplays();
  const DisplayState* found = named(displays, display.name());
  ASSERT_NE(found, nullptr);
  EXPECT_THAT(found->trouble, IsEmpty());
  EXPECT_EQ(found->width, 800);
  EXPECT_EQ(found->height, 600);
  EXPECT_FALSE(found->isOurs);
}

TEST(DisplayList, DisplayOfTheSessionIsMarked) {
  const vx::test::VirtualDisplay display;
  setenv("DISPLAY", (display.name() + ".0").c_str(), 1);
  EXPECT_THAT(asLines(findDisplays()), HasSubstr("x11:" + display.name() + "  640x480  (DISPLAY)"));
  unsetenv("DISPLAY");
}

TEST(DisplayList, DisplayWithoutAServerSaysSo) {
  const TemporaryFolder folder;
  for (const char* name : {"X931", "X930", "X", "Xylophone", "X-1", "Y1"}) {
    folder.makeFile(name, 0, 0);
  }
  unsetenv("DISPLAY");
  const std::vector<DisplayState> displays = findDisplays(folder.path());
  ASSERT_EQ(displays.size(), 2u);
  EXPECT_EQ(displays[0].name, ":930");
  EXPECT_EQ(displays[1].name, ":931");
  EXPECT_THAT(displays[0].trouble, HasSubstr("does not answer"));
  EXPECT_THAT(asLines(displays), HasSubstr("x11::930  it does not answer"));
}

TEST(DisplayList, ServerThatDoesNotAnswerIsGivenUp) {
  const vx::test::VirtualDisplay stopped;
  const vx::test::VirtualDisplay running("800x600");
  kill(stopped.serverId(), SIGSTOP);
  const TemporaryFolder folder;
  for (const auto* display : {&stopped, &running}) {
    folder.makeFile("X" + display->name().substr(1), 0, 0);
  }
  unsetenv("DISPLAY");
  std::vector<DisplayState> displays;
  ASSERT_TRUE(vx::test::waitUntil([&] {
    displays = findDisplays(folder.path(), std::chrono::milliseconds(300));
    return named(displays, running.name())->width == 800;
  }));
  EXPECT_THAT(named(displays, stopped.name())->trouble, HasSubstr("its server does not answer"));
}

TEST(DisplayList, NothingIsFoundWhereNothingIs) {
  unsetenv("DISPLAY");
  EXPECT_THAT(findDisplays("/nonexistent"), IsEmpty());
  EXPECT_THAT(asLines({}), IsEmpty());
}

}  // namespace
}  // namespace vxrecord
