#include "x11_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <utility>

namespace vxrecord {
namespace {

/// A descriptor of memory without a name: nothing is left behind when the program is killed.
class MemoryFile {
 public:
  explicit MemoryFile(std::size_t sizeBytes) : _descriptor(memfd_create("picture", MFD_CLOEXEC)) {
    if (_descriptor >= 0 && ftruncate(_descriptor, static_cast<off_t>(sizeBytes)) != 0) {
      close(std::exchange(_descriptor, -1));
    }
  }
  ~MemoryFile() {
    if (_descriptor >= 0) {
      close(_descriptor);
    }
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  int get() const { return _descriptor; }
  int release() { return std::exchange(_descriptor, -1); }

 private:
  int _descriptor;
};

// Memory is passed by its descriptor, which the extension can do from 1.2 on.
bool canPassMemory(const X11Connection& connection) {
  if (!connection.extension(xcb_shm_id)) {
    return false;
  }
  const XcbPointer<xcb_shm_query_version_reply_t> version(xcb_shm_query_version_reply(
      connection.get(), xcb_shm_query_version(connection.get()), nullptr));
  return version && std::pair(version->major_version, version->minor_version) >=
                        std::pair<std::uint16_t, std::uint16_t>(1, 2);
}

}  // namespace

std::unique_ptr<X11Memory> X11Memory::make(const X11Connection& connection, std::size_t sizeBytes) {
  if (!canPassMemory(connection)) {
    return nullptr;
  }
  MemoryFile file(sizeBytes);
  if (file.get() < 0) {
    return nullptr;
  }
  void* bytes = mmap(nullptr, sizeBytes, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
  if (bytes == MAP_FAILED) {
    return nullptr;
  }
  std::unique_ptr<X11Memory> memory(
      new X11Memory(connection, static_cast<std::uint8_t*>(bytes), sizeBytes));
  return memory->attach(file.release()) ? std::move(memory) : nullptr;
}

// A connection that cannot pass descriptors, as one over the network, closes them and answers with
// an error.
bool X11Memory::attach(int descriptor) {
  const xcb_shm_seg_t segment = xcb_generate_id(_connection.get());
  const xcb_void_cookie_t cookie =
      xcb_shm_attach_fd_checked(_connection.get(), segment, descriptor, 0);
  const XcbPointer<xcb_generic_error_t> error(xcb_request_check(_connection.get(), cookie));
  if (error || !_connection.isAlive()) {
    return false;
  }
  _segment = segment;
  return true;
}

X11Memory::~X11Memory() {
  if (_segment != 0) {
    xcb_shm_detach(_connection.get(), _segment);
  }
  munmap(_bytes, _sizeBytes);
}

}  // namespace vxrecord
