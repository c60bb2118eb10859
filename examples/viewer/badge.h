// A small label over the picture: a symbol and a few words on a dark ground.
#pragma once

#include <string>

#include "sdl.h"

namespace viewer {

struct Badge {
  enum class Symbol : std::uint8_t { none, dot, bars, tick, cross };
  Symbol symbol = Symbol::none;
  std::string text;  ///< empty: no badge

  friend bool operator==(const Badge&, const Badge&) = default;
};

/// A font for badges. Errors: throws std::runtime_error when none is installed.
SdlPointer<TTF_Font> badgeFont(int pixels);

/// Draws a badge as high as the font asks for; a text for which it would become wider than
/// `mostPixels` goes on in the next line.
SdlPointer<SDL_Surface> drawBadge(const Badge& badge, TTF_Font& font, int mostPixels);

}  // namespace viewer
