// Drives one service through its public interface with a call sequence
// decoded from the input: any sizes, offsets, crops and parameter strings.
// Traps on a result outside the documented codes, on a byte written outside
// the frame a call was handed (sentinels and ASan around every frame),
// on a frame written by a call that failed, and on a service that does not
// process a plain preview frame once the sequence is over.
#include <posteffect/PostEffect.h>
#include <utils/String8.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr size_t kMaxFrameBytes = 16u << 20;  // larger frames are not handed over

void Check(bool ok) {
  if (!ok) __builtin_trap();
}

int Expect(int rc) {
  Check(rc == 0 || rc == 1 || rc == 2 || rc == 3 || rc == 99 || rc == -1);
  return rc;
}

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
    static const int kHostile[] = {INT_MIN, INT_MAX, -1, 1 << 20};
    const uint8_t b = byte();
    return b < 0xFC ? b - 64 : kHostile[b - 0xFC];
  }

 private:
  const uint8_t* m_d;
  size_t m_n, m_i = 0;
};

struct Plane {
  size_t at, len;
  bool Holds(size_t i) const { return i >= at && i < at + len; }
};

// A frame at the end of a buffer, after a lead; all of it holds a pattern.
// ASan traps on accesses beyond the buffer, Verify on writes inside it:
// outside the planes nothing changes, and a failed call changes nothing at all.
class GuardedFrame {
 public:
  static constexpr size_t kLead = 4096;
  GuardedFrame(size_t bytes, Plane p0, Plane p1, uint8_t seed)
      : m_planes{p0, p1}, m_mem(kLead + bytes) {
    for (size_t i = 0; i < m_mem.size(); ++i) m_mem[i] = static_cast<unsigned char>(seed + i * 7);
    m_copy = m_mem;
  }
  unsigned char* base() { return m_mem.data() + kLead; }
  void Verify(int rc) const {
    for (size_t i = 0; i < m_mem.size(); ++i) {
      const bool inPlane =
          i >= kLead && (m_planes[0].Holds(i - kLead) || m_planes[1].Holds(i - kLead));
      Check((rc == 0 && inPlane) || m_mem[i] == m_copy[i]);
    }
  }

 private:
  Plane m_planes[2];
  std::vector<unsigned char> m_mem, m_copy;
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
        const std::string p = std::string("GPU-effect=") + "0123456789BCDEFGHIJA"[in.byte() % 20] +
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
  int Preview(uint8_t offset, uint8_t seed) {
    const size_t bytes = m_w > 0 && m_h > 0 ? size_t(m_w) * size_t(m_h) * 3 / 2 : 0;
    if (bytes > kMaxFrameBytes) return 0;
    GuardedFrame f(offset + bytes + 1, {offset, bytes}, {0, 0}, seed);
    const int rc = Expect(m_fx->handlePreview(-1, f.base(), offset));
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
    GuardedFrame f(yOffset + y + gap + y / 2 + 1, {yOffset, y}, {yOffset + y + gap, y / 2}, mode);
    long yo = static_cast<long>(yOffset), uvo = static_cast<long>(y + gap);
    if (mode == 0xFF) yo = -yo - 1;
    if (mode == 0xFE) uvo = static_cast<long>(gap) - 1;
    const int rc = Expect(m_fx->handleCapture(w, h, -1, f.base(), yo, uvo));
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
