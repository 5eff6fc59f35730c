#include <memory>

#include "GLFbo.h"
#include "GLTexture.h"
#include "GlTest.h"

namespace pe {
namespace test {
namespace {

using GLFboTest = GLTest;

GLuint Binding() {
  GLint bound = 0;
  glGetIntegerv(GL_FRAMEBUFFER_BINDING, &bound);
  return static_cast<GLuint>(bound);
}

TEST_F(GLFboTest, AttachingKeepsTheCallersFramebufferAndRendersIntoTheTexture) {
  GLTexture tex;
  ASSERT_EQ(tex.Init(GL_RGBA, GL_UNSIGNED_BYTE, 4, 2, 0), 1u);
  GLuint other = 0;
  glGenFramebuffers(1, &other);
  glBindFramebuffer(GL_FRAMEBUFFER, other);
  GLFbo fbo;
  ASSERT_EQ(fbo.Init(), 1u);
  EXPECT_EQ(fbo.SetColorAttachment(&tex), 1u);
  EXPECT_EQ(fbo.GetTexture(), &tex);
  EXPECT_EQ(Binding(), other);

  ASSERT_EQ(fbo.Bind(), 1u);
  glViewport(0, 0, 4, 2);
  glClearColor(0.2f, 0.4f, 0.6f, 1.f);
  glClear(GL_COLOR_BUFFER_BIT);
  EXPECT_EQ(fbo.Unbind(), 1u);
  EXPECT_EQ(Binding(), 0u);
  const std::vector<uint8_t> px = Sample(tex);
  const uint8_t want[4] = {51, 102, 153, 255};
  for (size_t i = 0; i < px.size(); ++i) EXPECT_EQ(px[i], want[i % 4]) << i;
  glDeleteFramebuffers(1, &other);
}

TEST_F(GLFboTest, NullAndIncompleteAttachments) {
  GLFbo fbo;
  ASSERT_EQ(fbo.Init(), 1u);
  EXPECT_EQ(fbo.SetColorAttachment(nullptr), 0u);
  EXPECT_TRUE(m_log.Contains("[GLFbo::SetColorAttachment] invalid pTexture", "GLFbo"));
  EXPECT_EQ(fbo.GetTexture(), nullptr);

  // Luminance is not colour-renderable: the object overload reports success
  // anyway, the raw one does not, and the binding is left on this one.
  GLTexture lum;
  ASSERT_EQ(lum.Init(GL_LUMINANCE, GL_UNSIGNED_BYTE, 16, 16, 0), 1u);
  EXPECT_EQ(fbo.SetColorAttachment(&lum), 1u);
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  EXPECT_EQ(fbo.SetColorAttachment(lum.GetTarget(), lum.GetName()), 0u);
  EXPECT_EQ(m_log.Count("[GLFbo::SetColorAttachment] ERROR, FBO not complete, status 36054\n"), 2)
      << m_log.Dump();
  EXPECT_EQ(Binding(), fbo.GetName());
}

TEST_F(GLFboTest, DestructionDetachesDeletesAndUnbinds) {
  GLTexture tex;
  ASSERT_EQ(tex.Init(GL_RGBA, GL_UNSIGNED_BYTE, 4, 4, 0), 1u);
  GLuint name = 0;
  {
    GLFbo fbo;
    ASSERT_TRUE(fbo.Init() && fbo.SetColorAttachment(&tex) && fbo.Bind());
    name = fbo.GetName();
  }
  EXPECT_FALSE(glIsFramebuffer(name));
  EXPECT_EQ(Binding(), 0u);
  EXPECT_TRUE(glIsTexture(tex.GetName()));

  // Effects may delete an attachment first; the framebuffer must not touch
  // it afterwards (a sanitizer build sees any read).
  auto st = std::make_unique<GLTexture>();
  ASSERT_EQ(st->Init(GL_RGBA, GL_UNSIGNED_BYTE, 32, 4, 1), 1u);
  GLFbo fbo;
  ASSERT_TRUE(fbo.Init() && fbo.SetColorAttachment(st.get()));
  st.reset();
  EXPECT_EQ(fbo.Bind(), 1u);
}

}  // namespace
}  // namespace test
}  // namespace pe
