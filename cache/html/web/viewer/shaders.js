// GLSL for the points, their normals and the mark on the picked point.

const shared = `
precision highp float;
uniform mat4 modelViewMatrix, projectionMatrix;
uniform mat3 normalMatrix;
uniform highp sampler2D labelTable; // red, green, blue; alpha 1 when shown
uniform bool hideBack, hasNormals;

vec4 labelEntry(float slot) { int s = int(slot + 0.5); return texelFetch(labelTable, ivec2(s & 255, s >> 8), 0); }
bool isNumber(vec3 v) { return all(lessThan(abs(v), vec3(1e37))); }
const vec4 nowhere = vec4(2.0, 2.0, 2.0, 1.0);
`;

export const pointVertex = `
${shared}
in vec3 position, normal, shade;
in float radius, label;
uniform int mode; // 0 one color, 1 light, 2 value, 3 label, 4 direction, 5 place
uniform bool worldSize, radiusPerPoint;
uniform float size, coarse, oneRadius, halfHeight, largest, exposure;
uniform bool toSrgb, lit;
uniform vec3 shadeLeast, shadeScale;
uniform vec2 valueRange; // least, 1 / (most - least)
uniform sampler2D map;
flat out vec3 color;
flat out vec4 facing; // normal in eye space, diameter in pixels

vec3 encode(vec3 v) {
  v = clamp(v, 0.0, 1.0);
  return mix(12.92 * v, 1.055 * pow(v, vec3(1.0 / 2.4)) - 0.055, step(0.0031308, v));
}

void main() {
  vec4 eye = modelViewMatrix * vec4(position, 1.0);
  vec4 entry = labelEntry(label);
  vec3 n = normalMatrix * normal;
  bool away = hasNormals && dot(n, eye.xyz) > 0.0;
  gl_Position = projectionMatrix * eye;
  if (entry.a < 0.5 || (hideBack && away) || !isNumber(position)) gl_Position = nowhere;
  float r = radiusPerPoint ? radius : oneRadius;
  float pixels = worldSize ? 2.0 * r * size * projectionMatrix[1][1] * halfHeight / gl_Position.w : size;
  gl_PointSize = clamp(pixels * coarse, 1.0, largest);
  float l = length(n);
  facing = vec4(l > 0.0 ? n / l : vec3(0.0, 0.0, 1.0), gl_PointSize);

  if (mode == 1) {
    color = shade * exposure;
    color = toSrgb ? encode(color) : clamp(color, 0.0, 1.0);
    if (!isNumber(shade)) color = vec3(1.0, 0.0, 1.0);
  } else if (mode == 2) {
    float t = clamp((shade.x - valueRange.x) * valueRange.y, 0.0, 1.0);
    color = texture(map, vec2(t * (255.0 / 256.0) + 0.5 / 256.0, 0.5)).rgb;
    if (!(abs(shade.x) <= 3.4e38)) color = vec3(1.0, 0.0, 1.0);
  } else if (mode == 3) {
    color = entry.rgb;
  } else if (mode >= 4) {
    color = clamp((shade - shadeLeast) * shadeScale, 0.0, 1.0);
  } else {
    color = vec3(0.78, 0.8, 0.83);
  }
  if (lit && hasNormals) {
    float c = abs(dot(facing.xyz, normalize(eye.xyz)));
    color *= 0.25 + 0.75 * c;
  }
}`;

export const pointFragment = `
precision highp float;
flat in vec3 color;
flat in vec4 facing;
uniform int shape; // 0 disc, 1 round, 2 square
uniform bool hasNormals;
out vec4 result;
void main() {
  if (shape != 2 && facing.w > 2.0) {
    vec2 p = vec2(gl_PointCoord.x, 1.0 - gl_PointCoord.y) * 2.0 - 1.0;
    float depth = 0.0;
    if (shape == 0 && hasNormals) {
      float z = abs(facing.z) < 0.15 ? (facing.z < 0.0 ? -0.15 : 0.15) : facing.z;
      depth = dot(facing.xy, p) / z;
    }
    if (dot(p, p) + depth * depth > 1.0) discard;
  }
  result = vec4(color, 1.0);
}`;

export const lineVertex = `
${shared}
in float position; // 0 at the point, 1 at the tip
in vec3 origin, normal;
in float label;
uniform float reach;
flat out vec3 color;
void main() {
  vec4 eye = modelViewMatrix * vec4(origin + normal * (reach * position), 1.0);
  vec4 base = modelViewMatrix * vec4(origin, 1.0);
  gl_Position = projectionMatrix * eye;
  bool away = dot(normalMatrix * normal, base.xyz) > 0.0;
  if (labelEntry(label).a < 0.5 || (hideBack && away) || !isNumber(origin) || !isNumber(normal)) gl_Position = nowhere;
  color = away ? vec3(0.45, 0.42, 0.5) : vec3(0.36, 0.85, 1.0);
}`;

export const flatFragment = `
precision highp float;
flat in vec3 color;
out vec4 result;
void main() { result = vec4(color, 1.0); }`;

export const markVertex = `
precision highp float;
uniform mat4 modelViewMatrix, projectionMatrix;
uniform float pixels;
in vec3 position;
void main() {
  gl_Position = projectionMatrix * modelViewMatrix * vec4(position, 1.0);
  gl_PointSize = pixels;
}`;

export const markFragment = `
precision highp float;
out vec4 result;
void main() {
  float r = length(gl_PointCoord * 2.0 - 1.0);
  if (r > 1.0 || r < 0.55) discard;
  result = r > 0.92 || r < 0.63 ? vec4(0.0, 0.0, 0.0, 1.0) : vec4(0.95, 0.63, 0.23, 1.0);
}`;
