#version 100
precision highp float;

attribute vec4 g_vVertex;
attribute vec2 a_textureCoord;
varying vec2 g_vTexCoord;
#ifdef CAPTURE
// The block's place in the whole picture, so that masks lie over the still
// and not over each block.
attribute vec2 a_globalTexCoord;
varying vec2 v_globalTexCoord;
#endif

void main() {
  gl_Position = g_vVertex;
  g_vTexCoord = a_textureCoord;
#ifdef CAPTURE
  v_globalTexCoord = a_globalTexCoord;
#endif
}
