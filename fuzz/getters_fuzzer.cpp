// A key path, a line feed, and a dictionary in JSON: every getter answers or raises what it may.
#include "VXVideoRecorder/NSDictionary+extension.h"
#include "VXVideoRecorder/NSString+extension.h"
#include "require.h"

using namespace vx;

namespace {

void checkBool(const NSDictionary& dictionary, std::string_view path, const Object* value) {
  const bool whenFalse = boolValueForKey(dictionary, path, false);
  const bool whenTrue = boolValueForKey(dictionary, path, true);
  const bool converts = value != nullptr && (value->number() != nullptr || value->string());
  require(converts ? whenFalse == whenTrue : !whenFalse && whenTrue,
          "the default is the boolean of what does not convert");
}

void checkNumbers(const NSDictionary& dictionary, std::string_view path, const Object* value) {
  const bool isText = value != nullptr && value->string() != nullptr;
  const bool isNumber = value != nullptr && value->number() != nullptr;
  const std::int32_t signedValue = intValueForKey(dictionary, path, -7);
  require(isText || isNumber || signedValue == -7, "the default is the integer of other kinds");
  bool raised = false;
  try {
    const std::uint32_t unsignedValue = unsignedIntValueForKey(dictionary, path, 7);
    require(isNumber || unsignedValue == 7, "the default is the unsigned integer of other kinds");
  } catch (const NSException& exception) {
    raised = exception.name() == NSInvalidArgumentException;
  }
  require(raised == isText, "texts alone raise as unsigned integers");
}

void checkString(const NSDictionary& dictionary, std::string_view path, const Object* value) {
  const auto text = stringValueForKey(dictionary, path, std::nullopt);
  const bool has =
      value != nullptr &&
      (value->number() != nullptr || (value->string() != nullptr && *value->string() != "(null)"));
  require(text.has_value() == has, "numbers and texts but the marker have a text");
  require(!has || *text == value->description(), "that text is the description");
  require(stringValueForKey(dictionary, path) == text.value_or(""), "the short default is empty");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(bytes), size);
  const std::size_t end = input.find('\n');
  if (end == std::string_view::npos) {
    return 0;
  }
  const std::string_view path = input.substr(0, end);
  const std::optional<Object> object = JSONValue(input.substr(end + 1));
  const NSDictionary* dictionary = object ? object->dictionary() : nullptr;
  if (dictionary == nullptr) {
    return 0;
  }
  const Object* value = objectForKeyPath(*dictionary, path);
  require(!path.empty() || value == nullptr, "an empty path leads nowhere");
  checkBool(*dictionary, path, value);
  checkNumbers(*dictionary, path, value);
  checkString(*dictionary, path, value);
  return 0;
}
