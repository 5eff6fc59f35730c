#include "GLProgram.h"

#include <GLES2/gl2ext.h>
#include <pe/Log.h>
#include <pe/Platform.h>

#include <cstdio>
#include <cstring>

#include "ByteIo.h"
#include "GECommon.h"
#include "GLTexture.h"
#include "ProgramCache.h"

PE_LOG_MODULE("GLProgram");

const float kQuadVertices[16] = {
    -1.f, 1.f,  1.f, 1.f,  // top left
    -1.f, -1.f, 1.f, 1.f,  // bottom left
    1.f,  -1.f, 1.f, 1.f,  // bottom right
    1.f,  1.f,  1.f, 1.f,  // top right
};
const float kQuadTexCoords[8] = {0.f, 1.f, 0.f, 0.f, 1.f, 0.f, 1.f, 1.f};
const unsigned short kQuadIndices[6] = {0, 1, 2, 0, 2, 3};

namespace {

const GLuint kNoName = static_cast<GLuint>(-1);

const float kYuvToRgb[16] = {
    1.f,     1.f,     1.f,     0.f,  // Y
    1.402f,  -0.714f, 0.f,     0.f,  // V
    0.f,     -0.344f, 1.772f,  0.f,  // U
    -0.701f, 0.529f,  -0.886f, 1.f,  // offset
};

struct BinaryApi {
  PFNGLGETPROGRAMBINARYOESPROC get = nullptr;
  PFNGLPROGRAMBINARYOESPROC load = nullptr;
};

// The entry points exist only where the context has the extension.
bool GetBinaryApi(const char* func, BinaryApi* api) {
  if (pe::platform::HasGLExtension("GL_OES_get_program_binary")) {
    api->get =
        reinterpret_cast<PFNGLGETPROGRAMBINARYOESPROC>(eglGetProcAddress("glGetProgramBinaryOES"));
    api->load =
        reinterpret_cast<PFNGLPROGRAMBINARYOESPROC>(eglGetProcAddress("glProgramBinaryOES"));
  }
  if (api->get && api->load) return true;
  LOGE("[%s] ERROR, GL_OES_get_program_binary not supported\n", func);
  return false;
}

}  // namespace

GLProgram::GLProgram() {
  TRACE("GLProgram");
  for (GLint& l : m_nAttribLoc) l = -1;
  for (GLint& l : m_nUniformLoc) l = -1;
  for (GLint& l : m_nSamplerLoc) l = -1;
  std::memcpy(m_fMatYuv2Rgb, kYuvToRgb, sizeof(m_fMatYuv2Rgb));
}

GLProgram::~GLProgram() {
  TRACE("~GLProgram");
  DeleteProgram("~GLProgram");
}

void GLProgram::DeleteProgram(const char* func) {
  if (m_uProgram == kNoName || m_uProgram == 0) return;
  if (eglGetCurrentDisplay() != m_display || eglGetCurrentContext() != m_context) {
    // The same name in another context is someone else's program.
    LOGE("[%s] ERROR, program %d not deleted: not in the context it was made in\n", func,
         m_uProgram);
    return;
  }
  if (glIsProgram(m_uProgram)) {
    if (!m_sources.empty() && pe::ProgramCache::Keep(m_sources, m_uProgram)) {
      LOGI("[%s] program %d kept\n", func, m_uProgram);
    } else {
      glDeleteProgram(m_uProgram);
      LOGI("[%s] program %d deleted\n", func, m_uProgram);
    }
  }
  m_uProgram = kNoName;
  m_sources.clear();
}

GLuint GLProgram::CompileShader(unsigned type, const char* source) {
  TRACE("CompileShader");
  const GLuint shader = glCreateShader(type);
  if (!shader) {
    glGetError();  // the bad type; this line reports it
    LOGE("[%s] can't create shader obj\n", "CompileShader");
    return 0;
  }
  GLint compiled = 0;
  if (source) {
    glShaderSource(shader, 1, &source, nullptr);
    glCompileShader(shader);
    glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
  }
  if (!compiled) {
    char info[512] = "";
    glGetShaderInfoLog(shader, sizeof(info), nullptr, info);
    LOGD("[%s] %s", "CompileShader", info);
    glDeleteShader(shader);
    LOGE("[%s] can't compile shader\n", "CompileShader");
    return 0;
  }
  LOGI("[%s] shader %d compiled\n", "CompileShader", shader);
  return shader;
}

