#include "GERampLook.h"

#include <pe/Log.h>
#include <posteffect/Globals.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "CurveTable.h"
#include "DrawPass.h"
#include "EffectShaders.h"
#include "GLFbo.h"
#include "GLTexture.h"

PE_LOG_MODULE("GLProgRampLook");

namespace {

using L = GLProgram::Location;
using P = GLProgRampLook;

constexpr L kVertex = {GLProgram::kVertexCoord, 0, "g_vVertex", "m_nVerCoordLoc"};
constexpr L kTexCoord = {GLProgram::kTexCoord, 0, "a_textureCoord", "m_nTexCoordLoc"};
constexpr L kImage = {GLProgram::kSampler, GLProgram::SAMPLER_INPUT_TEX, "g_sImageTexture",
                      "m_nSamplerLoc[SAMPLER_INPUT_TEX]"};
constexpr L kContrast = {GLProgram::kSampler, P::SAMPLER_TEX_CONTRAST, "g_sContrastTexture",
                         "m_nSamplerLoc[SAMPLER_TEX_CONTRAST]"};
constexpr L kClip = {GLProgram::kUniform, P::UNIFORM_CLIP, "g_fvClipping",
                     "m_pnUniLoc[UNIFORM_CLIP]"};
constexpr L kControl = {GLProgram::kUniform, P::UNIFORM_CONTROL, "g_fvController",
                        "m_pnUniLoc[UNIFORM_CONTROL]"};
constexpr L kMatrix = {GLProgram::kSampler, GLProgram::SAMPLER_MAT_YUV2RGB, "u_mat_yuv2rgb",
                       "m_nSamplerLoc[SAMPLER_MAT_YUV2RGB]"};
constexpr L kMask = {GLProgram::kSampler, P::SAMPLER_TEX_MASK, "g_sMaskTexture",
                     "m_nSamplerLoc[SAMPLER_TEX_MASK]"};

const L kStylizeLocs[] = {
    kVertex,
    kTexCoord,
    kImage,
    {GLProgram::kSampler, P::SAMPLER_TEX_LUT, "g_sLUTTexture", "m_nSamplerLoc[SAMPLER_TEX_LUT]"},
    kContrast,
    kClip,
    kControl,
    {GLProgram::kUniform, P::UNIFORM_TINT, "g_fvTintColor", "m_pnUniLoc[UNIFORM_TINT]"},
    kMatrix,
};
const L kMaskLocs[] = {kVertex, kTexCoord, kImage, kMask, kContrast, kClip, kControl, kMatrix};
const L kTonePairLocs[] = {
    kVertex,
    kTexCoord,
    kImage,
    kMask,
    kContrast,
    kClip,
    kControl,
    {GLProgram::kUniform, P::UNIFORM_SPLIT, "g_fvSplitTones", "m_pnUniLoc[UNIFORM_SPLIT]"},
    kMatrix,
};
const L kCropLoc[] = {
    {GLProgram::kUniform, P::UNIFORM_CROP, "u_crop", "m_nUniformLoc[UNIFORM_CROP]"},
};
const L kGlobalLoc[] = {
    {GLProgram::kAttrib, P::ATTRIB_GLOBAL_TEX_COORD, "a_globalTexCoord", "ATTRIB_GLOBAL_TEX_COORD"},
};

const L kComposerLocs[] = {
    kVertex,
    kTexCoord,
    {GLProgram::kSampler, GLProgram::SAMPLER_INPUT_TEX, "g_sLevels",
     "m_nSamplerLoc[SAMPLER_INPUT_TEX]"},
    kContrast,
    kClip,
    kControl,
};

template <size_t C>
constexpr GLProgDesc Desc(const char* fs, const L (&common)[C], const L* preview = nullptr,
                          size_t previewCount = 0, const char* prelude = kShader_ramp_glsl) {
  return GLProgDesc{kShader_ramp_vert, fs,           prelude,    common, C,
                    preview,           previewCount, kGlobalLoc, 1};
}

// The stylize looks read their colour ramp through a curve table.
const std::string kStylizePrelude = std::string(kShader_ramp_glsl) + kShader_curve_table_glsl;
const GLProgDesc kStylize =
    Desc(kShader_stylize_frag, kStylizeLocs, nullptr, 0, kStylizePrelude.c_str());
const GLProgDesc kTwoTone = Desc(kShader_twotone_frag, kMaskLocs);
const GLProgDesc kTonePair = Desc(kShader_splittone_frag, kTonePairLocs, kCropLoc, 1);
const GLProgDesc kToneTilt = Desc(kShader_splittone_frag, kMaskLocs);
const GLProgDesc kComposer = Desc(kShader_ramp_table_frag, kComposerLocs);

// The program that draws the per-level table; the tone pair's also draws
// the weight.
class GLProgRampTable : public GLProgEffect {
 public:
  explicit GLProgRampTable(const char* variant) : GLProgEffect(kComposer, false, variant) {}
};

// "m_nSamplerLoc[SAMPLER_TEX_LUT]" -> "SAMPLER_TEX_LUT", the name logged.
std::string SlotName(const char* what) {
  const char* open = std::strchr(what, '[');
  const char* close = open ? std::strchr(open, ']') : nullptr;
  return close ? std::string(open + 1, close) : std::string(what);
}

}  // namespace

