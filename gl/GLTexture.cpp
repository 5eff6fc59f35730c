#include "GLTexture.h"

#include <gralloc/IAllocController.h>
#include <pe/Log.h>
#include <pe/Platform.h>

#include <cstdint>

#include "GECommon.h"

PE_LOG_MODULE("GLTexture");

namespace {

const GLuint kNoName = static_cast<GLuint>(-1);
// Hardware texture, CPU write often and the device-private bit.
const uint32_t kStreamingUsage = 0x200130;

struct StreamingKind {
  unsigned format;
  unsigned type;
  int bytesPerPixel;
  int pixelFormat;
};

const StreamingKind kStreamingKinds[] = {
    {GL_RGBA, GL_UNSIGNED_BYTE, 4, android::PIXEL_FORMAT_RGBA_8888},
    {GL_RGB, GL_UNSIGNED_BYTE, 3, android::PIXEL_FORMAT_RGB_888},
    {GL_RGB, GL_UNSIGNED_SHORT_5_6_5, 2, android::PIXEL_FORMAT_RGB_565},
};

const StreamingKind* FindStreamingKind(unsigned format, unsigned type) {
  for (const StreamingKind& k : kStreamingKinds)
    if (k.format == format && k.type == type) return &k;
  return nullptr;
}

unsigned RoundUp32(unsigned width) { return (width + 31u) & ~31u; }

// The log keeps its 32-bit address form; the low half names the buffer.
unsigned LogAddress(const void* p) { return static_cast<unsigned>(reinterpret_cast<uintptr_t>(p)); }

void LogBanner(const char* func, const char* what) {
  LOGE("[%s] ######################", func);
  LOGE("[%s] %s", func, what);
  LOGE("[%s] ######################", func);
}

}  // namespace

GLTexture::GLTexture() = default;

GLTexture::~GLTexture() {
  TRACE("~GLTexture");
  LOGI("[GLTexture::~GLTexture] deleting %s tex %d", m_bStreaming ? "<ST Operation>" : "", m_uName);
  Release("GLTexture::~GLTexture");
  m_spBuffer.clear();
}

void GLTexture::Release(const char* func) {
  m_pHandle = nullptr;
  if (m_image != EGL_NO_IMAGE_KHR) {
    if (m_display != eglGetCurrentDisplay()) LogBanner(func, "unequal display");
    LOGI("[%s] eglDestroyImageKHR", func);
    // An image belongs to the display it was made on, whatever is current.
    pe::platform::DestroyNativeBufferImage(m_display, m_image);
    LOGI("[%s] eglDestroyImageKHR returned", func);
    m_image = EGL_NO_IMAGE_KHR;
  }
  if (m_uName == kNoName) return;
  if (eglGetCurrentDisplay() == m_display && eglGetCurrentContext() == m_context) {
    LOGI("[%s] glDeleteTextures", func);
    glDeleteTextures(1, &m_uName);
    LOGI("[%s] glDeleteTextures returned", func);
  } else {
    // The same name in another context is someone else's texture.
    LOGE("[%s] ERROR, tex %d not deleted: not in the context it was made in\n", func, m_uName);
  }
  m_uName = kNoName;
}

