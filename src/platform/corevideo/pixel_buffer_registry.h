// Every pixel buffer and every pool of the process, and the buffers that wait for their next use.
#pragma once

#include "VXVideoRecorder/platform/CoreVideo.h"
#include "platform/corevideo/list_link.h"

#include <chrono>
#include <mutex>

namespace vx {

/// Knows all that lives, for two reasons. A pool is never given back by those who record, and what
/// is kept on purpose must not look lost to a leak checker, so everything can be reached from here.
/// And a pool that nobody asks any more cannot clean up after itself, so each use of any pool drops
/// what has lain idle for too long in all of them.
/// Thread: any.
class PixelBufferRegistry {
 public:
  using Clock = std::chrono::steady_clock;
  using Now = Clock::time_point (*)();
  static constexpr std::chrono::milliseconds kMaxIdleTime{1000};

  static PixelBufferRegistry& instance();

  void add(CVPixelBuffer& buffer);
  void remove(CVPixelBuffer& buffer);
  void add(CVPixelBufferPool& pool);
  /// Drops the pool's idle buffers as well.
  void remove(CVPixelBufferPool& pool);

  /// The pool's idle buffer that was returned last, as if newly created, or null.
  CVPixelBufferRef takeIdle(CVPixelBufferPool& pool);
  /// Keeps a buffer that lost its last reference for its next use.
  void giveBack(CVPixelBuffer& buffer);
  /// Destroys what has been idle for longer than `kMaxIdleTime`.
  void dropExpired();
  /// Destroys every idle buffer: memory is short.
  void dropAllIdle();
  /// Destroys the idle buffers of one pool, which nobody will draw from again soon. The pool is
  /// only compared: it may be gone.
  void dropIdleOf(const CVPixelBufferPool* pool);

  struct Counts {
    std::size_t buffers = 0;  // alive, idle ones included
    std::size_t idleBuffers = 0;
    std::size_t pools = 0;
  };
  Counts counts();
  /// Tests tell the time; null is the steady clock.
  void setClock(Now newNow);

 private:
  constexpr PixelBufferRegistry() = default;

  template <typename Predicate>
  void dropIdleIf(Predicate isDropped);
  Clock::time_point now() const { return _now ? _now() : Clock::now(); }

  static PixelBufferRegistry s_instance;  // never destroyed: buffers may outlive main

  std::mutex _mutex;  // all below
  ListLink<CVPixelBuffer> _buffers;
  ListLink<CVPixelBufferPool> _pools;
  ListLink<CVPixelBuffer> _idle;  // the one that waits longest first
  Now _now = nullptr;
};

}  // namespace vx
