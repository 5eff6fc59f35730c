#include "GEManager.h"

#include <pe/Log.h>
#include <pe/Platform.h>
#include <posteffect/Globals.h>

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

#include "GECommon.h"
#include "GEShader.h"
#include "GLFbo.h"
#include "GLTexture.h"
#include "ProgramCache.h"

PE_LOG_MODULE("GEManager");

int g_Disp_Width = 0;
int g_Disp_Height = 0;
EGLDisplay g_eglDisplay = nullptr;
EGLContext g_eglContext = nullptr;

namespace {

// Frame statistics are process-wide, as the timing logs of every manager
// describe the one camera pipeline.
unsigned s_avgTotalMs = 0;
unsigned s_avgCount = 0;
unsigned s_fpsFrames = 0;
unsigned s_fpsStart = 0;

// The exported display and context name the latest manager still up, so
// that with one manager they are its own and with several they stay valid
// while any runs.
std::mutex s_publishedLock;
std::vector<std::pair<EGLDisplay, EGLContext>> s_live;

void Publish() {
  g_eglDisplay = s_live.empty() ? nullptr : s_live.back().first;
  g_eglContext = s_live.empty() ? nullptr : s_live.back().second;
}

}  // namespace

const GEEffectEntry* GEEffectTable::Find(unsigned number) const {
  for (size_t i = 0; i < count; ++i)
    if (entries[i].number == number) return &entries[i];
  return nullptr;
}

GEManager::GEManager(GEEffectTable table) : m_table(table) {
  // The sketches stay behind the bound unless the host raises it.
  m_uEffectCount = pe::platform::EffectCount(17);
  SetUpEGL();
}

