// Files and addresses of FFmpeg, read picture by picture.
#include "media_input.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "support/program.h"
#include "support/temporary_folder.h"

namespace vxrecord {
namespace {

using testing::HasSubstr;
using vx::test::makeWithFFmpeg;

/// What comes of an input.
struct Reading {
  explicit Reading(Input& input) {
    MediaFrame frame;
    for (last = input.read(frame); last == ReadResult::frame; last = input.read(frame)) {
      if (frame.kind == MediaFrame::Kind::picture) {
        ++pictures;
      } else if (sounds++ == 0) {
        soundStart = frame.sound.start;
      }
    }
  }
  int pictures = 0;
  int sounds = 0;
  std::int64_t soundStart = 0;
  ReadResult last;
};

std::string bytesOf(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

/// Overwrites what begins with `mark` for the `number`th time behind `from`, counted from 1.
void damage(const std::string& path, const std::string& mark, int number, std::size_t from = 0) {
  const std::string bytes = bytesOf(path);
  std::size_t at = bytes.find(mark, from);
  for (; number > 1 && at != std::string::npos; --number) {
    at = bytes.find(mark, at + 1);
  }
  ASSERT_NE(at, std::string::npos);
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(static_cast<std::streamoff>(at)).write("damaged!", 8);
}

class MediaInputTest : public testing::Test {
 protected:
  /// Eight pictures, each with PNG's mark at its start, and what else is asked for.
  std::string makePictures(const std::vector<std::string>& more = {}) const {
    std::vector<std::string> words = {"-f", "lavfi", "-i",
                                      "testsrc=size=64x48:rate=25:duration=0.32"};
    words.insert(words.end(), more.begin(), more.end());
    words.insert(words.end(), {"-c:v", "png", folder / "a.mkv"});
    makeWithFFmpeg(words);
    return folder / "a.mkv";
  }

  TemporaryFolder folder;
};

TEST_F(MediaInputTest, DamagedPicturesAreLeftOutAndCounted) {
  const std::string path = makePictures();
  damage(path, "\x89PNG", 3);
  damage(path, "\x89PNG", 7);  // the last one by now
  const auto input = openMedia(path, false);
  const Reading reading(*input);
  EXPECT_EQ(reading.last, ReadResult::end);
  EXPECT_GE(reading.pictures, 5) << "the decoder passes over one behind a damaged one";
  EXPECT_EQ(input->trouble(), "left out of the input: 2 damaged pieces");
}

TEST_F(MediaInputTest, DamagedSoundIsCountedToo) {
  const std::string path = makePictures({"-f", "lavfi", "-i", "sine=duration=2", "-c:a", "flac"});
  const std::string bytes = bytesOf(path);
  const std::size_t cluster = bytes.find("\x1F\x43\xB6\x75");
  const std::size_t first = bytes.find("\xFF\xF8", cluster);
  damage(path, bytes.substr(first, 4), 2, cluster);
  const auto input = openMedia(path, true);
  const Reading reading(*input);
  EXPECT_EQ(reading.last, ReadResult::end);
  EXPECT_EQ(reading.pictures, 8);
  EXPECT_EQ(input->trouble(), "left out of the input: 1 damaged piece");
}

TEST_F(MediaInputTest, WholeFileIsNoTrouble) {
  const auto input = openMedia(makePictures(), true);
  EXPECT_FALSE(input->hasSound());
  EXPECT_EQ(Reading(*input).pictures, 8);
  EXPECT_EQ(input->trouble(), "");
}

TEST_F(MediaInputTest, SoundIsCountedFromTheFirstPicture) {
  const std::string path = makePictures(
      {"-f", "lavfi", "-i", "sine=duration=0.3", "-output_ts_offset", "5", "-c:a", "flac"});
  const auto input = openMedia(path, true);
  const Reading reading(*input);
  ASSERT_GT(reading.sounds, 0);
  EXPECT_LE(std::abs(reading.soundStart), soundSamplesAt(50));
}

TEST_F(MediaInputTest, CoverPictureIsNoVideo) {
  makeWithFFmpeg({"-f", "lavfi", "-i", "testsrc=size=64x48:duration=0.04", folder / "cover.png"});
  makeWithFFmpeg({"-f", "lavfi", "-i", "sine=duration=0.2", "-i", folder / "cover.png", "-map", "0",
                  "-map", "1", "-c:v", "copy", "-disposition:v", "attached_pic",
                  folder / "song.flac"});
  EXPECT_THAT([this] { openMedia(folder / "song.flac", false); },
              testing::ThrowsMessage<InputError>(HasSubstr("there is no video")));
}

/// Sends bytes to the first who connects, and breaks the connection when all have arrived.
class BreakingServer {
 public:
  explicit BreakingServer(std::string bytes) : _listening(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const name = reinterpret_cast<sockaddr*>(&address);
    if (bind(_listening, name, length) != 0 || listen(_listening, 1) != 0 ||
        getsockname(_listening, name, &length) != 0) {
      throw std::runtime_error("no server can be had");
    }
    _port = ntohs(address.sin_port);
    _thread = std::thread([this, bytes = std::move(bytes)] { serve(bytes); });
  }
  ~BreakingServer() {
    shutdown(_listening, SHUT_RDWR);
    _thread.join();
    close(_listening);
  }
  BreakingServer(const BreakingServer&) = delete;
  BreakingServer& operator=(const BreakingServer&) = delete;

  std::string address() const { return "tcp://127.0.0.1:" + std::to_string(_port); }

 private:
  void serve(const std::string& bytes) const {
    const int connection = accept(_listening, nullptr, nullptr);
    for (std::size_t sent = 0; sent < bytes.size();) {
      const ssize_t count =
          send(connection, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (count <= 0) {
        break;
      }
      sent += static_cast<std::size_t>(count);
    }
    vx::test::waitUntil([connection] {
      int waiting = 0;
      return ioctl(connection, SIOCOUTQ, &waiting) != 0 || waiting == 0;
    });
    const linger atOnce = {1, 0};
    setsockopt(connection, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    close(connection);
  }

  int _listening;
  unsigned _port = 0;
  std::thread _thread;
};

TEST(MediaInput, AddressThatBreaksOffGivesWhatCameBefore) {
  std::string stream = "YUV4MPEG2 W64 H48 F25:1 Ip A1:1 C420jpeg\n";
  for (int i = 0; i < 20; ++i) {
    stream += "FRAME\n" + std::string(64 * 48 * 3 / 2, static_cast<char>(100 + i));
  }
  const BreakingServer server(stream);
  const auto input = openMedia(server.address(), false);
  EXPECT_FALSE(input->isLive());
  const Reading reading(*input);
  EXPECT_EQ(reading.last, ReadResult::broken);
  EXPECT_EQ(reading.pictures, 20);
  EXPECT_THAT(input->trouble(),
              HasSubstr("\"" + server.address() + "\" broke off: Connection reset by peer"));
}

}  // namespace
}  // namespace vxrecord
