#pragma once

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES2/gl2.h>

class GLTexture;

// One framebuffer with one colour attachment. The attached texture is not
// owned: it may be deleted before the framebuffer.
class GLFbo {
 public:
  GLFbo();
  virtual ~GLFbo();
  GLFbo(const GLFbo&) = delete;
  GLFbo& operator=(const GLFbo&) = delete;

  unsigned Init();
  // Binds as the render target: a streaming attachment then belongs to the
  // GPU until the CPU asks for it.
  unsigned Bind();
  unsigned Unbind();
  // Restores the previous framebuffer binding only when complete.
  unsigned SetColorAttachment(unsigned target, unsigned texture);
  // Returns 1 even when the result is incomplete: that is only logged.
  unsigned SetColorAttachment(GLTexture* texture);
  unsigned ResetColorAttachment();
  // Reads the attachment back and writes it as a BMP under the dump
  // directory, taking the header from templatePath.
  unsigned SaveBMP(const char* templatePath, const char* outName);

  GLuint GetName() const { return m_uName; }
  GLTexture* GetTexture() const { return m_pTexture; }

 private:
  // Binds without claiming the attachment for rendering.
  unsigned BindName(const char* func);

  GLuint m_uName = static_cast<GLuint>(-1);
  GLTexture* m_pTexture = nullptr;
  // Taken when attaching, so Bind never reads a texture deleted since.
  EGLImageKHR m_attachedImage = EGL_NO_IMAGE_KHR;
  EGLDisplay m_display = EGL_NO_DISPLAY;
  EGLContext m_context = EGL_NO_CONTEXT;
};
