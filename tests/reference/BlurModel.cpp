#include <algorithm>
#include <cmath>

#include "BlockWalk.h"
#include "LookModels.h"

namespace pe {
namespace ref {
namespace {

// The tap each uploaded weight meets: weights 0-4 the taps -5 ... -1, 5 the
// centre, 6-10 the taps +1 ... +5, then -6, -7, +6, +7.
const int kTapOfWeight[15] = {-5, -4, -3, -2, -1, 0, 1, 2, 3, 4, 5, -6, -7, 6, 7};

// One pass into a w x h 8-bit buffer: each texel the weighted taps around
// its place in [s0, s1] x [t0, t1] of src, taps (ds, dt) apart.
TextureModel Pass(const TextureModel& src, int w, int h, float s0, float t0, float s1, float t1,
                  const std::vector<float>& kernel, float ds, float dt) {
  TextureModel out(w, h);
  for (int j = 0; j < h; ++j)
    for (int i = 0; i < w; ++i) {
      const float s = s0 + (i + 0.5f) / w * (s1 - s0), t = t0 + (j + 0.5f) / h * (t1 - t0);
      Rgb sum{0, 0, 0};
      for (int k = 0; k < 15; ++k) {
        const Texel p = src.Linear(s + kTapOfWeight[k] * ds, t + kTapOfWeight[k] * dt);
        sum = {sum.r + kernel[k] * p.r, sum.g + kernel[k] * p.g, sum.b + kernel[k] * p.b};
      }
      out.At(i, j) = Quantise(sum);
    }
  return out;
}

TextureModel BlurPasses(const TextureModel& src, float s0, float t0, float s1, float t1,
                        const BlurSetup& setup) {
  const TextureModel across =
      Pass(src, setup.blurW, setup.blurH, s0, t0, s1, t1, setup.kernel, setup.stepS, 0.f);
  return Pass(across, setup.blurW, setup.blurH, 0.f, 0.f, 1.f, 1.f, setup.kernel, 0.f, setup.stepT);
}

struct Mixed {
  int w, h;
  std::vector<Rgb> rgb;
  std::vector<char> skip;
  Mixed(int w, int h) : w(w), h(h), rgb(static_cast<size_t>(w) * h), skip(rgb.size()) {}
  void Set(int x, int y, const MixResult& m) {
    rgb[static_cast<size_t>(y) * w + x] = m.rgb;
    skip[static_cast<size_t>(y) * w + x] = m.ambiguous;
  }
  Expected Done() const {
    return {Render(w, h, [&](int x, int y) { return rgb[static_cast<size_t>(y) * w + x]; }), skip};
  }
};

}  // namespace

std::vector<float> GaussianRow(int row) {
  const double sigma = 0.2 * (row + 1);
  std::vector<double> g;
  double sum = 0;
  for (int i = -7; i <= 7; ++i) sum += g.emplace_back(std::exp(-(i * i) / (2 * sigma * sigma)));
  std::vector<float> out;
  for (double v : g) out.push_back(static_cast<float>(std::round(v / sum * 1e6) / 1e6));
  return out;
}

Mixer FocusMix(std::function<float(float gx, float gy)> distance, float e0, float e1,
               float weight) {
  return [=](const Texel& clear, const Texel& blur, float gx, float gy) {
    const float k = Smoothstep(e0, e1, distance(gx, gy)) * weight;  // the shader's mix()
    return MixResult{ToRgb({clear.r + (blur.r - clear.r) * k, clear.g + (blur.g - clear.g) * k,
                            clear.b + (blur.b - clear.b) * k})};
  };
}

Mixer SketchMix(bool colour) {
  return [=](const Texel& clear, const Texel& blur, float, float) {
    const float level = std::floor(blur.r * 8.f + 0.5f) / 8.f * 0.8f + 0.2f;
    const float merge = (1.f - blur.r + clear.r) / 2.f;
    const float edge = (merge - 0.484375f) * 64.f;
    // Where the blur alone decides the output (tilt-shift away from its
    // band) the GPU matches this model within 3 levels, 99% within 1: a pixel
    // whose level or line could flip within 2.5 levels is not compared.
    const float margin = 2.5f / 255.f;
    const float lift = blur.r * 8.f + 0.5f - std::floor(blur.r * 8.f + 0.5f);
    MixResult m;
    m.ambiguous =
        lift < 8 * margin || lift > 1 - 8 * margin || std::fabs(edge - 0.3f) < 32 * margin;
    if (edge < 0.3f)
      m.rgb = {0, 0, 0};
    else if (colour)
      m.rgb = ToRgb({level, blur.g, blur.b});
    else
      m.rgb = {level, level, level};
    return m;
  };
}

Expected PreviewModel(const Nv21& frame, int allocW, const BlurSetup& setup, float clearScale,
                      float blurScale, const Mixer& mix) {
  const int w = frame.width, h = frame.height;
  const TextureModel src = TextureModel::FromFrame(frame, allocW);
  const TextureModel blur = BlurPasses(src, 0, 0, static_cast<float>(w) / allocW, 1, setup);
  Mixed out(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const float u = (x + 0.5f) / w, v = (y + 0.5f) / h;
      out.Set(x, y, mix(src.Linear(u * clearScale, v), blur.Linear(u * blurScale, v), u, v));
    }
  return out.Done();
}

Expected ApronCaptureModel(const Nv21& still, int texW, int texH, BlurSetup setup,
                           const Mixer& mix) {
  const int W = still.width, H = still.height;
  const float stepX = static_cast<float>(W) / (texW - 192),
              stepY = static_cast<float>(H) / (texH - 192);
  const TextureModel src = TextureModel::FromFrame(still, W);
  Mixed out(W, H);
  const float whole[4] = {0, 0, 1, 1};
  const ApronBlockWalk walk(W, H, texW, texH, texW, whole);
  for (unsigned run = 0; run < walk.MaxRuns(); ++run) {
    const ApronBlock b = walk.Place(run);
    const float x0 = b.x0, y0 = b.y0, fw = b.fw, fh = b.fh;
    setup.stepS = stepX / W;
    setup.stepT = stepY / fh;
    const TextureModel blur = BlurPasses(src, x0 / W, y0 / H, (x0 + fw) / W, (y0 + fh) / H, setup);
    for (unsigned y = b.by; y < b.by + b.bh; ++y)
      for (unsigned x = b.bx; x < b.bx + b.bw; ++x) {
        const float gx = (x + 0.5f) / W, gy = (y + 0.5f) / H;
        out.Set(x, y,
                mix(src.Linear(gx, gy), blur.Linear((x + 0.5f - x0) / fw, (y + 0.5f - y0) / fh), gx,
                    gy));
      }
  }
  return out.Done();
}

Expected OverlapCaptureModel(const Nv21& still, int texW, int texH, int allocW, BlurSetup setup,
                             const Mixer& mix) {
  const int W = still.width, H = still.height;
  OverlapBlockWalk walk(W, H, texW, texH, allocW);
  const float stepX = walk.StepX(), stepY = walk.StepY();
  setup.stepS = stepX * allocW / W;
  setup.stepT = stepY;
  // How far a kept pixel's blur reaches, in pixels of the still.
  const float reachX = 7 * stepX * allocW + static_cast<float>(texW) / setup.blurW;
  const float reachY = 7 * stepY * texH + static_cast<float>(texH) / setup.blurH;
  const TextureModel src = TextureModel::FromFrame(still, W);
  Mixed out(W, H);
  for (unsigned run = 0; run < walk.MaxRuns(); ++run, walk.Advance()) {
    const BlockRect placed = walk.Place();
    const int x = placed.x, y = placed.y, w = placed.w, h = placed.h;
    // The block's texture holds the still from (x, y); its blur covers the
    // texture's valid columns and all its rows.
    const TextureModel blur =
        BlurPasses(src, static_cast<float>(x) / W, static_cast<float>(y) / H,
                   static_cast<float>(x + texW) / W, static_cast<float>(y + texH) / H, setup);
    // Written back as the output copy does: the first half of each overlap
    // is left to the block before.
    for (int j = y ? walk.HalfOverlapY() : 0; j < h && y + j < H; ++j)
      for (int i = x ? walk.HalfOverlapX() : 0; i < w && x + i < W; ++i) {
        out.Set(x + i, y + j,
                mix(src.Linear((x + i + 0.5f) / W, (y + j + 0.5f) / H),
                    blur.Linear((i + 0.5f) / allocW, (j + 0.5f) / texH), 0, 0));
        char& skip = out.skip[static_cast<size_t>(y + j) * W + x + i];
        if (!skip && ((x && i < reachX) || (x + w < W && i >= w - reachX) || (y && j < reachY) ||
                      (y + h < H && j >= h - reachY)))
          skip = kSeam;
      }
  }
  return out.Done();
}

}  // namespace ref
}  // namespace pe
