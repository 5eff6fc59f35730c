#pragma once

// A GL context of the bench's own (a 1x1 pbuffer, current on the calling
// thread) with the program of a pass-through pass: the quad's position is its
// texture coordinate, and each pixel takes the texel under it.

#include <EGL/egl.h>
#include <GLES2/gl2.h>
#include <pe/Platform.h>

#include <utility>

namespace pe {
namespace bench {

class PassThroughGl {
 public:
  PassThroughGl() {
    EGLint major, minor;
    m_display = pe::platform::OpenDisplay(&major, &minor);
    const EGLint attribs[] = {EGL_SURFACE_TYPE, EGL_PBUFFER_BIT, EGL_RENDERABLE_TYPE,
                              EGL_OPENGL_ES2_BIT, EGL_NONE};
    EGLConfig config;
    EGLint n = 0;
    pe::platform::ChooseConfig(m_display, attribs, &config, 1, &n);
    const EGLint ctx[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
    m_context = eglCreateContext(m_display, config, EGL_NO_CONTEXT, ctx);
    const EGLint pb[] = {EGL_WIDTH, 1, EGL_HEIGHT, 1, EGL_NONE};
    m_surface = eglCreatePbufferSurface(m_display, config, pb);
    eglMakeCurrent(m_display, m_surface, m_surface, m_context);
    const char* vs =
        "attribute vec4 a_pos; varying vec2 v_uv;"
        "void main(){ gl_Position = a_pos; v_uv = a_pos.xy * 0.5 + 0.5; }";
    const char* fs =
        "precision mediump float; uniform sampler2D s; varying vec2 v_uv;"
        "void main(){ gl_FragColor = texture2D(s, v_uv); }";
    m_program = glCreateProgram();
    for (auto [type, src] :
         {std::pair<GLenum, const char*>{GL_VERTEX_SHADER, vs}, {GL_FRAGMENT_SHADER, fs}}) {
      GLuint sh = glCreateShader(type);
      glShaderSource(sh, 1, &src, nullptr);
      glCompileShader(sh);
      glAttachShader(m_program, sh);
      glDeleteShader(sh);
    }
    glBindAttribLocation(m_program, 0, "a_pos");
    glLinkProgram(m_program);
  }
  ~PassThroughGl() {
    glDeleteProgram(m_program);
    eglMakeCurrent(m_display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    eglDestroySurface(m_display, m_surface);
    eglDestroyContext(m_display, m_context);
  }
  PassThroughGl(const PassThroughGl&) = delete;
  PassThroughGl& operator=(const PassThroughGl&) = delete;

  // Draws the pass over the whole viewport from the texture bound to unit 0.
  void Draw() const {
    static const float kQuad[] = {-1, -1, 1, -1, -1, 1, 1, 1};
    glUseProgram(m_program);
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, kQuad);
    glEnableVertexAttribArray(0);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
  }

 private:
  EGLDisplay m_display;
  EGLContext m_context;
  EGLSurface m_surface;
  GLuint m_program = 0;
};

}  // namespace bench
}  // namespace pe
