// The shader programs.
// The lighting of a surface: a light from the upper left, one from above, and a little gloss.
const lightOf = `
vec3 lit(vec3 base, vec3 n) {
  float key = max(dot(n, normalize(vec3(-0.45, 0.65, 0.75))), 0.0);
  float fill = 0.5 + 0.5 * n.y;
  float gloss = pow(max(dot(n, normalize(vec3(-0.25, 0.38, 0.9))), 0.0), 40.0);
  return base * (0.46 + 0.2 * fill + 0.46 * key) + 0.1 * gloss;
}`;

// Lit for each pixel. The values interpolated from the corners are few, because their cost is per triangle.
const surfaceShader = [`#version 300 es
layout(location = 0) in vec3 position;
layout(location = 1) in vec3 normal;
layout(location = 2) in vec4 colour;
uniform mat4 transform;
uniform mat3 turned;
uniform vec3 plain;
uniform float tint;
out vec3 facing, tone;
void main() {
  gl_Position = transform * vec4(position, 1.0);
  facing = turned * normal;
  tone = mix(plain, colour.rgb, tint * colour.a);
}`, `#version 300 es
precision highp float;
in vec3 facing, tone;
uniform vec4 view;                            // the centre of the view and half its size, in pixels
uniform vec2 lens;
out vec4 colour;${lightOf}
void main() {
  vec3 place = vec3((gl_FragCoord.xy - view.xy) / view.zw * lens, -1.0) / gl_FragCoord.w;
  vec3 flatNormal = normalize(cross(dFdx(place), dFdy(place)));
  vec3 n = normalize(facing);
  if (dot(n, flatNormal) < 0.0) n = -n;       // a mesh may be open: both sides are lit
  n = normalize(mix(flatNormal, n, smoothstep(0.62, 0.82, dot(n, flatNormal)))); // keeps creases sharp
  colour = vec4(lit(tone, n), 1.0);
}`];

// Lit at the corners, for triangles hardly larger than a pixel.
const denseShader = [`#version 300 es
layout(location = 0) in vec3 position;
layout(location = 1) in vec3 normal;
layout(location = 2) in vec4 colour;
uniform mat4 transform;
uniform mat3 turned;
uniform vec3 plain;
uniform float tint;
out vec3 tone;${lightOf}
void main() {
  gl_Position = transform * vec4(position, 1.0);
  vec3 n = normalize(turned * normal);
  tone = lit(mix(plain, colour.rgb, tint * colour.a), n.z < 0.0 ? -n : n);
}`, `#version 300 es
precision mediump float;
in vec3 tone;
out vec4 colour;
void main() { colour = vec4(tone, 1.0); }`];

const pointShader = [`#version 300 es
layout(location = 0) in vec3 position;
layout(location = 2) in vec4 colour;
uniform mat4 transform;
uniform vec2 sizes;                           // of a point at distance 1, and the minimum, in pixels
uniform float tint;
uniform vec3 plain;
out vec3 tone;
void main() {
  gl_Position = transform * vec4(position, 1.0);
  gl_PointSize = clamp(sizes.x / gl_Position.w, sizes.y, 120.0);
  tone = mix(plain, colour.rgb, tint * colour.a);
}`, `#version 300 es
precision highp float;
in vec3 tone;
out vec4 colour;
void main() {
  vec2 p = gl_PointCoord * 2.0 - 1.0;
  float r = dot(p, p);
  if (r > 1.0) discard;
  vec3 n = vec3(p.x, -p.y, sqrt(1.0 - r));    // the visible half of a sphere
  float key = max(dot(n, normalize(vec3(-0.45, 0.65, 0.75))), 0.0);
  colour = vec4(tone * (0.58 + 0.48 * key), 1.0);
}`];

const lineShader = [`#version 300 es
layout(location = 0) in vec3 position;
uniform mat4 transform;
void main() { gl_Position = transform * vec4(position, 1.0); }`, `#version 300 es
precision highp float;
uniform vec4 tone;
out vec4 colour;
void main() { colour = vec4(tone.rgb * tone.a, tone.a); }`];
