#pragma once

#include <EGL/egl.h>
#include <GLES2/gl2.h>

#include <cstddef>
#include <string>

class GLTexture;

// The full-screen quad every pass draws: positions (x, y, z, w) and texture
// coordinates in the same vertex order, as two triangles.
extern const float kQuadVertices[16];
extern const float kQuadTexCoords[8];
extern const unsigned short kQuadIndices[6];

// Base of every GLSL program: compiles and links, keeps locations in slot
// arrays indexed by each program's enums, binds up to eight input textures
// (slot i on texture unit i) and draws the quad.
class GLProgram {
 public:
  enum { SAMPLER_INPUT_TEX = 0, SAMPLER_MAT_YUV2RGB = 7 };
  enum { kAttribSlots = 8, kUniformSlots = 16, kSamplerSlots = 8, kTextureSlots = 8 };

  // One location a program looks up after linking: which slot receives it,
  // its GLSL name, and the slot's name for the log.
  enum LocationKind { kAttrib, kUniform, kSampler, kVertexCoord, kTexCoord };
  struct Location {
    LocationKind kind;
    int index;  // slot index; unused for kVertexCoord and kTexCoord
    const char* glslName;
    const char* what;
  };

  GLProgram();
  virtual ~GLProgram();
  GLProgram(const GLProgram&) = delete;
  GLProgram& operator=(const GLProgram&) = delete;

  // The program's own sources and locations.
  virtual unsigned Load() = 0;
  // glUseProgram, then each non-null texture slot bound to its unit.
  virtual unsigned Use();
  virtual unsigned SetVertexCoord(int size, const void* coords);
  virtual unsigned SetTextureCoord(int size, const void* coords);
  virtual unsigned Draw();
  virtual unsigned Draw(int count, const void* indices);

  unsigned Load(const char* vertexSource, const char* fragmentSource);
  GLuint CompileShader(unsigned type, const char* source);
  unsigned LocIsValid(const char* what, int location);
  unsigned SetTextures(unsigned index, GLTexture* texture);
  unsigned VertexAttribPointer(int index, int size, const void* data);
  unsigned Uniform1i(int index, int v);
  unsigned Uniform1f(int index, float v);
  unsigned Uniform2f(int index, float a, float b);
  unsigned Uniform4f(int index, float a, float b, float c, float d);
  unsigned Uniform1fv(int index, int count, const float* v);
  unsigned Uniform2fv(int index, int count, const float* v);
  // Program binaries: a 4-byte format then the driver's bytes; valid only
  // for the driver that wrote them. LoadBinary looks up no locations.
  unsigned SaveBinary(const char* path);
  unsigned LoadBinary(const char* path);

  GLuint ProgramId() const { return m_uProgram; }

  // A program asked, before Load, to draw the output planes in place of its
  // RGB colour (see the engine's planes output); DrawsPlanes says whether
  // the loaded program does.
  void RequestPlanes(bool on) { m_bPlanesRequested = on; }
  bool PlanesRequested() const { return m_bPlanesRequested; }
  bool DrawsPlanes() const { return m_bDrawsPlanes; }
  // In use: the planes' extent over the drawn width and height (above 1 where
  // a draw ends inside a group of pixels).
  void SetPlanesStretch(float x, float y);

 protected:
  // Looks up every location of the table into its slot, failing at the first
  // one missing; points each sampler at its texture unit and uploads the
  // YUV-to-RGB matrix to the matrix slot. Leaves the program in use.
  unsigned LoadLocations(const Location* table, size_t count);

  GLuint m_uProgram = static_cast<GLuint>(-1);
  GLint m_nAttribLoc[kAttribSlots];
  GLint m_nUniformLoc[kUniformSlots];
  GLint m_nSamplerLoc[kSamplerSlots];
  GLint m_nVerCoordLoc = -1;
  GLint m_nTexCoordLoc = -1;
  GLTexture* m_pTextures[kTextureSlots] = {};
  // Column-major; maps (Y, V, U, 1), chroma centred at 0.5, to (R, G, B, 1).
  float m_fMatYuv2Rgb[16];
  bool m_bDrawsPlanes = false;
  GLint m_nStretchLoc = -1;

 private:
  // Deletes the program if it is one, and only in the context it was made in.
  void DeleteProgram(const char* func);
  // Whether index is a slot of an array of size slots; logs when not.
  unsigned SlotIsValid(const char* func, int index, int slots);

  EGLDisplay m_display = EGL_NO_DISPLAY;
  EGLContext m_context = EGL_NO_CONTEXT;
  // What the program was linked from, for the cache; empty for a binary.
  std::string m_sources;
  bool m_bPlanesRequested = false;
};
