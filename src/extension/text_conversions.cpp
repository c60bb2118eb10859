#include "extension/text_conversions.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace vx {
namespace {

// The characters that Unicode calls white space, in UTF-8.
constexpr std::string_view kWhiteSpace[] = {
    " ",      "\t",     "\n",     "\v",     "\f",     "\r",     "\u0085", "\u00a0", "\u1680",
    "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007", "\u2008",
    "\u2009", "\u200a", "\u2028", "\u2029", "\u202f", "\u205f", "\u3000"};

std::string_view withoutLeadingWhiteSpace(std::string_view text) {
  const auto begins = [&text](std::string_view space) { return text.starts_with(space); };
  for (;;) {
    const auto space = std::find_if(std::begin(kWhiteSpace), std::end(kWhiteSpace), begins);
    if (space == std::end(kWhiteSpace)) {
      return text;
    }
    text.remove_prefix(space->size());
  }
}

bool takeSign(std::string_view& text) {
  if (text.empty() || (text.front() != '-' && text.front() != '+')) {
    return false;
  }
  const bool negative = text.front() == '-';
  text.remove_prefix(1);
  return negative;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

bool boolValueOfText(std::string_view text) {
  text = withoutLeadingWhiteSpace(text);
  takeSign(text);
  text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
  constexpr std::string_view kTrue = "YyTt123456789";
  return !text.empty() && kTrue.find(text.front()) != std::string_view::npos;
}

std::int32_t intValueOfText(std::string_view text) {
  using Limits = std::numeric_limits<std::int32_t>;
  text = withoutLeadingWhiteSpace(text);
  const bool negative = takeSign(text);
  if (text.empty() || !isDigit(text.front())) {
    return 0;
  }
  std::int64_t magnitude = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude);
  if (error == std::errc::result_out_of_range) {
    magnitude = std::numeric_limits<std::int64_t>::max();
  }
  const std::int64_t value = negative ? -magnitude : magnitude;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max()));
}

}  // namespace vx
