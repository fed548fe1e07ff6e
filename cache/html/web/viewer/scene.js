// The points, their normals, the bounds and the camera.
import {
  BufferAttribute, BufferGeometry, Color, DataTexture, InstancedBufferAttribute, InstancedBufferGeometry,
  LineBasicMaterial, LineSegments, LinearFilter, NearestFilter, PerspectiveCamera, Points,
  RawShaderMaterial, GLSL3, RGBAFormat, Scene, Sphere, UnsignedByteType, Vector2, Vector3, WebGLRenderer,
} from "three";
import { OrbitControls } from "three/addons/controls/OrbitControls.js";
import { labelColor, mapBytes } from "./color.js";
import { hash } from "./data.js";
import * as glsl from "./shaders.js";

const backgrounds = { dark: 0x17191c, gray: 0x777777, black: 0x000000, white: 0xffffff };
// Direction from the center to the camera for each view key, with Y up; rotated for Z up.
const directions = {
  0: [0.55, 0.4, 1], 1: [0, 0, 1], 2: [0, 0, -1], 3: [1, 0, 0], 4: [-1, 0, 0], 5: [0, 1, 1e-4], 6: [0, -1, 1e-4],
};

export class View {
  constructor(canvas, cloud, labels) {
    this.cloud = cloud;
    this.labels = labels;
    this.canvas = canvas;
    this.onRender = () => {};
    this.stats = { frames: 0, calls: 0, points: 0, milliseconds: 0 };
    this.part = 1; // of the points that are drawn while the camera moves
    this.moving = false;
    this.renderer = new WebGLRenderer({ canvas, antialias: false, powerPreference: "high-performance", preserveDrawingBuffer: false });
    this.renderer.setPixelRatio(Math.min(window.devicePixelRatio || 1, 2));
    this.scene = new Scene();
    this.camera = new PerspectiveCamera(35, 1, 0.01, 100);
    this.makeBounds();
    this.makePoints();
    this.makeMark();
    this.makeBox();
    this.setBackground("dark");
    this.setUp("y");
    this.resize();
    new ResizeObserver(() => this.resize()).observe(canvas.parentElement);
    canvas.addEventListener("webglcontextrestored", () => this.draw());
  }

  makeBounds() {
    const p = this.positions = this.cloud.find("position").floats(this.cloud.points, [0, 1, 2]);
    this.least = new Vector3();
    this.most = new Vector3();
    this.measure(() => true);
    this.wholeLeast = this.least.clone();
    this.wholeMost = this.most.clone();
    this.diagonal = this.most.distanceTo(this.least) || 1;
    const e = this.most.clone().sub(this.least);
    const area = 2 * (e.x * e.y + e.y * e.z + e.z * e.x) || this.diagonal * this.diagonal;
    this.spacing = Math.sqrt(area / Math.max(1, p.length / 3));
  }

  // Computes the bounds of the points for which take(index) is true; keeps the old ones if there are none.
  measure(take) {
    const p = this.positions;
    const a = [Infinity, Infinity, Infinity];
    const b = [-Infinity, -Infinity, -Infinity];
    for (let i = 0, k = 0; k < p.length; ++i, k += 3) {
      if (!take(i) || !(Math.abs(p[k]) + Math.abs(p[k + 1]) + Math.abs(p[k + 2]) < 1e37)) continue;
      for (let c = 0; c < 3; ++c) {
        if (p[k + c] < a[c]) a[c] = p[k + c];
        if (p[k + c] > b[c]) b[c] = p[k + c];
      }
    }
    if (a[0] > b[0]) return;
    this.least.fromArray(a);
    this.most.fromArray(b);
  }

