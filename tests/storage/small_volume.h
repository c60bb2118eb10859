// A mounted volume with chosen free space, or word that none can be mounted here.
#pragma once

#include "support/temporary_folder.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <string>

/// Mounts on a folder of its own and unmounts when it goes.
class SmallVolume {
 public:
  struct Space {
    std::uint64_t blockSize = 1;
    std::uint64_t freeBlocks = 0;
    std::uint64_t freeBlocksForUsers = 0;
  };
  explicit SmallVolume(Space space) { start(space); }
  ~SmallVolume() {
    if (_process > 0) {
      ::kill(_process, SIGTERM);
      ::waitpid(_process, nullptr, 0);
    }
  }
  SmallVolume(const SmallVolume&) = delete;
  SmallVolume& operator=(const SmallVolume&) = delete;

  bool mounted() const { return _mounted; }
  const std::string& path() const { return _folder.path(); }

 private:
  void start(const Space& space) {
    const std::string numbers[] = {std::to_string(space.blockSize),
                                   std::to_string(space.freeBlocks),
                                   std::to_string(space.freeBlocksForUsers)};
    int ends[2];
    if (::pipe(ends) != 0) return;
    _process = ::fork();
    if (_process == 0) {
      ::dup2(ends[1], STDOUT_FILENO);
      ::close(ends[0]);
      ::close(ends[1]);
      ::execl(VX_SMALL_VOLUME, VX_SMALL_VOLUME, path().c_str(), numbers[0].c_str(),
              numbers[1].c_str(), numbers[2].c_str(), static_cast<char*>(nullptr));
      ::_exit(127);
    }
    ::close(ends[1]);
    char first = 0;
    _mounted = ::read(ends[0], &first, 1) == 1 && first == 'r';
    ::close(ends[0]);
  }

  TemporaryFolder _folder;
  pid_t _process = -1;
  bool _mounted = false;
};
