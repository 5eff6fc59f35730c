#pragma once

#include <functional>
#include <memory>

#include "BlockWalk.h"
#include "GEShader.h"
#include "GLFbo.h"
#include "GLProgEffect.h"
#include "GLTexture.h"

namespace pe {
namespace blur {

constexpr int kTaps = 15;
constexpr int kShifts = 14;

// Row 1 ... 14 of the Gaussian table (sigma 0.2 x (row + 1), offsets -7 ... +7,
// six decimals); any other row is row 1.
const float* GaussianRow(int row);
// The strength parameter's row: p0 / 7 where that is 2 ... 14, else 1.
int StrengthRow(int p0);
// The strength parameter's share of the blurred picture in the mix.
float StrengthMix(int p0);
// The sketches' fixed kernel.
extern const float kSketchKernel[kTaps];

// What one blur pass fetches: each tap's weight and its offset from the
// fragment's own coordinate, in texture units.
struct Taps {
  int count = 0;
  float weight[kTaps] = {};
  float shift[2 * kTaps] = {};
};

// One pass's taps along axis (0 across, 1 down): the kernel paired with the
// 14 shifts as the blur has always paired them, the centre first. Taps of no
// weight are left out: a low strength's narrow kernel is a few fetches, the
// same sum.
Taps PassTaps(const float* kernel, const float* shifts, int axis);

}  // namespace blur
}  // namespace pe

// One direction of the separable blur, summing `taps` weighted fetches; each
// effect's blur program is a thin type over the one of 15.
class GLProgBlurPass : public GLProgEffect {
 public:
  enum { UNIFORM_GAUSSIAN_KERNEL = 0, UNIFORM_PIXEL_SHIFT = 1 };
  explicit GLProgBlurPass(int taps = pe::blur::kTaps);
};

// A program drawing the full-size picture from the sharp source and the
// blurred one; the locations every such program has.
class GLProgBlurMix : public GLProgEffect {
 public:
  enum { SAMPLER_BLUR_TEX = 0, SAMPLER_CLEAR_TEX = 1 };
  enum { ATTRIB_BLUR_TEX_COORD = 1, ATTRIB_GLOBAL_TEX_COORD = 2 };
  static const GLProgram::Location kLocations[5];
  using GLProgEffect::GLProgEffect;
};

// What depth of field, tilt-shift and the two sketches share: the picture
// blurred at reduced size, across into one framebuffer, then down into a
// second, and a full-size pass drawing from the source and the blur.
class GEBlurShader : public GEShader {
 public:
  // Preview: refuses only an effect that is not initialised.
  bool ProcFrame(unsigned a, unsigned b, int w, int h) override;
  // Capture: the apron walk (depth of field, tilt-shift) or the overlap walk
  // (sketches).
  bool ProcFrame(unsigned char* y, unsigned char* uv, int width, int height) override;
  // Fills the tap offsets of both directions from one step in texture units.
  void SetupPixelStep(float stepX, float stepY);
  // With m_bCropScalesStep, one step follows the crop: one pixel as shown.
  bool SetCrop(float x, float y, float width, float height) override;

  unsigned BlurWidth() const { return m_uBlurW; }
  unsigned BlurHeight() const { return m_uBlurH; }

 protected:
  enum CaptureWalk { kApronWalk, kOverlapWalk };
  GEBlurShader(pe::LogModule* log, CaptureWalk walk);
  // Called before a still of W x H is walked.
  virtual void OnCapture(int W, int H);