  makePoints() {
    const { cloud, labels } = this;
    const n = cloud.points;
    const geometry = this.geometry = new BufferGeometry();
    geometry.setAttribute("position", new BufferAttribute(this.positions, 3));
    geometry.setAttribute("label", new BufferAttribute(labels.slots, 1));
    const normal = cloud.find("normalPP");
    this.normals = normal?.width === 3 ? normal.floats(n, [0, 1, 2]) : null;
    if (this.normals) geometry.setAttribute("normal", new BufferAttribute(this.normals, 3));
    const radius = cloud.find("radius");
    this.hasRadius = radius?.width === 1 && n > 0 && radius.range(0)[1] > 0;
    this.radii = this.hasRadius && !radius.single ? radius.floats(n, [0]) : null;
    this.oneRadius = this.hasRadius ? radius.number(0) : this.spacing * 0.6;
    if (this.radii) geometry.setAttribute("radius", new BufferAttribute(this.radii, 1));
    this.shades = new Map();

    const rows = Math.max(1, Math.ceil(labels.values.length / 256));
    this.table = new DataTexture(new Uint8Array(1024 * rows), 256, rows, RGBAFormat, UnsignedByteType);
    this.table.minFilter = this.table.magFilter = NearestFilter;
    labels.values.forEach((label, k) => this.table.image.data.set(labelColor(label), 4 * k));
    this.map = new DataTexture(new Uint8Array(1024), 256, 1, RGBAFormat, UnsignedByteType);
    this.map.minFilter = this.map.magFilter = LinearFilter;

    this.uniforms = {
      labelTable: { value: this.table }, map: { value: this.map }, mode: { value: 0 }, shape: { value: 0 },
      hasNormals: { value: this.normals !== null }, hideBack: { value: false }, lit: { value: false },
      worldSize: { value: true }, radiusPerPoint: { value: this.radii !== null }, oneRadius: { value: this.oneRadius },
      size: { value: 1 }, coarse: { value: 1 }, halfHeight: { value: 1 }, largest: { value: 64 }, exposure: { value: 1 },
      toSrgb: { value: true }, valueRange: { value: new Vector2(0, 1) },
      shadeLeast: { value: new Vector3() }, shadeScale: { value: new Vector3() }, reach: { value: 1 },
    };
    const gl = this.renderer.getContext();
    this.uniforms.largest.value = gl.getParameter(gl.ALIASED_POINT_SIZE_RANGE)[1];
    this.points = this.add(new Points(geometry, this.material(glsl.pointVertex, glsl.pointFragment)));
    this.showLabels();
  }

  material(vertexShader, fragmentShader, more = {}) {
    return new RawShaderMaterial({ glslVersion: GLSL3, vertexShader, fragmentShader, uniforms: this.uniforms, ...more });
  }

  add(object) {
    object.frustumCulled = false;
    // Set here so that three.js doesn't compute it from all points.
    object.geometry.boundingSphere = new Sphere(new Vector3(), this.diagonal);
    object.matrixAutoUpdate = false;
    this.scene.add(object);
    return object;
  }

  makeMark() {
    const geometry = new BufferGeometry();
    geometry.setAttribute("position", new BufferAttribute(new Float32Array(3), 3));
    this.mark = this.add(new Points(geometry, this.material(glsl.markVertex, glsl.markFragment,
      { depthTest: false, depthWrite: false, uniforms: { pixels: { value: 20 * this.renderer.getPixelRatio() } } })));
    this.mark.renderOrder = 2;
    this.mark.visible = false;
  }

  makeBox() {
    const corners = [];
    const { least: a, most: b } = this;
    for (let k = 0; k < 8; ++k) {
      for (const bit of [1, 2, 4]) {
        if (k & bit) continue;
        for (const c of [k, k | bit]) corners.push(c & 1 ? b.x : a.x, c & 2 ? b.y : a.y, c & 4 ? b.z : a.z);
      }
    }
    const geometry = new BufferGeometry();
    geometry.setAttribute("position", new BufferAttribute(new Float32Array(corners), 3));
    this.box = this.add(new LineSegments(geometry, new LineBasicMaterial({ color: 0x8a94a0 })));
    this.box.visible = false;
  }

