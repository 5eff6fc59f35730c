#pragma once

// Error checks made after GL and EGL calls, and the frame-timing clock.

// 1 when glGetError() reports nothing; otherwise logs the one error it
// consumed, naming the calling operation and the GL entry point, and
// returns 0.
unsigned CheckGLError(const char* func, const char* call);

// The same for eglGetError(), success being EGL_SUCCESS.
unsigned CheckEGLError(const char* func, const char* call);

// Wall-clock milliseconds, wrapping modulo 2^32: take differences in
// unsigned arithmetic.
unsigned GetTickCount();
