#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "YuvCopy.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint8_t kSentinel = 0xA5;
constexpr size_t kLead = 64;

// n bytes followed by `tail` sentinel bytes and then an inaccessible page, so
// that a read past the end faults whatever the build's instrumentation; kLead
// sentinel bytes before them catch writes below the start. A tail that is not
// a multiple of 32 moves the start off vector alignment.
class Guarded {
 public:
  Guarded(size_t n, size_t tail, const uint8_t* content = nullptr) : m_n(n), m_tail(tail) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    m_span = (kLead + n + tail + page - 1) / page * page + page;
    void* base = mmap(nullptr, m_span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (base == MAP_FAILED ||
        mprotect(static_cast<uint8_t*>(base) + m_span - page, page, PROT_NONE) != 0) {
      std::perror("guard page");
      std::abort();
    }
    m_base = static_cast<uint8_t*>(base);
    m_data = m_base + m_span - page - tail - n;
    std::memset(m_data - kLead, kSentinel, kLead + n + tail);
    if (content) std::memcpy(m_data, content, n);
  }
  ~Guarded() { munmap(m_base, m_span); }
  Guarded(const Guarded&) = delete;
  Guarded& operator=(const Guarded&) = delete;

  uint8_t* data() const { return m_data; }
  // The data with the sentinels around it.
  Bytes All() const { return Bytes(m_data - kLead, m_data + m_n + m_tail); }

 private:
  size_t m_n, m_tail, m_span;
  uint8_t* m_base;
  uint8_t* m_data;
};

// An NV21 frame of noise, w x h, Y plane then chroma plane.
struct Frame {
  Frame(int width, int height) : w(width), h(height), ySize(size_t(w) * h), content(ySize * 3 / 2) {
    uint32_t seed = static_cast<uint32_t>(w * 31 + h);
    for (uint8_t& b : content)
      b = static_cast<uint8_t>((seed = seed * 1664525u + 1013904223u) >> 24);
  }
  const uint8_t* chroma() const { return content.data() + ySize; }
  int w, h;
  size_t ySize;
  Bytes content;
};

// One call of a routine: it reads the n x m pixels at (x, y) (whole groups,
// whole row pairs) and writes cols x rows pixels of bpp bytes, rowBytes
// apart; pixel (i, r) is the frame's (x + min(i, n - 1), y + min(r, m - 1)),
// and nothing is written when n is 0. `planes`: the Y and chroma planes are
// handed over apart.
struct Call {
  using Run = std::function<void(const YuvCopy*, const uint8_t* y, const uint8_t* c, uint8_t* d)>;
  int x, y, n, m, cols, rows, rowBytes, bpp;
  size_t dstBytes;
  bool planes;
  Run run;

  // Written straight from the layout of the frame; edge padding is
  // clamp-to-edge sampling.
  Bytes Expected(const Frame& f, size_t tail) const {
    Bytes out(kLead + dstBytes + tail, kSentinel);
    for (int r = 0; r < rows && n > 0; ++r)
      for (int i = 0; i < cols; ++i) {
        const int sx = x + std::min(i, n - 1), sy = y + std::min(r, m - 1);
        const uint8_t* pair = f.chroma() + (sy / 2) * f.w + (sx & ~1);
        uint8_t* px = &out[kLead + r * rowBytes + i * bpp];
        px[0] = f.content[size_t(sy) * f.w + sx];
        px[1] = pair[0];
        px[2] = pair[1];
        if (bpp == 4) px[3] = 255;
      }
    return out;
  }
  // Bytes of the Y plane and of the chroma plane up to the last one read.
  size_t LumaReach(int w) const { return n > 0 ? size_t(y + m - 1) * w + x + n : 0; }
  size_t ChromaReach(int w) const {
    return n > 0 ? size_t(y / 2 + m / 2 - 1) * w + (x & ~1) + n : 0;
  }
};

#define PE_RUN(fn, ...)                                                                       \
  [=](const YuvCopy* c, const uint8_t* src, [[maybe_unused]] const uint8_t* uv, uint8_t* d) { \
    c ? c->fn(__VA_ARGS__) : fn(__VA_ARGS__);                                                 \
  }

enum class Routine { Packed, Yuvx, YuvxStride, YuvxRect, YuvxsStride, YuvxsPadded, YuvxsPlanes };
const char* const kRoutineNames[] = {"sp2yuv",        "sp2yuvx",        "sp2yuvxStride",
                                     "sp2yuvxRect",   "sp2yuvxsStride", "sp2yuvxsPadded",
                                     "sp2yuvxsPlanes"};