GLProgRampLook::GLProgRampLook(const GLProgDesc& desc, const char* variant, bool large)
    : GLProgEffect(desc, large, variant), m_rampDesc(desc) {}

unsigned GLProgRampLook::Load() {
  if (!GLProgEffect::Load()) return 0;
  for (size_t i = 0; i < m_rampDesc.commonCount; ++i) {
    const Location& l = m_rampDesc.common[i];
    if (l.kind == kSampler && l.index != SAMPLER_MAT_YUV2RGB)
      LOGI("[%s] %s %d", "Load", SlotName(l.what).c_str(), m_nSamplerLoc[l.index]);
    else if (l.kind == kUniform)
      LOGI("[%s] %s %d", "Load", SlotName(l.what).c_str(), m_nUniformLoc[l.index]);
  }
  return 1;
}

GLProgStylizeNash::GLProgStylizeNash() : GLProgRampLook(kStylize, nullptr, false) {}
GLProgStylizeMaple::GLProgStylizeMaple() : GLProgRampLook(kStylize, nullptr, false) {}
GLProgTwoToneMaskV::GLProgTwoToneMaskV(bool large) : GLProgRampLook(kTwoTone, nullptr, large) {}
GLProgTwoToneMaskH::GLProgTwoToneMaskH(bool large)
    : GLProgRampLook(kTwoTone, "MASK_TRANSPOSED", large) {}
GLProgSplitToningCM::GLProgSplitToningCM(bool large)
    : GLProgRampLook(kTonePair, "TONE_PAIR", large) {}
GLProgSplitToningSC::GLProgSplitToningSC(bool large) : GLProgRampLook(kToneTilt, nullptr, large) {}

