// The GL layer: diagnostics, textures, framebuffers, programs and BMP assets
// and dumps, on an ES2 context published as the library's own.
#include <android/log.h>
#include <gtest/gtest.h>
#include <pe/Platform.h>
#include <posteffect/Globals.h>
#include <ui/GraphicBuffer.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "GECommon.h"
#include "GLFbo.h"
#include "GLProgram.h"
#include "GLTexture.h"
#include "GlContext.h"
#include "LogCapture.h"
#include "Pixels.h"
#include "ProgramCache.h"
#include "TestEnv.h"

// Owned by the effect manager in the library; the GL layer only reads them.
EGLDisplay g_eglDisplay = EGL_NO_DISPLAY;
EGLContext g_eglContext = EGL_NO_CONTEXT;

namespace pe {
namespace test {
namespace {

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

// A program from given sources, by default the copy of s_texture0 over the quad.
class TestProgram : public GLProgram {
 public:
  explicit TestProgram(const char* fs = kCopyFS, const char* vs = kQuadVS,
                       std::vector<Location> extra = {})
      : m_vs(vs), m_fs(fs) {
    m_table = {{kVertexCoord, 0, "a_vertexCoord", "m_nVerCoordLoc"},
               {kTexCoord, 0, "a_textureCoord", "m_nTexCoordLoc"},
               {kSampler, SAMPLER_INPUT_TEX, "s_texture0", "m_nSamplerLoc[SAMPLER_INPUT_TEX]"}};
    m_table.insert(m_table.end(), extra.begin(), extra.end());
  }
  unsigned Load() override { return GLProgram::Load(m_vs, m_fs) && Locate(); }
  unsigned LoadFromBinary(const char* path) { return LoadBinary(path) && Locate(); }

 private:
  unsigned Locate() { return LoadLocations(m_table.data(), m_table.size()); }
  const char* m_vs;
  const char* m_fs;
  std::vector<Location> m_table;
};

GLuint Binding() {
  GLint bound = 0;
  glGetIntegerv(GL_FRAMEBUFFER_BINDING, &bound);
  return static_cast<GLuint>(bound);
}

class GLTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(m_gl.ok()) << "no EGL display or ES2 context";
    g_eglDisplay = m_gl.display();
    g_eglContext = m_gl.context();
  }

