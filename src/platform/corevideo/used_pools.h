// The pools that one user of pixel buffers drew from.
#pragma once

#include "platform/corevideo/pixel_buffer.h"
#include "platform/corevideo/pixel_buffer_registry.h"

#include <algorithm>
#include <vector>

namespace vx {

/// Remembers where buffers came from, so that what lies idle there can be given back when the user
/// needs no more of them: idle buffers of other users are about to be drawn again.
/// Thread: one at a time.
class UsedPools {
 public:
  UsedPools() { _pools.reserve(kMost); }

  /// Needs no memory. A recording has one pool for each size of its frames; beyond some of them,
  /// what is idle goes when it is old.
  void note(CVPixelBufferRef buffer) {
    const CVPixelBufferPool* pool = buffer->pool;
    const bool isKnown = std::find(_pools.begin(), _pools.end(), pool) != _pools.end();
    if (pool && !isKnown && _pools.size() < kMost) {
      _pools.push_back(pool);
    }
  }

  void dropIdle() const {
    for (const CVPixelBufferPool* pool : _pools) {
      PixelBufferRegistry::instance().dropIdleOf(pool);
    }
  }

 private:
  static constexpr std::size_t kMost = 8;

  std::vector<const CVPixelBufferPool*> _pools;  // only compared: they may be gone
};

}  // namespace vx
