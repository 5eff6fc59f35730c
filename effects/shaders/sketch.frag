#version 100
precision highp float;

uniform sampler2D s_texBlur;
uniform sampler2D s_texClear;
uniform mat4 u_mat_yuv2rgb;
varying vec2 v_textureCoord;
varying vec2 v_blurTexCoord;

void main() {
  vec4 blur = texture2D(s_texBlur, v_blurTexCoord);
  vec4 clear = texture2D(s_texClear, v_textureCoord);
  vec4 merge = (1.0 - blur + clear) / 2.0;
  // A line where the sharp luma falls clearly below its blurred surround.
  float edge = (merge.x - 0.484375) * 64.0;
  float level = floor(blur.x * 8.0 + 0.5) / 8.0 * 0.8 + 0.2;
#ifdef COLOR_SKETCH
  blur.x = level;
  blur = u_mat_yuv2rgb * blur;
  if (edge < 0.3) blur = vec4(0.0, 0.0, 0.0, 1.0);
  gl_FragColor = blur;
#else
  if (edge < 0.3) level = 0.0;
  merge.xyz = vec3(level);
  gl_FragColor = merge;
#endif
}
