#include "GLFbo.h"

#include <pe/Log.h>
#include <pe/Platform.h>

#include "BmpFile.h"
#include "GECommon.h"
#include "GLTexture.h"

PE_LOG_MODULE("GLFbo");

namespace {
const GLuint kNoName = static_cast<GLuint>(-1);
}  // namespace

GLFbo::GLFbo() = default;

GLFbo::~GLFbo() {
  TRACE("~GLFbo");
  if (m_uName == kNoName) return;
  if (eglGetCurrentDisplay() != m_display || eglGetCurrentContext() != m_context) {
    // The same name in another context is someone else's framebuffer.
    LOGE("[%s] ERROR, fbo %d not deleted: not in the context it was made in\n", "~GLFbo", m_uName);
    return;
  }
  if (glIsFramebuffer(m_uName)) {
    BindName("GLFbo::Bind");
    ResetColorAttachment();
    Unbind();
  }
  // A name never bound is no framebuffer yet, but it is still reserved.
  glDeleteFramebuffers(1, &m_uName);
}

unsigned GLFbo::Init() {
  if (m_uName != kNoName && eglGetCurrentContext() == m_context) glDeleteFramebuffers(1, &m_uName);
  m_display = eglGetCurrentDisplay();
  m_context = eglGetCurrentContext();
  glGenFramebuffers(1, &m_uName);
  LOGI("[%s] fbo %d created", "Init", m_uName);
  return CheckGLError("GLFbo::Init", "glGenFramebuffers");
}

unsigned GLFbo::BindName(const char* func) {
  glBindFramebuffer(GL_FRAMEBUFFER, m_uName);
  return CheckGLError(func, "glBindFramebuffer");
}

unsigned GLFbo::Bind() {
  if (!BindName("GLFbo::Bind")) return 0;
  if (m_attachedImage != EGL_NO_IMAGE_KHR) pe::platform::MarkImageRendered(m_attachedImage);
  return 1;
}

unsigned GLFbo::Unbind() {
  TRACE("Unbind");
  LOGI("[%s] Unbind fbo %d", "Unbind", m_uName);
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  return CheckGLError("GLFbo::Unbind", "glBindFramebuffer");
}

unsigned GLFbo::SetColorAttachment(unsigned target, unsigned texture) {
  GLint previous = 0;
  glGetIntegerv(GL_FRAMEBUFFER_BINDING, &previous);
  const bool other = static_cast<GLuint>(previous) != m_uName;
  if (other) BindName("GLFbo::Bind");
  glBindTexture(target, texture);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, target, texture, 0);
  const GLenum status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
  if (status == GL_FRAMEBUFFER_COMPLETE) {
    if (other) glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(previous));
    return 1;
  }
  LOGE("[GLFbo::SetColorAttachment] ERROR, FBO not complete, status %u\n", status);
  return 0;
}

unsigned GLFbo::SetColorAttachment(GLTexture* texture) {
  if (!texture) {
    LOGE("[GLFbo::SetColorAttachment] invalid pTexture");
    return 0;
  }
  m_pTexture = texture;
  m_attachedImage = texture->IsStreaming() ? texture->GetImage() : EGL_NO_IMAGE_KHR;
  SetColorAttachment(texture->GetTarget(), texture->GetName());
  return 1;
}

unsigned GLFbo::ResetColorAttachment() {
  TRACE("ResetColorAttachment");
  BindName("GLFbo::Bind");
  LOGI("[%s] attaching tex 0 to fbo %d", "ResetColorAttachment", m_uName);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, 0, 0);
  m_pTexture = nullptr;
  m_attachedImage = EGL_NO_IMAGE_KHR;
  return CheckGLError("GLFbo::ResetColorAttachment", "glFramebufferTexture2D");
}

unsigned GLFbo::SaveBMP(const char* templatePath, const char* outName) {
  using namespace pe::bmp;
  TRACE("SaveBMP");
  if (!m_pTexture) {
    LOGE("[%s] no texture attached\n", "SaveBMP");
    return 0;
  }
  const unsigned format = m_pTexture->GetFormat(), type = m_pTexture->GetType();
  const int bits = BitsFor(format, type);
  if (!bits) {
    LOGE("[%s] ERROR, can't save format 0x%04X type 0x%04X\n", "SaveBMP", format, type);
    return 0;
  }
  // The read below sees the GPU copy: bring a CPU-written attachment to it.
  if (m_pTexture->IsStreaming()) m_pTexture->Bind();
  BindName("GLFbo::Bind");

  Dump dump;
  if (!OpenDump(s_peLogModule, "SaveBMP", templatePath, outName, &dump)) return 0;
  // The whole template header, palette included, up to its pixel data.
  Buffer header = Alloc(dump.dataOffset);
  if (!header) {
    LOGE("[%s] out of memory\n", "SaveBMP");
    return 0;
  }
  std::fseek(dump.in.get(), 0, SEEK_SET);
  if (std::fread(header.get(), 1, dump.dataOffset, dump.in.get()) != dump.dataOffset) {
    LOGE("[%s] template shorter than its header\n", "SaveBMP");
    return 0;
  }
  const int width = static_cast<int>(m_pTexture->GetWidth());
  const int height = static_cast<int>(m_pTexture->GetHeight());
  Put32(header.get() + kFieldWidth, static_cast<uint32_t>(width));
  Put32(header.get() + kFieldHeight, static_cast<uint32_t>(height));
  std::fwrite(header.get(), 1, dump.dataOffset, dump.out.get());

  const size_t lineBytes = static_cast<size_t>(width) * bits / 8;
  LOGI("[%s] offset %d, w=%d, h=%d, bpp=%d, size=%d\n", "SaveBMP", dump.dataOffset, width, height,
       bits, static_cast<int>(lineBytes * height));
  Buffer line = Alloc(lineBytes);
  if (!line) {
    LOGE("[%s] can't alloc buf for line data\n", "SaveBMP");
    return 0;
  }
  LOGI("[%s] saving data\n", "SaveBMP");
  for (int row = 0; row < height; ++row) {
    glReadPixels(0, row, width, 1, format, type, line.get());
    if (!CheckGLError("GLFbo::SaveBMP", "glReadPixels")) return 0;
    if (bits == 32) {
      for (int x = 0; x < width; ++x) {
        unsigned char* p = line.get() + 4 * x;
        const unsigned char r = p[0], g = p[1], b = p[2];
        p[0] = 255;
        p[1] = b;
        p[2] = g;
        p[3] = r;
      }
    }
    std::fwrite(line.get(), 1, lineBytes, dump.out.get());
  }
  LOGI("[%s] done\n", "SaveBMP");
  return FinishDump(s_peLogModule, "SaveBMP", &dump) ? 1 : 0;
}
