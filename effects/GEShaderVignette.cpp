#include "GEShaderVignette.h"

#include <pe/Log.h>
#include <posteffect/Globals.h>

#include <cmath>
#include <string>

#include "EffectShaders.h"
#include "GLTexture.h"
#include "ShaderSource.h"

PE_LOG_MODULE("GEShaderVignette");

GLProgVignette::~GLProgVignette() { TRACE("~GLProgVignette"); }

unsigned GLProgVignette::Load() {
  TRACE("Load");
  const std::string vs = m_bLarge ? pe::WithDefine(kShader_vignette_vert, "CAPTURE")
                                  : std::string(kShader_vignette_vert);
  const std::string fs = m_bLarge ? pe::WithDefine(kShader_vignette_frag, "CAPTURE")
                                  : std::string(kShader_vignette_frag);
  if (!GLProgram::Load(vs.c_str(), fs.c_str())) {
    LOGE("[%s] can't load shader", "Load");
    return 0;
  }
  static const GLProgram::Location kCommon[] = {
      {GLProgram::kVertexCoord, 0, "a_vertexCoord", "m_nVerCoordLoc"},
      {GLProgram::kTexCoord, 0, "a_textureCoord", "m_nTexCoordLoc"},
      {GLProgram::kSampler, SAMPLER_INPUT_TEX, "s_texture0", "m_nSamplerLoc[SAMPLER_INPUT_TEX]"},
      {GLProgram::kUniform, UNIFORM_CENTER, "u_center", "m_nUniformLoc[UNIFORM_CENTER]"},
      {GLProgram::kUniform, UNIFORM_RADIUS, "u_fRadius", "m_nUniformLoc[UNIFORM_RADIUS]"},
      {GLProgram::kUniform, UNIFORM_SCREEN_RATIO, "u_fScreenRatio",
       "m_nUniformLoc[UNIFORM_SCREEN_RATIO]"},
      {GLProgram::kSampler, SAMPLER_MAT_YUV2RGB, "u_mat_yuv2rgb",
       "m_nSamplerLoc[SAMPLER_MAT_YUV2RGB]"},
  };
  static const GLProgram::Location kPreview[] = {
      {GLProgram::kUniform, UNIFORM_CROP, "u_crop", "m_nUniformLoc[UNIFORM_CROP]"},
  };
  static const GLProgram::Location kLarge[] = {
      {GLProgram::kAttrib, ATTRIB_GLOBAL_TEX_COORD, "a_globalTexCoord",
       "m_nAttribLoc[ATTRIB_GLOBAL_TEX_COORD]"},
  };
  if (!LoadLocations(kCommon, sizeof(kCommon) / sizeof(kCommon[0]))) return 0;
  if (m_bLarge ? !LoadLocations(kLarge, 1) : !LoadLocations(kPreview, 1)) return 0;
  // Declared for the strength but unread, so the compiler may drop it.
  m_nUniformLoc[UNIFORM_STRENGTH] = glGetUniformLocation(ProgramId(), "u_fStrength");
  return 1;
}

GEShaderVignette::GEShaderVignette() : GEShader(&s_peLogModule) {}

GEShaderVignette::~GEShaderVignette() { Deinit(); }

bool GEShaderVignette::Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w,
                            unsigned h, unsigned char captureMode, IYUVConverter* converter) {
  TRACE("Init");
  m_pSrcTexture = src;
  m_uDst = dst;
  m_uX = x;
  m_uY = y;
  m_uWidth = w;
  m_uHeight = h;
  m_captureMode = captureMode;
  m_nDispWidth = g_Disp_Width;
  m_nDispHeight = g_Disp_Height;
  GEShader::Init(src, dst, x, y, w, h, captureMode, converter);

  LOGI(captureMode ? "[%s] Creating vignette large shader" : "[%s] Creating vignette shader",
       "Init");
  m_pProgram = captureMode ? new GLProgVignetteLarge() : new GLProgVignette();
  if (!m_pProgram->Load()) {
    LOGE("[%s] can't load program", "Init");
    return false;
  }
  m_pProgram->SetTextures(0, src);
  m_fCenter[0] = m_fCenter[1] = 0.5f;
  m_fRadius = 0.3f;
  m_fStrength = 0.5f;
  m_fScreenRatio = h ? static_cast<float>(w) / static_cast<float>(h) : 1.f;
  LOGI("[%s] screen ratio = %u/%u = %f", "Init", w, h, m_fScreenRatio);
  // The crop uniform restricts the preview to the valid columns, so the
  // coordinates themselves span the whole picture.
  PartialTexCoords(m_fTexCoord, src ? src->GetWidth() : 0, "Init");
  m_bInited = true;
  return true;
}

