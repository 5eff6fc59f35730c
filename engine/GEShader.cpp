#include "GEShader.h"

#include <GLES2/gl2ext.h>
#include <pe/Log.h>
#include <pe/Platform.h>
#include <posteffect/IPostEffect.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "BlockWalk.h"
#include "BmpFile.h"
#include "GECommon.h"
#include "GLFbo.h"
#include "GLProgRGBtoUV.h"
#include "GLProgRGBtoY.h"
#include "GLProgram.h"
#include "GLTexture.h"
#include "PlanesOutput.h"

PE_LOG_MODULE("GEShader");

namespace {

// The NV fence entry points exist only where the driver has the extension;
// without it nothing is created (nothing ever waits on the fence).
struct FenceApi {
  PFNGLGENFENCESNVPROC gen = nullptr;
  PFNGLDELETEFENCESNVPROC del = nullptr;
  PFNGLISFENCENVPROC is = nullptr;
};

const FenceApi* Fences() {
  static FenceApi api;
  static bool looked = false;
  if (!looked) {
    looked = true;
    if (pe::platform::HasGLExtension("GL_NV_fence")) {
      api.gen = reinterpret_cast<PFNGLGENFENCESNVPROC>(eglGetProcAddress("glGenFencesNV"));
      api.del = reinterpret_cast<PFNGLDELETEFENCESNVPROC>(eglGetProcAddress("glDeleteFencesNV"));
      api.is = reinterpret_cast<PFNGLISFENCENVPROC>(eglGetProcAddress("glIsFenceNV"));
    }
  }
  return api.gen && api.del && api.is ? &api : nullptr;
}

unsigned char* GetDataBuf(GLTexture* tex) {
  if (!tex->IsStreaming()) {
    LOGE("[%s] not ST", "GetDataBuf");
    return nullptr;
  }
  return static_cast<unsigned char*>(tex->m_pData);
}

}  // namespace

GEOwnedBase::GEOwnedBase(GEShader* owner) {
  *owner->m_ppOwnedTail = this;
  owner->m_ppOwnedTail = &m_pNext;
}

GEShader::GEShader(pe::LogModule* log) : m_pLog(log ? log : &s_peLogModule) {}

// Owned objects are members of the effect and are gone by now.
GEShader::~GEShader() { DeinitYUVConverter(); }

bool GEShader::Init(GLTexture* src, unsigned, unsigned, unsigned, unsigned width, unsigned height,
                    unsigned char, IYUVConverter* converter) {
  TRACE("Init");
  m_pSrcTexture = src;
  m_pConverter = converter;
  // Without its output passes an effect has nothing to draw into.
  if (!InitYUVConverter(static_cast<int>(width), static_cast<int>(height), static_cast<int>(width),
                        static_cast<int>(height)))
    return false;
  if (m_captureMode) {
    if (const FenceApi* f = Fences()) {
      f->gen(1, &m_uFence);
      LOGI("[%s] fence %u generated", "Init", m_uFence);
    } else {
      LOGD("[%s] GL_NV_fence not supported, no fence", "Init");
    }
  }
  SetCrop(-1.f, -1.f, 0.f, 0.f);
  return true;
}

bool GEShader::Deinit() {
  pe::ScopedTrace trace(*m_pLog, "Deinit");
  m_bInited = false;
  DeinitYUVConverter();
  if (m_captureMode) {
    const FenceApi* f = Fences();
    if (f && m_uFence != static_cast<GLuint>(-1) && f->is(m_uFence)) {
      f->del(1, &m_uFence);
      m_uFence = static_cast<GLuint>(-1);
    }
  }
  for (GEOwnedBase* o = m_pOwned; o; o = o->m_pNext) o->Release();
  return true;
}

bool GEShader::InitCommon(const char* className, GLTexture* src, unsigned dst, unsigned x,
                          unsigned y, unsigned w, unsigned h, unsigned char captureMode,
                          IYUVConverter* converter, int dispW, int dispH) {
  static const char kDashes[] = "------------------------------------------------------";
  PE_LOG(*m_pLog, pe::kLogInfo, "[%s] %s", "Init", kDashes);
  PE_LOG(*m_pLog, pe::kLogInfo, "[%s] %s::Init", "Init", className);
  PE_LOG(*m_pLog, pe::kLogInfo, "[%s] %s", "Init", kDashes);
  PE_LOG(*m_pLog, pe::kLogInfo, "[%s] x=%d y=%d w=%d h=%d  cap=%d", "Init", x, y, w, h,
         captureMode);
  // A second Init after a failed one starts from nothing.
  for (GEOwnedBase* o = m_pOwned; o; o = o->m_pNext) o->Release();
  m_nDispWidth = dispW;
  m_nDispHeight = dispH;
  m_pSrcTexture = src;
  m_uDst = dst;
  m_uX = x;
  m_uY = y;
  m_uWidth = w;
  m_uHeight = h;
  m_captureMode = captureMode;
  return GEShader::Init(src, dst, x, y, w, h, captureMode, converter);
}

