// Textures over host graphics buffers. The host has no memory shared between
// the GL driver and the process, so each buffer pairs CPU memory with a GL
// texture and this file keeps the two in step: the CPU owns a buffer (its
// memory is uploaded whenever the texture is bound for sampling) until the
// buffer is rendered into; the GPU then owns it until the CPU asks for it
// through a clean, when the texture is read back.

#include <pe/Log.h>
#include <pe/Platform.h>
#include <ui/GraphicBuffer.h>

#include <cstdint>
#include <cstring>
#include <mutex>
#include <vector>

PE_LOG_MODULE("BufferImage");

namespace pe {
namespace platform {
namespace {

struct HostImage {
  uint8_t* base = nullptr;
  int width = 0;  // texels a row: the buffer's stride
  int height = 0;
  int bytesPerPixel = 0;
  GLenum format = 0;
  GLenum type = 0;
  GLuint texture = 0;
  GLenum target = GL_TEXTURE_2D;
  GLuint readFbo = 0;
  bool gpuOwned = false;
};

std::mutex g_mutex;
std::vector<HostImage*> g_images;

bool FormatOf(int pixelFormat, GLenum* format, GLenum* type) {
  switch (pixelFormat) {
    case android::PIXEL_FORMAT_RGBA_8888:
      *format = GL_RGBA;
      *type = GL_UNSIGNED_BYTE;
      return true;
    case android::PIXEL_FORMAT_RGB_888:
      *format = GL_RGB;
      *type = GL_UNSIGNED_BYTE;
      return true;
    case android::PIXEL_FORMAT_RGB_565:
      *format = GL_RGB;
      *type = GL_UNSIGNED_SHORT_5_6_5;
      return true;
    default:
      return false;
  }
}

HostImage* Find(EGLImageKHR image) {
  for (HostImage* i : g_images)
    if (i == image) return i;
  return nullptr;
}

// Leaves an EGL_BAD_PARAMETER behind for the caller's error check, exactly
// what a driver without native-buffer images reports.
void RaiseBadParameter(EGLDisplay display) {
  auto create = reinterpret_cast<PFNEGLCREATEIMAGEKHRPROC>(eglGetProcAddress("eglCreateImageKHR"));
  if (create) create(display, EGL_NO_CONTEXT, 0, nullptr, nullptr);
}

void Upload(HostImage& img) {
  GLint bound = 0;
  glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
  if (static_cast<GLuint>(bound) != img.texture) glBindTexture(img.target, img.texture);
  GLint align = 4;
  glGetIntegerv(GL_UNPACK_ALIGNMENT, &align);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  glTexSubImage2D(img.target, 0, 0, 0, img.width, img.height, img.format, img.type, img.base);
  glPixelStorei(GL_UNPACK_ALIGNMENT, align);
  if (static_cast<GLuint>(bound) != img.texture) glBindTexture(img.target, bound);
}

void PackFromRgba(const uint8_t* rgba, HostImage& img) {
  const size_t n = static_cast<size_t>(img.width) * img.height;
  if (img.type == GL_UNSIGNED_BYTE) {
    for (size_t i = 0; i < n; ++i) std::memcpy(img.base + 3 * i, rgba + 4 * i, 3);
    return;
  }
  for (size_t i = 0; i < n; ++i) {
    const uint8_t* p = rgba + 4 * i;
    const uint16_t v =
        static_cast<uint16_t>(((p[0] >> 3) << 11) | ((p[1] >> 2) << 5) | (p[2] >> 3));
    std::memcpy(img.base + 2 * i, &v, 2);
  }
}

// GL_NV_pack_subimage's row length for reads (ES 3 core's value).
constexpr GLenum kPackRowLength = 0x0D02;

// Binds the image's own read framebuffer, made at its first read; false,
// with a line, when it can't be made or is not complete.
bool BindReadFbo(HostImage& img) {
  if (img.readFbo == 0) {
    glGenFramebuffers(1, &img.readFbo);
    if (img.readFbo == 0) {
      // Framebuffer 0 would read the pbuffer; the error is this line's.
      LOGE("[ReadBack] ERROR, glGenFramebuffers failed with error: 0x%X", glGetError());
      return false;
    }
    glBindFramebuffer(GL_FRAMEBUFFER, img.readFbo);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, img.target, img.texture, 0);
  } else {
    glBindFramebuffer(GL_FRAMEBUFFER, img.readFbo);
  }
  const GLenum status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
  if (status == GL_FRAMEBUFFER_COMPLETE) return true;
  LOGE("[ReadBack] ERROR, read framebuffer of %dx%d format 0x%X type 0x%X not complete, status %u",
       img.width, img.height, img.format, img.type, status);
  return false;
}

// Restores the framebuffer and pack alignment a read found.
class ReadState {
 public:
  ReadState() {
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &m_fbo);
    glGetIntegerv(GL_PACK_ALIGNMENT, &m_align);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
  }
  ~ReadState() {
    glPixelStorei(GL_PACK_ALIGNMENT, m_align);
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(m_fbo));
  }

 private:
  GLint m_fbo = 0, m_align = 4;
};

