#pragma once

// CPU models of the effect families, restated from the looks' own
// definitions on the shared sampling and colour arithmetic. A frame sits in
// rows allocW wide (a still: its own width); a crop is x, y, w, h as
// fractions, null the frame's columns.

#include <functional>
#include <string>
#include <vector>

#include "TextureModel.h"

namespace pe {
namespace ref {

// Each pixel shaded from the source at (s, t) through the crop; (u, v) its
// place in the picture.
Nv21 Cropped(
    const Nv21& frame, int allocW, const float* crop,
    const std::function<Rgb(const TextureModel& src, float s, float t, float u, float v)>& shade);

// --- Tone curves: colour film and black and white under a vignette, and the
// whiteboard clean-up.
struct CurveLook {
  // For a w x h preview.
  CurveLook(const std::string& curveFile, bool grey, bool masked, int w, int h);
  Nv21 Apply(const Nv21& frame, int allocW, const float* crop) const;
  bool grey;                 // black and white from each lookup's own channel, no crop
  TextureModel curve, mask;  // the curve along its first row; mask: empty for none
};
Nv21 WhiteboardPreview(const Nv21& frame, int allocW, const float* crop);
// Behind a procW x procH preview: each block filled from the crop's part of
// the still into the reused source texture and stretched over its block.
Nv21 WhiteboardCapture(const Nv21& still, int procW, int procH, int allocW, const float* crop);

// --- The contrast ramp looks: the frame's luma through a range and two ramp
// rows, back to RGB, then a colour ramp, a two-tone mask or a tone pair.
enum class RampLook { kMaple, kNash, kTwoToneV, kTwoToneH, kToneCM, kToneSC };
struct RampModel {
  // For a viewportW x viewportH preview; p0 only moves CM's tone pair.
  RampModel(RampLook look, int viewportW, int viewportH, int p0);
  Nv21 Apply(const Nv21& f, int allocW, const float* crop = nullptr) const;
  // A source texel (Y, V, U) whose mask is read at (ms, mt).
  Rgb Shade(const Texel& yuv, float ms, float mt) const;
  RampLook m_look;
  TextureModel m_contrast, m_table;
  const float *m_clip, *m_control;
  float m_tones[4];
};

// --- Geometry and pattern looks. Fisheye about (cx, cy) in picture units:
// the centre's own row and column are left out (unguarded divisions).
struct Fisheye {
  double cx, cy, level;
  // The source position, in picture units, that output position (u, v) shows.
  void Map(double u, double v, double* su, double* sv) const;
  Expected Preview(const Nv21& frame, int allocW) const;
  // A still sampled from its whole Y and chroma planes.
  Expected Still(const Nv21& still) const;
};
// Dot screen: cells of dot pixels, each showing its centre's colour through
// one tile of the (repeating) mask.
Nv21 Dots(const Nv21& frame, int allocW, double dot, const TextureModel& mask);
Nv21 MirrorPreview(const Nv21& frame, int allocW, bool landscape);
// A still folded block by block, blocks of procW x procH from the origin, a
// last column narrower than 32-pixel multiples widened and moved to the
// right edge.
Nv21 MirrorStill(const Nv21& still, int procW, int procH, bool landscape);

// --- Reduced-size blur looks: two separable 15-tap passes into 8-bit
// buffers of a reduced size (across, then down), the blur read back at full
// size, and a mix of the sharp and blurred samples. Gaussian over offsets -7 ... +7, sigma 0.2 x
// (row + 1), six decimals.
std::vector<float> GaussianRow(int row);
struct BlurSetup {
  std::vector<float> kernel;  // 15 weights in the order uploaded
  int blurW, blurH;           // reduced buffer size
  float stepS, stepT;         // one tap across (source units), down (blur units)
};
struct MixResult {
  Rgb rgb;
  bool ambiguous = false;  // a threshold lies within the model's uncertainty
};
// The mix at a pixel whose place in the whole picture is (gx, gy).
using Mixer = std::function<MixResult(const Texel& clear, const Texel& blur, float gx, float gy)>;
// Blur weighted by smoothstep(e0, e1, distance(gx, gy)) x weight.
Mixer FocusMix(std::function<float(float gx, float gy)> distance, float e0, float e1, float weight);
// Sketch: blurred luma posterised to eight levels and lifted, black where
// the sharp luma is clearly below the blurred one; grey or colour.
Mixer SketchMix(bool colour);
// The passes read the valid columns, the mix the sharp picture and the blur
// at (clearScale x s, t) and (blurScale x s, t).
Expected PreviewModel(const Nv21& frame, int allocW, const BlurSetup& setup, float clearScale,
                      float blurScale, const Mixer& mix);
// A still through the apron walk behind a texW x texH source, no crop.
Expected ApronCaptureModel(const Nv21& still, int texW, int texH, BlurSetup setup,
                           const Mixer& mix);
// A still through the overlap walk, each block blurred as a whole texture.
// Pixels within the kernel's reach of a block's inner edge are kSeam.
Expected OverlapCaptureModel(const Nv21& still, int texW, int texH, int allocW, BlurSetup setup,
                             const Mixer& mix);

}  // namespace ref
}  // namespace pe
