#include "GEShaderFisheye.h"

#include <pe/Log.h>
#include <pe/Platform.h>

#include <algorithm>
#include <cmath>

#include "EffectShaders.h"
#include "GECommon.h"
#include "GLTexture.h"

PE_LOG_MODULE("GEShaderFisheye");

namespace {

// The Large program's chroma sampler, then the uniforms both programs have.
const GLProgram::Location kOwn[] = {
    {GLProgram::kSampler, GLProgFisheye::SAMPLER_INPUT_TEX_UV, "s_texture1",
     "m_pnSamplerLoc[UNIFORM_INPUT_TEX_UV]"},
    {GLProgram::kUniform, GLProgFisheye::UNIFORM_SCALE, "u_scale",
     "m_pnSamplerLoc[SAMPLER_POS_SCALE]"},
    {GLProgram::kUniform, GLProgFisheye::UNIFORM_SHIFT, "u_shift",
     "m_pnSamplerLoc[SAMPLER_POS_SHIFT]"},
    {GLProgram::kUniform, GLProgFisheye::UNIFORM_CENTER, "u_center",
     "m_pnSamplerLoc[SAMPLER_POS_CENTER]"},
    {GLProgram::kUniform, GLProgFisheye::UNIFORM_DISTORT, "u_distort",
     "m_pnSamplerLoc[SAMPLER_DISTORT_LEVEL]"},
    {GLProgram::kUniform, GLProgFisheye::UNIFORM_CROP, "u_crop", "m_nUniformLoc[UNIFORM_CROP]"},
};
constexpr size_t kOwnCount = sizeof(kOwn) / sizeof(kOwn[0]);
const GLProgDesc kFisheye = {kShader_bypass_vert,
                             kShader_fisheye_frag,
                             nullptr,
                             kSourceLocations,
                             4,
                             kOwn + 1,
                             kOwnCount - 1,
                             kOwn,
                             kOwnCount};

// The swelling's scale at a level: a constant of the draw.
float SwellScale(float level) {
  const float f = level - 1.f;
  return f < 0.f ? 1.f + std::sqrt(-f) * 0.72f : 1.f - std::sqrt(f) * 0.72f;
}

const char* const kBranchDefine[] = {"BULGE", "EXPANDING", nullptr};

}  // namespace

GLProgFisheye::Branch GLProgFisheye::BranchFor(float level) {
  // The shader weighs the branches by ceil(level - 1).
  const float c = std::ceil(level - 1.f);
  return c == 0.f ? kBulge : c == 1.f ? kExpanding : kBothBranches;
}

GLProgFisheye::GLProgFisheye(bool large, Branch branch)
    : GLProgEffect(kFisheye, large, kBranchDefine[branch]), m_eBranch(branch) {}

void GLProgFisheye::Set(int uniform, float a, float b) {
  if (uniform < 0 || uniform > UNIFORM_DISTORT) return;
  m_fValues[uniform][0] = a;
  m_fValues[uniform][1] = b;
}

unsigned GLProgFisheye::Use() {
  if (!GLProgEffect::Use()) return 0;
  for (int u = UNIFORM_SCALE; u <= UNIFORM_DISTORT; ++u)
    Uniform2f(u, m_fValues[u][0], m_fValues[u][1]);
  return 1;
}

GEShaderFisheye::GEShaderFisheye() : GEShader(&s_peLogModule) {}

bool GEShaderFisheye::Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w,
                           unsigned h, unsigned char captureMode, IYUVConverter* converter) {
  TRACE("Init");
  if (!InitCommon("GEShaderFisheye", src, dst, x, y, w, h, captureMode, converter)) return false;
  m_nLastX = 480;
  m_nLastY = 272;
  m_fCenter[0] = m_fCenter[1] = 0.5f;
  m_fLevel = 0.6f;
  if (!captureMode) {
    // The wording is the one this effect has always logged.
    LOGI("[%s] Creating vignette shader", "Init");
    if (!LoadProgram(m_pProgram, new GLProgFisheye(false, GLProgFisheye::BranchFor(m_fLevel)),
                     "[%s] can't load program"))
      return false;
    if (src) src->SetSampling(GL_CLAMP_TO_EDGE);
    m_pProgram->SetTextures(0, src);
  }
  return FinishInit();
}

