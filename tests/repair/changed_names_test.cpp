// The file of a recording is moved, or another takes its name, while it is repaired.
#include <gmock/gmock.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <utility>

#include "support/growing_recording.h"
#include "support/movie_checker.h"

namespace {

/// What happens when a file is next made durable, which is in the middle of a repair.
std::function<void()> duringTheNextSync;

}  // namespace

// Stands in front of the system's.
extern "C" int fdatasync(int descriptor) {
  if (const auto happen = std::exchange(duringTheNextSync, nullptr)) happen();
  return static_cast<int>(::syscall(SYS_fdatasync, descriptor));
}

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using vx::test::GrowingRecording;

std::string refusal(const std::string& path) {
  std::optional<vx::NSError> error;
  EXPECT_FALSE(VXRecordingRepair::repairRecordingAtPath(path, &error).has_value());
  return error ? error->localizedDescription() : "";
}

TEST(RepairOfARecording, ThatIsMovedMeanwhileTellsSoAndIsDone) {
  GrowingRecording recording;
  recording.pictures(10).breakOff();
  const std::string moved = recording.folder / "moved.mp4";
  duringTheNextSync = [&] { std::filesystem::rename(recording.path, moved); };
  EXPECT_THAT(refusal(recording.path), HasSubstr("no longer at"));
  EXPECT_THAT(vx::test::checkMovieFile(moved).findings, IsEmpty());
}

TEST(RepairOfARecording, WhoseNameAnotherTakesDoesNotTellOfTheOther) {
  GrowingRecording recording;
  recording.pictures(10).breakOff();
  GrowingRecording other;
  other.pictures(1).finish();
  duringTheNextSync = [&] {
    std::filesystem::rename(recording.path, recording.folder / "moved.mp4");
    std::filesystem::copy_file(other.path, recording.path);
  };
  EXPECT_THAT(refusal(recording.path), HasSubstr("no longer at"));
}

TEST(RepairOfARecording, ThatIsRemovedMeanwhileTellsSo) {
  GrowingRecording recording;
  recording.pictures(10).breakOff();
  duringTheNextSync = [&] { std::filesystem::remove(recording.path); };
  EXPECT_THAT(refusal(recording.path), HasSubstr("was removed"));
}

}  // namespace
