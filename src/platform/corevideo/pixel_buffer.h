#pragma once

#include "platform/corevideo/list_link.h"
#include "platform/corevideo/pixel_layout.h"
#include "platform/corevideo/pixel_memory.h"
#include "platform/foundation/cf_object.h"

#include <chrono>

namespace vx {

/// One picture.
struct CVPixelBuffer final : CFObject {
  /// A black buffer, known to the registry; null without enough memory.
  static CVPixelBufferRef create(const PixelLayout& layout);
  ~CVPixelBuffer() override;

  std::uint8_t* planeBase(std::size_t index) const {
    return memory.base() + layout.planes[index].offset;
  }

  const PixelLayout layout;
  const PixelMemory memory;
  /// Where the last release takes the buffer; null for one that stands alone. A buffer in use keeps
  /// a reference to its pool.
  CVPixelBufferPoolRef pool = nullptr;

  // Under the registry's lock.
  ListLink<CVPixelBuffer> registryLink{this};
  ListLink<CVPixelBuffer> idleLink{this};
  std::chrono::steady_clock::time_point idleSince;

 private:
  friend class PixelBufferRegistry;  // hands buffers out again

  CVPixelBuffer(const PixelLayout& bufferLayout, PixelMemory bufferMemory);
  void lastReferenceGone() noexcept override;
  void fillBlack();
};

/// Buffers of one layout. The idle ones wait in the registry.
struct CVPixelBufferPool final : CFObject {
  CVPixelBufferPool(const PixelLayout& bufferLayout, const NSDictionary& bufferAttributes);
  ~CVPixelBufferPool() override;

  const PixelLayout layout;
  const NSDictionary attributes;                   // as given at creation
  ListLink<CVPixelBufferPool> registryLink{this};  // under the registry's lock
};

}  // namespace vx
