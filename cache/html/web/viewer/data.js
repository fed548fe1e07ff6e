// The cloud in the page: a JSON description, and the values of each attribute as base64 of deflated
// bytes, split over several elements to keep each text small.

const arrays = { i32: Int32Array, f32: Float32Array, f64: Float64Array, i64: BigInt64Array };

function bytesOfBase64(text) {
  if (Uint8Array.fromBase64) return Uint8Array.fromBase64(text);
  const binary = atob(text);
  const bytes = new Uint8Array(binary.length);
  for (let i = 0; i < binary.length; ++i) bytes[i] = binary.charCodeAt(i);
  return bytes;
}

// Calls take(chunk) with the inflated bytes of attribute number `index`. Removes each element after reading
// it, since its text is larger than the values.
async function inflate(index, take) {
  const elements = [...document.querySelectorAll(`script[data-attribute="${index}"]`)];
  const stream = new ReadableStream({
    pull(controller) {
      const element = elements.shift();
      if (!element) return controller.close();
      controller.enqueue(bytesOfBase64(element.textContent));
      element.remove();
    },
  });
  const reader = stream.pipeThrough(new DecompressionStream("deflate")).getReader();
  for (;;) {
    const { done, value } = await reader.read();
    if (done) return;
    take(value);
  }
}

export function hash(i) {
  let h = Math.imul(i ^ (i >>> 16), 0x7feb352d);
  h = Math.imul(h ^ (h >>> 15), 0x846ca68b);
  return (h ^ (h >>> 16)) >>> 0;
}

// The order in which the points are stored: any leading part of it is spread over the whole file, so that a
// part of the points can be drawn while the camera moves. Each 64th of the order has one point of each run of
// 64, chosen by a hash of the run's number. A fixed choice would show scan lines.
export class Order {
  constructor(points) {
    this.runs = Math.floor(points / 64);
    this.ordered = 64 * this.runs;
    this.slots = Array.from({ length: 64 }, (_, r) => {
      let s = 0;
      for (let bit = 0; bit < 6; ++bit) s |= ((r >> bit) & 1) << (5 - bit);
      return s;
    });
    this.places = new Uint32Array(points); // of the points of the page
    for (let i = 0; i < points; ++i) {
      const run = i >>> 6;
      this.places[i] = i < this.ordered ? this.slots[(i + hash(run)) & 63] * this.runs + run : i;
    }
  }
  // The index in the page of the point at a place.
  at(place) {
    if (place >= this.ordered) return place;
    const run = place % this.runs;
    const r = this.slots[Math.floor(place / this.runs)]; // reversing the bits twice changes nothing
    return 64 * run + ((r - hash(run)) & 63);
  }
}

// Bytes are stored in groups of points; each group has byte 0 of all its points, then byte 1, and so on.
function unplane(planes, out, itemBytes, groupPoints, places) {
  const items = places ? places.length : planes.length > 0 ? 1 : 0;
  for (let first = 0; first < items; first += groupPoints) {
    const n = Math.min(groupPoints, items - first);
    const base = first * itemBytes;
    for (let k = 0; k < itemBytes; ++k) {
      const plane = base + k * n;
      for (let i = 0; i < n; ++i) out[(places ? places[first + i] : i) * itemBytes + k] = planes[plane + i];
    }
  }
}