bool GEShaderFisheye::SetParam(unsigned set, int p0, int p1, int, int) {
  if (RefuseUninited("SetParam")) return false;
  if (set == 0) {
    m_fLevel = static_cast<float>(0.6 + p0 * 1.2 * 0.01);
    m_fRange = 1.2f;
    return true;
  }
  m_nLastX = p0;
  m_nLastY = p1;
  const float W = static_cast<float>(m_uWidth), H = static_cast<float>(m_uHeight);
  m_fCenter[0] = std::min(std::max(p0 / W, 0.1f), 0.9f);
  m_fCenter[1] = std::min(std::max(p1 / H, 0.1f), 0.9f);
  return true;
}

bool GEShaderFisheye::SetCrop(float x, float y, float width, float height) {
  GEShader::SetCrop(x, y, width, height);
  // A still is sampled from whole planes without padding columns, so the
  // reset crop covers them entirely.
  if (m_captureMode && (x < 0 || y < 0 || width <= 0 || height <= 0)) m_fCrop[2] = 1.f;
  return true;
}

bool GEShaderFisheye::ProcFrame(unsigned a, unsigned b, int w, int h) {
  if (RefuseUninited("ProcFrame")) return false;
  // An instance made for a still lets preview frames pass.
  if (m_captureMode) return true;
  if (!ProgramForLevel()) return false;
  m_pProgram->Set(GLProgFisheye::UNIFORM_SHIFT, m_fCenter[0], m_fCenter[1]);
  m_pProgram->Set(GLProgFisheye::UNIFORM_CENTER, m_fCenter[0], m_fCenter[1]);
  m_pProgram->Set(GLProgFisheye::UNIFORM_DISTORT, m_fLevel, SwellScale(m_fLevel));
  m_pProgram->Set(GLProgFisheye::UNIFORM_SCALE, 1.f, 1.f);
  return ProcBlock(a, b, w, h);
}

bool GEShaderFisheye::ProgramForLevel() {
  const GLProgFisheye::Branch branch = GLProgFisheye::BranchFor(m_fLevel);
  if (m_pProgram && m_pProgram->GetBranch() == branch) return true;
  if (!LoadProgram(m_pProgram, new GLProgFisheye(false, branch), "[%s] can't load program", true,
                   "ProcFrame")) {
    // Not kept: the next frame makes it again.
    m_pProgram.reset(nullptr);
    return false;
  }
  m_pProgram->SetTextures(0, m_pSrcTexture);
  return true;
}

bool GEShaderFisheye::ProcBlock(unsigned, unsigned, int, int) {
  const unsigned start = GetTickCount();
  const bool ok = DrawAndConvert(m_pProgram.get(), kQuadTexCoords, [this] {
    m_pProgram->Uniform4f(GLProgFisheye::UNIFORM_CROP, m_fCrop[0], m_fCrop[1], m_fCrop[2],
                          m_fCrop[3]);
  });
  LOGD("** fisheye %d ms", GetTickCount() - start);
  return ok;
}

bool GEShaderFisheye::ProcBlock(unsigned, unsigned, int w, int h, float shiftX, float shiftY) {
  m_pProgram->Set(GLProgFisheye::UNIFORM_SHIFT, shiftX, shiftY);
  // The block's corner of the target, at the coordinates it has in a whole
  // block.
  const float s = static_cast<float>(w) / static_cast<float>(m_nRGBWidth);
  const float t = static_cast<float>(h) / static_cast<float>(m_nRGBHeight);
  const float coords[8] = {0, t, 0, 0, s, 0, s, t};
  return DrawAndConvert(m_pProgram.get(), w, h, coords, [this] {
    m_pProgram->Uniform4f(GLProgFisheye::UNIFORM_CROP, m_fCrop[0], m_fCrop[1], m_fCrop[2],
                          m_fCrop[3]);
  });
}

bool GEShaderFisheye::ProcFrame(unsigned char* in, unsigned char* out, int W, int H) {
  return Capture(in, in ? in + static_cast<size_t>(W > 0 ? W : 0) * (H > 0 ? H : 0) : nullptr, out,
                 W, H);
}

bool GEShaderFisheye::ProcFrame(unsigned char* inY, unsigned char* inUV, unsigned char* out, int W,
                                int H) {
  return Capture(inY, inUV, out, W, H);
}

