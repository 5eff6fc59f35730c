#pragma once

#include <GLES2/gl2.h>

#include <functional>
#include <memory>

class GLTexture;
class GLFbo;
class GLProgram;
class GLProgRGBtoY;
class GLProgRGBtoUV;
class IYUVConverter;

namespace pe {
struct LogModule;
class PlanesTarget;
}  // namespace pe

class GEShader;

// Link of the list of GL objects an effect owns; the base releases them all
// in Deinit, so an effect declares its objects and never deletes them.
class GEOwnedBase {
 public:
  virtual void Release() = 0;

 protected:
  explicit GEOwnedBase(GEShader* owner);
  ~GEOwnedBase() = default;

 private:
  friend class GEShader;
  GEOwnedBase* m_pNext = nullptr;
};

// One owned program or texture of an effect. Members are released in the
// order they are declared: programs first, then textures, as effects list
// them.
template <class T>
class GEOwned final : public GEOwnedBase {
 public:
  explicit GEOwned(GEShader* owner) : GEOwnedBase(owner) {}
  void Release() override { m_p.reset(); }
  void reset(T* p) { m_p.reset(p); }
  T* get() const { return m_p.get(); }
  T* operator->() const { return m_p.get(); }
  explicit operator bool() const { return m_p != nullptr; }

