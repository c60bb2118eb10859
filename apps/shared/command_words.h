// The words of a command line, as both programs read them.
#pragma once

#include <charconv>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vxapps {

/// Wrong use: the text says what was wrong and what to do.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// `text` as it is shown in a message.
std::string quoted(std::string_view text);

/// Whether the words ask for JSON, also when they are wrong otherwise.
bool asksForJson(const std::vector<std::string>& words);

/// The number that `text` is from its first letter to its last; none for anything else.
template <typename Number>
std::optional<Number> wholeNumber(std::string_view text) {
  Number number{};
  const char* end = text.data() + text.size();
  const auto [position, error] = std::from_chars(text.data(), end, number);
  return error == std::errc{} && position == end ? std::optional(number) : std::nullopt;
}

}  // namespace vxapps
