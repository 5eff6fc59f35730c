#include "GEBlurPasses.h"

#include <pe/Log.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string>

#include "BlockWalk.h"
#include "EffectShaders.h"
#include "GLFbo.h"
#include "GLTexture.h"

namespace pe {
namespace blur {

const float* GaussianRow(int row) {
  static const auto kTable = [] {
    std::array<std::array<float, kTaps>, 14> t{};
    for (int k = 1; k <= 14; ++k) {
      const double sigma = 0.2 * (k + 1);
      double w[kTaps], sum = 0;
      for (int i = -7; i <= 7; ++i) sum += w[i + 7] = std::exp(-i * i / (2 * sigma * sigma));
      for (int i = 0; i < kTaps; ++i)
        t[k - 1][i] = static_cast<float>(std::round(w[i] / sum * 1e6) / 1e6);
    }
    return t;
  }();
  return kTable[row >= 1 && row <= 14 ? row - 1 : 0].data();
}

int StrengthRow(int p0) {
  const int row = p0 / 7;
  return row >= 2 && row <= 14 ? row : 1;
}

float StrengthMix(int p0) { return p0 < 75 ? static_cast<float>(p0 / 75.0) : 1.f; }

const float kSketchKernel[kTaps] = {0.008847f, 0.018216f, 0.033562f, 0.055335f, 0.081638f,
                                    0.107778f, 0.127325f, 0.134598f, 0.127325f, 0.107778f,
                                    0.081638f, 0.055335f, 0.033562f, 0.018216f, 0.008847f};

Taps PassTaps(const float* kernel, const float* shifts, int axis) {
  Taps t;
  auto add = [&](float weight, float shift) {
    if (weight == 0.f) return;
    t.weight[t.count] = weight;
    t.shift[2 * t.count + axis] = shift;
    ++t.count;
  };
  add(kernel[5], 0.f);
  for (int i = 0; i < kShifts; ++i) add(kernel[i < 5 ? i : i + 1], shifts[2 * i + axis]);
  return t;
}

}  // namespace blur
}  // namespace pe

namespace {

const GLProgram::Location kBlurUniforms[] = {
    {GLProgram::kUniform, GLProgBlurPass::UNIFORM_GAUSSIAN_KERNEL, "u_fGaussian",
     "m_pnUniLoc[UNIFORM_GAUSSIAN_KERNEL]"},
    {GLProgram::kUniform, GLProgBlurPass::UNIFORM_PIXEL_SHIFT, "u_fPixelShift",
     "m_pnUniLoc[UNIFORM_PIXEL_SHIFT]"},
};
// The blur reads the raw YUV source: its locations without the matrix.
const GLProgDesc kBlur = {kShader_blur_vert,
                          kShader_blur_frag,
                          nullptr,
                          kSourceLocations,
                          3,
                          kBlurUniforms,
                          2,
                          kBlurUniforms,
                          2};

// Tap offsets in the order the blur shader pairs them with the weights.
const int kTapOrder[pe::blur::kShifts] = {-5, -4, -3, -2, -1, 1, 2, 3, 4, 5, -6, -7, 6, 7};

void Corners(float* c, float s0, float t0, float s1, float t1) {
  const float v[8] = {s0, t1, s0, t0, s1, t0, s1, t1};
  std::memcpy(c, v, sizeof(v));
}

}  // namespace

const GLProgram::Location GLProgBlurMix::kLocations[5] = {
    {GLProgram::kVertexCoord, 0, "a_vertexCoord", "m_nVerCoordLoc"},
    {GLProgram::kTexCoord, 0, "a_textureCoord", "m_nTexCoordLoc"},
    {GLProgram::kAttrib, GLProgBlurMix::ATTRIB_BLUR_TEX_COORD, "a_blurTexCoord", "a_blurTexCoord"},
    {GLProgram::kSampler, GLProgBlurMix::SAMPLER_BLUR_TEX, "s_texBlur",
     "m_nSamplerLoc[SAMPLER_BLUR_TEX]"},
    {GLProgram::kSampler, GLProgBlurMix::SAMPLER_CLEAR_TEX, "s_texClear",
     "m_nSamplerLoc[SAMPLER_CLEAR_TEX]"},
};

