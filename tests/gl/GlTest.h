#pragma once

// Fixture of the GL layer tests: an ES2 context current over a 1x1 pbuffer,
// published as the library's display and context, every log line captured,
// and helpers that show what the GPU sees in a texture.

#include <GLES2/gl2.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "GLProgram.h"
#include "GlContext.h"
#include "LogCapture.h"

class GLTexture;

namespace pe {
namespace test {

// A program from given sources whose Load() walks a given location table;
// the slot arrays are open to tests.
class TestProgram : public GLProgram {
 public:
  TestProgram(const char* vs, const char* fs, std::vector<Location> table)
      : m_vs(vs), m_fs(fs), m_table(std::move(table)) {}
  unsigned Load() override { return GLProgram::Load(m_vs, m_fs) && Locate(); }
  unsigned LoadFromBinary(const char* path) { return LoadBinary(path) && Locate(); }
  unsigned Locate() { return LoadLocations(m_table.data(), m_table.size()); }
  using GLProgram::m_nSamplerLoc;
  using GLProgram::m_nUniformLoc;

 private:
  const char* m_vs;
  const char* m_fs;
  std::vector<Location> m_table;
};

// Passes the quad through; the fragment shader samples s_texture0.
extern const char* const kQuadVS;
extern const char* const kCopyFS;
// The locations the two declare.
std::vector<GLProgram::Location> CopyLocations();

class GLTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Draws prog over the quad into a cleared w x h RGBA target; its pixels.
  std::vector<uint8_t> Render(GLProgram& prog, int width, int height);
  // Every texel of tex as RGBA bytes, row 0 first, GetAllocWidth() wide:
  // the texture is drawn 1:1, bound through Bind() as effects bind it.
  std::vector<uint8_t> Sample(GLTexture& tex);
  // RGBA bytes of the bound framebuffer.
  static std::vector<uint8_t> ReadRgba(int width, int height);

  LogCapture m_log;
  GlContext m_gl;
};

}  // namespace test
}  // namespace pe
