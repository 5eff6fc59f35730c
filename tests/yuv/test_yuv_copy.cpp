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
#include <utility>
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
  Guarded(size_t n, size_t tail) : m_n(n), m_tail(tail) {
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
  }
  Guarded(const uint8_t* content, size_t n, size_t tail) : Guarded(n, tail) {
    std::memcpy(m_data, content, n);
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

Bytes Noise(size_t n, uint32_t seed) {
  Bytes out(n);
  for (uint8_t& b : out) {
    seed = seed * 1664525u + 1013904223u;
    b = static_cast<uint8_t>(seed >> 24);
  }
  return out;
}

// The output a call must leave: pixel (i, r) of cols x rows at rowBytes
// apart is the frame's pixel (x + min(i, n - 1), y + min(r, m - 1)); nothing
// is written when n is 0.
struct Written {
  int rowBytes, bpp, x, y, n, m, cols, rows;
};

// An NV21 frame, w x h, Y plane then chroma plane.
struct Frame {
  Frame(int width, int height)
      : w(width),
        h(height),
        ySize(static_cast<size_t>(w) * h),
        content(
            Noise(ySize + static_cast<size_t>(w) * (h / 2), static_cast<uint32_t>(w * 31 + h))) {}

  // Written straight from the layout of the frame; edge padding is
  // clamp-to-edge sampling.
  void Expect(uint8_t* out, const Written& o) const {
    for (int r = 0; r < o.rows && o.n > 0; ++r)
      for (int i = 0; i < o.cols; ++i) {
        const int sx = o.x + std::min(i, o.n - 1), sy = o.y + std::min(r, o.m - 1);
        const uint8_t* pair = content.data() + ySize + (sy / 2) * w + (sx & ~1);
        uint8_t* px = out + r * o.rowBytes + i * o.bpp;
        px[0] = content[static_cast<size_t>(sy) * w + sx];
        px[1] = pair[0];
        px[2] = pair[1];
        if (o.bpp == 4) px[3] = 255;
      }
  }

  // Bytes of the Y plane and of the chroma plane up to the last one that n x m
  // pixels at (x, y) read; zero when nothing is read.
  size_t LumaReach(int x, int y, int n, int m) const {
    return n > 0 && m > 1 ? static_cast<size_t>(y + m / 2 * 2 - 1) * w + x + n : 0;
  }
  size_t ChromaReach(int x, int y, int n, int m) const {
    return n > 0 && m > 1 ? static_cast<size_t>(y / 2 + m / 2 - 1) * w + (x & ~1) + n : 0;
  }

  int w, h;
  size_t ySize;
  Bytes content;
};

enum class Routine { Packed, Yuvx, YuvxStride, YuvxRect, YuvxsStride, YuvxsPadded, YuvxsPlanes };

const char* const kRoutineNames[] = {"sp2yuv",        "sp2yuvx",        "sp2yuvxStride",
                                     "sp2yuvxRect",   "sp2yuvxsStride", "sp2yuvxsPadded",
                                     "sp2yuvxsPlanes"};

// Source buffers cut right after the last byte the routine reads, so that any
// read past it meets the guard page.
struct Sources {
  Sources(const Frame& f, size_t wholeReach, size_t lumaReach, size_t chromaReach, size_t tail)
      : whole(f.content.data(), wholeReach, tail),
        luma(f.content.data(), lumaReach, tail),
        chroma(f.content.data() + f.ySize, chromaReach, tail) {}
  Guarded whole, luma, chroma;
};

// One call of a routine on a frame: how far it reads, how much it writes, the
// output it must leave, and how to run it through one path (or, with copy
// null, through the free function).
struct Call {
  using Run = std::function<void(const YuvCopy* copy, const Sources& in, uint8_t* d)>;
  size_t wholeReach, lumaReach, chromaReach, dstBytes;
  Written out;
  Run run;
};

#define PE_RUN(fn, ...) \
  [=](const YuvCopy* c, const Sources& in, uint8_t* d) { c ? c->fn(__VA_ARGS__) : fn(__VA_ARGS__); }

// Rectangles start at (4, 2): even, off every vector boundary, and not
// symmetric, so that x and y cannot be swapped unseen.
Call MakeCall(Routine routine, const Frame& f) {
  const int w = f.w, h = f.h, n16 = w / 16 * 16, rows = h / 2 * 2;
  const size_t frameReach = f.ySize + f.ChromaReach(0, 0, n16, h);
  constexpr int x = 4, y = 2;
  const int rw = w - x, rh = h - y, r16 = rw / 16 * 16, r32 = rw / 32 * 32, rRows = rh / 2 * 2;
  const size_t rectReach = r16 > 0 ? f.ySize + f.ChromaReach(x, y, r16, rh) : 0;
  const int dw = (w + 31) / 32 * 32 + 16, dh = h + 3;
  const size_t padded = static_cast<size_t>(dw) * dh * 4;
  const Written pad{4 * dw, 4, x, y, r16, rRows, dw / 16 * 16, dh};
  const auto make = [](size_t whole, size_t luma, size_t chroma, size_t dst, Written o,
                       Call::Run run) { return Call{whole, luma, chroma, dst, o, run}; };
  switch (routine) {
    case Routine::Packed:
      return make(frameReach, 0, 0, f.ySize * 3, {3 * w, 3, 0, 0, n16, rows, n16, rows},
                  PE_RUN(sp2yuv, d, in.whole.data(), w, h));
    case Routine::Yuvx:
      return make(frameReach, 0, 0, f.ySize * 4, {4 * w, 4, 0, 0, n16, rows, n16, rows},
                  PE_RUN(sp2yuvx, d, in.whole.data(), w, h));
    case Routine::YuvxStride:
      return make(frameReach, 0, 0, static_cast<size_t>(w + 8) * h * 4,
                  {4 * (w + 8), 4, 0, 0, n16, rows, n16, rows},
                  PE_RUN(sp2yuvx, d, w + 8, in.whole.data(), w, h));
    case Routine::YuvxRect:
      return make(r32 > 0 ? f.ySize + f.ChromaReach(x, y, r32, rh) : 0, 0, 0,
                  static_cast<size_t>(rw) * rh * 4, {4 * rw, 4, x, y, r32, rRows, r32, rRows},
                  PE_RUN(sp2yuvx, d, in.whole.data(), w, h, x, y, rw, rh));
    case Routine::YuvxsStride:
      // An odd stride leaves every other row off 4-byte alignment.
      return make(rectReach, 0, 0, static_cast<size_t>(rw + 3) * rh * 4,
                  {4 * (rw + 3), 4, x, y, r16, rRows, r16, rRows},
                  PE_RUN(sp2yuvxs, d, rw + 3, in.whole.data(), w, h, x, y, rw, rh));
    case Routine::YuvxsPadded:
      return make(rectReach, 0, 0, padded, pad,
                  PE_RUN(sp2yuvxs, d, dw, dh, in.whole.data(), w, h, x, y, rw, rh));
    case Routine::YuvxsPlanes:
      // h is documented as unread: pass nonsense.
      return make(
          0, f.LumaReach(x, y, r16, rh), f.ChromaReach(x, y, r16, rh), padded, pad,
          PE_RUN(sp2yuvxs, d, dw, dh, in.luma.data(), in.chroma.data(), w, -7, x, y, rw, rh));
  }
  std::abort();
}

// Index of the first byte that differs, or -1.
long FirstDifference(const Bytes& a, const Bytes& b) {
  const auto m = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
  return m.first == a.end() && m.second == b.end() ? -1 : m.first - a.begin();
}

Bytes RunInto(const Call& call, const YuvCopy* copy, const Sources& in, size_t tail) {
  Guarded dst(call.dstBytes, tail);
  call.run(copy, in, dst.data());
  return dst.All();
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
  const Frame frame(width, 9);
  const Call call = MakeCall(routine, frame);
  const Sources in(frame, call.wholeReach, call.lumaReach, call.chromaReach, tail);

  Bytes want(kLead + call.dstBytes + tail, kSentinel);
  frame.Expect(want.data() + kLead, call.out);
  const Bytes scalar = RunInto(call, YuvCopy::For(YuvPath::Scalar), in, tail);
  EXPECT_EQ(FirstDifference(scalar, want), -1) << "scalar against the frame layout";
  EXPECT_EQ(FirstDifference(RunInto(call, YuvCopy::For(path), in, tail), scalar), -1)
      << YuvPathName(path) << " against scalar";
  ASSERT_TRUE(ForceYuvPath(path));
  EXPECT_EQ(FirstDifference(RunInto(call, nullptr, in, tail), scalar), -1) << "free function";
}

INSTANTIATE_TEST_SUITE_P(
    Paths, YuvRoutines,
    testing::Combine(testing::ValuesIn(AvailablePaths()),
                     testing::Values(Routine::Packed, Routine::Yuvx, Routine::YuvxStride,
                                     Routine::YuvxRect, Routine::YuvxsStride, Routine::YuvxsPadded,
                                     Routine::YuvxsPlanes),
                     testing::Values(16, 40, 80, 128, 1928), testing::Values(0, 3)),
    [](const testing::TestParamInfo<Shape>& info) {
      return std::string(YuvPathName(std::get<0>(info.param))) + "_" +
             kRoutineNames[static_cast<int>(std::get<1>(info.param))] + "_w" +
             std::to_string(std::get<2>(info.param)) + "_tail" +
             std::to_string(std::get<3>(info.param));
    });

class YuvExamples : public testing::TestWithParam<YuvPath> {
 protected:
  const YuvCopy& copy() const { return *YuvCopy::For(GetParam()); }
};

TEST_P(YuvExamples, PaddedRectanglesWithoutAWholeGroupOrRowPairWriteNothing) {
  const Bytes frame = Noise(64 * 8 * 3 / 2, 5);
  for (const auto& [rw, rh] : {std::pair{15, 8}, std::pair{32, 1}, std::pair{0, 0}}) {
    Guarded dst(64 * 8 * 4, 0);
    copy().sp2yuvxs(dst.data(), 64, 8, frame.data(), 64, 8, 0, 0, rw, rh);
    EXPECT_EQ(dst.All(), Bytes(kLead + 64 * 8 * 4, kSentinel)) << rw << "x" << rh;
  }
}

// A frame whose output passes kYuvStreamMinBytes into a page-aligned texture
// with rows below it, so the vector paths take their streaming stores and
// leave a ragged group to plain ones, beside one that does not qualify only
// because its rows are not a multiple of 32 bytes.
TEST_P(YuvExamples, LargeFramesMatchScalar) {
  struct Large {
    int w, h, dw, dh;
  };
  for (const Large& s : {Large{1928, 800, 1928, 808}, Large{1928, 800, 1930, 800}}) {
    SCOPED_TRACE(std::to_string(s.w) + "x" + std::to_string(s.h) + " into " + std::to_string(s.dw) +
                 "x" + std::to_string(s.dh));
    ASSERT_GE(int64_t{s.w} * s.h * 4, kYuvStreamMinBytes);
    const Frame frame(s.w, s.h);
    const size_t bytes = static_cast<size_t>(s.dw) * s.dh * 4;
    auto run = [&](const YuvCopy& c) {
      Guarded dst(bytes, 0);
      c.sp2yuvxs(dst.data(), s.dw, s.dh, frame.content.data(), s.w, s.h, 0, 0, s.w, s.h);
      return dst.All();
    };
    EXPECT_EQ(FirstDifference(run(copy()), run(*YuvCopy::For(YuvPath::Scalar))), -1);
  }
}

INSTANTIATE_TEST_SUITE_P(Paths, YuvExamples, testing::ValuesIn(AvailablePaths()),
                         [](const testing::TestParamInfo<YuvPath>& info) {
                           return YuvPathName(info.param);
                         });

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
