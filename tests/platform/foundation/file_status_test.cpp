#include "platform/foundation/file_status.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <system_error>

namespace vx {
namespace {

struct Case {
  int systemError;
  std::int64_t readCode;
  std::int64_t writeCode;
  const char* advice;
};

class FileErrors : public testing::TestWithParam<Case> {};

constexpr char kOnAnotherDisk[] = "Free some space, or choose a folder on another disk.";
constexpr char kPermissions[] = "Choose a folder that you may write to, or change its permissions.";
constexpr char kInTheWay[] = "Move the file that stands in the way, or choose another folder.";

INSTANTIATE_TEST_SUITE_P(
    All, FileErrors,
    testing::Values(Case{ENOENT, 260, 4,
                         "Check that the folder is there and its disk is connected."},
                    Case{ENOTDIR, 260, 512, kInTheWay}, Case{EEXIST, 256, 516, kInTheWay},
                    Case{EACCES, 257, 513, kPermissions}, Case{EPERM, 257, 513, kPermissions},
                    Case{EROFS, 256, 642, "The disk is read-only; choose a folder on another one."},
                    Case{ENOSPC, 256, 640, kOnAnotherDisk}, Case{EDQUOT, 256, 640, kOnAnotherDisk},
                    Case{EIO, 256, 512, "Try again, or choose another folder."}),
    [](const auto& test) { return "Error" + std::to_string(test.param.systemError); });

TEST_P(FileErrors, HaveTheirCodeAndSayWhatToDo) {
  const auto& [systemError, readCode, writeCode, advice] = GetParam();
  const NSError reading = fileError(FileAccess::read, systemError, "read", "/a/b");
  const NSError writing = fileError(FileAccess::write, systemError, "created", "/a/b");
  EXPECT_EQ(reading.domain(), NSCocoaErrorDomain);
  EXPECT_EQ(reading.code(), readCode);
  EXPECT_EQ(writing.code(), writeCode);
  const std::string reason = std::generic_category().message(systemError);
  EXPECT_EQ(reading.localizedDescription(),
            "\"/a/b\" could not be read: " + reason + ". " + advice);
  EXPECT_EQ(writing.localizedDescription(),
            "\"/a/b\" could not be created: " + reason + ". " + advice);
}

}  // namespace
}  // namespace vx
