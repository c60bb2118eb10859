#include "platform/foundation/json_reader.h"

#include "platform/foundation/json_memory.h"
#include "platform/foundation/utf8.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <charconv>
#include <cmath>
#include <limits>

namespace vx {
namespace {

using rapidjson::SizeType;

// A number's text, which the parser has checked already, as the kind that holds it exactly or else
// as floating point; absent beyond the floating-point range.
template <typename T>
std::optional<T> parsedAs(std::string_view text) {
  T value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  const bool whole = error == std::errc() && end == text.data() + text.size();
  return whole ? std::optional(value) : std::nullopt;
}

std::optional<NSNumber> realNumber(std::string_view text) {
  if (const auto real = parsedAs<double>(text)) {
    return std::isfinite(*real) ? std::optional(NSNumber(*real)) : std::nullopt;
  }
  // Too large or too small. The parser has refused what is large by far, so a number that even the
  // wider type cannot hold is too small, which rounds to zero.
  const auto wide = parsedAs<long double>(text);
  const bool tooLarge = wide && std::fabs(*wide) > 1;
  return tooLarge ? std::nullopt : std::optional(NSNumber(text.front() == '-' ? -0.0 : 0.0));
}

std::optional<NSNumber> numberOf(std::string_view text) {
  if (text == "-0") {
    return NSNumber(-0.0);  // integers have no negative zero
  }
  if (const auto integer = parsedAs<std::int64_t>(text)) {
    return NSNumber(*integer);
  }
  if (const auto integer = parsedAs<std::uint64_t>(text)) {
    return NSNumber(*integer);
  }
  return realNumber(text);
}

// Builds the value from the parser's events. False from an event ends the parsing.
class Builder {
 public:
  Builder(std::size_t maximumDepth, bool fragmentsAllowed)
      : _maximumDepth(maximumDepth), _fragmentsAllowed(fragmentsAllowed) {}

  bool Null() { return add(NSNull()); }
  bool Bool(bool value) { return add(value); }
  bool RawNumber(const char* text, SizeType length, bool) {
    const std::optional<NSNumber> number = numberOf({text, length});
    return number ? add(*number) : refuse("the number is too large");
  }
  bool String(const char* text, SizeType length, bool) {
    std::string_view string(text, length);
    return isText(string) && add(string);
  }
  bool Key(const char* text, SizeType length, bool) {
    if (!isText({text, length})) {
      return false;
    }
    _open.back().key.assign(text, length);
    return true;
  }
  bool StartObject() { return open(true); }
  bool StartArray() { return open(false); }
  bool EndObject(SizeType) {
    NSDictionary dictionary(std::move(_open.back().entries));
    return close(std::move(dictionary));
  }
  bool EndArray(SizeType) {
    NSArray array(std::move(_open.back().objects));
    return close(std::move(array));
  }
  // Numbers come as texts.
  bool Int(int) { return false; }
  bool Uint(unsigned) { return false; }
  bool Int64(std::int64_t) { return false; }
  bool Uint64(std::uint64_t) { return false; }
  bool Double(double) { return false; }

  const std::string& reason() const { return _reason; }
  Object takeRoot() { return std::move(_root); }

 private:
  // A container whose end has not come yet. In an object `key` is that of the coming value.
  struct Container {
    bool isObject = false;
    std::string key;
    std::vector<Object> objects;
    std::vector<NSDictionary::Entry> entries;
  };

  bool refuse(std::string reason) {
    _reason = std::move(reason);
    return false;
  }
  // The parser passes bytes on unchecked and makes lone surrogates of escapes.
  bool isText(std::string_view text) {
    return isValidUTF8(text) || refuse("a text is not valid Unicode");
  }
  bool add(Object value) {
    if (_open.empty()) {
      const bool isContainer = value.array() != nullptr || value.dictionary() != nullptr;
      _root = std::move(value);
      return isContainer || _fragmentsAllowed || refuse("the text must be an array or an object");
    }
    Container& container = _open.back();
    if (container.isObject) {
      container.entries.emplace_back(std::move(container.key), std::move(value));
    } else {
      container.objects.push_back(std::move(value));
    }
    return true;
  }
  bool open(bool isObject) {
    if (_open.size() >= _maximumDepth) {
      return refuse("it nests deeper than " + std::to_string(_maximumDepth) + " levels");
    }
    _open.push_back({.isObject = isObject, .key = {}, .objects = {}, .entries = {}});
    return true;
  }
  bool close(Object container) {
    _open.pop_back();
    return add(std::move(container));
  }

  std::size_t _maximumDepth;
  bool _fragmentsAllowed;
  std::vector<Container> _open;
  Object _root;
  std::string _reason;
};

std::string at(std::size_t offset) { return " at byte " + std::to_string(offset); }

}  // namespace

std::variant<Object, JSONFault> readJSON(std::string_view text, std::size_t maximumDepth,
                                         bool fragmentsAllowed) {
  if (text.size() > std::numeric_limits<SizeType>::max()) {
    return JSONFault{"it is too long"};
  }
  constexpr unsigned kFlags =
      rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;
  JSONMemory memory;
  rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, JSONMemory> reader(&memory);
  rapidjson::MemoryStream stream(text.data(), text.size());
  Builder builder(maximumDepth, fragmentsAllowed);
  const rapidjson::ParseResult result = reader.Parse<kFlags>(stream, builder);
  if (!result) {
    const bool refused = !builder.reason().empty();
    return JSONFault{(refused ? builder.reason() : rapidjson::GetParseError_En(result.Code())) +
                     at(result.Offset())};
  }
  // The parser takes a zero byte for the end.
  if (stream.Tell() != text.size()) {
    return JSONFault{"something follows the value" + at(stream.Tell())};
  }
  return builder.takeRoot();
}

}  // namespace vx