bool GEShader::FinishInit() {
  m_bInited = true;
  return true;
}

bool GEShader::RefuseUninited(const char* func) {
  if (m_bInited) return false;
  PE_LOG(*m_pLog, pe::kLogError, "[%s] effect not initialized", func);
  return true;
}

void GEShader::LogError(const char* line, const char* func) {
  PE_LOG(*m_pLog, pe::kLogError, line, func);
}

bool GEShader::LoadAsset(GEOwned<GLTexture>& owner, const char* file, unsigned format,
                         AssetDirs dirs, const char* failLine) {
  owner.reset(new GLTexture());
  std::vector<std::string> paths;
  const std::string over = pe::platform::OverrideDir();
  if (dirs == kOverrideFirst && !over.empty()) paths.push_back(over + file);
  paths.push_back(pe::platform::AssetDir() + file);
  for (const std::string& path : paths) {
    // A user's override must have the depth of the asset it replaces; the
    // system copy is ours.
    const int bits = path == paths.back() ? 0 : pe::bmp::BitsFor(format, GL_UNSIGNED_BYTE);
    if (!owner->LoadBMP(path.c_str(), format, GL_UNSIGNED_BYTE, 0, bits)) continue;
    owner->SetSampling(GL_CLAMP_TO_EDGE);
    return true;
  }
  LogError(failLine, "Init");
  owner.reset(nullptr);
  return false;
}

bool GEShader::MakeNeutralTexture(GEOwned<GLTexture>& owner) {
  static const unsigned char kWhite[16 * 16 * 2] = {
#define PE_FF16 \
  0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF
#define PE_FF128 PE_FF16, PE_FF16, PE_FF16, PE_FF16, PE_FF16, PE_FF16, PE_FF16, PE_FF16
      PE_FF128, PE_FF128, PE_FF128, PE_FF128
#undef PE_FF128
#undef PE_FF16
  };
  owner.reset(new GLTexture());
  if (!owner->Init(GL_RGB, GL_UNSIGNED_SHORT_5_6_5, 16, 16, 0)) {
    LogError("[%s] can't init empty leak texture", "Init");
    return false;
  }
  if (!owner->UpdateNormalTexture(kWhite, 16, 16)) {
    LogError("[%s] can't UpdateNormalTexture for empty texture", "Init");
    return false;
  }
  owner->SetSampling(GL_CLAMP_TO_EDGE, GL_LINEAR);
  return true;
}

bool GEShader::ProcFrame(unsigned a, unsigned b, int w, int h) {
  return RunPreview("ProcFrame", a, b, w, h);
}

bool GEShader::ProcFrame(unsigned char*, unsigned char* dst, int width, int height) {
  return RunCapture("ProcFrame", dst, width, height);
}

bool GEShader::ProcFrame(unsigned char* y, unsigned char*, unsigned char* v, int width,
                         int height) {
  return ProcFrame(y, v, width, height);
}

bool GEShader::SetCrop(float x, float y, float width, float height) {
  if (x < 0 || y < 0 || width <= 0 || height <= 0) {
    m_fCrop[0] = 0.f;
    m_fCrop[1] = 0.f;
    m_fCrop[2] = m_pSrcTexture && m_pSrcTexture->GetAllocWidth() > 0
                     ? static_cast<float>(m_pSrcTexture->GetWidth()) /
                           static_cast<float>(m_pSrcTexture->GetAllocWidth())
                     : 1.f;
    m_fCrop[3] = 1.f;
  } else {
    m_fCrop[0] = x;
    m_fCrop[1] = y;
    m_fCrop[2] = width;
    m_fCrop[3] = height;
  }
  return true;
}

unsigned char* GEShader::GetUVBuf() {
  return m_pUVTexture ? static_cast<unsigned char*>(m_pUVTexture->GetSTDataBuf()) : nullptr;
}

unsigned char* GEShader::GetYBuf() {
  return m_pYTexture ? static_cast<unsigned char*>(m_pYTexture->GetSTDataBuf()) : nullptr;
}

