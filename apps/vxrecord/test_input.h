// The built-in moving picture as an input.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "input.h"

namespace vxrecord {

/// "WxH@FPS" taken apart; the rate is a fraction, as in 30000/1001.
struct TestPictureWish {
  int width = 0;
  int height = 0;
  std::int64_t rateNumerator = 0;
  std::int64_t rateDenominator = 1;
};

/// Errors: throws InputError with the accepted form.
TestPictureWish parseTestPicture(std::string_view text);

/// Endless; frame n is shown at n / FPS seconds. With sound there is a beep each second, and the
/// picture flashes with it.
std::unique_ptr<Input> openTestPicture(std::string_view text, bool withSound);

}  // namespace vxrecord