bool GEShaderVignette::Deinit() {
  TRACE("Deinit");
  m_bInited = false;
  GEShader::Deinit();
  delete m_pProgram;
  m_pProgram = nullptr;
  return true;
}

bool GEShaderVignette::SetParam(unsigned set, int p0, int p1, int p2, int p3) {
  if (!m_bInited) {
    LOGE("[%s] effect not initialized", "SetParam");
    return false;
  }
  if (set == 0) {
    m_fStrength = (100 - p0) * 0.37f / 100.f + 0.03f;
    return true;
  }
  const float W = static_cast<float>(m_uWidth), H = static_cast<float>(m_uHeight);
  if (W <= 0 || H <= 0) return true;
  m_fCenter[0] = p0 / W - 0.5f;
  m_fCenter[1] = p1 / H - 0.5f;
  const double dy = (p3 - p1) / static_cast<double>(H), dx = (p2 - p0) / static_cast<double>(W);
  m_fRadius = static_cast<float>(std::sqrt(dy * dy + dx * dx));
  return true;
}

bool GEShaderVignette::ProcFrame(unsigned a, unsigned b, int w, int h) {
  if (!m_pProgram) {
    LOGE("[%s] effect not initialized", "ProcFrame");
    return false;
  }
  return RunPreview("ProcFrame", a, b, w, h);
}

bool GEShaderVignette::ProcFrame(unsigned char*, unsigned char* dst, int W, int H) {
  m_nImgW = W;
  m_nImgH = H;
  return RunCapture("ProcFrame", dst, W, H);
}

void GEShaderVignette::OnBlock(unsigned x, unsigned y, unsigned w, unsigned h, float s1, float t1) {
  const float local[8] = {0, t1, 0, 0, s1, 0, s1, t1};
  const float W = static_cast<float>(m_nImgW), H = static_cast<float>(m_nImgH);
  const float x0 = x / W, x1 = (x + (w + 31) / 32 * 32) / W, y0 = y / H, y1 = (y + h) / H;
  const float global[8] = {x0, y1, x0, y0, x1, y0, x1, y1};
  for (int i = 0; i < 8; ++i) {
    m_fTexCoord[i] = local[i];
    m_fGlobalCoord[i] = global[i];
  }
}

bool GEShaderVignette::ProcBlock(unsigned, unsigned, int, int) {
  return DrawAndConvert(m_pProgram, m_fTexCoord, [this] {
    m_pProgram->Uniform1f(GLProgVignette::UNIFORM_SCREEN_RATIO, m_fScreenRatio);
    m_pProgram->Uniform2f(GLProgVignette::UNIFORM_CENTER, m_fCenter[0], m_fCenter[1]);
    m_pProgram->Uniform2f(GLProgVignette::UNIFORM_RADIUS, m_fRadius - m_fStrength,
                          m_fRadius + m_fStrength);
    if (m_captureMode)
      m_pProgram->VertexAttribPointer(GLProgVignette::ATTRIB_GLOBAL_TEX_COORD, 2, m_fGlobalCoord);
    else
      m_pProgram->Uniform4f(GLProgVignette::UNIFORM_CROP, m_fCrop[0], m_fCrop[1], m_fCrop[2],
                            m_fCrop[3]);
  });
}
