// A process of a test's own that records, to be killed, and what must be left of its file.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "VXVideoRecorder/VXVideoRecorder.h"
#include "stress/child.h"
#include "support/frame_source.h"
#include "support/temporary_folder.h"

namespace vx::test {

/// The time of a frame in the file: irregular, as a display's frames are, 7 to 39 ms apart.
std::uint32_t timeOfFrame(std::int64_t number);

/// What runs in the process that is killed: a recorder with the real encoder and the real file. It
/// tells of each frame that was taken, each commit, the call of `stop`, when the file is about to
/// be finished, and when it is.
class RecordingHost {
 public:
  RecordingHost(const std::string& folder, const Teller& teller,
                std::function<void()> beforeFinish = {});

  /// Hands over a frame when there is room, and says that it was taken.
  void append();
  /// Frames at the pace of their times.
  void record(std::int64_t frames);
  void stop();

 private:
  struct Ear;

  const Teller& _teller;
  std::shared_ptr<VXVideoRecorder> _recorder;
  SourceFrame _frame;
  std::int64_t _next = 0;
};

/// One process that records into a folder of its own.
struct RecordingChild {
  /// `body` runs in the process.
  explicit RecordingChild(const std::function<void(const std::string& folder, const Teller&)>& body)
      : child([&](const Teller& teller) { body(folder.path(), teller); }) {}

  std::string path() const { return folder / "killed.mp4"; }
  /// How many pictures it has told to be committed.
  std::int64_t committed() const;
  std::int64_t acceptedBefore(std::int64_t nanoseconds) const;

  TemporaryFolder folder;
  Child child;
};

/// The file opens everywhere, holds the first frames with their exact times, and these many at
/// least. Returns how many.
std::int64_t expectFirstFrames(const std::string& path, std::int64_t atLeast);

}  // namespace vx::test
