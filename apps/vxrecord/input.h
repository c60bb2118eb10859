// What is recorded: pictures and sound with their times, wherever they come from.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include "libav.h"
#include "sound.h"

namespace vxrecord {

/// An input that cannot be opened; the text says why and what to do.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// One decoded piece of the input.
struct MediaFrame {
  enum class Kind : std::uint8_t { picture, sound };

  Kind kind = Kind::picture;
  std::int64_t timeMs = 0;        ///< since the first picture
  LibavPointer<AVFrame> picture;  ///< valid until the next read
  SoundBlock sound;
};

enum class ReadResult : std::uint8_t {
  frame,        ///< a frame was read
  idle,         ///< nothing new came for a moment; only from an input that can `repeat`
  end,          ///< the input is over
  interrupted,  ///< the end was asked for while the input had nothing
  broken,       ///< the input cannot be read any further; `trouble` tells why
};

class Input {
 public:
  virtual ~Input() = default;
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  /// The next frame. May block; an asked-for end wakes it.
  virtual ReadResult read(MediaFrame& frame) = 0;
  /// True when frames come when they come and have to be taken at once.
  virtual bool isLive() const = 0;
  /// The picture that an input shows right now, with the present time. False for an input that
  /// brings every picture by itself, and before the first picture; an input that brings one only
  /// when it changes repeats the last.
  virtual bool repeat(MediaFrame&) { return false; }
  /// Makes `read` return `idle` once when this time has come, with nothing read from then on
  /// before; for inputs that can `repeat`. The last wish counts.
  virtual void wakeAt(std::int64_t /*timeMs*/) {}
  /// Whether sound comes, if it was asked for.
  virtual bool hasSound() const { return false; }
  /// What went wrong while reading; empty when nothing did.
  virtual std::string trouble() const { return {}; }

 protected:
  Input() = default;
};

/// Opens what `address` names: "x11:..." a display, "test:..." the built-in picture, anything else
/// a file or address of FFmpeg. Sound comes only `withSound`.
/// Errors: throws InputError.
std::unique_ptr<Input> openInput(const std::string& address, bool withSound);

}  // namespace vxrecord
