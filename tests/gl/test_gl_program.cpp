#include <pe/Platform.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "GLTexture.h"
#include "GlTest.h"

namespace pe {
namespace test {
namespace {

using GLProgramTest = GLTest;

const char* const kYuvFS =
    "precision mediump float;\n"
    "uniform sampler2D s_texture0;\n"
    "uniform mat4 u_mat_yuv2rgb;\n"
    "varying vec2 v_texCoord;\n"
    "void main() {\n"
    "  gl_FragColor = u_mat_yuv2rgb * vec4(texture2D(s_texture0, v_texCoord).rgb, 1.0);\n"
    "}\n";

std::vector<GLProgram::Location> With(std::vector<GLProgram::Location> table,
                                      GLProgram::Location extra) {
  table.push_back(extra);
  return table;
}

const GLProgram::Location kMatrix = {GLProgram::kSampler, GLProgram::SAMPLER_MAT_YUV2RGB,
                                     "u_mat_yuv2rgb", "m_nSamplerLoc[SAMPLER_MAT_YUV2RGB]"};

// A normal RGBA texture holding pixels, sampled texel for texel.
void Fill(GLTexture& tex, int w, int h, const std::vector<uint8_t>& pixels) {
  ASSERT_EQ(tex.Init(GL_RGBA, GL_UNSIGNED_BYTE, w, h, 0), 1u);
  ASSERT_EQ(tex.UpdateNormalTexture(pixels.data(), w, h), 1u);
  tex.SetParameteri(GL_TEXTURE_MIN_FILTER, GL_NEAREST);
  tex.SetParameteri(GL_TEXTURE_MAG_FILTER, GL_NEAREST);
}

TEST_F(GLProgramTest, CompileAndLinkFailuresLeaveNoObjectsBehind) {
  const GLuint probe = glCreateShader(GL_VERTEX_SHADER);  // later names are the loads'
  TestProgram bad(kQuadVS, "void main() { gl_FragColor = vec4(1) }", {});
  EXPECT_EQ(bad.Load(), 0u);
  EXPECT_TRUE(m_log.Contains("[Load] can't compile fragment shader\n", "GLProgram"));
  // Fragment shader and vertex shader refer to one varying with two types.
  TestProgram unlinked(
      "attribute vec4 a_vertexCoord; varying vec2 v_x;\n"
      "void main() { gl_Position = a_vertexCoord; v_x = vec2(0.0); }\n",
      "precision mediump float; varying vec3 v_x;\n"
      "void main() { gl_FragColor = vec4(v_x, 1.0); }\n",
      {});
  EXPECT_EQ(unlinked.Load(), 0u);
  EXPECT_TRUE(m_log.Contains("[Load] can't link program\n"));
  EXPECT_EQ(unlinked.ProgramId(), 0u);
  EXPECT_EQ(unlinked.Use(), 0u);
  EXPECT_TRUE(m_log.Contains("[Use] invalid program id 0"));
  for (GLuint n = probe + 1; n < probe + 16; ++n) {
    EXPECT_FALSE(glIsShader(n)) << n;
    EXPECT_FALSE(glIsProgram(n)) << n;
  }
  glDeleteShader(probe);
}

TEST_F(GLProgramTest, LocationTableFailsAtTheFirstMissingOrOutOfRangeSlot) {
  TestProgram missing(
      kQuadVS, kCopyFS,
      With(CopyLocations(), {GLProgram::kUniform, 3, "u_absent", "m_nUniformLoc[UNIFORM_ABSENT]"}));
  EXPECT_EQ(missing.Load(), 0u);
  EXPECT_TRUE(m_log.Contains("[LocIsValid] invalid m_nUniformLoc[UNIFORM_ABSENT] == -1"));
  TestProgram outside(kQuadVS, kCopyFS,
                      With(CopyLocations(), {GLProgram::kUniform, 16, "u_x", "x"}));
  EXPECT_EQ(outside.Load(), 0u);
  EXPECT_EQ(outside.Uniform1f(16, 1.f), 0u);
  EXPECT_EQ(outside.SetTextures(8, nullptr), 0u);
  EXPECT_TRUE(m_log.Contains("[SetTextures] nIdx 8 must < 8"));
}

TEST_F(GLProgramTest, BinaryRoundTripDrawsTheSamePixels) {
  ASSERT_TRUE(platform::HasGLExtension("GL_OES_get_program_binary"));
  const std::vector<uint8_t> yuvx = {90, 200, 30, 255, 16, 128, 240, 255};
  GLTexture tex;
  Fill(tex, 2, 1, yuvx);
  TestProgram source(kQuadVS, kYuvFS, With(CopyLocations(), kMatrix));
  ASSERT_EQ(source.Load(), 1u);
  source.SetTextures(0, &tex);
  const std::vector<uint8_t> want = Render(source, 2, 1);

  const std::string path = ::testing::TempDir() + "gl_program_" + std::to_string(getpid());
  ASSERT_EQ(source.SaveBinary(path.c_str()), 1u);
  TestProgram loaded(kQuadVS, kYuvFS, With(CopyLocations(), kMatrix));
  ASSERT_EQ(loaded.LoadFromBinary(path.c_str()), 1u);
  loaded.SetTextures(0, &tex);
  EXPECT_EQ(Render(loaded, 2, 1), want);

  // Three bytes hold no format; four hold an empty binary the driver refuses.
  for (long size : {3L, 4L}) {
    ASSERT_EQ(truncate(path.c_str(), size), 0);
    EXPECT_EQ(loaded.LoadFromBinary(path.c_str()), 0u);
  }
  EXPECT_TRUE(m_log.Contains("[LoadBinary] invalid shader length"));
  std::remove(path.c_str());
}

}  // namespace
}  // namespace test
}  // namespace pe
