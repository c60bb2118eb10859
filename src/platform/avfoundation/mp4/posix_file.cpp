#include "platform/avfoundation/mp4/file_errors.h"
#include "platform/avfoundation/mp4/output_file.h"
#include "platform/foundation/signal_block.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <utility>

namespace vx::mp4 {

namespace {

constexpr mode_t kFileMode = 0666;  // the process's mask takes away from it

/// Repeats a call that a signal interrupted; returns 0 or the error.
template <typename Call>
int withoutInterruption(Call call) {
  while (call() != 0)
    if (errno != EINTR) return errno;
  return 0;
}

class PosixFile final : public OutputFile {
 public:
  PosixFile(FileDescriptor descriptor, std::string path)
      : _descriptor(std::move(descriptor)),
        _path(std::move(path)),
        _absolutePath(absolute(_path)) {}

  void adopt(FileDescriptor descriptor) { _descriptor = std::move(descriptor); }

  Status writeAt(std::uint64_t offset, std::span<const std::uint8_t> bytes) override {
    const SignalBlock block(SIGXFSZ);  // beyond the process's file size limit
    while (!bytes.empty()) {
      const ssize_t written =
          ::pwrite(_descriptor.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
      if (written < 0 && errno == EINTR) continue;
      if (written < 0) return writingError(errno, _path);
      if (written == 0) return writingError(EIO, _path);
      offset += static_cast<std::uint64_t>(written);
      bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return {};
  }

  Status sync() override {
    return result(withoutInterruption([&] { return ::fdatasync(_descriptor.get()); }));
  }

  Status syncFolder() override {
    // A folder that may be written to but not read cannot be opened, and some file systems have
    // nothing to make durable here: neither is a reason not to record.
    const FileDescriptor folder(
        ::open(folderOf(_absolutePath).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.valid()) return {};
    const int error = withoutInterruption([&] { return ::fsync(folder.get()); });
    return result(error == EIO ? error : 0);
  }

  Status reserve(std::uint64_t end) override {
    if (rlimit limit{}; getrlimit(RLIMIT_FSIZE, &limit) == 0 && end > limit.rlim_cur)
      return writingError(EFBIG, _path);
    if (!_canReserve || end <= _reservedEnd) return {};
    // Ahead by a step, so that not every commit asks; at the end of the disk, what is needed.
    int error = allocate(end + kReserveStepBytes);
    if (error == ENOSPC || error == EDQUOT || error == EFBIG) error = allocate(end);
    if (error == ENOSPC || error == EDQUOT || error == EFBIG) return writingError(error, _path);
    _canReserve = error == 0;
    return {};
  }

  Status truncate(std::uint64_t sizeBytes) override {
    const int error = withoutInterruption(
        [&] { return ::ftruncate(_descriptor.get(), static_cast<off_t>(sizeBytes)); });
    _reservedEnd = 0;
    return result(error);
  }

  Status checkStillNamed() override {
    struct stat own {};
    if (::fstat(_descriptor.get(), &own) != 0) return writingError(errno, _path);
    if (own.st_nlink == 0) return removedError(_path);
    const Named named = findNamed(own);
    return named == Named::own || named == Named::unknown ? Status() : movedError(_path);
  }

  void discard() override {
    struct stat own {};
    if (::fstat(_descriptor.get(), &own) == 0 && findNamed(own) == Named::own)
      static_cast<void>(::unlink(_absolutePath.c_str()));
  }

  Status close() override {
    const int descriptor = _descriptor.release();
    if (descriptor < 0 || ::close(descriptor) == 0) return {};
    // Interrupted, it is closed all the same.
    return result(errno == EINTR ? 0 : errno);
  }

 private:
  static constexpr std::uint64_t kReserveStepBytes = std::uint64_t{16} << 20;

  /// What bears the file's name.
  enum class Named : std::uint8_t { own, notOwn, unknown };

  // The host may change its working folder while it records.
  static std::string absolute(const std::string& path) {
    std::error_code error;
    const std::filesystem::path whole = std::filesystem::absolute(path, error);
    return error ? path : whole.string();
  }

  Named findNamed(const struct stat& own) const {
    struct stat named {};
    if (::lstat(_absolutePath.c_str(), &named) != 0)
      return errno == ENOENT || errno == ENOTDIR ? Named::notOwn : Named::unknown;
    return named.st_dev == own.st_dev && named.st_ino == own.st_ino ? Named::own : Named::notOwn;
  }

  Status result(int error) const { return error == 0 ? Status() : writingError(error, _path); }

  int allocate(std::uint64_t end) {
    const SignalBlock block(SIGXFSZ);  // a disk in memory raises it for room alone
    const std::uint64_t start = _reservedEnd;
    const int error = withoutInterruption([&] {
      return ::fallocate(_descriptor.get(), FALLOC_FL_KEEP_SIZE, static_cast<off_t>(start),
                         static_cast<off_t>(end - start));
    });
    if (error == 0) _reservedEnd = end;
    return error;
  }

  FileDescriptor _descriptor;
  std::string _path;  // as the host gave it
  std::string _absolutePath;
  std::uint64_t _reservedEnd = 0;
  bool _canReserve = true;
};

}  // namespace

Status createPosixFile(const std::string& path, std::unique_ptr<OutputFile>& out) {
  // The system would cut the path at a zero byte and create another file than was asked for.
  if (path.find('\0') != std::string::npos) return creationError(EINVAL, path);
  // All the memory that it takes comes first: for want of it no empty file may stay behind.
  auto file = std::make_unique<PosixFile>(FileDescriptor(), path);
  FileDescriptor descriptor;
  do {
    descriptor = FileDescriptor(
        ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kFileMode));
  } while (!descriptor.valid() && errno == EINTR);
  if (!descriptor.valid()) return creationError(errno, path);
  if (::flock(descriptor.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
    return creationError(errno, path);
  file->adopt(std::move(descriptor));
  out = std::move(file);
  return {};
}

std::unique_ptr<OutputFile> adoptPosixFile(FileDescriptor descriptor, const std::string& path) {
  return std::make_unique<PosixFile>(std::move(descriptor), path);
}

}  // namespace vx::mp4
