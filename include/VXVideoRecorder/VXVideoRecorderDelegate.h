// What a recorder tells its host.
#pragma once

#include <cstdint>
#include <string>

#pragma GCC visibility push(default)

/// The host's ear. Both operations may be left out: the empty bodies below drop the message.
///
/// The recorder owns its delegate until it is destroyed; to avoid a ring, a delegate must not own
/// its recorder.
class VXVideoRecorderDelegate {
 public:
  virtual ~VXVideoRecorderDelegate() = default;

  /// One line of the recorder's log, UTF-8. Every line but one opens with the recorder's class and
  /// identity in brackets; the failed query of the disk's space names the class alone. Level 2 is
  /// the normal level; level 1 marks a failed query of the disk's space. Thread: the one that
  /// called the recorder; the line of a finished file comes on the writer's.
  virtual void writeLog(const std::string& message, std::int32_t level) {
    (void)message;
    (void)level;
  }

  /// The file is complete, or as complete as a failure allowed. Comes once, after the first `stop`
  /// of a recorder that has a writer, even one that could not create its file, behind the folder
  /// quota and the log line that says "done" or "failed". Not after a recorder that was destroyed
  /// without `stop`, and not when the writer refused to be stopped, which is a line of the log.
  /// Thread: the writer's. The recorder may be released here.
  virtual void writeVideoFileDone() {}
};

#pragma GCC visibility pop
