// Unpacks the cloud in the page and shows it.
import { Labels, readCloud } from "./data.js";
import { Panel } from "./panel.js";
import { View } from "./scene.js";

const $ = (id) => document.getElementById(id);

function say(text) {
  $("message").hidden = text === "";
  $("message-text").textContent = text;
}

// Three lines from the center, the nearest drawn last.
function axesDrawer() {
  const parts = [["X", "#ff6b60", 0], ["Y", "#7bd66a", 4], ["Z", "#64a2ff", 8]].map(([name, color, at]) => {
    const make = (tag, attributes) => {
      const e = document.createElementNS("http://www.w3.org/2000/svg", tag);
      for (const [key, value] of Object.entries(attributes)) e.setAttribute(key, value);
      return e;
    };
    const line = make("line", { stroke: color, "stroke-width": 3, "stroke-linecap": "round" });
    const text = make("text", { fill: color });
    text.textContent = name;
    const group = make("g", {});
    group.append(line, text);
    return { at, line, text, group, depth: 0 };
  });
  return (camera) => {
    const e = camera.matrixWorldInverse.elements;
    for (const part of parts) {
      const x = e[part.at];
      const y = -e[part.at + 1];
      part.depth = e[part.at + 2];
      part.line.setAttribute("x2", (x * 32).toFixed(1));
      part.line.setAttribute("y2", (y * 32).toFixed(1));
      part.text.setAttribute("x", (x * 42).toFixed(1));
      part.text.setAttribute("y", (y * 42).toFixed(1));
    }
    parts.sort((a, b) => a.depth - b.depth);
    $("axes").append(...parts.map((part) => part.group));
  };
}

async function start() {
  if (typeof DecompressionStream === "undefined") {
    return say("This browser cannot decompress the cloud's data. Use a current version of Chrome, Edge, Firefox or Safari.");
  }
  if (!document.createElement("canvas").getContext("webgl2")) {
    return say("This browser doesn't provide WebGL 2, which is required to draw the points. Enable hardware acceleration in its settings, or use another browser.");
  }
  const begin = performance.now();
  const cloud = await readCloud((part) => say(`Unpacking the cloud… ${Math.round(100 * part)} %`));
  const unpacked = performance.now();
  const tag = cloud.find("tag");
  const labels = new Labels(tag?.width === 1 ? tag : null, cloud.points);
  const view = new View($("canvas"), cloud, labels);
  const panel = new Panel(view);
  const drawAxes = axesDrawer();
  view.onRender = () => drawAxes(view.camera);
  view.look(0);
  view.render();
  say(cloud.points === 0 ? "The cloud has no points." : "");
  // For scripts that control the page.
  window.vx = {
    view, panel,
    milliseconds: { unpack: unpacked - begin, build: performance.now() - unpacked },
    camera: () => ({
      view: view.camera.matrixWorldInverse.toArray(), projection: view.camera.projectionMatrix.toArray(),
      width: view.canvas.clientWidth, height: view.canvas.clientHeight, center: cloud.center,
    }),
  };
  window.vxReady = true;
}

start().catch((why) => say(`The cloud cannot be shown: ${why.message}`));
