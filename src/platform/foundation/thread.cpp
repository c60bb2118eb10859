#include "VXVideoRecorder/platform/foundation/NSThread.h"

#include "platform/foundation/thread_name.h"

#include <execinfo.h>
#include <pthread.h>

#include <array>
#include <cstdlib>

namespace vx {

/// The system's thread behind the object, for as long as it runs.
struct NSThread::Handle {
  /// Lives in the thread and, by going away with it, cuts the object off from it: after that the
  /// system may give the same pthread_t to another thread.
  struct Attachment {
    std::shared_ptr<NSThread> thread;
    ~Attachment() {
      ended() = true;
      if (thread) {
        std::lock_guard lock(thread->_mutex);
        thread->_handle.reset();
      }
    }
  };
  /// Whether this thread's attachment is gone. Trivial, so it can be asked until the very end.
  static bool& ended() {
    thread_local bool value = false;
    return value;
  }

  pthread_t thread;
};

NSThread::NSThread() = default;
NSThread::~NSThread() = default;

std::shared_ptr<NSThread> NSThread::currentThread() {
  struct Constructible : NSThread {};
  if (Handle::ended()) {
    // Called by another thread-local object's destructor: the name reaches no thread any more.
    return std::make_shared<Constructible>();
  }
  thread_local Handle::Attachment attachment;
  if (!attachment.thread) {
    auto thread = std::make_shared<Constructible>();
    thread->_handle = std::make_unique<Handle>(Handle{::pthread_self()});
    attachment.thread = std::move(thread);
  }
  return attachment.thread;
}

[[gnu::noinline]] std::vector<std::string> NSThread::callStackSymbols() {
  constexpr int kMaximumFrames = 128;
  std::array<void*, kMaximumFrames> frames{};
  const int count = ::backtrace(frames.data(), kMaximumFrames);
  const std::unique_ptr<char*, decltype(&std::free)> texts(
      ::backtrace_symbols(frames.data(), count), &std::free);
  std::vector<std::string> symbols;
  for (int i = 1; texts && i < count; ++i) {  // 0 is this function
    symbols.emplace_back(texts.get()[i]);
  }
  return symbols;
}

std::string NSThread::name() const {
  std::lock_guard lock(_mutex);
  return _name;
}

void NSThread::setName(std::string_view name) {
  std::string whole(name);
  const std::string shown(threadNameShown(name));
  std::lock_guard lock(_mutex);
  _name = std::move(whole);
  if (_handle) {
    // Under the lock the thread cannot pass the end of its attachment, so the handle is alive.
    (void)::pthread_setname_np(_handle->thread, shown.c_str());
  }
}

std::string_view threadNameShown(std::string_view name) {
  constexpr std::size_t kMaximumBytes = 15;  // the system's 16, less the closing zero
  constexpr std::size_t kLongestCharacter = 4;
  if (name.size() <= kMaximumBytes) {
    return name;
  }
  const auto continues = [&](std::size_t at) {
    return (static_cast<unsigned char>(name[at]) & 0xC0U) == 0x80U;
  };
  for (std::size_t cut = kMaximumBytes; cut > kMaximumBytes - kLongestCharacter; --cut) {
    if (!continues(cut)) {
      return name.substr(0, cut);
    }
  }
  return name.substr(0, kMaximumBytes);  // not UTF-8, so there is no edge to keep
}

}  // namespace vx
