// The system at its least obliging: it does half of what it was asked for, is interrupted, and
// others act between two calls. The program's own calls go through those below (see
// CMakeLists.txt).
#include "VXVideoRecorder/platform/foundation/NSThread.h"
#include "platform/foundation/folder.h"
#include "platform/foundation/folder_chain.h"
#include "platform/foundation/search_paths.h"
#include "platform/foundation/small_file.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <pwd.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>

namespace {

/// What differs from the usual.
struct Script {
  /// Answers in place of the system, unless with nothing.
  std::function<std::optional<int>(const std::string& name, int flags)> unlink;
  int interruptions = 0;  // of the next reads and writes
  std::size_t mostWritten = SIZE_MAX;
  std::size_t accountBytes = 0;  // what the entry of an account takes at least
  bool tellsTypes = true;        // of a folder's entries
};
Script s_script;

bool isInterrupted() {
  if (s_script.interruptions == 0) return false;
  --s_script.interruptions;
  errno = EINTR;
  return true;
}

}  // namespace

extern "C" {
int __real_unlinkat(int folder, const char* name, int flags);
int __wrap_unlinkat(int folder, const char* name, int flags) {
  const std::optional<int> answer = s_script.unlink ? s_script.unlink(name, flags) : std::nullopt;
  return answer ? *answer : __real_unlinkat(folder, name, flags);
}

ssize_t __real_read(int descriptor, void* bytes, std::size_t count);
ssize_t __wrap_read(int descriptor, void* bytes, std::size_t count) {
  return isInterrupted() ? -1 : __real_read(descriptor, bytes, count);
}

ssize_t __real_writev(int descriptor, const iovec* parts, int count);
ssize_t __wrap_writev(int descriptor, const iovec* parts, int count) {
  if (isInterrupted()) return -1;
  if (s_script.mostWritten == SIZE_MAX) return __real_writev(descriptor, parts, count);
  while (count > 1 && parts->iov_len == 0) ++parts, --count;
  return ::write(descriptor, parts->iov_base, std::min(parts->iov_len, s_script.mostWritten));
}

int __real_getpwuid_r(uid_t user, passwd* entry, char* bytes, std::size_t size, passwd** found);
int __wrap_getpwuid_r(uid_t user, passwd* entry, char* bytes, std::size_t size, passwd** found) {
  return size < s_script.accountBytes ? ERANGE : __real_getpwuid_r(user, entry, bytes, size, found);
}

dirent* __real_readdir(DIR* folder);
dirent* __wrap_readdir(DIR* folder) {
  dirent* entry = __real_readdir(folder);
  if (entry != nullptr && !s_script.tellsTypes) entry->d_type = DT_UNKNOWN;
  return entry;
}
}

