// SDL's objects with an owner.
#pragma once

#include <SDL.h>
#include <SDL_ttf.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace viewer {

struct SdlDeleter {
  void operator()(SDL_Window* window) const { SDL_DestroyWindow(window); }
  void operator()(SDL_Renderer* renderer) const { SDL_DestroyRenderer(renderer); }
  void operator()(SDL_Texture* texture) const { SDL_DestroyTexture(texture); }
  void operator()(SDL_Surface* surface) const { SDL_FreeSurface(surface); }
  void operator()(TTF_Font* font) const { TTF_CloseFont(font); }
};
template <typename T>
using SdlPointer = std::unique_ptr<T, SdlDeleter>;

/// Takes what SDL made. Errors: throws std::runtime_error with SDL's reason when it made nothing.
template <typename T>
SdlPointer<T> made(T* object, const char* what) {
  if (!object) {
    throw std::runtime_error(std::string("no ") + what + ": " + SDL_GetError());
  }
  return SdlPointer<T>(object);
}

/// SDL from here to the end of the block.
class SdlSession {
 public:
  SdlSession() {
    if (SDL_Init(SDL_INIT_VIDEO) != 0) {
      throw std::runtime_error(std::string("there is no display to show anything on: ") +
                               SDL_GetError());
    }
    if (TTF_Init() != 0) {
      SDL_Quit();
      throw std::runtime_error(std::string("text cannot be drawn: ") + SDL_GetError());
    }
  }
  ~SdlSession() {
    TTF_Quit();
    SDL_Quit();
  }
  SdlSession(const SdlSession&) = delete;
  SdlSession& operator=(const SdlSession&) = delete;
};

}  // namespace viewer
