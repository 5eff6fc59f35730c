#pragma once

#include <EGL/egl.h>
#include <posteffect/Export.h>

// Owned by the effect manager: the display size in landscape order and the
// EGL display and context of the worker thread (0 while none is up).
extern PE_EXPORT int g_Disp_Width;
extern PE_EXPORT int g_Disp_Height;
extern PE_EXPORT EGLDisplay g_eglDisplay;
extern PE_EXPORT EGLContext g_eglContext;