namespace {

pe::LogModule s_mapleLog("GEShaderStylizeMaple");
pe::LogModule s_nashLog("GEShaderStylizeNash");
pe::LogModule s_twoToneVLog("GEShaderTwoToneMaskV");
pe::LogModule s_twoToneHLog("GEShaderTwoToneMaskH");
pe::LogModule s_toneCMLog("GEShaderSplitToning");
pe::LogModule s_toneSCLog("GEShaderSplitToningSC");

template <class Preview, class Large>
GLProgRampLook* Make(bool capture) {
  return capture ? static_cast<GLProgRampLook*>(new Large()) : new Preview();
}

constexpr char kContrastFile[] = "stylizeContrastRamp.bmp";
constexpr char kColourRamp[] = "stylizeColorRamp.bmp";
constexpr char kWideMask[] = "mask_vignette_wide.bmp";
// Both stylize looks log the Nash texts, and H logs V's: kept as they are.
constexpr char kStylizeLine[] = "[%s] Creating stylizeNash shader";
constexpr char kStylizeLargeLine[] = "[%s] Creating stylizeNash large shader";
constexpr char kTwoToneLine[] = "[%s] Creating TwoToneMaskV shader";
constexpr char kTwoToneLargeLine[] = "[%s] Creating TwoToneMaskV large shader";
constexpr char kToneLine[] = "[%s] Creating SplitToning shader";
constexpr char kToneLargeLine[] = "[%s] Creating SplitToning large shader";

const RampLookDesc kMaple = {
    "GEShaderStylizeMaple",
    &s_mapleLog,
    kStylizeLine,
    kStylizeLargeLine,
    Make<GLProgStylizeMaple, GLProgStylizeMaple>,
    kColourRamp,
    GL_RGB,
    "[%s] \t\tcan't load LUT tex",
    {0.f, 0.859f, 0.0976f, 1.f},
    {0.6f, 0.5f, 0.5f, 0.f},
    {1.f, 1.f, 1.f, 0.f},
    kRampTint | kRampTraced | kRampRowTable,
};
const RampLookDesc kNash = {
    "GEShaderStylizeNash",
    &s_nashLog,
    kStylizeLine,
    kStylizeLargeLine,
    Make<GLProgStylizeNash, GLProgStylizeNash>,
    kColourRamp,
    GL_RGB,
    "[%s] \t\tcan't load LUT tex",
    {0.f, 1.f, 0.117f, 1.f},
    {0.6f, 0.6f, 0.9f, 0.f},
    {0.973f, 0.871f, 0.75f, 0.f},
    kRampTint | kRampCropWalk | kRampCropCoords | kRampRowTable,
};
const RampLookDesc kTwoToneV = {
    "GEShaderTwoToneMaskV",
    &s_twoToneVLog,
    kTwoToneLine,
    kTwoToneLargeLine,
    Make<GLProgTwoToneMaskV, GLProgTwoToneMaskVLarge>,
    "twoToneMaskV.bmp",
    GL_RGB,
    "[%s] \t\tcan't load Mask tex",
    {0.f, 1.f, 0.f, 1.f},
    {0.7f, 0.6f, 0.f, -0.15f},
    {0.f, 0.f, 0.f, 0.f},
    kRampTraced,
};
const RampLookDesc kTwoToneH = {
    "GEShaderTwoToneMaskH",
    &s_twoToneHLog,
    kTwoToneLine,
    kTwoToneLargeLine,
    Make<GLProgTwoToneMaskH, GLProgTwoToneMaskHLarge>,
    "twoToneMaskH.bmp",
    GL_RGB,
    "[%s] \t\tcan't load Mask tex",
    {0.f, 1.f, 0.f, 1.f},
    {1.f, 0.8f, 0.f, -0.3f},
    {0.f, 0.f, 0.f, 0.f},
    kRampTraced,
};
const RampLookDesc kToneCM = {
    "GEShaderSplitToningCM",
    &s_toneCMLog,
    kToneLine,
    kToneLargeLine,
    Make<GLProgSplitToningCM, GLProgSplitToningCMLarge>,
    nullptr,
    GL_LUMINANCE,
    "[%s] can't load vignette tex",
    {0.f, 1.f, 0.f, 1.f},
    {0.8f, 0.7f, 0.6f, 1.f},
    {0.f, 0.f, 0.f, 0.f},
    kRampCropWalk | kRampTonePair,
};
const RampLookDesc kToneSC = {
    "GEShaderSplitToningSC",
    &s_toneSCLog,
    kToneLine,
    kToneLargeLine,
    Make<GLProgSplitToningSC, GLProgSplitToningSCLarge>,
    kWideMask,
    GL_LUMINANCE,
    "[%s] \t\tcan't load LUT tex",
    {0.f, 1.f, 0.f, 1.f},
    {0.6f, 0.8f, 0.4f, 1.f},
    {0.f, 0.f, 0.f, 0.f},
    kRampTraced,
};

// The tone pair moves from T4 (p0 0) to T0 (p0 99) in four segments of 25
// steps; a segment's fraction reaches 1 at its 24th step, so its last two
// positions agree with the next segment's first.
void SplitTonesAt(int p0, float tones[4]) {
  static const float kTones[5][4] = {
      {0.475f, 0.525f, 0.352f, 0.75f},  {0.412f, 0.577f, 0.3f, 0.607f},
      {0.354f, 0.656f, 0.5f, 0.35f},    {0.409f, 0.63f, 0.645f, 0.257f},
      {0.455f, 0.556f, 0.705f, 0.365f},
  };
  const int p = p0 == 100 ? 99 : p0;
  const int segment = p / 25 == 4 ? 3 : p / 25;
  const float f = static_cast<float>(p % 25) / 24.0f;
  const float* start = kTones[4 - segment];
  const float* end = kTones[3 - segment];
  for (int i = 0; i < 4; ++i) tones[i] = start[i] - f * (start[i] - end[i]);
}

// Masks are drawn for a 16:9 or 5:3 frame, or for everything else.
bool IsWide(unsigned w, unsigned h) {
  const float r = static_cast<float>(w) / static_cast<float>(h);
  return std::fabs(r - 1.7777778f) < 0.1f || std::fabs(r - 1.6666666f) < 0.1f;
}

}  // namespace

