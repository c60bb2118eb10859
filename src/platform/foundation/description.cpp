// Values as text for people, in the property-list style of the platform.
#include "VXVideoRecorder/platform/foundation/NSObject.h"

#include <algorithm>
#include <cstdio>

namespace vx {
namespace {

constexpr std::size_t kDeepestShown = 64;
constexpr std::size_t kIndentWidth = 4;

bool isPlain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '.' || c == '$' || c == '/' || c == ':';
}

void appendEscaped(std::string& out, char c) {
  constexpr unsigned char kFirstPrintable = 0x20;
  if (c == '"' || c == '\\') {
    out += '\\';
    out += c;
  } else if (c == '\n') {
    out += "\\n";
  } else if (static_cast<unsigned char>(c) < kFirstPrintable) {
    char octal[8];
    std::snprintf(octal, sizeof octal, "\\%03o", static_cast<unsigned>(c));
    out += octal;
  } else {
    out += c;
  }
}

std::string quoted(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    appendEscaped(out, c);
  }
  return out += '"';
}

std::string quotedWhereNeeded(std::string_view text) {
  const bool plain = !text.empty() && std::all_of(text.begin(), text.end(), isPlain);
  return plain ? std::string(text) : quoted(text);
}

std::string describe(const NSData& data) {
  constexpr std::size_t kBytesShown = 24;
  std::string out = "{length = " + std::to_string(data.length()) + ", bytes = 0x";
  for (std::size_t i = 0; i < std::min(data.length(), kBytesShown); ++i) {
    char hex[4];
    std::snprintf(hex, sizeof hex, "%02x", static_cast<unsigned>(data.bytes()[i]));
    out += hex;
  }
  return out += data.length() > kBytesShown ? " ... }" : "}";
}

std::string describe(const NSDate& date) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(date.time);
  const auto day = std::chrono::floor<std::chrono::days>(seconds);
  const std::chrono::year_month_day calendar(day);
  const std::chrono::hh_mm_ss clock(seconds - day);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d +0000",
                static_cast<int>(calendar.year()), static_cast<unsigned>(calendar.month()),
                static_cast<unsigned>(calendar.day()), static_cast<int>(clock.hours().count()),
                static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

// Recursion is bounded by `kDeepestShown`; the indentation would otherwise grow with the square of
// the depth.
class Describer {
 public:
  void append(const Object& object, std::size_t depth) {
    if (object.array() != nullptr) {
      append(*object.array(), depth);
    } else if (object.dictionary() != nullptr) {
      append(*object.dictionary(), depth);
    } else if (object.string() != nullptr) {
      out += quotedWhereNeeded(*object.string());
    } else if (object.number() != nullptr) {
      out += quotedWhereNeeded(object.number()->stringValue());
    } else {
      out += quotedWhereNested(object.description());
    }
  }

  std::string out;

 private:
  void append(const NSArray& array, std::size_t depth) {
    if (depth >= kDeepestShown) {
      out += "(...)";
      return;
    }
    out += "(\n";
    for (const Object& object : array) {
      indent(depth + 1);
      append(object, depth + 1);
      out += &object + 1 == array.end() ? "\n" : ",\n";
    }
    indent(depth);
    out += ')';
  }

  void append(const NSDictionary& dictionary, std::size_t depth) {
    if (depth >= kDeepestShown) {
      out += "{...}";
      return;
    }
    out += "{\n";
    for (const auto& [key, value] : dictionary) {
      indent(depth + 1);
      out += quotedWhereNeeded(key) + " = ";
      append(value, depth + 1);
      out += ";\n";
    }
    indent(depth);
    out += '}';
  }

  static std::string quotedWhereNested(const std::string& text) {
    return text.front() == '{' ? text : quoted(text);
  }
  void indent(std::size_t depth) { out.append(depth * kIndentWidth, ' '); }
};

}  // namespace

std::string Object::description() const {
  if (isNull()) {
    return "<null>";
  }
  if (const std::string* text = string()) {
    return *text;
  }
  if (const NSNumber* value = number()) {
    return value->stringValue();
  }
  if (const NSData* bytes = data()) {
    return describe(*bytes);
  }
  if (const NSDate* moment = date()) {
    return describe(*moment);
  }
  Describer describer;
  describer.append(*this, 0);
  return std::move(describer.out);
}

std::string defaultObjectDescription(std::string_view className, const void* object) {
  char address[32];
  std::snprintf(address, sizeof address, ": %p>", object);
  std::string out = "<";
  out += className;
  return out += object != nullptr ? address : ": 0x0>";
}

std::string descriptionOfList(const std::vector<std::string>& texts) {
  std::string out = "(\n";
  for (std::size_t i = 0; i < texts.size(); ++i) {
    out.append(kIndentWidth, ' ');
    out += quoted(texts[i]);
    out += i + 1 < texts.size() ? ",\n" : "\n";
  }
  return out += ')';
}

}  // namespace vx
