#include "ProgramCache.h"

#include <pe/Platform.h>

#include <algorithm>
#include <deque>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace pe {
namespace {

struct Kept {
  std::string sources;
  GLuint program;
};
// The opened contexts, each with what it keeps, oldest first.
using Context = std::pair<EGLDisplay, EGLContext>;
using Contexts = std::map<Context, std::deque<Kept>>;

std::mutex g_lock;
Contexts& Opened() {
  static auto* opened = new Contexts();
  return *opened;
}

// What the current context keeps; null when it was not opened. Under g_lock.
std::deque<Kept>* CurrentKept() {
  auto it = Opened().find({eglGetCurrentDisplay(), eglGetCurrentContext()});
  return it == Opened().end() ? nullptr : &it->second;
}

// Sets every active uniform of program (in use) to zero, the value a link
// gives it, so that nothing of the last owner's state reaches the next.
void ZeroUniforms(GLuint program) {
  GLint count = 0, longest = 0;
  glGetProgramiv(program, GL_ACTIVE_UNIFORMS, &count);
  glGetProgramiv(program, GL_ACTIVE_UNIFORM_MAX_LENGTH, &longest);
  std::vector<char> name(static_cast<size_t>(std::max(longest, 1)));
  std::vector<GLfloat> zf;
  std::vector<GLint> zi;
  for (GLint u = 0; u < count; ++u) {
    GLint size = 0;
    GLenum type = 0;
    glGetActiveUniform(program, static_cast<GLuint>(u), static_cast<GLsizei>(name.size()), nullptr,
                       &size, &type, name.data());
    const GLint loc = glGetUniformLocation(program, name.data());
    if (loc < 0 || size <= 0) continue;
    zf.assign(static_cast<size_t>(size) * 16, 0.f);
    zi.assign(static_cast<size_t>(size) * 4, 0);
    const GLfloat* f = zf.data();
    const GLint* i = zi.data();
    // clang-format off
    switch (type) {
      case GL_FLOAT: glUniform1fv(loc, size, f); break;
      case GL_FLOAT_VEC2: glUniform2fv(loc, size, f); break;
      case GL_FLOAT_VEC3: glUniform3fv(loc, size, f); break;
      case GL_FLOAT_VEC4: glUniform4fv(loc, size, f); break;
      case GL_FLOAT_MAT2: glUniformMatrix2fv(loc, size, GL_FALSE, f); break;
      case GL_FLOAT_MAT3: glUniformMatrix3fv(loc, size, GL_FALSE, f); break;
      case GL_FLOAT_MAT4: glUniformMatrix4fv(loc, size, GL_FALSE, f); break;
      case GL_INT_VEC2: case GL_BOOL_VEC2: glUniform2iv(loc, size, i); break;
      case GL_INT_VEC3: case GL_BOOL_VEC3: glUniform3iv(loc, size, i); break;
      case GL_INT_VEC4: case GL_BOOL_VEC4: glUniform4iv(loc, size, i); break;
      default: glUniform1iv(loc, size, i); break;  // int, bool, samplers
    }
    // clang-format on
  }
}

}  // namespace

GLuint ProgramCache::Take(const std::string& sources) {
  GLuint program = 0;
  {
    std::lock_guard<std::mutex> lock(g_lock);
    std::deque<Kept>* kept = CurrentKept();
    if (!kept) return 0;
    auto it = std::find_if(kept->rbegin(), kept->rend(),
                           [&](const Kept& k) { return k.sources == sources; });
    if (it == kept->rend()) return 0;
    program = it->program;
    kept->erase(std::next(it).base());
  }
  if (!glIsProgram(program)) return 0;
  GLint previous = 0;
  glGetIntegerv(GL_CURRENT_PROGRAM, &previous);
  glUseProgram(program);
  ZeroUniforms(program);
  // A program deleted while in use is gone once another is: nothing to go
  // back to then.
  if (previous && glIsProgram(static_cast<GLuint>(previous)))
    glUseProgram(static_cast<GLuint>(previous));
  return program;
}

bool ProgramCache::Keep(const std::string& sources, GLuint program) {
  const size_t bound = platform::KeptPrograms();
  if (bound == 0 || program == 0) return false;
  std::vector<GLuint> evicted;
  {
    std::lock_guard<std::mutex> lock(g_lock);
    std::deque<Kept>* kept = CurrentKept();
    if (!kept) return false;
    kept->push_back({sources, program});
    for (; kept->size() > bound; kept->pop_front()) evicted.push_back(kept->front().program);
  }
  for (GLuint p : evicted) glDeleteProgram(p);
  return true;
}

void ProgramCache::Open(EGLDisplay display, EGLContext context) {
  std::lock_guard<std::mutex> lock(g_lock);
  Opened()[{display, context}];
}

void ProgramCache::Close(EGLDisplay display, EGLContext context) {
  std::deque<Kept> gone;
  {
    std::lock_guard<std::mutex> lock(g_lock);
    auto it = Opened().find({display, context});
    if (it == Opened().end()) return;
    gone = std::move(it->second);
    Opened().erase(it);
  }
  if (eglGetCurrentDisplay() != display || eglGetCurrentContext() != context) return;
  for (const Kept& k : gone) glDeleteProgram(k.program);
}

size_t ProgramCache::Count() {
  std::lock_guard<std::mutex> lock(g_lock);
  const std::deque<Kept>* kept = CurrentKept();
  return kept ? kept->size() : 0;
}

}  // namespace pe
