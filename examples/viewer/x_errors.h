// Errors that an X server tells of.
#pragma once

namespace viewer {

/// While it lives, Xlib does not end the program over a window that is gone. SDL answers windows of
/// other programs (what is dragged over it, the clipboard), and nobody can know that they are still
/// there. Every other error is handled as before.
/// Before SDL starts, which hands errors on to what it finds, and until it has ended.
class VanishedWindowsTolerated {
 public:
  VanishedWindowsTolerated();
  ~VanishedWindowsTolerated();
  VanishedWindowsTolerated(const VanishedWindowsTolerated&) = delete;
  VanishedWindowsTolerated& operator=(const VanishedWindowsTolerated&) = delete;
};

}  // namespace viewer
