// Finds the point at a place of the picture by testing all points; needs neither a search tree nor a second
// picture.
import { Matrix4 } from "three";

// x, y: CSS pixels from the upper left corner of the canvas. Returns -1 if no point is near.
export function pick(view, x, y) {
  const { camera, positions, radii, normals, uniforms, labels } = view;
  const width = view.canvas.clientWidth;
  const height = view.canvas.clientHeight;
  camera.updateMatrixWorld();
  const m = new Matrix4().multiplyMatrices(camera.projectionMatrix, camera.matrixWorldInverse).elements;
  const eye = camera.position;
  const scale = height / view.canvas.height; // of a drawn pixel
  const world = uniforms.worldSize.value;
  const size = uniforms.size.value;
  const perRadius = world ? size * camera.projectionMatrix.elements[5] * height * 0.5 : 0;
  const fixed = size * 0.5 * scale;
  const largest = uniforms.largest.value * 0.5 * scale;
  const hideBack = uniforms.hideBack.value && normals;
  const reach = 8;

  let near = -1; // the point with the nearest center, in case no point covers the place
  let nearest = reach * reach;
  let depth = Infinity;
  const covering = [];
  for (let i = 0, k = 0; k < positions.length; ++i, k += 3) {
    if (!labels.visible[labels.slots[i]]) continue;
    const px = positions[k];
    const py = positions[k + 1];
    const pz = positions[k + 2];
    const w = m[3] * px + m[7] * py + m[11] * pz + m[15];
    if (!(w > camera.near)) continue;
    const dx = ((m[0] * px + m[4] * py + m[8] * pz + m[12]) / w + 1) * 0.5 * width - x;
    const dy = (1 - (m[1] * px + m[5] * py + m[9] * pz + m[13]) / w) * 0.5 * height - y;
    const d = dx * dx + dy * dy;
    const r = Math.min(largest, world ? ((radii ? radii[i] : view.oneRadius) * perRadius) / w : fixed);
    if (!(d < r * r || d < nearest)) continue;
    if (hideBack && normals[k] * (px - eye.x) + normals[k + 1] * (py - eye.y) + normals[k + 2] * (pz - eye.z) > 0) continue;
    if (d < nearest) {
      nearest = d;
      near = i;
    }
    if (d < r * r) {
      covering.push(i, w, d);
      if (w < depth) depth = w;
    }
  }
  // Points of a surface overlap: among the front ones, take the point with the nearest center.
  let best = -1;
  let least = Infinity;
  const slack = world ? 2 * view.oneRadius * size : view.spacing;
  for (let k = 0; k < covering.length; k += 3) {
    if (covering[k + 1] > depth + slack || covering[k + 2] >= least) continue;
    best = covering[k];
    least = covering[k + 2];
  }
  return best >= 0 ? best : near;
}
