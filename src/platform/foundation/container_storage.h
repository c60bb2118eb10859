// What arrays and dictionaries share behind their references.
#pragma once

#include "VXVideoRecorder/platform/foundation/NSObject.h"

#include <atomic>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace vx {

/// Born with one reference, which a `ContainerReference` takes over.
struct ContainerStorage {
  ContainerStorage() = default;
  ContainerStorage(const ContainerStorage&) = delete;
  ContainerStorage& operator=(const ContainerStorage&) = delete;
  virtual ~ContainerStorage() = default;

  std::atomic<std::size_t> references{1};
  ContainerStorage* nextUnreferenced = nullptr;  // belongs to the thread that destroys
};

struct ArrayStorage final : ContainerStorage {
  explicit ArrayStorage(std::vector<Object> elements) : objects(std::move(elements)) {}
  std::vector<Object> objects;
};

/// Entries in the order of their first setting. Above a few entries an index by key keeps look-ups
/// logarithmic, whatever keys a foreign text brings (a hash table would need a secret seed for
/// that promise).
class DictionaryStorage final : public ContainerStorage {
 public:
  using Entry = NSDictionary::Entry;

  /// A key given twice keeps its first place and its last value.
  explicit DictionaryStorage(std::vector<Entry> entries);

  const std::vector<Entry>& entries() const { return _entries; }
  const Object* find(std::string_view key) const;
  void set(std::string_view key, Object object);
  void remove(std::string_view key);

 private:
  using Position = std::uint32_t;
  static constexpr std::size_t kIndexedFrom = 17;  // fewer entries are found faster one by one

  bool isIndexed() const { return _entries.size() >= kIndexedFrom; }
  std::size_t positionOf(std::string_view key) const;
  std::vector<Position>::const_iterator lowerBound(std::string_view key) const;
  void dropRepeatedKeys();
  void dropRepeatedKeysByIndex();
  void rebuildIndex();

  std::vector<Entry> _entries;
  std::vector<Position> _byKey;  // positions sorted by key; empty unless indexed
};

/// The elements behind a reference; null for an empty container.
inline const ArrayStorage* arrayStorage(const ContainerReference& reference) {
  return static_cast<const ArrayStorage*>(reference.get());
}
inline DictionaryStorage* dictionaryStorage(const ContainerReference& reference) {
  return static_cast<DictionaryStorage*>(reference.get());
}

}  // namespace vx
