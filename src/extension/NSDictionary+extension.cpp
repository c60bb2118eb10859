#include "VXVideoRecorder/NSDictionary+extension.h"

#include "extension/text_conversions.h"

namespace vx {
namespace {

constexpr char kSeparator = '.';
constexpr std::string_view kMarkerOfNothing = "(null)";

const Object* walk(const NSDictionary& dictionary, std::string_view keyPath) {
  const NSDictionary* container = &dictionary;
  for (;;) {
    const std::size_t dot = keyPath.find(kSeparator);
    const Object* value = container->objectForKey(keyPath.substr(0, dot));
    if (dot == std::string_view::npos || value == nullptr) {
      return value;
    }
    container = value->dictionary();
    if (container == nullptr) {
      return nullptr;
    }
    keyPath.remove_prefix(dot + 1);
  }
}

[[noreturn]] void raiseUnrecognizedSelector(std::string_view className, std::string_view selector,
                                            const void* object) {
  std::string reason = "-[";
  reason.append(className).append(" ").append(selector);
  reason.append("]: unrecognized selector sent to instance ");
  const std::string instance = defaultObjectDescription("", object);  // "<: 0x...>"
  reason.append(instance, 3, instance.size() - 4);
  throw NSException(NSInvalidArgumentException, reason);
}

bool boolValueOf(const Object& value, bool withDefault) {
  if (const NSNumber* number = value.number()) {
    return number->boolValue();
  }
  const std::string* text = value.string();
  return text != nullptr ? boolValueOfText(*text) : withDefault;
}

}  // namespace

std::string jsonStringWithPrettyPrint(const NSDictionary& dictionary, bool pretty) {
  const std::optional<NSData> data = jsonDataWithPrettyPrint(dictionary, pretty);
  return data ? std::string(reinterpret_cast<const char*>(data->bytes()), data->length()) : "{}";
}

std::optional<NSData> jsonDataWithPrettyPrint(const NSDictionary& dictionary, bool pretty) {
  return NSJSONSerialization::dataWithJSONObject(
      dictionary, pretty ? NSJSONWritingPrettyPrinted : NSJSONWritingCompact);
}

const Object* objectForKeyPath(const NSDictionary& dictionary, std::string_view keyPath) {
  if (keyPath.empty()) {
    return nullptr;
  }
  const Object* value = dictionary.objectForKey(keyPath);
  const bool isPath = keyPath.find(kSeparator) != std::string_view::npos;
  return value != nullptr || !isPath ? value : walk(dictionary, keyPath);
}

bool boolValueForKey(const NSDictionary& dictionary, std::string_view keyPath, bool withDefault) {
  try {
    const Object* value = objectForKeyPath(dictionary, keyPath);
    return value != nullptr ? boolValueOf(*value, withDefault) : withDefault;
  } catch (...) {
    // This getter promises a plain answer whatever happens on the way to it.
    return withDefault;
  }
}

std::int32_t intValueForKey(const NSDictionary& dictionary, std::string_view keyPath,
                            std::int32_t withDefault) {
  const Object* value = objectForKeyPath(dictionary, keyPath);
  if (value == nullptr) {
    return withDefault;
  }
  if (const NSNumber* number = value->number()) {
    return number->intValue();
  }
  const std::string* text = value->string();
  return text != nullptr ? intValueOfText(*text) : withDefault;
}

std::uint32_t unsignedIntValueForKey(const NSDictionary& dictionary, std::string_view keyPath,
                                     std::uint32_t withDefault) {
  const Object* value = objectForKeyPath(dictionary, keyPath);
  if (value == nullptr) {
    return withDefault;
  }
  if (const NSNumber* number = value->number()) {
    return number->unsignedIntValue();
  }
  if (const std::string* text = value->string()) {
    raiseUnrecognizedSelector("NSString", "unsignedIntValue", text);
  }
  return withDefault;
}

std::string stringValueForKey(const NSDictionary& dictionary, std::string_view keyPath) {
  return *stringValueForKey(dictionary, keyPath, std::string());
}

std::optional<std::string> stringValueForKey(const NSDictionary& dictionary,
                                             std::string_view keyPath,
                                             const std::optional<std::string>& withDefault) {
  const Object* value = objectForKeyPath(dictionary, keyPath);
  if (value == nullptr) {
    return withDefault;
  }
  if (const NSNumber* number = value->number()) {
    return number->stringValue();
  }
  // Of all kinds only a text can describe itself as the marker.
  const std::string* text = value->string();
  return text != nullptr && *text != kMarkerOfNothing ? *text : withDefault;
}

}  // namespace vx
