#include <pe/Platform.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace pe {
namespace platform {
namespace {

std::atomic<int> g_overrideWidth{0};
std::atomic<int> g_overrideHeight{0};

std::string WithSlash(std::string dir) {
  if (!dir.empty() && dir.back() != '/') dir += '/';
  return dir;
}

bool IsDirectory(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

const char* NonEmptyEnv(const char* name) {
  const char* v = std::getenv(name);
  return v && *v ? v : nullptr;
}

}  // namespace

bool QueryDisplaySize(int* width, int* height) {
  int w = g_overrideWidth.load(), h = g_overrideHeight.load();
  if (w <= 0 || h <= 0) {
    w = 1920;
    h = 1080;
    if (const char* env = NonEmptyEnv("POSTEFFECT_DISPLAY")) {
      int ew = 0, eh = 0;
      char tail = 0;
      if (std::sscanf(env, "%dx%d%c", &ew, &eh, &tail) == 2 && ew > 0 && eh > 0 && ew <= 16384 &&
          eh <= 16384) {
        w = ew;
        h = eh;
      }
    }
  }
  *width = w;
  *height = h;
  return true;
}

void SetDisplaySize(int width, int height) {
  g_overrideWidth = width;
  g_overrideHeight = height;
}

unsigned EffectCount(unsigned fallback) {
  const char* env = NonEmptyEnv("POSTEFFECT_EFFECT_COUNT");
  unsigned n = 0;
  char tail = 0;
  if (env && std::sscanf(env, "%u%c", &n, &tail) == 1 && n >= 1 && n <= 99) return n;
  return fallback;
}

size_t KeptMemoryBytes() {
  const char* env = NonEmptyEnv("POSTEFFECT_KEPT_MEMORY_MB");
  unsigned mb = 0;
  char tail = 0;
  if (!env || std::sscanf(env, "%u%c", &mb, &tail) != 1 || mb > 4096) mb = 64;
  return size_t{mb} << 20;
}

size_t KeptPrograms() {
  const char* env = NonEmptyEnv("POSTEFFECT_KEPT_PROGRAMS");
  unsigned n = 0;
  char tail = 0;
  if (!env || std::sscanf(env, "%u%c", &n, &tail) != 1 || n > 256) n = 32;
  return n;
}

int MaxTextureSize() {
  GLint limit = 0;
  glGetIntegerv(GL_MAX_TEXTURE_SIZE, &limit);
  if (const char* env = NonEmptyEnv("POSTEFFECT_MAX_TEXTURE_SIZE")) {
    const long lowered = std::strtol(env, nullptr, 10);
    if (lowered > 0 && lowered < limit) limit = static_cast<GLint>(lowered);
  }
  return limit;
}

std::string AssetDir() {
  if (const char* env = NonEmptyEnv("POSTEFFECT_ASSET_DIR")) return WithSlash(env);
  if (IsDirectory(PE_INSTALLED_ASSET_DIR)) return PE_INSTALLED_ASSET_DIR;
  return PE_BUILD_ASSET_DIR;
}

std::string OverrideDir() {
  const char* env = NonEmptyEnv("POSTEFFECT_OVERRIDE_DIR");
  return env ? WithSlash(env) : std::string();
}

std::string DumpDir() {
  if (const char* env = NonEmptyEnv("POSTEFFECT_DUMP_DIR")) return WithSlash(env);
  if (const char* tmp = NonEmptyEnv("TMPDIR")) return WithSlash(tmp);
  return "/tmp/";
}

}  // namespace platform
}  // namespace pe
