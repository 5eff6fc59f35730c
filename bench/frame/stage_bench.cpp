// Where a frame's time goes: every effect's preview (and a still behind a
// preview) run through the service linked in statically, with the GL entry
// points that move or draw pixels defined here so each is timed to its end
// (glFinish before and after), and the CPU stages wrapped by the linker
// (--wrap). Beside each row, the floor of the same run: the frame's NV21
// bytes uploaded, one trivial pass, read back. Prints medians.

#include <EGL/egl.h>
#include <GLES2/gl2.h>
#include <dlfcn.h>
#include <pe/Platform.h>
#include <posteffect/PostEffect.h>
#include <utils/String8.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "BenchFrame.h"
#include "BenchGl.h"
#include "Effects.h"
#include "GPUPostEffect.h"
#include "Service.h"

namespace {

using Clock = std::chrono::steady_clock;

// PE_BENCH_CLOCK=cpu times by the process's CPU time (every thread, the
// rasteriser's included) instead of the wall clock: on a machine shared with
// other work the wall clock measures the neighbours as much as the frame.
bool CpuClock() {
  static const bool cpu = [] {
    const char* c = std::getenv("PE_BENCH_CLOCK");
    return c && std::strcmp(c, "cpu") == 0;
  }();
  return cpu;
}

double Now() {
  if (CpuClock()) {
    timespec ts;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return ts.tv_sec * 1e3 + ts.tv_nsec / 1e6;
  }
  return std::chrono::duration<double, std::milli>(Clock::now().time_since_epoch()).count();
}

double Median(std::vector<double> v) {
  if (v.empty()) return 0;
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

// The stages of a frame, in the order the table prints them.
enum Stage { kExpand, kUpload, kLook, kY, kChroma, kRead, kCopy, kSetup, kStages };
const char* const kStageNames[kStages] = {"expand", "upload", "look", "Y",
                                          "chroma", "read",   "copy", "setup"};

struct Tally {
  double ms[kStages] = {};
  int lookPasses = 0;
  // Each look pass's own time, in drawing order; a pass drawn in several
  // rectangles (the same program into the same framebuffer) counts once.
  std::vector<double> passMs;
  // The same times summed by program, in the order each was first drawn,
  // with the pixels each drew (viewport, within the scissor where it is on).
  struct ByProgram {
    GLuint program;
    double ms, px;
  };
  std::vector<ByProgram> programs;
  unsigned long long lastPass = 0;
};

std::mutex g_lock;
Tally g_tally;
// Time spent in timed GL calls inside the CPU stage being timed, which the
// stage does not count as its own.
double g_nested = 0;
int g_depth = 0;
// Programs that write the output planes, found by their fragment source.
std::map<GLuint, std::string> g_shaderText;
std::map<GLuint, Stage> g_programStage;
GLuint g_program = 0;
GLuint g_framebuffer = 0;

template <typename F>
F Next(const char* name) {
  void* f = dlsym(RTLD_NEXT, name);
  if (!f) std::abort();
  return reinterpret_cast<F>(f);
}

void Finish() {
  static auto finish = Next<void (*)()>("glFinish");
  finish();
}

// Set while the effect is made or released: everything in it is setup.
bool g_inSetup = false;

// A look pass drawn in several rectangles runs as the driver runs it, its
// draws not fenced one by one: the pass is timed from its first draw to the
// fence before whatever is timed next.
bool g_passOpen = false;
double g_passStart = 0;

// The tally's entry for a program, made the first time it draws; g_lock held.
Tally::ByProgram& ProgramEntry(GLuint program) {
  auto& v = g_tally.programs;
  auto it = std::find_if(v.begin(), v.end(),
                         [&](const Tally::ByProgram& p) { return p.program == program; });
  return it != v.end() ? *it : v.emplace_back(Tally::ByProgram{program, 0, 0});
}

void ClosePass() {
  if (!g_passOpen) return;
  Finish();
  const double ms = Now() - g_passStart;
  g_passOpen = false;
  std::lock_guard<std::mutex> lock(g_lock);
  g_tally.ms[kLook] += ms;
  if (!g_tally.passMs.empty()) g_tally.passMs.back() += ms;
  ProgramEntry(static_cast<GLuint>(g_tally.lastPass >> 32)).ms += ms;
  if (g_depth > 0) g_nested += ms;
}

// Runs a GL call to its end and books its time under stage; a look draw
// opens a pass that the same program's next draws into the same
// framebuffer continue.
template <typename Call>
void TimeGl(Stage stage, Call call) {
  if (g_inSetup) return call();
  const unsigned long long pass =
      (static_cast<unsigned long long>(g_program) << 32) | g_framebuffer;
  if (stage == kLook && g_passOpen && g_tally.lastPass == pass) return call();
  ClosePass();
  Finish();
  const double t0 = Now();
  call();
  if (stage == kLook) {
    std::lock_guard<std::mutex> lock(g_lock);
    ++g_tally.lookPasses;
    g_tally.passMs.push_back(0);
    g_tally.lastPass = pass;
    g_passOpen = true;
    g_passStart = t0;
    return;
  }
  Finish();
  const double ms = Now() - t0;
  std::lock_guard<std::mutex> lock(g_lock);
  g_tally.ms[stage] += ms;
  g_tally.lastPass = 0;
  if (g_depth > 0) g_nested += ms;
}

// A CPU stage: its own time, less the GL calls timed inside it.
template <typename Call>
void TimeCpu(Stage stage, Call call) {
  ClosePass();
  double nestedBefore;
  {
    std::lock_guard<std::mutex> lock(g_lock);
    nestedBefore = g_nested;
    ++g_depth;
  }
  const double t0 = Now();
  call();
  const double ms = Now() - t0;
  std::lock_guard<std::mutex> lock(g_lock);
  --g_depth;
  g_tally.ms[stage] += ms - (g_nested - nestedBefore);
}

Tally TakeTally() {
  std::lock_guard<std::mutex> lock(g_lock);
  Tally t = g_tally;
  g_tally = Tally();
  return t;
}

}  // namespace

#define PE_INTERPOSE extern "C" __attribute__((visibility("default")))

PE_INTERPOSE void glShaderSource(GLuint shader, GLsizei count, const GLchar* const* strings,
                                 const GLint* lengths) {
  static auto next =
      Next<void (*)(GLuint, GLsizei, const GLchar* const*, const GLint*)>("glShaderSource");
  std::string text;
  for (GLsizei i = 0; i < count; ++i)
    text += lengths && lengths[i] >= 0 ? std::string(strings[i], lengths[i]) : strings[i];
  {
    std::lock_guard<std::mutex> lock(g_lock);
    g_shaderText[shader] = text;
  }
  next(shader, count, strings, lengths);
}

PE_INTERPOSE void glAttachShader(GLuint program, GLuint shader) {
  static auto next = Next<void (*)(GLuint, GLuint)>("glAttachShader");
  {
    std::lock_guard<std::mutex> lock(g_lock);
    const std::string& text = g_shaderText[shader];
    // Names are reused once deleted: a fragment shader states anew what its
    // program is.
    // A look drawing the planes itself carries the chroma weights too.
    if (text.find("gl_FragData") != std::string::npos)
      g_programStage.erase(program);
    else if (text.find("kRgbToV") != std::string::npos)
      g_programStage[program] = kChroma;
    else if (text.find("u_vec_rgb2y") != std::string::npos)
      g_programStage[program] = kY;
    else if (text.find("gl_FragColor") != std::string::npos)
      g_programStage.erase(program);
  }
  next(program, shader);
}

PE_INTERPOSE void glBindFramebuffer(GLenum target, GLuint framebuffer) {
  static auto next = Next<void (*)(GLenum, GLuint)>("glBindFramebuffer");
  g_framebuffer = framebuffer;
  next(target, framebuffer);
}

PE_INTERPOSE void glUseProgram(GLuint program) {
  static auto next = Next<void (*)(GLuint)>("glUseProgram");
  g_program = program;
  next(program);
}

namespace {
GLint g_viewport[4] = {};
GLint g_scissor[4] = {};
bool g_scissorOn = false;
}  // namespace

PE_INTERPOSE void glViewport(GLint x, GLint y, GLsizei w, GLsizei h) {
  static auto next = Next<void (*)(GLint, GLint, GLsizei, GLsizei)>("glViewport");
  g_viewport[0] = x, g_viewport[1] = y, g_viewport[2] = w, g_viewport[3] = h;
  next(x, y, w, h);
}

PE_INTERPOSE void glScissor(GLint x, GLint y, GLsizei w, GLsizei h) {
  static auto next = Next<void (*)(GLint, GLint, GLsizei, GLsizei)>("glScissor");
  g_scissor[0] = x, g_scissor[1] = y, g_scissor[2] = w, g_scissor[3] = h;
  next(x, y, w, h);
}

PE_INTERPOSE void glEnable(GLenum cap) {
  static auto next = Next<void (*)(GLenum)>("glEnable");
  if (cap == GL_SCISSOR_TEST) g_scissorOn = true;
  next(cap);
}

PE_INTERPOSE void glDisable(GLenum cap) {
  static auto next = Next<void (*)(GLenum)>("glDisable");
  if (cap == GL_SCISSOR_TEST) g_scissorOn = false;
  next(cap);
}

namespace {
// The pixels a draw covers: the viewport, within the scissor where it is on.
double DrawnPixels() {
  long x0 = g_viewport[0], y0 = g_viewport[1];
  long x1 = x0 + g_viewport[2], y1 = y0 + g_viewport[3];
  if (g_scissorOn) {
    x0 = std::max<long>(x0, g_scissor[0]);
    y0 = std::max<long>(y0, g_scissor[1]);
    x1 = std::min<long>(x1, g_scissor[0] + static_cast<long>(g_scissor[2]));
    y1 = std::min<long>(y1, g_scissor[1] + static_cast<long>(g_scissor[3]));
  }
  return x1 > x0 && y1 > y0 ? static_cast<double>(x1 - x0) * (y1 - y0) : 0.0;
}

// The stage a draw belongs to; a look draw's pixels are booked to its
// program.
Stage DrawStage() {
  std::lock_guard<std::mutex> lock(g_lock);
  auto it = g_programStage.find(g_program);
  if (it != g_programStage.end()) return it->second;
  if (!g_inSetup) ProgramEntry(g_program).px += DrawnPixels();
  return kLook;
}
}  // namespace

PE_INTERPOSE void glDrawArrays(GLenum mode, GLint first, GLsizei count) {
  static auto next = Next<void (*)(GLenum, GLint, GLsizei)>("glDrawArrays");
  TimeGl(DrawStage(), [&] { next(mode, first, count); });
}

PE_INTERPOSE void glDrawElements(GLenum mode, GLsizei count, GLenum type, const void* indices) {
  static auto next = Next<void (*)(GLenum, GLsizei, GLenum, const void*)>("glDrawElements");
  TimeGl(DrawStage(), [&] { next(mode, count, type, indices); });
}

PE_INTERPOSE void glTexSubImage2D(GLenum target, GLint level, GLint x, GLint y, GLsizei w,
                                  GLsizei h, GLenum format, GLenum type, const void* pixels) {
  static auto next =
      Next<void (*)(GLenum, GLint, GLint, GLint, GLsizei, GLsizei, GLenum, GLenum, const void*)>(
          "glTexSubImage2D");
  TimeGl(kUpload, [&] { next(target, level, x, y, w, h, format, type, pixels); });
}

PE_INTERPOSE void glTexImage2D(GLenum target, GLint level, GLint internal, GLsizei w, GLsizei h,
                               GLint border, GLenum format, GLenum type, const void* pixels) {
  static auto next =
      Next<void (*)(GLenum, GLint, GLint, GLsizei, GLsizei, GLint, GLenum, GLenum, const void*)>(
          "glTexImage2D");
  if (!pixels) return next(target, level, internal, w, h, border, format, type, pixels);
  TimeGl(kUpload, [&] { next(target, level, internal, w, h, border, format, type, pixels); });
}

PE_INTERPOSE void glReadPixels(GLint x, GLint y, GLsizei w, GLsizei h, GLenum format, GLenum type,
                               void* pixels) {
  static auto next =
      Next<void (*)(GLint, GLint, GLsizei, GLsizei, GLenum, GLenum, void*)>("glReadPixels");
  TimeGl(kRead, [&] { next(x, y, w, h, format, type, pixels); });
}

namespace {
// Making and releasing the effect (a still does both each time): its GL
// objects, programs, assets and any pass drawn once.
template <typename Call>
auto TimeSetup(Call call) {
  ClosePass();
  Finish();
  g_inSetup = true;
  const double t0 = Now();
  auto result = call();
  Finish();
  const double ms = Now() - t0;
  g_inSetup = false;
  std::lock_guard<std::mutex> lock(g_lock);
  g_tally.ms[kSetup] += ms;
  return result;
}
}  // namespace

// The CPU stages, wrapped by the linker where the service and the engine call
// them.
extern "C" {
void __real__Z8sp2yuvxsPviiPKviiiiii(void*, int, int, const void*, int, int, int, int, int, int);
void __real__Z8sp2yuvxsPviiPKvS1_iiiiii(void*, int, int, const void*, const void*, int, int, int,
                                        int, int, int);
void __wrap__Z8sp2yuvxsPviiPKviiiiii(void* d, int dw, int dh, const void* s, int w, int h, int x,
                                     int y, int rw, int rh) {
  TimeCpu(kExpand, [&] { __real__Z8sp2yuvxsPviiPKviiiiii(d, dw, dh, s, w, h, x, y, rw, rh); });
}
void __wrap__Z8sp2yuvxsPviiPKvS1_iiiiii(void* d, int dw, int dh, const void* sy, const void* suv,
                                        int w, int h, int x, int y, int rw, int rh) {
  TimeCpu(kExpand,
          [&] { __real__Z8sp2yuvxsPviiPKvS1_iiiiii(d, dw, dh, sy, suv, w, h, x, y, rw, rh); });
}
bool __real__ZN9GEManager4InitEP19ANativeWindowBufferjjjjjjjP13IYUVConverter(
    void*, void*, unsigned, unsigned, unsigned, unsigned, unsigned, unsigned, unsigned, void*);
bool __wrap__ZN9GEManager4InitEP19ANativeWindowBufferjjjjjjjP13IYUVConverter(
    void* self, void* b, unsigned w, unsigned h, unsigned x, unsigned y, unsigned z, unsigned vw,
    unsigned vh, void* conv) {
  return TimeSetup([&] {
    return __real__ZN9GEManager4InitEP19ANativeWindowBufferjjjjjjjP13IYUVConverter(
        self, b, w, h, x, y, z, vw, vh, conv);
  });
}
bool __real__ZN9GEManager12ChooseEffectEjh(void*, unsigned, unsigned char);
bool __wrap__ZN9GEManager12ChooseEffectEjh(void* self, unsigned effect, unsigned char mode) {
  return TimeSetup([&] { return __real__ZN9GEManager12ChooseEffectEjh(self, effect, mode); });
}
bool __real__ZN9GEManager6DeinitEv(void*);
bool __wrap__ZN9GEManager6DeinitEv(void* self) {
  return TimeSetup([&] { return __real__ZN9GEManager6DeinitEv(self); });
}
bool __real__ZN8GEShader9MemcpyYUVEPvS0_(void*, void*, void*);
bool __wrap__ZN8GEShader9MemcpyYUVEPvS0_(void* self, void* y, void* uv) {
  bool ok = false;
  TimeCpu(kCopy, [&] { ok = __real__ZN8GEShader9MemcpyYUVEPvS0_(self, y, uv); });
  return ok;
}
bool __real__ZN8GEShader12BlockCopyYUVEPhS0_iiiiii(void*, unsigned char*, unsigned char*, int, int,
                                                   int, int, int, int);
bool __wrap__ZN8GEShader12BlockCopyYUVEPhS0_iiiiii(void* self, unsigned char* y, unsigned char* uv,
                                                   int stride, int height, int x, int yy, int w,
                                                   int h) {
  bool ok = false;
  TimeCpu(kCopy, [&] {
    ok = __real__ZN8GEShader12BlockCopyYUVEPhS0_iiiiii(self, y, uv, stride, height, x, yy, w, h);
  });
  return ok;
}
}

namespace {

using pe::bench::EffectParam;
using pe::bench::SharedFrame;

struct Row {
  double stage[kStages] = {};
  double total = 0;
  int lookPasses = 0;
  std::vector<double> passMs;
  std::vector<Tally::ByProgram> programs;
  bool refused = false;
  double Fixed() const { return total - stage[kLook]; }
};

// Medians over the frames of each stage and of the whole frame.
Row MedianRow(const std::vector<Tally>& tallies, const std::vector<double>& totals) {
  Row r;
  for (int s = 0; s < kStages; ++s) {
    std::vector<double> v;
    for (const Tally& t : tallies) v.push_back(t.ms[s]);
    r.stage[s] = Median(v);
  }
  r.total = Median(totals);
  r.lookPasses = tallies.empty() ? 0 : tallies.back().lookPasses;
  for (size_t p = 0; !tallies.empty() && p < tallies.back().passMs.size(); ++p) {
    std::vector<double> v;
    for (const Tally& t : tallies)
      if (p < t.passMs.size()) v.push_back(t.passMs[p]);
    r.passMs.push_back(Median(v));
  }
  for (size_t p = 0; !tallies.empty() && p < tallies.back().programs.size(); ++p) {
    std::vector<double> ms, px;
    for (const Tally& t : tallies) {
      if (p >= t.programs.size()) continue;
      ms.push_back(t.programs[p].ms);
      px.push_back(t.programs[p].px);
    }
    r.programs.push_back({0, Median(ms), Median(px)});
  }
  return r;
}

// Medians over rows of one run each, as over the frames of one run; refused
// if any was.
Row MedianOfRows(const std::vector<Row>& rows) {
  std::vector<Tally> tallies;
  std::vector<double> totals;
  for (const Row& x : rows) {
    if (x.refused) return x;
    Tally t;
    std::copy(x.stage, x.stage + kStages, t.ms);
    t.lookPasses = x.lookPasses;
    t.passMs = x.passMs;
    t.programs = x.programs;
    tallies.push_back(t);
    totals.push_back(x.total);
  }
  return MedianRow(tallies, totals);
}

// The effect behind a pw x ph preview, `call` timed `warm + reps` times and
// the first `warm` left out (they build the effect); refused if any fails.
Row Run(int effect, int pw, int ph, int warm, int reps,
        const std::function<int(orvex::GPUPostEffect&)>& call, double* firstMs = nullptr) {
  orvex::GPUPostEffect fx;
  fx.start();
  // The parameters the tool and the element give each look when asked for
  // none (a blur at strength 0 would skip its passes).
  const pe::cli::EffectInfo* info = pe::cli::FindEffect(effect);
  int dw = 0, dh = 0;
  pe::cli::DisplaySize(&dw, &dh);
  const std::string params = info
                                 ? pe::cli::ParameterString({info, info->defaultParam0,
                                                             pe::cli::DefaultParam1(*info, dw, dh)})
                                 : EffectParam(effect);
  fx.setParameters(android::String8(params.c_str()));
  fx.startPreview(pw, ph);
  std::vector<Tally> tallies;
  std::vector<double> totals;
  Row r;
  for (int i = 0; i < warm + reps; ++i) {
    TakeTally();
    const double t0 = Now();
    const int rc = call(fx);
    const double ms = Now() - t0;
    const Tally t = TakeTally();
    if (rc != 0) r.refused = true;
    if (i == 0 && firstMs) *firstMs = ms;
    if (i < warm) continue;
    tallies.push_back(t);
    totals.push_back(ms);
  }
  fx.stopPreview();
  fx.stop();
  return r.refused ? r : MedianRow(tallies, totals);
}

Row Preview(int effect, int w, int h, int frames) {
  SharedFrame frame(w, h);
  return Run(effect, w, h, 3, frames,
             [&](orvex::GPUPostEffect& fx) { return fx.handlePreview(frame.fd, frame.base, 0); });
}

// A still behind the preview after a first one, as a camera takes them: the
// first builds the programs the next ones reuse (its time in *firstMs).
Row Capture(int effect, int pw, int ph, int cw, int ch, double* firstMs) {
  SharedFrame still(cw, ch);
  return Run(
      effect, pw, ph, 1, 1,
      [&](orvex::GPUPostEffect& fx) {
        return fx.handleCapture(cw, ch, still.fd, still.base, 0, static_cast<long>(cw) * ch);
      },
      firstMs);
}

// The floor: the frame's NV21 bytes uploaded as one luminance texture, one
// pass copying them into an RGBA target of the same bytes, read back.
class Floor {
 public:
  Row Ms(int w, int h, int frames) {
    const int rows = h * 3 / 2;
    std::vector<unsigned char> in(static_cast<size_t>(w) * rows, 100), out(in.size());
    GLuint tex[2], fbo;
    glGenTextures(2, tex);
    const GLenum formats[2] = {GL_LUMINANCE, GL_RGBA};
    const int widths[2] = {w, w / 4};
    for (int i = 0; i < 2; ++i) {
      glBindTexture(GL_TEXTURE_2D, tex[i]);
      glTexImage2D(GL_TEXTURE_2D, 0, formats[i], widths[i], rows, 0, formats[i], GL_UNSIGNED_BYTE,
                   nullptr);
      glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
      glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    }
    glGenFramebuffers(1, &fbo);
    glBindFramebuffer(GL_FRAMEBUFFER, fbo);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, tex[1], 0);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    std::vector<Tally> tallies;
    std::vector<double> totals;
    for (int i = 0; i < frames + 3; ++i) {
      TakeTally();
      const double t0 = Now();
      glBindTexture(GL_TEXTURE_2D, tex[0]);
      glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, w, rows, GL_LUMINANCE, GL_UNSIGNED_BYTE, in.data());
      glViewport(0, 0, w / 4, rows);
      m_gl.Draw();
      glReadPixels(0, 0, w / 4, rows, GL_RGBA, GL_UNSIGNED_BYTE, out.data());
      const double ms = Now() - t0;
      const Tally t = TakeTally();
      if (i < 3) continue;
      tallies.push_back(t);
      totals.push_back(ms);
    }
    glDeleteFramebuffers(1, &fbo);
    glDeleteTextures(2, tex);
    return MedianRow(tallies, totals);
  }

