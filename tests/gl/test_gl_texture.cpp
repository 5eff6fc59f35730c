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

}  // namespace
}  // namespace test
}  // namespace pe