  // Every texel of tex as RGBA bytes, row 0 first, GetAllocWidth() wide:
  // drawn 1:1 by prog (the copy program if null), bound through Bind() as
  // effects bind it.
  Bytes Sample(GLTexture& tex, GLProgram* prog = nullptr) {
    TestProgram copy;
    if (!prog) {
      EXPECT_TRUE(copy.Load());
      prog = &copy;
    }
    EXPECT_TRUE(tex.Bind());
    tex.SetParameteri(GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    tex.SetParameteri(GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    prog->SetTextures(0, &tex);
    const int w = static_cast<int>(tex.GetAllocWidth()), h = static_cast<int>(tex.GetHeight());
    GLTexture target;
    GLFbo fbo;
    EXPECT_TRUE(target.Init(GL_RGBA, GL_UNSIGNED_BYTE, w, h, 0) && fbo.Init() &&
                fbo.SetColorAttachment(&target) && fbo.Bind());
    glViewport(0, 0, w, h);
    EXPECT_TRUE(prog->Use());
    prog->SetVertexCoord(4, kQuadVertices);
    prog->SetTextureCoord(2, kQuadTexCoords);
    prog->Draw();
    Bytes px(static_cast<size_t>(w) * h * 4);
    glReadPixels(0, 0, w, h, GL_RGBA, GL_UNSIGNED_BYTE, px.data());
    return px;
  }

  std::string Write(const std::string& name, const Bytes& bytes) {
    m_dir.Put(name, std::string(bytes.begin(), bytes.end()));
    return m_dir.File(name);
  }
  Bytes Read(const std::string& name) {
    const std::string bytes = ReadFile(m_dir.File(name));
    return Bytes(bytes.begin(), bytes.end());
  }

  LogCapture m_log;
  GlContext m_gl;
  // Where dumps go, and the template they take their header from.
  TempDir m_dir;
  ScopedEnv m_dump{"POSTEFFECT_DUMP_DIR", m_dir.path()};
  std::string m_template = Write("template.bmp", Bmp(1, 1, 32, {0, 0, 0, 0}));
};

TEST_F(GLTest, GLAndEGLErrorsAreNamedLoggedOnceAndConsumed) {
  glBindTexture(0x1234, 1);
  EXPECT_EQ(CheckGLError("T::F", "glBindTexture"), 0u);
  EXPECT_EQ(CheckGLError("T::F", "glNothing"), 1u);
  EXPECT_TRUE(m_log.Contains(
      "[T::F] ERROR, glBindTexture failed with error: 0x500 GL_INVALID_ENUM\n", "GECommon"));
  EXPECT_EQ(m_log.Count("ERROR"), 1);
  // Clearing an incomplete framebuffer raises 0x506, past the name table.
  GLFbo fbo;
  ASSERT_TRUE(fbo.Init() && fbo.Bind());
  glClear(GL_COLOR_BUFFER_BIT);
  EXPECT_EQ(CheckGLError("F", "glClear"), 0u);
  EXPECT_TRUE(m_log.Contains("[F] ERROR, glClear failed with error: 0x506 \n")) << m_log.Dump();

  EXPECT_FALSE(eglDestroySurface(m_gl.display(), EGL_NO_SURFACE));
  EXPECT_EQ(CheckEGLError("F", "eglDestroySurface"), 0u);
  EXPECT_TRUE(m_log.Contains(
      "[F] ERROR, eglDestroySurface failed with error: 0x300D EGL_BAD_SURFACE\n", "GECommon"));
}

TEST_F(GLTest, TexturesRefuseKindsAndUpdatesTheyCannotHold) {
  GLTexture lum, yuv, tex, st;
  EXPECT_EQ(lum.Init(GL_LUMINANCE, GL_UNSIGNED_BYTE, 64, 4, 1), 0u);
  EXPECT_TRUE(m_log.Contains("[Init] ST only supports RGB565/RGB88/RGBA", "GLTexture"));
  EXPECT_EQ(yuv.Init(GLTexture::kFormatYUV, GL_UNSIGNED_BYTE, 64, 4, 1), 0u);
  EXPECT_TRUE(m_log.Contains("[Init] YUV ST created in this way not implemented", "GLTexture"));
  // As a normal texture luminance is fine, but has no memory to write into.
  ASSERT_EQ(lum.Init(GL_LUMINANCE, GL_UNSIGNED_BYTE, 64, 4, 0), 1u);
  EXPECT_EQ(lum.GetSTDataBuf(), nullptr);
  EXPECT_TRUE(m_log.Contains("[GetSTDataBuf] ERROR, only streaming texture use this method\n"));

  // Normal textures take whole images of their own size only.
  ASSERT_EQ(tex.Init(GL_RGBA, GL_UNSIGNED_BYTE, 8, 2, 0), 1u);
  const Bytes image = Ramp(8 * 2 * 4), other(image.size(), 0xE7);
  EXPECT_EQ(tex.UpdateNormalTexture(image.data(), 8, 2), 1u);
  EXPECT_EQ(Sample(tex), image);
  EXPECT_EQ(tex.UpdateNormalTexture(other.data(), 8, 3), 0u);
  EXPECT_TRUE(
      m_log.Contains("[UpdateNormalTexture] ERROR, wrong input size 8x3, tex size is 8x2\n"));
  EXPECT_EQ(tex.UpdateNormalTexture(other.data(), 0, 0), 1u);  // 0: the texture's own size
  EXPECT_EQ(Sample(tex), other);
  ASSERT_EQ(st.Init(GL_RGBA, GL_UNSIGNED_BYTE, 32, 2, 1), 1u);
  EXPECT_EQ(st.UpdateNormalTexture(image.data(), 32, 2), 0u);
  EXPECT_TRUE(m_log.Contains("[UpdateNormalTexture] ERROR, only normal texture use this method\n"));
}

TEST_F(GLTest, TextureWrapsACallersBufferAtOneAddressOnly) {
  auto buffer = [] {
    return android::sp<android::GraphicBuffer>(
        new android::GraphicBuffer(64, 2, android::PIXEL_FORMAT_RGBA_8888, 0x200130));
  };
  const auto a = buffer(), b = buffer();
  void* baseA = reinterpret_cast<void*>(a->handle()->base);
  GLTexture tex, yuv;
  ASSERT_EQ(tex.Init(a->getNativeBuffer(), GL_RGBA, GL_UNSIGNED_BYTE, 64, 2), 1u);
  EXPECT_EQ(tex.m_pData, baseA);
  EXPECT_EQ(tex.Init(a->getNativeBuffer(), GL_RGBA, GL_UNSIGNED_BYTE, 64, 2), 1u);
  EXPECT_EQ(tex.Init(b->getNativeBuffer(), GL_RGBA, GL_UNSIGNED_BYTE, 64, 2), 0u);
  EXPECT_TRUE(m_log.Contains("already assigned and not equal to passed-in native buffer addr"));
  EXPECT_EQ(tex.m_pData, baseA);
  // The reserved YUV format gets no valid target, so the bind fails.
  EXPECT_EQ(yuv.Init(b->getNativeBuffer(), GLTexture::kFormatYUV, GL_UNSIGNED_BYTE, 64, 2), 0u);
  EXPECT_EQ(yuv.GetTarget(), 0xFFFFFFFFu);
}

// While uploads are held, a streaming texture reaches the GPU at its first
// bind only: a CPU write after it shows once the last hold ends, and a new
// hold uploads again at its own first bind.
TEST_F(GLTest, HeldUploadsReachTheGpuOncePerHold) {
  GLTexture st;
  ASSERT_EQ(st.Init(GL_RGBA, GL_UNSIGNED_BYTE, 32, 2, 1), 1u);
  auto fill = [&st](uint8_t seed) {
    const Bytes b(32 * 2 * 4, seed);
    std::copy(b.begin(), b.end(), static_cast<uint8_t*>(st.m_pData));
    return b;
  };
  const Bytes a = fill(0x11);
  {
    const GLTexture::HeldUploads held(&st);
    EXPECT_EQ(Sample(st), a);
    fill(0x22);
    {
      const GLTexture::HeldUploads nested(&st);
      EXPECT_EQ(Sample(st), a);
    }
    EXPECT_EQ(Sample(st), a);
  }
  const Bytes c = fill(0x33);
  EXPECT_EQ(Sample(st), c);
  const GLTexture::HeldUploads again(&st);
  const Bytes d = fill(0x44);
  EXPECT_EQ(Sample(st), d);
}

// A texture is expected in the context of the manager on its own thread,
// whatever another manager published or left behind on stopping; on a thread
// without a manager, in the published one. Mismatches are warned about, not
// refused. Owners delete their names where they were made, without a word,
// and leave them alone anywhere else.
TEST_F(GLTest, OwnersWorkInTheirOwnWorkersContextAndLeaveOthersAlone) {
  const std::pair<EGLDisplay, EGLContext> kPairs[] = {
      {m_gl.display(), m_gl.context()}, {EGL_NO_DISPLAY, EGL_NO_CONTEXT}, {m_gl.display(), 0}};
  // Published pair, this thread's worker pair, banners expected.
  const int kCases[][3] = {{0, 1, 0}, {2, 1, 1}, {1, 1, 2}, {1, 0, 0}, {0, 2, 1}};
  for (const auto& k : kCases) {
    m_log.Clear();
    std::tie(g_eglDisplay, g_eglContext) = kPairs[k[0]];
    SetWorkerEGL(kPairs[k[1]].first, kPairs[k[1]].second);
    auto st = std::make_unique<GLTexture>();
    EXPECT_EQ(st->Init(GL_RGBA, GL_UNSIGNED_BYTE, 32, 2, 1), 1u);
    const GLuint name = st->GetName();
    st.reset();
    EXPECT_EQ(m_log.Count("unequal"), k[2]) << m_log.Dump();
    EXPECT_FALSE(glIsTexture(name));
  }
  SetWorkerEGL(EGL_NO_DISPLAY, EGL_NO_CONTEXT);

  auto tex = std::make_unique<GLTexture>();
  auto st = std::make_unique<GLTexture>();
  auto fbo = std::make_unique<GLFbo>();
  auto prog = std::make_unique<TestProgram>();
  ASSERT_TRUE(tex->Init(GL_RGBA, GL_UNSIGNED_BYTE, 4, 4, 0) && fbo->Init() && fbo->Bind());
  ASSERT_TRUE(prog->Load() && st->Init(GL_RGBA, GL_UNSIGNED_BYTE, 32, 2, 1));
  const GLuint t = tex->GetName(), f = fbo->GetName(), p = prog->ProgramId(), s = st->GetName();
  {
    GlContext other;  // current from here on
    ASSERT_TRUE(other.ok());
    tex.reset();
    fbo.reset();
    prog.reset();
  }
  EXPECT_EQ(m_log.Count("not in the context it was made in"), 3);
  // No display current at all: the image goes with its own display, the name stays.
  ASSERT_TRUE(eglMakeCurrent(m_gl.display(), EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT));
  st.reset();
  EXPECT_EQ(m_log.Count("[GLTexture::~GLTexture] unequal display"), 1);
  EXPECT_EQ(m_log.Count("not in the context it was made in"), 4);
  ASSERT_TRUE(eglMakeCurrent(m_gl.display(), EGL_NO_SURFACE, EGL_NO_SURFACE, m_gl.context()));
  EXPECT_TRUE(glIsTexture(t) && glIsFramebuffer(f) && glIsProgram(p) && glIsTexture(s));
}

TEST_F(GLTest, FboKeepsTheCallersBindingReportsWhatFailsAndCleansUp) {
  GLTexture tex, lum;
  GLFbo other;
  auto fbo = std::make_unique<GLFbo>();
  ASSERT_TRUE(tex.Init(GL_RGBA, GL_UNSIGNED_BYTE, 4, 2, 0) && other.Init() && other.Bind());
  ASSERT_EQ(fbo->Init(), 1u);
  EXPECT_EQ(fbo->SetColorAttachment(&tex), 1u);
  EXPECT_EQ(Binding(), other.GetName());
  ASSERT_EQ(fbo->Bind(), 1u);
  EXPECT_EQ(fbo->Unbind(), 1u);
  EXPECT_EQ(Binding(), 0u);

  EXPECT_EQ(fbo->SetColorAttachment(nullptr), 0u);
  EXPECT_TRUE(m_log.Contains("[GLFbo::SetColorAttachment] invalid pTexture", "GLFbo"));
  // Luminance is not colour-renderable: the object overload reports success
  // anyway, the raw one does not, and the binding is left on this one.
  ASSERT_EQ(lum.Init(GL_LUMINANCE, GL_UNSIGNED_BYTE, 16, 16, 0), 1u);
  EXPECT_EQ(fbo->SetColorAttachment(&lum), 1u);
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  EXPECT_EQ(fbo->SetColorAttachment(lum.GetTarget(), lum.GetName()), 0u);
  EXPECT_EQ(m_log.Count("[GLFbo::SetColorAttachment] ERROR, FBO not complete, status 36054\n"), 2)
      << m_log.Dump();
  EXPECT_EQ(Binding(), fbo->GetName());

  // Destruction detaches, deletes and unbinds, leaving the texture alone.
  ASSERT_EQ(fbo->SetColorAttachment(&tex), 1u);
  const GLuint name = fbo->GetName();
  fbo.reset();
  EXPECT_FALSE(glIsFramebuffer(name));
  EXPECT_EQ(Binding(), 0u);
  EXPECT_TRUE(glIsTexture(tex.GetName()));
  // Effects may delete an attachment first; the framebuffer must not touch
  // it afterwards (a sanitizer build sees any read).
  auto st = std::make_unique<GLTexture>();
  ASSERT_EQ(st->Init(GL_RGBA, GL_UNSIGNED_BYTE, 32, 4, 1), 1u);
  fbo = std::make_unique<GLFbo>();
  ASSERT_TRUE(fbo->Init() && fbo->SetColorAttachment(st.get()));
  st.reset();
  EXPECT_EQ(fbo->Bind(), 1u);
}

TEST_F(GLTest, ProgramsLoadFromSourceOrBinaryAndFailuresLeaveNoObjectsBehind) {
  const GLuint probe = glCreateShader(GL_VERTEX_SHADER);  // later names are the loads'
  TestProgram bad("void main() { gl_FragColor = vec4(1) }");
  EXPECT_EQ(bad.Load(), 0u);
  EXPECT_TRUE(m_log.Contains("[Load] can't compile fragment shader\n", "GLProgram"));
  // Fragment shader and vertex shader refer to one varying with two types.
  TestProgram unlinked(
      "precision mediump float; varying vec3 v_x;\n"
      "void main() { gl_FragColor = vec4(v_x, 1.0); }\n",
      "attribute vec4 a_vertexCoord; varying vec2 v_x;\n"
      "void main() { gl_Position = a_vertexCoord; v_x = vec2(0.0); }\n");
  EXPECT_EQ(unlinked.Load(), 0u);
  EXPECT_TRUE(m_log.Contains("[Load] can't link program\n"));
  EXPECT_EQ(unlinked.ProgramId(), 0u);
  EXPECT_EQ(unlinked.Use(), 0u);
  EXPECT_TRUE(m_log.Contains("[Use] invalid program id 0"));
  for (GLuint n = probe + 1; n < probe + 16; ++n)
    EXPECT_FALSE(glIsShader(n) || glIsProgram(n)) << n;
  // Location tables fail at the first missing or out-of-range slot.
  TestProgram missing(kCopyFS, kQuadVS,
                      {{GLProgram::kUniform, 3, "u_absent", "m_nUniformLoc[UNIFORM_ABSENT]"}});
  EXPECT_EQ(missing.Load(), 0u);
  EXPECT_TRUE(m_log.Contains("[LocIsValid] invalid m_nUniformLoc[UNIFORM_ABSENT] == -1"));
  TestProgram outside(kCopyFS, kQuadVS, {{GLProgram::kUniform, 16, "u_x", "x"}});
  EXPECT_EQ(outside.Load(), 0u);
  EXPECT_EQ(outside.Uniform1f(16, 1.f), 0u);
  EXPECT_EQ(outside.SetTextures(8, nullptr), 0u);
  EXPECT_TRUE(m_log.Contains("[SetTextures] nIdx 8 must < 8"));

  // A saved binary draws what its source does.
  const std::string path = m_dir.File("program.bin");
  TestProgram source, loaded;
  ASSERT_TRUE(source.Load() && source.SaveBinary(path.c_str()) &&
              loaded.LoadFromBinary(path.c_str()));
  GLTexture tex;
  const Bytes image = Ramp(4 * 2 * 4);
  ASSERT_TRUE(tex.Init(GL_RGBA, GL_UNSIGNED_BYTE, 4, 2, 0) &&
              tex.UpdateNormalTexture(image.data(), 4, 2));
  EXPECT_EQ(Sample(tex, &loaded), image);
  // Three bytes hold no format; four hold an empty binary the driver refuses.
  for (long size : {3L, 4L}) {
    ASSERT_EQ(truncate(path.c_str(), size), 0);
    EXPECT_EQ(loaded.LoadFromBinary(path.c_str()), 0u);
  }
  EXPECT_TRUE(m_log.Contains("[LoadBinary] invalid shader length"));
}

// A program let go of in a context its owner opened is kept, bounded, for the
// next Load of the same sources, which gets it back with every uniform at
// zero as a fresh link leaves it; anywhere else it is deleted as before.
TEST_F(GLTest, ProgramsOfTheSameSourcesAreKeptForReuseOnlyWhereTheContextIsOpen) {
  const char* const kTypes =
      "precision mediump float;\n"
      "uniform sampler2D s_texture0; uniform float u_f; uniform vec2 u_v[3]; uniform int u_i;\n"
      "uniform bool u_b; uniform ivec2 u_iv; uniform mat3 u_m;\n"
      "varying vec2 v_texCoord;\n"
      "void main() { gl_FragColor = texture2D(s_texture0, v_texCoord) + vec4(u_f + u_v[2].y +\n"
      "  float(u_i + u_iv.y) + (u_b ? 1.0 : 0.0) + u_m[2][1]); }\n";
  const std::string sources[3] = {"0", "1", "2"};
  auto fragment = [&](int i) { return std::string(kTypes) + "// " + sources[i] + "\n"; };
  const std::string fs[3] = {fragment(0), fragment(1), fragment(2)};
  // Loads fs[i], sets every uniform off zero, lets it go; returns its name.
  auto loadAndDrop = [&](int i) {
    TestProgram prog(fs[i].c_str());
    EXPECT_TRUE(prog.Load());
    const GLuint p = prog.ProgramId();
    glUseProgram(p);
    const float v[6] = {1, 2, 3, 4, 5, 6}, m[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    glUniform1i(glGetUniformLocation(p, "s_texture0"), 3);
    glUniform1f(glGetUniformLocation(p, "u_f"), 0.5f);
    glUniform2fv(glGetUniformLocation(p, "u_v"), 3, v);
    glUniform1i(glGetUniformLocation(p, "u_i"), 7);
    glUniform1i(glGetUniformLocation(p, "u_b"), 1);
    glUniform2i(glGetUniformLocation(p, "u_iv"), 8, 9);
    glUniformMatrix3fv(glGetUniformLocation(p, "u_m"), 1, GL_FALSE, m);
    glUseProgram(0);  // a program in use outlives its deletion
    return p;
  };

  // Not opened: deleted.
  const GLuint unopened = loadAndDrop(0);
  EXPECT_FALSE(glIsProgram(unopened));
  EXPECT_EQ(ProgramCache::Count(), 0u);

  ProgramCache::Open(m_gl.display(), m_gl.context());
  const GLuint kept = loadAndDrop(0);
  EXPECT_TRUE(glIsProgram(kept));
  EXPECT_EQ(ProgramCache::Count(), 1u);
  {
    TestProgram other(fs[1].c_str()), same(fs[0].c_str());
    ASSERT_TRUE(other.Load() && same.Load());
    EXPECT_NE(other.ProgramId(), kept);
    EXPECT_EQ(same.ProgramId(), kept);
    EXPECT_EQ(ProgramCache::Count(), 0u);
    const std::pair<const char*, int> kFloats[] = {{"u_f", 1}, {"u_v[2]", 2}, {"u_m", 9}};
    for (const auto& u : kFloats) {
      std::vector<float> v(static_cast<size_t>(u.second), 1.f);
      glGetUniformfv(kept, glGetUniformLocation(kept, u.first), v.data());
      EXPECT_EQ(v, std::vector<float>(v.size(), 0.f)) << u.first;
    }
    const std::pair<const char*, int> kInts[] = {
        {"s_texture0", 1}, {"u_i", 1}, {"u_b", 1}, {"u_iv", 2}};
    for (const auto& u : kInts) {
      std::vector<GLint> v(static_cast<size_t>(u.second), 1);
      glGetUniformiv(kept, glGetUniformLocation(kept, u.first), v.data());
      EXPECT_EQ(v, std::vector<GLint>(v.size(), 0)) << u.first;
    }
    // Still draws what its sources say.
    GLTexture tex;
    const Bytes image = Ramp(4 * 2 * 4);
    ASSERT_TRUE(tex.Init(GL_RGBA, GL_UNSIGNED_BYTE, 4, 2, 0) &&
                tex.UpdateNormalTexture(image.data(), 4, 2));
    EXPECT_EQ(Sample(tex, &same), image);
  }
  EXPECT_EQ(ProgramCache::Count(), 2u);

  // The bound: 32 unless the variable holds 0 to 256.
  const std::pair<const char*, size_t> kEnv[] = {
      {nullptr, 32}, {"0", 0}, {"256", 256}, {"257", 32}, {"1x", 32}};
  for (const auto& e : kEnv) {
    ScopedEnv bound("POSTEFFECT_KEPT_PROGRAMS", e.first);
    EXPECT_EQ(platform::KeptPrograms(), e.second) << (e.first ? e.first : "unset");
  }
  // At its edges: the least recently kept goes first; 0 keeps none.
  const struct {
    const char* env;
    size_t kept;
  } kBounds[] = {{"2", 2}, {"3", 3}, {"0", 0}};
  for (const auto& b : kBounds) {
    ScopedEnv bound("POSTEFFECT_KEPT_PROGRAMS", b.env);
    GLuint names[3];
    for (int k = 0; k < 3; ++k) names[k] = loadAndDrop(k);
    EXPECT_EQ(ProgramCache::Count(), b.kept) << b.env;
    for (int k = 0; k < 3; ++k)
      EXPECT_EQ(glIsProgram(names[k]), k >= 3 - static_cast<int>(b.kept)) << b.env << " " << k;
    // Take them all back for the next case.
    for (int k = 0; k < 3; ++k) {
      ScopedEnv none("POSTEFFECT_KEPT_PROGRAMS", "0");
      TestProgram again(fs[k].c_str());
      ASSERT_TRUE(again.Load());
      EXPECT_EQ(again.ProgramId() == names[k], k >= 3 - static_cast<int>(b.kept));
    }
  }

  // Closing deletes what is kept; nothing is kept after it.
  const GLuint before = loadAndDrop(0);
  ProgramCache::Close(m_gl.display(), m_gl.context());
  EXPECT_FALSE(glIsProgram(before));
  EXPECT_EQ(ProgramCache::Count(), 0u);
  EXPECT_FALSE(glIsProgram(loadAndDrop(0)));
}

// Widths off a multiple of 32 leave streaming rows padded: texels land at the allocated stride.
TEST_F(GLTest, BmpEveryDepthLoadsIntoBothKindsRowsAtTheTextureStride) {
  const struct {
    uint16_t bits;
    unsigned format, type;
    int w;
  } kinds[] = {{32, GL_RGBA, GL_UNSIGNED_BYTE, 100},
               {24, GL_RGB, GL_UNSIGNED_BYTE, 36},
               {16, GL_RGB, GL_UNSIGNED_SHORT_5_6_5, 40},
               {8, GL_LUMINANCE, GL_UNSIGNED_BYTE, 40}};
  const int h = 3;
  for (const auto& k : kinds) {
    const Bytes data = Ramp(k.w * h * k.bits / 8);
    const std::string path = Write("in.bmp", Bmp(k.w, h, k.bits, data, 70));
    for (unsigned char streaming : {0, 1}) {
      SCOPED_TRACE(testing::Message() << k.bits << " bpp, streaming " << int(streaming));
      GLTexture tex;
      if (k.bits == 8 && streaming) {
        EXPECT_EQ(tex.LoadBMP(path.c_str(), k.format, k.type, streaming), 0u);
        EXPECT_TRUE(m_log.Contains("[LoadBMP] Can't init texture\n"));
        continue;
      }
      ASSERT_EQ(tex.LoadBMP(path.c_str(), k.format, k.type, streaming), 1u);
      EXPECT_EQ(tex.IsStreaming(), streaming != 0);
      const Bytes px = Sample(tex);
      const size_t pitch = tex.GetAllocWidth();
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < k.w; ++x)
          for (int c = 0; c < 4; ++c)
            ASSERT_EQ(px[(y * pitch + x) * 4 + c], Decoded(data, k.bits, y * k.w + x, c))
                << x << "," << y << " channel " << c;
    }
  }
  // Only a double kind mismatch is refused (in the malformed files). An 8-bit
  // file into an RGBA texture: the file fills the first row, the rest of what
  // GL reads is zeros, never memory past the file's data.
  const Bytes grey = Ramp(32 * 4);
  GLTexture tex;
  ASSERT_EQ(
      tex.LoadBMP(Write("grey.bmp", Bmp(32, 4, 8, grey)).c_str(), GL_RGBA, GL_UNSIGNED_BYTE, 0),
      1u);
  Bytes want = grey;
  want.resize(32 * 4 * 4);
  EXPECT_EQ(Sample(tex), want);
}

// Every check runs before the texture is made, so one kind of texture shows them all.
TEST_F(GLTest, BmpMalformedFilesAreRefusedWithOneLine) {
  const Bytes good = Bmp(32, 2, 32, Ramp(32 * 2 * 4));
  auto with = [](Bytes b, size_t at, uint32_t v, size_t size = 4) {
    for (size_t i = 0; i < size; ++i) b.at(at + i) = static_cast<uint8_t>(v >> (8 * i));
    return b;
  };
  const struct {
    const char* name;
    Bytes file;
    const char* line;  // null: refused without a line
  } cases[] = {
      {"not BM", with(good, 0, 0x4D58, 2), "Can't open bmp: Header fail"},
      {"truncated header", Bytes(good.begin(), good.begin() + 30), "Header fail"},
      {"zero width", with(good, 18, 0), "invalid size 0x2"},
      {"negative height", with(good, 22, static_cast<uint32_t>(-2)), "invalid size 32x-2"},
      {"absurd depth", with(good, 28, 0xFFFF, 2), "unsupported 65535 bpp"},
      {"odd depth", with(good, 28, 12, 2), "unsupported 12 bpp"},
      {"offset past the end", with(good, 10, 1u << 30), "exceeds the file"},
      {"rows past the end", with(good, 22, 3), "exceeds the file"},
      {"overflowing size", with(good, 18, 0x7FFFFFFF), "exceeds the file"},
      // 2^30 x 2^29 texels of 32 bits are 2^64 bytes: zero in 64-bit arithmetic.
      {"wrapping size", with(with(good, 18, 1u << 30), 22, 1u << 29), "exceeds the file"},
      {"truncated data", Bytes(good.begin(), good.end() - 1), "exceeds the file"},
      {"double kind mismatch", with(good, 28, 16, 2), "16 bpp, format 0x1908 and type 0x1401"},
      {"palette depth", with(good, 28, 4, 2), nullptr},
      {"absent", {}, "Can't open BMP"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    m_log.Clear();
    GLTexture tex;
    const std::string path = c.file.empty() ? m_dir.File("absent.bmp") : Write("bad.bmp", c.file);
    EXPECT_EQ(tex.LoadBMP(path.c_str(), GL_RGBA, GL_UNSIGNED_BYTE, 0), 0u);
    const auto lines = m_log.Lines();
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const LogLine& l) { return l.priority == ANDROID_LOG_ERROR; }),
              c.line ? 1 : 0)
        << m_log.Dump();
    EXPECT_TRUE(!c.line || m_log.Contains(c.line, "GLTexture")) << m_log.Dump();
  }
}

// A streaming texture dumped three ways: each texel's fourth byte, the texels
// as opaque BGR (swapped in place), and what the GPU reads through a
// framebuffer, alpha first. Rows go in order, without the stride's padding.
TEST_F(GLTest, BmpDumpsHoldTheTexelsRowsAndLoadBack) {
  const int w = 20, h = 4;  // rows of 128 bytes: the ramp differs from row to row
  GLTexture st, back, rgb;
  GLFbo fbo;
  ASSERT_EQ(st.Init(GL_RGBA, GL_UNSIGNED_BYTE, w, h, 1), 1u);
  auto* mem = static_cast<uint8_t*>(st.GetSTDataBuf());
  const size_t pitch = st.GetAllocWidth() * 4;
  const Bytes ramp = Ramp(pitch * h);
  std::copy(ramp.begin(), ramp.end(), mem);
  Bytes wantY, wantRgba, wantFbo;
  for (int r = 0; r < h; ++r)
    for (const uint8_t* p = &ramp[r * pitch]; p < &ramp[r * pitch + w * 4]; p += 4) {
      wantY.push_back(p[3]);
      wantRgba.insert(wantRgba.end(), {p[2], p[1], p[0], 255});
      wantFbo.insert(wantFbo.end(), {255, p[2], p[1], p[0]});
    }
  auto rows = [&](const void* texels) {
    const auto* p = static_cast<const uint8_t*>(texels);
    Bytes b;
    for (int r = 0; r < h; ++r) b.insert(b.end(), p + r * pitch, p + r * pitch + w * 4);
    return b;
  };
  ASSERT_TRUE(fbo.Init() && fbo.SetColorAttachment(&st));
  ASSERT_EQ(fbo.SaveBMP(m_template.c_str(), "fbo.bmp"), 1u);
  ASSERT_EQ(st.SaveBMP_yuvx(m_template.c_str(), "yuvx.bmp"), 1u);
  ASSERT_EQ(st.SaveBMP(m_template.c_str(), "rgba.bmp"), 1u);
  const Bytes y = Read("yuvx.bmp"), rgba = Read("rgba.bmp"), f = Read("fbo.bmp");
  ASSERT_EQ(y.size(), 54u + w * h);
  ASSERT_EQ(rgba.size(), 54u + w * h * 4);
  ASSERT_EQ(f.size(), rgba.size());
  EXPECT_EQ(io::Get16(&y[28]), 8);
  EXPECT_EQ(std::make_tuple(io::Get32(&f[18]), io::Get32(&f[22])), std::make_tuple(20u, 4u));
  EXPECT_EQ(Bytes(y.begin() + 54, y.end()), wantY);
  EXPECT_EQ(Bytes(rgba.begin() + 54, rgba.end()), wantRgba);
  EXPECT_EQ(Bytes(f.begin() + 54, f.end()), wantFbo);
  EXPECT_EQ(rows(mem), wantRgba);
  // The saved file, header included, loads back; saving again swaps red and blue back.
  ASSERT_EQ(back.LoadBMP(m_dir.File("rgba.bmp").c_str(), GL_RGBA, GL_UNSIGNED_BYTE, 1), 1u);
  EXPECT_EQ(rows(back.GetSTDataBuf()), wantRgba);
  ASSERT_EQ(st.SaveBMP(m_template.c_str(), "again.bmp"), 1u);
  EXPECT_TRUE(mem[0] == ramp[0] && mem[2] == ramp[2]);

  // Three-byte texels have no fourth byte to dump; a template must be a BMP.
  ASSERT_EQ(rgb.Init(GL_RGB, GL_UNSIGNED_BYTE, 32, 2, 1), 1u);
  EXPECT_EQ(rgb.SaveBMP_yuvx(m_template.c_str(), "x.bmp"), 0u);
  EXPECT_EQ(st.SaveBMP(Write("not.bmp", Bytes(200, 'x')).c_str(), "x.bmp"), 0u);
  EXPECT_TRUE(m_log.Contains("[SaveBMP] not a BMP file\n"));
}

}  // namespace
}  // namespace test
}  // namespace pe
