// A file in memory that remembers every step, so that it can be looked at as a crash would have
// left it.
#pragma once

#include "platform/avfoundation/mp4/output_file.h"
#include "support/box_reader.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace vx::mp4::test {

using vx::test::Bytes;

struct JournalStep {
  enum class Kind { write, sync, syncFolder, reserve, truncate, close };
  Kind kind;
  std::uint64_t offset = 0;  // or the size or end asked for
  Bytes bytes;
};

/// What outlives the file that wrote it.
struct Journal {
  std::vector<JournalStep> steps;
  /// Asked before every step; a failed status is returned in its place. A write that fails so has
  /// written its first half.
  std::function<Status(const JournalStep&)> fault;
  bool isNamed = true;

  /// The file after the first `stepCount` steps; `isLost(step number)` leaves writes out.
  Bytes image(std::size_t stepCount,
              const std::function<bool(std::size_t)>& isLost = nullptr) const;
  Bytes image() const { return image(steps.size()); }
};

inline void apply(const JournalStep& step, Bytes& image) {
  if (step.kind == JournalStep::Kind::truncate) image.resize(step.offset);
  if (step.kind != JournalStep::Kind::write) return;
  image.resize(std::max<std::size_t>(image.size(), step.offset + step.bytes.size()));
  std::copy(step.bytes.begin(), step.bytes.end(),
            image.begin() + static_cast<std::ptrdiff_t>(step.offset));
}

inline Bytes Journal::image(std::size_t stepCount,
                            const std::function<bool(std::size_t)>& isLost) const {
  Bytes image;
  for (std::size_t i = 0; i < stepCount; ++i)
    if (!isLost || !isLost(i)) apply(steps[i], image);
  return image;
}

class JournalFile final : public OutputFile {
 public:
  explicit JournalFile(std::shared_ptr<Journal> journal) : _journal(std::move(journal)) {}

  Status writeAt(std::uint64_t offset, std::span<const std::uint8_t> bytes) override {
    return add({JournalStep::Kind::write, offset, Bytes(bytes.begin(), bytes.end())});
  }
  Status sync() override { return add({JournalStep::Kind::sync, 0, {}}); }
  Status syncFolder() override { return add({JournalStep::Kind::syncFolder, 0, {}}); }
  Status reserve(std::uint64_t end) override { return add({JournalStep::Kind::reserve, end, {}}); }
  Status truncate(std::uint64_t size) override {
    return add({JournalStep::Kind::truncate, size, {}});
  }
  Status checkStillNamed() override {
    return _journal->isNamed ? Status() : Status(NSError("test", 1, "removed"));
  }
  void discard() override { _journal->isNamed = false; }
  Status close() override { return add({JournalStep::Kind::close, 0, {}}); }

 private:
  Status add(JournalStep step) {
    Status status = _journal->fault ? _journal->fault(step) : Status();
    if (!status.ok() && step.kind != JournalStep::Kind::write) return status;
    if (!status.ok()) step.bytes.resize(step.bytes.size() / 2);
    _journal->steps.push_back(std::move(step));
    return status;
  }

  std::shared_ptr<Journal> _journal;
};

}  // namespace vx::mp4::test
