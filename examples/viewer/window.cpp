#include "window.h"

#include <algorithm>
#include <utility>

namespace viewer {
namespace {
constexpr int kFirstWidth = 640;
constexpr int kFirstHeight = 360;
constexpr int kFontPixels = 18;
constexpr int kMargin = 16;
}  // namespace

Window::Window(const std::string& title)
    : _window(made(SDL_CreateWindow(title.c_str(), SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED,
                                    kFirstWidth, kFirstHeight, SDL_WINDOW_RESIZABLE),
                   "window")),
      _renderer(made(SDL_CreateRenderer(_window.get(), -1, 0), "renderer")),
      _font(badgeFont(kFontPixels)),
      _title(title) {}

void Window::setTitle(const std::string& title) {
  if (_title != title) {
    _title = title;
    SDL_SetWindowTitle(_window.get(), title.c_str());
  }
}

void Window::fitWindow(const Picture& picture) {
  SDL_Rect usable = {0, 0, picture.width, picture.height};
  SDL_GetDisplayUsableBounds(std::max(SDL_GetWindowDisplayIndex(_window.get()), 0), &usable);
  const double scale =
      std::min({1.0, double(usable.w) / picture.width, double(usable.h) / picture.height});
  SDL_SetWindowSize(_window.get(), static_cast<int>(picture.width * scale),
                    static_cast<int>(picture.height * scale));
  SDL_SetWindowPosition(_window.get(), SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED);
}

void Window::setPicture(const Picture& picture) {
  if (!_picture) {
    fitWindow(picture);
  }
  if (_width != picture.width || _height != picture.height) {
    SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "linear");
    _picture = made(SDL_CreateTexture(_renderer.get(), SDL_PIXELFORMAT_RGB888,
                                      SDL_TEXTUREACCESS_STREAMING, picture.width, picture.height),
                    "texture");
    _width = picture.width;
    _height = picture.height;
  }
  SDL_UpdateTexture(_picture.get(), nullptr, picture.pixels.data(), picture.bytesPerRow());
  touch();
}

void Window::set(Label& label, const Badge& badge) {
  if (label.badge == badge) {
    return;
  }
  label.badge = badge;
  label.texture = nullptr;
  touch();
}

/// As large as the window lets it be, with its own proportions.
SDL_Rect Window::pictureArea(int width, int height) const {
  const double scale = std::min(double(width) / _width, double(height) / _height);
  const int shownWidth = static_cast<int>(_width * scale + 0.5);
  const int shownHeight = static_cast<int>(_height * scale + 0.5);
  return {(width - shownWidth) / 2, (height - shownHeight) / 2, shownWidth, shownHeight};
}

void Window::drawLabel(Label& label, int windowWidth, int y, bool growsUp) {
  if (label.badge.text.empty()) {
    return;
  }
  if (!label.texture || label.windowWidth != windowWidth) {
    const auto surface = drawBadge(label.badge, *_font, windowWidth - 2 * kMargin);
    label.texture = made(SDL_CreateTextureFromSurface(_renderer.get(), surface.get()), "texture");
    label.windowWidth = windowWidth;
    SDL_SetTextureBlendMode(label.texture.get(), SDL_BLENDMODE_BLEND);
  }
  SDL_Rect place = {kMargin, y, 0, 0};
  SDL_QueryTexture(label.texture.get(), nullptr, nullptr, &place.w, &place.h);
  place.y -= growsUp ? place.h : 0;
  SDL_RenderCopy(_renderer.get(), label.texture.get(), nullptr, &place);
}

void Window::present() {
  if (!std::exchange(_isTouched, false)) {
    return;
  }
  int width = 0;
  int height = 0;
  SDL_GetRendererOutputSize(_renderer.get(), &width, &height);
  SDL_SetRenderDrawColor(_renderer.get(), 0, 0, 0, 255);
  SDL_RenderClear(_renderer.get());
  if (_picture) {
    const SDL_Rect area = pictureArea(width, height);
    SDL_RenderCopy(_renderer.get(), _picture.get(), nullptr, &area);
  }
  drawLabel(_state, width, kMargin, false);
  drawLabel(_message, width, height - kMargin, true);
  SDL_RenderPresent(_renderer.get());
}

}  // namespace viewer
