// AAC as it travels: AudioSpecificConfig and ADTS (ISO/IEC 14496-3, 1.6.2 and 1.A.2).
#pragma once

#include "VXVideoRecorder/platform/CoreMedia.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace vx::aac {

/// The AudioSpecificConfig for a stream that brings none: object type from the format flags (0
/// means low complexity), 1 to 8 channels, any rate. Spectral band replication is signalled
/// explicitly, its core at half the rate. Absent for a stream that AAC cannot describe.
std::optional<std::vector<std::uint8_t>> makeAudioSpecificConfig(
    const AudioStreamBasicDescription& stream);

/// What a given AudioSpecificConfig says.
struct AudioSpecificConfig {
  std::uint32_t sampleRate = 0;       // Hz, of what is heard (behind spectral band replication)
  std::uint16_t channels = 0;         // 0 when the stream itself tells
  std::uint32_t framesPerPacket = 0;  // at `sampleRate`; 0 where the object type does not tell
};
/// Absent for bytes that are none.
std::optional<AudioSpecificConfig> parseAudioSpecificConfig(std::span<const std::uint8_t> config);

/// The AudioSpecificConfig in a magic cookie: the cookie itself, or what an elementary stream
/// descriptor (with or without the `esds` box's version field) holds. Empty when there is none.
std::span<const std::uint8_t> configInCookie(std::span<const std::uint8_t> cookie);

/// One ADTS frame: its header's length and its whole length.
struct AdtsFrame {
  std::size_t headerLength = 0;
  std::size_t frameLength = 0;
};
/// Whether an ADTS frame, whole or not, begins here. No access unit of its own begins so: that
/// would be its end.
bool hasAdtsSyncWord(std::span<const std::uint8_t> bytes);
/// The frame that begins here; absent when no whole one does, and for one that holds several access
/// units, whose borders it does not tell.
std::optional<AdtsFrame> adtsFrameAt(std::span<const std::uint8_t> bytes);

/// The access units in a block of ADTS frames without their headers; empty when the block is not
/// made of whole ADTS frames from its first byte to its last.
std::vector<std::span<const std::uint8_t>> accessUnitsInAdts(std::span<const std::uint8_t> block);

/// Fills in what the stream description leaves open (0) from the first ADTS header of `block`, if
/// it begins with one: rate, channels and object type.
void completeFromAdts(std::span<const std::uint8_t> block, AudioStreamBasicDescription& stream);

}  // namespace vx::aac