GEShaderStylizeMaple::GEShaderStylizeMaple() : GERampLook(kMaple) {}
GEShaderStylizeNash::GEShaderStylizeNash() : GERampLook(kNash) {}
GEShaderTwoToneMaskV::GEShaderTwoToneMaskV() : GERampLook(kTwoToneV) {}
GEShaderTwoToneMaskH::GEShaderTwoToneMaskH() : GERampLook(kTwoToneH) {}
GEShaderSplitToningCM::GEShaderSplitToningCM() : GERampLook(kToneCM) {}
GEShaderSplitToningSC::GEShaderSplitToningSC() : GERampLook(kToneSC) {}

GERampLook::GERampLook(const RampLookDesc& desc) : GEShader(desc.log), m_desc(desc) {}

bool GERampLook::Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w, unsigned h,
                      unsigned char captureMode, IYUVConverter* converter) {
  pe::ScopedTrace trace(Log(), "Init");
  if (!InitCommon(m_desc.className, src, dst, x, y, w, h, captureMode, converter, g_Disp_Width,
                  g_Disp_Height))
    return false;
  m_fStrength = 0.f;
  for (float& t : m_fSplitTones) t = 0.5f;
  PE_LOG(Log(), pe::kLogInfo, captureMode ? m_desc.createLargeLine : m_desc.createLine, "Init");
  if (!LoadProgram(m_pProgram, m_desc.makeProgram(captureMode != 0), "[%s] can't load program"))
    return false;
  const char* table = m_desc.table;
  if (!table) table = h && IsWide(w, h) ? kWideMask : "mask_vignette_legacy.bmp";
  if (!LoadAsset(m_pTable, table, m_desc.tableFormat, kSystemOnly, m_desc.tableFailLine))
    return false;
  if (Has(kRampRowTable)) {
    if (const char* failed = DrawRowTable()) {
      LogError(failed, "Init");
      return false;
    }
    // Its row is all the look reads of the ramp.
    m_pTable.reset(nullptr);
  }
  m_pProgram->SetTextures(1, m_pTable ? m_pTable.get() : m_pRowTable.get());
  if (!LoadAsset(m_pContrast, kContrastFile, GL_RGB, kSystemOnly,
                 "[%s] \t\tcan't load contrast tex"))
    return false;
  if (!ComposeRamp()) {
    LogError("[%s] \t\tcan't compose contrast tex", "Init");
    return false;
  }
  m_pProgram->SetTextures(2, m_pComposed.get());
  m_pProgram->SetTextures(0, src);
  if (Has(kRampTraced) && src && src->GetHeight()) {
    m_fRatio = static_cast<float>(src->GetWidth()) / static_cast<float>(src->GetHeight());
    PE_LOG(Log(), pe::kLogInfo, "[%s] screen ratio = %u/%u = %f", "Init", src->GetWidth(),
           src->GetHeight(), m_fRatio);
  }
  // The tone pair's shader crops with u_crop, which already excludes the
  // padded columns; the others scale their coordinates to the valid width.
  if (src) PartialTexCoords(Has(kRampTonePair) ? src->GetWidth() : src->GetAllocWidth(), "Init");
  m_sourceReads = Has(kRampTonePair) ? kReadsCroppedTexel : kReadsOwnTexel;
  return FinishInit();
}

void GERampLook::SetCurve(GLProgram* prog) const {
  const float* c = m_desc.clipping;
  const float* k = m_desc.controller;
  prog->Uniform4f(GLProgRampLook::UNIFORM_CLIP, c[0], c[1], c[2], c[3]);
  prog->Uniform4f(GLProgRampLook::UNIFORM_CONTROL, k[0], k[1], k[2], k[3]);
}

bool GERampLook::ComposeRamp() {
  constexpr unsigned kLevels = 256;
  unsigned char levels[kLevels];
  for (unsigned i = 0; i < kLevels; ++i) levels[i] = static_cast<unsigned char>(i);
  // Both are read at texel centres: nearest, so that each level is exact.
  std::unique_ptr<GLTexture> source(new GLTexture());
  if (!source->Init(GL_LUMINANCE, GL_UNSIGNED_BYTE, kLevels, 1, 0) ||
      !source->UpdateNormalTexture(levels, kLevels, 1) ||
      !source->SetSampling(GL_CLAMP_TO_EDGE, GL_NEAREST))
    return false;
  m_pComposed.reset(new GLTexture());
  if (!m_pComposed->Init(GL_RGBA, GL_UNSIGNED_BYTE, kLevels, 1, 0) ||
      !m_pComposed->SetSampling(GL_CLAMP_TO_EDGE, GL_NEAREST))
    return false;
  GLFbo fbo;
  if (!fbo.Init() || !fbo.SetColorAttachment(m_pComposed.get()) ||
      !LoadProgram<GLProgEffect>(m_pComposer,
                                 new GLProgRampTable(Has(kRampTonePair) ? "TONE_PAIR" : nullptr),
                                 "[%s] can't load ramp table program", false))
    return false;
  GLProgEffect* prog = m_pComposer.get();
  prog->SetTextures(GLProgram::SAMPLER_INPUT_TEX, source.get());
  prog->SetTextures(GLProgRampLook::SAMPLER_TEX_CONTRAST, m_pContrast.get());
  const bool drawn =
      pe::DrawPass(&fbo, kLevels, 1, prog, kQuadTexCoords, [this, prog] { SetCurve(prog); });
  // Drawn once: the program has no further use.
  m_pComposer.reset(nullptr);
  return drawn;
}

