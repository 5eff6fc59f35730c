#version 100
precision highp float;

uniform sampler2D g_sLUTTexture;
uniform vec4 g_fvTintColor;

void main() {
  vec4 src = texture2D(g_sImageTexture, g_vTexCoord);
  src.x = RampLuma(src.x);
  vec4 rgb = u_mat_yuv2rgb * src;
  // g_sLUTTexture holds the look's row of the colour ramp as a curve table.
  // The ramp's channels cross over: red is looked up in the third byte.
  vec4 style = vec4(CurveTableAt(g_sLUTTexture, rgb.x).z, CurveTableAt(g_sLUTTexture, rgb.y).y,
                    CurveTableAt(g_sLUTTexture, rgb.z).x, 1.0);
  float b = g_fvTintColor.w + g_fvController.w;
  gl_FragColor = g_fvTintColor * b + style * (1.0 - b);
}
