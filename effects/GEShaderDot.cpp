#include "GEShaderDot.h"

#include <pe/Log.h>
#include <pe/Platform.h>
#include <posteffect/IPostEffect.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "BlockWalk.h"
#include "DrawPass.h"
#include "EffectShaders.h"
#include "GLFbo.h"
#include "GLTexture.h"

PE_LOG_MODULE("GEShaderDot");

namespace {

const GLProgram::Location kCrop[] = {
    {GLProgram::kUniform, GLProgDotPass1::UNIFORM_CROP, "u_crop", "m_nUniformLoc[UNIFORM_CROP]"},
};
// Pass 2 reads the size-down texture as it is: no matrix.
const GLProgram::Location kMask[] = {
    {GLProgram::kAttrib, GLProgDotPass2::ATTRIB_MASK_TEX_COORD, "a_maskTexCoord",
     "ATTRIB_GLOBAL_TEX_COORD"},
    {GLProgram::kSampler, GLProgDotPass2::SAMPLER_TEX_DOT_MASK, "s_dotMask",
     "m_nSamplerLoc[SAMPLER_TEX_DOT_MASK]"},
};
const GLProgDesc kDotPass1 = {
    kShader_bypass_vert, kShader_dot_pass1_frag, nullptr, kSourceLocations, 4, kCrop, 1, kCrop, 1};
const GLProgDesc kDotPass2 = {kShader_dot_pass2_vert,
                              kShader_dot_pass2_frag,
                              nullptr,
                              kSourceLocations,
                              3,
                              kMask,
                              2,
                              kMask,
                              2};

}  // namespace

GLProgDotPass1::GLProgDotPass1() : GLProgEffect(kDotPass1, false) {}

GLProgDotPass2::GLProgDotPass2(bool large) : GLProgEffect(kDotPass2, large) {}

GEShaderDot::GEShaderDot() : GEShader(&s_peLogModule) {}

bool GEShaderDot::Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w, unsigned h,
                       unsigned char captureMode, IYUVConverter* converter) {
  static const char kBanner[] = ">>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>";
  LOGI("%s", kBanner);
  LOGI("[GEShaderDot::Init]");
  LOGI("%s", kBanner);
  TRACE("Init");
  if (!InitCommon("GEShaderDot", src, dst, x, y, w, h, captureMode, converter)) return false;
  if (!captureMode) {
    LOGI("[%s] Creating tex for pass size down", "Init");
    if (!MakeSizeDown(w, h)) return false;
  }
  for (int i = 0; i < 4; ++i) {
    char path[1024];
    std::snprintf(path, sizeof(path), "%sdot_mask_%d.bmp", pe::platform::AssetDir().c_str(), i);
    m_pMasks[i].reset(new GLTexture());
    // Masks are sampled far outside 0..1 and tile (the loader repeats them).
    if (!m_pMasks[i]->LoadBMP(path, GL_RGB, GL_UNSIGNED_SHORT_5_6_5, 0)) {
      LOGE("[%s] can't load dot mask tex %s", "Init", path);
      return false;
    }
  }
  m_nMask = 2;
  if (!captureMode && !LoadPasses(src, false)) return false;
  m_fScreenRatio = h ? static_cast<float>(w) / static_cast<float>(h) : 1.f;
  LOGI("[%s] screen ratio = %u/%u = %f", "Init", w, h, m_fScreenRatio);
  FinishInit();
  SetParam(0, 50, 0, 0, 0);
  return true;
}

bool GEShaderDot::MakeSizeDown(unsigned w, unsigned h) {
  m_pSizeDown.reset(new GLTexture());
  if (!m_pSizeDown->Init(GL_RGBA, GL_UNSIGNED_BYTE, w, h, 0)) {
    LOGE("[%s] can't init size-down texture %ux%u", "Init", w, h);
    return false;
  }
  m_pSizeDown->SetSampling(GL_CLAMP_TO_EDGE, GL_NEAREST);
  m_pSizeDownFbo.reset(new GLFbo());
  if (!m_pSizeDownFbo->Init()) {
    LOGE("[%s] can't init size-down fbo", "Init");
    return false;
  }
  m_pSizeDownFbo->SetColorAttachment(m_pSizeDown.get());
  return true;
}

bool GEShaderDot::LoadPasses(GLTexture* src, bool large) {
  LOGI("[%s] Creating dot shader pass1", "Init");
  if (!LoadProgram(m_pPass1, new GLProgDotPass1(), "[%s] can't load program", false)) return false;
  m_pPass1->SetTextures(0, src);
  LOGI("[%s] Creating dot shader pass2", "Init");
  if (!LoadProgram(m_pPass2, large ? new GLProgDotPass2Large() : new GLProgDotPass2(),
                   "[%s] can't load program"))
    return false;
  m_pPass2->SetTextures(0, m_pSizeDown.get());
  m_pPass2->SetTextures(GLProgDotPass2::SAMPLER_TEX_DOT_MASK, m_pMasks[m_nMask].get());
  return true;
}

