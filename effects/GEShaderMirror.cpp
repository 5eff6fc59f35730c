#include "GEShaderMirror.h"

#include <pe/Log.h>

#include <string>

#include "EffectShaders.h"
#include "ShaderSource.h"

PE_LOG_MODULE("GEShaderMirror");

namespace {

const GLProgDesc kMirror =
    MakeProgDesc(kShader_bypass_vert, kShader_mirror_frag, nullptr, kSourceLocations);

// Portrait is the file as it stands; landscape compiles it with LANDSCAPE.
const char* LandscapeSource() {
  static const std::string source = pe::ComposeShader(kShader_mirror_frag, "LANDSCAPE", nullptr);
  return source.c_str();
}

const GEShaderSingleTexture::Names kNames = {"GEShaderMirror", "[%s] Creating Mirror shader",
                                             "[%s] Creating Mirror large shader"};

}  // namespace

GLProgMirror::GLProgMirror(bool large) : GLProgEffect(kMirror, large) {}

unsigned GLProgMirror::Load() {
  TRACE("Load");
  LOGI("[Velt] load %s mirror shader", m_uLandscaped ? "Landscape" : "Protrait");
  return m_uLandscaped ? LoadWith(LandscapeSource()) : GLProgEffect::Load();
}

GEShaderMirror::GEShaderMirror() : GEShaderSingleTexture(&s_peLogModule, kNames) {}

GLProgEffect* GEShaderMirror::NewProgram(bool large) {
  GLProgMirror* prog = large ? new GLProgMirrorLarge() : new GLProgMirror();
  prog->SetLandscaped(m_bLandscaped ? 1 : 0);
  return prog;
}
