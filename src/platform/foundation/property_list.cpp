#include "platform/foundation/property_list.h"

#include "platform/foundation/utf8.h"

#include <plist/plist.h>

#include <cstdlib>
#include <limits>
#include <memory>

namespace vx {
namespace {

constexpr std::size_t kMaximumDepth = 64;
// The library recurses over containers, so a file decides how much stack it takes. Their number
// bounds their nesting.
constexpr std::size_t kMaximumContainers = 4096;

struct Freer {
  void operator()(void* memory) const { std::free(memory); }
  void operator()(char* memory) const { std::free(memory); }
};
struct TreeFreer {
  void operator()(void* tree) const { ::plist_free(tree); }
};
using Tree = std::unique_ptr<void, TreeFreer>;

std::size_t occurrences(std::string_view text, std::string_view wanted) {
  std::size_t count = 0;
  for (std::size_t at = text.find(wanted); at != std::string_view::npos;
       at = text.find(wanted, at + wanted.size())) {
    ++count;
  }
  return count;
}

bool isPlausible(std::string_view xml) {
  return !xml.empty() && xml.size() <= std::numeric_limits<std::uint32_t>::max() &&
         xml.find('\0') == std::string_view::npos && isValidUTF8(xml) &&
         occurrences(xml, "<dict") + occurrences(xml, "<array") <= kMaximumContainers;
}

std::optional<Object> objectOf(plist_t node, std::size_t depth);

std::optional<Object> arrayOf(plist_t node, std::size_t depth) {
  plist_array_iter position = nullptr;
  ::plist_array_new_iter(node, &position);
  const std::unique_ptr<void, Freer> owner(position);
  std::vector<Object> objects;
  for (std::uint32_t left = ::plist_array_get_size(node); left > 0; --left) {
    plist_t item = nullptr;
    ::plist_array_next_item(node, position, &item);
    std::optional<Object> object = objectOf(item, depth + 1);
    if (!object) {
      return std::nullopt;
    }
    objects.push_back(*std::move(object));
  }
  return NSArray(std::move(objects));
}

std::optional<Object> dictionaryOf(plist_t node, std::size_t depth) {
  plist_dict_iter position = nullptr;
  ::plist_dict_new_iter(node, &position);
  const std::unique_ptr<void, Freer> owner(position);
  std::vector<NSDictionary::Entry> entries;
  for (std::uint32_t left = ::plist_dict_get_size(node); left > 0; --left) {
    char* keyText = nullptr;
    plist_t item = nullptr;
    ::plist_dict_next_item(node, position, &keyText, &item);
    const std::unique_ptr<char, Freer> key(keyText);
    std::optional<Object> object = objectOf(item, depth + 1);
    if (!key || !object) {
      return std::nullopt;
    }
    entries.emplace_back(key.get(), *std::move(object));
  }
  return NSDictionary(std::move(entries));
}

Object textOf(plist_t node) {
  std::uint64_t length = 0;
  const char* text = ::plist_get_string_ptr(node, &length);
  return text != nullptr ? Object(std::string(text, length)) : Object(std::string());
}

Object dataOf(plist_t node) {
  std::uint64_t length = 0;
  const char* bytes = ::plist_get_data_ptr(node, &length);
  return NSData::dataWithBytes(bytes, length);
}

Object dateOf(plist_t node) {
  using namespace std::chrono;
  constexpr sys_seconds kReference = sys_days(year{2001} / January / 1);
  std::int32_t secondsSince = 0;
  std::int32_t microseconds = 0;
  ::plist_get_date_val(node, &secondsSince, &microseconds);
  return NSDate{kReference + seconds(secondsSince) + std::chrono::microseconds(microseconds)};
}

// The library has one kind of integer and does not tell whether it was signed; signed is what
// property lists hold in practice.
Object integerOf(plist_t node) {
  std::uint64_t value = 0;
  ::plist_get_uint_val(node, &value);
  return static_cast<std::int64_t>(value);
}

std::optional<Object> objectOf(plist_t node, std::size_t depth) {
  std::uint8_t boolean = 0;
  double real = 0;
  switch (depth < kMaximumDepth ? ::plist_get_node_type(node) : PLIST_NONE) {
    case PLIST_BOOLEAN:
      ::plist_get_bool_val(node, &boolean);
      return Object(boolean != 0);
    case PLIST_UINT:
      return integerOf(node);
    case PLIST_REAL:
      ::plist_get_real_val(node, &real);
      return Object(real);
    case PLIST_STRING:
      return textOf(node);
    case PLIST_ARRAY:
      return arrayOf(node, depth);
    case PLIST_DICT:
      return dictionaryOf(node, depth);
    case PLIST_DATE:
      return dateOf(node);
    case PLIST_DATA:
      return dataOf(node);
    default:
      return std::nullopt;
  }
}

}  // namespace

std::optional<NSDictionary> dictionaryFromPropertyList(std::string_view xml) {
  if (!isPlausible(xml)) {
    return std::nullopt;
  }
  plist_t root = nullptr;
  ::plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &root);
  const Tree tree(root);
  if (!tree || ::plist_get_node_type(root) != PLIST_DICT) {
    return std::nullopt;
  }
  const std::optional<Object> object = objectOf(root, 0);
  return object ? std::optional(*object->dictionary()) : std::nullopt;
}

}  // namespace vx
