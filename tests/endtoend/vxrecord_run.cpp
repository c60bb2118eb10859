#include "endtoend/vxrecord_run.h"

#include <cstdio>
#include <stdexcept>

#include "test_picture.h"

namespace vx::test {

std::vector<std::string> vxrecordWith(const std::vector<std::string>& arguments) {
  std::vector<std::string> words = {VXRECORD_PROGRAM};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return words;
}

ProgramResult runVxrecord(const std::vector<std::string>& arguments) {
  return runProgram(vxrecordWith(arguments));
}

std::string jsonValue(const std::string& json, const std::string& key) {
  const std::string start = "\"" + key + "\": ";
  const std::size_t found = json.find(start);
  if (found == std::string::npos) {
    throw std::runtime_error("no " + key + " in " + json);
  }
  const std::size_t begin = found + start.size();
  if (json[begin] == '"') {
    return json.substr(begin + 1, json.find('"', begin + 1) - begin - 1);
  }
  return json.substr(begin, json.find_first_of(",}", begin) - begin);
}

std::int64_t jsonNumber(const std::string& json, const std::string& key) {
  return std::stoll(jsonValue(json, key));
}

std::int64_t lastProgressMs(const std::string& errors) {
  const std::size_t found = errors.rfind(" frames  ");
  if (found == std::string::npos) {
    return -1;
  }
  const std::size_t newline = errors.rfind('\n', found);
  long long hours = 0;
  long long minutes = 0;
  long long seconds = 0;
  long long milliseconds = 0;
  const int read = std::sscanf(errors.c_str() + (newline == std::string::npos ? 0 : newline + 1),
                               "%lld:%lld:%lld.%lld", &hours, &minutes, &seconds, &milliseconds);
  return read == 4 ? ((hours * 60 + minutes) * 60 + seconds) * 1000 + milliseconds : -1;
}

std::vector<std::int64_t> frameNumbers(const std::string& path) {
  std::vector<std::int64_t> numbers;
  const Decoding decoding = decodeStrictly(path, [&](const Picture& picture) {
    const auto number = vxrecord::readFrameNumber(picture.pixels.data(), picture.bytesPerRow(),
                                                  picture.width, picture.height);
    numbers.push_back(number ? std::int64_t{*number} : -1);
  });
  if (decoding.errors != 0) {
    throw ReadError(path + " is damaged");
  }
  return numbers;
}

}  // namespace vx::test
