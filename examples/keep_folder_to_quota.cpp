// Many recordings in one folder that is kept to a quota: the oldest ones make room for the newest.
// usage: keep_folder_to_quota FOLDER [RECORDINGS [MEGABYTES]]
#include "VXVideoRecorder/VXVideoRecorder.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <random>

namespace {

constexpr std::uint32_t kWidth = 320;
constexpr std::uint32_t kHeight = 240;
constexpr std::uint32_t kBytesPerRow = kWidth * 4;
// Every recording of this host begins with this, and nothing else in the folder may. The names have
// no underscore: recordings that share the text before their last underscore are never deleted on
// each other's account.
constexpr const char* kPrefix = "noise-";

class Host : public VXVideoRecorderDelegate {
 public:
  void writeVideoFileDone() override { _done.set_value(); }
  void wait() { _done.get_future().wait(); }

 private:
  std::promise<void> _done;
};

/// One second of noise, which no encoder makes small, as fast as the recorder takes it.
void pushNoise(VXVideoRecorder& recorder) {
  static std::mt19937 random(1);
  std::vector<std::uint32_t> pixels(kWidth * kHeight);
  for (std::uint32_t ms = 0; ms < 1000; ms += 40) {
    for (std::uint32_t& pixel : pixels) pixel = static_cast<std::uint32_t>(random());
    if (recorder.videoWriterInput()) {
      recorder.videoWriterInput()->waitUntilReadyForMoreMediaData(std::chrono::seconds(10));
    }
    recorder.appendVideoSample(
        {{"timestamp", ms},
         {"frameBuffer", vx::NSData::dataWithBytesNoCopy(pixels.data(), pixels.size() * 4)},
         {"pixelFormatType", vx::kCVPixelFormatType_32BGRA},
         {"width", kWidth},
         {"height", kHeight},
         {"bytesPerRow", kBytesPerRow}});
  }
}

void record(const std::string& folder, const std::string& name, std::uint64_t megabytes) {
  auto host = std::make_shared<Host>();
  auto recorder = VXVideoRecorder::initWithDelegate(host);
  recorder->setStoragePath(folder);
  recorder->setFilename(name);
  recorder->setFileNamePrefix(kPrefix);
  recorder->setFolderLimitSize(megabytes);
  pushNoise(*recorder);
  recorder->stop();
  host->wait();  // by now the folder is within its quota again
}

std::uintmax_t bytesIn(const std::string& folder) {
  std::uintmax_t bytes = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) bytes += entry.file_size();
  return bytes;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s FOLDER [RECORDINGS [MEGABYTES]]\n", argv[0]);
    return 2;
  }
  const std::string folder = argv[1];
  const int recordings = argc > 2 ? std::atoi(argv[2]) : 20;
  const std::uint64_t megabytes = argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 5;
  for (int i = 1; i <= recordings; ++i) {
    const std::string name = kPrefix + std::to_string(i) + ".mp4";
    record(folder, name, megabytes);
    const bool there = std::filesystem::exists(folder + "/" + name);
    const std::uintmax_t bytes = bytesIn(folder);
    std::printf("%s: the folder holds %ju bytes\n", name.c_str(), bytes);
    if (!there || bytes > megabytes * 1000000) {
      std::fprintf(stderr, "%s\n", there ? "the quota is exceeded" : "the recording is not there");
      return 1;
    }
  }
}