bool GEShader::BindSrcTexture() {
  TRACE("BindSrcTexture");
  if (!m_pSrcTexture) {
    LOGE("[%s] src texture is NULL\n", "BindSrcTexture");
    return false;
  }
  m_pSrcTexture->Bind();
  return CheckGLError("BindSrcTexture", "glBindTexture");
}

bool GEShader::BlockCopy(GLTexture* dst, int dx, int dy, int w, int h, GLTexture* src, int sx,
                         int sy) {
  if (!src || !dst) {
    LOGE("[%s] invalid src(%p) or dst(%p)\n", "BlockCopy", static_cast<void*>(src),
         static_cast<void*>(dst));
    return false;
  }
  if (!src->IsStreaming() || !dst->IsStreaming()) {
    LOGE("[%s] only ST can use this method. src(%d) dst(%d)\n", "BlockCopy", src->IsStreaming(),
         dst->IsStreaming());
    return false;
  }
  if (src->GetFormat() != dst->GetFormat()) {
    LOGE("[%s] inconsistent format. src(%u) dst(%u)\n", "BlockCopy", src->GetFormat(),
         dst->GetFormat());
    return false;
  }
  if (src->GetType() != dst->GetType()) {
    LOGE("[%s] inconsistent type. src(%u) dst(%u)\n", "BlockCopy", src->GetType(), dst->GetType());
    return false;
  }
  if (src->GetFormat() == GL_RGB) {
    if (src->GetType() == GL_UNSIGNED_SHORT_5_6_5)
      return BlkCpyRGB565(dst, dx, dy, w, h, src, sx, sy);
    LOGE("[%s] format %u type %u not support\n", "BlockCopy", src->GetFormat(), src->GetType());
    return false;
  }
  if (src->GetFormat() == GL_RGBA && src->GetType() == GL_UNSIGNED_BYTE)
    return BlkCpyRGBA8888(dst, dx, dy, w, h, src, sx, sy);
  LOGE("[%s] format %u not support\n", "BlockCopy", src->GetFormat());
  return false;
}

namespace {

// Rectangles come from effects' arithmetic; clip them to both textures so a
// bad one copies less instead of writing outside a buffer.
bool ClipBlock(GLTexture* dst, int& dx, int& dy, int& w, int& h, GLTexture* src, int& sx, int& sy) {
  if (dx < 0 || dy < 0 || sx < 0 || sy < 0) return false;
  w = std::min({w, static_cast<int>(dst->GetWidth()) - dx, static_cast<int>(src->GetWidth()) - sx});
  h = std::min(
      {h, static_cast<int>(dst->GetHeight()) - dy, static_cast<int>(src->GetHeight()) - sy});
  return w > 0 && h > 0;
}

bool BlkCpy(GLTexture* dst, int dx, int dy, int w, int h, GLTexture* src, int sx, int sy,
            int pixel) {
  unsigned char* d = GetDataBuf(dst);
  unsigned char* s = GetDataBuf(src);
  if (!d || !s) return false;
  if (!ClipBlock(dst, dx, dy, w, h, src, sx, sy)) return true;
  const size_t dPitch = static_cast<size_t>(dst->GetWidth()) * pixel;
  const size_t sPitch = static_cast<size_t>(src->GetWidth()) * pixel;
  for (int r = 0; r < h; ++r)
    std::memcpy(d + (dy + r) * dPitch + static_cast<size_t>(dx) * pixel,
                s + (sy + r) * sPitch + static_cast<size_t>(sx) * pixel,
                static_cast<size_t>(w) * pixel);
  return true;
}

}  // namespace

bool GEShader::BlkCpyRGBA8888(GLTexture* dst, int dx, int dy, int w, int h, GLTexture* src, int sx,
                              int sy) {
  return BlkCpy(dst, dx, dy, w, h, src, sx, sy, 4);
}

bool GEShader::BlkCpyRGB565(GLTexture* dst, int dx, int dy, int w, int h, GLTexture* src, int sx,
                            int sy) {
  return BlkCpy(dst, dx, dy, w, h, src, sx, sy, 2);
}

bool GEShader::RunPreview(const char* func, unsigned a, unsigned b, int w, int h) {
  if (RefuseUninited(func)) return false;
  if (m_captureMode) {
    PE_LOG(*m_pLog, pe::kLogError, "[%s] Preview mode only", func);
    return false;
  }
  return ProcBlock(a, b, w, h);
}

