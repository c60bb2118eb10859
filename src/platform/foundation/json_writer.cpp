#include "platform/foundation/json_writer.h"

#include "platform/foundation/json_memory.h"
#include "platform/foundation/utf8.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/writer.h>

#include <cmath>
#include <limits>

namespace vx {
namespace {

using rapidjson::SizeType;

// ---- walking -------------------------------------------------------------------------------

// Shows `root` and everything in it to `visitor` in reading order, with a stack of its own: how
// deep values nest is not ours to decide. A false answer of the visitor ends the walk.
template <typename Visitor>
class Walk {
 public:
  explicit Walk(Visitor& visitor) : _visitor(visitor) {}

  bool over(const Object& root) {
    bool goesOn = show(root);
    while (goesOn && !_open.empty()) {
      goesOn = step();
    }
    return goesOn;
  }

 private:
  struct Container {
    const NSArray* array;
    const NSDictionary* dictionary;
    std::size_t next = 0;
  };

  bool show(const Object& object) {
    if (object.array() == nullptr && object.dictionary() == nullptr) {
      return _visitor.leaf(object);
    }
    _open.push_back({object.array(), object.dictionary()});
    return _visitor.begin(object, _open.size());
  }

  bool step() {
    Container& container = _open.back();
    const std::size_t index = container.next++;
    if (container.array != nullptr) {
      return index < container.array->count() ? show(container.array->begin()[index]) : leave();
    }
    if (index >= container.dictionary->count()) {
      return leave();
    }
    const NSDictionary::Entry& entry = container.dictionary->begin()[index];
    return _visitor.key(entry.first) && show(entry.second);
  }

  bool leave() {
    const bool isArray = _open.back().array != nullptr;
    _open.pop_back();
    return _visitor.end(isArray);
  }

  Visitor& _visitor;
  std::vector<Container> _open;
};

// ---- checking ------------------------------------------------------------------------------

class Checker {
 public:
  explicit Checker(std::size_t maximumDepth) : _maximumDepth(maximumDepth) {}

  bool begin(const Object&, std::size_t depth) {
    return depth <= _maximumDepth ||
           refuse(JSONRefusal::Kind::malformed,
                  "it nests deeper than " + std::to_string(_maximumDepth) + " levels");
  }
  bool end(bool) { return true; }
  bool key(const std::string& text) { return check(text); }
  bool leaf(const Object& object) {
    if (const NSNumber* number = object.number()) {
      return check(*number);
    }
    if (const std::string* text = object.string()) {
      return check(*text);
    }
    return object.isNull() ||
           refuse(JSONRefusal::Kind::inexpressible, object.data() != nullptr
                                                        ? "Invalid type in JSON write (NSData)"
                                                        : "Invalid type in JSON write (NSDate)");
  }

  std::optional<JSONRefusal> refusal;

 private:
  bool refuse(JSONRefusal::Kind kind, std::string reason) {
    refusal = JSONRefusal{kind, std::move(reason)};
    return false;
  }
  bool check(const NSNumber& number) {
    const double value = number.doubleValue();
    return std::isfinite(value) ||
           refuse(JSONRefusal::Kind::inexpressible, std::string("Invalid number value (") +
                                                        (std::isnan(value) ? "NaN" : "infinite") +
                                                        ") in JSON write");
  }
  bool check(const std::string& text) {
    if (text.size() > std::numeric_limits<SizeType>::max()) {
      return refuse(JSONRefusal::Kind::malformed, "a text is too long");
    }
    return isValidUTF8(text) || refuse(JSONRefusal::Kind::malformed, "a text is not valid Unicode");
  }

  std::size_t _maximumDepth;
};

// ---- writing -------------------------------------------------------------------------------

// RapidJSON's output stream over a text.
struct TextStream {
  using Ch = char;
  void Put(char c) { text.push_back(c); }
  void Flush() {}
  std::string text;
};

template <typename Writer>
class Scribe {
 public:
  explicit Scribe(Writer& writer) : _writer(writer) {}

  bool begin(const Object& object, std::size_t) {
    return object.array() != nullptr ? _writer.StartArray() : _writer.StartObject();
  }
  bool end(bool isArray) { return isArray ? _writer.EndArray() : _writer.EndObject(); }
  bool key(const std::string& text) {
    return _writer.Key(text.data(), static_cast<SizeType>(text.size()));
  }
  bool leaf(const Object& object) {
    if (const NSNumber* number = object.number()) {
      return write(*number);
    }
    if (const std::string* text = object.string()) {
      return _writer.String(text->data(), static_cast<SizeType>(text->size()));
    }
    return _writer.Null();
  }

 private:
  bool write(const NSNumber& number) {
    if (number.kind() == NSNumber::Kind::boolean) {
      return _writer.Bool(number.boolValue());
    }
    const std::string text = number.stringValue();
    return _writer.RawValue(text.data(), text.size(), rapidjson::kNumberType);
  }

  Writer& _writer;
};

template <typename Writer>
void writeWith(Writer& writer, const Object& object) {
  Scribe<Writer> scribe(writer);
  Walk<Scribe<Writer>>(scribe).over(object);
}

}  // namespace

std::optional<JSONRefusal> whyNotJSON(const Object& object, std::size_t maximumDepth) {
  if (object.array() == nullptr && object.dictionary() == nullptr) {
    return JSONRefusal{JSONRefusal::Kind::inexpressible, "Invalid top-level type in JSON write"};
  }
  Checker checker(maximumDepth);
  Walk<Checker>(checker).over(object);
  return checker.refusal;
}

std::string writtenJSON(const Object& object, bool pretty) {
  constexpr unsigned kIndentWidth = 2;
  using UTF8 = rapidjson::UTF8<>;
  TextStream stream;
  JSONMemory memory;
  if (pretty) {
    rapidjson::PrettyWriter<TextStream, UTF8, UTF8, JSONMemory> writer(stream, &memory);
    writer.SetIndent(' ', kIndentWidth);
    writeWith(writer, object);
  } else {
    rapidjson::Writer<TextStream, UTF8, UTF8, JSONMemory> writer(stream, &memory);
    writeWith(writer, object);
  }
  return std::move(stream.text);
}

}  // namespace vx
