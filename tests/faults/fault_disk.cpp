// Built without sanitizers, as a shared library: some of its functions are called before a
// sanitizer's own start is over, and they must be found in front of the C library's.
#include "faults/fault_disk.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <mutex>

namespace vx::test {

struct FaultDisk::State {
  std::string folder;
  std::mutex mutex;
  Answer answer;                    // guarded by mutex
  std::vector<DiskRecord> records;  // guarded by mutex
  std::size_t calls = 0;            // guarded by mutex
  DiskCall lastCall = DiskCall::open;
  bool lastWasCutShort = false;
  std::size_t repeats = 0;
};

namespace {

enum class Watched : std::uint8_t { no, file, folder };

constexpr std::size_t kMostDescriptors = 4096;
std::array<std::atomic<Watched>, kMostDescriptors> g_watched{};
std::atomic<bool> g_isActive{false};

struct Current {
  std::mutex mutex;
  std::shared_ptr<FaultDisk::State> state;  // guarded by mutex
};

// Never destroyed: files are closed until the very end of the program.
Current& current() {
  static auto* const only = new Current;
  return *only;
}

std::shared_ptr<FaultDisk::State> currentState() {
  std::lock_guard lock(current().mutex);
  return current().state;
}

Watched watchedAs(int descriptor) {
  const auto place = static_cast<std::size_t>(descriptor);
  return descriptor >= 0 && place < kMostDescriptors ? g_watched[place].load() : Watched::no;
}

void watch(int descriptor, Watched kind) {
  const auto place = static_cast<std::size_t>(descriptor);
  if (descriptor >= 0 && place < kMostDescriptors) g_watched[place] = kind;
}

Watched kindOfPath(const FaultDisk::State& state, const std::string& path, int flags) {
  if (path == state.folder) return (flags & O_DIRECTORY) != 0 ? Watched::folder : Watched::no;
  const bool isBelow = path.size() > state.folder.size() + 1 &&
                       path.compare(0, state.folder.size() + 1, state.folder + "/") == 0;
  return isBelow && (flags & O_ACCMODE) != O_RDONLY ? Watched::file : Watched::no;
}

/// One call: its number is taken and its answer asked before it is done, its outcome noted after.
class Intervention {
 public:
  Intervention(DiskCall call, std::uint64_t offset, std::uint64_t sizeBytes)
      : _state(currentState()) {
    if (!_state) return;
    FaultDisk::Answer answer;
    {
      std::lock_guard lock(_state->mutex);
      _record.event = {call, ++_state->calls, 0, offset, sizeBytes};
      const bool isRepeat = _state->lastWasCutShort && _state->lastCall == call;
      _state->repeats = isRepeat ? _state->repeats + 1 : 0;
      _state->lastCall = call;
      _record.event.repeat = _state->repeats;
      answer = _state->answer;
    }
    _record.start = std::chrono::steady_clock::now();
    if (answer) _answer = answer(_record.event);
  }

  const DiskAnswer& answer() const { return _answer; }
  bool fails() const { return _answer.error != 0; }

  /// Notes the outcome, and leaves errno as a failed call would.
  int fail() { return done(-1, _answer.error); }
  template <typename Result>
  Result done(Result result, int error, const void* bytes = nullptr) {
    if (_state) {
      _record.error = error;
      _record.end = std::chrono::steady_clock::now();
      const bool isWrite = bytes != nullptr && result > 0;
      const auto* first = static_cast<const std::uint8_t*>(bytes);
      if (isWrite) _record.bytes.assign(first, first + result);
      std::lock_guard lock(_state->mutex);
      _state->lastWasCutShort = error == EINTR || (isWrite && static_cast<std::uint64_t>(result) <
                                                                  _record.event.sizeBytes);
      _state->records.push_back(std::move(_record));
    }
    errno = error;
    return result;
  }

