// When values are equal. Nested containers are compared with a list of what is still to be
// compared, so the stack does not grow with their depth.
#include "platform/foundation/container_storage.h"

#include <algorithm>

namespace vx {
namespace {

using ToCompare = std::vector<std::pair<const Object*, const Object*>>;

bool addElements(const NSArray& a, const NSArray& b, ToCompare& pairs) {
  if (a.count() != b.count()) {
    return false;
  }
  if (a.begin() != b.begin()) {  // else the same elements
    for (std::size_t i = 0; i < a.count(); ++i) {
      pairs.emplace_back(a.begin() + i, b.begin() + i);
    }
  }
  return true;
}

bool addElements(const NSDictionary& a, const NSDictionary& b, ToCompare& pairs) {
  if (a.count() != b.count()) {
    return false;
  }
  if (a.begin() == b.begin()) {
    return true;
  }
  for (const auto& [key, value] : a) {
    const Object* other = b.objectForKey(key);
    if (other == nullptr) {
      return false;
    }
    pairs.emplace_back(&value, other);
  }
  return true;
}

template <typename Kind>
bool bothEqual(const Kind* a, const Kind* b) {
  return a != nullptr && b != nullptr && *a == *b;
}

bool equalLeaves(const Object& a, const Object& b) {
  return (a.isNull() && b.isNull()) || bothEqual(a.number(), b.number()) ||
         bothEqual(a.string(), b.string()) || bothEqual(a.data(), b.data()) ||
         bothEqual(a.date(), b.date());
}

// False when the two differ; containers add their elements to what is still to be compared.
bool compareOrAddElements(const Object& a, const Object& b, ToCompare& pairs) {
  if (a.array() != nullptr && b.array() != nullptr) {
    return addElements(*a.array(), *b.array(), pairs);
  }
  if (a.dictionary() != nullptr && b.dictionary() != nullptr) {
    return addElements(*a.dictionary(), *b.dictionary(), pairs);
  }
  return equalLeaves(a, b);
}

bool compareAll(ToCompare& pairs) {
  while (!pairs.empty()) {
    const auto [a, b] = pairs.back();
    pairs.pop_back();
    if (!compareOrAddElements(*a, *b, pairs)) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool operator==(const NSArray& a, const NSArray& b) {
  ToCompare pairs;
  return addElements(a, b, pairs) && compareAll(pairs);
}

bool operator==(const NSDictionary& a, const NSDictionary& b) {
  ToCompare pairs;
  return addElements(a, b, pairs) && compareAll(pairs);
}

bool operator==(const Object& a, const Object& b) {
  ToCompare pairs;
  return compareOrAddElements(a, b, pairs) && compareAll(pairs);
}

}  // namespace vx
