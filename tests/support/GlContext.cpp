#include "GlContext.h"

#include <pe/Platform.h>

namespace pe {
namespace test {

GlContext::GlContext() {
  EGLint major = 0, minor = 0;
  m_display = platform::OpenDisplay(&major, &minor);
  if (m_display == EGL_NO_DISPLAY) return;
  // clang-format off
  const EGLint attribs[] = {EGL_SURFACE_TYPE, EGL_WINDOW_BIT | EGL_PBUFFER_BIT,
                            EGL_RED_SIZE, 5, EGL_GREEN_SIZE, 6, EGL_BLUE_SIZE, 5,
                            EGL_ALPHA_SIZE, EGL_DONT_CARE, EGL_DEPTH_SIZE, 16, EGL_STENCIL_SIZE, 4,
                            EGL_RENDERABLE_TYPE, EGL_OPENGL_ES2_BIT, EGL_NONE};
  // clang-format on
  EGLConfig config = nullptr;
  EGLint count = 0;
  if (!platform::ChooseConfig(m_display, attribs, &config, 1, &count) || count < 1) return;
  const EGLint ctxAttribs[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
  EGLContext ctx = eglCreateContext(m_display, config, EGL_NO_CONTEXT, ctxAttribs);
  if (ctx == EGL_NO_CONTEXT) return;
  const EGLint pbAttribs[] = {EGL_WIDTH, 1, EGL_HEIGHT, 1, EGL_NONE};
  m_surface = eglCreatePbufferSurface(m_display, config, pbAttribs);
  if (m_surface == EGL_NO_SURFACE || !eglMakeCurrent(m_display, m_surface, m_surface, ctx)) {
    eglDestroyContext(m_display, ctx);
    return;
  }
  m_context = ctx;
}

GlContext::~GlContext() {
  if (m_display == EGL_NO_DISPLAY) return;
  eglMakeCurrent(m_display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
  if (m_surface != EGL_NO_SURFACE) eglDestroySurface(m_display, m_surface);
  if (m_context != EGL_NO_CONTEXT) eglDestroyContext(m_display, m_context);
}

}  // namespace test
}  // namespace pe