// Rectangles start at (4, 2): even, off every vector boundary, and not
// symmetric, so that x and y cannot be swapped unseen.
Call MakeCall(Routine routine, int w, int h) {
  const int n16 = w / 16 * 16, rows = h / 2 * 2;
  constexpr int x = 4, y = 2;
  const int rw = w - x, rh = h - y, r16 = rw / 16 * 16, rRows = rh / 2 * 2;
  const int dw = (w + 31) / 32 * 32 + 16, dh = h + 3, dCols = dw / 16 * 16;
  // The destination holds dstRows rows of rowBytes.
  const auto make = [](int x, int y, int n, int m, int cols, int rows, int rowBytes, int bpp,
                       int dstRows, bool planes, Call::Run run) {
    return Call{x, y, n, m, cols, rows, rowBytes, bpp, size_t(rowBytes) * dstRows, planes, run};
  };
  switch (routine) {
    case Routine::Packed:
      return make(0, 0, n16, rows, n16, rows, 3 * w, 3, h, false, PE_RUN(sp2yuv, d, src, w, h));
    case Routine::Yuvx:
      return make(0, 0, n16, rows, n16, rows, 4 * w, 4, h, false, PE_RUN(sp2yuvx, d, src, w, h));
    case Routine::YuvxStride:
      return make(0, 0, n16, rows, n16, rows, 4 * (w + 8), 4, h, false,
                  PE_RUN(sp2yuvx, d, w + 8, src, w, h));
    case Routine::YuvxRect:
      return make(x, y, rw / 32 * 32, rRows, rw / 32 * 32, rRows, 4 * rw, 4, rh, false,
                  PE_RUN(sp2yuvx, d, src, w, h, x, y, rw, rh));
    case Routine::YuvxsStride:
      // An odd stride leaves every other row off 4-byte alignment.
      return make(x, y, r16, rRows, r16, rRows, 4 * (rw + 3), 4, rh, false,
                  PE_RUN(sp2yuvxs, d, rw + 3, src, w, h, x, y, rw, rh));
    case Routine::YuvxsPadded:
      return make(x, y, r16, rRows, dCols, dh, 4 * dw, 4, dh, false,
                  PE_RUN(sp2yuvxs, d, dw, dh, src, w, h, x, y, rw, rh));
    case Routine::YuvxsPlanes:
      // h is documented as unread: pass nonsense.
      return make(x, y, r16, rRows, dCols, dh, 4 * dw, 4, dh, true,
                  PE_RUN(sp2yuvxs, d, dw, dh, src, uv, w, -7, x, y, rw, rh));
  }
  std::abort();
}

// Index of the first byte that differs, or -1.
long FirstDifference(const Bytes& a, const Bytes& b) {
  const auto m = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
  return m.first == a.end() && m.second == b.end() ? -1 : m.first - a.begin();
}

std::vector<YuvPath> AvailablePaths() {
  std::vector<YuvPath> paths;
  for (YuvPath p : {YuvPath::Scalar, YuvPath::SSE2, YuvPath::AVX2, YuvPath::NEON})
    if (YuvPathAvailable(p)) paths.push_back(p);
  return paths;
}

// Parameters: path, routine, frame width (small ones for the remainders the
// vector loops leave, one camera-sized), and the bytes between each buffer
// and its guard page (0 faults on any overread; 3 moves every pointer off
// alignment). Heights are odd, so the last row must stay unwritten.
using Shape = std::tuple<YuvPath, Routine, int, int>;

class YuvRoutines : public testing::TestWithParam<Shape> {
 protected:
  void TearDown() override { ForceYuvPath(BestYuvPath()); }
};

TEST_P(YuvRoutines, MatchTheFrameLayoutOnEveryPathAndThroughTheFreeFunction) {
  const auto [path, routine, width, tailInt] = GetParam();
  const size_t tail = static_cast<size_t>(tailInt);
  const Frame f(width, 9);
  const Call call = MakeCall(routine, f.w, f.h);
  // Sources cut right after the last byte the routine reads, so that any read
  // past it meets the guard page.
  const size_t luma = call.LumaReach(f.w), chroma = call.ChromaReach(f.w);
  const Guarded src(call.planes ? luma : chroma ? f.ySize + chroma : 0, tail, f.content.data());
  const Guarded uv(call.planes ? chroma : 0, tail, f.chroma());
  const auto run = [&](const YuvCopy* copy) {
    Guarded dst(call.dstBytes, tail);
    call.run(copy, src.data(), uv.data(), dst.data());
    return dst.All();
  };
  const Bytes want = call.Expected(f, tail);
  EXPECT_EQ(FirstDifference(run(YuvCopy::For(path)), want), -1) << YuvPathName(path);
  ASSERT_TRUE(ForceYuvPath(path));
  EXPECT_EQ(FirstDifference(run(nullptr), want), -1) << "free function";
}