namespace {
const char* TapsDefine(int taps) {
  static const auto kDefines = [] {
    std::array<std::string, pe::blur::kTaps + 1> d;
    for (int n = 0; n <= pe::blur::kTaps; ++n) d[n] = "TAPS " + std::to_string(n);
    return d;
  }();
  return kDefines[std::clamp(taps, 1, pe::blur::kTaps)].c_str();
}
}  // namespace

GLProgBlurPass::GLProgBlurPass(int taps) : GLProgEffect(kBlur, false, TapsDefine(taps)) {}

void GEBlurShader::FewerTaps::Release() {
  for (auto& p : prog) p.reset();
}

GLProgBlurPass* GEBlurShader::ProgramFor(int taps, const char* func) {
  if (taps >= pe::blur::kTaps) return m_pBlurProg.get();
  std::unique_ptr<GLProgBlurPass>& p = m_fewerTaps.prog[std::max(taps, 1)];
  if (!p) {
    p.reset(new GLProgBlurPass(taps));
    if (!p->Load()) {
      // Tried again next time: a block drawn otherwise would not be the
      // same picture.
      p.reset();
      LogError("[%s] can't load program Blur", func);
      return nullptr;
    }
  }
  return p.get();
}

pe::blur::Taps GEBlurShader::PassTaps(int axis) const {
  return pe::blur::PassTaps(m_pKernel ? m_pKernel : pe::blur::GaussianRow(14),
                            m_fPixelShift + 2 * pe::blur::kShifts * axis, axis);
}

GEBlurShader::GEBlurShader(pe::LogModule* log, CaptureWalk walk) : GEShader(log), m_eWalk(walk) {}

void GEBlurShader::OnCapture(int, int) {}

bool GEBlurShader::ProcFrame(unsigned char*, unsigned char* dst, int width, int height) {
  OnCapture(width, height);
  return m_eWalk == kApronWalk ? RunApronCapture("ProcFrame", dst, width, height)
                               : RunOverlapCapture("ProcFrame", dst, width, height);
}

bool GEBlurShader::ProcFrame(unsigned a, unsigned b, int w, int h) {
  if (RefuseUninited("ProcFrame")) return false;
  return ProcBlock(a, b, w, h);
}

void GEBlurShader::SetupPixelStep(float stepX, float stepY) {
  PE_LOG(Log(), pe::kLogInfo, "[%s] pixel step X=%.6f Y=%.6f", "SetupPixelStep", stepX, stepY);
  float* across = m_fPixelShift;
  float* down = m_fPixelShift + 2 * pe::blur::kShifts;
  for (int i = 0; i < pe::blur::kShifts; ++i) {
    across[2 * i] = kTapOrder[i] * stepX;
    across[2 * i + 1] = 0.f;
    down[2 * i] = 0.f;
    down[2 * i + 1] = kTapOrder[i] * stepY;
  }
}

bool GEBlurShader::SetCrop(float x, float y, float width, float height) {
  GEShader::SetCrop(x, y, width, height);
  if (m_bCropScalesStep && m_pSrcTexture)
    SetupPixelStep(m_fCrop[2] / static_cast<float>(m_pSrcTexture->GetWidth()),
                   m_fCrop[3] / static_cast<float>(m_pSrcTexture->GetHeight()));
  return true;
}

void GEBlurShader::SetStrength(int p0) {
  const int row = pe::blur::StrengthRow(p0);
  m_pKernel = pe::blur::GaussianRow(row);
  m_fMixWeight = pe::blur::StrengthMix(p0);
  PE_LOG(Log(), pe::kLogInfo, "[%s] %d\n", "SetParam", row);
}

bool GEBlurShader::MeasureDrag(int p0, int p1, int p2, int p3, float minimum, float centre[2],
                               float* radius) const {
  const float W = static_cast<float>(m_uWidth), H = static_cast<float>(m_uHeight);
  if (!(W > 0 && H > 0)) return false;
  centre[0] = p0 / W;
  centre[1] = p1 / H;
  const float dx = std::fabs((p2 - p0) / W), dy = std::fabs((p3 - p1) / H);
  float r = static_cast<float>(std::sqrt(static_cast<double>(dx * dx + dy * dy)));
  if (r < minimum) r = minimum;
  *radius = r * (1.f - (1.f - W / H) * (dx / r));
  return true;
}

