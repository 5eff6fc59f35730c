#version 100
precision highp float;

uniform sampler2D g_sLUTTexture;
uniform vec4 g_fvTintColor;

void main() {
  vec4 src = texture2D(g_sImageTexture, g_vTexCoord);
  src.x = RampLuma(src.x);
  vec4 rgb = u_mat_yuv2rgb * src;
  // The ramp's channels cross over: red is looked up in the third byte.
  float row = g_fvController.z;
  vec4 style = vec4(texture2D(g_sLUTTexture, vec2(rgb.x, row)).z,
                    texture2D(g_sLUTTexture, vec2(rgb.y, row)).y,
                    texture2D(g_sLUTTexture, vec2(rgb.z, row)).x, 1.0);
  float b = g_fvTintColor.w + g_fvController.w;
  gl_FragColor = g_fvTintColor * b + style * (1.0 - b);
}
