#pragma once

#include <cstddef>

#include "GLProgram.h"

// What one effect program is made of: its two sources, an optional snippet
// of GLSL shared by a family of shaders, and its location tables. The
// capture ("Large") variant is the same sources compiled with CAPTURE
// defined; locations that only one variant has go in their own table.
struct GLProgDesc {
  const char* vertex;
  const char* fragment;
  const char* prelude;  // inserted after the precision line; may be null
  const GLProgram::Location* common;
  size_t commonCount;
  const GLProgram::Location* preview;
  size_t previewCount;
  const GLProgram::Location* large;
  size_t largeCount;
  // The source-drawing locations (kSourceLocations) looked up before the
  // tables, so that programs drawing the source do not each list them.
  bool withSource = false;
};

// A program described by a GLProgDesc. Each effect's program classes are thin
// types over it, so an effect states only its sources and locations.
class GLProgEffect : public GLProgram {
 public:
  // variant: a define that picks one form of a fragment source several
  // programs share; may be null.
  GLProgEffect(const GLProgDesc& desc, bool large, const char* variant = nullptr)
      : m_desc(desc), m_bLarge(large), m_pVariant(variant) {}
  unsigned Load() override;
  bool IsLarge() const { return m_bLarge; }

 protected:
  // Compiles the given fragment source in place of the described one (an
  // effect that picks its shader at load time), then the locations.
  unsigned LoadWith(const char* fragment);

 private:
  const GLProgDesc& m_desc;
  bool m_bLarge;
  const char* m_pVariant;
};

// The locations of a program that draws the source through the YUV-to-RGB
// matrix: quad, texture coordinates, input sampler (slot 0), then the matrix.
// A program without the matrix takes the first three.
extern const GLProgram::Location kSourceLocations[4];

constexpr GLProgDesc WithSource(GLProgDesc desc) {
  desc.withSource = true;
  return desc;
}

// Builds a GLProgDesc from arrays, so a table's size is never written twice.
template <size_t C, size_t P, size_t L>
constexpr GLProgDesc MakeProgDesc(const char* vs, const char* fs, const char* prelude,
                                  const GLProgram::Location (&common)[C],
                                  const GLProgram::Location (&preview)[P],
                                  const GLProgram::Location (&large)[L]) {
  return GLProgDesc{vs, fs, prelude, common, C, preview, P, large, L};
}
template <size_t C>
constexpr GLProgDesc MakeProgDesc(const char* vs, const char* fs, const char* prelude,
                                  const GLProgram::Location (&common)[C]) {
  return GLProgDesc{vs, fs, prelude, common, C, nullptr, 0, nullptr, 0};
}
