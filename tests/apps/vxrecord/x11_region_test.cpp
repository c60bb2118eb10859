#include "x11_region.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vxrecord {
namespace {

constexpr Rect kScreen = {0, 0, 1920, 1080};

bool covers(const std::vector<Rect>& parts, const Rect& wanted) {
  for (int y = wanted.y; y < wanted.y + wanted.height; ++y) {
    for (int x = wanted.x; x < wanted.x + wanted.width; ++x) {
      const Rect pixel = {x, y, 1, 1};
      if (std::none_of(parts.begin(), parts.end(),
                       [&](const Rect& part) { return intersectionOf(part, pixel) == pixel; })) {
        return false;
      }
    }
  }
  return true;
}

TEST(Rect, IntersectionIsWhatLiesInBoth) {
  EXPECT_EQ(intersectionOf({0, 0, 10, 10}, {5, 6, 10, 10}), (Rect{5, 6, 5, 4}));
  EXPECT_EQ(intersectionOf({-5, -5, 10, 10}, {0, 0, 20, 20}), (Rect{0, 0, 5, 5}));
  EXPECT_EQ(intersectionOf({2, 2, 3, 3}, {0, 0, 20, 20}), (Rect{2, 2, 3, 3}));
}

TEST(Rect, NeighboursHaveNothingInCommon) {
  EXPECT_TRUE(intersectionOf({0, 0, 10, 10}, {10, 0, 10, 10}).isEmpty());
  EXPECT_TRUE(intersectionOf({0, 0, 10, 10}, {0, 10, 10, 10}).isEmpty());
  EXPECT_TRUE(intersectionOf({0, 0, 10, 10}, {3, 3, 0, 5}).isEmpty());
}

TEST(Rect, BoundsHoldBothAndNothingEmpty) {
  EXPECT_EQ(boundsOf({0, 0, 2, 2}, {8, 5, 2, 2}), (Rect{0, 0, 10, 7}));
  EXPECT_EQ(boundsOf({}, {8, 5, 2, 2}), (Rect{8, 5, 2, 2}));
  EXPECT_EQ(boundsOf({8, 5, 2, 2}, {100, 100, 0, 4}), (Rect{8, 5, 2, 2}));
}

TEST(ReadPlan, SmallDamageIsReadByItself) {
  const ReadPlan plan = planReading({{100, 200, 30, 20}}, kScreen, true);
  EXPECT_TRUE(plan.rows.isEmpty());
  EXPECT_EQ(plan.parts, (std::vector<Rect>{{100, 200, 30, 20}}));
}

TEST(ReadPlan, WideDamageIsReadAsWholeRows) {
  const ReadPlan plan = planReading({{100, 200, 1200, 500}}, kScreen, true);
  EXPECT_EQ(plan.rows, (Rect{0, 200, 1920, 500}));
  EXPECT_TRUE(plan.parts.empty());
}

TEST(ReadPlan, RowsThatCannotBeWrittenInPlaceAreReadAsParts) {
  const ReadPlan plan = planReading({kScreen}, kScreen, false);
  EXPECT_TRUE(plan.rows.isEmpty());
  EXPECT_EQ(plan.parts, (std::vector<Rect>{kScreen}));
}

TEST(ReadPlan, DamageIsCutToWhatIsVisible) {
  const Rect visible = {100, 100, 200, 100};
  const ReadPlan plan = planReading({{0, 0, 120, 110}, {500, 500, 10, 10}}, visible, true);
  EXPECT_EQ(plan.parts, (std::vector<Rect>{{100, 100, 20, 10}}));
}

TEST(ReadPlan, NothingDamagedNothingRead) {
  for (const std::vector<Rect>& damage :
       {std::vector<Rect>{}, {{5000, 0, 10, 10}}, {{10, 10, 0, 10}}}) {
    const ReadPlan plan = planReading(damage, kScreen, true);
    EXPECT_TRUE(plan.rows.isEmpty());
    EXPECT_TRUE(plan.parts.empty());
  }
}

TEST(ReadPlan, NeighboursAreReadAsOne) {
  const ReadPlan plan =
      planReading({{10, 10, 20, 8}, {10, 18, 20, 8}, {31, 10, 5, 5}}, kScreen, true);
  EXPECT_EQ(plan.parts, (std::vector<Rect>{{10, 10, 26, 16}}));
}

TEST(ReadPlan, FarPartsStayApart) {
  const ReadPlan plan = planReading({{0, 0, 10, 10}, {1900, 1000, 10, 10}}, kScreen, true);
  EXPECT_EQ(plan.parts.size(), 2u);
}

TEST(ReadPlan, APartThatGrowsReachesThoseBeforeIt) {
  const std::vector<Rect> damage = {{0, 0, 40, 40}, {300, 0, 40, 40}, {60, 0, 230, 40}};
  const ReadPlan plan = planReading(damage, kScreen, true);
  EXPECT_EQ(plan.parts, (std::vector<Rect>{{0, 0, 340, 40}}));
}

TEST(ReadPlan, ManyCrumbsAreReadWithinOneBound) {
  std::vector<Rect> damage;
  for (int i = 0; i < 100; ++i) {
    damage.push_back({100 + (i % 10) * 4, 100 + (i / 10) * 4, 1, 1});
  }
  const ReadPlan plan = planReading(damage, kScreen, true);
  EXPECT_EQ(plan.parts, (std::vector<Rect>{{100, 100, 37, 37}}));
}

TEST(ReadPlan, MoreThan64FarPartsAreReadAsOne) {
  std::vector<Rect> damage;
  for (int i = 0; i < 64; ++i) {
    damage.push_back({i * 29, i * 27 % 64 * 16, 1, 1});  // no two of them near each other
  }
  EXPECT_EQ(planReading(damage, kScreen, false).parts.size(), 64u);
  damage.push_back({1919, 1079, 1, 1});
  EXPECT_EQ(planReading(damage, kScreen, false).parts, (std::vector<Rect>{kScreen}));
}

TEST(ReadPlan, EveryDamagedPixelIsRead) {
  const std::vector<Rect> damage = {{3, 4, 50, 2}, {70, 4, 9, 60}, {10, 30, 100, 9}, {0, 90, 5, 5}};
  const Rect visible = {5, 5, 90, 90};
  const ReadPlan plan = planReading(damage, visible, false);
  for (const Rect& rect : damage) {
    EXPECT_TRUE(covers(plan.parts, intersectionOf(rect, visible)));
  }
}

}  // namespace
}  // namespace vxrecord
