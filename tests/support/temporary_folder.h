// A folder of a test's own, and files with chosen sizes and times in it.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

/// Made empty, removed with everything in it when it goes.
class TemporaryFolder {
 public:
  TemporaryFolder() : _path((std::filesystem::temp_directory_path() / "vxtest-XXXXXX").string()) {
    if (::mkdtemp(_path.data()) == nullptr) {
      throw std::runtime_error("no temporary folder could be made at " + _path);
    }
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return _path; }
  /// The path of an entry, there or not.
  std::string operator/(const std::string& name) const { return _path + "/" + name; }
  bool has(const std::string& name) const {
    return std::filesystem::symlink_status(*this / name).type() !=
           std::filesystem::file_type::not_found;
  }
  /// A sparse file of this size, changed so many seconds after an arbitrary moment.
  void makeFile(const std::string& name, std::uint64_t sizeBytes = 0, int seconds = 0) const {
    std::ofstream(*this / name).close();
    std::filesystem::resize_file(*this / name, sizeBytes);
    setTime(name, seconds);
  }
  void makeFolder(const std::string& name) const {
    std::filesystem::create_directories(*this / name);
  }
  /// Sets when an entry (of a link, the link itself) was last changed.
  void setTime(const std::string& name, int seconds) const {
    constexpr std::time_t kArbitraryMoment = 1700000000;
    const timespec time{kArbitraryMoment + seconds, 0};
    const timespec times[2] = {time, time};
    if (::utimensat(AT_FDCWD, (*this / name).c_str(), times, AT_SYMLINK_NOFOLLOW) != 0) {
      throw std::runtime_error("the time of " + name + " could not be set");
    }
  }

 private:
  std::string _path;
};

/// Sets an environment variable, or removes it when `value` is null, until it goes. Thread: only
/// while the test has one thread.
class ScopedEnvironment {
 public:
  ScopedEnvironment(const char* name, const char* value) : _name(name) {
    if (const char* before = std::getenv(name)) {
      _hadValue = true;
      _before = before;
    }
    set(value);
  }
  ~ScopedEnvironment() { set(_hadValue ? _before.c_str() : nullptr); }
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

 private:
  void set(const char* value) const {
    if (value != nullptr) {
      ::setenv(_name, value, 1);
    } else {
      ::unsetenv(_name);
    }
  }

  const char* _name;
  bool _hadValue = false;
  std::string _before;
};
