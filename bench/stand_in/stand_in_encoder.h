// An encoder that codes nothing: what is measured with it is our own code.
//
// A program that links vx_bench_stand_in gets it instead of libx264: the linker takes this
// definition of `vx::makeX264Encoder` before it looks for one in the library's archive.
#pragma once

#include <cstddef>

namespace bench {

/// How many bytes each coded picture of encoders opened from now on has.
void setStandInPictureBytes(std::size_t bytes);

/// The parameter sets of any of its pictures, as x264 makes them.
inline constexpr unsigned char kStandInSps[] = {
    0x67, 0x64, 0x00, 0x1E, 0xAC, 0xB2, 0x01, 0x40, 0x5F, 0xF2, 0xE0, 0x22, 0x00,
    0x00, 0x03, 0x00, 0x02, 0x00, 0x00, 0x03, 0x00, 0x64, 0x1E, 0x2C, 0x5C, 0x90};
inline constexpr unsigned char kStandInPps[] = {0x68, 0xEB, 0xC3, 0xCB, 0x22, 0xC0};

}  // namespace bench
