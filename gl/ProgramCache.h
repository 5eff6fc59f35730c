#pragma once

#include <EGL/egl.h>
#include <GLES2/gl2.h>

#include <string>

namespace pe {

// Linked programs their owners let go of, kept in the context that made them
// for the next owner of the same sources. A still makes its effect's programs
// again each time and the preview after it makes its own again: a kept one
// skips the compile, the link and the driver's first-draw code generation.
// Bounded per context (platform::KeptPrograms), the least recently kept going
// first. Every call works on the current context.
class ProgramCache {
 public:
  // A kept program of exactly these sources, handed over with its uniforms
  // at zero as a fresh link leaves them; 0 if none.
  static GLuint Take(const std::string& sources);
  // Keeps the program under its sources; false (nothing kept) when the bound
  // is 0 or the context is not open, and the caller deletes it.
  static bool Keep(const std::string& sources, GLuint program);
  // Programs are kept only for a context opened here, by its owner, who
  // closes it before the context goes: a context's handle may be another's
  // later. Close drops what was kept, deleting the programs where the context
  // is current (elsewhere they go with it).
  static void Open(EGLDisplay display, EGLContext context);
  static void Close(EGLDisplay display, EGLContext context);
  // Programs kept for the current context.
  static size_t Count();
};

}  // namespace pe
