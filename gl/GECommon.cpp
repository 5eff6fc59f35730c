#include "GECommon.h"

#include <EGL/egl.h>
#include <GLES2/gl2.h>
#include <pe/Log.h>
#include <posteffect/Globals.h>
#include <sys/time.h>

#include <cstdint>

PE_LOG_MODULE("GECommon");

namespace {

// 0x503 and 0x504 (stack errors) do not exist in ES 2.0 and stay unnamed.
const char* const kGLErrorNames[] = {
    "GL_INVALID_ENUM", "GL_INVALID_VALUE", "GL_INVALID_OPERATION", "", "", "GL_OUT_OF_MEMORY",
};

const char* const kEGLErrorNames[] = {
    "EGL_SUCCESS",       "EGL_NOT_INITIALIZED", "EGL_BAD_ACCESS",        "EGL_BAD_ALLOC",
    "EGL_BAD_ATTRIBUTE", "EGL_BAD_CONFIG",      "EGL_BAD_CONTEXT",       "EGL_BAD_CURRENT_SURFACE",
    "EGL_BAD_DISPLAY",   "EGL_BAD_MATCH",       "EGL_BAD_NATIVE_PIXMAP", "EGL_BAD_NATIVE_WINDOW",
    "EGL_BAD_PARAMETER", "EGL_BAD_SURFACE",     "EGL_CONTEXT_LOST",
};

template <size_t N>
const char* NameOf(const char* const (&table)[N], unsigned code, unsigned first) {
  // Codes newer than the table (0x506, the framebuffer-operation error, say)
  // print an empty name like the unnamed entries.
  return code >= first && code - first < N ? table[code - first] : "";
}

thread_local EGLDisplay t_workerDisplay = EGL_NO_DISPLAY;
thread_local EGLContext t_workerContext = EGL_NO_CONTEXT;

}  // namespace

void SetWorkerEGL(EGLDisplay display, EGLContext context) {
  t_workerDisplay = display;
  t_workerContext = context;
}

EGLDisplay WorkerEGLDisplay() {
  return t_workerDisplay != EGL_NO_DISPLAY ? t_workerDisplay : g_eglDisplay;
}

EGLContext WorkerEGLContext() {
  return t_workerDisplay != EGL_NO_DISPLAY ? t_workerContext : g_eglContext;
}

unsigned CheckGLError(const char* func, const char* call) {
  const GLenum code = glGetError();
  if (code == GL_NO_ERROR) return 1;
  LOGE("[%s] ERROR, %s failed with error: 0x%X %s\n", func, call, code,
       NameOf(kGLErrorNames, code, GL_INVALID_ENUM));
  return 0;
}

unsigned CheckEGLError(const char* func, const char* call) {
  const EGLint code = eglGetError();
  if (code == EGL_SUCCESS) return 1;
  LOGE("[%s] ERROR, %s failed with error: 0x%X %s\n", func, call, static_cast<unsigned>(code),
       NameOf(kEGLErrorNames, static_cast<unsigned>(code), EGL_SUCCESS));
  return 0;
}

unsigned GetTickCount() {
  struct timeval tv;
  gettimeofday(&tv, nullptr);
  return static_cast<unsigned>(static_cast<uint64_t>(tv.tv_sec) * 1000u +
                               static_cast<uint64_t>(tv.tv_usec) / 1000u);
}