  // After InitCommon: the source sampled linearly and clamped, the two
  // reduced framebuffers, the blur program bound to the source and the mix
  // program bound to the blur (slot 0) and the source (slot 1), one step of
  // one source pixel. Texture and framebuffer failures return false without
  // a line, as the reduced buffers have always done.
  bool InitPasses(unsigned blurW, unsigned blurH, GLProgBlurPass* blur, GLProgBlurMix* mix,
                  const char* mixLine);
  // Strength: p0 / 7 picks the kernel row, p0 / 75 the blurred share.
  void SetStrength(int p0);
  // A position call: (p0, p1) the centre, (p2, p3) a point on the edge, in
  // pixels of the effect's size. Gives the centre as fractions and the
  // radius, at least minimum, corrected by the aspect in proportion to the
  // drag's horizontal share. False when the effect has no size.
  bool MeasureDrag(int p0, int p1, int p2, int p3, float minimum, float centre[2],
                   float* radius) const;
  // The two reduced passes over the part of the source in m_fPassCoord,
  // leaving out the blur under the mix's sharp area; false when a pass's
  // program cannot be made.
  bool RunBlurPasses();
  // Where the mix takes none of the blur (see pe::SharpSpan), in its
  // position coordinate; none unless an effect says so.
  virtual bool SharpSpan(float y0, float y1, float* x0, float* x1) const;
  // The coordinates at which the mix reads the blur, at its quad's corners.
  virtual void MixBlurCoord(float out[8]) const;
  // The distance up to which a mix weighing by smoothstep(edges[0],
  // edges[1], distance) takes exactly none of the blur, a hair less for the
  // GPU's rounding; false when the edges are out of order.
  static bool ZeroWeightUpTo(const float edges[2], double* distance);
  // The full-size pass from texCoords (source) and m_fBlurCoord (blur), with
  // the block's place in the picture when the program is a capture one.
  bool DrawMix(const float* texCoords, const std::function<void()>& setUniforms);

  // Capture with an apron of picture around each block (depth of field,
  // tilt-shift) and with overlapping blocks (sketches).
  bool RunApronCapture(const char* func, unsigned char* dst, int W, int H);
  // RenderBlock with the reduced passes drawing only what the block's mix
  // reads through m_fBlurCoord.
  bool RenderWindowed(const char* func, unsigned char* dst, int W, int H, unsigned sx, unsigned sy,
                      unsigned sw, unsigned sh);
  bool RunOverlapCapture(const char* func, unsigned char* dst, int W, int H);

  const float* m_pKernel = nullptr;
  float m_fMixWeight = 1.f;
  bool m_bCropScalesStep = false;
  unsigned m_uBlurW = 0, m_uBlurH = 0;
  // 14 offsets across, then 14 down, as (s, t) pairs.
  float m_fPixelShift[4 * pe::blur::kShifts] = {};
  // The part of the source the reduced passes cover, and where the mix finds
  // its pixel in the blurred picture.
  float m_fPassCoord[8] = {0, 1, 0, 0, 1, 0, 1, 1};
  float m_fBlurCoord[8] = {0, 1, 0, 0, 1, 0, 1, 1};
  // In a still's walk, the parts of the reduced passes the block's mix
  // needs; each pass draws only its part.
  bool m_bWindowed = false;
  pe::BlurWindows m_windows{};

  GEOwned<GLTexture> m_pTexH{this};
  GEOwned<GLTexture> m_pTexV{this};
  GEOwned<GLFbo> m_pFboH{this};
  GEOwned<GLFbo> m_pFboV{this};
  GEOwned<GLProgBlurMix> m_pMixProg{this};
  GEOwned<GLProgBlurPass> m_pBlurProg{this};

 private:
  bool MakePassTarget(GEOwned<GLTexture>& tex, GEOwned<GLFbo>& fbo, const char* texLine,
                      const char* fboLine);

  // The program for a pass of `taps` fetches: the effect's own for 15, one
  // made the first time it is drawn for fewer; null if it cannot be made.
  GLProgBlurPass* ProgramFor(int taps, const char* func);
  // The fetches of the pass across (axis 0) or down (1) as it stands.
  pe::blur::Taps PassTaps(int axis) const;
  // The down pass's farthest tap, in blur pixels.
  float DownReach() const;

  CaptureWalk m_eWalk;
  // Programs of fewer taps, by count; released with the effect's others.
  class FewerTaps final : public GEOwnedBase {
   public:
    explicit FewerTaps(GEShader* owner) : GEOwnedBase(owner) {}
    void Release() override;
    std::unique_ptr<GLProgBlurPass> prog[pe::blur::kTaps];
  } m_fewerTaps{this};
};
