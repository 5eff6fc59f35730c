#include "GEShaderSingleTexture.h"

#include <pe/Log.h>

#include "GLTexture.h"

GEShaderSingleTexture::GEShaderSingleTexture(pe::LogModule* log, const Names& names)
    : GEShader(log), m_names(names) {}

bool GEShaderSingleTexture::Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w,
                                 unsigned h, unsigned char captureMode, IYUVConverter* converter) {
  pe::ScopedTrace trace(Log(), "Init");
  if (!InitCommon(m_names.className, src, dst, x, y, w, h, captureMode, converter)) return false;
  if (const char* line = captureMode ? m_names.creatingLarge : m_names.creating)
    PE_LOG(Log(), pe::kLogInfo, line, "Init");
  if (!LoadProgram(m_pProgram, NewProgram(captureMode != 0), "[%s] can't load program"))
    return false;
  m_pProgram->SetTextures(0, src);
  PartialTexCoords(src ? src->GetAllocWidth() : 0, "Init");
  m_sourceReads = kReadsOwnTexel;
  return FinishInit();
}

bool GEShaderSingleTexture::SetParam(unsigned, int, int, int, int) {
  return !RefuseUninited("SetParam");
}

bool GEShaderSingleTexture::SetCrop(int, int, int, int) { return true; }

bool GEShaderSingleTexture::ProcBlock(unsigned, unsigned, int, int) {
  // The block's place in the picture goes to the same attribute as its own
  // coordinates, which overwrite it: the look is taken block by block.
  return DrawAndConvert(m_pProgram.get(), m_fTexCoord,
                        [this] { m_pProgram->SetTextureCoord(2, m_fGlobalCoord); });
}