bool ReadBack(HostImage& img) {
  const ReadState state;
  if (!BindReadFbo(img)) return false;
  if (img.format == GL_RGBA) {
    glReadPixels(0, 0, img.width, img.height, GL_RGBA, GL_UNSIGNED_BYTE, img.base);
  } else {
    std::vector<uint8_t> rgba(static_cast<size_t>(img.width) * img.height * 4);
    glReadPixels(0, 0, img.width, img.height, GL_RGBA, GL_UNSIGNED_BYTE, rgba.data());
    PackFromRgba(rgba.data(), img);
  }
  return true;
}

}  // namespace

EGLImageKHR CreateNativeBufferImage(EGLDisplay display, ANativeWindowBuffer* buffer,
                                    const EGLint*) {
  GLenum format = 0, type = 0;
  const auto* handle = buffer ? static_cast<const private_handle_t*>(buffer->handle) : nullptr;
  if (!handle || !handle->base || buffer->width <= 0 || buffer->height <= 0 ||
      buffer->stride < buffer->width || !FormatOf(buffer->format, &format, &type)) {
    RaiseBadParameter(display);
    return EGL_NO_IMAGE_KHR;
  }
  auto* img = new HostImage;
  img->base = reinterpret_cast<uint8_t*>(handle->base);
  img->width = buffer->stride;
  img->height = buffer->height;
  img->bytesPerPixel = android::GraphicBuffer::BytesPerPixel(buffer->format);
  img->format = format;
  img->type = type;
  std::lock_guard<std::mutex> lock(g_mutex);
  g_images.push_back(img);
  return img;
}

EGLBoolean DestroyNativeBufferImage(EGLDisplay, EGLImageKHR image) {
  std::lock_guard<std::mutex> lock(g_mutex);
  for (auto it = g_images.begin(); it != g_images.end(); ++it) {
    if (*it != image) continue;
    if ((*it)->readFbo && eglGetCurrentContext() != EGL_NO_CONTEXT)
      glDeleteFramebuffers(1, &(*it)->readFbo);
    delete *it;
    g_images.erase(it);
    return EGL_TRUE;
  }
  return EGL_FALSE;
}

void ImageTargetTexture2D(GLenum target, EGLImageKHR image) {
  std::lock_guard<std::mutex> lock(g_mutex);
  HostImage* img = Find(image);
  if (!img) return;
  GLint bound = 0;
  glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
  img->texture = static_cast<GLuint>(bound);
  img->target = target;
  glTexImage2D(target, 0, img->format, img->width, img->height, 0, img->format, img->type, nullptr);
  img->gpuOwned = false;
}

void PrepareImageForSampling(EGLImageKHR image) {
  std::lock_guard<std::mutex> lock(g_mutex);
  HostImage* img = Find(image);
  if (img && img->texture && !img->gpuOwned) Upload(*img);
}

void MarkImageRendered(EGLImageKHR image) {
  std::lock_guard<std::mutex> lock(g_mutex);
  if (HostImage* img = Find(image)) img->gpuOwned = true;
}

bool SyncImageToCpu(EGLImageKHR image) {
  std::lock_guard<std::mutex> lock(g_mutex);
  HostImage* img = Find(image);
  if (!img) return false;
  if (!img->gpuOwned || !img->texture) return true;
  img->gpuOwned = false;
  return ReadBack(*img);
}

bool ReadImageRect(EGLImageKHR image, int x, int y, int w, int h, void* dst, int rowPixels) {
  std::lock_guard<std::mutex> lock(g_mutex);
  HostImage* img = Find(image);
  if (!img || !img->texture || img->format != GL_RGBA || !dst || x < 0 || y < 0 || w <= 0 ||
      h <= 0 || w > img->width - x || h > img->height - y || rowPixels < w) {
    LOGE("[ReadImageRect] ERROR, can't read %dx%d at %d,%d of image %p", w, h, x, y, image);
    return false;
  }
  auto* out = static_cast<uint8_t*>(dst);
  const size_t pitch = static_cast<size_t>(rowPixels) * 4;
  if (!img->gpuOwned) {
    for (int r = 0; r < h; ++r)
      std::memcpy(out + r * pitch, img->base + (static_cast<size_t>(y + r) * img->width + x) * 4,
                  static_cast<size_t>(w) * 4);
    return true;
  }
  const ReadState state;
  if (!BindReadFbo(*img)) return false;
  if (HasGLExtension("GL_NV_pack_subimage")) {
    glPixelStorei(kPackRowLength, rowPixels);
    glReadPixels(x, y, w, h, GL_RGBA, GL_UNSIGNED_BYTE, out);
    glPixelStorei(kPackRowLength, 0);
  } else {
    for (int r = 0; r < h; ++r)
      glReadPixels(x, y + r, w, 1, GL_RGBA, GL_UNSIGNED_BYTE, out + r * pitch);
  }
  return true;
}

int CleanBuffer(void* base, size_t, int, int) {
  std::lock_guard<std::mutex> lock(g_mutex);
  int result = 0;
  for (HostImage* img : g_images) {
    if (img->base != base || !img->gpuOwned || !img->texture) continue;
    img->gpuOwned = false;
    if (!ReadBack(*img)) result = -1;
  }
  return result;
}

}  // namespace platform
}  // namespace pe
