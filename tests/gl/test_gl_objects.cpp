// Textures and framebuffers: what they hold, what they refuse, and what they
// leave bound or alive behind them.
#include <posteffect/Globals.h>
#include <ui/GraphicBuffer.h>

#include <memory>

#include "GLFbo.h"
#include "GLTexture.h"
#include "GlTest.h"

namespace pe {
namespace test {
namespace {

using GLTextureTest = GLTest;

TEST_F(GLTextureTest, KindsOutsideTheStreamingTableAreRefused) {
  GLTexture lum, yuv;
  EXPECT_EQ(lum.Init(GL_LUMINANCE, GL_UNSIGNED_BYTE, 64, 4, 1), 0u);
  EXPECT_TRUE(m_log.Contains("[Init] ST only supports RGB565/RGB88/RGBA", "GLTexture"));
  EXPECT_EQ(yuv.Init(GLTexture::kFormatYUV, GL_UNSIGNED_BYTE, 64, 4, 1), 0u);
  EXPECT_TRUE(m_log.Contains("[Init] YUV ST created in this way not implemented", "GLTexture"));

  // As a normal texture luminance is fine, but has no memory to write into.
  EXPECT_EQ(lum.Init(GL_LUMINANCE, GL_UNSIGNED_BYTE, 64, 4, 0), 1u);
  EXPECT_FALSE(lum.IsStreaming());
  EXPECT_EQ(lum.GetSTDataBuf(), nullptr);
  EXPECT_TRUE(m_log.Contains("[GetSTDataBuf] ERROR, only streaming texture use this method\n"));
}

TEST_F(GLTextureTest, NormalTextureTakesWholeImagesOfItsOwnSizeOnly) {
  GLTexture tex, st;
  ASSERT_EQ(tex.Init(GL_RGBA, GL_UNSIGNED_BYTE, 8, 2, 0), 1u);
  std::vector<uint8_t> image(8 * 2 * 4), other(image.size(), 0xE7);
  for (size_t i = 0; i < image.size(); ++i) image[i] = static_cast<uint8_t>(i * 3);
  EXPECT_EQ(tex.UpdateNormalTexture(image.data(), 8, 2), 1u);
  EXPECT_EQ(Sample(tex), image);

  EXPECT_EQ(tex.UpdateNormalTexture(other.data(), 8, 3), 0u);
  EXPECT_TRUE(
      m_log.Contains("[UpdateNormalTexture] ERROR, wrong input size 8x3, tex size is 8x2\n"));
  EXPECT_EQ(Sample(tex), image);
  EXPECT_EQ(tex.UpdateNormalTexture(other.data(), 0, 0), 1u);  // 0: the texture's own size
  EXPECT_EQ(Sample(tex), other);

  ASSERT_EQ(st.Init(GL_RGBA, GL_UNSIGNED_BYTE, 32, 2, 1), 1u);
  EXPECT_EQ(st.UpdateNormalTexture(image.data(), 32, 2), 0u);
  EXPECT_TRUE(m_log.Contains("[UpdateNormalTexture] ERROR, only normal texture use this method\n"));
}

TEST_F(GLTextureTest, WrapsACallersBufferAtOneAddressOnly) {
  using android::GraphicBuffer;
  android::sp<GraphicBuffer> a =
      new GraphicBuffer(64, 2, android::PIXEL_FORMAT_RGBA_8888, 0x200130);
  android::sp<GraphicBuffer> b =
      new GraphicBuffer(64, 2, android::PIXEL_FORMAT_RGBA_8888, 0x200130);
  void* baseA = reinterpret_cast<void*>(a->handle()->base);
  // Made before the manager publishes its context: warned about, not refused.
  g_eglContext = EGL_NO_CONTEXT;
  GLTexture tex;
  ASSERT_EQ(tex.Init(a->getNativeBuffer(), GL_RGBA, GL_UNSIGNED_BYTE, 64, 2), 1u);
  EXPECT_EQ(m_log.Count("[GLTexture::Init] unequal context"), 1);
  EXPECT_EQ(tex.m_pData, baseA);
  EXPECT_EQ(tex.Init(a->getNativeBuffer(), GL_RGBA, GL_UNSIGNED_BYTE, 64, 2), 1u);
  EXPECT_EQ(tex.Init(b->getNativeBuffer(), GL_RGBA, GL_UNSIGNED_BYTE, 64, 2), 0u);
  EXPECT_TRUE(m_log.Contains("already assigned and not equal to passed-in native buffer addr"));
  EXPECT_EQ(tex.m_pData, baseA);

  // The reserved YUV format gets no valid target, so the bind fails.
  GLTexture yuv;
  EXPECT_EQ(yuv.Init(b->getNativeBuffer(), GLTexture::kFormatYUV, GL_UNSIGNED_BYTE, 64, 2), 0u);
  EXPECT_EQ(yuv.GetTarget(), 0xFFFFFFFFu);
}

TEST_F(GLTextureTest, OwnersLeaveTheirNamesAloneInAnotherContext) {
  auto tex = std::make_unique<GLTexture>();
  auto fbo = std::make_unique<GLFbo>();
  auto prog = std::make_unique<TestProgram>(kQuadVS, kCopyFS, CopyLocations());
  ASSERT_TRUE(tex->Init(GL_RGBA, GL_UNSIGNED_BYTE, 4, 4, 0));
  ASSERT_TRUE(fbo->Init() && fbo->Bind());
  ASSERT_TRUE(prog->Load());
  const GLuint t = tex->GetName(), f = fbo->GetName(), p = prog->ProgramId();
  {
    GlContext other;  // current from here on
    ASSERT_TRUE(other.ok());
    tex.reset();
    fbo.reset();
    prog.reset();
  }
  EXPECT_EQ(m_log.Count("not in the context it was made in"), 3);
  ASSERT_TRUE(eglMakeCurrent(m_gl.display(), EGL_NO_SURFACE, EGL_NO_SURFACE, m_gl.context()));
  EXPECT_TRUE(glIsTexture(t));
  EXPECT_TRUE(glIsFramebuffer(f));
  EXPECT_TRUE(glIsProgram(p));
  glDeleteTextures(1, &t);
  glDeleteFramebuffers(1, &f);
  glDeleteProgram(p);
}

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