unsigned GLProgram::Load(const char* vertexSource, const char* fragmentSource) {
  TRACE("Load");
  // The same sources link to the same program: a kept one is taken as it is.
  std::string sources;
  if (vertexSource && fragmentSource) {
    sources = std::string(vertexSource) + '\0' + fragmentSource;
    if (const GLuint kept = pe::ProgramCache::Take(sources)) {
      DeleteProgram("Load");
      m_display = eglGetCurrentDisplay();
      m_context = eglGetCurrentContext();
      m_uProgram = kept;
      m_sources = std::move(sources);
      LOGI("[%s] program %d reused\n", "Load", m_uProgram);
      return 1;
    }
  }
  const GLuint vs = CompileShader(GL_VERTEX_SHADER, vertexSource);
  if (!vs) {
    LOGE("[%s] can't compile vertex shader\n", "Load");
    return 0;
  }
  const GLuint fs = CompileShader(GL_FRAGMENT_SHADER, fragmentSource);
  if (!fs) {
    glDeleteShader(vs);
    LOGE("[%s] can't compile fragment shader\n", "Load");
    return 0;
  }
  DeleteProgram("Load");
  m_display = eglGetCurrentDisplay();
  m_context = eglGetCurrentContext();
  m_uProgram = glCreateProgram();
  if (!m_uProgram) {
    glDeleteShader(vs);
    glDeleteShader(fs);
    LOGE("[%s] can't create program\n", "Load");
    return 0;
  }
  glAttachShader(m_uProgram, vs);
  glAttachShader(m_uProgram, fs);
  glLinkProgram(m_uProgram);
  GLint linked = 0;
  glGetProgramiv(m_uProgram, GL_LINK_STATUS, &linked);
  // Attached shaders live on with the program; nothing else needs them.
  glDeleteShader(vs);
  glDeleteShader(fs);
  if (!linked) {
    char info[512] = "";
    glGetProgramInfoLog(m_uProgram, sizeof(info), nullptr, info);
    LOGD("[%s] %s", "Load", info);
    glDeleteProgram(m_uProgram);
    m_uProgram = 0;
    LOGE("[%s] can't link program\n", "Load");
    return 0;
  }
  m_sources = std::move(sources);
  LOGI("[%s] program %d created\n", "Load", m_uProgram);
  return 1;
}

unsigned GLProgram::LocIsValid(const char* what, int location) {
  if (location >= 0) return 1;
  LOGE("[%s] invalid %s == %d", "LocIsValid", what, location);
  return 0;
}

unsigned GLProgram::SlotIsValid(const char* func, int index, int slots) {
  if (index >= 0 && index < slots) return 1;
  LOGE("[%s] ERROR, slot %d out of 0..%d\n", func, index, slots - 1);
  return 0;
}

unsigned GLProgram::LoadLocations(const Location* table, size_t count) {
  TRACE("LoadLocations");
  glUseProgram(m_uProgram);
  if (!CheckGLError("LoadLocations", "glUseProgram")) return 0;
  for (size_t i = 0; i < count; ++i) {
    const Location& l = table[i];
    GLint* slot = nullptr;
    bool attribute = false;
    switch (l.kind) {
      case kAttrib:
        if (!SlotIsValid("LoadLocations", l.index, kAttribSlots)) return 0;
        slot = &m_nAttribLoc[l.index];
        attribute = true;
        break;
      case kUniform:
        if (!SlotIsValid("LoadLocations", l.index, kUniformSlots)) return 0;
        slot = &m_nUniformLoc[l.index];
        break;
      case kSampler:
        if (!SlotIsValid("LoadLocations", l.index, kSamplerSlots)) return 0;
        slot = &m_nSamplerLoc[l.index];
        break;
      case kVertexCoord:
        slot = &m_nVerCoordLoc;
        attribute = true;
        break;
      case kTexCoord:
        slot = &m_nTexCoordLoc;
        attribute = true;
        break;
    }
    if (!slot) return 0;
    *slot = attribute ? glGetAttribLocation(m_uProgram, l.glslName)
                      : glGetUniformLocation(m_uProgram, l.glslName);
    if (!LocIsValid(l.what, *slot)) return 0;
    if (l.kind != kSampler) continue;
    if (l.index == SAMPLER_MAT_YUV2RGB)
      glUniformMatrix4fv(*slot, 1, GL_FALSE, m_fMatYuv2Rgb);
    else
      glUniform1i(*slot, l.index);
  }
  return CheckGLError("LoadLocations", "glUniform");
}

