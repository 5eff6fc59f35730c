#version 100
precision highp float;

attribute vec4 a_vertexCoord;
attribute vec2 a_textureCoord;
uniform vec2 g_vTexelSize;
varying vec2 g_vTexCoord;
// The four diagonal neighbours: xy and zw of each.
varying vec4 g_vTexCoords0;
varying vec4 g_vTexCoords1;

void main() {
  gl_Position = a_vertexCoord;
  vec2 d = g_vTexelSize;
  g_vTexCoord = a_textureCoord;
  g_vTexCoords0 = vec4(a_textureCoord + d, a_textureCoord + vec2(d.x, -d.y));
  g_vTexCoords1 = vec4(a_textureCoord - d, a_textureCoord + vec2(-d.x, d.y));
}
