// The reference every vector path is compared with, byte for byte, and the
// path of builds without vector code.

#include "YuvKernels.h"

namespace {

void RowPairYuvx(const uint8_t* y0, const uint8_t* y1, const uint8_t* c, uint8_t* d0, uint8_t* d1,
                 int n) {
  for (int i = 0; i < n; i += 2, c += 2, y0 += 2, y1 += 2, d0 += 8, d1 += 8) {
    const uint8_t c0 = c[0], c1 = c[1];
    d0[0] = y0[0], d0[1] = c0, d0[2] = c1, d0[3] = 255;
    d0[4] = y0[1], d0[5] = c0, d0[6] = c1, d0[7] = 255;
    d1[0] = y1[0], d1[1] = c0, d1[2] = c1, d1[3] = 255;
    d1[4] = y1[1], d1[5] = c0, d1[6] = c1, d1[7] = 255;
  }
}

void RowPairPacked(const uint8_t* y0, const uint8_t* y1, const uint8_t* c, uint8_t* d0, uint8_t* d1,
                   int n) {
  for (int i = 0; i < n; i += 2, c += 2, y0 += 2, y1 += 2, d0 += 6, d1 += 6) {
    const uint8_t c0 = c[0], c1 = c[1];
    d0[0] = y0[0], d0[1] = c0, d0[2] = c1;
    d0[3] = y0[1], d0[4] = c0, d0[5] = c1;
    d1[0] = y1[0], d1[1] = c0, d1[2] = c1;
    d1[3] = y1[1], d1[4] = c0, d1[5] = c1;
  }
}

}  // namespace

const YuvKernels kYuvKernelsScalar = {RowPairYuvx, RowPairPacked, nullptr, nullptr};
