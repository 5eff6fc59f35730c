// pe_assetgen OUTDIR: writes every bitmap the effects load into OUTDIR.

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "Assets.h"

namespace {

bool MakeDirs(const std::string& dir) {
  for (size_t pos = 1; pos <= dir.size(); ++pos) {
    if (pos != dir.size() && dir[pos] != '/') continue;
    const std::string prefix = dir.substr(0, pos);
    if (mkdir(prefix.c_str(), 0755) != 0 && errno != EEXIST) return false;
  }
  struct stat st;
  return stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 || argv[1][0] == '\0' || std::strcmp(argv[1], "--help") == 0) {
    std::fprintf(stderr, "usage: %s OUTDIR\nWrites the effect bitmaps into OUTDIR.\n", argv[0]);
    return argc == 2 && std::strcmp(argv[1], "--help") == 0 ? 0 : 2;
  }
  std::string dir = argv[1];
  if (!MakeDirs(dir)) {
    std::fprintf(stderr, "pe_assetgen: cannot create directory '%s': %s\n", dir.c_str(),
                 std::strerror(errno));
    return 1;
  }
  if (dir.back() != '/') dir += '/';
  for (const auto& asset : pe::assetgen::Assets()) {
    const std::string path = dir + asset.name;
    const std::vector<uint8_t> bytes = pe::assetgen::EncodeBmp(asset.make());
    if (bytes.empty()) {
      std::fprintf(stderr, "pe_assetgen: %s: bitmap has rows the loader cannot take\n", asset.name);
      return 1;
    }
    if (!pe::assetgen::WriteFileAtomically(path, bytes)) {
      std::fprintf(stderr, "pe_assetgen: cannot write '%s': %s\n", path.c_str(),
                   std::strerror(errno));
      return 1;
    }
  }
  return 0;
}