void GEShader::OnBlock(unsigned x, unsigned y, unsigned w, unsigned h, float s1, float t1) {
  const float s0 = m_fBlockOrigin[0], t0 = m_fBlockOrigin[1];
  const float local[8] = {s0, t1, s0, t0, s1, t0, s1, t1};
  const float W = static_cast<float>(m_nImgW), H = static_cast<float>(m_nImgH);
  const float x0 = x / W, x1 = (x + w) / W, y0 = y / H, y1 = (y + h) / H;
  const float global[8] = {x0, y1, x0, y0, x1, y0, x1, y1};
  std::memcpy(m_fTexCoord, local, sizeof(local));
  std::memcpy(m_fGlobalCoord, global, sizeof(global));
}

bool GEShader::CheckCapture(const char* func, unsigned char* dst, int W, int H) {
  if (RefuseUninited(func)) return false;
  if (!m_captureMode) {
    PE_LOG(*m_pLog, pe::kLogError, "[%s] Capture mode only", func);
    return false;
  }
  if (!m_pConverter) {
    PE_LOG(*m_pLog, pe::kLogError, "[%s] callback not registered", func);
    return false;
  }
  if (!dst || W <= 0 || H <= 0 || !m_pSrcTexture) {
    PE_LOG(*m_pLog, pe::kLogError, "[%s] invalid still %dx%d", func, W, H);
    return false;
  }
  m_nImgW = W;
  m_nImgH = H;
  return true;
}

void GEShader::SetBlock(unsigned x, unsigned y, unsigned w, unsigned h) {
  m_uStartX = x;
  m_uStartY = y;
  m_uRgnW = m_uWidth = w;
  m_uRgnH = m_uHeight = h;
}

bool GEShader::RenderBlock(const char* func, unsigned char* dst, int W, int H, unsigned sx,
                           unsigned sy, unsigned sw, unsigned sh) {
  if (sw && sh &&
      !m_pConverter->convertRect(GetDataBuf(m_pSrcTexture), m_pSrcTexture->GetAllocWidth(),
                                 m_pSrcTexture->GetHeight(), sx, sy, sw, sh))
    PE_LOG(*m_pLog, pe::kLogError, "[%s] convertRect failed for block %u,%u %ux%u", func, sx, sy,
           sw, sh);
  // A block that failed leaves the output unfinished: the walk stops, and the
  // caller's still is not written.
  const GLTexture::HeldUploads held(m_pSrcTexture);
  return ProcBlock(0, 0, W, H) && BlockCopyYUV(dst, dst + static_cast<size_t>(W) * H, W, H,
                                               m_uStartX, m_uStartY, m_uRgnW, m_uRgnH);
}

bool GEShader::RunCapture(const char* func, unsigned char* dst, int W, int H) {
  if (!CheckCapture(func, dst, W, H)) return false;
  const unsigned procW = m_pSrcTexture->GetWidth();
  const unsigned procH = m_pSrcTexture->GetHeight();
  const unsigned allocW = m_pSrcTexture->GetAllocWidth();
  m_nOverlapX = std::max(m_nOverlapX, 0);
  m_nOverlapY = std::max(m_nOverlapY, 0);
  pe::BlockWalk walk(W, H, procW, procH, allocW, m_nOverlapX, m_nOverlapY);
  m_uStartX = m_uStartY = 0;
  m_uRun = 0;
  m_uMaxRun = walk.MaxRuns();
  PE_LOG(*m_pLog, pe::kLogInfo,
         "[%s] fImgWidth=%d, fImgHeight=%d, nProcW=%d, nProcH=%d, max run = %d", func, W, H, procW,
         procH, m_uMaxRun);
  while (m_uRun < m_uMaxRun) {
    PE_LOG(*m_pLog, pe::kLogInfo,
           ">> run %d ===================================================", m_uRun);
    const pe::BlockRect b = walk.Place();
    SetBlock(b.x, b.y, b.w, b.h);
    m_fBlockOrigin[0] = m_fBlockOrigin[1] = 0.f;
    OnBlock(b.x, b.y, b.w, b.h, b.s1, b.t1);
    if (!RenderBlock(func, dst, W, H, b.x, b.y, b.w, b.h)) return false;
    walk.Advance();
    ++m_uRun;
  }
  m_uMaxRun = 0;
  m_uWidth = procW;
  m_uHeight = procH;
  return true;
}

