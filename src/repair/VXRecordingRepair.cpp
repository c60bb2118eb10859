#include "VXVideoRecorder/VXRecordingRepair.h"

#include "VXVideoRecorder/platform/AVFoundation.h"
#include "platform/avfoundation/mp4/reader_file.h"
#include "platform/avfoundation/mp4/recording_repair.h"
#include "repair/inspection.h"

#include <cerrno>
#include <new>

namespace {

using vx::NSError;
using vx::Status;
using vx::mp4::FoundRecording;
using vx::mp4::OpenedFile;
using vx::mp4::ReadDepth;

Status outOfMemory() {
  return NSError(vx::AVFoundationErrorDomain, vx::AVErrorOutOfMemory,
                 "There is not enough memory to read the recording. Close other programs.");
}

/// Calls `step`, and hands its failure to the host.
template <typename Result, typename Step>
std::optional<Result> reporting(std::optional<NSError>* error, Step step) {
  std::optional<Result> result;
  Status status;
  try {
    status = step(result);
  } catch (const std::bad_alloc&) {
    status = outOfMemory();
  }
  if (status.ok()) return result;
  if (error != nullptr) *error = status.error();
  return std::nullopt;
}

using Inspected = std::shared_ptr<const VXRecordingInspection::Contents>;

Status inspect(OpenedFile& file, ReadDepth depth, Inspected& result) {
  FoundRecording found;
  if (Status s = vx::mp4::readRecording(*file.input, depth, found); !s.ok()) return s;
  result = vx::repair::contentsOf(std::move(found), file.isHeld);
  return {};
}

Status inspectPath(const std::string& path, ReadDepth depth, Inspected& result) {
  OpenedFile file;
  if (Status s = vx::mp4::openToRead(path, file); !s.ok()) return s;
  return inspect(file, depth, result);
}

Status refusal(const VXRecordingInspection& inspection) {
  const std::string text = inspection.localizedDescription();
  switch (inspection.state()) {
    case VXRecordingState::recording:
      return NSError(vx::NSPOSIXErrorDomain, EBUSY, text);
    case VXRecordingState::foreign:
      return NSError(vx::AVFoundationErrorDomain, vx::AVErrorFileFormatNotRecognized, text);
    default:
      return NSError(vx::AVFoundationErrorDomain, vx::AVErrorInvalidSourceMedia, text);
  }
}

Status complete(OpenedFile file, const FoundRecording& recording) {
  if (Status s = vx::mp4::completeRecording(recording, *file.input, *file.output); !s.ok())
    return s;
  if (Status s = file.output->checkStillNamed(); !s.ok()) return s;
  return file.output->close();
}

VXRepairResult unchanged(const Inspected& found) {
  return {false, VXRecordingInspection(found), VXRecordingInspection(found)};
}

Status repairOpened(const std::string& path, OpenedFile file,
                    std::optional<VXRepairResult>& result) {
  Inspected found;
  if (Status s = inspect(file, ReadDepth::index, found); !s.ok()) return s;
  if (found->state == VXRecordingState::whole) {
    result = unchanged(found);
    return {};
  }
  const VXRecordingInspection inspection(found);
  if (!inspection.canBeRepaired()) return refusal(inspection);
  if (Status s = complete(std::move(file), found->found); !s.ok()) return s;
  Inspected now;
  if (Status s = inspectPath(path, ReadDepth::index, now); !s.ok()) return s;
  result = VXRepairResult{true, inspection, VXRecordingInspection(now)};
  return {};
}

Status repair(const std::string& path, std::optional<VXRepairResult>& result) {
  OpenedFile file;
  const Status opened = vx::mp4::openToRepair(path, file);
  if (opened.ok()) return repairOpened(path, std::move(file), result);
  // A recording that is complete needs no permission to be changed.
  Inspected found;
  if (Status s = inspectPath(path, ReadDepth::index, found); !s.ok()) return s;
  if (found->state != VXRecordingState::whole) return opened;
  result = unchanged(found);
  return {};
}

}  // namespace

std::optional<VXRecordingInspection> VXRecordingRepair::inspectRecordingAtPath(
    const std::string& path, VXInspectionDepth depth, std::optional<NSError>* error) {
  const ReadDepth readDepth =
      depth == VXInspectionDepth::contents ? ReadDepth::contents : ReadDepth::index;
  return reporting<VXRecordingInspection>(error, [&](auto& result) -> Status {
    Inspected found;
    if (Status s = inspectPath(path, readDepth, found); !s.ok()) return s;
    result.emplace(found);
    return {};
  });
}

std::optional<VXRepairResult> VXRecordingRepair::repairRecordingAtPath(
    const std::string& path, std::optional<NSError>* error) {
  return reporting<VXRepairResult>(error, [&](auto& result) { return repair(path, result); });
}
