#pragma once

#include <dirent.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace pe::test {

// A fresh directory under $TMPDIR, removed with its contents at scope end.
class TempDir {
 public:
  TempDir() {
    const char* base = std::getenv("TMPDIR");
    std::string tmpl = std::string(base && *base ? base : "/tmp") + "/pe_tools_XXXXXX";
    if (mkdtemp(tmpl.data())) path_ = tmpl;
  }
  ~TempDir() {
    if (!path_.empty()) std::system(("rm -rf '" + path_ + "'").c_str());
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// Runs a shell command line; returns its exit status, or -1 if it did not exit.
inline int Run(const std::string& command) {
  const int status = std::system(command.c_str());
  return status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

inline std::vector<std::string> ListDir(const std::string& dir) {
  std::vector<std::string> names;
  if (DIR* d = opendir(dir.c_str())) {
    while (dirent* e = readdir(d)) {
      const std::string n = e->d_name;
      if (n != "." && n != "..") names.push_back(n);
    }
    closedir(d);
  }
  return names;
}

}  // namespace pe::test
