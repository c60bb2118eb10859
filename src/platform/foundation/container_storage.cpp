#include "platform/foundation/container_storage.h"

#include <algorithm>
#include <memory>
#include <numeric>

namespace vx {
namespace {

// Storage that lost its last reference while this thread was already destroying some. Destroying it
// later instead of at once keeps the stack flat for containers nested to any depth.
thread_local ContainerStorage* unreferenced = nullptr;
thread_local bool isDestroying = false;

void destroyUnreferenced() noexcept {
  isDestroying = true;
  while (unreferenced != nullptr) {
    const std::unique_ptr<ContainerStorage> storage(
        std::exchange(unreferenced, unreferenced->nextUnreferenced));
  }
  isDestroying = false;
}

}  // namespace

void ContainerReference::retain(ContainerStorage* storage) noexcept {
  storage->references.fetch_add(1, std::memory_order_relaxed);
}

void ContainerReference::release(ContainerStorage* storage) noexcept {
  if (storage->references.fetch_sub(1, std::memory_order_acq_rel) != 1) {
    return;
  }
  storage->nextUnreferenced = std::exchange(unreferenced, storage);
  if (!isDestroying) {
    destroyUnreferenced();
  }
}

bool ContainerReference::isUnique() const {
  // Acquire: what other owners read before they let go happened before what the caller changes.
  return _storage != nullptr && _storage->references.load(std::memory_order_acquire) == 1;
}

DictionaryStorage::DictionaryStorage(std::vector<Entry> entries) : _entries(std::move(entries)) {
  dropRepeatedKeys();
}

std::vector<DictionaryStorage::Position>::const_iterator DictionaryStorage::lowerBound(
    std::string_view key) const {
  return std::lower_bound(_byKey.begin(), _byKey.end(), key,
                          [this](Position position, std::string_view wanted) {
                            return std::string_view(_entries[position].first) < wanted;
                          });
}

std::size_t DictionaryStorage::positionOf(std::string_view key) const {
  if (isIndexed()) {
    const auto found = lowerBound(key);
    const bool matches = found != _byKey.end() && _entries[*found].first == key;
    return matches ? *found : _entries.size();
  }
  const auto found = std::find_if(_entries.begin(), _entries.end(),
                                  [key](const Entry& entry) { return entry.first == key; });
  return static_cast<std::size_t>(found - _entries.begin());
}

const Object* DictionaryStorage::find(std::string_view key) const {
  const std::size_t position = positionOf(key);
  return position < _entries.size() ? &_entries[position].second : nullptr;
}

void DictionaryStorage::set(std::string_view key, Object object) {
  const std::size_t position = positionOf(key);
  if (position < _entries.size()) {
    _entries[position].second = std::move(object);
    return;
  }
  const std::ptrdiff_t rank = lowerBound(key) - _byKey.begin();
  _byKey.reserve(_entries.size() + 1);  // what may fail comes before what changes
  _entries.push_back(Entry(key, std::move(object)));
  if (_entries.size() == kIndexedFrom) {
    rebuildIndex();
  } else if (isIndexed()) {
    _byKey.insert(_byKey.begin() + rank, static_cast<Position>(position));
  }
}

void DictionaryStorage::remove(std::string_view key) {
  const std::size_t position = positionOf(key);
  if (position < _entries.size()) {
    _entries.erase(_entries.begin() + static_cast<std::ptrdiff_t>(position));
    rebuildIndex();
  }
}

void DictionaryStorage::dropRepeatedKeys() {
  if (isIndexed()) {
    dropRepeatedKeysByIndex();
    rebuildIndex();
    return;
  }
  for (std::size_t i = 1; i < _entries.size();) {
    const auto current = _entries.begin() + static_cast<std::ptrdiff_t>(i);
    const auto first = std::find_if(_entries.begin(), current, [current](const Entry& entry) {
      return entry.first == current->first;
    });
    if (first == current) {
      ++i;
      continue;
    }
    first->second = std::move(current->second);
    _entries.erase(current);
  }
}

void DictionaryStorage::dropRepeatedKeysByIndex() {
  rebuildIndex();
  std::vector<bool> repeated(_entries.size());
  bool any = false;
  for (std::size_t first = 0, i = 1; i < _byKey.size(); ++i) {
    if (_entries[_byKey[i]].first != _entries[_byKey[first]].first) {
      first = i;
      continue;
    }
    _entries[_byKey[first]].second = std::move(_entries[_byKey[i]].second);
    repeated[_byKey[i]] = true;
    any = true;
  }
  if (!any) {
    return;
  }
  std::size_t kept = 0;
  for (std::size_t i = 0; i < _entries.size(); ++i) {
    if (!repeated[i]) {
      if (kept != i) {
        _entries[kept] = std::move(_entries[i]);
      }
      ++kept;
    }
  }
  _entries.resize(kept);
}

// Equal keys stay in the order of their positions.
void DictionaryStorage::rebuildIndex() {
  _byKey.resize(isIndexed() ? _entries.size() : 0);
  std::iota(_byKey.begin(), _byKey.end(), Position{0});
  std::stable_sort(_byKey.begin(), _byKey.end(), [this](Position a, Position b) {
    return _entries[a].first < _entries[b].first;
  });
}

}  // namespace vx