 private:
  std::unique_ptr<T> m_p;
};

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
  // Preview: one ProcBlock over the whole frame after the shared refusals.
  virtual bool ProcFrame(unsigned a, unsigned b, int w, int h);
  // Capture: the plain block walk; effects with a walk of their own override.
  virtual bool ProcFrame(unsigned char* y, unsigned char* uv, int width, int height);
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
  // The w x h corner of the RGB result just drawn into both planes.
  bool ConvertDrawn(int w, int h);
  // The luma and chroma passes over the RGB result, each into its viewport
  // (x, y, w, h) from its quad's texture coordinates.
  void DrawLumaChroma(const int* yView, const float* yCoords, const int* uvView,
                      const float* uvCoords);
  bool BlockCopyYUV(unsigned char* dstY, unsigned char* dstUV, int dstStride, int dstHeight, int x,
                    int y, int w, int h);
  // The drawn planes' rows r on, columns s on (both in pixels, whole groups
  // of four columns), read from the GPU straight to rows y on, column x on.
  bool ReadPlanes(unsigned char* dstY, unsigned char* dstUV, int dstStride, int x, int y, int w,
                  int rows, int s, int r);
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
  // dst (Y plane, chroma plane at dst + W x H). OnBlock receives each block
  // before it is fetched and drawn.
  bool RunCapture(const char* func, unsigned char* dst, int W, int H);
  // The refusals every capture shares (not initialised, preview mode, no
  // converter, no still); records the still's size.
  bool CheckCapture(const char* func, unsigned char* dst, int W, int H);
  // Capture honouring the crop: blocks placed from the picture's origin
  // without the right-edge move, each filled from the cropped source area and
  // stretched over its block.
  bool RunCropCapture(const char* func, unsigned char* dst, int W, int H);
  // Called by the walks for each block: the block's rectangle in the still
  // and its far texture coordinates in the source texture. The default fills
  // m_fTexCoord with the block's coordinates and m_fGlobalCoord with its
  // place in the whole picture.
  virtual void OnBlock(unsigned x, unsigned y, unsigned w, unsigned h, float s1, float t1);
  // The quad's texture coordinates with s scaled by width / divisor into
  // m_fTexCoord: the allocated width restricts sampling to the valid columns
  // of the source.
  void PartialTexCoords(unsigned divisor, const char* func);

  // What every effect's Init does first: the banner, the arguments stored,
  // the display size the effect reports, the base Init.
  bool InitCommon(const char* className, GLTexture* src, unsigned dst, unsigned x, unsigned y,
                  unsigned w, unsigned h, unsigned char captureMode, IYUVConverter* converter,
                  int dispW = 960, int dispH = 544);
  // Takes prog into owner and loads it; a failure logs failLine under the
  // effect's tag ("[%s] can't load program" and the like). A program whose
  // colour is the effect's result (not an intermediate pass) is loaded able
  // to draw the output planes directly where the context allows.
  template <class T>
  bool LoadProgram(GEOwned<T>& owner, T* prog, const char* failLine, bool drawsResult = true,
                   const char* func = "Init") {
    owner.reset(prog);
    prog->RequestPlanes(drawsResult && m_pPlanes);
    if (owner->Load()) return true;
    LogError(failLine, func);
    return false;
  }
  // Where an asset is looked for: the override directory first, falling back
  // to the system file when the override is missing or broken, or only the
  // system directory.
  enum AssetDirs { kOverrideFirst, kSystemOnly };
  // Loads a BMP asset into a new texture in owner, clamped to edge on both
  // axes. A file found in neither place logs failLine.
  bool LoadAsset(GEOwned<GLTexture>& owner, const char* file, unsigned format, AssetDirs dirs,
                 const char* failLine);
  // The 16 x 16 white texture that stands in for a mask.
  bool MakeNeutralTexture(GEOwned<GLTexture>& owner);
  // Marks the effect initialised; what every Init returns at its end.
  bool FinishInit();
  // The refusal of a call made before Init: logs and returns true.
  bool RefuseUninited(const char* func);
  void LogError(const char* line, const char* func);
  // The effect's log module, for its own lines.
  pe::LogModule& Log() const { return *m_pLog; }
  // Draws prog over the fixed quad into the RGB result at the viewport (after
  // setUniforms, with the program in use), then converts the result into the
  // Y and chroma planes and waits for the GPU. A program that draws the
  // planes itself does both in one pass where the viewport allows.
  bool DrawAndConvert(GLProgram* prog, const float* texCoords,
                      const std::function<void()>& setUniforms = nullptr);
  // The same for a w x h draw from the target's corner with its own texture
  // coordinates (a walk with blocks of its own).
  bool DrawAndConvert(GLProgram* prog, int w, int h, const float* texCoords,
                      const std::function<void()>& setUniforms);
  // Binds the one-pass output for a w x h draw of prog (in use) from the
  // target's corner, viewport and stretch included; logs and fails where the
  // draw does not fit it.
  bool BindPlanes(GLProgram* prog, int w, int h);

  // Where the look pass reads the source, stated by the effect. When a draw
  // maps the source one texel to one pixel, a read at the pixel's own texel
  // (or, for a kernel, one viewport pixel from it) lands on texel centres,
  // where linear filtering returns the texel itself: the draw then samples
  // the source nearest, which costs far less on a software rasteriser and
  // never more on a GPU.
  enum SourceReads {
    kReadsAnywhere,
    kReadsOwnTexel,
    // Own texel through the preview's crop uniform (x, y, scale x, scale y).
    kReadsCroppedTexel,
    // Own texel and its neighbours 1 / viewport size of the texture away.
    kReadsTexelKernel,
  };
  SourceReads m_sourceReads = kReadsAnywhere;
  bool ReadsTexelCentres(const float* texCoords) const;

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
  // The one-pass output, when the context has it, and whether the planes
  // last drawn are its (the luma then in two halves) or the converter's.
  pe::PlanesTarget* m_pPlanes = nullptr;
  bool m_bPlanesDrawn = false;
  // Whether the driver reads the planes at another pitch in one call
  // (GL_NV_pack_subimage), asked once when the planes are made.
  bool m_bReadsAtPitch = false;
  float m_fYTexCoord[8] = {0, 1, 0, 0, 1, 0, 1, 1};
  float m_fUVTexCoord[8] = {0, 1, 0, 0, 1, 0, 1, 1};

  IYUVConverter* m_pConverter = nullptr;
  float m_fCrop[4] = {0, 0, 1, 1};

  // The effect's texture coordinates and, in capture, the block's place in
  // the whole picture (both in the quad's corner order).
  float m_fTexCoord[8] = {0, 1, 0, 0, 1, 0, 1, 1};
  float m_fGlobalCoord[8] = {0, 1, 0, 0, 1, 0, 1, 1};
  // Size of the still being captured.
  int m_nImgW = 0, m_nImgH = 0;
  // Near texture coordinates of the current block (non-zero where the
  // crop-aware walk fetched a border around it).
  float m_fBlockOrigin[2] = {0, 0};

  // The block being captured: origin and size, also the viewport's size.
  void SetBlock(unsigned x, unsigned y, unsigned w, unsigned h);
  // Fills the source texture from the still's rectangle (sx, sy, sw, sh)
  // (nothing when it is empty), draws the current block and writes it back
  // into the still's planes at dst.
  bool RenderBlock(const char* func, unsigned char* dst, int W, int H, unsigned sx, unsigned sy,
                   unsigned sw, unsigned sh);

 private:
  friend class GEOwnedBase;
  pe::LogModule* m_pLog;
  GEOwnedBase* m_pOwned = nullptr;
  GEOwnedBase** m_ppOwnedTail = &m_pOwned;
};
