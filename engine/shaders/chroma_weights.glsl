// RGB (alpha taken as 1) to full-range chroma centred at 0.5: the weights of
// the chroma plane, whichever pass writes it.
const vec4 kRgbToU = vec4(-0.168727, -0.33126147, 0.5, 0.5);
const vec4 kRgbToV = vec4(0.5, -0.4186829, -0.0813089, 0.5);
