// Whole frames and stills through the public interface, beside a pass-through
// GL round trip (upload, one trivial pass, read back) measured in the same
// run. Prints medians.

#include <GLES2/gl2.h>
#include <pe/Platform.h>
#include <posteffect/PostEffect.h>
#include <utils/String8.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "BenchFrame.h"
#include "BenchGl.h"

namespace {

using Clock = std::chrono::steady_clock;

double Ms(Clock::time_point a, Clock::time_point b) {
  return std::chrono::duration<double, std::milli>(b - a).count();
}

double Median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v[v.size() / 2];
}

using pe::bench::EffectParam;
using pe::bench::SharedFrame;

// Median ms per preview frame; negative when the library refuses the effect.
double PreviewMs(int effect, int w, int h, int frames) {
  IPostEffect* fx = createPostEffect();
  fx->start();
  fx->setParameters(android::String8(EffectParam(effect).c_str()));
  fx->startPreview(w, h);
  SharedFrame frame(w, h);
  std::vector<double> times;
  for (int i = 0; i < frames + 3; ++i) {
    auto t0 = Clock::now();
    int rc = fx->handlePreview(frame.fd, frame.base, 0);
    auto t1 = Clock::now();
    if (rc != 0) {
      times.clear();
      break;
    }
    if (i >= 3) times.push_back(Ms(t0, t1));  // the first frames build the effect
  }
  fx->stopPreview();
  fx->stop();
  destroyPostEffect(fx);
  return times.empty() ? -1 : Median(times);
}

double CaptureSeconds(int effect, int pw, int ph, int cw, int ch, int runs) {
  IPostEffect* fx = createPostEffect();
  fx->start();
  fx->setParameters(android::String8(EffectParam(effect).c_str()));
  fx->startPreview(pw, ph);
  SharedFrame still(cw, ch);
  std::vector<double> times;
  for (int i = 0; i < runs; ++i) {
    auto t0 = Clock::now();
    int rc = fx->handleCapture(cw, ch, still.fd, still.base, 0, static_cast<long>(cw) * ch);
    auto t1 = Clock::now();
    if (rc != 0) {
      times.clear();
      break;
    }
    times.push_back(Ms(t0, t1) / 1000.0);
  }
  fx->stop();
  destroyPostEffect(fx);
  return times.empty() ? -1 : Median(times);
}

// Baseline: what any GL frame costs here: upload the frame as RGBA, one
// trivial pass into a framebuffer, read the result back.
class RoundTrip {
 public:
  // filter GL_NEAREST is the plain baseline; GL_LINEAR shows what leaving
  // llvmpipe's copy fast path costs (every effect samples its source bilinearly).
  double Ms(int w, int h, int frames, GLint filter) {
    std::vector<unsigned char> in(static_cast<size_t>(w) * h * 4, 100), out(in.size());
    GLuint tex[2], fbo;
    glGenTextures(2, tex);
    for (GLuint t : tex) {
      glBindTexture(GL_TEXTURE_2D, t);
      glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, w, h, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
      glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, filter);
      glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);
    }
    glGenFramebuffers(1, &fbo);
    glBindFramebuffer(GL_FRAMEBUFFER, fbo);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, tex[1], 0);
    std::vector<double> times;
    for (int i = 0; i < frames + 3; ++i) {
      auto t0 = Clock::now();
      glBindTexture(GL_TEXTURE_2D, tex[0]);
      glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, w, h, GL_RGBA, GL_UNSIGNED_BYTE, in.data());
      glViewport(0, 0, w, h);
      m_gl.Draw();
      glReadPixels(0, 0, w, h, GL_RGBA, GL_UNSIGNED_BYTE, out.data());
      auto t1 = Clock::now();
      if (i >= 3) times.push_back(::Ms(t0, t1));
    }
    glDeleteFramebuffers(1, &fbo);
    glDeleteTextures(2, tex);
    return Median(times);
  }

 private:
  pe::bench::PassThroughGl m_gl;
};

void Cell(double v, double base, const char* unit) {
  if (v < 0)
    std::printf(" %9s %6s", "refused", "");
  else
    std::printf(" %7.3f%-2s %5.2fx", v, unit, base > 0 ? v / base : 0.0);
}

}  // namespace

// Usage: bench_frame [frames] [capture runs] [effect ...]
int main(int argc, char** argv) {
  const pe::bench::BenchArgs args = pe::bench::ParseArgs(argc, argv, 30);
  const int frames = args.frames, runs = args.runs;
  const std::vector<int>& effects = args.effects;

  std::printf("%-10s %13s %13s %11s %11s %8s %8s\n", "size", "roundtrip ms", "rt-linear ms",
              "effect0 ms", "effect4 ms", "e0/rt", "e4/rt");
  const int sizes[][2] = {{640, 480}, {1280, 720}, {1920, 1080}};
  for (const auto& s : sizes) {
    double rt, rtLinear;
    {
      RoundTrip baseline;
      rt = baseline.Ms(s[0], s[1], frames, GL_NEAREST);
      rtLinear = baseline.Ms(s[0], s[1], frames, GL_LINEAR);
    }
    const double e0 = PreviewMs(0, s[0], s[1], frames);
    const double e4 = PreviewMs(4, s[0], s[1], frames);
    std::printf("%4dx%-5d %13.2f %13.2f %11.2f %11.2f %8.2f %8.2f\n", s[0], s[1], rt, rtLinear, e0,
                e4, e0 / rt, e4 / rt);
  }

  // Every effect beside Vignette's preview and capture of the same run:
  // medians, and the ratio to Vignette's.
  const double v720 = PreviewMs(4, 1280, 720, frames);
  const double v1080 = PreviewMs(4, 1920, 1080, frames);
  const double vCap = CaptureSeconds(4, 1280, 720, 4000, 3000, runs);
  std::printf("\n%-2s %-10s %17s %17s %17s\n", "#", "effect", "1280x720 preview",
              "1920x1080 preview", "4000x3000 capture");
  std::printf("%-2d %-10s", 4, "Vignette");
  Cell(v720, v720, "ms");
  Cell(v1080, v1080, "ms");
  Cell(vCap, vCap, "s");
  std::printf("\n");
  for (int e : effects) {
    if (e < 0 || e > 18 || e == 4) continue;
    std::printf("%-2d %-10s", e, pe::bench::EffectName(e));
    std::fflush(stdout);
    Cell(PreviewMs(e, 1280, 720, frames), v720, "ms");
    Cell(PreviewMs(e, 1920, 1080, frames), v1080, "ms");
    Cell(CaptureSeconds(e, 1280, 720, 4000, 3000, runs), vCap, "s");
    std::printf("\n");
  }
  std::printf("(medians; capture behind a 1280x720 preview, %d runs each)\n", runs);
  return 0;
}
