// The folder quota over many recordings, as a ratio to the least that its rule costs: listing the
// same folder and sorting it by time with two queries of the file system a comparison.
// usage: quota_bench [FILES]   (100000 without an argument)
#include "storage/folder_quota.h"
#include "tests/support/temporary_folder.h"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace {

using Seconds = std::chrono::duration<double>;

template <typename Work>
double secondsFor(const Work& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return Seconds(std::chrono::steady_clock::now() - start).count();
}

/// Recordings with times in no order, so that the sort has its usual work.
void fill(const TemporaryFolder& folder, int files) {
  std::mt19937 random(1);
  for (int i = 0; i < files; ++i) {
    folder.makeFile("rec_" + std::to_string(i) + ".mp4", 0, static_cast<int>(random() % 100000000));
  }
}

timespec timeOf(const std::string& path) {
  struct ::stat status {};
  ::lstat(path.c_str(), &status);
  return status.st_mtim;
}

bool isNewer(const std::string& a, const std::string& b) {
  const timespec timeA = timeOf(a);
  const timespec timeB = timeOf(b);
  return timeA.tv_sec != timeB.tv_sec ? timeA.tv_sec > timeB.tv_sec : timeA.tv_nsec > timeB.tv_nsec;
}

void listAndSortPlainly(const std::string& folder) {
  std::vector<std::string> entries;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    entries.push_back(entry.path().string());
  }
  std::sort(entries.begin(), entries.end(), isNewer);
}

}  // namespace

int main(int argc, char** argv) {
  constexpr int kRounds = 3;
  const int files = argc > 1 ? std::atoi(argv[1]) : 100000;
  const TemporaryFolder folder;
  fill(folder, files);
  double quota = 1e9;
  double plain = 1e9;
  for (int round = 0; round < kRounds; ++round) {
    plain = std::min(plain, secondsFor([&] { listAndSortPlainly(folder.path()); }));
    quota = std::min(quota, secondsFor([&] {
                       // All files are empty, so all fit: every round finds the same folder.
                       vx::storage::applyFolderQuota(folder.path(), "rec_", 1, "now.mp4");
                     }));
  }
  std::printf("%d files: quota %.3f s, plain listing and sorting %.3f s, ratio %.2f\n", files,
              quota, plain, quota / plain);
}
