// Drives one service through its public interface with a call sequence
// decoded from the input: any sizes, offsets, crops and parameter strings.
// Traps on a result outside the documented codes, on a byte written outside
// the frame a call was handed (guard pages and sentinels around every frame),
// on a frame written by a call that failed, and on a service that does not
// process a plain preview frame once the sequence is over.
#include <posteffect/PostEffect.h>
#include <sys/mman.h>
#include <unistd.h>
#include <utils/String8.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr unsigned char kSentinel = 0xA5;
constexpr size_t kMaxFrameBytes = 16u << 20;  // larger frames are not handed over

void Check(bool ok) {
  if (!ok) __builtin_trap();
}

bool Documented(int rc) { return rc == 0 || rc == 1 || rc == 2 || rc == 3 || rc == 99 || rc == -1; }

class Input {
 public:
  Input(const uint8_t* d, size_t n) : m_d(d), m_n(n) {}
  bool more() const { return m_i < m_n; }
  uint8_t byte() { return m_i < m_n ? m_d[m_i++] : 0; }
  // 0..223 (zero and odd included), else a hostile value.
  int size() {
    static const int kHostile[] = {-2, -1, 4097, 16384, 16386, 32768, INT_MAX, INT_MIN};
    const uint8_t b = byte();
    return b < 0xE0 ? b : kHostile[b & 7];
  }
  int coord() {
    const uint8_t b = byte();
    return b < 0xFC ? b - 64
                    : (b == 0xFC   ? INT_MIN
                       : b == 0xFD ? INT_MAX
                       : b == 0xFE ? -1
                                   : 1 << 20);
  }

 private:
  const uint8_t* m_d;
  size_t m_n;
  size_t m_i = 0;
};

