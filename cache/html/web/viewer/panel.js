// The control panel.
import { brief, css, exact, byte, grouped, labelColor, mapBytes, mapNames, srgb } from "./color.js";
import { indexInFile } from "./data.js";
import { pick } from "./pick.js";

const $ = (id) => document.getElementById(id);
const on = (id, event, f) => $(id).addEventListener(event, () => f($(id)));

function element(tag, text, ...children) {
  const e = document.createElement(tag);
  if (text !== undefined) e.textContent = text;
  e.append(...children);
  return e;
}

const xyz = ["x", "y", "z"];
const rgb = ["r", "g", "b"];

// The choices of the attribute selector: light for three values, one value, labels, directions.
function choicesOf(cloud) {
  const choices = [];
  const add = (name, mode, attribute, components) => choices.push({ name, mode, attribute, components });
  for (const a of cloud.attributes) {
    if (a.name === "rgbPP" && a.width === 3) add(a.name, 1, a, [0, 1, 2]);
  }
  if (cloud.find("tag")?.width === 1) add("tag (label)", 3, cloud.find("tag"), []);
  for (const a of cloud.attributes) {
    const names = a.name === "rgbPP" ? rgb : xyz;
    if (a.width === 3 && a.name === "normalPP") add(`${a.name} (direction)`, 4, a, [0, 1, 2]);
    else if (a.width === 3 && a.name === "position") add(`${a.name} (in the bounds)`, 5, a, [0, 1, 2]);
    else if (a.width === 3 && a.name !== "rgbPP") add(`${a.name} (as a color)`, 1, a, [0, 1, 2]);
    if (a.width === 1) add(a.name, 2, a, [0]);
    else for (let c = 0; c < a.width; ++c) add(`${a.name}.${a.width <= 3 ? names[c] : c}`, 2, a, [c]);
    if (a.width > 1) add(`${a.name}.length`, 2, a, ["length"]);
  }
  add("one color", 0, null, []);
  return choices;
}

export class Panel {
  constructor(view) {
    this.view = view;
    this.cloud = view.cloud;
    this.labels = view.labels;
    this.facts();
    this.colors();
    this.sizes();
    this.normals();
    this.labelList();
    this.views();
    this.picking();
    on("toggle-panel", "click", (b) => {
      b.setAttribute("aria-expanded", String(!document.body.classList.toggle("wide")));
    });
  }

  facts() {
    const { cloud } = this;
    document.title = `${cloud.file} – point cloud`;
    $("file-name").textContent = cloud.file;
    $("file-name").title = cloud.file;
    const some = cloud.points < cloud.count ? `${grouped(cloud.points)} of ${grouped(cloud.count)} points` : `${grouped(cloud.count)} points`;
    const [a, b] = cloud.bounds ?? [];
    const size = a ? ` · ${b.map((v, k) => brief(v - a[k], 4)).join(" × ")} · from (${a.map((v) => brief(v)).join(", ")}) to (${b.map((v) => brief(v)).join(", ")})` : "";
    $("facts").textContent = some + size;
    $("facts").title = $("facts").textContent;
    for (const note of cloud.notes) $("notes").append(element("li", note));
  }

  colors() {
    const { view } = this;
    this.choices = choicesOf(this.cloud);
    this.choices.forEach((c, k) => $("attribute").append(new Option(c.name, k)));
    mapNames.forEach((name) => $("map").append(new Option(name, name)));
    this.values = new Map(); // range that was chosen, by the name of the choice
    on("attribute", "change", (e) => this.choose(Number(e.value)));
    on("map", "change", () => this.showMap());
    for (const id of ["least", "most"]) {
      on(id, "change", () => {
        const range = [Number($("least").value), Number($("most").value)];
        if (range.every((v, k) => Number.isFinite(v) && $(k ? "most" : "least").value.trim() !== "")) this.values.set(this.choice.name, range);
        this.showRange();
      });
    }
    on("whole-range", "click", () => {
      this.values.delete(this.choice.name);
      this.showRange();
    });
    const exposure = (e) => {
      view.uniforms.exposure.value = 2 ** Number(e.value);
      $("exposure-out").value = `${Number(e.value) > 0 ? "+" : ""}${Number(e.value).toFixed(1)} stops`;
      view.draw();
    };
    on("exposure", "input", exposure);
    exposure($("exposure"));
    this.uniformCheck("srgb", "toSrgb");
    this.uniformCheck("lit", "lit");
    const { start } = this.cloud;
    const first = this.choices.findIndex((c) => c.mode === start.mode && (c.mode === 0 || c.attribute === this.cloud.attributes[start.attribute]) &&
      (c.mode !== 2 || c.components[0] === (start.component < 0 ? "length" : start.component)));
    if (first >= 0 && start.range) this.values.set(this.choices[first].name, start.range);
    $("attribute").value = Math.max(first, 0);
    this.choose(Math.max(first, 0));
    this.showMap();
  }

