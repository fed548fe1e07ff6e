// Unpacks the cloud that stands in the page and shows it.
import { Labels, readCloud } from "./data.js";
import { Panel } from "./panel.js";
import { View } from "./scene.js";

const $ = (id) => document.getElementById(id);

function say(text) {
  $("message").hidden = text === "";
  $("message-text").textContent = text;
}

// Three lines from the middle, the nearest drawn last.
function drawAxes(view) {
  const e = view.camera.matrixWorldInverse.elements;
  const axes = [["X", "#ff6b60", 0], ["Y", "#7bd66a", 4], ["Z", "#64a2ff", 8]]
    .map(([name, colour, k]) => ({ name, colour, x: e[k], y: -e[k + 1], z: e[k + 2] }))
    .sort((a, b) => a.z - b.z);
  $("axes").innerHTML = axes.map(({ name, colour, x, y }) =>
    `<line x2="${(x * 32).toFixed(1)}" y2="${(y * 32).toFixed(1)}" stroke="${colour}" stroke-width="3" stroke-linecap="round"/>` +
    `<text x="${(x * 42).toFixed(1)}" y="${(y * 42).toFixed(1)}" fill="${colour}">${name}</text>`).join("");
}

async function start() {
  if (typeof DecompressionStream === "undefined") {
    return say("This browser is too old to show the cloud: it cannot unpack compressed data. Current versions of Chrome, Edge, Firefox and Safari can.");
  }
  if (!document.createElement("canvas").getContext("webgl2")) {
    return say("This browser offers no WebGL 2, which drawing the points needs. Switch on hardware acceleration in its settings, or try another browser.");
  }
  const begin = performance.now();
  const cloud = await readCloud((part) => say(`Unpacking the cloud… ${Math.round(100 * part)} %`));
  const unpacked = performance.now();
  const tag = cloud.find("tag");
  const labels = new Labels(tag?.width === 1 ? tag : null, cloud.points);
  const view = new View($("canvas"), cloud, labels);
  const panel = new Panel(view);
  view.onRender = () => drawAxes(view);
  view.look(0);
  view.render();
  say(cloud.points === 0 ? "The cloud is empty: it has no points." : "");
  // For scripts that drive the page.
  window.vx = {
    view, panel,
    milliseconds: { unpack: unpacked - begin, build: performance.now() - unpacked },
    camera: () => ({
      view: view.camera.matrixWorldInverse.toArray(), projection: view.camera.projectionMatrix.toArray(),
      width: view.canvas.clientWidth, height: view.canvas.clientHeight, centre: cloud.centre,
    }),
  };
  window.vxReady = true;
}

start().catch((why) => say(`The cloud cannot be shown: ${why.message}`));
