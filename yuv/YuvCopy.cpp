#include "YuvCopy.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "YuvKernels.h"

namespace {

constexpr int kGroup = 16;

int WholeGroups(int pixels, int group) { return pixels / group * group; }

const uint8_t* Bytes(const void* p) { return static_cast<const uint8_t*>(p); }

// A semi-planar source seen from the first pixel expanded: its Y row and the
// chroma row that serves it, the pair column rounded down to even.
struct Source {
  const uint8_t* y;
  const uint8_t* c;
  ptrdiff_t stride;

  static Source At(const void* srcY, const void* srcC, int stride, int x, int y) {
    const ptrdiff_t s = stride;
    return {Bytes(srcY) + y * s + x, Bytes(srcC) + (y / 2) * s + (x & ~1), s};
  }
  static Source Frame(const void* src, int stride, int height, int x, int y) {
    return At(src, Bytes(src) + static_cast<ptrdiff_t>(stride) * height, stride, x, y);
  }
};

// The common loop: `pairs` row pairs of n pixels, each chroma row read once
// for the two destination rows it serves.
void Expand(YuvRowPairFn kernel, Source s, int n, int pairs, uint8_t* d, ptrdiff_t dstRowBytes) {
  for (int p = 0; p < pairs; ++p) {
    kernel(s.y, s.y + s.stride, s.c, d, d + dstRowBytes, n);
    s.y += 2 * s.stride;
    s.c += s.stride;
    d += 2 * dstRowBytes;
  }
}

void ExpandYuvx(const YuvKernels& k, Source s, int n, int pairs, void* dst, ptrdiff_t dstRowBytes) {
  uint8_t* d = static_cast<uint8_t*>(dst);
  const bool aligned = reinterpret_cast<uintptr_t>(d) % 32 == 0 && dstRowBytes % 32 == 0;
  if (k.yuvxStream && aligned && int64_t{8} * n * pairs >= kYuvStreamMinBytes) {
    Expand(k.yuvxStream, s, n, pairs, d, dstRowBytes);
    k.streamFence();
  } else {
    Expand(k.yuvx, s, n, pairs, d, dstRowBytes);
  }
}

// Fills a yuvx texture of dw x dh from the rectangle's n columns (whole
// groups) and `rows` rows (whole pairs): every row is extended with its last
// pixel, and the last row is repeated down to dh.
void ExpandPadded(const YuvKernels& k, Source s, int n, int rows, uint8_t* dst, int dw, int dh) {
  if (n <= 0 || rows <= 0) return;
  const ptrdiff_t rowBytes = static_cast<ptrdiff_t>(dw) * 4;
  ExpandYuvx(k, s, n, rows / 2, dst, rowBytes);

  // The edge pixel comes from the source, as the kernel wrote it: reading it
  // back would cost a memory round trip per row after streaming stores.
  const int end = WholeGroups(dw, kGroup);
  for (int r = 0; n < end && r < rows; ++r) {
    const uint8_t* c = s.c + (r / 2) * s.stride + n - 2;
    const uint8_t px[4] = {s.y[r * s.stride + n - 1], c[0], c[1], 255};
    uint8_t* row = dst + r * rowBytes;
    for (int x = n; x < end; ++x) std::memcpy(row + 4 * x, px, 4);
  }
  const uint8_t* last = dst + (rows - 1) * rowBytes;
  for (int r = rows; r < dh; ++r)
    std::memcpy(dst + r * rowBytes, last, static_cast<size_t>(rowBytes));
}

// Every path this build holds; a path not built here is never referenced.
const YuvCopy kScalarCopy(YuvPath::Scalar, kYuvKernelsScalar);
#ifdef PE_YUV_SSE2
const YuvCopy kSse2Copy(YuvPath::SSE2, kYuvKernelsSse2);
#endif
#ifdef PE_YUV_AVX2
const YuvCopy kAvx2Copy(YuvPath::AVX2, kYuvKernelsAvx2);
#endif
#ifdef PE_YUV_NEON
const YuvCopy kNeonCopy(YuvPath::NEON, kYuvKernelsNeon);
#endif

const YuvCopy* Built(YuvPath path) {
  switch (path) {
    case YuvPath::Scalar:
      return &kScalarCopy;
#ifdef PE_YUV_SSE2
    case YuvPath::SSE2:
      return &kSse2Copy;
#endif
#ifdef PE_YUV_AVX2
    case YuvPath::AVX2:
      return &kAvx2Copy;
#endif
#ifdef PE_YUV_NEON
    case YuvPath::NEON:
      return &kNeonCopy;
#endif
    default:
      return nullptr;
  }
}

struct CpuFeatures {
  bool avx2 = false;
};

// Asked once: the answer cannot change while the process runs.
const CpuFeatures& Cpu() {
  static const CpuFeatures features = [] {
    CpuFeatures f;
#if defined(__x86_64__) || defined(__i386__)
    __builtin_cpu_init();
    f.avx2 = __builtin_cpu_supports("avx2");
#endif
    return f;
  }();
  return features;
}

bool CpuRuns(YuvPath path) { return path != YuvPath::AVX2 || Cpu().avx2; }

std::atomic<const YuvCopy*> g_active{nullptr};

const YuvCopy& Active() {
  const YuvCopy* copy = g_active.load(std::memory_order_acquire);
  if (!copy) {
    const YuvCopy* best = YuvCopy::For(BestYuvPath());
    // A ForceYuvPath that got in first wins.
    copy = g_active.compare_exchange_strong(copy, best, std::memory_order_acq_rel) ? best : copy;
  }
  return *copy;
}

}  // namespace

