#include "platform/foundation/small_file.h"

#include "platform/foundation/file_descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace vx {
namespace {

constexpr std::size_t kMaximumBytes = std::size_t{1} << 20;

ssize_t readSome(int descriptor, char* buffer, std::size_t size) {
  for (;;) {
    const ssize_t count = ::read(descriptor, buffer, size);
    if (count >= 0 || errno != EINTR) {
      return count;
    }
  }
}

}  // namespace

std::optional<std::string> contentsOfSmallFile(const std::string& path) {
  // Without blocking: opening a named pipe would otherwise wait for its other end.
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status {};
  if (!file.valid() || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  std::string contents;
  char buffer[4096];
  ssize_t count = 0;
  while ((count = readSome(file.get(), buffer, sizeof buffer)) > 0) {
    contents.append(buffer, static_cast<std::size_t>(count));
    if (contents.size() > kMaximumBytes) {
      return std::nullopt;
    }
  }
  return count == 0 ? std::optional(std::move(contents)) : std::nullopt;
}

}  // namespace vx
