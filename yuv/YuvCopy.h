#pragma once

#include <cstdint>

// Expansion of semi-planar YUV (a Y plane and an interleaved c0/c1 plane of
// half the rows; NV21 has c0 = V, c1 = U) into the layouts the GPU side reads:
// "yuvx", four bytes a pixel (Y, c0, c1, 255), and a packed three-byte layout.
//
// Chroma is replicated over its 2x2 group, never interpolated. Widths are
// taken in whole groups of 16 pixels (32 for the rectangle sp2yuvx) and
// heights in row pairs: remainder columns and an odd last row are not
// written. Rectangles start on even coordinates for the chroma to line up.
// Nothing is allocated and nothing is checked: these run on every preview
// frame, and the callers own the sizes.

// Whole frame, stride = width, into packed Y, c0, c1 rows of 3 x width bytes.
void sp2yuv(void* dst, const void* src, int width, int height);

// Whole frame, stride = width, into yuvx rows of width pixels.
void sp2yuvx(void* dst, const void* src, int width, int height);

// Whole frame, stride = width, into yuvx rows of dstStride pixels.
void sp2yuvx(void* dst, int dstStride, const void* src, int width, int height);

// Rectangle (x, y, w, h) of a srcStride x srcHeight frame into tight yuvx rows
// of w pixels, in groups of 32 pixels.
void sp2yuvx(void* dst, const void* src, int srcStride, int srcHeight, int x, int y, int w, int h);

// Rectangle (x, y, w, h) of a srcStride x srcHeight frame into yuvx rows of
// dstStride pixels.
void sp2yuvxs(void* dst, int dstStride, const void* src, int srcStride, int srcHeight, int x, int y,
              int w, int h);

// Rectangle (rx, ry, rw, rh) of a w x h frame into a dw x dh yuvx texture with
// the edges replicated: each row pair of the rectangle is written in rw / 16
// groups and extended with the row's last pixel to dw / 16 groups; the rows
// below the last whole row pair, down to dh - 1, repeat the row above (dw x 4
// bytes). A rectangle without a whole group or row pair writes nothing.
void sp2yuvxs(void* dst, int dw, int dh, const void* src, int w, int h, int rx, int ry, int rw,
              int rh);

// As above, with the chroma plane at its own address (same stride w); h is
// not read.
void sp2yuvxs(void* dst, int dw, int dh, const void* srcY, const void* srcUV, int w, int h, int rx,
              int ry, int rw, int rh);

// Code paths of the routines, in order of preference on each architecture.
enum class YuvPath { Scalar, SSE2, AVX2, NEON };

const char* YuvPathName(YuvPath path);

// Whether this build holds the path and this CPU runs it; Scalar always.
bool YuvPathAvailable(YuvPath path);

// The path chosen for this CPU when the process first asked.
YuvPath BestYuvPath();

// The path the free functions use now.
YuvPath ActiveYuvPath();

// Makes the free functions use `path` (Scalar for the reference results);
// false, and nothing changes, if the path is not available. Meant for tests
// and benchmarks; calls racing with conversions see the old or the new path.
bool ForceYuvPath(YuvPath path);

// A yuvx conversion that writes at least this many bytes, to a destination
// whose address and row length are multiples of 32 bytes, uses stores that
// bypass the cache where the path has them (SSE2, AVX2): an output this size
// outgrows a core's share of the last-level cache before anyone reads it, and
// skipping the read-for-ownership of every line is what makes a cold frame
// as fast as a memset.
constexpr int64_t kYuvStreamMinBytes = int64_t{4} << 20;

struct YuvKernels;

// The routines above bound to one path, for tests and benchmarks that compare
// paths without switching the process-wide one.
class YuvCopy {
 public:
  // nullptr if the path is not available.
  static const YuvCopy* For(YuvPath path);

  YuvPath Path() const { return m_path; }

  void sp2yuv(void* dst, const void* src, int width, int height) const;
  void sp2yuvx(void* dst, const void* src, int width, int height) const;
  void sp2yuvx(void* dst, int dstStride, const void* src, int width, int height) const;
  void sp2yuvx(void* dst, const void* src, int srcStride, int srcHeight, int x, int y, int w,
               int h) const;
  void sp2yuvxs(void* dst, int dstStride, const void* src, int srcStride, int srcHeight, int x,
                int y, int w, int h) const;
  void sp2yuvxs(void* dst, int dw, int dh, const void* src, int w, int h, int rx, int ry, int rw,
                int rh) const;
  void sp2yuvxs(void* dst, int dw, int dh, const void* srcY, const void* srcUV, int w, int h,
                int rx, int ry, int rw, int rh) const;

  constexpr YuvCopy(YuvPath path, const YuvKernels& kernels) : m_path(path), m_kernels(kernels) {}
  YuvCopy(const YuvCopy&) = delete;
  YuvCopy& operator=(const YuvCopy&) = delete;

 private:
  YuvPath m_path;
  const YuvKernels& m_kernels;
};
