// Color maps, colors of labels, and numbers as text.

const stops = {
  viridis: "440154 482878 3e4989 31688e 26828e 1f9e89 35b779 6ece58 b5de2b fde725",
  turbo: "30123b 4145ab 4675ed 39a2fc 1bcfd4 24eca6 61fc6c a4fc3b d1e834 f3c63a fe9b2d f36315 d93806 b11901 7a0403",
  magma: "000004 180f3d 440f76 721f81 9e2f7f cd4071 f1605d fd9668 feca8d fcfdbf",
  "blue to red": "3b4cc0 6788ee 9abbff c9d7f0 edd1c2 f7a889 e26952 b40426",
  gray: "000000 ffffff",
};
export const mapNames = Object.keys(stops);

const parse = (hex) => [0, 2, 4].map((k) => parseInt(hex.slice(k, k + 2), 16));

// 256 colors of 4 bytes.
export function mapBytes(name) {
  const list = stops[name].split(" ").map(parse);
  const out = new Uint8Array(1024);
  for (let i = 0; i < 256; ++i) {
    const at = (i / 255) * (list.length - 1);
    const k = Math.min(Math.floor(at), list.length - 2);
    for (let c = 0; c < 3; ++c) out[4 * i + c] = Math.round(list[k][c] + (list[k + 1][c] - list[k][c]) * (at - k));
    out[4 * i + 3] = 255;
  }
  return out;
}

// From OKLab to linear red, green and blue; the matrices are from B. Ottosson, "A perceptual color space
// for image processing" (2020).
function polar(lightness, chroma, degrees) {
  const hue = (degrees * Math.PI) / 180;
  const a = chroma * Math.cos(hue);
  const b = chroma * Math.sin(hue);
  const l = (lightness + 0.3963377774 * a + 0.2158037573 * b) ** 3;
  const m = (lightness - 0.1055613458 * a - 0.0638541728 * b) ** 3;
  const s = (lightness - 0.0894841775 * a - 1.291485548 * b) ** 3;
  return [
    4.0767416621 * l - 3.3077115913 * m + 0.2309699292 * s,
    -1.2684380046 * l + 2.6097574011 * m - 0.3413193965 * s,
    -0.0041960863 * l - 0.7034186147 * m + 1.707614701 * s,
  ];
}

const isShown = (color) => color.every((v) => v >= 0 && v <= 1);

// The color of a label, as in the pictures of `vx_cache view` (cache/picture/color_map.cpp): gray for 0;
// otherwise the hue advances by the golden angle from label to label. The chroma is the largest up to 0.15
// that a screen can show.
export function labelColor(label) {
  // As the shaders read labels: truncated, the low 32 bits.
  const number = typeof label === "bigint" ? Number(BigInt.asUintN(32, label)) : Math.trunc(label) >>> 0;
  if (number === 0) return [0.4, 0.4, 0.4].map((v) => byte(srgb(v)));
  const lightness = [0.72, 0.62, 0.8][number % 3];
  const degrees = (number * 137.50776405 - 95) % 360;
  let [low, high] = [0, 0.15];
  if (isShown(polar(lightness, high, degrees))) low = high;
  for (let i = 0; i < 30 && low < high; ++i) {
    const middle = (low + high) / 2;
    if (isShown(polar(lightness, middle, degrees))) low = middle;
    else high = middle;
  }
  return polar(lightness, low, degrees).map((v) => byte(srgb(v)));
}

export const css = ([r, g, b]) => `rgb(${r}, ${g}, ${b})`;
export const srgb = (v) => (v <= 0.0031308 ? 12.92 * v : 1.055 * v ** (1 / 2.4) - 0.055);
export const byte = (v) => Math.round(255 * Math.min(1, Math.max(0, v || 0)));

const names = (v) => (Number.isNaN(v) ? "not a number" : v > 0 ? "infinite" : "-infinite");

// The shortest text that reads back as this value in its type.
export function exact(value, stored) {
  if (typeof value === "bigint") return value.toString();
  if (!Number.isFinite(value)) return names(value);
  if (stored !== "f32") return String(value);
  for (let digits = 6; digits < 9; ++digits) {
    const text = value.toPrecision(digits);
    if (Math.fround(text) === value) return String(Number(text));
  }
  return String(Number(value.toPrecision(9)));
}

// A rounded number, for ranges and facts.
export function brief(v, digits = 5) {
  return Number.isFinite(v) ? String(Number(v.toPrecision(digits))) : names(v);
}

export const grouped = (n) => String(n).replace(/\B(?=(\d{3})+$)/g, "\u202f");