// A failed step leaves what it made for TearDownEGL, which Init runs before
// trying again: a driver that failed once may well succeed on the next frame.
bool GEManager::SetUpEGL() {
  TearDownEGL("SetUpEGL");
  EGLint major = 0, minor = 0;
  m_eglDisplay = pe::platform::AcquireDisplay(&major, &minor);
  if (m_eglDisplay == EGL_NO_DISPLAY) {
    LOGE("[%s] m_eglDisplay failed - EGL_NO_DISPLAY", "GEManager");
    return false;
  }
  LOGD("[%s] m_eglDisplay successfully", "GEManager");
  LOGD("[%s] eglInitialize successfully", "GEManager");

  const EGLint attribs[] = {EGL_SURFACE_TYPE,
                            EGL_WINDOW_BIT | EGL_PBUFFER_BIT,
                            EGL_RED_SIZE,
                            5,
                            EGL_GREEN_SIZE,
                            6,
                            EGL_BLUE_SIZE,
                            5,
                            EGL_ALPHA_SIZE,
                            EGL_DONT_CARE,
                            EGL_DEPTH_SIZE,
                            16,
                            EGL_STENCIL_SIZE,
                            4,
                            EGL_RENDERABLE_TYPE,
                            EGL_OPENGL_ES2_BIT,
                            EGL_NONE};
  EGLConfig configs[10];
  EGLint numConfigs = 0;
  if (!pe::platform::ChooseConfig(m_eglDisplay, attribs, configs, 10, &numConfigs) ||
      numConfigs < 1) {
    LOGE("[%s] eglChooseConfig failed: %d - eglGetError Returned: %d", "GEManager", 0,
         eglGetError());
    return false;
  }
  m_eglConfig = configs[0];
  LOGD("[%s] eglChooseConfig successfully", "GEManager");

  const EGLint ctxAttribs[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
  m_eglContext = eglCreateContext(m_eglDisplay, m_eglConfig, EGL_NO_CONTEXT, ctxAttribs);
  if (m_eglContext == EGL_NO_CONTEXT) {
    LOGE("[%s] eglCreateContext failed - eglGetError Returned: %d", "GEManager", eglGetError());
    return false;
  }
  LOGD("[%s] eglCreateContext successfully", "GEManager");
  pe::ProgramCache::Open(m_eglDisplay, m_eglContext);

  const EGLint pbAttribs[] = {EGL_WIDTH, 1, EGL_HEIGHT, 1, EGL_NONE};
  m_eglSurface = eglCreatePbufferSurface(m_eglDisplay, m_eglConfig, pbAttribs);
  if (m_eglSurface == EGL_NO_SURFACE) {
    LOGE("[%s] eglCreatePbufferSurface failed - eglGetError Returned: %d", "GEManager",
         eglGetError());
    return false;
  }
  LOGD("[%s] eglCreatePbufferSurface successfully", "GEManager");

  if (!eglMakeCurrent(m_eglDisplay, m_eglSurface, m_eglSurface, m_eglContext)) {
    LOGE("[%s] eglMakeCurrent failed: %d - eglGetError Returned: %d", "GEManager", 0,
         eglGetError());
    return false;
  }
  LOGD("[%s] eglMakeCurrent successfully", "GEManager");
  SetWorkerEGL(m_eglDisplay, m_eglContext);
  {
    std::lock_guard<std::mutex> lock(s_publishedLock);
    s_live.emplace_back(m_eglDisplay, m_eglContext);
    Publish();
  }
  m_bEGLReady = true;
  return true;
}

GEManager::~GEManager() {
  Deinit();
  TearDownEGL("~GEManager");
}

void GEManager::TearDownEGL(const char* func) {
  if (m_bEGLReady) {
    std::lock_guard<std::mutex> lock(s_publishedLock);
    s_live.erase(
        std::find(s_live.begin(), s_live.end(), std::make_pair(m_eglDisplay, m_eglContext)));
    Publish();
    SetWorkerEGL(EGL_NO_DISPLAY, EGL_NO_CONTEXT);
  }
  m_bEGLReady = false;
  if (m_eglDisplay == EGL_NO_DISPLAY) return;
  // Programs kept for reuse go with the context.
  if (m_eglContext != EGL_NO_CONTEXT) pe::ProgramCache::Close(m_eglDisplay, m_eglContext);
  LOGI("[%s] eglMakeCurrent", func);
  eglMakeCurrent(m_eglDisplay, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
  if (m_eglSurface != EGL_NO_SURFACE) {
    LOGI("[%s] eglDestroySurface", func);
    eglDestroySurface(m_eglDisplay, m_eglSurface);
    m_eglSurface = EGL_NO_SURFACE;
  }
  if (m_eglContext != EGL_NO_CONTEXT) {
    LOGI("[%s] eglDestroyContext", func);
    eglDestroyContext(m_eglDisplay, m_eglContext);
    m_eglContext = EGL_NO_CONTEXT;
  }
  // Terminated by the last manager of the process only.
  LOGI("[%s] eglTerminate", func);
  pe::platform::ReleaseDisplay(m_eglDisplay);
  m_eglDisplay = EGL_NO_DISPLAY;
}

bool GEManager::Init(ANativeWindowBuffer* buffer, unsigned, unsigned, unsigned, unsigned x,
                     unsigned y, unsigned w, unsigned h, IYUVConverter* converter) {
  if (!m_bEGLReady && !SetUpEGL()) {
    LOGE("[%s] EGL not inited", "Init");
    return false;
  }
  m_nX = static_cast<int>(x);
  m_nY = static_cast<int>(y);
  m_nW = static_cast<int>(w);
  m_nH = static_cast<int>(h);

  int dw = 0, dh = 0;
  if (pe::platform::QueryDisplaySize(&dw, &dh)) {
    g_Disp_Width = std::max(dw, dh);
    g_Disp_Height = std::min(dw, dh);
  }
  LOGI("[%s] g_Disp_Width=%d, g_Disp_Height=%d", "Init", g_Disp_Width, g_Disp_Height);
  m_nDispWidth = g_Disp_Width;
  m_nDispHeight = g_Disp_Height;
  m_pConverter = converter;

  LOGI("[%s] New GLTexture for input frame native addr %p, w=%d, h=%d", "Init",
       static_cast<void*>(buffer), w, h);
  delete m_pSrcTexture;
  m_pSrcTexture = new GLTexture();
  if (!m_pSrcTexture->Init(buffer, GL_RGBA, GL_UNSIGNED_BYTE, w, h)) {
    LOGE("[%s] can't init m_pSrcTexture", "Init");
    return false;
  }
  m_pSrcTexture->SetSampling(GL_CLAMP_TO_EDGE, GL_LINEAR);
  LOGI("[%s] glViewport x=%d y=%d w=%d h=%d", "Init", m_nX, m_nY, m_nW, m_nH);
  glViewport(m_nX, m_nY, m_nW, m_nH);
  m_bInited = true;
  return true;
}

bool GEManager::ChooseEffect(unsigned effect, unsigned char captureMode) {
  TRACE("ChooseEffect");
  const unsigned start = GetTickCount();
  if (!m_bInited) {
    LOGE("[%s] not inited\n", "ChooseEffect");
    return false;
  }
  if (effect >= m_uEffectCount && effect != 99) {
    LOGE("[%s] index %u should less than %u\n", "ChooseEffect", effect, m_uEffectCount);
    return false;
  }
  delete m_pCurrShader;
  m_pCurrShader = nullptr;
  const unsigned deleted = GetTickCount();
  m_bCaptureMode = captureMode != 0;
  LOGI("[%s] effect=%u, capture mode=%d", "ChooseEffect", effect, captureMode);

  const GEEffectEntry* entry = effect >= 1 && effect <= 18 ? m_table.Find(effect) : nullptr;
  GEShader* shader = entry && entry->create ? entry->create() : nullptr;
  if (!shader) {
    LOGE("[%s] wrong index %d\n", "ChooseEffect", static_cast<int>(effect));
    return false;
  }
  if (entry->configure) entry->configure(shader, *this);
  if (!shader->Init(m_pSrcTexture, m_uDstName, m_nX, m_nY, m_nW, m_nH, captureMode, m_pConverter)) {
    delete shader;
    return false;
  }
  m_pCurrShader = shader;
  m_nSelected = static_cast<int>(effect);
  const unsigned done = GetTickCount();
  LOGI("[%s] Effect delete time %d ms, re-init time %d ms, total loading time %d ms\n",
       "ChooseEffect", deleted - start, done - deleted, done - start);
  return true;
}

bool GEManager::SetParam(unsigned set, int a, int b, int c, int d) {
  if (!m_bInited) {
    LOGE("[%s] not inited\n", "SetParam");
    return false;
  }
  if (!m_pCurrShader) {
    LOGE("[GEManager::SetParam] no shader selected.\n");
    return false;
  }
  if (set == 1 && m_nDispWidth > 0 && m_nDispHeight > 0) {
    // Two points in display coordinates into the viewport, in unsigned
    // arithmetic and unclamped, as effects expect.
    const unsigned w = m_nW, h = m_nH, x = m_nX, y = m_nY;
    const unsigned dw = m_nDispWidth, dh = m_nDispHeight;
    a = static_cast<int>(w * (static_cast<unsigned>(a) - x) / dw);
    b = static_cast<int>(h * (static_cast<unsigned>(b) - y) / dh);
    c = static_cast<int>(w * (static_cast<unsigned>(c) - x) / dw);
    d = static_cast<int>(h * (static_cast<unsigned>(d) - y) / dh);
  }
  return m_pCurrShader->SetParam(set, a, b, c, d);
}

void GEManager::SetCrop(float x, float y, float w, float h) {
  if (m_pCurrShader) m_pCurrShader->SetCrop(x, y, w, h);
}

bool GEManager::ProcFrame(unsigned a, unsigned b, int w, int h) {
  const unsigned start = GetTickCount();
  if (!m_bInited) {
    LOGE("[%s] not inited\n", "ProcFrame");
    return false;
  }
  if (!m_pCurrShader) {
    LOGE("[GEManager::ProcFrame] no shader selected");
    return false;
  }
  {
    // The frame was expanded before this call; its passes sample it as is.
    const GLTexture::HeldUploads held(m_pSrcTexture);
    if (!m_pCurrShader->ProcFrame(a, b, w, h)) {
      LOGE("[GPUEffectManager::ProcFrame] failed to process frame\n");
      return false;
    }
  }
  s_avgTotalMs += GetTickCount() - start;
  if (++s_avgCount >= 50) {
    LOGI("[GPUEffectManager::ProcFrame] Avg frame proc time = %.2f ms\n",
         static_cast<double>(s_avgTotalMs) / s_avgCount);
    s_avgTotalMs = 0;
    s_avgCount = 0;
  }
  FPS();
  return true;
}

namespace {

template <typename Call>
bool ProcStill(const char* func, bool inited, GEShader* shader, bool captureMode, int w, int h,
               Call call) {
  const unsigned start = GetTickCount();
  if (!inited) {
    LOGE("[%s] not inited\n", func);
    return false;
  }
  if (!shader) {
    LOGE("[GEManager::ProcFrame] no shader selected");
    return false;
  }
  if (!captureMode) {
    LOGE("[GEManager::ProcFrame] only capture mode use this method");
    return false;
  }
  if (!call()) {
    LOGE("[GPUEffectManager::ProcFrame] failed to process frame\n");
    return false;
  }
  LOGI("[%s] %dx%d image spent %d ms", func, w, h, GetTickCount() - start);
  return true;
}

}  // namespace

bool GEManager::ProcFrame(unsigned char* y, unsigned char* uv, int w, int h) {
  return ProcStill("ProcFrame", m_bInited, m_pCurrShader, m_bCaptureMode, w, h,
                   [&] { return m_pCurrShader->ProcFrame(y, uv, w, h); });
}

bool GEManager::ProcFrame(unsigned char* y, unsigned char* uv, unsigned char* dst, int w, int h) {
  return ProcStill("ProcFrame", m_bInited, m_pCurrShader, m_bCaptureMode, w, h,
                   [&] { return m_pCurrShader->ProcFrame(y, uv, dst, w, h); });
}

bool GEManager::MemcpyYUV(void* y, void* uv) {
  if (!m_pCurrShader) return false;
  return m_pCurrShader->MemcpyYUV(y, uv);
}

void GEManager::FPS() {
  const unsigned now = GetTickCount();
  if (s_fpsFrames == 0 && s_fpsStart == 0) s_fpsStart = now;
  ++s_fpsFrames;
  const unsigned elapsed = now - s_fpsStart;
  if (elapsed > 2000) {
    LOGI("[%s] FPS = %.2f\n", "FPS", s_fpsFrames * 1000.0 / elapsed);
    s_fpsFrames = 0;
    s_fpsStart = now;
  }
}

bool GEManager::Deinit() {
  TRACE("Deinit");
  m_bInited = false;
  m_nSelected = -1;
  LOGI("[%s] delete m_pCurrShader", "Deinit");
  delete m_pCurrShader;
  m_pCurrShader = nullptr;
  LOGI("[%s] delete m_pShaderBypass", "Deinit");
  delete m_pShaderBypass;
  m_pShaderBypass = nullptr;
  LOGI("[%s] delete m_pSrcTexture", "Deinit");
  delete m_pSrcTexture;
  m_pSrcTexture = nullptr;
  LOGI("[%s] delete m_pDstFbo", "Deinit");
  delete m_pDstFbo;
  m_pDstFbo = nullptr;
  return true;
}
