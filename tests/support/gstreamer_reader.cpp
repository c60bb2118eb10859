#include "support/gstreamer_reader.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "support/program.h"

namespace vx::test {
namespace {

// Alpha, red, green, blue of 16 bits, the high byte first, become blue, green, red, 255.
void narrow(const std::vector<std::uint8_t>& wide, std::vector<std::uint8_t>& pixels) {
  for (std::size_t i = 0; i < pixels.size(); i += 4) {
    const std::uint8_t* pixel = wide.data() + 2 * i;
    pixels[i] = pixel[6];
    pixels[i + 1] = pixel[4];
    pixels[i + 2] = pixel[2];
    pixels[i + 3] = 255;
  }
}

}  // namespace

// Asked for 8 bits a colour, GStreamer's converter takes a fast path that is up to 6 of 255 off;
// asked for 16 bits it is exact.

std::vector<Picture> decodeWithGStreamer(const std::string& path, int width, int height) {
  const std::string raw = path + ".raw";
  const ProgramResult run =
      runProgram({"gst-launch-1.0", "-q", "filesrc", "location=" + path, "!", "qtdemux", "!",
                  "h264parse", "!", "openh264dec", "!", "videoconvert", "!",
                  "video/x-raw,format=ARGB64_BE", "!", "filesink", "location=" + raw});
  std::vector<Picture> pictures;
  std::ifstream stream(raw, std::ios::binary);
  while (stream) {
    Picture picture;
    picture.width = width;
    picture.height = height;
    picture.pixels.resize(picture.bytesPerRow() * static_cast<std::size_t>(height));
    std::vector<std::uint8_t> wide(picture.pixels.size() * 2);
    stream.read(reinterpret_cast<char*>(wide.data()), static_cast<std::streamsize>(wide.size()));
    if (stream.gcount() == static_cast<std::streamsize>(wide.size())) {
      narrow(wide, picture.pixels);
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
