// De-interleaving loads of the chroma pairs, doubling by zipping a vector with
// itself, and interleaving stores of three or four planes. Advanced SIMD is
// part of every AArch64 CPU, so this path needs no run-time check.

#include "YuvKernels.h"

#if defined(PE_YUV_NEON) && defined(__ARM_NEON)

#include <arm_neon.h>

namespace {

inline uint8x16_t Double8(uint8x8_t v) {
  const uint8x8x2_t z = vzip_u8(v, v);
  return vcombine_u8(z.val[0], z.val[1]);
}

void RowPairYuvx(const uint8_t* y0, const uint8_t* y1, const uint8_t* c, uint8_t* d0, uint8_t* d1,
                 int n) {
  uint8x16x4_t px;
  px.val[3] = vdupq_n_u8(255);
  int i = 0;
  for (; i + 32 <= n; i += 32) {
    const uint8x16x2_t pairs = vld2q_u8(c + i);
    const uint8x16x2_t c0 = vzipq_u8(pairs.val[0], pairs.val[0]);
    const uint8x16x2_t c1 = vzipq_u8(pairs.val[1], pairs.val[1]);
    for (int half = 0; half < 2; ++half) {
      px.val[1] = c0.val[half];
      px.val[2] = c1.val[half];
      px.val[0] = vld1q_u8(y0 + i + 16 * half);
      vst4q_u8(d0 + 4 * (i + 16 * half), px);
      px.val[0] = vld1q_u8(y1 + i + 16 * half);
      vst4q_u8(d1 + 4 * (i + 16 * half), px);
    }
  }
  if (i < n) {  // one group of 16 left
    const uint8x8x2_t pairs = vld2_u8(c + i);
    px.val[1] = Double8(pairs.val[0]);
    px.val[2] = Double8(pairs.val[1]);
    px.val[0] = vld1q_u8(y0 + i);
    vst4q_u8(d0 + 4 * i, px);
    px.val[0] = vld1q_u8(y1 + i);
    vst4q_u8(d1 + 4 * i, px);
  }
}

void RowPairPacked(const uint8_t* y0, const uint8_t* y1, const uint8_t* c, uint8_t* d0, uint8_t* d1,
                   int n) {
  uint8x16x3_t px;
  for (int i = 0; i < n; i += 16) {
    const uint8x8x2_t pairs = vld2_u8(c + i);
    px.val[1] = Double8(pairs.val[0]);
    px.val[2] = Double8(pairs.val[1]);
    px.val[0] = vld1q_u8(y0 + i);
    vst3q_u8(d0 + 3 * i, px);
    px.val[0] = vld1q_u8(y1 + i);
    vst3q_u8(d1 + 3 * i, px);
  }
}

}  // namespace

const YuvKernels kYuvKernelsNeon = {RowPairYuvx, RowPairPacked, nullptr, nullptr};

#endif
