#version 100
precision highp float;

// GREY: the black-and-white look, which also leaves the crop to the caller.
uniform sampler2D s_texture0;
uniform sampler2D s_curve;
uniform sampler2D s_vignette;
uniform mat4 u_mat_yuv2rgb;
varying vec2 v_textureCoord;
#ifdef CAPTURE
varying vec2 v_globalTexCoord;
#elif !defined(GREY)
uniform vec4 u_crop;
#endif

void main() {
#if defined(CAPTURE) || defined(GREY)
  vec4 p = u_mat_yuv2rgb * texture2D(s_texture0, v_textureCoord);
#else
  vec2 pick = v_textureCoord * u_crop.zw + u_crop.xy;
  vec4 p = u_mat_yuv2rgb * texture2D(s_texture0, pick);
#endif
  // s_curve holds the look's curve as a table. The curves' red and blue
  // channels are read crosswise: red's result is stored in the blue channel
  // and blue's in the red one.
  vec4 c1 = CurveTableAt(s_curve, p.r);
  vec4 c2 = CurveTableAt(s_curve, p.g);
  vec4 c3 = CurveTableAt(s_curve, p.b);
#ifdef GREY
  // The grey weighs each lookup's own channel, not the crosswise results.
  p.rgb = vec3(c1.r * 0.299 + c2.g * 0.587 + c3.b * 0.114);
#else
  p.rgb = vec3(c1.b, c2.g, c3.r);
#endif
#ifdef CAPTURE
  gl_FragColor = p * texture2D(s_vignette, v_globalTexCoord);
#else
  gl_FragColor = p * texture2D(s_vignette, v_textureCoord);
#endif
}
