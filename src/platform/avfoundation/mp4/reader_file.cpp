#include "platform/avfoundation/mp4/reader_file.h"

#include "platform/avfoundation/mp4/file_errors.h"
#include "platform/foundation/file_descriptor.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace vx::mp4 {

namespace {

class PosixInput final : public ReaderInput {
 public:
  PosixInput(FileDescriptor descriptor, std::uint64_t sizeBytes, std::string path)
      : _descriptor(std::move(descriptor)), _sizeBytes(sizeBytes), _path(std::move(path)) {}

  std::uint64_t sizeBytes() const override { return _sizeBytes; }

 protected:
  Status readAt(std::uint64_t offset, std::span<std::uint8_t> bytes, std::size_t& count) override {
    count = 0;
    while (count < bytes.size()) {
      const ssize_t read = ::pread(_descriptor.get(), bytes.data() + count, bytes.size() - count,
                                   static_cast<off_t>(offset + count));
      if (read < 0 && errno == EINTR) continue;
      if (read < 0) return readingError(errno, _path);
      if (read == 0) break;
      count += static_cast<std::size_t>(read);
    }
    return {};
  }

 private:
  FileDescriptor _descriptor;
  std::uint64_t _sizeBytes;
  std::string _path;
};

using ErrorText = Status (*)(int, const std::string&);

Status openRegularFile(const std::string& path, int flags, ErrorText errorText,
                       FileDescriptor& descriptor, std::uint64_t& sizeBytes) {
  // The system would cut the path at a zero byte and open another file than was asked for.
  if (path.find('\0') != std::string::npos) return errorText(ENOENT, path);
  do {
    // Without waiting: a pipe that nobody writes to must not hold us up.
    descriptor = FileDescriptor(::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  } while (!descriptor.valid() && errno == EINTR);
  if (!descriptor.valid()) return errorText(errno, path);
  struct stat status {};
  if (::fstat(descriptor.get(), &status) != 0) return errorText(errno, path);
  if (!S_ISREG(status.st_mode)) return errorText(EISDIR, path);
  sizeBytes = static_cast<std::uint64_t>(status.st_size);
  return {};
}

/// Whether somebody else holds the file. Where a file system knows no locks, nobody does.
bool isHeldByOthers(int descriptor, int lock) {
  return ::flock(descriptor, lock | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

}  // namespace

Status openToRead(const std::string& path, OpenedFile& file) {
  file = {};
  FileDescriptor descriptor;
  std::uint64_t sizeBytes = 0;
  if (Status s = openRegularFile(path, O_RDONLY, openingError, descriptor, sizeBytes); !s.ok())
    return s;
  // An empty file may be one that a recorder has created and is about to lock: it must find it
  // free.
  file.isHeld = sizeBytes > 0 && isHeldByOthers(descriptor.get(), LOCK_SH);
  file.input = std::make_unique<PosixInput>(std::move(descriptor), sizeBytes, path);
  return {};
}

Status openToRepair(const std::string& path, OpenedFile& file) {
  file = {};
  FileDescriptor descriptor;
  std::uint64_t sizeBytes = 0;
  if (Status s = openRegularFile(path, O_RDWR | O_NOFOLLOW, repairingError, descriptor, sizeBytes);
      !s.ok())
    return s;
  file.isHeld = sizeBytes > 0 && isHeldByOthers(descriptor.get(), LOCK_EX);
  FileDescriptor shared(::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, 0));
  if (!shared.valid()) return repairingError(errno, path);
  // It may have grown until it was let go.
  struct stat status {};
  if (::fstat(shared.get(), &status) != 0) return repairingError(errno, path);
  file.input = std::make_unique<PosixInput>(std::move(shared),
                                            static_cast<std::uint64_t>(status.st_size), path);
  if (!file.isHeld) file.output = adoptPosixFile(std::move(descriptor), path);
  return {};
}

}  // namespace vx::mp4
