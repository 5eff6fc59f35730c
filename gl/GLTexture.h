#pragma once

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES2/gl2.h>
#include <ui/GraphicBuffer.h>
#include <utils/StrongPointer.h>

struct ANativeWindowBuffer;
struct private_handle_t;

// One GL texture. A normal texture has storage GL allocates; a streaming
// ("ST") texture is an EGL image over a graphics buffer the CPU reads and
// writes at m_pData, rows m_nAllocWidth pixels apart.
class GLTexture {
 public:
  // Reserved format: accepted only when wrapping a buffer, and then with an
  // invalid target (that path is unfinished on purpose).
  static const unsigned kFormatYUV = 0x190B;

  GLTexture();
  virtual ~GLTexture();
  GLTexture(const GLTexture&) = delete;
  GLTexture& operator=(const GLTexture&) = delete;

  // Streaming texture over an existing buffer the caller keeps alive.
  unsigned Init(ANativeWindowBuffer* buffer, unsigned format, unsigned type, unsigned width,
                unsigned height);
  // Normal texture, or (streaming 1) a streaming texture over a graphics
  // buffer of its own. A normal texture takes `pixels` (rows packed at the
  // unpack alignment) as its first contents, in the same call that makes its
  // storage; without them its contents are undefined.
  unsigned Init(unsigned format, unsigned type, unsigned width, unsigned height,
                unsigned char streaming, const void* pixels = nullptr);
  // Whole-image upload into a normal texture; width 0 takes the texture's size.
  unsigned UpdateNormalTexture(const void* pixels, unsigned width, unsigned height);
  // CPU address of a streaming texture, brought up to date with what the GPU
  // rendered into it; null for a normal one.
  void* GetSTDataBuf() const;
  // Copies the w x h texels at (x, y) of a streaming RGBA texture, as its
  // last writer left them, to dst, rows rowPixels texels apart, without
  // handing the buffer to the CPU; 0 for a rectangle outside the texture.
  unsigned ReadRect(int x, int y, int w, int h, void* dst, int rowPixels) const;
  // The texture must be bound.
  unsigned SetParameteri(unsigned pname, int value);
  // Binds the texture and sets both wrap modes and, unless filter is 0, the
  // minification and magnification filters.
  unsigned SetSampling(int wrap, int filter = 0);
  // Both filters, without refreshing a streaming texture's data (sampling
  // state never needs it); the active unit's binding is left as it was.
  unsigned SetFilter(int filter);
  // Binds to the active unit; a streaming texture also gets the CPU's latest
  // data for sampling, once only while its uploads are held.
  unsigned Bind();

  // For the passes of one frame or block, which sample a source the CPU
  // does not write between them: while alive, the texture is uploaded at its
  // first bind only, not at every pass's. Nests.
  class HeldUploads {
   public:
    explicit HeldUploads(GLTexture* texture);
    ~HeldUploads();
    HeldUploads(const HeldUploads&) = delete;
    HeldUploads& operator=(const HeldUploads&) = delete;

   private:
    GLTexture* m_pTexture;
  };
  // Hands the buffer back to the CPU after the GPU or CPU wrote it.
  unsigned clean_buffer();

  // Assets and debug dumps (BMP files). requiredBits, when not 0, refuses a
  // file of any other depth (one the texture's kind would otherwise accept)
  // or whose header's file size is not its length.
  unsigned LoadBMP(const char* path, unsigned format, unsigned type, unsigned char streaming,
                   int requiredBits = 0);
  unsigned SaveBMP(const char* templatePath, const char* outName);
  unsigned SaveBMP_yuvx(const char* templatePath, const char* outName);

  GLuint GetName() const { return m_uName; }
  unsigned GetWidth() const { return static_cast<unsigned>(m_nWidth); }
  unsigned GetAllocWidth() const { return static_cast<unsigned>(m_nAllocWidth); }
  unsigned GetHeight() const { return static_cast<unsigned>(m_nHeight); }
  int GetBytesPerPixel() const { return m_nBpp; }
  unsigned GetFormat() const { return m_uFormat; }
  unsigned GetType() const { return m_uType; }
  unsigned GetTarget() const { return m_uTarget; }
  bool IsStreaming() const { return m_bStreaming != 0; }
  EGLImageKHR GetImage() const { return m_image; }

  // Mapped memory of the graphics buffer (streaming only).
  void* m_pData = nullptr;

 private:
  // Destroys the EGL image and the texture name; func names the caller in
  // the log lines.
  void Release(const char* func);
  void SetDefaultParameters();

  unsigned char m_bStreaming = 0;
  GLuint m_uName = static_cast<GLuint>(-1);
  int m_nWidth = -1;
  int m_nAllocWidth = -1;
  int m_nHeight = -1;
  int m_nBpp = 0;
  unsigned m_uFormat = static_cast<unsigned>(-1);
  unsigned m_uType = static_cast<unsigned>(-1);
  android::sp<android::GraphicBuffer> m_spBuffer;
  EGLImageKHR m_image = EGL_NO_IMAGE_KHR;
  int m_nHolds = 0;
  bool m_bUploadedWhileHeld = false;
  unsigned m_uTarget = GL_TEXTURE_2D;
  // Allocator handle of the buffer behind m_pData, for clean_buffer.
  const private_handle_t* m_pHandle = nullptr;
  // Where the GL objects were made: they are deleted only there.
  EGLDisplay m_display = EGL_NO_DISPLAY;
  EGLContext m_context = EGL_NO_CONTEXT;
};