 private:
  pe::bench::PassThroughGl m_gl;
};

void Header(const char* first) {
  std::printf("%-12s", first);
  for (const char* s : kStageNames) std::printf(" %7s", s);
  std::printf(" %7s %7s %7s %7s %6s\n", "other", "total", "fixed", "floor", "fx/fl");
}

void PrintRow(const char* name, const Row& r, double floorMs) {
  std::printf("%-12s", name);
  if (r.refused) {
    std::printf(" refused\n");
    return;
  }
  double sum = 0;
  for (int s = 0; s < kStages; ++s) {
    std::printf(" %7.2f", r.stage[s]);
    sum += r.stage[s];
  }
  std::printf(" %7.2f %7.2f %7.2f %7.2f %6.2f  (%d look pass%s)\n", r.total - sum, r.total,
              r.Fixed(), floorMs, floorMs > 0 ? r.Fixed() / floorMs : 0.0, r.lookPasses,
              r.lookPasses == 1 ? "" : "es");
  // A preview's several look passes, each on its own (a still's are too many).
  if (r.lookPasses > 1 && r.lookPasses <= 4) {
    std::printf("%-12s look passes:", "");
    for (double ms : r.passMs) std::printf(" %.2f", ms);
    std::printf("\n");
  }
  // Summed by program in the order first drawn, with the megapixels each
  // drew: a blur's share of the work beside its mix's.
  if (r.programs.size() > 1) {
    std::printf("%-12s look by program:", "");
    for (const Tally::ByProgram& p : r.programs) std::printf(" %.2f ms/%.2f Mpx", p.ms, p.px / 1e6);
    std::printf("\n");
  }
  std::fflush(stdout);
}

}  // namespace