bool GEBlurShader::MakePassTarget(GEOwned<GLTexture>& tex, GEOwned<GLFbo>& fbo, const char* texLine,
                                  const char* fboLine) {
  PE_LOG(Log(), pe::kLogInfo, texLine, "Init");
  tex.reset(new GLTexture());
  if (!tex->Init(GL_RGBA, GL_UNSIGNED_BYTE, m_uBlurW, m_uBlurH, 0)) return false;
  tex->SetSampling(GL_CLAMP_TO_EDGE, GL_LINEAR);
  PE_LOG(Log(), pe::kLogInfo, fboLine, "Init");
  fbo.reset(new GLFbo());
  return fbo->Init() && fbo->SetColorAttachment(tex.get());
}

bool GEBlurShader::InitPasses(unsigned blurW, unsigned blurH, GLProgBlurPass* blur,
                              GLProgBlurMix* mix, const char* mixLine) {
  m_uBlurW = blurW;
  m_uBlurH = blurH;
  if (!m_pSrcTexture || !blurW || !blurH) {
    delete blur;
    delete mix;
    return false;
  }
  m_pSrcTexture->SetSampling(GL_CLAMP_TO_EDGE, GL_LINEAR);
  // The mix reads the sharp picture at each pixel's own texel.
  m_sourceReads = kReadsOwnTexel;
  if (!MakePassTarget(m_pTexH, m_pFboH, "[%s] Creating tex for fbo pass KOp H",
                      "[%s] Creating fbo pass KOp H") ||
      !MakePassTarget(m_pTexV, m_pFboV, "[%s] Creating tex for fbo pass KOp V",
                      "[%s] Creating fbo pass KOp V")) {
    delete blur;
    delete mix;
    return false;
  }
  PE_LOG(Log(), pe::kLogInfo, "[%s] Creating prog Blur", "Init");
  if (!LoadProgram(m_pBlurProg, blur, "[%s] can't load program Blur", false)) {
    delete mix;
    return false;
  }
  m_pBlurProg->SetTextures(0, m_pSrcTexture);
  PE_LOG(Log(), pe::kLogInfo, mixLine, "Init");
  if (!LoadProgram(m_pMixProg, mix, "[%s] can't load program size-up")) return false;
  m_pMixProg->SetTextures(GLProgBlurMix::SAMPLER_BLUR_TEX, m_pTexV.get());
  m_pMixProg->SetTextures(GLProgBlurMix::SAMPLER_CLEAR_TEX, m_pSrcTexture);
  SetupPixelStep(1.f / static_cast<float>(m_pSrcTexture->GetWidth()),
                 1.f / static_cast<float>(m_pSrcTexture->GetHeight()));
  PartialTexCoords(m_pSrcTexture->GetAllocWidth(), "Init");
  std::memcpy(m_fPassCoord, m_fTexCoord, sizeof(m_fPassCoord));
  std::memcpy(m_fBlurCoord, kQuadTexCoords, sizeof(m_fBlurCoord));
  // The preview's passes at full strength are ready before the first frame.
  return ProgramFor(PassTaps(0).count, "Init") && ProgramFor(PassTaps(1).count, "Init");
}