bool GEShaderDot::SetParam(unsigned set, int p0, int, int, int) {
  if (RefuseUninited("SetParam")) return false;
  if (set != 0) return true;
  const float H = static_cast<float>(m_uHeight);
  const float smallest = H / 68.f, largest = H / 30.f;
  const float step = (largest - smallest) / 100.f;
  m_fDotSize = smallest + p0 * step;
  m_nMask = p0 < 51 ? 1 : 2;
  if (m_fMidDotSize < 0) m_fMidDotSize = (largest + smallest) / 2;
  return true;
}

bool GEShaderDot::ProcFrame(unsigned a, unsigned b, int w, int h) {
  // The frame is reduced by the dot size, then enlarged with one mask tile
  // a dot; the crop uniform keeps pass 1 to the frame's valid columns.
  const float d = m_fDotSize;
  const float srcW = m_pSrcTexture ? static_cast<float>(m_pSrcTexture->GetWidth()) : 1.f;
  const float srcH = m_pSrcTexture ? static_cast<float>(m_pSrcTexture->GetHeight()) : 1.f;
  for (int i = 0; i < 4; ++i) {
    const float s = kQuadTexCoords[2 * i], t = kQuadTexCoords[2 * i + 1];
    m_fPass1[2 * i] = s * d;
    m_fPass1[2 * i + 1] = t * d;
    m_fPass2[2 * i] = s / d;
    m_fPass2[2 * i + 1] = t / d;
    m_fMaskCoord[2 * i] = s * srcW / d;
    m_fMaskCoord[2 * i + 1] = t * srcH / d;
  }
  return RunPreview("ProcFrame", a, b, w, h);
}

bool GEShaderDot::ProcBlock(unsigned, unsigned, int, int) {
  return DrawDots(m_fPass1, static_cast<int>(m_pSizeDown->GetWidth()),
                  static_cast<int>(m_pSizeDown->GetHeight()), m_fCrop);
}

bool GEShaderDot::DrawDots(const float* pass1, int sizeDownW, int sizeDownH, const float* crop) {
  // Pass 2 reads the size-down texture only as far as its coordinates reach
  // (a preview's reduced picture fills its lower-left 1/d): pass 1 draws that
  // much, two texels more for rounding.
  float reachS = 0, reachT = 0;
  for (int i = 0; i < 4; ++i) {
    reachS = std::max(reachS, m_fPass2[2 * i]);
    reachT = std::max(reachT, m_fPass2[2 * i + 1]);
  }
  auto extent = [](float reach, unsigned texels, int viewport) {
    const double n = std::ceil(static_cast<double>(reach) * texels) + 2;
    return std::isfinite(n) && n < viewport ? std::max(1, static_cast<int>(n)) : viewport;
  };
  const int drawn[2] = {extent(reachS, m_pSizeDown->GetWidth(), sizeDownW),
                        extent(reachT, m_pSizeDown->GetHeight(), sizeDownH)};
  if (!pe::DrawPass(
          m_pSizeDownFbo.get(), sizeDownW, sizeDownH, m_pPass1.get(), pass1,
          [this, crop] {
            m_pPass1->Uniform4f(GLProgDotPass1::UNIFORM_CROP, crop[0], crop[1], crop[2], crop[3]);
          },
          drawn))
    return false;
  m_pPass2->SetTextures(GLProgDotPass2::SAMPLER_TEX_DOT_MASK, m_pMasks[m_nMask].get());
  return DrawAndConvert(m_pPass2.get(), m_fPass2, [this] {
    m_pPass2->VertexAttribPointer(GLProgDotPass2::ATTRIB_MASK_TEX_COORD, 2, m_fMaskCoord);
  });
}

bool GEShaderDot::ProcFrame(unsigned char*, unsigned char*, int, int) {
  TRACE("ProcFrame");
  LOGE("[%s] Deprecated function for processing snapshot of Dot effect", "ProcFrame");
  return false;
}