// Usage: bench_stages [frames] [capture runs] [effect ...]
int main(int argc, char** argv) {
  const pe::bench::BenchArgs args = pe::bench::ParseArgs(argc, argv, 15);
  const int frames = args.frames, runs = args.runs;
  const std::vector<int>& effects = args.effects;

  const int sizes[][2] = {{1280, 720}, {1920, 1080}};
  for (const auto& s : sizes) {
    Row floorRow;
    {
      Floor f;
      floorRow = f.Ms(s[0], s[1], frames);
    }
    std::printf("\n%dx%d preview, ms per frame (%s, medians of %d frames)\n", s[0], s[1],
                CpuClock() ? "process CPU time" : "wall clock", frames);
    Header("effect");
    PrintRow("floor", floorRow, floorRow.total);
    for (int e : effects) {
      if (e < 1 || e > 18) continue;
      PrintRow(pe::bench::EffectName(e), Preview(e, s[0], s[1], frames), floorRow.total);
    }
  }

  // Each still (the second of its session) is timed right after a batch of
  // 1920x1080 previews of the same effect, and the ratio is taken pair by
  // pair: the neighbours' load moves both alike, where stills timed minutes
  // after the previews moved the ratio by as much as 40%.
  const int cw = 4000, ch = 3000;
  const double mpx = cw * ch / 1e6, mpx1080 = 1920 * 1080 / 1e6;
  std::printf(
      "\n%dx%d capture behind a 1280x720 preview, ms (medians of %d runs, each after %d frames "
      "of the 1920x1080 preview)\n",
      cw, ch, runs, frames);
  Header("effect");
  for (int e : effects) {
    if (e < 1 || e > 18) continue;
    std::vector<Row> stills;
    std::vector<double> ratios, previewMs, firstMs;
    for (int r = 0; r < runs; ++r) {
      const Row preview = Preview(e, 1920, 1080, frames);
      double first = 0;
      const Row still = Capture(e, 1280, 720, cw, ch, &first);
      stills.push_back(still);
      if (preview.refused || still.refused) continue;
      previewMs.push_back(preview.total);
      firstMs.push_back(first);
      ratios.push_back((still.total / mpx) / (preview.total / mpx1080));
    }
    const Row r = MedianOfRows(stills);
    PrintRow(pe::bench::EffectName(e), r, 0);
    if (r.refused || ratios.empty()) continue;
    std::printf(
        "%-12s ms/Mpx capture %.2f, 1920x1080 preview %.2f, ratio %.2f (pairs %.2f-%.2f); first "
        "still %.2f ms/Mpx\n",
        "", r.total / mpx, Median(previewMs) / mpx1080, Median(ratios),
        *std::min_element(ratios.begin(), ratios.end()),
        *std::max_element(ratios.begin(), ratios.end()), Median(firstMs) / mpx);
  }
  return 0;
}
