#include "GEShaderMirror.h"

#include <pe/Log.h>

#include <string>

#include "EffectShaders.h"
#include "ShaderSource.h"

PE_LOG_MODULE("GEShaderMirror");

namespace {

const GLProgDesc kMirror =
    MakeProgDesc(kShader_bypass_vert, kShader_mirror_frag, nullptr, kSingleTextureLocations);

const GEShaderSingleTexture::Names kNames = {"GEShaderMirror", "[%s] Creating Mirror shader",
                                             "[%s] Creating Mirror large shader"};

}  // namespace

GLProgMirror::GLProgMirror(bool large) : GLProgEffect(kMirror, large) {}

unsigned GLProgMirror::Load() {
  TRACE("Load");
  LOGI("[Velt] load %s mirror shader", m_uLandscaped ? "Landscape" : "Protrait");
  if (!m_uLandscaped) return GLProgEffect::Load();
  static const std::string landscape = pe::ComposeShader(kShader_mirror_frag, "LANDSCAPE", nullptr);
  return LoadWith(landscape.c_str());
}

GEShaderMirror::GEShaderMirror() : GEShaderSingleTexture(&s_peLogModule, kNames) {}

GLProgEffect* GEShaderMirror::NewProgram(bool large) {
  GLProgMirror* prog = large ? new GLProgMirrorLarge() : new GLProgMirror();
  prog->SetLandscaped(m_bLandscaped ? 1 : 0);
  return prog;
}
