// Packed pictures become 4:2:0 on the writer's side: each format at 4K against a memcpy of the
// frame.
#include "bench/harness/function_timing.h"
#include "bench/harness/report.h"
#include "bench/harness/timing.h"
#include "platform/avfoundation/encoder/frame_converter.h"
#include "platform/cf_ref.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstring>

namespace {

using namespace bench;

constexpr int kWidth = 3840;
constexpr int kHeight = 2160;

struct Format {
  const char* name;
  vx::OSType code;
  double goal;  // times a memcpy of the frame; 0 for none
};
constexpr std::array<Format, 9> kFormats = {{{"BGRA", vx::kCVPixelFormatType_32BGRA, 2},
                                             {"RGBA", vx::kCVPixelFormatType_32RGBA, 0},
                                             {"ARGB", vx::kCVPixelFormatType_32ARGB, 0},
                                             {"ABGR", vx::kCVPixelFormatType_32ABGR, 0},
                                             {"24RGB", vx::kCVPixelFormatType_24RGB, 0},
                                             {"24BGR", vx::kCVPixelFormatType_24BGR, 0},
                                             {"2vuy", vx::kCVPixelFormatType_422YpCbCr8, 0},
                                             {"yuvs", vx::kCVPixelFormatType_422YpCbCr8_yuvs, 0},
                                             {"gray", vx::kCVPixelFormatType_OneComponent8, 0}}};

using Buffer = vx::CFRef<vx::CVPixelBufferRef>;

Buffer filledBuffer(vx::OSType format) {
  vx::CVPixelBufferRef made = nullptr;
  vx::CVPixelBufferCreate(nullptr, kWidth, kHeight, format, nullptr, &made);
  Buffer buffer = Buffer::adopt(made);
  vx::CVPixelBufferLockBaseAddress(made, 0);
  auto* bytes = static_cast<std::uint8_t*>(vx::CVPixelBufferGetBaseAddress(made));
  const std::size_t count = vx::CVPixelBufferGetBytesPerRow(made) * kHeight;
  for (std::size_t i = 0; i < count; ++i) {
    bytes[i] = static_cast<std::uint8_t>(i * 2654435761u >> 24);
  }
  return buffer;
}

void convert(benchmark::State& state, vx::OSType format) {
  const Buffer buffer = filledBuffer(format);
  vx::FrameConverter converter(kWidth, kHeight);
  vx::PlanarPicture picture;
  for (auto _ : state) {
    benchmark::DoNotOptimize(converter.convert(buffer.get(), picture).ok());
  }
}

void copy(benchmark::State& state, vx::OSType format) {
  const Buffer buffer = filledBuffer(format);
  const std::size_t count = vx::CVPixelBufferGetBytesPerRow(buffer.get()) * kHeight;
  std::vector<std::uint8_t> target(count);
  for (auto _ : state) {
    std::memcpy(target.data(), vx::CVPixelBufferGetBaseAddress(buffer.get()), count);
    benchmark::ClobberMemory();
  }
}

void program(const Options& options) {
  for (const Format& format : kFormats) {
    const std::string name = format.name;
    benchmark::RegisterBenchmark(("convert " + name).c_str(), convert, format.code);
    benchmark::RegisterBenchmark(("copy " + name).c_str(), copy, format.code);
  }
  const Timings timings = runFunctionBenchmarks(options);
  constexpr double kMilliseconds = 1e3;
  for (const Format& format : kFormats) {
    const std::string subject = std::string(format.name) + " 3840x2160";
    const double converted = median(timings.at(std::string("convert ") + format.name));
    const double copied = median(timings.at(std::string("copy ") + format.name));
    report({"conversion", subject, "conversion", converted * kMilliseconds, "ms", {}});
    report({"conversion", subject, "conversion / memcpy", converted / copied, "x",
            format.goal > 0 ? Goal::atMost(format.goal) : Goal{}});
  }
}

}  // namespace

int main(int argc, char** argv) { return runProgram(argc, argv, program); }
