#version 100
precision highp float;

uniform sampler2D g_sImageTexture;
uniform sampler2D g_sLUTTexture;
uniform float g_fController;
varying vec2 g_vTexCoord;
varying vec4 g_vTexCoords0;
varying vec4 g_vTexCoords1;

void main() {
  // Texels hold (Y, V, U).
  vec3 cc = texture2D(g_sImageTexture, g_vTexCoord).xyz;
  float tr = texture2D(g_sImageTexture, g_vTexCoords0.xy).x;
  float br = texture2D(g_sImageTexture, g_vTexCoords0.zw).x;
  float bl = texture2D(g_sImageTexture, g_vTexCoords1.xy).x;
  float tl = texture2D(g_sImageTexture, g_vTexCoords1.zw).x;
  // The weights sum to one: flat areas keep their level.
  vec3 a = vec3(1.3 * cc.x - 0.075 * (tr + br + bl + tl), cc.yz);
  vec3 d = vec3(a.x) + vec3(0.0, -0.344, 1.772) * (a.z - 0.5) +
           vec3(1.402, -0.714, 0.0) * (a.y - 0.5);
  // g_sLUTTexture holds, as a table, the curve's blue channel read at each
  // level raised to 0.7.
  vec3 rgb = vec3(CurveTableAt(g_sLUTTexture, d.r).z, CurveTableAt(g_sLUTTexture, d.g).z,
                  CurveTableAt(g_sLUTTexture, d.b).z);
  float whiteness = dot(vec3(0.299, 0.587, 0.114), rgb);
  vec3 paper = min(rgb * (1.0 + 0.3 * max(whiteness - 0.2, 0.0)), vec3(0.96, 0.965, 0.95));
  gl_FragColor = vec4(mix(rgb, paper, g_fController), 1.0);
}