bool GEBlurShader::RunBlurPasses() {
  // At no strength the mix takes none of the blur.
  if (m_fMixWeight == 0.f) return true;
  struct Pass {
    GLFbo* target;
    GLTexture* input;
    const float* coords;
  } passes[2] = {{m_pFboH.get(), m_pSrcTexture, m_fPassCoord},
                 {m_pFboV.get(), m_pTexH.get(), kQuadTexCoords}};
  const int whole[4] = {0, 0, static_cast<int>(m_uBlurW), static_cast<int>(m_uBlurH)};
  float blurCoord[8];
  MixBlurCoord(blurCoord);
  const pe::BlurRects rects = pe::BlurRectsFor(
      m_pMixProg->IsLarge() ? m_fGlobalCoord : m_fTexCoord, blurCoord, m_uBlurW, m_uBlurH,
      DownReach(), m_bWindowed ? m_windows.across : whole, m_bWindowed ? m_windows.down : whole,
      [this](float y0, float y1, float* x0, float* x1) { return SharpSpan(y0, y1, x0, x1); });
  const std::vector<pe::PassRect>* passRects[2] = {&rects.across, &rects.down};

  const pe::blur::Taps taps[2] = {PassTaps(0), PassTaps(1)};
  GLProgBlurPass* progs[2] = {ProgramFor(taps[0].count, "ProcBlock"),
                              ProgramFor(taps[1].count, "ProcBlock")};
  if (!progs[0] || !progs[1]) return false;
  glEnable(GL_SCISSOR_TEST);
  for (int i = 0; i < 2; ++i) {
    const Pass& p = passes[i];
    GLProgBlurPass* prog = progs[i];
    p.target->Bind();
    glViewport(static_cast<GLint>(m_uX), static_cast<GLint>(m_uY), static_cast<GLsizei>(m_uBlurW),
               static_cast<GLsizei>(m_uBlurH));
    prog->SetTextures(0, p.input);
    prog->Use();
    prog->Uniform1fv(GLProgBlurPass::UNIFORM_GAUSSIAN_KERNEL, taps[i].count, taps[i].weight);
    prog->Uniform2fv(GLProgBlurPass::UNIFORM_PIXEL_SHIFT, taps[i].count, taps[i].shift);
    prog->SetVertexCoord(4, kQuadVertices);
    prog->SetTextureCoord(2, p.coords);
    // The same quad through each rectangle: every texel drawn is the one a
    // single draw would make.
    for (const pe::PassRect& r : *passRects[i]) {
      glScissor(static_cast<GLint>(m_uX) + r.x, static_cast<GLint>(m_uY) + r.y, r.w, r.h);
      prog->Draw();
    }
  }
  glDisable(GL_SCISSOR_TEST);
  return true;
}

bool GEBlurShader::SharpSpan(float, float, float*, float*) const { return false; }

bool GEBlurShader::ZeroWeightUpTo(const float edges[2], double* distance) {
  if (!(edges[0] < edges[1])) return false;
  *distance = edges[0] * (1 - 1e-4) - 1e-7;
  return true;
}

void GEBlurShader::MixBlurCoord(float out[8]) const {
  std::memcpy(out, m_fBlurCoord, sizeof(m_fBlurCoord));
}

float GEBlurShader::DownReach() const {
  float reach = 0;
  const float* down = m_fPixelShift + 2 * pe::blur::kShifts;
  for (int i = 0; i < pe::blur::kShifts; ++i) reach = std::max(reach, std::fabs(down[2 * i + 1]));
  return reach * static_cast<float>(m_uBlurH);
}

bool GEBlurShader::DrawMix(const float* texCoords, const std::function<void()>& setUniforms) {
  GLProgBlurMix* mix = m_pMixProg.get();
  return DrawAndConvert(mix, texCoords, [&] {
    mix->VertexAttribPointer(GLProgBlurMix::ATTRIB_BLUR_TEX_COORD, 2, m_fBlurCoord);
    if (mix->IsLarge())
      mix->VertexAttribPointer(GLProgBlurMix::ATTRIB_GLOBAL_TEX_COORD, 2, m_fGlobalCoord);
    setUniforms();
  });
}

bool GEBlurShader::RenderWindowed(const char* func, unsigned char* dst, int W, int H, unsigned sx,
                                  unsigned sy, unsigned sw, unsigned sh) {
  m_windows = pe::BlurWindowsFor(m_fBlurCoord, m_uBlurW, m_uBlurH, DownReach());
  m_bWindowed = true;
  const bool rendered = RenderBlock(func, dst, W, H, sx, sy, sw, sh);
  m_bWindowed = false;
  return rendered;
}

