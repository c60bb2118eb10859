#include "platform/foundation/container_storage.h"

#include <memory>

namespace vx {
namespace {

ContainerReference shareObjects(std::vector<Object> objects) {
  if (objects.empty()) {
    return {};
  }
  return ContainerReference(std::make_unique<ArrayStorage>(std::move(objects)).release());
}

}  // namespace

NSArray::NSArray(std::initializer_list<Object> objects)
    : _objects(shareObjects(std::vector<Object>(objects))) {}

NSArray::NSArray(std::vector<Object> objects) : _objects(shareObjects(std::move(objects))) {}

std::size_t NSArray::count() const {
  const ArrayStorage* storage = arrayStorage(_objects);
  return storage != nullptr ? storage->objects.size() : 0;
}

const Object* NSArray::objectAtIndex(std::size_t index) const {
  return index < count() ? begin() + index : nullptr;
}

const Object* NSArray::begin() const {
  const ArrayStorage* storage = arrayStorage(_objects);
  return storage != nullptr ? storage->objects.data() : nullptr;
}

const Object* NSArray::end() const { return begin() + count(); }

}  // namespace vx
