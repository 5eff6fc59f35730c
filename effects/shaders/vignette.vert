#version 100
precision highp float;

attribute vec4 a_vertexCoord;
attribute vec2 a_textureCoord;
varying vec2 v_texCoord;
#ifdef CAPTURE
// The block's position in the whole picture keeps the circle continuous
// across blocks.
attribute vec2 a_globalTexCoord;
varying vec2 v_globalTexCoord;
#endif

void main() {
  gl_Position = a_vertexCoord;
  v_texCoord = a_textureCoord;
#ifdef CAPTURE
  v_globalTexCoord = a_globalTexCoord;
#endif
}
