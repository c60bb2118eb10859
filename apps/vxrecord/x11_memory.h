// Memory that an X server on the same machine writes pictures into.
#pragma once

#include <xcb/shm.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "x11_connection.h"

namespace vxrecord {

class X11Memory {
 public:
  /// Null when the server cannot share memory with this program: it runs elsewhere, or lacks
  /// MIT-SHM.
  static std::unique_ptr<X11Memory> make(const X11Connection& connection, std::size_t sizeBytes);
  ~X11Memory();
  X11Memory(const X11Memory&) = delete;
  X11Memory& operator=(const X11Memory&) = delete;

  std::uint8_t* bytes() const { return _bytes; }
  xcb_shm_seg_t segment() const { return _segment; }

 private:
  X11Memory(const X11Connection& connection, std::uint8_t* bytes, std::size_t sizeBytes)
      : _connection(connection), _bytes(bytes), _sizeBytes(sizeBytes) {}
  bool attach(int descriptor);

  const X11Connection& _connection;
  std::uint8_t* _bytes;
  std::size_t _sizeBytes;
  xcb_shm_seg_t _segment = 0;
};

}  // namespace vxrecord
