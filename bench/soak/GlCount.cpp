#include "GlCount.h"

#include <EGL/egl.h>
#include <GLES2/gl2.h>
#include <dlfcn.h>

#include <cstdlib>
#include <mutex>
#include <set>
#include <utility>

namespace pe {
namespace bench {
namespace {

enum Kind { kTexture, kFramebuffer, kRenderbuffer, kBuffer, kProgram, kShader, kKinds };

std::mutex g_lock;
// Names are per context: each is kept with the context current at creation.
std::set<std::pair<EGLContext, GLuint>> g_live[kKinds];
std::set<void*> g_contexts, g_surfaces;
size_t g_names = 0, g_peak = 0;

template <typename F>
F Next(const char* name) {
  void* f = dlsym(RTLD_NEXT, name);
  if (!f) std::abort();
  return reinterpret_cast<F>(f);
}

void Made(Kind k, GLsizei n, const GLuint* names) {
  std::lock_guard<std::mutex> lock(g_lock);
  for (GLsizei i = 0; i < n; ++i)
    if (names[i]) g_names += g_live[k].insert({eglGetCurrentContext(), names[i]}).second;
  if (g_names > g_peak) g_peak = g_names;
}

void Deleted(Kind k, GLsizei n, const GLuint* names) {
  std::lock_guard<std::mutex> lock(g_lock);
  for (GLsizei i = 0; i < n; ++i) g_names -= g_live[k].erase({eglGetCurrentContext(), names[i]});
}

}  // namespace

GlObjects LiveGlObjects() {
  std::lock_guard<std::mutex> lock(g_lock);
  auto n = [](Kind k) { return static_cast<long>(g_live[k].size()); };
  return {n(kTexture),
          n(kFramebuffer),
          n(kRenderbuffer),
          n(kBuffer),
          n(kProgram),
          n(kShader),
          static_cast<long>(g_contexts.size()),
          static_cast<long>(g_surfaces.size())};
}

long PeakGlObjects() {
  std::lock_guard<std::mutex> lock(g_lock);
  return static_cast<long>(g_peak);
}

}  // namespace bench
}  // namespace pe

using namespace pe::bench;

#define PE_INTERPOSE extern "C" __attribute__((visibility("default")))

#define PE_GEN_DELETE(gen, del, kind)                                \
  PE_INTERPOSE void gen(GLsizei n, GLuint* names) {                  \
    static auto next = Next<void (*)(GLsizei, GLuint*)>(#gen);       \
    next(n, names);                                                  \
    Made(kind, n, names);                                            \
  }                                                                  \
  PE_INTERPOSE void del(GLsizei n, const GLuint* names) {            \
    static auto next = Next<void (*)(GLsizei, const GLuint*)>(#del); \
    Deleted(kind, n, names);                                         \
    next(n, names);                                                  \
  }

PE_GEN_DELETE(glGenTextures, glDeleteTextures, kTexture)
PE_GEN_DELETE(glGenFramebuffers, glDeleteFramebuffers, kFramebuffer)
PE_GEN_DELETE(glGenRenderbuffers, glDeleteRenderbuffers, kRenderbuffer)
PE_GEN_DELETE(glGenBuffers, glDeleteBuffers, kBuffer)

PE_INTERPOSE GLuint glCreateProgram() {
  static auto next = Next<GLuint (*)()>("glCreateProgram");
  const GLuint name = next();
  Made(kProgram, 1, &name);
  return name;
}
PE_INTERPOSE void glDeleteProgram(GLuint name) {
  static auto next = Next<void (*)(GLuint)>("glDeleteProgram");
  Deleted(kProgram, 1, &name);
  next(name);
}
PE_INTERPOSE GLuint glCreateShader(GLenum type) {
  static auto next = Next<GLuint (*)(GLenum)>("glCreateShader");
  const GLuint name = next(type);
  Made(kShader, 1, &name);
  return name;
}
PE_INTERPOSE void glDeleteShader(GLuint name) {
  static auto next = Next<void (*)(GLuint)>("glDeleteShader");
  Deleted(kShader, 1, &name);
  next(name);
}

PE_INTERPOSE EGLContext eglCreateContext(EGLDisplay d, EGLConfig c, EGLContext share,
                                         const EGLint* attribs) {
  static auto next =
      Next<EGLContext (*)(EGLDisplay, EGLConfig, EGLContext, const EGLint*)>("eglCreateContext");
  const EGLContext ctx = next(d, c, share, attribs);
  std::lock_guard<std::mutex> lock(g_lock);
  if (ctx != EGL_NO_CONTEXT) g_contexts.insert(ctx);
  return ctx;
}
PE_INTERPOSE EGLBoolean eglDestroyContext(EGLDisplay d, EGLContext ctx) {
  static auto next = Next<EGLBoolean (*)(EGLDisplay, EGLContext)>("eglDestroyContext");
  const EGLBoolean ok = next(d, ctx);
  std::lock_guard<std::mutex> lock(g_lock);
  if (ok) g_contexts.erase(ctx);
  return ok;
}
PE_INTERPOSE EGLSurface eglCreatePbufferSurface(EGLDisplay d, EGLConfig c, const EGLint* attribs) {
  static auto next =
      Next<EGLSurface (*)(EGLDisplay, EGLConfig, const EGLint*)>("eglCreatePbufferSurface");
  const EGLSurface s = next(d, c, attribs);
  std::lock_guard<std::mutex> lock(g_lock);
  if (s != EGL_NO_SURFACE) g_surfaces.insert(s);
  return s;
}
PE_INTERPOSE EGLBoolean eglDestroySurface(EGLDisplay d, EGLSurface s) {
  static auto next = Next<EGLBoolean (*)(EGLDisplay, EGLSurface)>("eglDestroySurface");
  const EGLBoolean ok = next(d, s);
  std::lock_guard<std::mutex> lock(g_lock);
  if (ok) g_surfaces.erase(s);
  return ok;
}
