// Writes the man page and the shells' completions into a folder. A tool for the developer of
// vxrecord, not a part of it.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "manual.h"

namespace {

bool writePage(const std::filesystem::path& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << text;
  file.close();
  return file.good();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: vxrecord_pages FOLDER\n", stderr);
    return 2;
  }
  const std::filesystem::path folder = argv[1];
  for (const vxrecord::Page& page : vxrecord::pages()) {
    std::filesystem::create_directories((folder / page.path).parent_path());
    if (!writePage(folder / page.path, page.text)) {
      std::fprintf(stderr, "%s cannot be written\n", page.path.c_str());
      return 1;
    }
  }
  return 0;
}