export class Attribute {
  constructor(description, values) {
    Object.assign(this, description); // name, type (in the file), stored, width, single, values' note
    this.values = values;
    this.ranges = {};
    this.origin = null; // what values are relative to, per component
  }
  // One value as a number; integers beyond 2^53 are rounded.
  number(point, component = 0) {
    return Number(this.values[(this.single ? 0 : point) * this.width + component]);
  }
  // The smallest and the largest finite value of a component (a number or "length"); [0, 0] if there is none.
  range(component) {
    if (!this.ranges[component]) {
      let least = Infinity;
      let most = -Infinity;
      const ofLength = component === "length";
      const values = ofLength ? this.lengths() : this.values;
      const width = ofLength ? 1 : this.width;
      for (let i = ofLength ? 0 : component; i < values.length; i += width) {
        const v = Number(values[i]);
        if (v < least && v > -Infinity) least = v;
        if (v > most && v < Infinity) most = v;
      }
      const from = ofLength ? 0 : this.origin?.[component] ?? 0;
      this.ranges[component] = least <= most ? [least + from, most + from] : [0, 0];
    }
    return this.ranges[component];
  }
  lengths() {
    const { values, width } = this;
    const out = new Float32Array(values.length / width);
    for (let i = 0, k = 0; i < out.length; ++i) {
      let sum = 0;
      for (let c = 0; c < width; ++c, ++k) sum += (Number(values[k]) + (this.origin?.[c] ?? 0)) ** 2;
      out[i] = Math.sqrt(sum);
    }
    return out;
  }
  // `components` (numbers, or "length" alone) of every point as 32-bit floats, for the graphics card.
  floats(points, components) {
    const { values, width, single } = this;
    if (values instanceof Float32Array && !single && components.length === width) return values;
    if (components[0] === "length") {
      const lengths = this.lengths();
      return single ? new Float32Array(points).fill(lengths[0]) : lengths;
    }
    const out = new Float32Array(points * components.length);
    for (let i = 0, to = 0; i < points; ++i) {
      const from = single ? 0 : i * width;
      for (const c of components) out[to++] = Number(values[from + c]);
    }
    return out;
  }
}

export async function readCloud(progress) {
  const cloud = JSON.parse(document.getElementById("vx-cloud").textContent);
  let done = 0;
  cloud.order = new Order(cloud.points);
  cloud.attributes = await Promise.all(cloud.attributes.map(async (description, index) => {
    const points = description.single ? Math.min(1, cloud.points) : cloud.points;
    const values = new arrays[description.stored](points * description.width);
    const out = new Uint8Array(values.buffer);
    const planes = new Uint8Array(out.length);
    let at = 0;
    await inflate(index, (chunk) => {
      planes.set(chunk, at);
      at += chunk.length;
    });
    if (at !== planes.length) throw new Error(`the values of attribute ${index} are truncated`);
    unplane(planes, out, out.length / Math.max(points, 1), cloud.groupPoints, description.single ? null : cloud.order.places);
    progress(++done / cloud.attributes.length);
    return new Attribute(description, values);
  }));
  cloud.attributes.find((a) => a.name === "position").origin = cloud.center;
  cloud.find = (name) => cloud.attributes.find((a) => a.name === name);
  return cloud;
}

// The index of a point in its file. A page with a part of the points has one point from each of as many runs
// of equal length, chosen by a hash of the run's number.
export function indexInFile(cloud, place) {
  const i = cloud.order.at(place);
  if (cloud.points === cloud.count) return i;
  const begin = BigInt(i) * BigInt(cloud.count) / BigInt(cloud.points);
  const end = (BigInt(i) + 1n) * BigInt(cloud.count) / BigInt(cloud.points);
  return Number(begin + BigInt(hash(i)) % (end - begin));
}

// Labels of the points as the shaders read them: truncated to an integer, of which the low 32 bits count.
export class Labels {
  static most = 4096;

  constructor(attribute, points) {
    const counts = new Map();
    const label = (i) => (attribute ? Number(attribute.values[attribute.single ? 0 : i]) | 0 : 0);
    for (let i = 0; i < points; ++i) {
      const l = label(i);
      counts.set(l, (counts.get(l) ?? 0) + 1);
    }
    let entries = [...counts].sort((a, b) => a[0] - b[0]);
    this.distinct = entries.length;
    if (entries.length > Labels.most) {
      entries.sort((a, b) => b[1] - a[1]);
      const rest = entries.splice(Labels.most - 1);
      entries.sort((a, b) => a[0] - b[0]);
      entries.push([null, rest.reduce((sum, e) => sum + e[1], 0)]);
    }
    this.values = entries.map((e) => e[0]); // null: all the others
    this.counts = entries.map((e) => e[1]);
    this.visible = new Uint8Array(entries.length).fill(1);
    const slots = new Map(entries.map((e, k) => [e[0], k]));
    const others = slots.get(null);
    this.slots = new Uint16Array(points); // of each point
    for (let i = 0; i < points; ++i) this.slots[i] = slots.get(label(i)) ?? others;
  }
}
