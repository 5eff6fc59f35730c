#pragma once

// CPU model of the reduced-size blur looks: two separable 15-tap passes into
// 8-bit buffers of a reduced size (across, then down, each weight paired
// with the tap the shader gives it), GL's bilinear sampling when the blur is
// read back at full size, and the mixes: a smoothstep of the distance from
// a centre or a band, or the sketches' posterise-and-edge rule.

#include <functional>
#include <vector>

#include "TextureModel.h"
#include "YuvModel.h"

namespace pe {
namespace ref {

// Gaussian over offsets -7 ... +7, sigma 0.2 x (row + 1), six decimals.
std::vector<float> GaussianRow(int row);
// The sketches' fixed kernel.
std::vector<float> SketchKernel();

struct BlurSetup {
  std::vector<float> kernel;  // 15 weights in the order uploaded
  int blurW, blurH;           // reduced buffer size
  float stepS, stepT;         // one tap across (source units), down (blur units)
};

// The two reduced passes over the rectangle [s0, s1] x [t0, t1] of src.
TextureModel BlurPasses(const TextureModel& src, float s0, float t0, float s1, float t1,
                        const BlurSetup& setup);

// What the full-size pass makes of the sharp and blurred samples at a
// pixel whose place in the whole picture is (gx, gy), as fractions.
struct MixResult {
  Rgb rgb;
  bool ambiguous = false;  // a threshold lies within the model's uncertainty
};
using Mixer = std::function<MixResult(const Texel& clear, const Texel& blur, float gx, float gy)>;

// Depth of field: blur weighted by smoothstep of the squared distance with
// y in units of the width (whRatioSq = (H / W)^2).
Mixer DofMix(float cx, float cy, float e0, float e1, float whRatioSq, float mixWeight);
// Tilt-shift with the band horizontal: smoothstep of the plain distance
// from the finger's y against edges given squared.
Mixer TiltMix(float fy, float e0, float e1, float mixWeight);
// Sketch: blurred luma posterised to eight levels and lifted, black where
// the sharp luma is clearly below the blurred one; grey or colour.
Mixer SketchMix(bool colour);

// Preview of a w x h frame whose source rows are allocW wide, each row
// extended with its last pixel as the service expands frames. The blur
// passes read the valid columns; the mix reads the sharp picture and the
// blur at (clearScale x s, t) and (blurScale x s, t) for s, t over 0 ... 1.
Expected PreviewModel(const Nv21& frame, int allocW, const BlurSetup& setup, float clearScale,
                      float blurScale, const Mixer& mix);

// A still captured through the apron walk behind a texW x texH source
// with rows as wide as it and the crop the whole picture: each block blurred over its
// fetched rectangle with the capture's steps, the picture's edges repeated.
Expected ApronCaptureModel(const Nv21& still, int texW, int texH, BlurSetup setup,
                           const Mixer& mix);

// A still captured through the overlap walk: blocks of the source size
// stepping by the size less the overlap, each blurred as a whole texture.
// The overlap is five steps, the kernel reaches seven and a blur texel:
// pixels that close to a block's inner edge are marked kSeam.
Expected OverlapCaptureModel(const Nv21& still, int texW, int texH, int allocW, BlurSetup setup,
                             const Mixer& mix);

}  // namespace ref
}  // namespace pe
