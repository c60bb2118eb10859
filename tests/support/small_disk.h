// Disks and limits that are soon reached.
#pragma once

#include "support/temporary_folder.h"

#include <sys/mount.h>
#include <sys/resource.h>

#include <fstream>
#include <string>

namespace vx::test {

/// A small file system of its own while this lives. Only root can mount one.
class SmallDisk {
 public:
  explicit SmallDisk(const std::string& options) {
    _isMounted = ::mount("tmpfs", _folder.path().c_str(), "tmpfs", 0, options.c_str()) == 0;
  }
  ~SmallDisk() {
    if (_isMounted) ::umount2(_folder.path().c_str(), MNT_DETACH);
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

  bool isMounted() const { return _isMounted; }
  const std::string& path() const { return _folder.path(); }
  std::string file(const std::string& name) const { return _folder / name; }
  /// Takes what is left, as another program might.
  void fill() const {
    std::ofstream other(file("other"), std::ios::binary | std::ios::app);
    for (const std::size_t size : {std::size_t{1} << 16, std::size_t{1}}) {
      const std::string block(size, 'x');
      while (other.write(block.data(), static_cast<std::streamsize>(size)) && other.flush()) {
      }
      other.clear();
    }
  }

 private:
  TemporaryFolder _folder;
  bool _isMounted = false;
};

/// A limit on the size of the process's files while this lives.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    ::getrlimit(RLIMIT_FSIZE, &_before);
    const rlimit limit{bytes, _before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &_before); }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit _before{};
};

}  // namespace vx::test