unsigned GLProgram::Use() {
  if (!glIsProgram(m_uProgram)) {
    LOGE("[%s] invalid program id %d", "Use", m_uProgram);
    return 0;
  }
  glUseProgram(m_uProgram);
  if (!CheckGLError("Use", "gluseProgram")) return 0;
  unsigned ok = 1;
  for (int i = 0; i < kTextureSlots; ++i) {
    if (!m_pTextures[i]) continue;
    glActiveTexture(GL_TEXTURE0 + i);
    if (!m_pTextures[i]->Bind()) ok = 0;
  }
  // Callers bind and set up textures on unit 0 after Use.
  glActiveTexture(GL_TEXTURE0);
  return ok;
}

unsigned GLProgram::SetTextures(unsigned index, GLTexture* texture) {
  if (index >= kTextureSlots) {
    LOGE("[%s] nIdx %d must < %d", "SetTextures", index, kTextureSlots);
    return 0;
  }
  m_pTextures[index] = texture;
  return 1;
}

unsigned GLProgram::SetVertexCoord(int size, const void* coords) {
  glVertexAttribPointer(m_nVerCoordLoc, size, GL_FLOAT, GL_FALSE, 0, coords);
  glEnableVertexAttribArray(m_nVerCoordLoc);
  return 1;
}

unsigned GLProgram::SetTextureCoord(int size, const void* coords) {
  glVertexAttribPointer(m_nTexCoordLoc, size, GL_FLOAT, GL_FALSE, 0, coords);
  glEnableVertexAttribArray(m_nTexCoordLoc);
  return 1;
}

unsigned GLProgram::VertexAttribPointer(int index, int size, const void* data) {
  if (!SlotIsValid("VertexAttribPointer", index, kAttribSlots)) return 0;
  glVertexAttribPointer(m_nAttribLoc[index], size, GL_FLOAT, GL_FALSE, 0, data);
  if (!CheckGLError("VertexAttribPointer", "VertexAttribPointer")) return 0;
  glEnableVertexAttribArray(m_nAttribLoc[index]);
  return CheckGLError("VertexAttribPointer", "glEnableVertexAttribArray");
}

unsigned GLProgram::Uniform1i(int index, int v) {
  if (!SlotIsValid("Uniform1i", index, kUniformSlots)) return 0;
  glUniform1i(m_nUniformLoc[index], v);
  return CheckGLError("Uniform1i", "Uniform1i");
}

void GLProgram::SetPlanesStretch(float x, float y) {
  if (m_nStretchLoc >= 0) glUniform2f(m_nStretchLoc, x, y);
}

unsigned GLProgram::Uniform1f(int index, float v) {
  if (!SlotIsValid("Uniform1f", index, kUniformSlots)) return 0;
  glUniform1f(m_nUniformLoc[index], v);
  return CheckGLError("Uniform1f", "Uniform1f");
}

unsigned GLProgram::Uniform2f(int index, float a, float b) {
  if (!SlotIsValid("Uniform2f", index, kUniformSlots)) return 0;
  glUniform2f(m_nUniformLoc[index], a, b);
  return CheckGLError("Uniform2f", "Uniform2f");
}

unsigned GLProgram::Uniform4f(int index, float a, float b, float c, float d) {
  if (!SlotIsValid("Uniform4f", index, kUniformSlots)) return 0;
  glUniform4f(m_nUniformLoc[index], a, b, c, d);
  return CheckGLError("Uniform4f", "Uniform4f");
}

unsigned GLProgram::Uniform1fv(int index, int count, const float* v) {
  if (!SlotIsValid("Uniform1fv", index, kUniformSlots)) return 0;
  glUniform1fv(m_nUniformLoc[index], count, v);
  return CheckGLError("Uniform1fv", "Uniform1fv");
}

unsigned GLProgram::Uniform2fv(int index, int count, const float* v) {
  if (!SlotIsValid("Uniform2fv", index, kUniformSlots)) return 0;
  glUniform2fv(m_nUniformLoc[index], count, v);
  return CheckGLError("Uniform2fv", "Uniform2fv");
}

