// The GPU YUV output converter of GEShader: the RGB result becomes a Y plane
// and an interleaved V/U plane in streaming textures the CPU copies out.

#include <pe/Log.h>
#include <pe/Platform.h>

#include <algorithm>
#include <cstring>

#include "GEShader.h"
#include "GLFbo.h"
#include "GLProgRGBtoUV.h"
#include "GLProgRGBtoY.h"
#include "GLProgram.h"
#include "GLTexture.h"
#include "PlanesOutput.h"

PE_LOG_MODULE("GEShader");

namespace {

bool MakeTarget(GLTexture** tex, GLFbo** fbo, int w, int h, unsigned char streaming, GLint filter) {
  *tex = new GLTexture();
  if (!(*tex)->Init(GL_RGBA, GL_UNSIGNED_BYTE, w, h, streaming)) return false;
  (*tex)->SetSampling(GL_CLAMP_TO_EDGE, filter);
  *fbo = new GLFbo();
  if (!(*fbo)->Init()) return false;
  (*fbo)->SetColorAttachment(*tex);
  return true;
}

void FarCoords(float* c, int x, int y, int w, int h, int rgbW, int rgbH) {
  // Integer quotients on purpose: the rectangle always ends at the far edges.
  const float s = rgbW > 0 ? static_cast<float>(static_cast<unsigned>(x + w) / rgbW) : 0.f;
  const float t = rgbH > 0 ? static_cast<float>(static_cast<unsigned>(y + h) / rgbH) : 0.f;
  const float v[8] = {0, t, 0, 0, s, 0, s, t};
  std::memcpy(c, v, sizeof(v));
}

}  // namespace

bool GEShader::InitYUVConverter(int rgbWidth, int rgbHeight, int yWidth, int yHeight) {
  TRACE("InitYUVConverter");
  if (rgbWidth <= 0 || rgbHeight <= 0 || yWidth <= 0 || yHeight <= 0) {
    LOGE("[%s] invalid size rgb %dx%d y %dx%d", "InitYUVConverter", rgbWidth, rgbHeight, yWidth,
         yHeight);
    return false;
  }
  m_nRGBWidth = rgbWidth;
  m_nRGBHeight = rgbHeight;
  m_nYWidth = yWidth;
  m_nYHeight = yHeight;
  m_nYStride = 4 * (((yWidth / 4) + 31) / 32 * 32);
  m_nUVStride = m_nYStride;
  m_nYTexHeight = yHeight;
  m_nUVHeight = yHeight / 2;

  if (!MakeTarget(&m_pRGBTexture, &m_pRGBFbo, rgbWidth, rgbHeight, 0, 0)) return false;
  LOGI("[%s] Creating tex/FBO for Y plane", "InitYUVConverter");
  if (!MakeTarget(&m_pYTexture, &m_pYFbo, m_nYStride / 4, m_nYTexHeight, 1, GL_NEAREST))
    return false;
  LOGI("[%s] Creating tex/FBO for UV plane", "InitYUVConverter");
  if (!MakeTarget(&m_pUVTexture, &m_pUVFbo, m_nUVStride / 4, m_nUVHeight, 1, GL_NEAREST))
    return false;

  const float w = static_cast<float>(rgbWidth), h = static_cast<float>(rgbHeight);
  m_pProgRGBtoY = new GLProgRGBtoY();
  const float yShift[8] = {-1.5f / w, 0, -0.5f / w, 0, 0.5f / w, 0, 1.5f / w, 0};
  m_pProgRGBtoY->SetShift(yShift);
  if (!m_pProgRGBtoY->Load()) {
    LOGE("[%s] can't load program RGBtoY", "InitYUVConverter");
    return false;
  }
  m_pProgRGBtoY->SetTextures(0, m_pRGBTexture);

  m_pProgRGBtoUV = new GLProgRGBtoUV();
  if (!m_pProgRGBtoUV->Load()) {
    LOGE("[%s] can't load program RGBtoUV", "InitYUVConverter");
    return false;
  }
  m_pProgRGBtoUV->SetTextures(0, m_pRGBTexture);
  const float uvShift[4] = {-1.f / w, 0.f / h, 1.f / w, 0.f / h};
  m_pProgRGBtoUV->SetShift(uvShift);
  // Whole groups of four columns and pairs of rows only: each one-pass
  // fragment covers such a group.
  if (rgbWidth % 4 == 0 && rgbHeight % 2 == 0 && pe::PlanesSupported()) {
    m_pPlanes = new pe::PlanesTarget();
    if (!m_pPlanes->Init(m_pUVTexture)) return false;
    m_bReadsAtPitch = pe::platform::HasGLExtension("GL_NV_pack_subimage");
  }
  return true;
}

