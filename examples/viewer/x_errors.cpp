#include "x_errors.h"

#include <X11/Xlib.h>

namespace viewer {
namespace {

// Xlib's handler takes no context.
XErrorHandler handlerBefore = nullptr;

int tolerateVanishedWindow(Display* display, XErrorEvent* error) {
  return error->error_code == BadWindow ? 0 : handlerBefore(display, error);
}

}  // namespace

VanishedWindowsTolerated::VanishedWindowsTolerated() {
  handlerBefore = XSetErrorHandler(tolerateVanishedWindow);
}

VanishedWindowsTolerated::~VanishedWindowsTolerated() { XSetErrorHandler(handlerBefore); }

}  // namespace viewer
