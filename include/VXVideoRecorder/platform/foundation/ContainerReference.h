// How containers of values share their elements.
#pragma once

#include <utility>

#pragma GCC visibility push(default)

namespace vx {

/// The elements of one container, counted.
struct ContainerStorage;

/// One reference to a container's elements; none for an empty container.
///
/// Thread: copies of a reference may be made and destroyed on any thread. The last one destroys the
/// elements, with a stack that does not grow with their nesting.
class ContainerReference {
 public:
  ContainerReference() = default;
  /// Takes over the reference that new storage is born with.
  explicit ContainerReference(ContainerStorage* storage) noexcept : _storage(storage) {}
  ContainerReference(const ContainerReference& other) noexcept : _storage(other._storage) {
    if (_storage != nullptr) {
      retain(_storage);
    }
  }
  ContainerReference(ContainerReference&& other) noexcept
      : _storage(std::exchange(other._storage, nullptr)) {}
  ContainerReference& operator=(ContainerReference other) noexcept {
    std::swap(_storage, other._storage);
    return *this;
  }
  ~ContainerReference() {
    if (_storage != nullptr) {
      release(_storage);
    }
  }

  ContainerStorage* get() const { return _storage; }
  /// True when nobody else refers to the elements, so that they may be changed.
  bool isUnique() const;

 private:
  static void retain(ContainerStorage* storage) noexcept;
  static void release(ContainerStorage* storage) noexcept;
  ContainerStorage* _storage = nullptr;
};

}  // namespace vx

#pragma GCC visibility pop
