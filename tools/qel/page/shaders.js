// The programs of the graphics processor.
const surfaceShader = [`#version 300 es
layout(location = 0) in vec3 position;
layout(location = 1) in vec3 normal;
layout(location = 2) in vec3 colour;
uniform mat4 transform;
uniform mat3 turned;
out vec3 facing, tone;
void main() {
  gl_Position = transform * vec4(position, 1.0);
  facing = turned * normal;
  tone = colour;
}`, `#version 300 es
precision highp float;
in vec3 facing, tone;
uniform vec3 plain;
uniform float tint;
out vec4 colour;
void main() {
  vec3 n = normalize(facing);
  if (n.z < 0.0) n = -n;                      // a mesh may be open: both sides are lit
  float key = max(dot(n, normalize(vec3(-0.45, 0.65, 0.75))), 0.0);
  float fill = 0.5 + 0.5 * n.y;
  float gloss = pow(max(dot(n, normalize(vec3(-0.25, 0.38, 0.9))), 0.0), 40.0);
  vec3 base = mix(plain, tone, tint);
  colour = vec4(base * (0.46 + 0.2 * fill + 0.46 * key) + 0.1 * gloss, 1.0);
}`];

const pointShader = [`#version 300 es
layout(location = 0) in vec3 position;
layout(location = 2) in vec3 colour;
uniform mat4 transform;
uniform vec2 sizes;                           // of a point at distance 1, and the least, in pixels
out vec3 tone;
void main() {
  gl_Position = transform * vec4(position, 1.0);
  gl_PointSize = clamp(sizes.x / gl_Position.w, sizes.y, 120.0);
  tone = colour;
}`, `#version 300 es
precision highp float;
in vec3 tone;
out vec4 colour;
void main() {
  vec2 p = gl_PointCoord * 2.0 - 1.0;
  float r = dot(p, p);
  if (r > 1.0) discard;
  vec3 n = vec3(p.x, -p.y, sqrt(1.0 - r));    // a sphere, as far as one can see
  float key = max(dot(n, normalize(vec3(-0.45, 0.65, 0.75))), 0.0);
  colour = vec4(tone * (0.58 + 0.48 * key), 1.0);
}`];

// The number of the vertex as a colour, 0 for none.
const pickShader = [`#version 300 es
layout(location = 0) in vec3 position;
uniform mat4 transform;
uniform vec2 sizes;
uniform bool numbered;
flat out uint number;
void main() {
  gl_Position = transform * vec4(position, 1.0);
  gl_PointSize = clamp(sizes.x / gl_Position.w, sizes.y, 120.0);
  number = numbered ? uint(gl_VertexID) + 1u : 0u;
}`, `#version 300 es
precision highp float;
flat in uint number;
uniform bool numbered;
out vec4 colour;
void main() {
  vec2 p = gl_PointCoord * 2.0 - 1.0;
  if (numbered && dot(p, p) > 1.0) discard;
  colour = vec4(number & 255u, number >> 8 & 255u, number >> 16 & 255u, number >> 24) / 255.0;
}`];

const lineShader = [`#version 300 es
layout(location = 0) in vec3 position;
uniform mat4 transform;
void main() { gl_Position = transform * vec4(position, 1.0); }`, `#version 300 es
precision highp float;
uniform vec4 tone;
out vec4 colour;
void main() { colour = vec4(tone.rgb * tone.a, tone.a); }`];

const markerShader = [`#version 300 es
uniform vec3 place;
uniform mat4 transform;
uniform float size;
void main() {
  gl_Position = transform * vec4(place, 1.0);
  gl_Position.z -= 0.012 * gl_Position.w;     // in front of the surface that it lies on
  gl_PointSize = size;
}`, `#version 300 es
precision highp float;
uniform vec4 tone;
uniform vec3 fill;
out vec4 colour;
void main() {
  float r = length(gl_PointCoord * 2.0 - 1.0);
  float ring = smoothstep(0.62, 0.70, r) * (1.0 - smoothstep(0.88, 0.98, r));
  float disc = 1.0 - smoothstep(0.40, 0.48, r);
  float a = max(ring, disc) * tone.a;
  colour = vec4(mix(tone.rgb, fill, disc) * a, a);
}`];
