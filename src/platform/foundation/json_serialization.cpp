#include "VXVideoRecorder/platform/foundation/NSJSONSerialization.h"

#include "platform/foundation/json_reader.h"
#include "platform/foundation/json_writer.h"

#include <new>
#include <stdexcept>

namespace vx {
namespace {

void report(std::optional<NSError>* error, std::int64_t code, std::string text) {
  if (error != nullptr) {
    error->emplace(NSCocoaErrorDomain, code, std::move(text));
  }
}

// The data owns the text, so that it is not copied.
NSData dataOf(std::string text) {
  const auto owner = std::make_shared<std::string>(std::move(text));
  return NSData::dataWithBytesNoCopy(owner->data(), owner->size(), [owner](void*, std::size_t) {});
}

std::string_view withoutByteOrderMark(std::string_view text) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  return text.starts_with(kMark) ? text.substr(kMark.size()) : text;
}

}  // namespace

bool NSJSONSerialization::isValidJSONObject(const Object& object) {
  return !whyNotJSON(object, kMaximumDepth);
}

std::optional<NSData> NSJSONSerialization::dataWithJSONObject(const Object& object,
                                                              NSJSONWritingOptions options,
                                                              std::optional<NSError>* error) {
  try {
    const std::optional<JSONRefusal> refusal = whyNotJSON(object, kMaximumDepth);
    if (refusal && refusal->kind == JSONRefusal::Kind::inexpressible) {
      throw NSException(NSInvalidArgumentException, refusal->reason);
    }
    if (!refusal) {
      return dataOf(writtenJSON(object, (options & NSJSONWritingPrettyPrinted) != 0));
    }
    report(error, NSPropertyListWriteInvalidError,
           "The value cannot be written as JSON: " + refusal->reason + ".");
  } catch (const std::bad_alloc&) {
    report(error, NSPropertyListWriteInvalidError, "There is not enough memory for the JSON text.");
  } catch (const std::length_error&) {
    report(error, NSPropertyListWriteInvalidError, "The JSON text would be too long.");
  }
  return std::nullopt;
}

std::optional<Object> NSJSONSerialization::JSONObjectWithData(const NSData& data,
                                                              NSJSONReadingOptions options,
                                                              std::optional<NSError>* error) {
  const std::string_view text(reinterpret_cast<const char*>(data.bytes()), data.length());
  try {
    auto result = readJSON(withoutByteOrderMark(text), kMaximumDepth,
                           (options & NSJSONReadingFragmentsAllowed) != 0);
    if (Object* object = std::get_if<Object>(&result)) {
      return std::move(*object);
    }
    report(error, NSPropertyListReadCorruptError,
           "The data is no JSON: " + std::get<JSONFault>(result).reason + ".");
  } catch (const std::bad_alloc&) {
    report(error, NSPropertyListReadCorruptError, "There is not enough memory for the JSON value.");
  }
  return std::nullopt;
}

}  // namespace vx
