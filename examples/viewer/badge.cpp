#include "badge.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace viewer {
namespace {

constexpr std::array<const char*, 3> kFonts = {
    "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf",
    "/usr/share/fonts/TTF/DejaVuSans.ttf",
    "/usr/share/fonts/dejavu-sans-fonts/DejaVuSans.ttf",
};

struct Color {
  float red = 0;
  float green = 0;
  float blue = 0;
  float alpha = 0;
};
constexpr Color kGround = {18, 20, 26, 205};
constexpr Color kRed = {255, 59, 48, 255};
constexpr Color kAmber = {255, 190, 60, 255};
constexpr Color kGreen = {64, 205, 110, 255};
constexpr SDL_Color kText = {245, 246, 248, 255};

struct Point {
  float x = 0;
  float y = 0;
};

// Distances to a shape's edge in pixels, negative inside: half a pixel on either side is its smooth
// edge.
float toBox(Point p, Point center, Point half, float radius) {
  const float x = std::abs(p.x - center.x) - half.x + radius;
  const float y = std::abs(p.y - center.y) - half.y + radius;
  const float outside = std::hypot(std::max(x, 0.0F), std::max(y, 0.0F));
  return outside + std::min(std::max(x, y), 0.0F) - radius;
}

float toLine(Point p, Point from, Point to, float thickness) {
  const Point along = {to.x - from.x, to.y - from.y};
  const float length = along.x * along.x + along.y * along.y;
  const float share =
      std::clamp(((p.x - from.x) * along.x + (p.y - from.y) * along.y) / length, 0.0F, 1.0F);
  return std::hypot(p.x - from.x - share * along.x, p.y - from.y - share * along.y) - thickness / 2;
}

/// To the symbol that fills a circle of this radius.
float toSymbol(Badge::Symbol symbol, Point p, float radius) {
  switch (symbol) {
    case Badge::Symbol::dot:
      return std::hypot(p.x, p.y) - radius;
    case Badge::Symbol::bars: {
      const Point half = {radius * 0.28F, radius * 0.95F};
      return std::min(toBox(p, {-radius * 0.5F, 0}, half, 1),
                      toBox(p, {radius * 0.5F, 0}, half, 1));
    }
    case Badge::Symbol::tick: {
      const Point corner = {-radius * 0.25F, radius * 0.65F};
      return std::min(toLine(p, {-radius * 0.9F, 0}, corner, radius * 0.42F),
                      toLine(p, corner, {radius * 0.9F, -radius * 0.65F}, radius * 0.42F));
    }
    case Badge::Symbol::cross: {
      const float reach = radius * 0.7F;
      return std::min(toLine(p, {-reach, -reach}, {reach, reach}, radius * 0.42F),
                      toLine(p, {-reach, reach}, {reach, -reach}, radius * 0.42F));
    }
    case Badge::Symbol::none:
      break;
  }
  return 1;
}

Color colorOf(Badge::Symbol symbol) {
  switch (symbol) {
    case Badge::Symbol::bars:
      return kAmber;
    case Badge::Symbol::tick:
      return kGreen;
    default:
      return kRed;
  }
}

/// How much of a pixel a shape covers.
float coverage(float distance) { return std::clamp(0.5F - distance, 0.0F, 1.0F); }

Uint32 over(const Color& top, float covered, const Color& ground, float groundCovered) {
  const auto mix = [covered](float a, float b) { return b + (a - b) * covered; };
  const float alpha = mix(top.alpha, ground.alpha) * groundCovered;
  const auto byte = [](float value) { return static_cast<Uint32>(std::lround(value)); };
  return byte(alpha) << 24 | byte(mix(top.red, ground.red)) << 16 |
         byte(mix(top.green, ground.green)) << 8 | byte(mix(top.blue, ground.blue));
}

/// Ground and symbol; `middle` is the symbol's, `corner` the radius of the ground's.
void paint(SDL_Surface& target, Badge::Symbol symbol, Point middle, float radius, float corner) {
  const Point size = {static_cast<float>(target.w), static_cast<float>(target.h)};
  const Point center = {size.x / 2, size.y / 2};
  for (int y = 0; y < target.h; ++y) {
    auto* row = reinterpret_cast<Uint32*>(static_cast<Uint8*>(target.pixels) + y * target.pitch);
    for (int x = 0; x < target.w; ++x) {
      const Point p = {static_cast<float>(x) + 0.5F, static_cast<float>(y) + 0.5F};
      const float ground = coverage(toBox(p, center, center, corner));
      const float sign = coverage(toSymbol(symbol, {p.x - middle.x, p.y - middle.y}, radius));
      row[x] = over(colorOf(symbol), sign, kGround, ground);
    }
  }
}

}  // namespace

SdlPointer<TTF_Font> badgeFont(int pixels) {
  for (const char* path : kFonts) {
    if (TTF_Font* font = TTF_OpenFont(path, pixels)) {
      return SdlPointer<TTF_Font>(font);
    }
  }
  throw std::runtime_error("the font DejaVu Sans is missing; install fonts-dejavu-core");
}

SdlPointer<SDL_Surface> drawBadge(const Badge& badge, TTF_Font& font, int mostPixels) {
  const int line = TTF_FontHeight(&font);
  const int side = line * 3 / 4;  // between the ground's end and what is on it
  const float radius = static_cast<float>(line) * 0.3F;
  const bool hasSymbol = badge.symbol != Badge::Symbol::none;
  const int symbolWidth = hasSymbol ? static_cast<int>(radius * 2) + line * 3 / 8 : 0;
  const int room = std::max(mostPixels - side * 2 - symbolWidth, line);
  const auto text = made(
      TTF_RenderUTF8_Blended_Wrapped(&font, badge.text.c_str(), kText, static_cast<Uint32>(room)),
      "text of a badge");
  auto surface =
      made(SDL_CreateRGBSurfaceWithFormat(0, side * 2 + symbolWidth + text->w, text->h + line / 2,
                                          32, SDL_PIXELFORMAT_ARGB8888),
           "badge");
  const float middle = static_cast<float>(line) * 0.75F;  // of the first line
  paint(*surface, badge.symbol, {static_cast<float>(side) + radius, middle}, radius, middle);
  SDL_Rect place = {side + symbolWidth, line / 4, text->w, text->h};
  SDL_BlitSurface(text.get(), nullptr, surface.get(), &place);
  return surface;
}

}  // namespace viewer
