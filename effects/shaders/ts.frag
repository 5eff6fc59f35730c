#version 100
precision highp float;

uniform sampler2D s_texBlur;
uniform sampler2D s_texClear;
uniform mat4 u_mat_yuv2rgb;
uniform vec2 u_distSquare;
uniform float u_fMixWeight;
varying vec2 v_textureCoord;
varying vec2 v_blurTexCoord;
#ifdef CAPTURE
uniform vec2 u_center;
uniform float u_fIsPortrait;
varying vec2 v_globalTexCoord;
#else
uniform vec2 u_finger;
uniform float u_fM;
#endif

void main() {
  vec4 clear = texture2D(s_texClear, v_textureCoord);
  vec4 blur = texture2D(s_texBlur, v_blurTexCoord);
#ifdef CAPTURE
  // Nothing sets the orientation switch, so the band stays horizontal.
  vec2 d = v_globalTexCoord - u_center;
  float dist = abs(u_fIsPortrait * d.x + (1.0 - u_fIsPortrait) * d.y);
#else
  // Distance to the line through the finger with slope -u_fM.
  float b = -(u_fM * u_finger.x + u_finger.y);
  float dist = abs(u_fM * v_textureCoord.x + v_textureCoord.y + b) / sqrt(u_fM * u_fM + 1.0);
#endif
  // A plain distance against edges given squared: that is what makes the
  // sharp band as narrow as it is.
  float sw = smoothstep(u_distSquare.x, u_distSquare.y, dist);
  gl_FragColor = u_mat_yuv2rgb * mix(clear, blur, sw * u_fMixWeight);
}
