// The order in which bytes reach the file, so that it can be read at every moment.
#pragma once

#include "platform/avfoundation/mp4/fragment.h"
#include "platform/avfoundation/mp4/movie.h"
#include "platform/avfoundation/mp4/output_file.h"

#include <cstdint>
#include <functional>

namespace vx::mp4 {

/// Turns heads, fragments and finished movies into durable states of the file. Between two writes
/// that count, every reader sees the state before; a cut-off rest is always a `free` box or what
/// follows one.
class FragmentCommitter {
 public:
  explicit FragmentCommitter(OutputFile& file) : _file(file) {}
  /// Goes on where another committer was cut off: what counts ends at `committedEnd`, the file at
  /// `fileEnd`.
  FragmentCommitter(OutputFile& file, std::uint64_t committedEnd, std::uint64_t fileEnd)
      : _file(file), _committedEnd(committedEnd), _writtenEnd(fileEnd) {}

  Status writeHead(const MovieHead& head);
  Status publishAudio(const MovieHead& head, const ReservedAudioBoxes& boxes);
  /// `movieBytes`: room that the finish will need with this fragment.
  Status commit(const Fragment& fragment, std::uint64_t movieBytes);
  /// Makes the last published fragment durable, which the next commit would do as well.
  Status settle();
  /// `writeMovie` writes a complete `moov`.
  Status finish(const std::function<void(ByteStream&)>& writeMovie);
  /// Takes back the header of a finished movie that is no longer there: the file is a fragmented
  /// movie again.
  Status restorePlaceholder();
  /// Takes back what was written and not published.
  Status cutBack();
  /// The same, and gives back the room that was set aside: the file is left as it was committed.
  Status releaseRoom();

  /// Whether every synchronisation has succeeded. What the disk holds after one that failed is not
  /// known, whatever the error was, and trying again may succeed without having written anything.
  bool isTrusted() const { return _isTrusted; }
  /// Where the next fragment goes.
  std::uint64_t committedEnd() const { return _committedEnd; }

 private:
  Status writeFragment(const Fragment& fragment);
  Status writeMovieInFreeBox(const std::function<void(ByteStream&)>& writeMovie);
  Status writeType(std::uint64_t boxOffset, std::string_view type);
  Status sync();
  Status writeAt(std::uint64_t offset, std::span<const std::uint8_t> bytes);

  OutputFile& _file;
  std::uint64_t _committedEnd = 0;
  std::uint64_t _writtenEnd = 0;
  bool _isSettled = true;
  bool _isFinished = false;
  bool _isTrusted = true;
};

}  // namespace vx::mp4
