// Arbitrary bytes as a BMP asset, loaded into a normal and a streaming
// texture of a kind chosen by the input. Usage: fuzz_bmp [flags] CORPUS_DIR;
// the corpus directory is seeded with valid files first.

#include <EGL/egl.h>
#include <posteffect/Globals.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "GLTexture.h"
#include "GlContext.h"
#include "Pixels.h"
#include "TestEnv.h"

EGLDisplay g_eglDisplay = EGL_NO_DISPLAY;
EGLContext g_eglContext = EGL_NO_CONTEXT;

const unsigned kKinds[][2] = {{GL_RGBA, GL_UNSIGNED_BYTE},
                              {GL_RGB, GL_UNSIGNED_BYTE},
                              {GL_RGB, GL_UNSIGNED_SHORT_5_6_5},
                              {GL_LUMINANCE, GL_UNSIGNED_BYTE}};

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  static pe::test::GlContext gl;
  if (!gl.ok()) {
    std::fprintf(stderr, "fuzz_bmp: no EGL display or ES2 context\n");
    std::abort();
  }
  g_eglDisplay = gl.display();
  g_eglContext = gl.context();
  // The first argument that is no flag names the corpus directory.
  char** end = *argv + *argc;
  char** dir = std::find_if(*argv + 1, end, [](const char* arg) { return arg[0] != '-'; });
  if (dir == end) return 0;
  // Every loadable depth, a width whose rows are padded and a palette depth.
  using namespace pe::test;
  std::error_code ec;
  std::filesystem::create_directories(*dir, ec);
  const int seeds[][3] = {{32, 2, 32}, {32, 2, 24}, {32, 2, 16}, {32, 2, 8}, {5, 3, 24}, {8, 2, 4}};
  for (const auto& s : seeds) {
    const Bytes b = Bmp(s[0], s[1], static_cast<uint16_t>(s[2]),
                        Ramp(static_cast<size_t>(s[0]) * s[1] * s[2] / 8));
    WriteFile(std::string(*dir) + "/seed_" + std::to_string(s[0]) + "_" + std::to_string(s[2]),
              std::string(b.begin(), b.end()));
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The loader reads a path: the input becomes a memory file reopened by name.
  static const int fd = memfd_create("fuzz_bmp", MFD_CLOEXEC);
  static const std::string path = "/proc/self/fd/" + std::to_string(fd);
  if (fd < 0 || ftruncate(fd, 0) != 0) std::abort();
  if (size && pwrite(fd, data, size, 0) != static_cast<ssize_t>(size)) std::abort();
  const unsigned* kind = kKinds[size ? data[size - 1] % 4 : 0];
  for (unsigned char streaming : {0, 1}) {
    GLTexture tex;
    tex.LoadBMP(path.c_str(), kind[0], kind[1], streaming);
  }
  return 0;
}
