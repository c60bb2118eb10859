#include "command_words.h"

#include <algorithm>

namespace vxapps {

std::string quoted(std::string_view text) {
  std::string result = "\"";
  result += text;
  return result += '"';
}

bool asksForJson(const std::vector<std::string>& words) {
  const auto end = std::find(words.begin(), words.end(), "--");
  return std::find(words.begin(), end, "--json") != end;
}

}  // namespace vxapps
