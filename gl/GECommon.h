#pragma once

// Error checks made after GL and EGL calls, the context the calling worker
// works in, and the frame-timing clock.

#include <EGL/egl.h>

// 1 when glGetError() reports nothing; otherwise logs the one error it
// consumed, naming the calling operation and the GL entry point, and
// returns 0.
unsigned CheckGLError(const char* func, const char* call);

// The same for eglGetError(), success being EGL_SUCCESS.
unsigned CheckEGLError(const char* func, const char* call);

// The display and context of the manager on the calling thread, which the
// GL wrappers expect to find current. Several managers may live in one
// process, each on its own thread, so this is per thread; a thread without a
// manager expects the exported g_eglDisplay and g_eglContext.
void SetWorkerEGL(EGLDisplay display, EGLContext context);
EGLDisplay WorkerEGLDisplay();
EGLContext WorkerEGLContext();

// Wall-clock milliseconds, wrapping modulo 2^32: take differences in
// unsigned arithmetic.
unsigned GetTickCount();
