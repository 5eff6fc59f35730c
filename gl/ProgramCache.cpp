#include "ProgramCache.h"

#include <pe/Platform.h>

#include <algorithm>
#include <deque>
#include <mutex>
#include <utility>
#include <vector>

namespace pe {
namespace {

struct Kept {
  EGLDisplay display;
  EGLContext context;
  std::string sources;
  GLuint program;
};

std::mutex g_lock;
// Oldest first; shared by every context of the process, each entry usable
// only in its own.
std::deque<Kept>& Entries() {
  static auto* entries = new std::deque<Kept>();
  return *entries;
}

std::vector<std::pair<EGLDisplay, EGLContext>>& Opened() {
  static auto* opened = new std::vector<std::pair<EGLDisplay, EGLContext>>();
  return *opened;
}

bool Current(const Kept& k) {
  return k.display == eglGetCurrentDisplay() && k.context == eglGetCurrentContext();
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
    switch (type) {
      case GL_FLOAT:
        glUniform1fv(loc, size, zf.data());
        break;
      case GL_FLOAT_VEC2:
        glUniform2fv(loc, size, zf.data());
        break;
      case GL_FLOAT_VEC3:
        glUniform3fv(loc, size, zf.data());
        break;
      case GL_FLOAT_VEC4:
        glUniform4fv(loc, size, zf.data());
        break;
      case GL_FLOAT_MAT2:
        glUniformMatrix2fv(loc, size, GL_FALSE, zf.data());
        break;
      case GL_FLOAT_MAT3:
        glUniformMatrix3fv(loc, size, GL_FALSE, zf.data());
        break;
      case GL_FLOAT_MAT4:
        glUniformMatrix4fv(loc, size, GL_FALSE, zf.data());
        break;
      case GL_INT_VEC2:
      case GL_BOOL_VEC2:
        glUniform2iv(loc, size, zi.data());
        break;
      case GL_INT_VEC3:
      case GL_BOOL_VEC3:
        glUniform3iv(loc, size, zi.data());
        break;
      case GL_INT_VEC4:
      case GL_BOOL_VEC4:
        glUniform4iv(loc, size, zi.data());
        break;
      default:
        glUniform1iv(loc, size, zi.data());
        break;  // int, bool, samplers
    }
  }
}

}  // namespace

GLuint ProgramCache::Take(const std::string& sources) {
  GLuint program = 0;
  {
    std::lock_guard<std::mutex> lock(g_lock);
    auto& entries = Entries();
    for (auto it = entries.rbegin(); it != entries.rend(); ++it) {
      if (!Current(*it) || it->sources != sources) continue;
      program = it->program;
      entries.erase(std::next(it).base());
      break;
    }
  }
  if (!program) return 0;
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
    const auto current = std::make_pair(eglGetCurrentDisplay(), eglGetCurrentContext());
    auto& opened = Opened();
    if (std::find(opened.begin(), opened.end(), current) == opened.end()) return false;
    auto& entries = Entries();
    entries.push_back({eglGetCurrentDisplay(), eglGetCurrentContext(), sources, program});
    size_t mine = 0;
    for (const Kept& k : entries) mine += Current(k);
    for (auto it = entries.begin(); mine > bound && it != entries.end();) {
      if (!Current(*it)) {
        ++it;
        continue;
      }
      evicted.push_back(it->program);
      it = entries.erase(it);
      --mine;
    }
  }
  for (GLuint p : evicted) glDeleteProgram(p);
  return true;
}

void ProgramCache::Open(EGLDisplay display, EGLContext context) {
  std::lock_guard<std::mutex> lock(g_lock);
  Opened().emplace_back(display, context);
}

void ProgramCache::Close(EGLDisplay display, EGLContext context) {
  std::vector<GLuint> gone;
  {
    std::lock_guard<std::mutex> lock(g_lock);
    auto& opened = Opened();
    opened.erase(std::remove(opened.begin(), opened.end(), std::make_pair(display, context)),
                 opened.end());
    auto& entries = Entries();
    for (auto it = entries.begin(); it != entries.end();) {
      if (it->display != display || it->context != context) {
        ++it;
        continue;
      }
      gone.push_back(it->program);
      it = entries.erase(it);
    }
  }
  if (eglGetCurrentDisplay() != display || eglGetCurrentContext() != context) return;
  for (GLuint p : gone) glDeleteProgram(p);
}

size_t ProgramCache::Count() {
  std::lock_guard<std::mutex> lock(g_lock);
  size_t n = 0;
  for (const Kept& k : Entries()) n += Current(k);
  return n;
}

}  // namespace pe
