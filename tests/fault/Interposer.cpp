#include "Interposer.h"

#include <EGL/egl.h>
#include <GLES2/gl2.h>
#include <pthread.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <set>

namespace {

// One row per kind of fallible step: the call and the text of the error line
// the library must write when it fails.
const struct Kind {
  const char* call;
  const char* line;
} kKinds[] = {
    // The platform probes displays and config lists in turn: one failing
    // is no failure, and no line.
    {"eglInitialize", nullptr},
    {"eglChooseConfig", nullptr},
    {"eglCreateContext", "eglCreateContext"},
    {"eglCreatePbufferSurface", "eglCreatePbufferSurface"},
    {"eglMakeCurrent", "eglMakeCurrent"},
    {"eglCreateImageKHR", "eglCreateImageKHR"},
    {"glGenTextures", "glGenTextures"},
    {"glTexImage2D", "glTexImage2D|glEGLImageTargetTexture2DOES"},
    {"glGenFramebuffers", "glGenFramebuffers"},
    {"glCheckFramebufferStatus", "not complete"},
    {"glCreateShader", "can't create shader"},
    {"glCompileShader", "can't compile shader"},
    {"glCreateProgram", "can't create program"},
    {"glLinkProgram", "can't link"},
    {"memfd_create", "alloc"},
    {"fopen", "Can't open BMP"},
    {"fread", "Header fail|error reading file"},
};

std::mutex g_mutex;
bool g_armed = false;
pthread_t g_tester;
int g_count = 0, g_failAt = 0;
const Kind* g_failed = nullptr;
// The shader or program whose compile or link was chosen to fail.
GLuint g_badShader = 0, g_badProgram = 0;
// Live names by pe::fault::Live's order: textures, fbos, programs, shaders,
// buffers (descriptors).
enum { kTextures, kFbos, kPrograms, kShaders, kBuffers };
std::set<unsigned> g_live[5];

bool Fails(const char* call) {
  std::lock_guard<std::mutex> lock(g_mutex);
  if (!g_armed || pthread_equal(pthread_self(), g_tester)) return false;
  if (++g_count != g_failAt) return false;
  for (const Kind& k : kKinds)
    if (std::strcmp(k.call, call) == 0) g_failed = &k;
  return true;
}

void Track(int kind, GLsizei n, const GLuint* names, bool add) {
  std::lock_guard<std::mutex> lock(g_mutex);
  for (GLsizei i = 0; i < n; ++i) {
    if (add && names[i])
      g_live[kind].insert(names[i]);
    else if (!add)
      g_live[kind].erase(names[i]);
  }
}

}  // namespace

namespace pe {
namespace fault {

void Arm(int failAt) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_armed = true;
  g_tester = pthread_self();
  g_count = 0;
  g_failAt = failAt;
  g_failed = nullptr;
}

int Disarm() {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_armed = false;
  return g_count;
}

const char* FailedCall() { return g_failed ? g_failed->call : nullptr; }
const char* ExpectedLine() { return g_failed ? g_failed->line : nullptr; }

Live LiveObjects() {
  std::lock_guard<std::mutex> lock(g_mutex);
  Live live;
  for (size_t k = 0; k < live.size(); ++k) live[k] = g_live[k].size();
  return live;
}

}  // namespace fault
}  // namespace pe

