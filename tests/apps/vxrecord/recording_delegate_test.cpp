#include "recording_delegate.h"

#include <gtest/gtest.h>

namespace vxrecord {
namespace {

constexpr const char* kPrefix = "[VXVideoRecorder][<VXVideoRecorder: 0x55d0c8a0e2b0>] ";

void log(RecordingDelegate& delegate, const std::string& text) {
  delegate.writeLog(kPrefix + text, 2);
}

TEST(RecordingDelegate, CountsRefusedFrames) {
  RecordingDelegate delegate(false);
  log(delegate, "appendVideoSample - sample not appended; readyForMoreMediaData = 0, status = 1");
  log(delegate, "Pixel buffer create failed");
  log(delegate, "Sample buffer create failed");
  log(delegate, "There is not enough memory: a frame is lost");
  log(delegate, "There is not enough memory: an audio sample is lost");
  log(delegate, "Video Sample 0 ms");
  EXPECT_EQ(delegate.lostFrames(), 4);
}

TEST(RecordingDelegate, WhatComesBehindTheNoticeCountsNoMore) {
  RecordingDelegate delegate(false);
  log(delegate, "Record a - done");
  delegate.writeVideoFileDone();
  log(delegate, "exception : finished already");
  log(delegate, "Pixel buffer create failed");
  log(delegate, "Record a - failed");
  EXPECT_TRUE(delegate.waitForOutcome());
  EXPECT_EQ(delegate.exception(), std::nullopt);
  EXPECT_EQ(delegate.lostFrames(), 0);
}

TEST(RecordingDelegate, FileThatIsDoneIsASuccess) {
  RecordingDelegate delegate(false);
  log(delegate, "Record a - failed - done.mp4 - done");
  delegate.writeVideoFileDone();
  EXPECT_TRUE(delegate.waitForOutcome());
}

TEST(RecordingDelegate, FileThatFailedIsNone) {
  RecordingDelegate delegate(false);
  log(delegate, "Record a - done - failed");
  delegate.writeVideoFileDone();
  EXPECT_FALSE(delegate.waitForOutcome());
}

TEST(RecordingDelegate, ExceptionEndsTheWait) {
  RecordingDelegate delegate(false);
  log(delegate, "exception : not now. (\n)");
  EXPECT_FALSE(delegate.waitForOutcome());
  EXPECT_EQ(delegate.exception(), "not now. (\n)");
}

TEST(RecordingDelegate, WantOfMemoryToStopEndsTheWait) {
  RecordingDelegate delegate(false);
  log(delegate, "There is not enough memory: the recording is not stopped yet");
  EXPECT_FALSE(delegate.waitForOutcome());
  EXPECT_EQ(delegate.exception(), "There is not enough memory: the recording is not stopped yet");
}

TEST(RecordingDelegate, NoticesShortSpace) {
  RecordingDelegate delegate(false);
  EXPECT_FALSE(delegate.isSpaceShort());
  log(delegate, "status 1 with error (null)");
  EXPECT_TRUE(delegate.isSpaceShort());
}

}  // namespace
}  // namespace vxrecord