bool GEShaderDot::PrepareCapture(const pe::DotGridWalk& walk) {
  const unsigned n = walk.BufferSize();
  const int limit = pe::platform::MaxTextureSize();
  if (limit <= 0 || n > static_cast<unsigned>(limit)) {
    LOGE("[%s] dots of %.1f pixels need a %ux%u buffer, beyond the largest texture %d", "ProcFrame",
         walk.Dot(), n, n, limit);
    return false;
  }
  m_pPrivSrc.reset(new GLTexture());
  if (!m_pPrivSrc->Init(GL_RGBA, GL_UNSIGNED_BYTE, n, n, 1)) {
    LOGE("[%s] can't init m_pSrcTexture", "ProcFrame");
    return false;
  }
  m_pPrivSrc->SetSampling(GL_CLAMP_TO_EDGE, GL_LINEAR);
  if (!MakeSizeDown(n, n)) return false;
  DeinitYUVConverter();
  if (!InitYUVConverter(static_cast<int>(n), static_cast<int>(n), static_cast<int>(n),
                        static_cast<int>(n))) {
    LOGE("[%s] can't make the %ux%u output converter", "ProcFrame", n, n);
    return false;
  }
  return LoadPasses(m_pPrivSrc.get(), true);
}

bool GEShaderDot::CaptureBlock(const pe::DotGridWalk& walk, const pe::DotBlock& b,
                               unsigned char* out, int W, int H) {
  const unsigned n = walk.BufferSize();
  GLTexture* priv = m_pPrivSrc.get();
  priv->clean_buffer();
  auto* data = static_cast<unsigned char*>(priv->m_pData);
  if (!m_pConverter->convertRect(data, static_cast<int>(n), static_cast<int>(n),
                                 static_cast<int>(b.fx), static_cast<int>(b.fy),
                                 static_cast<int>(b.fw), static_cast<int>(b.fh)))
    LOGE("[%s] convertRect failed for block %u,%u %ux%u", "ProcFrame", b.fx, b.fy, b.fw, b.fh);
  // Pass 1 reads each dot's colour at the dot's centre in the still, so a
  // dot cut by a block edge has one colour on both sides; pass 2 and the
  // mask run on the still's own grid.
  const double s = walk.Dot(), fn = n;
  // The mask repeats every cell: whole cells taken off its coordinates keep
  // them small, where floats keep more of the position.
  const double wholeX = std::floor(b.x / s), wholeY = std::floor(b.y / s);
  float pass1[8];
  for (int i = 0; i < 4; ++i) {
    const double u = kQuadTexCoords[2 * i], v = kQuadTexCoords[2 * i + 1];
    pass1[2 * i] = static_cast<float>(((b.cellX + u * b.cellsW) * s - b.fx) / fn);
    pass1[2 * i + 1] = static_cast<float>(((b.cellY + v * b.cellsH) * s - b.fy) / fn);
    const double gx = (b.x + u * b.w) / s, gy = (b.y + v * b.h) / s;
    m_fPass2[2 * i] = static_cast<float>((gx - b.cellX) / fn);
    m_fPass2[2 * i + 1] = static_cast<float>((gy - b.cellY) / fn);
    m_fMaskCoord[2 * i] = static_cast<float>(gx - wholeX);
    m_fMaskCoord[2 * i + 1] = static_cast<float>(gy - wholeY);
  }
  m_uWidth = b.w;
  m_uHeight = b.h;
  static const float kWhole[4] = {0.f, 0.f, 1.f, 1.f};
  return DrawDots(pass1, static_cast<int>(b.cellsW), static_cast<int>(b.cellsH), kWhole) &&
         BlockCopyYUV(out, out + static_cast<size_t>(W) * H, W, H, static_cast<int>(b.x),
                      static_cast<int>(b.y), static_cast<int>(b.w), static_cast<int>(b.h));
}

bool GEShaderDot::ProcFrame(unsigned char*, unsigned char*, unsigned char* out, int W, int H) {
  TRACE("ProcFrame");
  if (!CheckCapture("ProcFrame", out, W, H) || m_uHeight == 0) return false;
  // The dots keep their size relative to the picture's height.
  const double s = static_cast<double>(H) / m_uHeight * m_fDotSize;
  const pe::DotGridWalk walk(static_cast<unsigned>(W), static_cast<unsigned>(H), s);
  GLTexture* const frame = m_pSrcTexture;
  const unsigned w = m_uWidth, h = m_uHeight;
  bool ok = PrepareCapture(walk);
  if (ok) {
    // Blocks are converted at the private buffer's size.
    m_pSrcTexture = m_pPrivSrc.get();
    m_nOverlapX = m_nOverlapY = 0;
    for (unsigned run = 0; ok && run < walk.MaxRuns(); ++run) {
      const pe::DotBlock b = walk.Place(run);
      if (!b.Empty()) ok = CaptureBlock(walk, b, out, W, H);
    }
  }
  m_pSrcTexture = frame;
  m_uWidth = w;
  m_uHeight = h;
  DeinitYUVConverter();
  m_pSizeDownFbo.reset(nullptr);
  m_pSizeDown.reset(nullptr);
  m_pPrivSrc.reset(nullptr);
  return ok;
}
