#pragma once

// Pieces the SSE2 and AVX2 kernels share. Included only by those two files,
// each built with its own flags: everything here has internal linkage, so
// each file keeps its own copy and the linker cannot hand the SSE2 file an
// AVX2-encoded one.

#include <emmintrin.h>

#include <cstdint>

namespace {

template <bool kStream>
inline void Store(uint8_t* d, __m128i v) {
  if (kStream)
    _mm_stream_si128(reinterpret_cast<__m128i*>(d), v);
  else
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d), v);
}

// Sixteen yuvx pixels of one row from their Y bytes, c0 doubled per pixel,
// and (c1, 255) pairs, which both rows of a pair share.
template <bool kStream>
inline void StoreYuvx16(const uint8_t* y, __m128i c0, __m128i c1ffLo, __m128i c1ffHi, uint8_t* d) {
  const __m128i luma = _mm_loadu_si128(reinterpret_cast<const __m128i*>(y));
  const __m128i yc0Lo = _mm_unpacklo_epi8(luma, c0);
  const __m128i yc0Hi = _mm_unpackhi_epi8(luma, c0);
  Store<kStream>(d + 0, _mm_unpacklo_epi16(yc0Lo, c1ffLo));
  Store<kStream>(d + 16, _mm_unpackhi_epi16(yc0Lo, c1ffLo));
  Store<kStream>(d + 32, _mm_unpacklo_epi16(yc0Hi, c1ffHi));
  Store<kStream>(d + 48, _mm_unpackhi_epi16(yc0Hi, c1ffHi));
}

}  // namespace