unsigned GLProgram::Draw() {
  glDrawElements(GL_TRIANGLES, 6, GL_UNSIGNED_SHORT, kQuadIndices);
  return 1;
}

unsigned GLProgram::Draw(int count, const void* indices) {
  glDrawElements(GL_TRIANGLES, count, GL_UNSIGNED_SHORT, indices);
  return 1;
}

unsigned GLProgram::SaveBinary(const char* path) {
  using namespace pe::io;
  TRACE("SaveBinary");
  if (!glIsProgram(m_uProgram)) {
    LOGE("[%s] invalid program id %d", "SaveBinary", m_uProgram);
    return 0;
  }
  BinaryApi api;
  if (!GetBinaryApi("SaveBinary", &api)) return 0;
  GLint length = 0;
  glGetProgramiv(m_uProgram, GL_PROGRAM_BINARY_LENGTH_OES, &length);
  LOGI("[%s] binary length %d bytes", "SaveBinary", length);
  if (length <= 0) {
    LOGE("[%s] ERROR, the driver offers no binary\n", "SaveBinary");
    return 0;
  }
  Buffer binary = Alloc(static_cast<size_t>(length));
  if (!binary) {
    LOGE("[%s] out of memory", "SaveBinary");
    return 0;
  }
  GLenum format = 0;
  GLsizei written = 0;
  api.get(m_uProgram, length, &written, &format, binary.get());
  if (!CheckGLError("SaveBinary", "glGetProgramBinaryOES")) return 0;
  LOGI("[%s] proram id %d, binary format is 0x%X", "SaveBinary", m_uProgram, format);
  File file(path ? std::fopen(path, "wb") : nullptr);
  if (!file) {
    LOGE("[%s] can't open %s for writing", "SaveBinary", path ? path : "");
    return 0;
  }
  unsigned char head[4];
  Put32(head, format);
  const bool ok = std::fwrite(head, 1, 4, file.get()) == 4 &&
                  std::fwrite(binary.get(), 1, static_cast<size_t>(written), file.get()) ==
                      static_cast<size_t>(written) &&
                  std::fclose(file.release()) == 0;
  if (!ok) {
    LOGE("[%s] ERROR, can't write %s\n", "SaveBinary", path);
    return 0;
  }
  return 1;
}

unsigned GLProgram::LoadBinary(const char* path) {
  using namespace pe::io;
  TRACE("LoadBinary");
  File file(path ? std::fopen(path, "rb") : nullptr);
  if (!file) {
    LOGE("[%s] can't open binary shader file %s", "LoadBinary", path ? path : "");
    return 0;
  }
  long size = -1;
  if (std::fseek(file.get(), 0, SEEK_END) == 0) size = std::ftell(file.get());
  const long length = size - 4;
  if (length < 0) {
    LOGE("[%s] invalid shader length", "LoadBinary");
    return 0;
  }
  Buffer binary = Alloc(static_cast<size_t>(length));
  if (!binary) {
    LOGE("[%s] out of memory", "LoadBinary");
    return 0;
  }
  unsigned char head[4];
  std::fseek(file.get(), 0, SEEK_SET);
  if (std::fread(head, 1, 4, file.get()) != 4 ||
      std::fread(binary.get(), 1, static_cast<size_t>(length), file.get()) !=
          static_cast<size_t>(length)) {
    LOGE("[%s] ERROR, can't read %s\n", "LoadBinary", path);
    return 0;
  }
  file.reset();
  BinaryApi api;
  if (!GetBinaryApi("LoadBinary", &api)) return 0;

  DeleteProgram("LoadBinary");
  m_display = eglGetCurrentDisplay();
  m_context = eglGetCurrentContext();
  m_uProgram = glCreateProgram();
  if (!m_uProgram) {
    LOGE("[%s] can't create program\n", "LoadBinary");
    return 0;
  }
  api.load(m_uProgram, Get32(head), binary.get(), static_cast<GLint>(length));
  binary.reset();
  // A format the driver does not know is an error, not only an unlinked
  // program; it must not stay pending for the next check.
  if (!CheckGLError("LoadBinary", "glProgramBinaryOES")) return 0;
  GLint linked = 0;
  glGetProgramiv(m_uProgram, GL_LINK_STATUS, &linked);
  if (!linked) {
    LOGE("[%s] can't load binary shader", "LoadBinary");
    return 0;
  }
  return 1;
}
