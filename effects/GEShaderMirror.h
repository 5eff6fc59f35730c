#pragma once

#include "GEShaderSingleTexture.h"

// Folds the picture about its middle: across the horizontal middle in
// portrait, across the vertical middle in landscape. The fold is compiled in
// at load.
class GLProgMirror : public GLProgEffect {
 public:
  explicit GLProgMirror(bool large = false);
  unsigned Load() override;
  void SetLandscaped(unsigned landscaped) { m_uLandscaped = landscaped; }

 private:
  unsigned m_uLandscaped = 0;
};

class GLProgMirrorLarge : public GLProgMirror {
 public:
  GLProgMirrorLarge() : GLProgMirror(true) {}
};

class GEShaderMirror : public GEShaderSingleTexture {
 public:
  GEShaderMirror();
  // Set by the manager before Init; an orientation change takes effect at
  // the next Init.
  void SetLandscaped(bool landscaped) { m_bLandscaped = landscaped; }
  bool IsLandscaped() const { return m_bLandscaped; }

 protected:
  GLProgEffect* NewProgram(bool large) override;

 private:
  bool m_bLandscaped = false;
};