bool GEShader::BindPlanes(GLProgram* prog, int w, int h) {
  // A still's block may end off the groups of four columns and pairs of rows:
  // the last group is drawn whole and only the block is copied out.
  const bool fits =
      m_captureMode ? w <= m_nRGBWidth && h <= m_nRGBHeight : w == m_nRGBWidth && h == m_nRGBHeight;
  if (!m_pPlanes || m_uX != 0 || m_uY != 0 || w <= 0 || h <= 0 || !fits) {
    PE_LOG(*m_pLog, pe::kLogError, "[%s] can't draw %dx%d at %u,%u into the %dx%d planes",
           "DrawAndConvert", w, h, m_uX, m_uY, m_nRGBWidth, m_nRGBHeight);
    return false;
  }
  if (!m_pPlanes->Bind()) return false;
  const int groupsW = (w + 3) / 4, groupsH = (h + 1) / 2;
  glViewport(0, 0, groupsW, groupsH);
  prog->SetPlanesStretch(static_cast<float>(4 * groupsW) / static_cast<float>(w),
                         static_cast<float>(2 * groupsH) / static_cast<float>(h));
  return true;
}

void GEShader::DrawLumaChroma(const int* yView, const float* yCoords, const int* uvView,
                              const float* uvCoords) {
  m_bPlanesDrawn = false;
  // Luma reads whole texels; chroma lets filtering average each 2x2 group.
  m_pYFbo->Bind();
  glViewport(yView[0], yView[1], yView[2], yView[3]);
  m_pProgRGBtoY->Use();
  m_pProgRGBtoY->SetVertexCoord(4, kQuadVertices);
  m_pRGBTexture->SetFilter(GL_NEAREST);
  m_pProgRGBtoY->SetTextureCoord(2, yCoords);
  m_pProgRGBtoY->Draw();

  m_pUVFbo->Bind();
  glViewport(uvView[0], uvView[1], uvView[2], uvView[3]);
  m_pRGBTexture->SetFilter(GL_LINEAR);
  m_pProgRGBtoUV->Use();
  m_pProgRGBtoUV->SetVertexCoord(4, kQuadVertices);
  m_pProgRGBtoUV->SetTextureCoord(2, uvCoords);
  m_pProgRGBtoUV->Draw();
}

bool GEShader::ConvertYUV(int x, int y, int w, int h) {
  FarCoords(m_fYTexCoord, x, y, w, h, m_nRGBWidth, m_nRGBHeight);
  FarCoords(m_fUVTexCoord, x, y, w, h, m_nRGBWidth, m_nRGBHeight);
  const int yView[4] = {x / 4, y, w / 4, h}, uvView[4] = {x, y, w / 4, h / 2};
  DrawLumaChroma(yView, m_fYTexCoord, uvView, m_fUVTexCoord);
  return true;
}

bool GEShader::ConvertDrawn(int w, int h) {
  const int rgbW = m_nRGBWidth, rgbH = m_nRGBHeight;
  // A whole target, or one whose columns do not fall into whole groups of
  // four, goes through the whole-plane conversion as it always has.
  if ((w >= rgbW && h >= rgbH) || rgbW % 4 || rgbH % 2 || w <= 0 || h <= 0 || w % 4)
    return ConvertYUV(0, 0, rgbW, rgbH);
  // The same sample points as the whole-plane pass, over the drawn corner
  // only: a still's last column and row of blocks are smaller than the
  // target, and converting the rest is wasted.
  const int yW = w / 4, uvH = (h + 1) / 2;
  const float s = static_cast<float>(w) / static_cast<float>(rgbW);
  const float tY = static_cast<float>(h) / static_cast<float>(rgbH);
  const float tUV = static_cast<float>(2 * uvH) / static_cast<float>(rgbH);
  const float yCoords[8] = {0, tY, 0, 0, s, 0, s, tY};
  const float uvCoords[8] = {0, tUV, 0, 0, s, 0, s, tUV};
  const int yView[4] = {0, 0, yW, h}, uvView[4] = {0, 0, yW, uvH};
  DrawLumaChroma(yView, yCoords, uvView, uvCoords);
  return true;
}

bool GEShader::ConvertYUV(int x, int y) {
  const int yView[4] = {x, y, m_nRGBWidth / 4, m_nRGBHeight};
  const int uvView[4] = {x, y, m_nRGBWidth / 4, m_nRGBHeight / 2};
  DrawLumaChroma(yView, kQuadTexCoords, uvView, kQuadTexCoords);
  return true;
}