void GLTexture::SetDefaultParameters() {
  glTexParameteri(m_uTarget, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
  glTexParameteri(m_uTarget, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
  glTexParameteri(m_uTarget, GL_TEXTURE_WRAP_S, GL_REPEAT);
  glTexParameteri(m_uTarget, GL_TEXTURE_WRAP_T, GL_REPEAT);
}

unsigned GLTexture::Init(ANativeWindowBuffer* buffer, unsigned format, unsigned type,
                         unsigned width, unsigned height) {
  TRACE("Init");
  EGLDisplay display = eglGetCurrentDisplay();
  if (!CheckEGLError("GLTexture::Init", "eglGetCurrentDisplay")) return 0;
  EGLContext context = eglGetCurrentContext();
  if (!CheckEGLError("GLTexture::Init", "eglGetCurrentContext")) return 0;
  // Tolerated: a texture may be made before the manager publishes its context.
  if (display != WorkerEGLDisplay()) LogBanner("GLTexture::Init", "unequal display");
  if (context != WorkerEGLContext()) LogBanner("GLTexture::Init", "unequal context");

  Release("GLTexture::Init");
  m_display = display;
  m_context = context;
  const EGLint attribs[] = {EGL_IMAGE_PRESERVED_KHR, EGL_TRUE, EGL_NONE, EGL_NONE};
  m_image = pe::platform::CreateNativeBufferImage(display, buffer, attribs);
  if (!CheckEGLError("GLTexture::Init", "eglCreateImageKHR")) return 0;

  m_uTarget = format == kFormatYUV ? 0xFFFFFFFFu : static_cast<unsigned>(GL_TEXTURE_2D);
  glGenTextures(1, &m_uName);
  if (!CheckGLError("GLTexture::Init", "glGenTextures")) return 0;
  glBindTexture(m_uTarget, m_uName);
  if (!CheckGLError("GLTexture::Init", "glBindTexture")) return 0;
  pe::platform::ImageTargetTexture2D(m_uTarget, m_image);
  if (!CheckEGLError("GLTexture::Init", "glEGLImageTargetTexture2DOES") ||
      !CheckGLError("GLTexture::Init", "glEGLImageTargetTexture2DOES"))
    return 0;
  SetDefaultParameters();

  m_nWidth = static_cast<int>(width);
  m_uFormat = format;
  m_nHeight = static_cast<int>(height);
  m_nAllocWidth = static_cast<int>(RoundUp32(width));
  m_uType = type;
  m_bStreaming = 1;

  const auto* handle = static_cast<const private_handle_t*>(buffer->handle);
  void* base = reinterpret_cast<void*>(handle->base);
  if (m_pData && m_pData != base) {
    LOGE("[%s] m_pData (%u) already assigned and not equal to passed-in native buffer addr %u",
         "Init", LogAddress(m_pData), LogAddress(base));
    return 0;
  }
  m_pData = base;
  m_pHandle = handle;
  LOGI("[%s] <ST Operation> ST %d created. alloc %d(%d) x %d x %d Bpp = %f KB native buf at %u",
       "Init", m_uName, m_nWidth, m_nAllocWidth, m_nHeight, m_nBpp,
       static_cast<float>(m_nWidth) * m_nHeight * m_nBpp / 1024.f, LogAddress(m_pData));
  return 1;
}

unsigned GLTexture::Init(unsigned format, unsigned type, unsigned width, unsigned height,
                         unsigned char streaming, const void* pixels) {
  TRACE("Init");
  LOGI("[%s] format=%u, type=%u, width=%d(%d), height=%d, ST=%d", "Init", format, type, width,
       RoundUp32(width), height, streaming);
  if (streaming) {
    const StreamingKind* kind = FindStreamingKind(format, type);
    if (format == kFormatYUV) {
      LOGE("[%s] YUV ST created in this way not implemented", "Init");
      return 0;
    }
    if (!kind) {
      LOGE("[%s] ST only supports RGB565/RGB88/RGBA", "Init");
      return 0;
    }
    // The old image points into the old buffer: gone before the buffer is.
    Release("GLTexture::Init");
    m_nBpp = kind->bytesPerPixel;
    m_spBuffer =
        new android::GraphicBuffer(RoundUp32(width), height, kind->pixelFormat, kStreamingUsage);
    if (m_spBuffer->initCheck() != 0) {
      LOGE("[%s] ERROR, can't allocate %ux%u graphic buffer: %d\n", "Init", RoundUp32(width),
           height, m_spBuffer->initCheck());
      m_spBuffer.clear();
      return 0;
    }
    ANativeWindowBuffer* native = m_spBuffer->getNativeBuffer();
    m_pData = reinterpret_cast<void*>(static_cast<const private_handle_t*>(native->handle)->base);
    return Init(native, format, type, width, height);
  }

  Release("GLTexture::Init");
  m_display = eglGetCurrentDisplay();
  m_context = eglGetCurrentContext();
  m_uTarget = GL_TEXTURE_2D;
  glGenTextures(1, &m_uName);
  if (!CheckGLError("GLTexture::Init", "glGenTextures")) return 0;
  glBindTexture(m_uTarget, m_uName);
  if (!CheckGLError("GLTexture::Init", "glBindTexture")) return 0;
  glTexImage2D(m_uTarget, 0, static_cast<GLint>(format), static_cast<GLsizei>(width),
               static_cast<GLsizei>(height), 0, format, type, pixels);
  if (!CheckGLError("GLTexture::Init", "glTexImage2D")) return 0;
  SetDefaultParameters();

  m_nWidth = static_cast<int>(width);
  m_nAllocWidth = static_cast<int>(width);
  m_nHeight = static_cast<int>(height);
  m_uFormat = format;
  m_uType = type;
  m_bStreaming = 0;
  if (format == GL_RGB && type == GL_UNSIGNED_BYTE)
    m_nBpp = 3;
  else if (format == GL_RGB && type == GL_UNSIGNED_SHORT_5_6_5)
    m_nBpp = 2;
  else if (format == GL_RGBA && type == GL_UNSIGNED_BYTE)
    m_nBpp = 4;
  LOGI("[%s] tex %d created", "Init", m_uName);
  return 1;
}

unsigned GLTexture::UpdateNormalTexture(const void* pixels, unsigned width, unsigned height) {
  TRACE("UpdateNormalTexture");
  if (m_bStreaming) {
    LOGE("[%s] ERROR, only normal texture use this method\n", "UpdateNormalTexture");
    return 0;
  }
  if (width != 0 && (width != GetWidth() || height != GetHeight())) {
    LOGE("[%s] ERROR, wrong input size %dx%d, tex size is %dx%d\n", "UpdateNormalTexture", width,
         height, m_nWidth, m_nHeight);
    return 0;
  }
  LOGI("[%s] glTexImage2D %dx%d, format 0x%04X, type 0x%04X\n", "UpdateNormalTexture", m_nWidth,
       m_nHeight, m_uFormat, m_uType);
  if (!Bind()) {
    LOGE("[%s] ERROR, can't bind texture\n", "UpdateNormalTexture");
    return 0;
  }
  glTexImage2D(m_uTarget, 0, static_cast<GLint>(m_uFormat), m_nWidth, m_nHeight, 0, m_uFormat,
               m_uType, pixels);
  return CheckGLError("GLTexture::UpdateNormalTexture", "glTexImage2D");
}

void* GLTexture::GetSTDataBuf() const {
  TRACE("GetSTDataBuf");
  if (!m_bStreaming) {
    LOGE("[%s] ERROR, only streaming texture use this method\n", "GetSTDataBuf");
    return nullptr;
  }
  if (!m_pData) {
    LOGE("[%s] ERROR, null data buf\n", "GetSTDataBuf");
    return nullptr;
  }
  // A reader must not see memory older than the GPU's last render.
  if (m_image != EGL_NO_IMAGE_KHR && !pe::platform::SyncImageToCpu(m_image)) {
    LOGE("[%s] ERROR, can't read tex %d back\n", "GetSTDataBuf", m_uName);
    return nullptr;
  }
  LOGI("[%s] addr %u\n", "GetSTDataBuf", LogAddress(m_pData));
  return m_pData;
}

unsigned GLTexture::ReadRect(int x, int y, int w, int h, void* dst, int rowPixels) const {
  if (!m_bStreaming || m_image == EGL_NO_IMAGE_KHR) {
    LOGE("[%s] ERROR, only streaming texture use this method\n", "ReadRect");
    return 0;
  }
  return pe::platform::ReadImageRect(m_image, x, y, w, h, dst, rowPixels) ? 1 : 0;
}

unsigned GLTexture::SetParameteri(unsigned pname, int value) {
  glTexParameteri(m_uTarget, pname, value);
  return CheckGLError("GLTexture::SetParameteri", "glTexParameteri");
}

unsigned GLTexture::SetSampling(int wrap, int filter) {
  if (!Bind()) return 0;
  unsigned ok = SetParameteri(GL_TEXTURE_WRAP_S, wrap);
  ok &= SetParameteri(GL_TEXTURE_WRAP_T, wrap);
  if (filter) {
    ok &= SetParameteri(GL_TEXTURE_MIN_FILTER, filter);
    ok &= SetParameteri(GL_TEXTURE_MAG_FILTER, filter);
  }
  return ok;
}

unsigned GLTexture::SetFilter(int filter) {
  // A pass may have bound its other inputs by hand: the active unit keeps
  // what it held.
  GLint bound = 0;
  glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
  glBindTexture(m_uTarget, m_uName);
  if (!CheckGLError("SetFilter", "glBindTexture")) return 0;
  const unsigned ok =
      SetParameteri(GL_TEXTURE_MIN_FILTER, filter) & SetParameteri(GL_TEXTURE_MAG_FILTER, filter);
  glBindTexture(m_uTarget, static_cast<GLuint>(bound));
  return ok;
}

unsigned GLTexture::Bind() {
  glBindTexture(m_uTarget, m_uName);
  if (!CheckGLError("Bind", "glBindTexture")) return 0;
  if (m_bStreaming && m_image != EGL_NO_IMAGE_KHR && !(m_nHolds > 0 && m_bUploadedWhileHeld)) {
    pe::platform::PrepareImageForSampling(m_image);
    m_bUploadedWhileHeld = m_nHolds > 0;
  }
  return 1;
}

GLTexture::HeldUploads::HeldUploads(GLTexture* texture) : m_pTexture(texture) {
  if (!m_pTexture) return;
  if (m_pTexture->m_nHolds++ == 0) m_pTexture->m_bUploadedWhileHeld = false;
}

GLTexture::HeldUploads::~HeldUploads() {
  if (m_pTexture && --m_pTexture->m_nHolds == 0) m_pTexture->m_bUploadedWhileHeld = false;
}

unsigned GLTexture::clean_buffer() {
  if (!m_pHandle) {
    LOGE("[%s] ERROR, no graphic buffer\n", "clean_buffer");
    return 0;
  }
  const private_handle_t* h = m_pHandle;
  if (gralloc::CleanBuffer(h->flags, reinterpret_cast<void*>(h->base), static_cast<size_t>(h->size),
                           h->offset, h->fd) < 0) {
    LOGD("[%s] clean buffer error", "clean_buffer");
    return 0;
  }
  return 1;
}
