#include "support/gstreamer_reader.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "support/program.h"

namespace vx::test {

std::vector<Picture> decodeWithGStreamer(const std::string& path, int width, int height) {
  const std::string raw = path + ".raw";
  const ProgramResult run =
      runProgram({"gst-launch-1.0", "-q", "filesrc", "location=" + path, "!", "qtdemux", "!",
                  "h264parse", "!", "openh264dec", "!", "videoconvert", "!",
                  "video/x-raw,format=BGRx", "!", "filesink", "location=" + raw});
  std::vector<Picture> pictures;
  std::ifstream stream(raw, std::ios::binary);
  while (stream) {
    Picture picture;
    picture.width = width;
    picture.height = height;
    picture.pixels.resize(picture.bytesPerRow() * static_cast<std::size_t>(height));
    stream.read(reinterpret_cast<char*>(picture.pixels.data()),
                static_cast<std::streamsize>(picture.pixels.size()));
    if (stream.gcount() == static_cast<std::streamsize>(picture.pixels.size())) {
      pictures.push_back(std::move(picture));
    }
  }
  std::filesystem::remove(raw);
  if (run.status != 0 || pictures.empty()) {
    throw ReadError("GStreamer cannot play " + path + ": " + run.errors);
  }
  return pictures;
}

}  // namespace vx::test
