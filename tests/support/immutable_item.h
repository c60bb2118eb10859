// Files and folders that even root cannot change.
#pragma once

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <string>

/// Makes a file or folder unchangeable, even for root, while it lives. Not every file system offers
/// that.
class ImmutableItem {
 public:
  explicit ImmutableItem(const std::string& path)
      : _descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC)), _works(set(FS_IMMUTABLE_FL)) {}
  ~ImmutableItem() {
    set(0);
    ::close(_descriptor);
  }
  ImmutableItem(const ImmutableItem&) = delete;
  ImmutableItem& operator=(const ImmutableItem&) = delete;
  bool works() const { return _works; }

 private:
  bool set(int flag) const {
    int flags = 0;
    if (::ioctl(_descriptor, FS_IOC_GETFLAGS, &flags) != 0) return false;
    flags = (flags & ~FS_IMMUTABLE_FL) | flag;
    return ::ioctl(_descriptor, FS_IOC_SETFLAGS, &flags) == 0;
  }

  int _descriptor;
  bool _works;
};