  // Colors by `components` of an attribute: three as light or a direction, one as a value.
  setShade(mode, attribute, components) {
    this.uniforms.mode.value = mode;
    if (mode === 4) {
      this.uniforms.shadeLeast.value.setScalar(-1);
      this.uniforms.shadeScale.value.setScalar(0.5);
    } else if (mode === 5) {
      this.uniforms.shadeLeast.value.copy(this.wholeLeast);
      this.uniforms.shadeScale.value.copy(this.wholeMost).sub(this.wholeLeast);
      for (const k of "xyz") this.uniforms.shadeScale.value[k] = 1 / (this.uniforms.shadeScale.value[k] || 1);
    }
    if (attribute) {
      const key = `${attribute.name}/${components}`;
      let buffer = this.shades.get(key);
      if (!buffer) {
        buffer = new BufferAttribute(attribute.floats(this.cloud.points, components), components.length);
        this.shades.set(key, buffer);
      }
      this.geometry.setAttribute("shade", buffer);
    }
    this.draw();
  }

  setMap(name) {
    this.map.image.data.set(mapBytes(name));
    this.map.needsUpdate = true;
    this.draw();
  }

  showLabels() {
    this.labels.visible.forEach((v, k) => { this.table.image.data[4 * k + 3] = v ? 255 : 0; });
    this.table.needsUpdate = true;
    this.draw();
  }

  // A short line from at most `most` of the points; none with 0.
  setNormals(most) {
    if (this.lines) {
      this.scene.remove(this.lines);
      this.lines.geometry.dispose();
      this.lines = null;
    }
    if (most > 0 && this.normals) {
      const n = this.cloud.points;
      const count = Math.min(n, most);
      const origin = new Float32Array(3 * count);
      const normal = new Float32Array(3 * count);
      const label = new Uint16Array(count);
      for (let k = 0; k < count; ++k) {
        // Even steps would show as rows.
        const i = count === n ? k : Math.floor(((k + hash(k) / 4294967296) * n) / count);
        for (let c = 0; c < 3; ++c) {
          origin[3 * k + c] = this.positions[3 * i + c];
          normal[3 * k + c] = this.normals[3 * i + c];
        }
        label[k] = this.labels.slots[i];
      }
      const geometry = new InstancedBufferGeometry();
      geometry.instanceCount = count;
      geometry.setAttribute("position", new BufferAttribute(new Float32Array([0, 1]), 1));
      geometry.setAttribute("origin", new InstancedBufferAttribute(origin, 3));
      geometry.setAttribute("normal", new InstancedBufferAttribute(normal, 3));
      geometry.setAttribute("label", new InstancedBufferAttribute(label, 1));
      this.lineMaterial ??= this.material(glsl.lineVertex, glsl.flatFragment);
      this.lines = this.add(new LineSegments(geometry, this.lineMaterial));
    }
    this.draw();
  }

  setMark(i) {
    this.mark.visible = i >= 0;
    if (i >= 0) {
      const attribute = this.mark.geometry.getAttribute("position");
      attribute.array.set(this.positions.subarray(3 * i, 3 * i + 3));
      attribute.needsUpdate = true;
    }
    this.draw();
  }

  setBackground(name) {
    this.scene.background = null;
    this.renderer.setClearColor(new Color(backgrounds[name]), 1);
    this.draw();
  }

  setUp(axis) {
    this.up = axis;
    this.camera.up.set(0, axis === "y" ? 1 : 0, axis === "z" ? 1 : 0);
    this.controls?.dispose();
    this.controls = new OrbitControls(this.camera, this.canvas);
    this.controls.enableDamping = false;
    this.controls.zoomToCursor = true;
    this.controls.addEventListener("change", () => this.draw());
    this.controls.addEventListener("start", () => this.move());
    this.controls.addEventListener("end", () => this.rest());
    this.look(0);
  }

  look(key) {
    const [x, y, z] = directions[key];
    this.fit(new Vector3(...(this.up === "y" ? [x, y, z] : [x, -z, y])));
  }