  uniformCheck(id, name) {
    on(id, "change", (e) => {
      this.view.uniforms[name].value = e.checked;
      this.view.draw();
    });
  }

  choose(k) {
    this.choice = this.choices[k];
    const { mode, attribute, components } = this.choice;
    $("color-of-values").hidden = $("legend").hidden = mode !== 2;
    $("color-of-light").hidden = mode !== 1;
    $("legend-name").textContent = this.choice.name;
    if (mode === 2) this.showRange();
    this.view.setShade(mode, mode === 3 ? null : attribute, components);
  }

  showRange() {
    const { attribute, components, name } = this.choice;
    const [least, most] = this.values.get(name) ?? attribute.range(components[0]);
    $("least").value = brief(least, 7);
    $("most").value = brief(most, 7);
    $("legend-least").textContent = brief(least, 4);
    $("legend-most").textContent = brief(most, 4);
    const from = attribute.origin?.[components[0]] ?? 0;
    this.view.uniforms.valueRange.value.set(least - from, most === least ? 1 : 1 / (most - least));
    this.view.draw();
  }

  showMap() {
    const bytes = mapBytes($("map").value);
    this.view.setMap($("map").value);
    for (const id of ["bar", "legend-bar"]) {
      const bar = $(id);
      const context = bar.getContext("2d");
      const length = Math.max(bar.width, bar.height);
      for (let k = 0; k < length; ++k) {
        context.fillStyle = css(bytes.subarray(4 * Math.round((k * 255) / (length - 1))));
        if (bar.width > bar.height) context.fillRect(k, 0, 1, bar.height);
        else context.fillRect(0, length - 1 - k, bar.width, 1);
      }
    }
  }

  sizes() {
    const { view } = this;
    const { uniforms } = view;
    const chosen = { world: 0, pixels: 0 };
    const show = () => {
      const world = $("unit-world").checked;
      const s = Number($("size").value);
      chosen[world ? "world" : "pixels"] = s;
      uniforms.worldSize.value = world;
      const pixels = 4 * 10 ** (s * 0.5);
      uniforms.size.value = world ? 10 ** s : pixels * view.renderer.getPixelRatio();
      $("size-out").value = world ? `× ${brief(10 ** s, 3)}` : `${brief(pixels, 3)} px`;
      view.draw();
    };
    const unit = () => {
      $("size").value = chosen[$("unit-world").checked ? "world" : "pixels"];
      show();
    };
    $("unit-world").checked = true;
    on("unit-world", "change", unit);
    on("unit-pixels", "change", unit);
    on("size", "input", show);
    on("shape", "change", (e) => {
      uniforms.shape.value = e.selectedIndex;
      view.draw();
    });
    if (!view.normals) {
      $("shape").options[0].remove();
      uniforms.shape.value = 1;
      $("shape").addEventListener("change", () => { uniforms.shape.value = $("shape").selectedIndex + 1; });
      for (const id of ["hide-back", "lit"]) $(id).closest("label").hidden = true;
    }
    if (!view.hasRadius) $("unit-world").parentElement.append(" (guessed)");
    this.uniformCheck("hide-back", "hideBack");
    show();
  }

  normals() {
    const { view } = this;
    $("normals-section").hidden = !view.normals;
    const unit = Math.max(view.hasRadius ? view.oneRadius * 2 : 0, view.diagonal * 0.01);
    const show = () => view.setNormals($("normals").checked ? Number($("normal-count").value) : 0);
    const length = () => {
      const reach = unit * 10 ** Number($("normal-length").value);
      view.uniforms.reach.value = reach;
      $("normal-length-out").value = brief(reach, 3);
      view.draw();
    };
    on("normals", "change", show);
    on("normal-count", "change", show);
    on("normal-length", "input", length);
    length();
  }

