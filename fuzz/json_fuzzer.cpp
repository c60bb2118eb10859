// Any bytes as JSON: what parses is written again, and parses back to the same value.
#include "VXVideoRecorder/NSDictionary+extension.h"
#include "VXVideoRecorder/NSString+extension.h"
#include "require.h"

using namespace vx;

namespace {

std::optional<Object> parse(const NSData& data) {
  return NSJSONSerialization::JSONObjectWithData(data, NSJSONReadingNone);
}

// Equality overlooks whether a number is a boolean; the text tells.
void checkRoundTrip(const Object& object, NSJSONWritingOptions options) {
  const auto written = NSJSONSerialization::dataWithJSONObject(object, options);
  require(written.has_value(), "what was read can be written");
  const std::optional<Object> again = parse(*written);
  require(again && *again == object, "what was written reads back equal");
  require(NSJSONSerialization::dataWithJSONObject(*again, options) == written,
          "what reads back equal is written the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const NSData data = NSData::dataWithBytesNoCopy(bytes, size);
  std::optional<NSError> error;
  const auto object = NSJSONSerialization::JSONObjectWithData(data, NSJSONReadingNone, &error);
  require(object.has_value() != error.has_value(), "there is a value or an error");
  require(JSONValue({reinterpret_cast<const char*>(bytes), size}) == object,
          "a text reads as its data does");
  if (object) {
    require(NSJSONSerialization::isValidJSONObject(*object), "what was read is valid");
    checkRoundTrip(*object, NSJSONWritingCompact);
    checkRoundTrip(*object, NSJSONWritingPrettyPrinted);
    require(!object->description().empty(), "what was read can be described");
  }
  return 0;
}