 private:
  std::shared_ptr<FaultDisk::State> _state;
  DiskRecord _record;
  DiskAnswer _answer;
};

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

template <typename Call>
int intervene(DiskCall kind, std::uint64_t offset, std::uint64_t sizeBytes, Call call) {
  Intervention intervention(kind, offset, sizeBytes);
  if (intervention.fails()) return intervention.fail();
  const int result = intervention.answer().pretend ? 0 : call();
  return intervention.done(result, result == 0 ? 0 : errno);
}

template <typename Open>
int openWatched(const char* path, int flags, Open open) {
  const std::shared_ptr<FaultDisk::State> state = g_isActive ? currentState() : nullptr;
  const Watched kind = state ? kindOfPath(*state, path, flags) : Watched::no;
  if (kind != Watched::file) {
    const int descriptor = open();
    watch(descriptor, kind);
    return descriptor;
  }
  Intervention intervention(DiskCall::open, 0, 0);
  if (intervention.fails()) return intervention.fail();
  const int descriptor = open();
  watch(descriptor, kind);
  return intervention.done(descriptor, descriptor < 0 ? errno : 0);
}

template <typename Write>
ssize_t writeWatched(const void* bytes, std::size_t count, std::uint64_t offset, Write write) {
  Intervention intervention(DiskCall::write, offset, count);
  if (intervention.fails()) return intervention.fail();
  const auto& limit = intervention.answer().shortenTo;
  const ssize_t written = write(limit ? std::min(count, *limit) : count);
  return intervention.done(written, written < 0 ? errno : 0, bytes);
}

}  // namespace

std::string nameOf(DiskCall call) {
  switch (call) {
    case DiskCall::open:
      return "open";
    case DiskCall::write:
      return "write";
    case DiskCall::allocate:
      return "fallocate";
    case DiskCall::truncate:
      return "ftruncate";
    case DiskCall::sync:
      return "fdatasync";
    case DiskCall::syncFolder:
      return "fsync of the folder";
    case DiskCall::close:
      return "close";
  }
  return "?";
}

FaultDisk::FaultDisk(const std::string& folder, Answer answer) : _state(std::make_shared<State>()) {
  _state->folder = folder;
  _state->answer = std::move(answer);
  std::lock_guard lock(current().mutex);
  current().state = _state;
  g_isActive = true;
}

FaultDisk::~FaultDisk() {
  std::lock_guard lock(current().mutex);
  current().state = nullptr;
  g_isActive = false;
}

void FaultDisk::answerWith(Answer answer) {
  std::lock_guard lock(_state->mutex);
  _state->answer = std::move(answer);
}

std::size_t FaultDisk::callCount() const {
  std::lock_guard lock(_state->mutex);
  return _state->calls;
}

std::vector<DiskRecord> FaultDisk::records() const {
  std::lock_guard lock(_state->mutex);
  return _state->records;
}

FaultDisk::Answer failCall(std::size_t k, int error, bool forEver) {
  return [=](const DiskEvent& event) -> DiskAnswer {
    const bool fails = forEver ? event.number >= k : event.number == k;
    return {.error = fails ? error : 0};
  };
}

FaultDisk::Answer withoutWaiting(FaultDisk::Answer answer) {
  return [answer = std::move(answer)](const DiskEvent& event) {
    DiskAnswer result = answer ? answer(event) : DiskAnswer{};
    result.pretend = event.call == DiskCall::sync || event.call == DiskCall::syncFolder;
    return result;
  };
}

FaultDisk::Answer interruptEveryCall() {
  return [](const DiskEvent& event) -> DiskAnswer {
    return {.error = event.repeat == 0 && event.call != DiskCall::close ? EINTR : 0};
  };
}

FaultDisk::Answer shortenEveryWrite() {
  return [](const DiskEvent& event) -> DiskAnswer {
    if (event.sizeBytes < 2) return {};
    return {.shortenTo = static_cast<std::size_t>(event.sizeBytes / 2)};
  };
}

}  // namespace vx::test

// ---- the system's calls --------------------------------------------------------------------

using namespace vx::test;