bool GEShader::RunCropCapture(const char* func, unsigned char* dst, int W, int H) {
  if (!CheckCapture(func, dst, W, H)) return false;
  const unsigned procW = m_pSrcTexture->GetWidth();
  const unsigned procH = m_pSrcTexture->GetHeight();
  const unsigned allocW = m_pSrcTexture->GetAllocWidth();
  m_nOverlapX = m_nOverlapY = 0;
  pe::CropBlockWalk walk(W, H, procW, procH, allocW, m_fCrop);
  for (unsigned run = 0; run < walk.MaxRuns(); ++run) {
    const pe::CropBlock b = walk.Place(run);
    SetBlock(b.out.x, b.out.y, b.out.w, b.out.h);
    m_fBlockOrigin[0] = b.out.s0;
    m_fBlockOrigin[1] = b.out.t0;
    OnBlock(b.out.x, b.out.y, b.out.w, b.out.h, b.out.s1, b.out.t1);
    if (!RenderBlock(func, dst, W, H, b.sx, b.sy, b.sw, b.sh)) return false;
  }
  m_uWidth = procW;
  m_uHeight = procH;
  PE_LOG(*m_pLog, pe::kLogInfo, "[%s] leave", func);
  return true;
}

void GEShader::PartialTexCoords(unsigned divisor, const char* func) {
  static const float kCorners[8] = {0, 1, 0, 0, 1, 0, 1, 1};
  LOGI("[%s] partial texcoord", func);
  const float scale =
      divisor > 0 ? static_cast<float>(m_uWidth) / static_cast<float>(divisor) : 1.f;
  for (int i = 0; i < 4; ++i) {
    m_fTexCoord[2 * i] = kCorners[2 * i] * scale;
    m_fTexCoord[2 * i + 1] = kCorners[2 * i + 1];
    LOGI("[%s] %f:%f", func, m_fTexCoord[2 * i], m_fTexCoord[2 * i + 1]);
  }
}

bool GEShader::ReadsTexelCentres(const float* texCoords) const {
  if (m_sourceReads == kReadsAnywhere || !m_pSrcTexture) return false;
  // The quad's corners are {s0, t1, s0, t0, s1, t0, s1, t1}.
  float s0 = texCoords[0], t0 = texCoords[3], s1 = texCoords[4], t1 = texCoords[1];
  if (m_sourceReads == kReadsCroppedTexel && !m_captureMode) {
    const float* c = m_fCrop;
    s0 = s0 * c[2] + c[0];
    s1 = s1 * c[2] + c[0];
    t0 = t0 * c[3] + c[1];
    t1 = t1 * c[3] + c[1];
  }
  const unsigned texW = m_pSrcTexture->GetAllocWidth(), texH = m_pSrcTexture->GetHeight();
  if (!pe::TexelAligned(s0, t0, s1, t1, texW, texH, m_uWidth, m_uHeight)) return false;
  // Also a still's narrow last blocks: a 160-pixel column of a 1280-pixel
  // texture steps 8 texels.
  return m_sourceReads != kReadsTexelKernel || pe::WholeTexelSteps(texW, texH, m_uWidth, m_uHeight);
}

bool GEShader::DrawAndConvert(GLProgram* prog, const float* texCoords,
                              const std::function<void()>& setUniforms) {
  return DrawAndConvert(prog, static_cast<int>(m_uWidth), static_cast<int>(m_uHeight), texCoords,
                        setUniforms);
}

bool GEShader::DrawAndConvert(GLProgram* prog, int w, int h, const float* texCoords,
                              const std::function<void()>& setUniforms) {
  const bool planes = prog->DrawsPlanes();
  if (!planes) {
    m_pRGBFbo->Bind();
    glViewport(static_cast<GLint>(m_uX), static_cast<GLint>(m_uY), w, h);
  }
  if (!prog->Use()) return false;
  if (setUniforms) setUniforms();
  if (planes && !BindPlanes(prog, w, h)) return false;
  prog->SetVertexCoord(4, kQuadVertices);
  prog->SetTextureCoord(2, texCoords);
  // The source is shared with every other pass: linear again after the draw.
  const bool nearest = ReadsTexelCentres(texCoords);
  if (nearest) m_pSrcTexture->SetFilter(GL_NEAREST);
  prog->Draw();
  if (nearest) m_pSrcTexture->SetFilter(GL_LINEAR);
  if (planes)
    m_bPlanesDrawn = true;
  else if (m_captureMode)
    ConvertDrawn(w, h);  // a still's block is copied out only where it was drawn
  else
    ConvertYUV(0, 0, static_cast<int>(m_pSrcTexture->GetWidth()),
               static_cast<int>(m_pSrcTexture->GetHeight()));
  glFlush();
  glFinish();
  return true;
}