bool GEShader::BlockCopyYUV(unsigned char* dstY, unsigned char* dstUV, int dstStride, int dstHeight,
                            int x, int y, int w, int h) {
  if (!dstY || !dstUV) {
    LOGE("[%s] pDstYStart (%p) or pDstUVStart (%p) is NULL\n", "BlockCopyYUV",
         static_cast<void*>(dstY), static_cast<void*>(dstUV));
    return false;
  }
  if (x < 0 || y < 0) return false;
  // Columns s on and rows r on of the planes go to column x, row y on.
  int s = 0;
  if (x != 0) {
    s = m_nOverlapX / 2;
    x += s;
    w -= s;
  }
  int r = 0;
  int e = y + h;
  if (y != 0) {
    r = m_nOverlapY / 2;
    y += r;
  }
  // Never past the destination or the planes, whatever the block arithmetic
  // produced (a still narrower than one rounded block, say).
  w = std::min({w, dstStride - x, m_nYStride - s});
  e = std::min({e, dstHeight, y + m_nYTexHeight - r});
  // A still's planes were drawn whole by the GPU and go to the caller's
  // private output: read straight there, the plane buffers left alone, where
  // the driver packs rows at the output's pitch in one read (a read a row
  // would cost more than the copy it saves).
  if (m_captureMode && m_bPlanesDrawn && m_bReadsAtPitch && x % 4 == 0 && s % 4 == 0 &&
      w % 4 == 0 && dstStride % 4 == 0)
    return w <= 0 || e <= y || ReadPlanes(dstY, dstUV, dstStride, x, y, w, e - y, s, r);

  // Planes that did not come back from the GPU hold an older frame.
  GLTexture* const luma[2] = {m_bPlanesDrawn ? m_pPlanes->LumaHalf(0) : m_pYTexture,
                              m_bPlanesDrawn ? m_pPlanes->LumaHalf(1) : nullptr};
  if (!luma[0] || !m_pUVTexture || !luma[0]->clean_buffer() ||
      (luma[1] && !luma[1]->clean_buffer()) || !m_pUVTexture->clean_buffer())
    return false;
  const unsigned char* srcY = static_cast<unsigned char*>(luma[0]->m_pData);
  const unsigned char* srcY2 = luma[1] ? static_cast<unsigned char*>(luma[1]->m_pData) : nullptr;
  const unsigned char* srcUV = static_cast<unsigned char*>(m_pUVTexture->m_pData);
  if (!srcY || (luma[1] && !srcY2) || !srcUV) return false;
  // Luma row r: row r of the whole plane, or row r / 2 of its half.
  auto lumaRow = [&](int row) {
    return srcY2 ? (row % 2 ? srcY2 : srcY) + static_cast<size_t>(row / 2) * m_nYStride
                 : srcY + static_cast<size_t>(row) * m_nYStride;
  };
  for (int j = y; j < e; ++j, ++r) {
    if (w <= 0) break;
    std::memcpy(dstY + static_cast<size_t>(j) * dstStride + x, lumaRow(r) + s,
                static_cast<size_t>(w));
    if (j % 2 == 0 && r / 2 < m_nUVHeight)
      std::memcpy(dstUV + static_cast<size_t>(j / 2) * dstStride + x,
                  srcUV + static_cast<size_t>(r / 2) * m_nUVStride + s, static_cast<size_t>(w));
  }
  return true;
}

bool GEShader::ReadPlanes(unsigned char* dstY, unsigned char* dstUV, int dstStride, int x, int y,
                          int w, int rows, int s, int r) {
  // A texel holds four columns; a luma half holds every other row, so its
  // rows land two destination rows apart.
  const int texels = w / 4, col = s / 4, pitch = dstStride / 4;
  for (int half = 0; half < 2; ++half) {
    const int first = (half - r % 2 + 2) % 2;  // rows of this half: first, first + 2, ...
    const int count = (rows - first + 1) / 2;
    if (count > 0 && !m_pPlanes->LumaHalf(half)->ReadRect(
                         col, (r + first) / 2, texels, count,
                         dstY + static_cast<size_t>(y + first) * dstStride + x, 2 * pitch))
      return false;
  }
  // Chroma comes with the even destination rows, each from the plane's row
  // (r + their offset) / 2: consecutive rows, however r falls.
  const int first = y % 2, even = (rows - first + 1) / 2;
  const int from = (r + first) / 2;
  const int count = std::min(even, m_nUVHeight - from);
  return count <= 0 || m_pUVTexture->ReadRect(
                           col, from, texels, count,
                           dstUV + static_cast<size_t>((y + first) / 2) * dstStride + x, pitch);
}

bool GEShader::MemcpyYUV(void* dstY, void* dstUV) {
  return BlockCopyYUV(static_cast<unsigned char*>(dstY), static_cast<unsigned char*>(dstUV),
                      m_nYWidth, m_nYHeight, 0, 0, m_nYWidth, m_nYHeight);
}

bool GEShader::DeinitYUVConverter() {
  TRACE("DeinitYUVConverter");
  delete m_pPlanes;
  m_pPlanes = nullptr;
  m_bPlanesDrawn = false;
  m_bReadsAtPitch = false;
  delete m_pYTexture;
  m_pYTexture = nullptr;
  delete m_pUVTexture;
  m_pUVTexture = nullptr;
  delete m_pRGBTexture;
  m_pRGBTexture = nullptr;
  delete m_pYFbo;
  m_pYFbo = nullptr;
  delete m_pUVFbo;
  m_pUVFbo = nullptr;
  delete m_pRGBFbo;
  m_pRGBFbo = nullptr;
  delete m_pProgRGBtoY;
  m_pProgRGBtoY = nullptr;
  delete m_pProgRGBtoUV;
  m_pProgRGBtoUV = nullptr;
  return true;
}
