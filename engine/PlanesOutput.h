#pragma once

#include <string>

class GLTexture;

namespace pe {

// A look's last pass drawn straight into the output planes. Each fragment of
// a quarter-width, half-height target evaluates the look at the four pixels
// of two rows and writes the even row's luma, the odd row's luma and the
// chroma of both 2x2 groups to three attachments. The RGB result, the luma
// pass and the chroma pass are skipped; the values are those the two passes
// compute from an 8-bit RGB result.

// The fragment shader source, as composed, rewritten to draw the planes; the
// look's own main becomes a function run once per pixel. Returns an empty
// string for a source it cannot rewrite (no "void main()").
std::string PlanesShader(const std::string& fragment);

// Its uniform: the planes' extent in pixels over the draw's (x, y).
extern const char kPlanesStretch[];

// Whether the context can draw three attachments at once with derivatives,
// and the caller has not hidden it.
bool PlanesSupported();

// The framebuffer over the three planes. The chroma texture is the
// converter's own; the two luma halves are made here at its size. Holds no
// GL object when Init failed (the caller logs it).
class PlanesTarget {
 public:
  PlanesTarget() = default;
  ~PlanesTarget();
  PlanesTarget(const PlanesTarget&) = delete;
  PlanesTarget& operator=(const PlanesTarget&) = delete;

  bool Init(GLTexture* chroma);
  // Binds for drawing all three; each becomes the GPU's until it is read.
  bool Bind();
  // Luma rows 2r (half 0) and 2r + 1 (half 1) are row r of the half.
  GLTexture* LumaHalf(int half) const { return m_pHalves[half]; }

 private:
  void Release();

  GLTexture* m_pHalves[2] = {nullptr, nullptr};
  GLTexture* m_pChroma = nullptr;
  unsigned m_uFbo = 0;
};

}  // namespace pe
