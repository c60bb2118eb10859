// A recording's file whose samples are not stored, so that a day fits on any disk: while it grows
// only its length is kept; from `storeFromNowOn` everything is written and synchronised as always.
#pragma once

#include "platform/avfoundation/mp4/output_file.h"

#include <algorithm>
#include <memory>

namespace bench {

class SparseFile final : public vx::mp4::OutputFile {
 public:
  explicit SparseFile(std::unique_ptr<vx::mp4::OutputFile> file) : _file(std::move(file)) {}

  vx::Status storeFromNowOn() {
    _stores = true;
    return _file->truncate(_end);
  }

  vx::Status writeAt(std::uint64_t offset, std::span<const std::uint8_t> bytes) override {
    _end = std::max(_end, offset + bytes.size());
    return _stores ? _file->writeAt(offset, bytes) : vx::Status::success();
  }
  vx::Status sync() override { return _stores ? _file->sync() : vx::Status::success(); }
  vx::Status syncFolder() override { return _file->syncFolder(); }
  vx::Status reserve(std::uint64_t end) override {
    return _stores ? _file->reserve(end) : vx::Status::success();
  }
  vx::Status truncate(std::uint64_t sizeBytes) override { return _file->truncate(sizeBytes); }
  vx::Status checkStillNamed() override { return _file->checkStillNamed(); }
  void discard() override { _file->discard(); }
  vx::Status close() override { return _file->close(); }

 private:
  std::unique_ptr<vx::mp4::OutputFile> _file;
  std::uint64_t _end = 0;
  bool _stores = false;
};

}  // namespace bench
