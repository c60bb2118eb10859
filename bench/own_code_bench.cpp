// What our own code costs a frame, from the host's call to the bytes on the disk: the encoder codes
// nothing. Under callgrind (scripts/count-instructions) it tells the instructions of each function.
// The number on the command line is the number of frames.
#include "bench/contenders/recording_run.h"
#include "bench/harness/options.h"
#include "bench/harness/report.h"
#include "bench/stand_in/stand_in_encoder.h"

namespace {

using namespace bench;

void program(const Options& options) {
  setStandInPictureBytes(kBitRate / 8 / kNominalFrameRate);
  const MovingPicture picture(640, 360);
  RunOptions run;
  run.frames = options.count ? options.count : options.pick<std::size_t>(20000, 5000, 20);
  run.settings.path = options.folder + "/own-code.mp4";
  const std::unique_ptr<Contender> recorder = makeRecorder();
  const RunResult result = recordOnce(*recorder, picture, run);
  constexpr double kMicroseconds = 1e6;
  report({"our own code",
          picture.name(),
          "host's thread, median",
          result.hostMedian * kMicroseconds,
          "us",
          {}});
  report({"our own code",
          picture.name(),
          "CPU a frame, all threads",
          result.cpuSeconds / static_cast<double>(run.frames) * kMicroseconds,
          "us",
          {}});
}

}  // namespace

int main(int argc, char** argv) { return runProgram(argc, argv, program); }
