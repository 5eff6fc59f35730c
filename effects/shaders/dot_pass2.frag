#version 100
precision highp float;

uniform sampler2D s_texture0;
uniform sampler2D s_dotMask;
varying vec2 v_texCoord;
varying vec2 v_maskTexCoord;

// Each cell shows its reduced texel through one tile of the dot mask.
void main() {
  vec4 p = texture2D(s_texture0, v_texCoord);
  vec4 mask = texture2D(s_dotMask, v_maskTexCoord);
  gl_FragColor = p * mask;
}