namespace vx {
namespace {

namespace fs = std::filesystem;

class SystemCalls : public testing::Test {
 protected:
  ~SystemCalls() override { s_script = Script(); }
  bool remove(const std::string& name) {
    return Folder::open(folder.path())->removeItem(name).ok();
  }
  TemporaryFolder folder;
};

using FolderRemoval = SystemCalls;

/// Calls `act` before each attempt to remove the emptied folder "a", with the number of attempts
/// before.
void beforeLeaving(const std::function<void(int)>& act) {
  s_script.unlink = [act, attempts = 0](const std::string& name,
                                        int flags) mutable -> std::optional<int> {
    if (name == "a" && flags == AT_REMOVEDIR) act(attempts++);
    return std::nullopt;
  };
}

TEST_F(FolderRemoval, EmptiesAgainWhatOthersFillMeanwhile) {
  folder.makeFolder("a");
  folder.makeFile("a/file");
  beforeLeaving([&](int attempt) {
    if (attempt < 3) folder.makeFile("a/late");
  });
  EXPECT_TRUE(remove("a"));
  EXPECT_FALSE(folder.has("a"));
}

TEST_F(FolderRemoval, GivesUpOnAFolderThatIsFilledForEver) {
  folder.makeFolder("a");
  folder.makeFile("a/file");
  int attempts = 0;
  beforeLeaving([&](int attempt) {
    attempts = attempt + 1;
    folder.makeFile("a/late");
  });
  EXPECT_FALSE(remove("a"));
  EXPECT_EQ(attempts, 9) << "once, and eight times more";
  EXPECT_TRUE(folder.has("a/late"));
}

TEST_F(FolderRemoval, DoesNotTryAgainWhereItRemovesNothing) {
  folder.makeFolder("a");
  int attempts = 0;
  beforeLeaving([&](int attempt) {
    attempts = attempt + 1;
    folder.makeFile("a/late");
  });
  EXPECT_FALSE(remove("a"));
  EXPECT_EQ(attempts, 1);
}

TEST_F(FolderRemoval, DoesNotFollowALinkThatTakesTheFoldersPlace) {
  folder.makeFolder("elsewhere");
  folder.makeFile("elsewhere/file");
  folder.makeFolder("a");
  folder.makeFile("a/file");
  s_script.unlink = [&](const std::string& name, int flags) -> std::optional<int> {
    if (name != "a" || flags != AT_REMOVEDIR) return std::nullopt;
    fs::rename(folder / "a", folder / "aside");
    fs::create_directory_symlink("elsewhere", folder / "a");
    errno = ENOTEMPTY;
    return -1;
  };
  EXPECT_FALSE(remove("a"));
  EXPECT_TRUE(folder.has("elsewhere/file"));
}

TEST_F(FolderRemoval, TakesAnEntryThatVanishesForRemoved) {
  folder.makeFolder("a");
  folder.makeFile("a/file");
  s_script.unlink = [&](const std::string& name, int) -> std::optional<int> {
    if (name == "file") fs::remove(folder / "a/file");
    return std::nullopt;
  };
  EXPECT_TRUE(remove("a"));
  EXPECT_FALSE(folder.has("a"));
}

TEST_F(FolderRemoval, TakesAFolderThatVanishesForRemoved) {
  folder.makeFolder("a/b");
  s_script.unlink = [&](const std::string& name, int flags) -> std::optional<int> {
    if (name == "b" && flags == AT_REMOVEDIR) fs::remove(folder / "a/b");
    return std::nullopt;
  };
  EXPECT_TRUE(remove("a"));
  EXPECT_FALSE(folder.has("a"));
}

TEST_F(FolderRemoval, EndsWhereItsWayBackWasMoved) {
  std::string path = "a";
  for (std::size_t i = 0; i < FolderChain::kMaximumOpen + 2; ++i) path += "/d";
  folder.makeFolder(path);
  folder.makeFolder("other");
  bool isMoved = false;
  s_script.unlink = [&](const std::string&, int flags) -> std::optional<int> {
    if (flags == AT_REMOVEDIR && !isMoved) {
      fs::rename(folder / "a/d/d", folder / "other/d");
      isMoved = true;
    }
    return std::nullopt;
  };
  EXPECT_FALSE(remove("a"));
  EXPECT_TRUE(folder.has("a/d"));
  EXPECT_TRUE(folder.has("other/d"));
}

TEST_F(SystemCalls, EntriesAreAskedWhatTheyAreWhereTheListDoesNotTell) {
  folder.makeFolder("a/b");
  folder.makeFile("a/b/file");
  s_script.tellsTypes = false;
  EXPECT_EQ(Folder::open(folder.path())->subpaths(),
            (std::vector<std::string>{"a", "a/b", "a/b/file"}));
}

TEST_F(SystemCalls, LineOfTheLogGoesOnWhereAWriteEnded) {
  testing::internal::CaptureStderr();
  s_script.mostWritten = 7;
  s_script.interruptions = 1;
  NSLog("a line of many more bytes than seven");
  NSLog("");
  s_script = Script();
  const std::string lines = testing::internal::GetCapturedStderr();
  const std::string mark = "[" + std::to_string(::getpid()) + "] ";
  EXPECT_NE(lines.find(mark + "a line of many more bytes than seven\n2"), std::string::npos)
      << lines;
  EXPECT_TRUE(lines.ends_with(mark + "\n")) << lines;
}

TEST_F(SystemCalls, ReadingASmallFileOutlastsInterruptions) {
  std::ofstream(folder / "file") << "contents";
  s_script.interruptions = 3;
  EXPECT_EQ(contentsOfSmallFile(folder / "file"), "contents");
  EXPECT_EQ(s_script.interruptions, 0);
}

TEST_F(SystemCalls, AccountWithALongEntryIsReadWithMoreMemory) {
  const ScopedEnvironment none("HOME", nullptr);
  const std::string home = homeFolder();
  s_script.accountBytes = 5000;
  EXPECT_EQ(homeFolder(), home);
  s_script.accountBytes = SIZE_MAX;
  EXPECT_EQ(homeFolder(), "/");
}

}  // namespace
}  // namespace vx
