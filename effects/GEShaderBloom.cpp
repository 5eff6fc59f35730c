#include "GEShaderBloom.h"

#include <pe/Log.h>

#include "EffectShaders.h"

PE_LOG_MODULE("GEShaderBloom");

namespace {

const GLProgDesc kBloom =
    MakeProgDesc(kShader_bypass_vert, kShader_bloom_frag, nullptr, kSourceLocations);

// The capture program is made without a line of its own.
const GEShaderSingleTexture::Names kNames = {"GEShaderBloom", "[%s] Creating Bloom shader",
                                             nullptr};

}  // namespace

GLProgBloom::GLProgBloom(bool large) : GLProgEffect(kBloom, large) {}

GEShaderBloom::GEShaderBloom() : GEShaderSingleTexture(&s_peLogModule, kNames) {}

GLProgEffect* GEShaderBloom::NewProgram(bool large) {
  return large ? new GLProgBloomLarge() : new GLProgBloom();
}
