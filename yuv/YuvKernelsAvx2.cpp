// Built with -mavx2 and reached only after the CPU was asked. Everything here
// has internal linkage (YuvKernelsX86.h too): an inline function shared with
// other files could have this copy kept by the linker and run on CPUs without
// AVX2.

#include "YuvKernels.h"

#if defined(PE_YUV_AVX2) && defined(__AVX2__)

#include <immintrin.h>

#include "YuvKernelsX86.h"

namespace {

template <bool kStream>
inline void Store(uint8_t* d, __m256i v) {
  if (kStream)
    _mm256_stream_si256(reinterpret_cast<__m256i*>(d), v);
  else
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), v);
}

// Per 128-bit lane: the eight c0 bytes of the lane's pairs, then the eight c1.
inline __m256i SplitPairs() {
  return _mm256_setr_epi8(0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15, 0, 2, 4, 6, 8, 10,
                          12, 14, 1, 3, 5, 7, 9, 11, 13, 15);
}

// 32 pixels of one row. The unpacks stay inside 128-bit lanes, so the four
// results hold pixels (0-3 | 16-19), (4-7 | 20-23), (8-11 | 24-27) and
// (12-15 | 28-31); the lane permutes put them in order.
template <bool kStream>
inline void StoreYuvx32(const uint8_t* y, __m256i c0, __m256i c1ffLo, __m256i c1ffHi, uint8_t* d) {
  const __m256i luma = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(y));
  const __m256i yc0Lo = _mm256_unpacklo_epi8(luma, c0);
  const __m256i yc0Hi = _mm256_unpackhi_epi8(luma, c0);
  const __m256i a = _mm256_unpacklo_epi16(yc0Lo, c1ffLo);
  const __m256i b = _mm256_unpackhi_epi16(yc0Lo, c1ffLo);
  const __m256i e = _mm256_unpacklo_epi16(yc0Hi, c1ffHi);
  const __m256i f = _mm256_unpackhi_epi16(yc0Hi, c1ffHi);
  Store<kStream>(d + 0, _mm256_permute2x128_si256(a, b, 0x20));
  Store<kStream>(d + 32, _mm256_permute2x128_si256(e, f, 0x20));
  Store<kStream>(d + 64, _mm256_permute2x128_si256(a, b, 0x31));
  Store<kStream>(d + 96, _mm256_permute2x128_si256(e, f, 0x31));
}

template <bool kStream>
void RowPairYuvx(const uint8_t* y0, const uint8_t* y1, const uint8_t* c, uint8_t* d0, uint8_t* d1,
                 int n) {
  const __m256i ff = _mm256_set1_epi8(static_cast<char>(0xFF));
  const __m256i split = SplitPairs();
  int i = 0;
  for (; i + 32 <= n; i += 32) {
    // Lane k holds pairs 8k..8k+7; doubling within the lane gives the c0 and
    // c1 bytes of pixels 16k..16k+15 in order.
    const __m256i pairs =
        _mm256_shuffle_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(c + i)), split);
    const __m256i c0 = _mm256_unpacklo_epi8(pairs, pairs);
    const __m256i c1 = _mm256_unpackhi_epi8(pairs, pairs);
    const __m256i c1ffLo = _mm256_unpacklo_epi8(c1, ff);
    const __m256i c1ffHi = _mm256_unpackhi_epi8(c1, ff);
    StoreYuvx32<kStream>(y0 + i, c0, c1ffLo, c1ffHi, d0 + 4 * i);
    StoreYuvx32<kStream>(y1 + i, c0, c1ffLo, c1ffHi, d1 + 4 * i);
  }
  if (i < n) {  // one group of 16 left
    const __m128i pairs = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(c + i)),
                                           _mm256_castsi256_si128(split));
    const __m128i c0 = _mm_unpacklo_epi8(pairs, pairs);
    const __m128i c1 = _mm_unpackhi_epi8(pairs, pairs);
    const __m128i c1ffLo = _mm_unpacklo_epi8(c1, _mm256_castsi256_si128(ff));
    const __m128i c1ffHi = _mm_unpackhi_epi8(c1, _mm256_castsi256_si128(ff));
    StoreYuvx16<kStream>(y0 + i, c0, c1ffLo, c1ffHi, d0 + 4 * i);
    StoreYuvx16<kStream>(y1 + i, c0, c1ffLo, c1ffHi, d1 + 4 * i);
  }
}

// Sixteen packed pixels are 48 bytes; each 16-byte store gathers its Y bytes
// and its chroma bytes with one byte shuffle each (-1 selects zero).
inline void StorePacked16(const uint8_t* y, __m128i pairs, uint8_t* d) {
  const __m128i luma = _mm_loadu_si128(reinterpret_cast<const __m128i*>(y));
  const __m128i y0 = _mm_setr_epi8(0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1, -1, 5);
  const __m128i c0 = _mm_setr_epi8(-1, 0, 1, -1, 0, 1, -1, 2, 3, -1, 2, 3, -1, 4, 5, -1);
  const __m128i y1 = _mm_setr_epi8(-1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1, 10, -1);
  const __m128i c1 = _mm_setr_epi8(4, 5, -1, 6, 7, -1, 6, 7, -1, 8, 9, -1, 8, 9, -1, 10);
  const __m128i y2 = _mm_setr_epi8(-1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15, -1, -1);
  const __m128i c2 = _mm_setr_epi8(11, -1, 10, 11, -1, 12, 13, -1, 12, 13, -1, 14, 15, -1, 14, 15);
  __m128i* out = reinterpret_cast<__m128i*>(d);
  _mm_storeu_si128(out + 0, _mm_or_si128(_mm_shuffle_epi8(luma, y0), _mm_shuffle_epi8(pairs, c0)));
  _mm_storeu_si128(out + 1, _mm_or_si128(_mm_shuffle_epi8(luma, y1), _mm_shuffle_epi8(pairs, c1)));
  _mm_storeu_si128(out + 2, _mm_or_si128(_mm_shuffle_epi8(luma, y2), _mm_shuffle_epi8(pairs, c2)));
}

void RowPairPacked(const uint8_t* y0, const uint8_t* y1, const uint8_t* c, uint8_t* d0, uint8_t* d1,
                   int n) {
  for (int i = 0; i < n; i += 16) {
    const __m128i pairs = _mm_loadu_si128(reinterpret_cast<const __m128i*>(c + i));
    StorePacked16(y0 + i, pairs, d0 + 3 * i);
    StorePacked16(y1 + i, pairs, d1 + 3 * i);
  }
}

void StreamFence() { _mm_sfence(); }

}  // namespace

const YuvKernels kYuvKernelsAvx2 = {RowPairYuvx<false>, RowPairPacked, RowPairYuvx<true>,
                                    StreamFence};

#endif
