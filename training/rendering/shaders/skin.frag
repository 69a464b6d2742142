// Everything but hair: skin, clothes, eyes, teeth, lashes, the inside of the mouth.
uniform sampler2D paint;     // square roots of the reflected shares; alpha is the height of bumps
uniform sampler2D finish;    // shine, roughness, translucence
uniform float bumps;
uniform vec3 eye_centre[2];
uniform vec3 gaze[2];
uniform vec3 iris;
uniform vec3 iris_edge;
uniform vec2 iris_size;      // angles of iris and pupil, seen from the middle of the eye
uniform vec3 white;
uniform float redness;
uniform float tooth;
uniform vec3 cloth;
uniform float collar;        // height of its lowest point, centimetres
uniform float lash;
uniform vec3 lip_colour;
uniform float lip_tint;
uniform vec3 lid_colour;
uniform float lid_tint;

struct Surface {
    vec3 base;
    vec3 normal;
    float shine;
    float rough;     // exponent of the gleam: the larger, the sharper
    float through;   // light that comes out beside where it went in
    float open_sky;
    float alpha;
};

float noise(float x) {
    return fract(sin(x * 91.7) * 4375.5);
}

// The normal of a surface with bumps, from how its height changes over the picture.
vec3 bumped(vec3 n, float height) {
    vec3 px = dFdx(at), py = dFdy(at);
    vec3 rx = cross(py, n), ry = cross(n, px);
    float area = dot(px, rx);
    if (abs(area) < 1e-9) {
        return n;
    }
    vec3 slope = sign(area) * (dFdx(height) * rx + dFdy(height) * ry) * bumps;
    return normalize(abs(area) * n - slope);
}

Surface skin(vec3 n, vec4 p, vec3 f) {
    Surface s = Surface(p.rgb * p.rgb, bumped(n, p.a), f.r * 0.25, mix(60.0, 8.0, f.g), f.b, sky, 1.0);
    float lip = smoothstep(0.25, 0.75, lips_lids.x) * lip_tint;
    s.base = mix(s.base, lip_colour * (0.85 + 0.3 * p.a), lip);
    s.shine = mix(s.shine, 0.12, lip);
    s.base = mix(s.base, lid_colour, lips_lids.y * lid_tint);
    if (at.y > collar + 0.21 * abs(at.x)) {
        s.base = cloth;
        s.shine = s.through = 0.0;
    }
    return s;
}

Surface eyeball(int side) {
    vec3 d = normalize(at - eye_centre[side]);
    float angle = acos(clamp(dot(d, gaze[side]), -1.0, 1.0));
    vec3 across = normalize(cross(gaze[side], vec3(0, 1, 0)));
    float turn = atan(dot(d, cross(across, gaze[side])), dot(d, across));
    float rays = 0.8 + 0.25 * noise(floor(turn * 14.0)) + 0.15 * sin(turn * 37.0);
    vec3 inside = mix(iris * rays, iris_edge, smoothstep(iris_size.x * 0.78, iris_size.x, angle));
    inside = mix(vec3(0.004), inside, smoothstep(iris_size.y - 0.03, iris_size.y + 0.03, angle));
    vec3 veins = mix(vec3(1), vec3(1.0, 0.72, 0.68), redness * smoothstep(0.5, 1.1, angle));
    vec3 base = mix(inside, white * veins, smoothstep(iris_size.x - 0.03, iris_size.x + 0.04, angle));
    float cornea = 0.25 * (1.0 - smoothstep(0.0, iris_size.x * 1.2, angle));
    float under_lid = 0.75 - 0.45 * smoothstep(-0.10, -0.40, d.y);
    float corner = 1.0 - 0.4 * smoothstep(0.55, 1.0, abs(d.x));
    return Surface(base, normalize(mix(d, gaze[side], cornea)), 0.9, 220.0, 0.0, under_lid * corner, 1.0);
}

Surface surface_here() {
    vec3 n = normalize(facing);
    // Read before the branches: the level of detail comes from the pixels beside this one.
    vec4 p = texture(paint, on_sheet);
    vec3 f = texture(finish, on_sheet).rgb;
    switch (kind) {
    case 0: return skin(n, p, f);
    case 1: return eyeball(0);
    case 2: return eyeball(1);
    case 3:
    case 4: return Surface(vec3(0.85, 0.80, 0.70) * tooth, n, 0.25, 80.0, 0.3, 0.8, 1.0);
    case 5: return Surface(vec3(0.012, 0.010, 0.009), n, 0.03, 30.0, 0.0, sky, 0.45 + 0.5 * lash);
    case 6: return Surface(vec3(0.45, 0.16, 0.15), n, 0.03, 30.0, 0.0, 0.35, 1.0);
    }
    return Surface(vec3(0.22, 0.06, 0.055), n, 0.03, 30.0, 0.0, min(sky, 0.3), 1.0);
}

void main() {
    Surface s = surface_here();
    vec3 to_eye = normalize(eye - at);
    vec3 light = around * pow(s.open_sky, 1.5);
    vec3 gleam = vec3(0);
    // Blood lets red light through more than blue light.
    vec3 wrap = s.through * vec3(0.32, 0.14, 0.09);
    for (int i = 0; i < 3; ++i) {
        float seen = i == 0 ? seen_by_key : mix(0.35, 1.0, s.open_sky);
        float cosine = dot(s.normal, lamp_direction[i]);
        light += lamp_colour[i] * max((vec3(cosine) + wrap) / (1.0 + wrap), 0.0) * seen;
        vec3 half_way = normalize(lamp_direction[i] + to_eye);
        float spot = pow(max(dot(s.normal, half_way), 1e-4), s.rough) * (s.rough + 8.0) / 25.0;
        float edge = 0.04 + 0.96 * pow(clamp(1.0 - dot(half_way, to_eye), 0.0, 1.0), 5.0);
        gleam += lamp_colour[i] * spot * s.shine * seen * (0.6 + 6.0 * edge) * step(0.0, cosine);
    }
    float rim = pow(clamp(1.0 - dot(s.normal, to_eye), 0.0, 1.0), 4.0);
    gleam += around * s.shine * (0.06 + 0.5 * rim) * s.open_sky;
    colour = vec4(s.base * light + gleam, s.alpha);
}
