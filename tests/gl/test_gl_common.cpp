#include <EGL/egl.h>

#include "GECommon.h"
#include "GlTest.h"

namespace pe {
namespace test {
namespace {

using GLCommon = GLTest;

TEST_F(GLCommon, GLErrorIsNamedLoggedAndConsumed) {
  EXPECT_EQ(CheckGLError("T::F", "glNothing"), 1u);
  EXPECT_EQ(m_log.Count("ERROR"), 0);
  glBindTexture(0x1234, 1);
  EXPECT_EQ(CheckGLError("T::F", "glBindTexture"), 0u);
  EXPECT_EQ(m_log.Count("[T::F] ERROR, glBindTexture failed with error: 0x500 GL_INVALID_ENUM\n",
                        "GECommon"),
            1);
  EXPECT_EQ(CheckGLError("T::F", "glNothing"), 1u);

  // Clearing an incomplete framebuffer raises 0x506, past the name table.
  GLuint fbo = 0;
  glGenFramebuffers(1, &fbo);
  glBindFramebuffer(GL_FRAMEBUFFER, fbo);
  glClear(GL_COLOR_BUFFER_BIT);
  EXPECT_EQ(CheckGLError("F", "glClear"), 0u);
  EXPECT_TRUE(m_log.Contains("[F] ERROR, glClear failed with error: 0x506 \n")) << m_log.Dump();
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  glDeleteFramebuffers(1, &fbo);
}

TEST_F(GLCommon, EGLErrorIsNamedAndLaterSuccessPasses) {
  EXPECT_FALSE(eglDestroySurface(m_gl.display(), EGL_NO_SURFACE));
  EXPECT_EQ(CheckEGLError("F", "eglDestroySurface"), 0u);
  EXPECT_TRUE(
      m_log.Contains("[F] ERROR, eglDestroySurface failed with error: 0x300D "
                     "EGL_BAD_SURFACE\n",
                     "GECommon"))
      << m_log.Dump();
  EXPECT_FALSE(eglQueryContext(m_gl.display(), EGL_NO_CONTEXT, EGL_CONFIG_ID, nullptr));
  eglGetCurrentContext();
  EXPECT_EQ(CheckEGLError("F", "eglGetCurrentContext"), 1u);
}

}  // namespace
}  // namespace test
}  // namespace pe
