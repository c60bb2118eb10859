#include "platform/foundation/container_storage.h"

#include <memory>

namespace vx {
namespace {

ContainerReference shareEntries(std::vector<NSDictionary::Entry> entries) {
  if (entries.empty()) {
    return {};
  }
  return ContainerReference(std::make_unique<DictionaryStorage>(std::move(entries)).release());
}

// The storage behind `entries`, made or copied where it is not the caller's alone.
DictionaryStorage& writableStorage(ContainerReference& entries) {
  if (!entries.isUnique()) {
    const DictionaryStorage* shared = dictionaryStorage(entries);
    auto storage = std::make_unique<DictionaryStorage>(
        shared != nullptr ? shared->entries() : std::vector<NSDictionary::Entry>());
    entries = ContainerReference(storage.release());
  }
  return *dictionaryStorage(entries);
}

}  // namespace

NSDictionary::NSDictionary(std::initializer_list<Entry> entries)
    : _entries(shareEntries(std::vector<Entry>(entries))) {}

NSDictionary::NSDictionary(std::vector<Entry> entries)
    : _entries(shareEntries(std::move(entries))) {}

std::size_t NSDictionary::count() const {
  const DictionaryStorage* storage = dictionaryStorage(_entries);
  return storage != nullptr ? storage->entries().size() : 0;
}

const Object* NSDictionary::objectForKey(std::string_view key) const {
  const DictionaryStorage* storage = dictionaryStorage(_entries);
  return storage != nullptr ? storage->find(key) : nullptr;
}

const NSDictionary::Entry* NSDictionary::begin() const {
  const DictionaryStorage* storage = dictionaryStorage(_entries);
  return storage != nullptr ? storage->entries().data() : nullptr;
}

const NSDictionary::Entry* NSDictionary::end() const { return begin() + count(); }

std::vector<std::string> NSDictionary::allKeys() const {
  std::vector<std::string> keys;
  keys.reserve(count());
  for (const Entry& entry : *this) {
    keys.push_back(entry.first);
  }
  return keys;
}

void NSMutableDictionary::setObject(Object object, std::string_view key) {
  // `key` may be a part of the entries that are about to be replaced.
  const std::string ownKey(key);
  writableStorage(_entries).set(ownKey, std::move(object));
}

void NSMutableDictionary::removeObjectForKey(std::string_view key) {
  if (objectForKey(key) != nullptr) {
    const std::string ownKey(key);
    writableStorage(_entries).remove(ownKey);
  }
}

}  // namespace vx
