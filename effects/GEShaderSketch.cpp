#include "GEShaderSketch.h"

#include <pe/Log.h>

#include "EffectShaders.h"

PE_LOG_MODULE("GEShaderSketch");

namespace {

pe::LogModule s_colorLog("GEShaderColorSketch");

const GLProgram::Location kColour[] = {
    {GLProgram::kSampler, GLProgram::SAMPLER_MAT_YUV2RGB, "u_mat_yuv2rgb",
     "m_nSamplerLoc[SAMPLER_MAT_YUV2RGB]"},
};
// The grey sketch declares the colour matrix but never reads it.
const GLProgDesc kGrey =
    MakeProgDesc(kShader_blurmix_vert, kShader_sketch_frag, nullptr, GLProgBlurMix::kLocations);
const GLProgDesc kColourDesc =
    MakeProgDesc(kShader_blurmix_vert, kShader_sketch_frag, "#define COLOR_SKETCH",
                 GLProgBlurMix::kLocations, kColour, kColour);

}  // namespace

GLProgSketchSizeUp::GLProgSketchSizeUp() : GLProgBlurMix(kGrey, false) {}
GLProgColorSketchSizeUp::GLProgColorSketchSizeUp() : GLProgSketchSizeUp(kColourDesc) {}

GEShaderSketch::GEShaderSketch() : GEShaderSketch(&s_peLogModule, false) {}
GEShaderSketch::GEShaderSketch(pe::LogModule* log, bool colour)
    : GEBlurShader(log, kOverlapWalk), m_bColour(colour) {}
GEShaderColorSketch::GEShaderColorSketch() : GEShaderSketch(&s_colorLog, true) {}

bool GEShaderSketch::Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w,
                          unsigned h, unsigned char captureMode, IYUVConverter* converter) {
  pe::ScopedTrace trace(m_bColour ? s_colorLog : s_peLogModule, "Init");
  if (!InitCommon(m_bColour ? "GEShaderColorSketch" : "GEShaderSketch", src, dst, x, y, w, h,
                  captureMode, converter))
    return false;
  // A quarter across and 180/768 down: the two reductions differ on purpose.
  if (!InitPasses(w * 320 / 1280, h * 180 / 768,
                  m_bColour ? static_cast<GLProgBlurPass*>(new GLProgColorSketchBlur())
                            : new GLProgSketchBlur(),
                  m_bColour ? new GLProgColorSketchSizeUp() : new GLProgSketchSizeUp(),
                  "[%s] Creating prog pass size-up"))
    return false;
  m_pKernel = pe::blur::kSketchKernel;
  return FinishInit();
}

bool GEShaderSketch::SetParam(unsigned, int, int, int, int) { return false; }

bool GEShaderSketch::ProcBlock(unsigned, unsigned, int, int) {
  if (!RunBlurPasses()) return false;
  return DrawMix(m_fTexCoord, [] {});
}
