// The semi-planar expansions on each available path, beside a memcpy and a
// memset of the bytes they write (and libyuv's NV21ToARGB, which writes as
// many), all measured in the same run. "hot" reuses one set of buffers;
// "cold" walks a pool of buffers larger than the last-level cache, so every
// call reads and writes memory the cache does not hold.
//
// Names: <routine>/<W>x<H>/<path>/<hot|cold>; baselines
// <memcpy|memset>/<W>x<H>x<bytes a pixel>/<hot|cold>. GBps is output bytes
// (1e9) a second.

#include <benchmark/benchmark.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "YuvCopy.h"

#ifdef PE_BENCH_LIBYUV
#include <libyuv/convert_argb.h>
#endif

namespace {

constexpr size_t kPage = 4096;

size_t PageRound(size_t n) { return (n + kPage - 1) / kPage * kPage; }

struct Shape {
  int w, h;
  size_t Pixels() const { return static_cast<size_t>(w) * h; }
  size_t Nv21() const { return Pixels() * 3 / 2; }
  std::string Name() const { return std::to_string(w) + "x" + std::to_string(h); }
};

constexpr Shape kShapes[] = {{640, 480}, {1280, 720}, {1920, 1080}};
constexpr Shape kStill{4000, 3000};
constexpr Shape kBlock{1280, 720};

int Aligned32(int w) { return (w + 31) / 32 * 32; }

uint8_t* MapBytes(size_t n) {
  void* p = mmap(nullptr, n, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (p == MAP_FAILED) {
    std::perror("bench_yuv: mmap");
    std::exit(1);
  }
  return static_cast<uint8_t*>(p);
}

// Camera-like bytes; every page touched so that no page fault is timed.
void Fill(uint8_t* p, size_t n) {
  uint64_t s = 0x9E3779B97F4A7C15ull;
  for (size_t i = 0; i + 8 <= n; i += 8) {
    s ^= s << 13, s ^= s >> 7, s ^= s << 17;
    std::memcpy(p + i, &s, 8);
  }
}

// One pool for every cold benchmark: at least 1 GiB and twice the cache the
// system reports, set once and filled once. PE_BENCH_COLD_MIB overrides.
struct ColdPool {
  uint8_t* base;
  size_t size;
};

const ColdPool& Pool() {
  static const ColdPool pool = [] {
    size_t size = size_t{1} << 30;
    const long llc = sysconf(_SC_LEVEL3_CACHE_SIZE);
    if (llc > 0) size = std::max(size, 2 * static_cast<size_t>(llc));
    if (const char* mib = std::getenv("PE_BENCH_COLD_MIB"))
      size = std::strtoull(mib, nullptr, 10) << 20;
    ColdPool p{MapBytes(size), size};
    Fill(p.base, size);
    return p;
  }();
  return pool;
}

enum class Temp { Hot, Cold };

const char* TempName(Temp t) { return t == Temp::Hot ? "hot" : "cold"; }

// A page-aligned source and destination: one pair when hot, the next slot of
// the pool after every call when cold.
class Buffers {
 public:
  Buffers(size_t srcBytes, size_t dstBytes, Temp temp)
      : m_srcSpan(PageRound(srcBytes)), m_slotSize(m_srcSpan + PageRound(dstBytes)) {
    if (temp == Temp::Cold) {
      m_base = Pool().base;
      m_slots = Pool().size / m_slotSize;
    } else {
      m_own.assign(m_slotSize + kPage, 0);
      m_base = m_own.data() + (kPage - reinterpret_cast<uintptr_t>(m_own.data()) % kPage);
      Fill(m_base, m_slotSize);
      m_slots = 1;
    }
  }
  uint8_t* Src() const { return m_base + m_slot * m_slotSize; }
  uint8_t* Dst() const { return Src() + m_srcSpan; }
  void Next() { m_slot = m_slot + 1 == m_slots ? 0 : m_slot + 1; }

 private:
  size_t m_srcSpan, m_slotSize;
  std::vector<uint8_t> m_own;
  uint8_t* m_base = nullptr;
  size_t m_slots = 1, m_slot = 0;
};

template <class Fn>
void Measure(benchmark::State& state, Temp temp, size_t srcBytes, size_t dstBytes, size_t outBytes,
             Fn fn) {
  Buffers b(srcBytes, dstBytes, temp);
  fn(b.Src(), b.Dst());  // the hot run's first touch is not timed
  b.Next();
  for (auto _ : state) {
    fn(b.Src(), b.Dst());
    benchmark::ClobberMemory();
    b.Next();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * outBytes));
  state.counters["GBps"] = benchmark::Counter(static_cast<double>(outBytes) / 1e9,
                                              benchmark::Counter::kIsIterationInvariantRate);
}

std::string Name(const std::string& what, const std::string& shape, const std::string& path,
                 Temp t) {
  return what + "/" + shape + "/" + (path.empty() ? "" : path + "/") + TempName(t);
}

template <class Fn>
void Register(const std::string& name, Temp temp, size_t srcBytes, size_t dstBytes, size_t outBytes,
              Fn fn) {
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
    Measure(state, temp, srcBytes, dstBytes, outBytes, fn);
  })->UseRealTime();
}

