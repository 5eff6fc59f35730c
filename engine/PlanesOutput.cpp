#include "PlanesOutput.h"

#include <EGL/egl.h>
#include <GLES2/gl2.h>
#include <GLES2/gl2ext.h>
#include <pe/Log.h>
#include <pe/Platform.h>

#include <cstdlib>
#include <regex>
#include <sstream>
#include <vector>

#include "EngineShaders.h"
#include "GECommon.h"
#include "GLProgRGBtoY.h"
#include "GLTexture.h"

PE_LOG_MODULE("GEShader");

namespace pe {

const char kPlanesStretch[] = "pe_stretch";

namespace {

struct Varying {
  std::string type, name;
};

// The per-pixel part: each varying moved from the fragment's centre (between
// the second and third pixel of the pair of rows) to the pixel's, the look
// run there and its colour rounded as an 8-bit target would store it. The
// eight pixels are unrolled: a loop costs a software rasteriser more than the
// longer compile.
std::string PlanesMain(const std::vector<Varying>& varyings) {
  // The weights the luma and chroma passes use; floats printed in full so
  // the shader reads the very same values.
  const float* const Y = GLProgRGBtoY::kRgbToY;
  std::ostringstream o;
  o.precision(9);
  for (const Varying& v : varyings)
    o << "#ifdef PE_V_" << v.name << "\n"
      << v.type << " pe_dx_" << v.name << ", pe_dy_" << v.name << ", " << v.name << "_c;\n#endif\n";
  o << "uniform vec2 pe_stretch;\n"
       "vec3 pe_At(vec2 o) {\n";
  for (const Varying& v : varyings)
    o << "#ifdef PE_V_" << v.name << "\n  pe_" << v.name << " = " << v.name << "_c + o.x * pe_dx_"
      << v.name << " + o.y * pe_dy_" << v.name << ";\n#endif\n";
  o << "  pe_look();\n"
       "  return floor(clamp(pe_FragColor.rgb, 0.0, 1.0) * 255.0 + 0.5) * (1.0 / 255.0);\n"
       "}\n"
    << kShader_chroma_weights_glsl << "\nconst vec3 kY = vec3(" << Y[0] << ", " << Y[1] << ", "
    << Y[2]
    << ");\n"
       "void main() {\n";
  // A fragment spans four pixels across and two down. A draw whose width or
  // height ends inside the last group spreads the quad over whole groups:
  // pe_stretch (the groups' extent over the draw's) restores each varying's
  // rate and its value at the fragment, measured from the viewport's origin.
  o << "  vec2 pe_grow = (pe_stretch - 1.0) * gl_FragCoord.xy;\n";
  for (const Varying& v : varyings)
    o << "#ifdef PE_V_" << v.name << "\n  pe_dx_" << v.name << " = dFdx(" << v.name
      << ");\n  pe_dy_" << v.name << " = dFdy(" << v.name << ");\n  " << v.name << "_c = " << v.name
      << " + pe_grow.x * pe_dx_" << v.name << " + pe_grow.y * pe_dy_" << v.name << ";\n  pe_dx_"
      << v.name << " *= pe_stretch.x * 0.25;\n  pe_dy_" << v.name
      << " *= pe_stretch.y * 0.5;\n#endif\n";
  o << "  vec3 a0 = pe_At(vec2(-1.5, -0.5)), a1 = pe_At(vec2(-0.5, -0.5));\n"
       "  vec3 a2 = pe_At(vec2(0.5, -0.5)), a3 = pe_At(vec2(1.5, -0.5));\n"
       "  vec3 b0 = pe_At(vec2(-1.5, 0.5)), b1 = pe_At(vec2(-0.5, 0.5));\n"
       "  vec3 b2 = pe_At(vec2(0.5, 0.5)), b3 = pe_At(vec2(1.5, 0.5));\n"
       "  gl_FragData[0] = vec4(dot(kY, a0), dot(kY, a1), dot(kY, a2), dot(kY, a3));\n"
       "  gl_FragData[1] = vec4(dot(kY, b0), dot(kY, b1), dot(kY, b2), dot(kY, b3));\n"
       "  vec3 c0 = (a0 + a1 + b0 + b1) * 0.25, c1 = (a2 + a3 + b2 + b3) * 0.25;\n"
       "  vec3 u = kRgbToU.xyz, v = kRgbToV.xyz;\n"
       "  gl_FragData[2] = vec4(dot(v, c0), dot(u, c0), dot(v, c1), dot(u, c1)) + kRgbToV.w;\n"
       "}\n";
  return o.str();
}

}  // namespace

std::string PlanesShader(const std::string& fragment) {
  static const std::regex kMain(R"(\bvoid\s+main\s*\(\s*(void)?\s*\))");
  static const std::regex kVarying(
      R"(^\s*varying\s+(?:(?:lowp|mediump|highp)\s+)?(\w+)\s+(\w+)\s*;\s*(//.*)?$)");
  static const std::regex kLine(R"(^\s*#\s*line\s+(\d+))");
  if (!std::regex_search(fragment, kMain)) return std::string();

  // Line by line, keeping compiler messages on the source's own numbers.
  std::vector<Varying> varyings;
  std::ostringstream out;
  std::istringstream in(fragment);
  std::string line;
  int next = 1;  // the number the compiler gives the next line
  bool first = true;
  while (std::getline(in, line)) {
    std::smatch m;
    if (std::regex_search(line, m, kLine)) {
      out << line << "\n";
      next = static_cast<int>(std::strtol(m.str(1).c_str(), nullptr, 10));
      continue;
    }
    ++next;
    if (first) {
      first = false;
      out << line << "\n#extension GL_EXT_draw_buffers : require\n"
          << "#extension GL_OES_standard_derivatives : require\n#line " << next << "\n";
      continue;
    }
    if (std::regex_search(line, m, kVarying)) {
      const Varying v{m[1], m[2]};
      bool seen = false;
      for (const Varying& w : varyings) seen = seen || w.name == v.name;
      if (!seen) varyings.push_back(v);
      out << "varying " << v.type << " " << v.name << "; " << v.type << " pe_" << v.name
          << ";\n#define PE_V_" << v.name << "\n#line " << next << "\n";
      continue;
    }
    out << line << "\n";
  }
  std::string s = out.str();
  // The look reads each varying through its per-pixel copy and writes a
  // colour the new main places.
  for (const Varying& v : varyings) {
    const std::regex use("([^\\w])" + v.name + "\\b(?!;\\s*\\w+ pe_)");
    s = std::regex_replace(s, use, "$1pe_" + v.name);
  }
  s = std::regex_replace(s, std::regex(R"(\bgl_FragColor\b)"), "pe_FragColor");
  std::smatch m;
  std::regex_search(s, m, kMain);
  const size_t at = static_cast<size_t>(m.position(0));
  s.replace(at, static_cast<size_t>(m.length(0)), "void pe_look()");
  s.insert(at, "vec4 pe_FragColor;\n");
  return s + PlanesMain(varyings);
}

bool PlanesSupported() {
  if (!platform::HasGLExtension("GL_EXT_draw_buffers") ||
      !platform::HasGLExtension("GL_OES_standard_derivatives"))
    return false;
  GLint buffers = 0, attachments = 0;
  glGetIntegerv(GL_MAX_DRAW_BUFFERS_EXT, &buffers);
  glGetIntegerv(GL_MAX_COLOR_ATTACHMENTS_EXT, &attachments);
  return buffers >= 3 && attachments >= 3;
}

namespace {

PFNGLDRAWBUFFERSEXTPROC DrawBuffers() {
  static auto fn = reinterpret_cast<PFNGLDRAWBUFFERSEXTPROC>(eglGetProcAddress("glDrawBuffersEXT"));
  return fn;
}

const GLenum kAttachments[3] = {GL_COLOR_ATTACHMENT0_EXT, GL_COLOR_ATTACHMENT1_EXT,
                                GL_COLOR_ATTACHMENT2_EXT};

}  // namespace

PlanesTarget::~PlanesTarget() { Release(); }

void PlanesTarget::Release() {
  if (m_uFbo && eglGetCurrentContext() != EGL_NO_CONTEXT) glDeleteFramebuffers(1, &m_uFbo);
  m_uFbo = 0;
  for (GLTexture*& t : m_pHalves) {
    delete t;
    t = nullptr;
  }
  m_pChroma = nullptr;
}

bool PlanesTarget::Init(GLTexture* chroma) {
  Release();
  if (!chroma || !DrawBuffers()) return false;
  m_pChroma = chroma;
  for (GLTexture*& t : m_pHalves) {
    t = new GLTexture();
    if (!t->Init(GL_RGBA, GL_UNSIGNED_BYTE, chroma->GetWidth(), chroma->GetHeight(), 1)) {
      Release();
      return false;
    }
    t->SetSampling(GL_CLAMP_TO_EDGE, GL_NEAREST);
  }
  GLint previous = 0;
  glGetIntegerv(GL_FRAMEBUFFER_BINDING, &previous);
  glGenFramebuffers(1, &m_uFbo);
  bool ok = CheckGLError("PlanesTarget::Init", "glGenFramebuffers");
  if (ok) {
    glBindFramebuffer(GL_FRAMEBUFFER, m_uFbo);
    GLTexture* const targets[3] = {m_pHalves[0], m_pHalves[1], m_pChroma};
    for (int i = 0; i < 3; ++i)
      glFramebufferTexture2D(GL_FRAMEBUFFER, kAttachments[i], targets[i]->GetTarget(),
                             targets[i]->GetName(), 0);
    DrawBuffers()(3, kAttachments);
    ok = CheckGLError("PlanesTarget::Init", "glDrawBuffersEXT");
  }
  if (ok) {
    const GLenum status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
    ok = status == GL_FRAMEBUFFER_COMPLETE;
    if (!ok)
      LOGE("[%s] glCheckFramebufferStatus: planes framebuffer not complete, status %u",
           "PlanesTarget::Init", status);
  }
  glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(previous));
  if (!ok) Release();
  return ok;
}

bool PlanesTarget::Bind() {
  if (!m_uFbo) return false;
  glBindFramebuffer(GL_FRAMEBUFFER, m_uFbo);
  for (GLTexture* t : {m_pHalves[0], m_pHalves[1], m_pChroma})
    if (t->GetImage() != EGL_NO_IMAGE_KHR) platform::MarkImageRendered(t->GetImage());
  return true;
}

}  // namespace pe
