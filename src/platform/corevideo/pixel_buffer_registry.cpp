#include "platform/corevideo/pixel_buffer_registry.h"

#include "platform/corevideo/pixel_buffer.h"

#include <type_traits>

namespace vx {

namespace {

template <typename Owner>
std::size_t length(const ListLink<Owner>& head) {
  std::size_t count = 0;
  for (const auto* link = head.next; link != &head; link = link->next) {
    ++count;
  }
  return count;
}

}  // namespace

constinit PixelBufferRegistry PixelBufferRegistry::s_instance;
static_assert(std::is_trivially_destructible_v<PixelBufferRegistry>);

PixelBufferRegistry& PixelBufferRegistry::instance() { return s_instance; }

void PixelBufferRegistry::add(CVPixelBuffer& buffer) {
  std::lock_guard lock(_mutex);
  buffer.registryLink.insertBefore(_buffers);
}

void PixelBufferRegistry::remove(CVPixelBuffer& buffer) {
  std::lock_guard lock(_mutex);
  buffer.registryLink.leave();
}

void PixelBufferRegistry::add(CVPixelBufferPool& pool) {
  std::lock_guard lock(_mutex);
  pool.registryLink.insertBefore(_pools);
}

void PixelBufferRegistry::remove(CVPixelBufferPool& pool) {
  {
    std::lock_guard lock(_mutex);
    pool.registryLink.leave();
  }
  dropIdleOf(&pool);
}

CVPixelBufferRef PixelBufferRegistry::takeIdle(CVPixelBufferPool& pool) {
  std::lock_guard lock(_mutex);
  for (auto* link = _idle.previous; link != &_idle; link = link->previous) {
    CVPixelBuffer* buffer = link->owner;
    if (buffer->pool == &pool) {
      link->leave();
      buffer->startNewLife();
      pool.retain();
      return buffer;
    }
  }
  return nullptr;
}

void PixelBufferRegistry::giveBack(CVPixelBuffer& buffer) {
  CVPixelBufferPool* pool = buffer.pool;
  {
    std::lock_guard lock(_mutex);
    buffer.idleSince = now();
    buffer.idleLink.insertBefore(_idle);
  }
  // From here on another thread may have drawn the buffer again.
  dropExpired();
  pool->release();
}

void PixelBufferRegistry::dropExpired() {
  Clock::time_point oldest;
  {
    std::lock_guard lock(_mutex);
    oldest = now() - kMaxIdleTime;
    if (_idle.next == &_idle || _idle.next->owner->idleSince >= oldest) {
      return;
    }
  }
  dropIdleIf([&](const CVPixelBuffer& buffer) { return buffer.idleSince < oldest; });
}

void PixelBufferRegistry::dropAllIdle() {
  dropIdleIf([](const CVPixelBuffer&) { return true; });
}

void PixelBufferRegistry::dropIdleOf(const CVPixelBufferPool* pool) {
  dropIdleIf([&](const CVPixelBuffer& buffer) { return buffer.pool == pool; });
}

// Giving memory back to the system takes its time, so the buffers are destroyed without the lock.
template <typename Predicate>
void PixelBufferRegistry::dropIdleIf(Predicate isDropped) {
  ListLink<CVPixelBuffer> dropped;
  {
    std::lock_guard lock(_mutex);
    for (auto* link = _idle.next; link != &_idle;) {
      auto* next = link->next;
      if (isDropped(*link->owner)) {
        link->leave();
        link->insertBefore(dropped);
      }
      link = next;
    }
  }
  while (dropped.next != &dropped) {
    CVPixelBuffer* buffer = dropped.next->owner;
    buffer->idleLink.leave();
    delete buffer;
  }
}

PixelBufferRegistry::Counts PixelBufferRegistry::counts() {
  std::lock_guard lock(_mutex);
  return {length(_buffers), length(_idle), length(_pools)};
}

void PixelBufferRegistry::setClock(Now newNow) {
  std::lock_guard lock(_mutex);
  _now = newNow;
}

}  // namespace vx
