#pragma once

// A test's surroundings: whole-file reads and writes, a directory's names,
// shell commands, a scratch directory removed with everything in it, and
// environment variables set for a scope.

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace pe {
namespace test {

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

// The names in a directory, sorted.
inline std::vector<std::string> ListDir(const std::string& dir) {
  std::vector<std::string> names;
  std::error_code ec;
  for (const auto& e : std::filesystem::directory_iterator(dir, ec))
    names.push_back(e.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

// Runs a shell command line; its exit status, or -1 if it did not exit.
inline int Run(const std::string& command) {
  const int status = std::system(command.c_str());
  return status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A fresh directory under $TMPDIR; path() ends in '/'.
class TempDir {
 public:
  TempDir() {
    const char* base = std::getenv("TMPDIR");
    std::string name = std::string(base && *base ? base : "/tmp") + "/pe-test-XXXXXX";
    if (mkdtemp(name.data())) m_path = name + "/";
  }
  ~TempDir() {
    if (!m_path.empty()) std::filesystem::remove_all(m_path);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const char* path() const { return m_path.c_str(); }
  std::string File(const std::string& name) const { return m_path + name; }
  void Put(const std::string& name, const std::string& bytes) const {
    WriteFile(File(name), bytes);
  }

 private:
  std::string m_path;
};

// An environment variable set (or, given null, unset) for a scope; the
// platform reads it afresh where it matters.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : m_name(name) {
    if (const char* old = std::getenv(name)) m_old = old, m_had = true;
    value ? setenv(name, value, 1) : unsetenv(name);
  }
  ~ScopedEnv() { m_had ? setenv(m_name, m_old.c_str(), 1) : unsetenv(m_name); }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  const char* m_name;
  std::string m_old;
  bool m_had = false;
};

}  // namespace test
}  // namespace pe