  // Moves the camera along `direction` (or its own) until the visible points fill the picture.
  fit(direction = this.camera.position.clone().sub(this.controls.target)) {
    this.measure((i) => this.labels.visible[this.labels.slots[i]]);
    const { camera } = this;
    const center = this.least.clone().add(this.most).multiplyScalar(0.5);
    camera.position.copy(center).addScaledVector(direction.normalize(), this.diagonal);
    camera.lookAt(center);
    camera.updateMatrixWorld();
    const axes = [new Vector3(), new Vector3(), new Vector3()];
    camera.matrixWorld.extractBasis(...axes);
    const tanY = Math.tan((camera.fov * Math.PI) / 360);
    const tanX = tanY * camera.aspect;
    const [ex, ey, ez] = axes.map((a) => a.toArray());
    const { positions: p, labels } = this;
    let distance = this.diagonal * 1e-3;
    for (let k = 0; k < p.length; k += 3) {
      if (!labels.visible[labels.slots[k / 3]]) continue;
      const x = p[k] - center.x;
      const y = p[k + 1] - center.y;
      const z = p[k + 2] - center.z;
      const depth = x * ez[0] + y * ez[1] + z * ez[2];
      const need = depth + Math.max(Math.abs(x * ex[0] + y * ex[1] + z * ex[2]) / tanX, Math.abs(x * ey[0] + y * ey[1] + z * ey[2]) / tanY);
      if (need > distance && need < 1e37) distance = need;
    }
    camera.position.copy(center).addScaledVector(direction, distance * 1.1);
    this.controls.target.copy(center);
    this.controls.update();
    this.draw();
  }

  centerOn(i) {
    const p = new Vector3().fromArray(this.positions, 3 * i);
    this.camera.position.add(p.clone().sub(this.controls.target));
    this.controls.target.copy(p);
    this.controls.update();
    this.draw();
  }

  // While the camera moves, draws as many points as this machine can draw smoothly.
  move() {
    clearTimeout(this.timer);
    this.moving = true;
    this.last = 0;
    this.quick = 0;
  }

  rest() {
    clearTimeout(this.timer);
    this.timer = setTimeout(() => {
      this.moving = false;
      this.draw();
    }, 150);
  }

  adapt(now) {
    const passed = this.last ? now - this.last : 0;
    this.last = now;
    // Longer gaps are pauses of the user, not slow frames.
    if (passed > 45 && passed < 2500) {
      this.part = Math.max(1 / 64, this.part / (passed > 150 ? 4 : 2));
      this.quick = 0;
    } else if (passed > 0 && passed < 24 && ++this.quick > 10) {
      this.part = Math.min(1, this.part * 1.5);
      this.quick = 0;
    }
  }

  resize() {
    const { clientWidth: w, clientHeight: h } = this.canvas.parentElement;
    if (w === 0 || h === 0) return;
    this.renderer.setSize(w, h, false);
    this.camera.aspect = w / h;
    this.draw();
  }

  draw() {
    if (this.waiting) return;
    this.waiting = true;
    requestAnimationFrame(() => this.render());
  }

  render() {
    this.waiting = false;
    const start = performance.now();
    const { camera } = this;
    const distance = camera.position.distanceTo(this.controls.target);
    camera.near = Math.max(distance, this.diagonal * 1e-3) * 1e-3;
    camera.far = distance + 4 * this.diagonal;
    camera.updateProjectionMatrix();
    this.uniforms.halfHeight.value = this.canvas.height / 2;
    if (this.moving) this.adapt(start);
    const part = this.moving ? this.part : 1;
    this.geometry.setDrawRange(0, Math.ceil(this.cloud.points * part));
    this.uniforms.coarse.value = Math.min(5, 1 / Math.sqrt(part));
    this.renderer.render(this.scene, camera);
    this.stats.points = this.geometry.drawRange.count;
    this.stats.frames += 1;
    this.stats.calls = this.renderer.info.render.calls;
    this.stats.milliseconds = performance.now() - start;
    this.onRender();
  }
}
