#include "VXVideoRecorder/platform/foundation/NSRegularExpression.h"

#include <algorithm>
#include <array>
#include <new>
#include <string>

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

namespace vx {
namespace {

// A search that takes more steps or memory than this is given up as having no match. Every path
// that the system can hold stays far below it.
constexpr std::uint32_t kMaximumSteps = 20000000;
constexpr std::uint32_t kMaximumHeapKibibytes = 64 * 1024;
constexpr std::int64_t kMalformedPattern = 2048;  // NSFormattingError

struct FreeCode {
  void operator()(pcre2_code* code) const { pcre2_code_free(code); }
};
struct FreeMatchData {
  void operator()(pcre2_match_data* data) const { pcre2_match_data_free(data); }
};
struct FreeMatchContext {
  void operator()(pcre2_match_context* context) const { pcre2_match_context_free(context); }
};
using Code = std::unique_ptr<pcre2_code, FreeCode>;

/// Want of memory is raised: whoever asks must not take it for a pattern or a text that is wrong.
Code compile(std::string_view pattern, std::uint32_t flags, int& failure) {
  PCRE2_SIZE where = 0;
  Code code(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(), flags,
                          &failure, &where, nullptr));
  if (!code && failure == PCRE2_ERROR_HEAP_FAILED) {
    throw std::bad_alloc();
  }
  return code;
}

NSError malformed(std::string_view pattern, int failure) {
  std::array<PCRE2_UCHAR, 256> reason{};
  pcre2_get_error_message(failure, reason.data(), reason.size());
  std::string text = "The regular expression \"";
  text.append(pattern).append("\" is malformed: ");
  text.append(reinterpret_cast<const char*>(reason.data())).append(".");
  return NSError(NSCocoaErrorDomain, kMalformedPattern, std::move(text));
}

}  // namespace

struct NSRegularExpression::Compiled {
  Code characters;
  Code bytes;  // for texts that are not UTF-8, which file names may be; null if it makes no sense
};

std::optional<NSRegularExpression> NSRegularExpression::regularExpressionWithPattern(
    std::string_view pattern, NSRegularExpressionOptions options, std::optional<NSError>* error) {
  const std::uint32_t flags =
      (options & NSRegularExpressionCaseInsensitive) != 0 ? PCRE2_CASELESS : 0U;
  int failure = 0;
  Code characters = compile(pattern, flags | PCRE2_UTF | PCRE2_UCP, failure);
  if (!characters) {
    if (error != nullptr) {
      *error = malformed(pattern, failure);
    }
    return std::nullopt;
  }
  NSRegularExpression expression;
  expression._compiled = std::make_shared<const Compiled>(
      Compiled{std::move(characters), compile(pattern, flags, failure)});
  return expression;
}

NSRange NSRegularExpression::rangeOfFirstMatchInString(std::string_view text, NSRange range) const {
  constexpr NSRange kNone{NSNotFound, 0};
  if (!_compiled || range.location > text.size()) {
    return kNone;
  }
  const std::size_t end = range.location + std::min(range.length, text.size() - range.location);
  const std::unique_ptr<pcre2_match_context, FreeMatchContext> context(
      pcre2_match_context_create(nullptr));
  const std::unique_ptr<pcre2_match_data, FreeMatchData> data(
      pcre2_match_data_create_from_pattern(_compiled->characters.get(), nullptr));
  if (!context || !data) {
    throw std::bad_alloc();
  }
  pcre2_set_match_limit(context.get(), kMaximumSteps);
  pcre2_set_heap_limit(context.get(), kMaximumHeapKibibytes);
  const auto match = [&](const pcre2_code* code) {
    return pcre2_match(code, reinterpret_cast<PCRE2_SPTR>(text.data()), end, range.location, 0,
                       data.get(), context.get());
  };
  int matches = match(_compiled->characters.get());
  const bool notUtf8 = matches <= PCRE2_ERROR_UTF8_ERR1 && matches >= PCRE2_ERROR_UTF8_ERR21;
  if ((notUtf8 || matches == PCRE2_ERROR_BADUTFOFFSET) && _compiled->bytes) {
    matches = match(_compiled->bytes.get());
  }
  if (matches == PCRE2_ERROR_NOMEMORY) {
    throw std::bad_alloc();
  }
  if (matches < 0) {
    return kNone;
  }
  const PCRE2_SIZE* found = pcre2_get_ovector_pointer(data.get());
  // \K in a look-ahead can place the start behind the end.
  return {found[0], found[1] > found[0] ? found[1] - found[0] : 0};
}

}  // namespace vx