const char* GERampLook::DrawRowTable() {
  char row[32];
  std::snprintf(row, sizeof(row), "ROW %.9g", static_cast<double>(m_desc.controller[2]));
  return pe::DrawCurveTable(row, m_pTable.get(), &m_pRowTable);
}

bool GERampLook::SetParam(unsigned set, int p0, int, int, int) {
  if (RefuseUninited("SetParam")) return false;
  if (set != 0) return true;
  if (!Has(kRampTonePair)) {
    // Kept for the caller; the look itself is fixed.
    m_fStrength = (100 - p0) * 0.37f / 100.f + 0.03f;
    return true;
  }
  if (p0 < 0 || p0 > 100) {
    PE_LOG(Log(), pe::kLogError, "[%s] tone position %d outside 0..100, clamped", "SetParam", p0);
    p0 = p0 < 0 ? 0 : 100;
  }
  SplitTonesAt(p0, m_fSplitTones);
  return true;
}

bool GERampLook::ProcFrame(unsigned a, unsigned b, int w, int h) {
  if (Has(kRampCropCoords)) {
    const float* c = Crop();
    const float coords[8] = {c[0],        c[1] + c[3], c[0],        c[1],
                             c[0] + c[2], c[1],        c[0] + c[2], c[1] + c[3]};
    std::memcpy(m_fTexCoord, coords, sizeof(coords));
  }
  return RunPreview("ProcFrame", a, b, w, h);
}

bool GERampLook::ProcFrame(unsigned char*, unsigned char* dst, int width, int height) {
  pe::ScopedTrace trace(Log(), "ProcFrame");
  if (Has(kRampCropWalk)) return RunCropCapture("ProcFrame", dst, width, height);
  if (Has(kRampTraced) && height > 0)
    m_fRatio = static_cast<float>(width) / static_cast<float>(height);
  return RunCapture("ProcFrame", dst, width, height);
}

void GERampLook::OnBlock(unsigned x, unsigned y, unsigned w, unsigned h, float s1, float t1) {
  GEShader::OnBlock(x, y, w, h, s1, t1);
  if (!Has(kRampTraced)) return;
  PE_LOG(Log(), pe::kLogInfo,
         "[%s] m_uStartX=%u, m_uStartY=%u, m_uRgnW=%u, m_uRgnH=%u, nImgWidth=%.1f, "
         "nImgHeight=%.1f",
         "ProcFrame", x, y, w, h, static_cast<double>(m_nImgW), static_cast<double>(m_nImgH));
  const float* g = m_fGlobalCoord;
  PE_LOG(Log(), pe::kLogInfo, "[%s] [%.4f:%.4f] to [%.4f:%.4f]", "ProcFrame", g[2], g[3], g[6],
         g[7]);
}

bool GERampLook::ProcBlock(unsigned, unsigned, int, int) {
  GLProgRampLook* prog = m_pProgram.get();
  return DrawAndConvert(prog, m_fTexCoord, [this, prog] {
    SetCurve(prog);
    if (Has(kRampTint)) {
      const float* t = m_desc.tint;
      prog->Uniform4f(GLProgRampLook::UNIFORM_TINT, t[0], t[1], t[2], t[3]);
    }
    if (Has(kRampTonePair)) {
      const float* s = m_fSplitTones;
      prog->Uniform4f(GLProgRampLook::UNIFORM_SPLIT, s[0], s[1], s[2], s[3]);
    }
    if (prog->IsLarge()) {
      prog->VertexAttribPointer(GLProgRampLook::ATTRIB_GLOBAL_TEX_COORD, 2, m_fGlobalCoord);
    } else if (Has(kRampTonePair)) {
      const float* r = Crop();
      prog->Uniform4f(GLProgRampLook::UNIFORM_CROP, r[0], r[1], r[2], r[3]);
    }
  });
}
