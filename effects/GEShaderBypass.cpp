#include "GEShaderBypass.h"

#include <pe/Log.h>

#include "EffectShaders.h"
#include "GLTexture.h"

PE_LOG_MODULE("GEShaderBypass");

float GEShaderBypass::s_texCoord[8] = {0, 1, 0, 0, 1, 0, 1, 1};

GLProgBypass::~GLProgBypass() { TRACE("~GLProgBypass"); }

unsigned GLProgBypass::Load() {
  TRACE("Load");
  if (!GLProgram::Load(kShader_bypass_vert, kShader_bypass_frag)) {
    LOGE("[%s] can't load shader", "Load");
    return 0;
  }
  static const GLProgram::Location kLocations[] = {
      {GLProgram::kVertexCoord, 0, "a_vertexCoord", "m_nVerCoordLoc"},
      {GLProgram::kTexCoord, 0, "a_textureCoord", "m_nTexCoordLoc"},
      {GLProgram::kSampler, SAMPLER_INPUT_TEX, "s_texture0", "m_nSamplerLoc[SAMPLER_INPUT_TEX]"},
      {GLProgram::kSampler, SAMPLER_MAT_YUV2RGB, "u_mat_yuv2rgb",
       "m_nSamplerLoc[SAMPLER_MAT_YUV2RGB]"},
  };
  return LoadLocations(kLocations, sizeof(kLocations) / sizeof(kLocations[0]));
}

GEShaderBypass::GEShaderBypass() : GEShader(&s_peLogModule) {}

GEShaderBypass::~GEShaderBypass() { Deinit(); }

bool GEShaderBypass::Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w,
                          unsigned h, unsigned char captureMode, IYUVConverter* converter) {
  TRACE("Init");
  LOGI("[%s] ------------------------------------------------------", "Init");
  LOGI("[%s] GEShaderBypass::Init", "Init");
  LOGI("[%s] ------------------------------------------------------", "Init");
  m_nDispWidth = 960;
  m_nDispHeight = 544;
  m_pSrcTexture = src;
  m_uDst = dst;
  m_uX = x;
  m_uY = y;
  m_uWidth = w;
  m_uHeight = h;
  m_captureMode = captureMode;
  GEShader::Init(src, dst, x, y, w, h, captureMode, converter);

  LOGI("[%s] Creating bypass shader", "Init");
  m_pProgram = new GLProgBypass();
  if (!m_pProgram->Load()) {
    LOGE("[%s] can't load program", "Init");
    return false;
  }
  m_pProgram->SetTextures(0, src);
  PartialTexCoords(s_texCoord, src ? src->GetAllocWidth() : 0, "Init");
  m_bInited = true;
  return true;
}

bool GEShaderBypass::Deinit() {
  TRACE("Deinit");
  m_bInited = false;
  GEShader::Deinit();
  delete m_pProgram;
  m_pProgram = nullptr;
  return true;
}

bool GEShaderBypass::SetParam(unsigned, int, int, int, int) {
  if (!m_bInited) {
    LOGE("[%s] effect not initialized", "SetParam");
    return false;
  }
  return true;
}

bool GEShaderBypass::SetCrop(int, int, int, int) { return true; }

bool GEShaderBypass::ProcFrame(unsigned a, unsigned b, int w, int h) {
  if (!m_pProgram) {
    LOGE("[%s] effect not initialized", "ProcFrame");
    return false;
  }
  return RunPreview("ProcFrame", a, b, w, h);
}

bool GEShaderBypass::ProcFrame(unsigned char*, unsigned char* dst, int W, int H) {
  return RunCapture("ProcFrame", dst, W, H);
}

void GEShaderBypass::OnBlock(unsigned, unsigned, unsigned, unsigned, float s1, float t1) {
  const float coords[8] = {0, t1, 0, 0, s1, 0, s1, t1};
  for (int i = 0; i < 8; ++i) s_texCoord[i] = coords[i];
}

bool GEShaderBypass::ProcBlock(unsigned, unsigned, int, int) {
  return DrawAndConvert(m_pProgram, s_texCoord);
}
