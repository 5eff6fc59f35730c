#version 100
precision highp float;

attribute vec4 a_vertexCoord;
attribute vec2 a_textureCoord;
varying vec2 v_textureCoord;
#ifdef CAPTURE
// The block's place in the whole picture, where the mask is read.
attribute vec2 a_globalTexCoord;
varying vec2 v_globalTexCoord;
#endif

void main() {
  gl_Position = a_vertexCoord;
  v_textureCoord = a_textureCoord;
#ifdef CAPTURE
  v_globalTexCoord = a_globalTexCoord;
#endif
}