namespace {

mode_t modeOf(int flags, std::va_list arguments) {
  return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

extern "C" {

#define VX_DEFINE_OPEN(name)                                                  \
  int name(const char* path, int flags, ...) {                                \
    std::va_list arguments;                                                   \
    va_start(arguments, flags);                                               \
    const mode_t mode = modeOf(flags, arguments);                             \
    va_end(arguments);                                                        \
    static auto* const real = next<int(const char*, int, ...)>(#name);        \
    return openWatched(path, flags, [&] { return real(path, flags, mode); }); \
  }
VX_DEFINE_OPEN(open)
VX_DEFINE_OPEN(open64)

#define VX_DEFINE_OPENAT(name)                                                        \
  int name(int folder, const char* path, int flags, ...) {                            \
    std::va_list arguments;                                                           \
    va_start(arguments, flags);                                                       \
    const mode_t mode = modeOf(flags, arguments);                                     \
    va_end(arguments);                                                                \
    static auto* const real = next<int(int, const char*, int, ...)>(#name);           \
    return openWatched(path, flags, [&] { return real(folder, path, flags, mode); }); \
  }
VX_DEFINE_OPENAT(openat)
VX_DEFINE_OPENAT(openat64)

ssize_t write(int descriptor, const void* bytes, std::size_t count) {
  static auto* const real = next<ssize_t(int, const void*, std::size_t)>("write");
  if (watchedAs(descriptor) != Watched::file) return real(descriptor, bytes, count);
  const auto offset = static_cast<std::uint64_t>(::lseek(descriptor, 0, SEEK_CUR));
  return writeWatched(bytes, count, offset,
                      [&](std::size_t most) { return real(descriptor, bytes, most); });
}

#define VX_DEFINE_PWRITE(name, Offset)                                                            \
  ssize_t name(int descriptor, const void* bytes, std::size_t count, Offset offset) {             \
    static auto* const real = next<ssize_t(int, const void*, std::size_t, Offset)>(#name);        \
    if (watchedAs(descriptor) != Watched::file) return real(descriptor, bytes, count, offset);    \
    return writeWatched(bytes, count, static_cast<std::uint64_t>(offset),                         \
                        [&](std::size_t most) { return real(descriptor, bytes, most, offset); }); \
  }
VX_DEFINE_PWRITE(pwrite, off_t)
VX_DEFINE_PWRITE(pwrite64, off64_t)

#define VX_DEFINE_FALLOCATE(name, Offset)                                                    \
  int name(int descriptor, int mode, Offset offset, Offset size) {                           \
    static auto* const real = next<int(int, int, Offset, Offset)>(#name);                    \
    if (watchedAs(descriptor) != Watched::file) return real(descriptor, mode, offset, size); \
    return intervene(DiskCall::allocate, static_cast<std::uint64_t>(offset),                 \
                     static_cast<std::uint64_t>(size),                                       \
                     [&] { return real(descriptor, mode, offset, size); });                  \
  }
VX_DEFINE_FALLOCATE(fallocate, off_t)
VX_DEFINE_FALLOCATE(fallocate64, off64_t)

#define VX_DEFINE_FTRUNCATE(name, Offset)                                      \
  int name(int descriptor, Offset size) noexcept {                             \
    static auto* const real = next<int(int, Offset)>(#name);                   \
    if (watchedAs(descriptor) != Watched::file) return real(descriptor, size); \
    return intervene(DiskCall::truncate, 0, static_cast<std::uint64_t>(size),  \
                     [&] { return real(descriptor, size); });                  \
  }
VX_DEFINE_FTRUNCATE(ftruncate, off_t)
VX_DEFINE_FTRUNCATE(ftruncate64, off64_t)

int fdatasync(int descriptor) {
  static auto* const real = next<int(int)>("fdatasync");
  if (watchedAs(descriptor) != Watched::file) return real(descriptor);
  return intervene(DiskCall::sync, 0, 0, [&] { return real(descriptor); });
}

int fsync(int descriptor) {
  static auto* const real = next<int(int)>("fsync");
  const Watched kind = watchedAs(descriptor);
  if (kind == Watched::no) return real(descriptor);
  return intervene(kind == Watched::file ? DiskCall::sync : DiskCall::syncFolder, 0, 0,
                   [&] { return real(descriptor); });
}

int close(int descriptor) {
  static auto* const real = next<int(int)>("close");
  const Watched kind = watchedAs(descriptor);
  watch(descriptor, Watched::no);
  if (kind != Watched::file) return real(descriptor);
  Intervention intervention(DiskCall::close, 0, 0);
  // Whatever it answers, the system closes the file.
  const int result = real(descriptor);
  if (intervention.fails()) return intervention.fail();
  return intervention.done(result, result == 0 ? 0 : errno);
}

}  // extern "C"