bool GEShaderFisheye::UploadPlanes(const unsigned char* y, const unsigned char* uv, int W, int H) {
  const unsigned w = static_cast<unsigned>(W), h = static_cast<unsigned>(H);
  m_pCaptureY.reset(new GLTexture());
  m_pCaptureUV.reset(new GLTexture());
  // Plane rows are packed, whatever their length. Each texture is made with
  // its plane: storage made empty first would be written twice.
  GLint align = 4;
  glGetIntegerv(GL_UNPACK_ALIGNMENT, &align);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  const bool ok = m_pCaptureY->Init(GL_LUMINANCE, GL_UNSIGNED_BYTE, w, h, 0, y) &&
                  m_pCaptureUV->Init(GL_LUMINANCE_ALPHA, GL_UNSIGNED_BYTE, w / 2, h / 2, 0, uv);
  glPixelStorei(GL_UNPACK_ALIGNMENT, align);
  if (!ok) return false;
  // Clamped like the preview's source, so that the picture's edges read the
  // same in both.
  m_pCaptureY->SetSampling(GL_CLAMP_TO_EDGE);
  m_pCaptureUV->SetSampling(GL_CLAMP_TO_EDGE);
  return true;
}

bool GEShaderFisheye::Capture(const unsigned char* y, const unsigned char* uv, unsigned char* out,
                              int W, int H) {
  TRACE("ProcFrame");
  const unsigned start = GetTickCount();
  if (!CheckCapture("ProcFrame", out, W, H)) return false;
  if (!y || !uv) {
    LOGE("[%s] no still planes", "ProcFrame");
    return false;
  }
  // The planes are uploaded whole: a still beyond what one texture holds
  // cannot be processed here.
  const int limit = pe::platform::MaxTextureSize();
  if (W > limit || H > limit) {
    LOGE("[%s] still %dx%d exceeds the largest texture %d", "ProcFrame", W, H, limit);
    return false;
  }
  const int bw = std::min(W, kBlockW), bh = std::min(H, kBlockH);
  // The output converter works at the block size for this still.
  DeinitYUVConverter();
  if (!InitYUVConverter(bw, bh, bw, bh)) {
    LOGE("[%s] can't make the %dx%d output converter", "ProcFrame", bw, bh);
    return false;
  }
  LOGD("Create YUV Texture::");
  if (!UploadPlanes(y, uv, W, H)) {
    LOGE("[%s] can't make the plane textures for %dx%d", "ProcFrame", W, H);
    return false;
  }
  if (!LoadProgram<GLProgFisheye>(m_pProgram,
                                  new GLProgFisheyeLarge(GLProgFisheye::BranchFor(m_fLevel)),
                                  "[%s] can't load program"))
    return false;
  m_pProgram->SetTextures(0, m_pCaptureY.get());
  m_pProgram->SetTextures(GLProgFisheye::SAMPLER_INPUT_TEX_UV, m_pCaptureUV.get());
  const float fw = static_cast<float>(W), fh = static_cast<float>(H);
  m_pProgram->Set(GLProgFisheye::UNIFORM_SCALE, bw / fw, bh / fh);
  m_pProgram->Set(GLProgFisheye::UNIFORM_CENTER, m_fCenter[0], m_fCenter[1]);
  m_pProgram->Set(GLProgFisheye::UNIFORM_DISTORT, m_fLevel, SwellScale(m_fLevel));
  m_nOverlapX = m_nOverlapY = 0;
  for (int by = 0; by < H; by += bh) {
    for (int bx = 0; bx < W; bx += bw) {
      const int cw = std::min(bw, W - bx), ch = std::min(bh, H - by);
      LOGD("[Fisheye] Output: %d %d size=%d %d", bx, by, cw, ch);
      // Only what the still keeps of the block is drawn, in whole groups of
      // four columns.
      const int dw = std::min(bw, (cw + 3) / 4 * 4);
      if (!ProcBlock(0, 0, dw, ch, m_fCenter[0] - bx / fw, m_fCenter[1] - by / fh) ||
          !BlockCopyYUV(out, out + static_cast<size_t>(W) * H, W, H, bx, by, cw, ch))
        return false;
    }
  }
  DeinitYUVConverter();
  m_pCaptureY.reset(nullptr);
  m_pCaptureUV.reset(nullptr);
  LOGI("** fisheye %d ms", GetTickCount() - start);
  return true;
}