// Shared memory between two PROT_NONE pages; everything but the planes holds
// the sentinel, the planes a pattern.
class GuardedFrame {
 public:
  GuardedFrame(size_t bytes, size_t plane0, size_t len0, size_t plane1, size_t len1, uint8_t seed)
      : m_page(static_cast<size_t>(sysconf(_SC_PAGESIZE))) {
    m_size = (bytes + m_page - 1) / m_page * m_page;
    m_region =
        static_cast<unsigned char*>(mmap(nullptr, m_size + 2 * m_page, PROT_NONE,
                                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    m_fd = memfd_create("fuzz-frame", MFD_CLOEXEC);
    Check(m_region != MAP_FAILED && m_fd >= 0 && ftruncate(m_fd, static_cast<off_t>(m_size)) == 0);
    Check(mmap(base(), m_size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, m_fd, 0) == base());
    m_planes[0] = {plane0, len0};
    m_planes[1] = {plane1, len1};
    std::memset(base(), kSentinel, m_size);
    for (const Plane& p : m_planes)
      for (size_t i = 0; i < p.len; ++i)
        base()[p.at + i] = static_cast<unsigned char>(seed + i * 7);
    m_copy.assign(reinterpret_cast<char*>(base()), m_size);
  }
  ~GuardedFrame() {
    munmap(m_region, m_size + 2 * m_page);
    close(m_fd);
  }
  GuardedFrame(const GuardedFrame&) = delete;
  GuardedFrame& operator=(const GuardedFrame&) = delete;
  unsigned char* base() const { return m_region + m_page; }
  int fd() const { return m_fd; }
  // Outside the planes nothing changes; a failed call changes nothing at all.
  void Verify(int rc) const {
    for (size_t i = 0; i < m_size; ++i) {
      const bool inPlane = (i >= m_planes[0].at && i < m_planes[0].at + m_planes[0].len) ||
                           (i >= m_planes[1].at && i < m_planes[1].at + m_planes[1].len);
      Check((rc == 0 && inPlane) || base()[i] == static_cast<unsigned char>(m_copy[i]));
    }
  }

 private:
  struct Plane {
    size_t at, len;
  };
  size_t m_page, m_size = 0;
  unsigned char* m_region = nullptr;
  int m_fd = -1;
  Plane m_planes[2];
  std::string m_copy;
};

std::string Quad(Input& in) {
  std::string s;
  for (int i = 0; i < 4; ++i) s += (i ? "," : "") + std::to_string(in.coord() * 16LL);
  return s;
}

class Session {
 public:
  Session() : m_fx(createPostEffect()) { Check(m_fx->start() == 0); }
  ~Session() {
    Check(m_fx->stop() == 0);
    destroyPostEffect(m_fx);
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  int Step(Input& in) {
    switch (in.byte() % 10) {
      case 0:
        return Expect(m_fx->start());
      case 1:
        return Expect(m_fx->stop());
      case 2: {
        const int w = in.size(), h = in.size();
        const int rc = Expect(m_fx->startPreview(w, h));
        if (rc == 0) m_w = w, m_h = h;
        return rc;
      }
      case 3:
        return Preview(in.byte(), in.byte());
      case 4:
        return Expect(m_fx->stopPreview());
      case 5:
        return Capture(in);
      case 6: {
        std::string raw;
        for (uint8_t n = in.byte() % 48; n && in.more(); --n) raw += static_cast<char>(in.byte());
        return Expect(m_fx->setParameters(android::String8(raw.c_str())));
      }
      case 7: {
        const int x = in.coord(), y = in.coord(), w = in.coord(), h = in.coord();
        return Expect(m_fx->setCrop(x, y, w, h));
      }
      default: {
        static const char kEffects[] = "0123456789BCDEFGHIJA";
        const std::string p = std::string("GPU-effect=") + kEffects[in.byte() % 20] +
                              ";GE-param0=" + Quad(in) + ";GE-param1=" + Quad(in);
        return Expect(m_fx->setParameters(android::String8(p.c_str())));
      }
    }
  }

  // A plain frame after whatever came before: the service works again.
  void Recover() {
    m_fx->start();
    Check(m_fx->setParameters(android::String8("GPU-effect=6;GE-param0=80,0,0,0")) == 0);
    Check(m_fx->startPreview(64, 32) == 0);
    m_w = 64, m_h = 32;
    Check(Preview(0, 3) == 0);
  }

 private:
  int Expect(int rc) {
    Check(Documented(rc));
    return rc;
  }
  int Preview(uint8_t offset, uint8_t seed) {
    const size_t bytes = m_w > 0 && m_h > 0 ? size_t(m_w) * size_t(m_h) * 3 / 2 : 0;
    if (bytes > kMaxFrameBytes) return 0;
    GuardedFrame f(offset + bytes + 1, offset, bytes, offset + bytes, 0, seed);
    const int rc = Expect(m_fx->handlePreview(f.fd(), f.base(), offset));
    f.Verify(rc);
    return rc;
  }
  int Capture(Input& in) {
    const int w = in.size(), h = in.size();
    const size_t yOffset = in.byte(), gap = in.byte();
    // Hostile offsets that a still never has: a plane before the base, or
    // the chroma plane inside the Y plane.
    const uint8_t mode = in.byte();
    const bool plausible = w > 0 && h > 0 && w % 2 == 0 && h % 2 == 0;
    const size_t y = plausible ? size_t(w) * size_t(h) : 0;
    if (y / 2 * 3 > kMaxFrameBytes) return 0;  // a caller could hand it over; too big to fuzz
    GuardedFrame f(yOffset + y + gap + y / 2 + 1, yOffset, y, yOffset + y + gap, y / 2, mode);
    long yo = static_cast<long>(yOffset), uvo = static_cast<long>(y + gap);
    if (mode == 0xFF) yo = -yo - 1;
    if (mode == 0xFE) uvo = static_cast<long>(gap) - 1;
    const int rc = Expect(m_fx->handleCapture(w, h, f.fd(), f.base(), yo, uvo));
    f.Verify(rc);
    return rc;
  }

  IPostEffect* m_fx;
  int m_w = 0, m_h = 0;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Sketch and colour sketch are fuzzed too; a quiet log keeps runs fast.
  setenv("POSTEFFECT_EFFECT_COUNT", "19", 0);
  setenv("POSTEFFECT_LOG_MASK", "0", 0);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  Session s;
  for (int calls = 0; calls < 24 && in.more(); ++calls) s.Step(in);
  s.Recover();
  return 0;
}