// Named by a function: a structured binding's commas would split the macro's
// arguments.
std::string ShapeName(const testing::TestParamInfo<Shape>& info) {
  const auto& [path, routine, width, tail] = info.param;
  return std::string(YuvPathName(path)) + "_" + kRoutineNames[static_cast<int>(routine)] + "_w" +
         std::to_string(width) + "_tail" + std::to_string(tail);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, YuvRoutines,
    testing::Combine(testing::ValuesIn(AvailablePaths()),
                     testing::Values(Routine::Packed, Routine::Yuvx, Routine::YuvxStride,
                                     Routine::YuvxRect, Routine::YuvxsStride, Routine::YuvxsPadded,
                                     Routine::YuvxsPlanes),
                     testing::Values(16, 40, 80, 128, 1928), testing::Values(0, 3)),
    ShapeName);

class YuvExamples : public testing::TestWithParam<YuvPath> {
 protected:
  const YuvCopy& copy() const { return *YuvCopy::For(GetParam()); }
};

TEST_P(YuvExamples, PaddedRectanglesWithoutAWholeGroupOrRowPairWriteNothing) {
  const Frame frame(64, 8);
  for (const auto& [rw, rh] : {std::pair{15, 8}, std::pair{32, 1}, std::pair{0, 0}}) {
    Guarded dst(64 * 8 * 4, 0);
    copy().sp2yuvxs(dst.data(), 64, 8, frame.content.data(), 64, 8, 0, 0, rw, rh);
    EXPECT_EQ(dst.All(), Bytes(kLead + 64 * 8 * 4, kSentinel)) << rw << "x" << rh;
  }
}

INSTANTIATE_TEST_SUITE_P(Paths, YuvExamples, testing::ValuesIn(AvailablePaths()),
                         [](const testing::TestParamInfo<YuvPath>& info) {
                           return YuvPathName(info.param);
                         });

// A frame whose output passes kYuvStreamMinBytes into a page-aligned texture
// with rows below it, so the vector paths take their streaming stores and
// leave a ragged group to plain ones, beside one that does not qualify only
// because its rows are not a multiple of 32 bytes.
TEST(YuvLargeFrames, VectorPathsMatchScalar) {
  const Frame frame(1928, 800);
  ASSERT_GE(int64_t{1928} * 800 * 4, kYuvStreamMinBytes);
  for (const auto& [dw, dh] : {std::pair{1928, 808}, std::pair{1930, 800}}) {
    auto run = [&, dw = dw, dh = dh](YuvPath path) {
      Guarded dst(size_t(dw) * dh * 4, 0);
      YuvCopy::For(path)->sp2yuvxs(dst.data(), dw, dh, frame.content.data(), 1928, 800, 0, 0, 1928,
                                   800);
      return dst.All();
    };
    const Bytes scalar = run(YuvPath::Scalar);
    for (YuvPath path : AvailablePaths()) {
      if (path == YuvPath::Scalar) continue;
      EXPECT_EQ(FirstDifference(run(path), scalar), -1) << YuvPathName(path) << " into " << dw;
    }
  }
}

TEST(YuvDispatch, ForcingSwitchesOnlyToAvailablePaths) {
  for (YuvPath p : {YuvPath::Scalar, YuvPath::SSE2, YuvPath::AVX2, YuvPath::NEON}) {
    const YuvPath before = ActiveYuvPath();
    const bool available = YuvPathAvailable(p);
    EXPECT_EQ(ForceYuvPath(p), available) << YuvPathName(p);
    EXPECT_EQ(ActiveYuvPath(), available ? p : before) << YuvPathName(p);
    EXPECT_EQ(YuvCopy::For(p) != nullptr, available) << YuvPathName(p);
  }
  ForceYuvPath(BestYuvPath());
}

TEST(YuvDispatch, BuildHoldsTheVectorPathsOfItsArchitecture) {
#if defined(PE_TEST_SIMD) && defined(__x86_64__)
  EXPECT_TRUE(YuvPathAvailable(YuvPath::SSE2));
  EXPECT_EQ(BestYuvPath(), __builtin_cpu_supports("avx2") ? YuvPath::AVX2 : YuvPath::SSE2);
#elif defined(PE_TEST_SIMD) && defined(__aarch64__)
  EXPECT_EQ(BestYuvPath(), YuvPath::NEON);
#else
  EXPECT_EQ(BestYuvPath(), YuvPath::Scalar);
#endif
}

}  // namespace