  labelList() {
    const { labels, view } = this;
    const hasLabels = this.cloud.find("tag")?.width === 1;
    $("labels-section").hidden = !hasLabels;
    if (!hasLabels) return;
    const list = $("labels");
    const shown = Math.min(labels.values.length, 1000);
    for (let k = 0; k < shown; ++k) {
      const box = element("input");
      box.type = "checkbox";
      box.checked = true;
      box.dataset.slot = k;
      const color = element("i");
      color.style.background = css(labelColor(labels.values[k]));
      const name = labels.values[k] === null ? "all others" : String(labels.values[k]);
      list.append(element("li", undefined, element("label", undefined, box, color, ` ${name} `, element("span", grouped(labels.counts[k])))));
    }
    const notes = [];
    if (labels.distinct > labels.values.length) notes.push(`${grouped(labels.distinct)} labels; only the ${labels.values.length - 1} with most points are distinguished.`);
    if (shown < labels.values.length) notes.push(`The first ${shown} of ${labels.values.length} are listed; the buttons act on all.`);
    $("labels-note").textContent = notes.join(" ");
    const show = () => {
      for (const box of list.querySelectorAll("input")) box.checked = labels.visible[box.dataset.slot] === 1;
      view.showLabels();
    };
    list.addEventListener("change", (e) => {
      labels.visible[e.target.dataset.slot] = e.target.checked ? 1 : 0;
      view.showLabels();
    });
    if (this.cloud.start.labels) {
      const wanted = new Set(this.cloud.start.labels);
      labels.values.forEach((v, k) => { labels.visible[k] = wanted.has(v) ? 1 : 0; });
      show();
    }
    on("labels-all", "click", () => { labels.visible.fill(1); show(); });
    on("labels-none", "click", () => { labels.visible.fill(0); show(); });
    on("labels-invert", "click", () => { labels.visible.forEach((v, k) => { labels.visible[k] = 1 - v; }); show(); });
  }

  views() {
    const { view } = this;
    on("fit", "click", () => view.fit());
    for (const b of document.querySelectorAll("[data-view]")) b.addEventListener("click", () => view.look(b.dataset.view));
    on("up", "change", (e) => view.setUp(e.value));
    on("background", "change", (e) => view.setBackground(e.value));
    on("box", "change", (e) => { view.box.visible = e.checked; view.draw(); });
    on("show-axes", "change", (e) => { $("axes").style.display = e.checked ? "" : "none"; });
    window.addEventListener("keydown", (e) => {
      if (e.ctrlKey || e.metaKey || e.altKey || e.target.matches("input[type=text], select")) return;
      const key = e.key.toLowerCase();
      if (key === "f") view.fit();
      else if (/^[1-6]$/.test(key)) view.look(key);
      else if (key === "n" && view.normals) $("normals").click();
      else if (key === "l" && view.normals) $("lit").click();
      else if (key === "b" && view.normals) $("hide-back").click();
      else if (key === "escape") this.showPoint(-1);
      else return;
      e.preventDefault();
    });
  }

  picking() {
    const { canvas } = this.view;
    let down = null;
    canvas.addEventListener("pointerdown", () => { $("hint").hidden = true; }, { once: true });
    canvas.addEventListener("pointerdown", (e) => { down = e.isPrimary && e.button === 0 ? [e.clientX, e.clientY] : null; });
    canvas.addEventListener("pointerup", (e) => {
      if (!down || Math.hypot(e.clientX - down[0], e.clientY - down[1]) > 4) return;
      down = null;
      const box = canvas.getBoundingClientRect();
      this.showPoint(pick(this.view, e.clientX - box.left, e.clientY - box.top));
    });
    on("picked-close", "click", () => this.showPoint(-1));
    on("picked-focus", "click", () => this.view.centerOn(this.point));
  }

  // All values of a point; -1 closes the list.
  showPoint(i) {
    this.point = i;
    $("picked").hidden = i < 0;
    this.view.setMark(i);
    if (i < 0) return;
    const { cloud } = this;
    $("picked-title").textContent = `Point ${grouped(indexInFile(cloud, i))}`;
    const rows = cloud.attributes.map((a) => {
      const values = [];
      for (let c = 0; c < a.width; ++c) values.push(this.valueText(a, i, c));
      const cell = element("td", values.join("  "));
      if (a.name === "rgbPP" && a.width === 3) {
        const swatch = element("i");
        swatch.style.background = css([0, 1, 2].map((c) => byte(srgb(a.number(i, c)))));
        cell.prepend(swatch);
      }
      const row = element("tr", undefined, element("th", a.name + (a.single ? " (all points)" : "")), cell);
      row.dataset.name = a.name;
      return row;
    });
    $("picked-values").replaceChildren(...rows);
  }

  valueText(a, i, c) {
    const v = a.values[(a.single ? 0 : i) * a.width + c];
    if (a.name !== "position" || !Number.isFinite(v)) return exact(v, a.stored);
    // As many decimal places as are certain after the rounding in this page.
    const sum = v + this.cloud.center[c];
    const error = this.cloud.positionError;
    if (!(error > 0)) return exact(sum, Math.fround(sum) === sum ? "f32" : "f64");
    const places = Math.min(17, Math.max(0, Math.floor(-Math.log10(2 * error))));
    return String(Number(sum.toFixed(places)));
  }
}

