// The window: a picture that fills it, and badges over the picture.
#pragma once

#include <string>

#include "badge.h"
#include "picture.h"
#include "sdl.h"

namespace viewer {

class Window {
 public:
  explicit Window(const std::string& title);

  void setTitle(const std::string& title);
  /// The first picture gives the window its size.
  void setPicture(const Picture& picture);
  /// In the upper left corner: what the recorder does.
  void setState(const Badge& badge) { set(_state, badge); }
  /// In the lower left corner: what a person should know.
  void setMessage(const Badge& badge) { set(_message, badge); }
  /// Something has to be drawn anew, as after another window has covered this one.
  void touch() { _isTouched = true; }
  /// Shows all that has changed.
  void present();

 private:
  struct Label {
    Badge badge;
    SdlPointer<SDL_Texture> texture;
    int windowWidth = 0;  // that it was drawn for
  };
  void set(Label& label, const Badge& badge);
  void fitWindow(const Picture& picture);
  SDL_Rect pictureArea(int width, int height) const;
  void drawLabel(Label& label, int windowWidth, int y, bool growsUp);

  SdlPointer<SDL_Window> _window;
  SdlPointer<SDL_Renderer> _renderer;
  SdlPointer<TTF_Font> _font;
  SdlPointer<SDL_Texture> _picture;
  int _width = 0;  // of the picture
  int _height = 0;
  Label _state;
  Label _message;
  std::string _title;
  bool _isTouched = true;
};

}  // namespace viewer
