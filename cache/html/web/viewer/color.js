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

// Twelve well distinguishable colors, then hues at steps of the golden angle.
const first = "4e9af1 f28e2b 59c36a e8556d b07aa1 edc948 76d7d0 ff9da7 a87c5f d3d7dc 8566e0 9ccc3c".split(" ").map(parse);
export function labelColor(k) {
  if (k < first.length) return first[k];
  const hue = (k * 137.508) % 360;
  const light = 0.5 + 0.12 * ((k % 5) - 2) * 0.6;
  const f = (n) => {
    const t = (n + hue / 30) % 12;
    return Math.round(255 * (light - 0.38 * Math.max(-1, Math.min(t - 3, 9 - t, 1))));
  };
  return [f(0), f(8), f(4)];
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