void RegisterBaselines(const Shape& s, int bpp, Temp t) {
  const size_t n = s.Pixels() * static_cast<size_t>(bpp);
  const std::string shape = s.Name() + "x" + std::to_string(bpp);
  Register(Name("memcpy", shape, "", t), t, n, n, n,
           [n](uint8_t* src, uint8_t* dst) { std::memcpy(dst, src, n); });
  Register(Name("memset", shape, "", t), t, 0, n, n,
           [n](uint8_t*, uint8_t* dst) { std::memset(dst, 0x80, n); });
}

// Each routine as the library's callers use it: whole frames, preview
// textures with the stride rounded up to 32 pixels.
void RegisterRoutines(const YuvCopy* c, const Shape& s, Temp t) {
  const std::string path = YuvPathName(c->Path()), shape = s.Name();
  const int w = s.w, h = s.h, dw = Aligned32(w);
  const size_t src = s.Nv21(), tight = s.Pixels() * 4, padded = static_cast<size_t>(dw) * h * 4;
  Register(Name("sp2yuv", shape, path, t), t, src, s.Pixels() * 3, s.Pixels() * 3,
           [=](uint8_t* in, uint8_t* out) { c->sp2yuv(out, in, w, h); });
  Register(Name("sp2yuvx", shape, path, t), t, src, tight, tight,
           [=](uint8_t* in, uint8_t* out) { c->sp2yuvx(out, in, w, h); });
  Register(Name("sp2yuvx_stride", shape, path, t), t, src, padded, tight,
           [=](uint8_t* in, uint8_t* out) { c->sp2yuvx(out, dw, in, w, h); });
  Register(Name("sp2yuvx_rect", shape, path, t), t, src, tight, tight,
           [=](uint8_t* in, uint8_t* out) { c->sp2yuvx(out, in, w, h, 0, 0, w, h); });
  Register(Name("sp2yuvxs_stride", shape, path, t), t, src, padded, tight,
           [=](uint8_t* in, uint8_t* out) { c->sp2yuvxs(out, dw, in, w, h, 0, 0, w, h); });
  Register(Name("sp2yuvxs_padded", shape, path, t), t, src, padded, padded,
           [=](uint8_t* in, uint8_t* out) { c->sp2yuvxs(out, dw, h, in, w, h, 0, 0, w, h); });
  Register(Name("sp2yuvxs_planes", shape, path, t), t, src, padded, padded,
           [=](uint8_t* in, uint8_t* out) {
             c->sp2yuvxs(out, dw, h, in, in + s.Pixels(), w, h, 0, 0, w, h);
           });
}

// A still expanded block by block into one preview-sized texture, as the
// capture path does; the last column and row of blocks move in to the edge.
void RegisterStillWalk(const YuvCopy* c, Temp t) {
  std::vector<int> xs, ys;
  for (int x = 0; x < kStill.w; x += kBlock.w) xs.push_back(std::min(x, kStill.w - kBlock.w));
  for (int y = 0; y < kStill.h; y += kBlock.h) ys.push_back(std::min(y, kStill.h - kBlock.h));
  const size_t blockBytes = kBlock.Pixels() * 4;
  Register(Name("still_blocks", kStill.Name(), YuvPathName(c->Path()), t), t, kStill.Nv21(),
           blockBytes, blockBytes * xs.size() * ys.size(), [=](uint8_t* in, uint8_t* out) {
             for (int y : ys)
               for (int x : xs)
                 c->sp2yuvxs(out, kBlock.w, kBlock.h, in, in + kStill.Pixels(), kStill.w, kStill.h,
                             x, y, kBlock.w, kBlock.h);
           });
}

#ifdef PE_BENCH_LIBYUV
void RegisterLibyuv(const Shape& s, Temp t) {
  const int w = s.w, h = s.h;
  const size_t out = s.Pixels() * 4;
  Register(Name("libyuv_NV21ToARGB", s.Name(), "", t), t, s.Nv21(), out, out,
           [=](uint8_t* in, uint8_t* dst) {
             libyuv::NV21ToARGB(in, w, in + s.Pixels(), w, dst, 4 * w, w, h);
           });
}
#endif

}  // namespace

int main(int argc, char** argv) {
  for (Temp t : {Temp::Hot, Temp::Cold}) {
    for (const Shape& s : kShapes) {
      RegisterBaselines(s, 4, t);
      RegisterBaselines(s, 3, t);
#ifdef PE_BENCH_LIBYUV
      RegisterLibyuv(s, t);
#endif
    }
    for (YuvPath p : {YuvPath::Scalar, YuvPath::SSE2, YuvPath::AVX2, YuvPath::NEON}) {
      const YuvCopy* c = YuvCopy::For(p);
      if (!c) continue;
      for (const Shape& s : kShapes) RegisterRoutines(c, s, t);
      RegisterStillWalk(c, t);
    }
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