const char* YuvPathName(YuvPath path) {
  switch (path) {
    case YuvPath::Scalar:
      return "scalar";
    case YuvPath::SSE2:
      return "sse2";
    case YuvPath::AVX2:
      return "avx2";
    case YuvPath::NEON:
      return "neon";
  }
  return "unknown";
}

bool YuvPathAvailable(YuvPath path) { return Built(path) && CpuRuns(path); }

YuvPath BestYuvPath() {
  static const YuvPath best = [] {
    YuvPath chosen = YuvPath::Scalar;
    for (YuvPath p : {YuvPath::SSE2, YuvPath::AVX2, YuvPath::NEON})
      if (YuvPathAvailable(p)) chosen = p;
    return chosen;
  }();
  return best;
}

YuvPath ActiveYuvPath() { return Active().Path(); }

bool ForceYuvPath(YuvPath path) {
  const YuvCopy* copy = YuvCopy::For(path);
  if (!copy) return false;
  g_active.store(copy, std::memory_order_release);
  return true;
}

const YuvCopy* YuvCopy::For(YuvPath path) { return CpuRuns(path) ? Built(path) : nullptr; }

void YuvCopy::sp2yuv(void* dst, const void* src, int width, int height) const {
  Expand(m_kernels.packed, Source::Frame(src, width, height, 0, 0), WholeGroups(width, kGroup),
         height / 2, static_cast<uint8_t*>(dst), 3 * static_cast<ptrdiff_t>(width));
}

void YuvCopy::sp2yuvx(void* dst, const void* src, int width, int height) const {
  sp2yuvx(dst, width, src, width, height);
}

void YuvCopy::sp2yuvx(void* dst, int dstStride, const void* src, int width, int height) const {
  ExpandYuvx(m_kernels, Source::Frame(src, width, height, 0, 0), WholeGroups(width, kGroup),
             height / 2, dst, 4 * static_cast<ptrdiff_t>(dstStride));
}

void YuvCopy::sp2yuvx(void* dst, const void* src, int srcStride, int srcHeight, int x, int y, int w,
                      int h) const {
  ExpandYuvx(m_kernels, Source::Frame(src, srcStride, srcHeight, x, y), WholeGroups(w, 2 * kGroup),
             h / 2, dst, 4 * static_cast<ptrdiff_t>(w));
}

void YuvCopy::sp2yuvxs(void* dst, int dstStride, const void* src, int srcStride, int srcHeight,
                       int x, int y, int w, int h) const {
  ExpandYuvx(m_kernels, Source::Frame(src, srcStride, srcHeight, x, y), WholeGroups(w, kGroup),
             h / 2, dst, 4 * static_cast<ptrdiff_t>(dstStride));
}

void YuvCopy::sp2yuvxs(void* dst, int dw, int dh, const void* src, int w, int h, int rx, int ry,
                       int rw, int rh) const {
  ExpandPadded(m_kernels, Source::Frame(src, w, h, rx, ry), WholeGroups(rw, kGroup), rh / 2 * 2,
               static_cast<uint8_t*>(dst), dw, dh);
}

void YuvCopy::sp2yuvxs(void* dst, int dw, int dh, const void* srcY, const void* srcUV, int w,
                       int /*h*/, int rx, int ry, int rw, int rh) const {
  ExpandPadded(m_kernels, Source::At(srcY, srcUV, w, rx, ry), WholeGroups(rw, kGroup), rh / 2 * 2,
               static_cast<uint8_t*>(dst), dw, dh);
}

void sp2yuv(void* dst, const void* src, int width, int height) {
  Active().sp2yuv(dst, src, width, height);
}

void sp2yuvx(void* dst, const void* src, int width, int height) {
  Active().sp2yuvx(dst, src, width, height);
}

void sp2yuvx(void* dst, int dstStride, const void* src, int width, int height) {
  Active().sp2yuvx(dst, dstStride, src, width, height);
}

void sp2yuvx(void* dst, const void* src, int srcStride, int srcHeight, int x, int y, int w, int h) {
  Active().sp2yuvx(dst, src, srcStride, srcHeight, x, y, w, h);
}

void sp2yuvxs(void* dst, int dstStride, const void* src, int srcStride, int srcHeight, int x, int y,
              int w, int h) {
  Active().sp2yuvxs(dst, dstStride, src, srcStride, srcHeight, x, y, w, h);
}

void sp2yuvxs(void* dst, int dw, int dh, const void* src, int w, int h, int rx, int ry, int rw,
              int rh) {
  Active().sp2yuvxs(dst, dw, dh, src, w, h, rx, ry, rw, rh);
}

void sp2yuvxs(void* dst, int dw, int dh, const void* srcY, const void* srcUV, int w, int h, int rx,
              int ry, int rw, int rh) {
  Active().sp2yuvxs(dst, dw, dh, srcY, srcUV, w, h, rx, ry, rw, rh);
}
