// Values, texts and expressions where an allocation fails.
#include "VXVideoRecorder/platform/Foundation.h"
#include "support/failing_memory.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <set>
#include <string>

namespace vx {
namespace {

using test::FailingMemory;
using Source = FailingMemory::Source;

/// What `step` answers with its first, second, ... allocation failing, until none does any more.
std::set<std::string> answersToShortages(Source source, const std::function<std::string()>& step) {
  std::set<std::string> answers;
  bool hasFailed = true;
  for (std::int64_t k = 0; hasFailed; ++k) {
    std::optional<std::string> answer;
    {
      const FailingMemory failing(source, FailingMemory::Extent::one, k);
      try {
        answer = step();
      } catch (const std::bad_alloc&) {
      }
      hasFailed = FailingMemory::count() > k;
    }
    answers.insert(answer.value_or("raised"));
  }
  return answers;
}

TEST(DataWithoutMemory, RaisesWhatTheFactoriesOfThePlatformRaise) {
  std::string name;
  std::string reason;
  try {
    const FailingMemory once(Source::operatorNew, FailingMemory::Extent::one, 0);
    static_cast<void>(NSData::dataWithBytes("0123456789", 10));
  } catch (const NSException& exception) {
    name = exception.name();
    reason = exception.reason();
  }
  EXPECT_EQ(name, NSMallocException);
  EXPECT_EQ(reason, "No memory for a copy of 10 bytes.");
}

const std::string kNoMemoryForText = "There is not enough memory for the JSON text.";
const std::string kNoMemoryForValue = "There is not enough memory for the JSON value.";

class JSONWithoutMemory : public testing::TestWithParam<Source> {
 protected:
  void SetUp() override {
    if (GetParam() == Source::malloc && !FailingMemory::hasMalloc()) {
      GTEST_SKIP() << "a sanitizer has malloc";
    }
  }
};

TEST_P(JSONWithoutMemory, WritesNothingAndSaysWhy) {
  const std::string longKey(100, 'k');
  const NSDictionary value = {{longKey, NSArray{1.5, std::string(100, 'x'), NSNull()}}};
  const std::set<std::string> answers = answersToShortages(GetParam(), [&]() -> std::string {
    std::optional<NSError> error;
    const auto data = NSJSONSerialization::dataWithJSONObject(value, NSJSONWritingCompact, &error);
    EXPECT_NE(data.has_value(), error.has_value());
    return data ? "written" : error->localizedDescription();
  });
  EXPECT_EQ(answers, (std::set<std::string>{"written", kNoMemoryForText}));
}

TEST_P(JSONWithoutMemory, ReadsNothingAndSaysWhy) {
  const std::string text = "{\"" + std::string(100, 'k') + "\": [1.5, \"" + std::string(100, 'x') +
                           "\", null, {\"a\": 1}]}";
  const NSData data = NSData::dataWithBytesNoCopy(text.data(), text.size());
  const std::set<std::string> answers = answersToShortages(GetParam(), [&]() -> std::string {
    std::optional<NSError> error;
    const auto value = NSJSONSerialization::JSONObjectWithData(data, NSJSONReadingNone, &error);
    EXPECT_NE(value.has_value(), error.has_value());
    return value ? "read" : error->localizedDescription();
  });
  EXPECT_EQ(answers, (std::set<std::string>{"read", kNoMemoryForValue}));
}

INSTANTIATE_TEST_SUITE_P(All, JSONWithoutMemory,
                         testing::Values(Source::operatorNew, Source::malloc));

// Whoever asks must not take want of memory for a pattern or a text that is wrong.
TEST(RegularExpressionWithoutMemory, RaisesInsteadOfFindingNothing) {
  if (!FailingMemory::hasMalloc()) {
    GTEST_SKIP() << "a sanitizer has malloc";
  }
  const std::string text(100, 'a');
  const std::set<std::string> answers = answersToShortages(Source::malloc, [&]() -> std::string {
    const auto expression = NSRegularExpression::regularExpressionWithPattern(
        "(a|b)*c|a{3}", NSRegularExpressionCaseInsensitive, nullptr);
    if (!expression) return "malformed";
    return std::to_string(expression->rangeOfFirstMatchInString(text, {0, text.size()}).length);
  });
  EXPECT_EQ(answers, (std::set<std::string>{"raised", "3"}));
}

}  // namespace
}  // namespace vx