bool GEBlurShader::RunApronCapture(const char* func, unsigned char* dst, int W, int H) {
  if (!CheckCapture(func, dst, W, H)) return false;
  PE_LOG(Log(), pe::kLogInfo, "[%s] enter", func);
  const unsigned texW = m_pSrcTexture->GetWidth(), texH = m_pSrcTexture->GetHeight();
  const unsigned allocW = m_pSrcTexture->GetAllocWidth();
  pe::ApronBlockWalk walk(W, H, texW, texH, allocW, m_fCrop);
  if (!walk.Valid()) {
    PE_LOG(Log(), pe::kLogError, "[%s] %ux%u leaves no block inside the apron", func, texW, texH);
    return false;
  }
  PE_LOG(Log(), pe::kLogInfo, "[%s] capture, pixel step X=%.6f Y=%.6f", func, walk.StepX(),
         walk.StepY());
  m_nOverlapX = m_nOverlapY = 0;
  const float fw = static_cast<float>(allocW), fh = static_cast<float>(texH);
  for (unsigned run = 0; run < walk.MaxRuns(); ++run) {
    const pe::ApronBlock b = walk.Place(run);
    if (!b.fw || !b.fh) continue;
    SetBlock(b.bx, b.by, b.bw, b.bh);
    // The blur covers the whole fetched rectangle, apron included, so that
    // both directions see past the block's edges; the mix reads the block.
    Corners(m_fPassCoord, 0, 0, b.fw / fw, b.fh / fh);
    Corners(m_fTexCoord, b.left / fw, b.top / fh, (b.left + b.coreW) / fw, (b.top + b.coreH) / fh);
    Corners(m_fBlurCoord, static_cast<float>(b.left) / b.fw, static_cast<float>(b.top) / b.fh,
            static_cast<float>(b.left + b.coreW) / b.fw,
            static_cast<float>(b.top + b.coreH) / b.fh);
    Corners(m_fGlobalCoord, static_cast<float>(b.bx) / W, static_cast<float>(b.by) / H,
            static_cast<float>(b.bx + b.bw) / W, static_cast<float>(b.by + b.bh) / H);
    // The vertical pass steps through the blurred rectangle, so its step is
    // rescaled to stay the same share of the picture in every block.
    SetupPixelStep(walk.StepX(), walk.StepY() * texH / b.fh);
    if (!RenderWindowed(func, dst, W, H, b.x0, b.y0, b.fw, b.fh)) return false;
  }
  m_uWidth = texW;
  m_uHeight = texH;
  PE_LOG(Log(), pe::kLogInfo, "[%s] leave", func);
  return true;
}

bool GEBlurShader::RunOverlapCapture(const char* func, unsigned char* dst, int W, int H) {
  if (!CheckCapture(func, dst, W, H)) return false;
  const unsigned procW = m_pSrcTexture->GetWidth(), procH = m_pSrcTexture->GetHeight();
  const unsigned allocW = m_pSrcTexture->GetAllocWidth();
  pe::OverlapBlockWalk walk(W, H, procW, procH, allocW);
  if (!walk.Valid()) {
    PE_LOG(Log(), pe::kLogError, "[%s] overlap %dx%d leaves no block of %ux%u", func,
           walk.OverlapX(), walk.OverlapY(), procW, procH);
    return false;
  }
  PE_LOG(Log(), pe::kLogInfo, "[%s] capture, pixel step X=%.6f Y=%.6f", func, walk.StepX(),
         walk.StepY());
  SetupPixelStep(walk.StepX(), walk.StepY());
  m_nOverlapX = walk.OverlapX();
  m_nOverlapY = walk.OverlapY();
  m_uRun = 0;
  m_uMaxRun = walk.MaxRuns();
  PE_LOG(Log(), pe::kLogInfo,
         "[%s] nImgWidth=%d, nImgHeight=%d, fProcW=%f, fProcH=%f, nHalfOvX=%d nHalfOvY=%d, max "
         "run = %d",
         func, W, H, static_cast<double>(procW), static_cast<double>(procH), walk.HalfOverlapX(),
         walk.HalfOverlapY(), m_uMaxRun);
  for (; m_uRun < m_uMaxRun; ++m_uRun) {
    PE_LOG(Log(), pe::kLogInfo,
           ">> run %d ===================================================", m_uRun);
    const pe::BlockRect b = walk.Place();
    SetBlock(b.x, b.y, b.w, b.h);
    Corners(m_fTexCoord, 0, 0, b.s1, b.t1);
    std::memcpy(m_fBlurCoord, m_fTexCoord, sizeof(m_fBlurCoord));
    PE_LOG(Log(), pe::kLogInfo, "[%s] m_uStartX=%d, m_uStartY=%d, m_uRgnW=%d, m_uRgnH=%d", func,
           m_uStartX, m_uStartY, m_uRgnW, m_uRgnH);
    if (!RenderWindowed(func, dst, W, H, b.x, b.y, b.w, b.h)) return false;
    walk.Advance();
  }
  m_uMaxRun = 0;
  m_uWidth = procW;
  m_uHeight = procH;
  PE_LOG(Log(), pe::kLogInfo, "[%s] leave", func);
  return true;
}
