#version 100
precision highp float;

uniform sampler2D s_texture0;
#ifdef CAPTURE
uniform sampler2D s_texture1;
#endif
uniform mat4 u_mat_yuv2rgb;
uniform vec2 u_scale;
uniform vec2 u_shift;
uniform vec2 u_center;
// The level, and the swelling's scale for that level (1 +- 0.72 x the
// square root of |level - 1|), the same for every pixel.
uniform vec2 u_distort;
uniform vec4 u_crop;
varying vec2 v_texCoord;

void main() {
  // Position relative to the centre, in picture units.
  vec2 t = v_texCoord * u_scale - u_shift;
  float sx = t.x * t.x;
  float sy = t.y * t.y;
  float rr = sqrt(sx + sy);
  // Distance from the centre to the picture's edge on t's side.
  float a = -sign(t.x) * u_center.x + ceil(t.x);
  float b = -sign(t.y) * u_center.y + ceil(t.y);
  // Where the ray through t meets the ellipse with half-axes a and b. The
  // divisions are left unguarded: the centre's own row and column come out
  // as the GPU makes them.
  float ny2 = (a * a * b * b) / (sx * b * b / sy + a * a);
  float nx2 = sx * ny2 / sy;
  float nr = sqrt(nx2 + ny2);
  float f = u_distort.x - 1.0;
  // Levels above 1 take the expanding branch, levels up to 1 the bulge: the
  // other branch's share is zero. A program made for one level range leaves
  // the other branch out. The expanding branch's finite maxr adds nothing to
  // the bulge; the bulge's minr is NaN where nr is (the centre's row and
  // column), and that NaN is kept.
#ifndef EXPANDING
  float minr = nr * exp(log(rr / nr) * u_distort.x);
#else
  float minr = nr;
#endif
#ifndef BULGE
  float pf = 2.0 / (1.0 + pow(max(0.0, rr - 0.7), 1.6) * 15.0);
  float r = rr * rr * pf * f;
  float maxr = rr * (1.0 + r * 1.5 + r * rr * rr) * u_distort.y;
  r = (ceil(f) * maxr + (1.0 - ceil(f)) * minr) / rr;
#else
  float r = (1.0 - ceil(f)) * minr / rr;
#endif
  vec2 pick = t * r + u_center;
  pick = pick * u_crop.zw + u_crop.xy;
#ifdef CAPTURE
  vec4 c = texture2D(s_texture1, pick);
  gl_FragColor = u_mat_yuv2rgb * vec4(texture2D(s_texture0, pick).r, c.r, c.a, 1.0);
#else
  gl_FragColor = u_mat_yuv2rgb * texture2D(s_texture0, pick);
#endif
}
