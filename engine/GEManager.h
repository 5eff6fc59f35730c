#pragma once

#include <EGL/egl.h>

#include <cstddef>

class GEShader;
class GLTexture;
class GLFbo;
class IYUVConverter;
struct ANativeWindowBuffer;

// One row of the effect-number table: the number, the name logged and the
// factory of the effect class behind it.
struct GEEffectEntry {
  unsigned number;
  const char* name;
  GEShader* (*create)();
  // Hands manager state to the new effect before its Init (Mirror's
  // landscape flag); null for most effects.
  void (*configure)(GEShader* shader, const class GEManager& manager);
};

struct GEEffectTable {
  const GEEffectEntry* entries = nullptr;
  size_t count = 0;
  const GEEffectEntry* Find(unsigned number) const;
};

// Owns the off-screen EGL context of the worker thread, the source texture
// over the service's frame buffer and the current effect.
class GEManager {
 public:
  explicit GEManager(GEEffectTable table = GEEffectTable());
  ~GEManager();
  GEManager(const GEManager&) = delete;
  GEManager& operator=(const GEManager&) = delete;

  bool Init(ANativeWindowBuffer* buffer, unsigned, unsigned, unsigned, unsigned x, unsigned y,
            unsigned w, unsigned h, IYUVConverter* converter);
  bool ChooseEffect(unsigned effect, unsigned char captureMode);
  bool SetParam(unsigned set, int a, int b, int c, int d);
  void SetCrop(float x, float y, float w, float h);
  bool ProcFrame(unsigned a, unsigned b, int w, int h);
  bool ProcFrame(unsigned char* y, unsigned char* uv, int w, int h);
  bool ProcFrame(unsigned char* y, unsigned char* uv, unsigned char* dst, int w, int h);
  bool MemcpyYUV(void* y, void* uv);
  void FPS();
  bool Deinit();

  bool IsEGLReady() const { return m_bEGLReady; }
  bool IsInited() const { return m_bInited; }
  GEShader* CurrentShader() const { return m_pCurrShader; }
  GLTexture* SrcTexture() const { return m_pSrcTexture; }

  bool m_bLandscaped = false;

 private:
  bool SetUpEGL();
  void TearDownEGL(const char* func);

  EGLDisplay m_eglDisplay = EGL_NO_DISPLAY;
  EGLConfig m_eglConfig = nullptr;
  EGLSurface m_eglSurface = EGL_NO_SURFACE;
  EGLContext m_eglContext = EGL_NO_CONTEXT;
  bool m_bEGLReady = false;
  bool m_bInited = false;
  unsigned m_uEffectCount = 17;
  bool m_bCaptureMode = false;
  int m_nSelected = -1;
  GEShader* m_pCurrShader = nullptr;
  GEShader* m_pShaderBypass = nullptr;
  GLTexture* m_pSrcTexture = nullptr;
  GLFbo* m_pDstFbo = nullptr;
  unsigned m_uDstName = 0;
  int m_nX = -1, m_nY = -1, m_nW = -1, m_nH = -1;
  int m_nDispWidth = -1, m_nDispHeight = -1;
  [[maybe_unused]] bool m_bFlag = false;  // kept for the layout; read nowhere
  IYUVConverter* m_pConverter = nullptr;
  GEEffectTable m_table;
};
