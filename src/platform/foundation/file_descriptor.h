// An open file or folder of the system, closed when its owner goes.
#pragma once

#include <unistd.h>

#include <utility>

namespace vx {

/// Owns one descriptor. Thread: none of its own; reading `get` from several threads is fine.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : _descriptor(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept
      : _descriptor(std::exchange(other._descriptor, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
      reset(std::exchange(other._descriptor, -1));
    }
    return *this;
  }
  ~FileDescriptor() { reset(); }

  int get() const { return _descriptor; }
  bool valid() const { return _descriptor >= 0; }
  /// Gives the descriptor away.
  [[nodiscard]] int release() { return std::exchange(_descriptor, -1); }

 private:
  void reset(int descriptor = -1) {
    if (_descriptor >= 0) {
      ::close(_descriptor);
    }
    _descriptor = descriptor;
  }

  int _descriptor = -1;
};

}  // namespace vx
