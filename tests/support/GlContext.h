#pragma once

#include <EGL/egl.h>

namespace pe {
namespace test {

// An ES2 context current on the calling thread over a 1x1 pbuffer, made the
// way the effect manager makes its own. Tests fail, never skip, without one.
class GlContext {
 public:
  GlContext();
  ~GlContext();
  GlContext(const GlContext&) = delete;
  GlContext& operator=(const GlContext&) = delete;

  bool ok() const { return m_context != EGL_NO_CONTEXT; }
  EGLDisplay display() const { return m_display; }
  EGLContext context() const { return m_context; }

 private:
  EGLDisplay m_display = EGL_NO_DISPLAY;
  EGLSurface m_surface = EGL_NO_SURFACE;
  EGLContext m_context = EGL_NO_CONTEXT;
};

}  // namespace test
}  // namespace pe
