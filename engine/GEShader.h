#pragma once

#include <GLES2/gl2.h>

#include <functional>

class GLTexture;
class GLFbo;
class GLProgram;
class GLProgRGBtoY;
class GLProgRGBtoUV;
class IYUVConverter;

namespace pe {
struct LogModule;
}

// Base of every effect: the source texture, the crop, the GPU YUV output
// converter, block copies, and the two processing helpers every effect's
// ProcFrame is a thin call into (the preview draw and the capture walk).
class GEShader {
 public:
  // log: the effect's module; the shared refusals are logged under its tag.
  explicit GEShader(pe::LogModule* log = nullptr);
  virtual ~GEShader();
  GEShader(const GEShader&) = delete;
  GEShader& operator=(const GEShader&) = delete;

  virtual bool Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned width,
                    unsigned height, unsigned char captureMode, IYUVConverter* converter);
  virtual bool Deinit();
  virtual bool ProcBlock(unsigned a, unsigned b, int w, int h) = 0;
  virtual bool ProcFrame(unsigned a, unsigned b, int w, int h) = 0;
  virtual bool ProcFrame(unsigned char* y, unsigned char* uv, int width, int height) = 0;
  virtual bool ProcFrame(unsigned char* y, unsigned char* u, unsigned char* v, int width,
                         int height);
  virtual bool SetParam(unsigned set, int p0, int p1, int p2, int p3) = 0;
  virtual bool SetCrop(float x, float y, float width, float height);
  virtual unsigned char* GetUVBuf();
  virtual unsigned char* GetYBuf();

  bool BindSrcTexture();
  static bool BlockCopy(GLTexture* dst, int dx, int dy, int w, int h, GLTexture* src, int sx,
                        int sy);
  static bool BlkCpyRGBA8888(GLTexture* dst, int dx, int dy, int w, int h, GLTexture* src, int sx,
                             int sy);
  static bool BlkCpyRGB565(GLTexture* dst, int dx, int dy, int w, int h, GLTexture* src, int sx,
                           int sy);

  // GPU YUV output converter.
  bool InitYUVConverter(int rgbWidth, int rgbHeight, int yWidth, int yHeight);
  bool ConvertYUV(int x, int y, int w, int h);
  bool ConvertYUV(int x, int y);
  bool BlockCopyYUV(unsigned char* dstY, unsigned char* dstUV, int dstStride, int dstHeight, int x,
                    int y, int w, int h);
  bool MemcpyYUV(void* dstY, void* dstUV);
  bool DeinitYUVConverter();

  bool IsInited() const { return m_bInited; }
  bool IsCaptureMode() const { return m_captureMode != 0; }
  const float* Crop() const { return m_fCrop; }
  GLFbo* RgbFbo() const { return m_pRGBFbo; }
  GLTexture* RgbTexture() const { return m_pRGBTexture; }

 protected:
  // Effects state only what is theirs; these own the draw and the walk.
  // Preview: the refusals every effect shares, then one ProcBlock over the
  // whole frame.
  bool RunPreview(const char* func, unsigned a, unsigned b, int w, int h);
  // Capture: the refusals, then the block walk over a W x H still written to
  // dst (Y plane, chroma plane at dst + W x H). SetBlockCoords receives each
  // block before it is fetched and drawn.
  bool RunCapture(const char* func, unsigned char* dst, int W, int H);
  // Called by the walk for each block: the block's rectangle in the still and
  // its far texture coordinates in the source texture.
  virtual void OnBlock(unsigned x, unsigned y, unsigned w, unsigned h, float s1, float t1);
  // The quad's texture coordinates with s scaled by width / divisor: the
  // allocated width restricts sampling to the valid columns of the source.
  void PartialTexCoords(float* coords, unsigned divisor, const char* func);
  // Draws prog over the fixed quad into the RGB result at the viewport (after
  // setUniforms, with the program in use), then converts the result into the
  // Y and chroma planes and waits for the GPU.
  bool DrawAndConvert(GLProgram* prog, const float* texCoords,
                      const std::function<void()>& setUniforms = nullptr);

  GLTexture* m_pSrcTexture = nullptr;
  void* m_pUser = nullptr;
  unsigned m_uDst = 0;
  unsigned m_uX = static_cast<unsigned>(-1);
  unsigned m_uY = static_cast<unsigned>(-1);
  unsigned m_uWidth = static_cast<unsigned>(-1);
  unsigned m_uHeight = static_cast<unsigned>(-1);
  unsigned m_uRun = 0;
  unsigned m_uMaxRun = 0;
  int m_nOverlapX = -1;
  int m_nOverlapY = -1;
  unsigned m_uStartX = 0, m_uStartY = 0, m_uRgnW = 0, m_uRgnH = 0;
  int m_nDispWidth = -1;
  int m_nDispHeight = -1;
  unsigned char m_uState = 0;
  unsigned char m_captureMode = 0;
  GLuint m_uFence = static_cast<GLuint>(-1);
  bool m_bInited = false;

  // Converter objects.
  GLFbo* m_pYFbo = nullptr;
  GLFbo* m_pUVFbo = nullptr;
  int m_nYWidth = 0, m_nYHeight = 0, m_nYStride = 0, m_nYTexHeight = 0;
  int m_nUVStride = 0, m_nUVHeight = 0;
  int m_nRGBWidth = 0, m_nRGBHeight = 0;
  GLTexture* m_pYTexture = nullptr;
  GLTexture* m_pUVTexture = nullptr;
  GLProgRGBtoY* m_pProgRGBtoY = nullptr;
  GLProgRGBtoUV* m_pProgRGBtoUV = nullptr;
  GLTexture* m_pRGBTexture = nullptr;
  GLFbo* m_pRGBFbo = nullptr;
  float m_fYTexCoord[8] = {0, 1, 0, 0, 1, 0, 1, 1};
  float m_fUVTexCoord[8] = {0, 1, 0, 0, 1, 0, 1, 1};

  IYUVConverter* m_pConverter = nullptr;
  float m_fCrop[4] = {0, 0, 1, 1};

 private:
  pe::LogModule* m_pLog;
};
