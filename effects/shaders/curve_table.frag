#version 100
precision highp float;

// Draws a curve table (curve_table.glsl) from a curve bitmap, read at each
// entry's level exactly as the look read it per pixel.
// GAMMA_LUT: the whiteboard's curve, its lookup table's blue channel read at
// the level raised to 0.7, written to every channel.
// ROW: the row of a bitmap of several curves that the look reads.
uniform sampler2D s_texture0;
#ifndef ROW
#define ROW 0.0
#endif
varying vec2 v_texCoord;

void main() {
  float x = CurveTableLevel(v_texCoord);
#ifdef GAMMA_LUT
  gl_FragColor = vec4(texture2D(s_texture0, vec2(pow(x, 0.7), 0.5)).z);
#else
  gl_FragColor = texture2D(s_texture0, vec2(x, ROW));
#endif
}
