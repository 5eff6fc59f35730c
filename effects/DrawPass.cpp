#include "DrawPass.h"

#include "GLFbo.h"
#include "GLProgram.h"

namespace pe {

bool DrawPass(GLFbo* fbo, int w, int h, GLProgram* prog, const float* texCoords,
              const std::function<void()>& setUniforms, const int* drawn) {
  if (!fbo || !prog || !fbo->Bind()) return false;
  glViewport(0, 0, w, h);
  if (!prog->Use()) return false;
  if (setUniforms) setUniforms();
  prog->SetVertexCoord(4, kQuadVertices);
  prog->SetTextureCoord(2, texCoords);
  if (!drawn) return prog->Draw() != 0;
  glEnable(GL_SCISSOR_TEST);
  glScissor(0, 0, drawn[0], drawn[1]);
  const bool ok = prog->Draw() != 0;
  glDisable(GL_SCISSOR_TEST);
  return ok;
}

}  // namespace pe
