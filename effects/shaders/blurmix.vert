#version 100
precision highp float;

attribute vec4 a_vertexCoord;
attribute vec2 a_textureCoord;
attribute vec2 a_blurTexCoord;
varying vec2 v_textureCoord;
varying vec2 v_blurTexCoord;
#ifdef CAPTURE
// The block's place in the whole picture keeps the sharp area continuous
// across blocks.
attribute vec2 a_globalTexCoord;
varying vec2 v_globalTexCoord;
#endif

void main() {
  gl_Position = a_vertexCoord;
  v_textureCoord = a_textureCoord;
  v_blurTexCoord = a_blurTexCoord;
#ifdef CAPTURE
  v_globalTexCoord = a_globalTexCoord;
#endif
}
