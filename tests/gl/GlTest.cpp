#include "GlTest.h"

#include <posteffect/Globals.h>

#include "GLFbo.h"
#include "GLTexture.h"

// Owned by the effect manager in the library; the GL layer only reads them.
EGLDisplay g_eglDisplay = EGL_NO_DISPLAY;
EGLContext g_eglContext = EGL_NO_CONTEXT;

namespace pe {
namespace test {

const char* const kQuadVS =
    "attribute vec4 a_vertexCoord;\n"
    "attribute vec2 a_textureCoord;\n"
    "varying vec2 v_texCoord;\n"
    "void main() { gl_Position = a_vertexCoord; v_texCoord = a_textureCoord; }\n";

const char* const kCopyFS =
    "precision mediump float;\n"
    "uniform sampler2D s_texture0;\n"
    "varying vec2 v_texCoord;\n"
    "void main() { gl_FragColor = texture2D(s_texture0, v_texCoord); }\n";

std::vector<GLProgram::Location> CopyLocations() {
  return {{GLProgram::kVertexCoord, 0, "a_vertexCoord", "m_nVerCoordLoc"},
          {GLProgram::kTexCoord, 0, "a_textureCoord", "m_nTexCoordLoc"},
          {GLProgram::kSampler, GLProgram::SAMPLER_INPUT_TEX, "s_texture0",
           "m_nSamplerLoc[SAMPLER_INPUT_TEX]"}};
}

void GLTest::SetUp() {
  ASSERT_TRUE(m_gl.ok()) << "no EGL display or ES2 context";
  g_eglDisplay = m_gl.display();
  g_eglContext = m_gl.context();
}

void GLTest::TearDown() {
  g_eglDisplay = EGL_NO_DISPLAY;
  g_eglContext = EGL_NO_CONTEXT;
}

std::vector<uint8_t> GLTest::ReadRgba(int width, int height) {
  std::vector<uint8_t> px(static_cast<size_t>(width) * height * 4);
  glPixelStorei(GL_PACK_ALIGNMENT, 1);
  glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, px.data());
  return px;
}

std::vector<uint8_t> GLTest::Render(GLProgram& prog, int width, int height) {
  GLTexture target;
  GLFbo fbo;
  EXPECT_TRUE(target.Init(GL_RGBA, GL_UNSIGNED_BYTE, width, height, 0));
  EXPECT_TRUE(fbo.Init());
  EXPECT_TRUE(fbo.SetColorAttachment(&target));
  fbo.Bind();
  glViewport(0, 0, width, height);
  glClearColor(0, 0, 0, 0);
  glClear(GL_COLOR_BUFFER_BIT);
  EXPECT_TRUE(prog.Use());
  prog.SetVertexCoord(4, kQuadVertices);
  prog.SetTextureCoord(2, kQuadTexCoords);
  prog.Draw();
  return ReadRgba(width, height);
}

std::vector<uint8_t> GLTest::Sample(GLTexture& tex) {
  TestProgram copy(kQuadVS, kCopyFS, CopyLocations());
  EXPECT_TRUE(copy.Load());
  EXPECT_TRUE(tex.Bind());
  tex.SetParameteri(GL_TEXTURE_MIN_FILTER, GL_NEAREST);
  tex.SetParameteri(GL_TEXTURE_MAG_FILTER, GL_NEAREST);
  copy.SetTextures(0, &tex);
  return Render(copy, static_cast<int>(tex.GetAllocWidth()), static_cast<int>(tex.GetHeight()));
}

}  // namespace test
}  // namespace pe
