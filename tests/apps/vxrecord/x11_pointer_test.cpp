#include "x11_pointer.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vxrecord {
namespace {

constexpr std::uint32_t kGray = 0xFF404040;

/// A picture of one colour.
struct Picture {
  Picture(int width, int height, std::uint32_t color = kGray)
      : pixels(static_cast<std::size_t>(width * height), color),
        view{pixels.data(), width, height} {}
  bool isAll(std::uint32_t color) const {
    return std::all_of(pixels.begin(), pixels.end(), [=](auto pixel) { return pixel == color; });
  }
  std::vector<std::uint32_t> pixels;
  PictureView view;
};

/// An image whose pixels are numbered, opaque.
PointerImage numbered(int width, int height, int hotX = 0, int hotY = 0) {
  PointerImage image = {width, height, hotX, hotY, {}};
  for (int i = 0; i < width * height; ++i) {
    image.pixels.push_back(0xFF000000U + static_cast<std::uint32_t>(i));
  }
  return image;
}

TEST(Blend, OpaqueCoversAndTransparentLeaves) {
  EXPECT_EQ(blend(0xFF102030, 0xFFFFFFFF), 0xFF102030);
  EXPECT_EQ(blend(0x00000000, 0xFF102030), 0xFF102030);
}

TEST(Blend, ColourIsMultipliedAlready) {
  // Half a red over white: what is left of the white comes on top.
  EXPECT_EQ(blend(0x80800000, 0xFFFFFFFF), 0xFFFF7F7F);
  EXPECT_EQ(blend(0x80000000, 0xFF0000FF), 0xFF00007F);
}

TEST(Blend, ColourAboveItsAlphaDoesNotRunOver) {
  EXPECT_EQ(blend(0x10FF0000, 0xFFFF80FF), 0xFFFF78EF);
}

TEST(Blend, ResultIsOpaqueWhateverTheScreenHolds) {
  EXPECT_EQ(blend(0x00000000, 0x00102030), 0xFF102030);
}

TEST(PointerOverlay, HotSpotPoints) {
  Picture picture(8, 6);
  PointerOverlay overlay;
  overlay.draw(picture.view, numbered(3, 2, 1, 1), 4, 3);
  EXPECT_EQ(overlay.covered(), (Rect{3, 2, 3, 2}));
  EXPECT_EQ(*picture.view.at(3, 2), 0xFF000000);
  EXPECT_EQ(*picture.view.at(4, 3), 0xFF000004);
  EXPECT_EQ(*picture.view.at(2, 2), kGray);
}

TEST(PointerOverlay, EdgesCutItOff) {
  Picture picture(4, 4);
  PointerOverlay overlay;
  overlay.draw(picture.view, numbered(3, 3, 2, 2), 0, 0);
  EXPECT_EQ(overlay.covered(), (Rect{0, 0, 1, 1}));
  EXPECT_EQ(*picture.view.at(0, 0), 0xFF000008);
  overlay.remove(picture.view);
  overlay.draw(picture.view, numbered(3, 3), 3, 3);
  EXPECT_EQ(*picture.view.at(3, 3), 0xFF000000);
}

TEST(PointerOverlay, OutsideNothingIsDrawn) {
  Picture picture(4, 4);
  PointerOverlay overlay;
  overlay.draw(picture.view, numbered(3, 3), -10, 2);
  EXPECT_TRUE(overlay.covered().isEmpty());
  overlay.draw(picture.view, {}, 1, 1);
  EXPECT_TRUE(overlay.covered().isEmpty());
  EXPECT_TRUE(picture.isAll(kGray));
}

TEST(PointerOverlay, RemovingPutsEverythingBack) {
  Picture picture(8, 6);
  PointerOverlay overlay;
  for (const int x : {-1, 0, 3, 6}) {
    overlay.draw(picture.view, numbered(3, 3), x, 4);
    EXPECT_FALSE(picture.isAll(kGray));
    overlay.remove(picture.view);
    EXPECT_TRUE(picture.isAll(kGray));
    EXPECT_TRUE(overlay.covered().isEmpty());
  }
}

TEST(PointerOverlay, RemovingTwiceDoesNothing) {
  Picture picture(4, 4);
  PointerOverlay overlay;
  overlay.draw(picture.view, numbered(2, 2), 1, 1);
  overlay.remove(picture.view);
  *picture.view.at(1, 1) = 0xFF123456;
  overlay.remove(picture.view);
  EXPECT_EQ(*picture.view.at(1, 1), 0xFF123456);
}

TEST(PointerOverlay, ForgottenItLeavesThePictureAlone) {
  Picture picture(4, 4);
  PointerOverlay overlay;
  overlay.draw(picture.view, numbered(2, 2), 1, 1);
  overlay.forget();
  Picture other(2, 2);
  overlay.remove(other.view);
  EXPECT_TRUE(other.isAll(kGray));
}

}  // namespace
}  // namespace vxrecord
