#include "platform/coremedia/time_math.h"

#include "VXVideoRecorder/platform/Foundation.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace vx {

namespace {

// Products of a 64-bit value and a 32-bit timescale fit with room to spare.
__extension__ using Wide = __int128;

constexpr Wide kMaxValue = std::numeric_limits<CMTimeValue>::max();
constexpr Wide kMinValue = std::numeric_limits<CMTimeValue>::min();
constexpr CMTimeScale kMaxTimescale = std::numeric_limits<CMTimeScale>::max();

constexpr CMTime infinity(bool negative) {
  const std::uint32_t sign =
      negative ? kCMTimeFlags_NegativeInfinity : kCMTimeFlags_PositiveInfinity;
  return {0, 0, kCMTimeFlags_Valid | sign, 0};
}

// A time that was put together by hand may be marked as valid and yet have no timescale.
constexpr bool isNumber(CMTime time) { return CMTIME_IS_NUMERIC(time) && time.timescale > 0; }

enum class Rank { negativeInfinity, number, indefinite, positiveInfinity, invalid };

constexpr Rank rankOf(CMTime time) {
  if (CMTIME_IS_INVALID(time)) {
    return Rank::invalid;
  }
  if (time.flags & kCMTimeFlags_PositiveInfinity) {
    return Rank::positiveInfinity;
  }
  if (time.flags & kCMTimeFlags_Indefinite) {
    return Rank::indefinite;
  }
  if (time.flags & kCMTimeFlags_NegativeInfinity) {
    return Rank::negativeInfinity;
  }
  return time.timescale > 0 ? Rank::number : Rank::invalid;
}

template <typename T>
constexpr std::int32_t order(T a, T b) {
  return a < b ? -1 : (a > b ? 1 : 0);
}

CMTime makeTime(Wide value, CMTimeScale timescale, std::uint32_t flags, CMTimeEpoch epoch) {
  if (value > kMaxValue || value < kMinValue) {
    return infinity(value < 0);
  }
  return {static_cast<CMTimeValue>(value), timescale, flags, epoch};
}

Wide roundedQuotient(Wide dividend, CMTimeScale divisor) {
  const Wide half = divisor / 2;
  return dividend < 0 ? (dividend - half) / divisor : (dividend + half) / divisor;
}

CMTimeScale commonTimescale(CMTimeScale a, CMTimeScale b) {
  const std::int64_t common = std::lcm<std::int64_t, std::int64_t>(a, b);
  return common <= kMaxTimescale ? static_cast<CMTimeScale>(common) : kMaxTimescale;
}

}  // namespace

CMTime CMTimeMake(CMTimeValue value, CMTimeScale timescale) {
  return timescale > 0 ? CMTime{value, timescale, kCMTimeFlags_Valid, 0} : kCMTimeInvalid;
}

CMTime CMTimeMakeWithSeconds(double seconds, CMTimeScale preferredTimescale) {
  if (preferredTimescale <= 0 || std::isnan(seconds)) {
    return kCMTimeInvalid;
  }
  constexpr long double kLimit = 9223372036854775808.0L;  // 2^63
  const long double value = std::round(static_cast<long double>(seconds) * preferredTimescale);
  if (value >= kLimit || value < -kLimit) {
    return infinity(value < 0);
  }
  CMTime time = CMTimeMake(static_cast<CMTimeValue>(value), preferredTimescale);
  if (CMTimeGetSeconds(time) != seconds) {
    time.flags |= kCMTimeFlags_HasBeenRounded;
  }
  return time;
}

double CMTimeGetSeconds(CMTime time) {
  switch (rankOf(time)) {
    case Rank::number:
      return static_cast<double>(static_cast<long double>(time.value) / time.timescale);
    case Rank::positiveInfinity:
      return std::numeric_limits<double>::infinity();
    case Rank::negativeInfinity:
      return -std::numeric_limits<double>::infinity();
    default:
      return std::numeric_limits<double>::quiet_NaN();
  }
}

std::int32_t CMTimeCompare(CMTime a, CMTime b) {
  const Rank rankA = rankOf(a);
  const Rank rankB = rankOf(b);
  if (rankA != rankB || rankA != Rank::number) {
    return order(rankA, rankB);
  }
  if (a.epoch != b.epoch) {
    return order(a.epoch, b.epoch);
  }
  return order(Wide{a.value} * b.timescale, Wide{b.value} * a.timescale);
}

CMTime CMTimeConvertScale(CMTime time, CMTimeScale newTimescale) {
  if (newTimescale <= 0) {
    return kCMTimeInvalid;
  }
  if (!isNumber(time) || time.timescale == newTimescale) {
    return time;
  }
  const Wide scaled = Wide{time.value} * newTimescale;
  const bool isExact = scaled % time.timescale == 0;
  return makeTime(roundedQuotient(scaled, time.timescale), newTimescale,
                  time.flags | (isExact ? 0u : kCMTimeFlags_HasBeenRounded), time.epoch);
}

CMTime timeSum(CMTime a, CMTime b) {
  if (!isNumber(a)) {
    return isNumber(b) || rankOf(a) >= rankOf(b) ? a : b;
  }
  if (!isNumber(b)) {
    return b;
  }
  const CMTimeScale timescale = commonTimescale(a.timescale, b.timescale);
  a = CMTimeConvertScale(a, timescale);
  b = CMTimeConvertScale(b, timescale);
  if (!isNumber(a) || !isNumber(b)) {
    return isNumber(a) ? b : a;
  }
  return makeTime(Wide{a.value} + b.value, timescale, a.flags | b.flags,
                  std::max(a.epoch, b.epoch));
}

CMTime timeProduct(CMTime time, std::int64_t count) {
  if (!isNumber(time)) {
    return time;
  }
  return makeTime(Wide{time.value} * count, time.timescale, time.flags, time.epoch);
}

NSDictionary CMTimeCopyAsDictionary(CMTime time, CFAllocatorRef) {
  return {{std::string(kCMTimeValueKey), time.value},
          {std::string(kCMTimeScaleKey), time.timescale},
          {std::string(kCMTimeEpochKey), time.epoch},
          {std::string(kCMTimeFlagsKey), time.flags}};
}

CMTime CMTimeMakeFromDictionary(const NSDictionary& dictionary) {
  const auto number = [&](std::string_view key) {
    const Object* object = dictionary.objectForKey(key);
    return object ? object->number() : nullptr;
  };
  const NSNumber* value = number(kCMTimeValueKey);
  const NSNumber* timescale = number(kCMTimeScaleKey);
  const NSNumber* epoch = number(kCMTimeEpochKey);
  const NSNumber* flags = number(kCMTimeFlagsKey);
  if (!value || !timescale || !epoch || !flags) {
    return kCMTimeInvalid;
  }
  return {value->integerValue(), timescale->intValue(), flags->unsignedIntValue(),
          epoch->integerValue()};
}

}  // namespace vx
