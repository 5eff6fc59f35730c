#include "GEShaderBypass.h"

#include <pe/Log.h>

#include "EffectShaders.h"

PE_LOG_MODULE("GEShaderBypass");

namespace {

const GLProgDesc kBypass =
    MakeProgDesc(kShader_bypass_vert, kShader_bypass_frag, nullptr, kSourceLocations);

const GEShaderSingleTexture::Names kNames = {"GEShaderBypass", "[%s] Creating bypass shader",
                                             "[%s] Creating bypass shader"};

}  // namespace

GLProgBypass::GLProgBypass() : GLProgEffect(kBypass, false) {}

GEShaderBypass::GEShaderBypass() : GEShaderSingleTexture(&s_peLogModule, kNames) {}

GLProgEffect* GEShaderBypass::NewProgram(bool) { return new GLProgBypass(); }
