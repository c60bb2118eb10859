// A file system that holds nothing and reports exactly the free space that it is told to, for tests
// of limits that no disk of whole blocks can meet.
// usage: small_volume MOUNTPOINT BLOCK_SIZE FREE_BLOCKS FREE_BLOCKS_FOR_USERS
// Writes one line, "ready", once the volume is mounted, and unmounts it on SIGTERM.
#define FUSE_USE_VERSION 31
#include <fuse.h>
#include <sys/prctl.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

struct ::statvfs g_volume;  // written before the volume is mounted

int attributes(const char* path, struct ::stat* status, fuse_file_info*) {
  if (std::strcmp(path, "/") != 0) {
    return -ENOENT;
  }
  status->st_mode = S_IFDIR | 0755;
  status->st_nlink = 2;
  return 0;
}

int volumeStatus(const char*, struct ::statvfs* status) {
  *status = g_volume;
  return 0;
}

struct Unmount {
  void operator()(fuse* volume) const {
    fuse_remove_signal_handlers(fuse_get_session(volume));
    fuse_unmount(volume);
    fuse_destroy(volume);
  }
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    return 2;
  }
  ::prctl(PR_SET_PDEATHSIG, SIGTERM);  // a test that crashes leaves no mount behind
  g_volume.f_bsize = 4096;             // differs from the unit of counting, which is f_frsize
  g_volume.f_frsize = std::strtoul(argv[2], nullptr, 10);
  g_volume.f_blocks = std::strtoull(argv[3], nullptr, 10) * 2;
  g_volume.f_bfree = std::strtoull(argv[3], nullptr, 10);
  g_volume.f_bavail = std::strtoull(argv[4], nullptr, 10);
  g_volume.f_namemax = 255;

  fuse_operations operations{};
  operations.getattr = attributes;
  operations.statfs = volumeStatus;
  fuse_args arguments = FUSE_ARGS_INIT(1, argv);
  fuse* created = fuse_new(&arguments, &operations, sizeof operations, nullptr);
  fuse_opt_free_args(&arguments);  // it has grown, on the heap
  if (created == nullptr || fuse_mount(created, argv[1]) != 0) {
    return 1;
  }
  const std::unique_ptr<fuse, Unmount> volume(created);
  if (fuse_set_signal_handlers(fuse_get_session(volume.get())) != 0) {
    return 1;
  }
  std::puts("ready");
  std::fflush(stdout);
  return fuse_loop(volume.get()) < 0 ? 1 : 0;
}
