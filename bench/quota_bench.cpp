// The folder quota over many recordings, as a ratio to the least that its rule costs: listing the
// same folder and sorting it by time with two queries of the file system a comparison.
// The number on the command line is the number of files.
#include "bench/harness/options.h"
#include "bench/harness/report.h"
#include "bench/harness/timing.h"
#include "storage/folder_quota.h"
#include "tests/support/temporary_folder.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace {

template <typename Work>
double secondsFor(const Work& work) {
  const auto start = bench::Clock::now();
  work();
  return bench::secondsSince(start);
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

void program(const bench::Options& options) {
  const int files =
      options.count ? static_cast<int>(options.count) : options.pick(100000, 20000, 100);
  const TemporaryFolder folder;
  fill(folder, files);
  std::vector<double> quota, plain;
  for (int round = 0; round < options.pick(3, 3, 1); ++round) {
    plain.push_back(secondsFor([&] { listAndSortPlainly(folder.path()); }));
    // All files are empty, so all fit: every round finds the same folder.
    quota.push_back(
        secondsFor([&] { vx::storage::applyFolderQuota(folder.path(), "rec_", 1, "now.mp4"); }));
  }
  const std::string subject = std::to_string(files) + " files";
  bench::report({"folder quota", subject, "quota", bench::median(quota), "s", {}});
  bench::report({"folder quota",
                 subject,
                 "quota / plain listing and sorting",
                 bench::median(quota) / bench::median(plain),
                 "x",
                 {}});
}

}  // namespace

int main(int argc, char** argv) { return bench::runProgram(argc, argv, program); }
