#pragma once

// Row kernels behind YuvCopy.h, one table per code path. A kernel expands n
// pixels (a multiple of 16) of two Y rows that share one chroma row, reading
// exactly y0[0, n), y1[0, n) and c[0, n) and writing exactly n pixels of d0 and
// d1. The row loops, rectangles and padding are written once, in YuvCopy.cpp.

#include <cstdint>

using YuvRowPairFn = void (*)(const uint8_t* y0, const uint8_t* y1, const uint8_t* c, uint8_t* d0,
                              uint8_t* d1, int n);

struct YuvKernels {
  YuvRowPairFn yuvx;    // 4 bytes a pixel: Y, c0, c1, 255
  YuvRowPairFn packed;  // 3 bytes a pixel: Y, c0, c1
  // yuvx with stores that bypass the cache, for outputs too large to stay in
  // it; d0 and d1 are 32-byte aligned. Null where the path has none.
  YuvRowPairFn yuvxStream;
  // Orders the streaming stores before the routine returns.
  void (*streamFence)();
};

extern const YuvKernels kYuvKernelsScalar;
#ifdef PE_YUV_SSE2
extern const YuvKernels kYuvKernelsSse2;
#endif
#ifdef PE_YUV_AVX2
extern const YuvKernels kYuvKernelsAvx2;
#endif
#ifdef PE_YUV_NEON
extern const YuvKernels kYuvKernelsNeon;
#endif
