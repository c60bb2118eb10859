// A recorder whose writer is made with parts of the test's choice.
#pragma once

#include <memory>
#include <string>

#include "platform/avfoundation/file_asset_writer.h"
#include "support/recorder_peer.h"

namespace vx::test {

/// What a recorder does when its first frame comes, with other parts: the writer is made, started
/// and waits for the frame that has this size and time.
inline void startWithParts(VXVideoRecorder& recorder, const std::string& path, WriterParts parts,
                           CGSize size, std::uint32_t firstTimestampMs = 0) {
  VXVideoRecorderPeer peer(recorder);
  const auto writer = makeFileAssetWriter(NSURL::fileURLWithPath(path), std::move(parts));
  const auto input =
      AVAssetWriterInput::assetWriterInputWithMediaType(AVMediaTypeVideo, peer.videoSettings(size));
  writer->addInput(input);
  recorder.setWriter(writer);
  recorder.setVideoWriterInput(input);
  if (recorder.audioEnabled()) {
    peer.prepareAudioWriter();
  }
  peer.startTime() = firstTimestampMs;
  peer.startWriting();
}

}  // namespace vx::test
