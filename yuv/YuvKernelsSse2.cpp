// Part of every x86-64 CPU, so this path needs no run-time check.

#include "YuvKernels.h"

#if defined(PE_YUV_SSE2) && defined(__SSE2__)

#include <emmintrin.h>

#include "YuvKernelsX86.h"

namespace {

struct Chroma16 {
  __m128i c0, c1;  // one byte a pixel: each pair's bytes doubled
};

// Eight c0/c1 pairs serve sixteen pixels.
inline Chroma16 LoadChroma16(const uint8_t* c) {
  const __m128i pairs = _mm_loadu_si128(reinterpret_cast<const __m128i*>(c));
  const __m128i even = _mm_and_si128(pairs, _mm_set1_epi16(0x00FF));
  const __m128i odd = _mm_srli_epi16(pairs, 8);
  const __m128i split = _mm_packus_epi16(even, odd);  // c0 x 8, c1 x 8
  return {_mm_unpacklo_epi8(split, split), _mm_unpackhi_epi8(split, split)};
}

template <bool kStream>
void RowPairYuvx(const uint8_t* y0, const uint8_t* y1, const uint8_t* c, uint8_t* d0, uint8_t* d1,
                 int n) {
  const __m128i ff = _mm_set1_epi8(static_cast<char>(0xFF));
  for (int i = 0; i < n; i += 16) {
    const Chroma16 ch = LoadChroma16(c + i);
    const __m128i c1ffLo = _mm_unpacklo_epi8(ch.c1, ff);
    const __m128i c1ffHi = _mm_unpackhi_epi8(ch.c1, ff);
    StoreYuvx16<kStream>(y0 + i, ch.c0, c1ffLo, c1ffHi, d0 + 4 * i);
    StoreYuvx16<kStream>(y1 + i, ch.c0, c1ffLo, c1ffHi, d1 + 4 * i);
  }
}

// Four pixels (Y, c0, c1, 0) in 32-bit lanes become 12 bytes at the bottom of
// the register, the top 4 bytes zero. SSE2 has no byte shuffle, so the bytes
// move by masks and shifts.
inline __m128i Squeeze4(__m128i px) {
  const __m128i even = _mm_and_si128(px, _mm_set_epi32(0, 0x00FFFFFF, 0, 0x00FFFFFF));
  const __m128i odd = _mm_and_si128(
      _mm_srli_epi64(px, 8),
      _mm_set_epi32(0xFFFF, static_cast<int>(0xFF000000), 0xFFFF, static_cast<int>(0xFF000000)));
  const __m128i six = _mm_or_si128(even, odd);  // 6 bytes at the bottom of each 64-bit half
  const __m128i first = _mm_and_si128(six, _mm_set_epi32(0, 0, 0xFFFF, -1));
  const __m128i second =
      _mm_and_si128(_mm_srli_si128(six, 2), _mm_set_epi32(0, -1, static_cast<int>(0xFFFF0000), 0));
  return _mm_or_si128(first, second);
}

inline void StorePacked16(const uint8_t* y, __m128i c0, __m128i c1zLo, __m128i c1zHi, uint8_t* d) {
  const __m128i luma = _mm_loadu_si128(reinterpret_cast<const __m128i*>(y));
  const __m128i yc0Lo = _mm_unpacklo_epi8(luma, c0);
  const __m128i yc0Hi = _mm_unpackhi_epi8(luma, c0);
  const __m128i p0 = Squeeze4(_mm_unpacklo_epi16(yc0Lo, c1zLo));
  const __m128i p1 = Squeeze4(_mm_unpackhi_epi16(yc0Lo, c1zLo));
  const __m128i p2 = Squeeze4(_mm_unpacklo_epi16(yc0Hi, c1zHi));
  const __m128i p3 = Squeeze4(_mm_unpackhi_epi16(yc0Hi, c1zHi));
  __m128i* out = reinterpret_cast<__m128i*>(d);
  _mm_storeu_si128(out + 0, _mm_or_si128(p0, _mm_slli_si128(p1, 12)));
  _mm_storeu_si128(out + 1, _mm_or_si128(_mm_srli_si128(p1, 4), _mm_slli_si128(p2, 8)));
  _mm_storeu_si128(out + 2, _mm_or_si128(_mm_srli_si128(p2, 8), _mm_slli_si128(p3, 4)));
}

void RowPairPacked(const uint8_t* y0, const uint8_t* y1, const uint8_t* c, uint8_t* d0, uint8_t* d1,
                   int n) {
  const __m128i zero = _mm_setzero_si128();
  for (int i = 0; i < n; i += 16) {
    const Chroma16 ch = LoadChroma16(c + i);
    const __m128i c1zLo = _mm_unpacklo_epi8(ch.c1, zero);
    const __m128i c1zHi = _mm_unpackhi_epi8(ch.c1, zero);
    StorePacked16(y0 + i, ch.c0, c1zLo, c1zHi, d0 + 3 * i);
    StorePacked16(y1 + i, ch.c0, c1zLo, c1zHi, d1 + 3 * i);
  }
}

void StreamFence() { _mm_sfence(); }

}  // namespace

const YuvKernels kYuvKernelsSse2 = {RowPairYuvx<false>, RowPairPacked, RowPairYuvx<true>,
                                    StreamFence};

#endif
