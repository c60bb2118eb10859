// The stream that is shown, decoded on a thread of its own.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "frame_packer.h"
#include "input.h"
#include "pacer.h"
#include "picture.h"

namespace viewer {

class Stream {
 public:
  /// `address` is what vxrecord takes as its INPUT. `tell` is called on the stream's thread when
  /// there is something to take, or the end.
  /// Errors: throws vxrecord::InputError.
  Stream(const std::string& address, std::function<void()> tell);
  ~Stream();
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  /// Swaps the newest picture into `picture`; false when it was taken before. What is not taken in
  /// time is lost, as on every screen.
  bool take(Picture& picture);
  /// Why no more pictures come; empty as long as they do.
  std::string end() const;

 private:
  void run();
  void readPictures();
  bool pass(const vxrecord::MediaFrame& frame);
  void finish(const std::string& why);

  std::unique_ptr<vxrecord::Input> _input;
  std::function<void()> _tell;
  // Of the stream's thread.
  vxrecord::FramePacker _packer;
  vxrecord::Pacer _pacer;
  Picture _next;
  // Of both, guarded by _mutex.
  mutable std::mutex _mutex;
  Picture _newest;
  bool _isNew = false;
  std::string _end;
  // Last, so that everything above is there when it starts and still there when it ends.
  std::thread _thread;
};

}  // namespace viewer