// A failing call fails as the driver would: the real entry point is handed
// an argument it refuses, so the error state is the driver's own.
extern "C" {

#define PE_WRAP(ret, name, ...)   \
  ret __real_##name(__VA_ARGS__); \
  ret __wrap_##name(__VA_ARGS__)

PE_WRAP(EGLBoolean, eglInitialize, EGLDisplay d, EGLint* major, EGLint* minor) {
  return __real_eglInitialize(Fails("eglInitialize") ? EGL_NO_DISPLAY : d, major, minor);
}
PE_WRAP(EGLBoolean, eglChooseConfig, EGLDisplay d, const EGLint* a, EGLConfig* c, EGLint n,
        EGLint* got) {
  return __real_eglChooseConfig(Fails("eglChooseConfig") ? EGL_NO_DISPLAY : d, a, c, n, got);
}
PE_WRAP(EGLContext, eglCreateContext, EGLDisplay d, EGLConfig c, EGLContext s, const EGLint* a) {
  return __real_eglCreateContext(Fails("eglCreateContext") ? EGL_NO_DISPLAY : d, c, s, a);
}
PE_WRAP(EGLSurface, eglCreatePbufferSurface, EGLDisplay d, EGLConfig c, const EGLint* a) {
  return __real_eglCreatePbufferSurface(Fails("eglCreatePbufferSurface") ? EGL_NO_DISPLAY : d, c,
                                        a);
}
PE_WRAP(EGLBoolean, eglMakeCurrent, EGLDisplay d, EGLSurface r, EGLSurface w, EGLContext c) {
  // Releasing the context is teardown, not a step that may fail.
  const bool fail = c != EGL_NO_CONTEXT && Fails("eglMakeCurrent");
  return __real_eglMakeCurrent(fail ? EGL_NO_DISPLAY : d, r, w, c);
}
PE_WRAP(void*, _ZN2pe8platform23CreateNativeBufferImageEPvP19ANativeWindowBufferPKi, void* d,
        void* buffer, const EGLint* a) {
  return __real__ZN2pe8platform23CreateNativeBufferImageEPvP19ANativeWindowBufferPKi(
      d, Fails("eglCreateImageKHR") ? nullptr : buffer, a);
}

// Names made and deleted in batches; a failing batch is refused whole.
#define PE_WRAP_NAMES(gen, del, kind)                  \
  PE_WRAP(void, gen, GLsizei n, GLuint* names) {       \
    const bool fail = Fails(#gen);                     \
    __real_##gen(fail ? -1 : n, names);                \
    if (!fail) Track(kind, n, names, true);            \
  }                                                    \
  PE_WRAP(void, del, GLsizei n, const GLuint* names) { \
    __real_##del(n, names);                            \
    Track(kind, n, names, false);                      \
  }
PE_WRAP_NAMES(glGenTextures, glDeleteTextures, kTextures)
PE_WRAP_NAMES(glGenFramebuffers, glDeleteFramebuffers, kFbos)

PE_WRAP(void, glTexImage2D, GLenum t, GLint l, GLint i, GLsizei w, GLsizei h, GLint b, GLenum f,
        GLenum ty, const void* p) {
  __real_glTexImage2D(t, l, i, Fails("glTexImage2D") ? -1 : w, h, b, f, ty, p);
}
PE_WRAP(GLenum, glCheckFramebufferStatus, GLenum target) {
  // What a driver answers for an attachment it cannot render to; no error.
  return Fails("glCheckFramebufferStatus") ? GL_FRAMEBUFFER_UNSUPPORTED
                                           : __real_glCheckFramebufferStatus(target);
}
PE_WRAP(GLuint, glCreateShader, GLenum type) {
  const GLuint s = __real_glCreateShader(Fails("glCreateShader") ? 0 : type);
  Track(kShaders, 1, &s, true);
  return s;
}
PE_WRAP(GLuint, glCreateProgram, void) {
  if (Fails("glCreateProgram")) return 0;
  const GLuint p = __real_glCreateProgram();
  Track(kPrograms, 1, &p, true);
  return p;
}
// A shader or program deleted, and a compile or link chosen to fail, which
// reports so through its status query.
#define PE_WRAP_OBJECT(del, step, query, status, bad, kind)  \
  PE_WRAP(void, del, GLuint o) {                             \
    __real_##del(o);                                         \
    Track(kind, 1, &o, false);                               \
  }                                                          \
  PE_WRAP(void, step, GLuint o) {                            \
    __real_##step(o);                                        \
    if (Fails(#step)) bad = o;                               \
  }                                                          \
  PE_WRAP(void, query, GLuint o, GLenum pname, GLint* v) {   \
    __real_##query(o, pname, v);                             \
    if (pname == status && o == bad) *v = GL_FALSE, bad = 0; \
  }
PE_WRAP_OBJECT(glDeleteShader, glCompileShader, glGetShaderiv, GL_COMPILE_STATUS, g_badShader,
               kShaders)
PE_WRAP_OBJECT(glDeleteProgram, glLinkProgram, glGetProgramiv, GL_LINK_STATUS, g_badProgram,
               kPrograms)

PE_WRAP(int, memfd_create, const char* name, unsigned flags) {
  if (Fails("memfd_create")) return errno = ENOMEM, -1;
  const int fd = __real_memfd_create(name, flags);
  std::lock_guard<std::mutex> lock(g_mutex);
  if (fd >= 0 && !pthread_equal(pthread_self(), g_tester)) g_live[kBuffers].insert(fd);
  return fd;
}
PE_WRAP(int, close, int fd) {
  {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_live[kBuffers].erase(fd);
  }
  return __real_close(fd);
}
PE_WRAP(FILE*, fopen, const char* path, const char* mode) {
  if (Fails("fopen")) return errno = EMFILE, nullptr;
  return __real_fopen(path, mode);
}
PE_WRAP(size_t, fread, void* p, size_t size, size_t n, FILE* f) {
  return Fails("fread") ? 0 : __real_fread(p, size, n, f);
}

}  // extern "C"
