// A curve table holds a tone curve at 65536 evenly spaced levels, 256 to a
// row: entry k (column k mod 256, row k / 256) is the curve at k / 65535.
// A look reads its entry with one nearest fetch where it read the curve
// itself with a filtered one; a level lies at most half a step (1/131070)
// from its entry's.
const float kCurveSteps = 65535.0;

// The level of the entry a table pass draws where the quad's texture
// coordinate is texCoord.
float CurveTableLevel(vec2 texCoord) {
  vec2 cell = floor(texCoord * 256.0);
  return (cell.y * 256.0 + cell.x) / kCurveSteps;
}

// The entry of level x, held to [0, 1] as the curve's edge clamp holds it.
vec4 CurveTableAt(sampler2D table, float x) {
  float u = clamp(x, 0.0, 1.0) * kCurveSteps + 0.5;
  return texture2D(table, vec2(fract(u / 256.0), u / 65536.0));
}
