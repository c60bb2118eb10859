// A queue between two threads, bounded by number and by bytes.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <new>
#include <optional>
#include <utility>

namespace vx {

struct QueueLimits {
  std::size_t items = 0;
  std::size_t bytes = 0;
};

/// There is room while fewer items and fewer bytes than the limits are queued, so the last item may
/// pass the byte limit and a single large one is always taken.
/// Thread: any.
template <typename T>
class BoundedQueue {
 public:
  explicit BoundedQueue(QueueLimits limits) : _limits(limits) {}

  bool hasRoom() const {
    std::lock_guard lock(_mutex);
    return !_closed && roomLeft();
  }

  /// Takes the item if there is room, in memory too, and the queue is open; never blocks.
  bool tryPush(T&& item, std::size_t bytes) {
    try {
      std::lock_guard lock(_mutex);
      if (_closed || !roomLeft()) {
        return false;
      }
      add(std::move(item), bytes);
    } catch (const std::bad_alloc&) {
      return false;
    }
    _itemAdded.notify_one();
    return true;
  }

  /// Blocks until there is room; false when the queue was closed.
  bool push(T&& item, std::size_t bytes) {
    {
      std::unique_lock lock(_mutex);
      _itemTaken.wait(lock, [&] { return _closed || roomLeft(); });
      if (_closed) {
        return false;
      }
      add(std::move(item), bytes);
    }
    _itemAdded.notify_one();
    return true;
  }

  /// Blocks until an item comes; none when the queue is closed and empty.
  std::optional<T> pop() {
    std::unique_lock lock(_mutex);
    _itemAdded.wait(lock, [&] { return _closed || !_items.empty(); });
    return take(lock);
  }

  /// Like `pop`, but none as well when `deadline` passes.
  template <typename TimePoint>
  std::optional<T> popUntil(TimePoint deadline) {
    std::unique_lock lock(_mutex);
    _itemAdded.wait_until(lock, deadline, [&] { return _closed || !_items.empty(); });
    return take(lock);
  }

  /// Blocks until there is room, the queue is closed, or the time is over; true for room.
  bool waitForRoom(std::chrono::milliseconds timeout) {
    const auto bounded = std::min<std::chrono::milliseconds>(timeout, std::chrono::hours(24 * 365));
    std::unique_lock lock(_mutex);
    _itemTaken.wait_for(lock, bounded, [&] { return _closed || roomLeft(); });
    return !_closed && roomLeft();
  }

  /// No item is taken any more; what is queued can still be popped.
  void close() {
    {
      std::lock_guard lock(_mutex);
      _closed = true;
    }
    notifyAll();
  }

  /// Closes and drops what is queued. Needs no memory.
  void closeAndClear() {
    close();
    while (popAtOnce()) {  // one by one: each is destroyed outside the lock
    }
  }

  /// How much of the limits is taken, 1 for all of either.
  double fill() const {
    std::lock_guard lock(_mutex);
    return std::min(
        1.0, std::max(static_cast<double>(_items.size()) / static_cast<double>(_limits.items),
                      static_cast<double>(_bytes) / static_cast<double>(_limits.bytes)));
  }

  bool isClosedAndEmpty() const {
    std::lock_guard lock(_mutex);
    return _closed && _items.empty();
  }

 private:
  struct Entry {
    T item;
    std::size_t bytes;
  };

  bool roomLeft() const { return _items.size() < _limits.items && _bytes < _limits.bytes; }

  void add(T&& item, std::size_t bytes) {
    _items.push_back({std::move(item), bytes});
    _bytes += bytes;
  }

  std::optional<T> popAtOnce() {
    std::unique_lock lock(_mutex);
    return take(lock);
  }

  std::optional<T> take(std::unique_lock<std::mutex>& lock) {
    if (_items.empty()) {
      return std::nullopt;
    }
    std::optional<T> item(std::move(_items.front().item));
    _bytes -= _items.front().bytes;
    _items.pop_front();
    lock.unlock();
    _itemTaken.notify_all();
    return item;
  }

  void notifyAll() {
    _itemAdded.notify_all();
    _itemTaken.notify_all();
  }

  const QueueLimits _limits;
  mutable std::mutex _mutex;
  std::condition_variable _itemAdded;
  std::condition_variable _itemTaken;
  std::deque<Entry> _items;  // guarded by _mutex
  std::size_t _bytes = 0;    // guarded by _mutex
  bool _closed = false;      // guarded by _mutex
};

}  // namespace vx
