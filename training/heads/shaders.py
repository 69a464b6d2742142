"""The programs that the renderer runs for each vertex and each pixel."""

DEPTH_VERTEX = """
#version 330
in vec3 place;
uniform mat4 view;
void main() { gl_Position = view * vec4(place, 1); }
"""

DEPTH_FRAGMENT = """
#version 330
void main() {}
"""

VERTEX = """
#version 330
in vec3 place;
in vec3 normal;
in vec2 sheet;
in float open_sky;
in float part;
in vec2 tinted;
uniform mat4 view;
uniform mat4 light_view;
uniform float shells;
uniform sampler2D hair;
uniform vec3 comb;
uniform float hanging;
out vec3 at;
out vec3 facing;
out vec2 on_sheet;
out float sky;
out vec2 lips_lids;
flat out int kind;
out vec3 around;
out float seen_by_key;
out float layer;
uniform sampler2D shadow;
uniform vec3 ambient[9];
uniform float softness;

vec3 surroundings(vec3 n) {
    vec3 light = ambient[0] + ambient[1] * n.y + ambient[2] * n.z + ambient[3] * n.x;
    light += ambient[4] * n.x * n.y + ambient[5] * n.y * n.z + ambient[6] * (3.0 * n.z * n.z - 1.0);
    light += ambient[7] * n.x * n.z + ambient[8] * (n.x * n.x - n.y * n.y);
    return max(light, vec3(0.02));
}

float lit() {
    vec3 p = (light_view * vec4(at, 1)).xyz * 0.5 + 0.5;
    float seen = 0.0;
    for (int i = -2; i <= 2; ++i) {
        for (int j = -2; j <= 2; ++j) {
            float depth = textureLod(shadow, p.xy + vec2(i, j) * softness, 0.0).r;
            seen += depth + 0.006 + 0.002 * length(vec2(i, j)) * softness * 400.0 > p.z ? 1.0 : 0.0;
        }
    }
    return seen / 25.0;
}

void main() {
    at = place;
    facing = normal;
    layer = 0.0;
    if (shells > 0.0) {
        layer = (float(gl_InstanceID) + 1.0) / shells;
        vec4 style = hanging > 0.5 ? vec4(0.12) : textureLod(hair, sheet, 0.0);
        at += normal * style.r * layer * 6.0 + comb * style.r * layer * layer;
        facing = normalize(normal + 0.0 * comb);
    }
    on_sheet = sheet;
    lips_lids = tinted;
    sky = open_sky;
    kind = int(part + 0.5);
    around = surroundings(facing);
    seen_by_key = lit();
    gl_Position = view * vec4(at, 1);
}
"""

# What all fragment programs share: light from all sides, a key lamp with a shadow, two others.
LIGHT = """
#version 330
in vec3 at;
in vec3 facing;
in vec2 on_sheet;
in float sky;
in vec2 lips_lids;
flat in int kind;
in vec3 around;
in float seen_by_key;
in float layer;
uniform vec3 lamp_direction[3];
uniform vec3 lamp_colour[3];
uniform vec3 eye;
out vec4 colour;
"""

SKIN = LIGHT + """
uniform sampler2D paint;     // red, green, blue; alpha is the height of bumps
uniform sampler2D finish;    // shine, roughness, translucence
uniform float bumps;
uniform vec3 eye_centre[2];
uniform vec3 gaze[2];
uniform vec3 iris;
uniform vec3 iris_edge;
uniform vec2 iris_size;
uniform vec3 white;
uniform float redness;
uniform float tooth;
uniform vec3 cloth;
uniform float collar;
uniform float lash;
uniform vec3 lip_colour;
uniform float lip_tint;
uniform vec3 lid_colour;
uniform float lid_tint;

float noise(float x) { return fract(sin(x * 91.7) * 4375.5); }

void main() {
    vec3 n = normalize(facing);
    vec3 to_eye = normalize(eye - at);
    vec3 base;
    float shine = 0.03, rough = 30.0, through = 0.0, open_sky = sky, alpha = 1.0;
    if (kind == 0) {
        vec4 p = texture(paint, on_sheet);
        base = p.rgb * p.rgb;
        vec2 size = vec2(textureSize(paint, 0));
        float h = p.a;
        float hx = dFdx(h), hy = dFdy(h);
        vec3 px = dFdx(at), py = dFdy(at);
        vec3 rx = cross(py, n), ry = cross(n, px);
        float det = dot(px, rx);
        vec3 slope = sign(det) * (hx * rx + hy * ry) * bumps;
        if (abs(det) > 1e-9) {
            n = normalize(abs(det) * n - slope);
        }
        vec3 f = texture(finish, on_sheet).rgb;
        shine = f.r * 0.25;
        rough = mix(60.0, 8.0, f.g);
        through = f.b;
        float lip = smoothstep(0.25, 0.75, lips_lids.x) * lip_tint;
        base = mix(base, lip_colour * (0.85 + 0.3 * p.a), lip);
        shine = mix(shine, 0.12, lip);
        base = mix(base, lid_colour, lips_lids.y * lid_tint);
        float low = collar - at.y + 0.35 * abs(at.x) * 0.6;
        if (low < 0.0) {
            base = cloth;
            shine = 0.0;
            through = 0.0;
        }
    } else if (kind == 1 || kind == 2) {
        int side = kind == 1 ? 0 : 1;
        vec3 d = normalize(at - eye_centre[side]);
        float angle = acos(clamp(dot(d, gaze[side]), -1.0, 1.0));
        vec3 across = normalize(cross(gaze[side], vec3(0, 1, 0)));
        float turn = atan(dot(d, cross(across, gaze[side])), dot(d, across));
        float rays = 0.8 + 0.25 * noise(floor(turn * 14.0)) + 0.15 * sin(turn * 37.0);
        float ring = smoothstep(iris_size.x * 0.78, iris_size.x, angle);
        vec3 inside = mix(iris * rays, iris_edge, ring);
        inside = mix(vec3(0.004), inside, smoothstep(iris_size.y - 0.03, iris_size.y + 0.03, angle));
        vec3 outside = white * mix(vec3(1), vec3(1.0, 0.72, 0.68),
                                   redness * smoothstep(0.5, 1.1, angle));
        base = mix(inside, outside, smoothstep(iris_size.x - 0.03, iris_size.x + 0.04, angle));
        n = normalize(mix(d, gaze[side], 0.25 * (1.0 - smoothstep(0.0, iris_size.x * 1.2, angle))));
        shine = 0.9;
        rough = 220.0;
        open_sky = 0.85 - 0.35 * smoothstep(-0.15, -0.42, d.y) * 1.0;
        open_sky *= 1.0 - 0.4 * smoothstep(0.55, 1.0, abs(d.x));
    } else if (kind == 3 || kind == 4) {
        base = vec3(0.75, 0.68, 0.55) * tooth;
        shine = 0.25;
        rough = 80.0;
        open_sky = 0.55;
    } else if (kind == 5) {
        base = vec3(0.012, 0.010, 0.009);
        alpha = lash * 0.6;
    } else {
        base = kind == 6 ? vec3(0.45, 0.16, 0.15) : vec3(0.22, 0.06, 0.055);
        open_sky = kind == 6 ? 0.35 : min(sky, 0.3);
    }
    vec3 light = around * open_sky;
    vec3 gleam = vec3(0);
    for (int i = 0; i < 3; ++i) {
        float seen = i == 0 ? seen_by_key : mix(0.35, 1.0, open_sky);
        float cosine = dot(n, lamp_direction[i]);
        vec3 wrap = through * vec3(0.32, 0.14, 0.09);
        vec3 soft = max((vec3(cosine) + wrap) / (1.0 + wrap), 0.0);
        light += lamp_colour[i] * soft * seen;
        vec3 half_way = normalize(lamp_direction[i] + to_eye);
        float spot = pow(max(dot(n, half_way), 1e-4), rough) * (rough + 8.0) / 25.0;
        float edge = 0.04 + 0.96 * pow(clamp(1.0 - dot(half_way, to_eye), 0.0, 1.0), 5.0);
        gleam += lamp_colour[i] * spot * shine * seen * (0.6 + 6.0 * edge) * step(0.0, cosine);
    }
    float rim = pow(clamp(1.0 - dot(n, to_eye), 0.0, 1.0), 4.0);
    gleam += around * shine * (0.06 + 0.5 * rim) * open_sky;
    colour = vec4(base * light + gleam, alpha);
}
"""

HAIR = LIGHT + """
uniform sampler2D hair;      // length, density, strands along, shade
uniform vec3 hair_colour;
uniform vec3 tangent;
uniform float gloss;
uniform float hanging;
void main() {
    vec4 style = texture(hair, hanging > 0.5 ? on_sheet * vec2(1.0, 0.35) : on_sheet);
    float strand = style.b;
    if (hanging > 0.5) {
        style.r = 1.0;
        style.g = 1.0 - smoothstep(0.75, 1.0, on_sheet.y) * 0.8;
    }
    if (style.g < 0.02 || strand * 0.9 + 0.1 < layer * (1.2 - 0.9 * style.g) || style.r * 6.0 < 0.02) discard;
    vec3 n = normalize(facing);
    vec3 to_eye = normalize(eye - at);
    vec3 t = tangent - n * dot(tangent, n) + 0.25 * (style.a - 0.5) * vec3(1, 0, 1) + 1e-4;
    t = normalize(t);
    float buried = mix(0.35, 1.0, layer) * mix(0.6, 1.15, strand) * mix(0.75, 1.2, style.a);
    vec3 light = around * sky * buried;
    vec3 gleam = vec3(0);
    for (int i = 0; i < 3; ++i) {
        float seen = i == 0 ? seen_by_key : 0.7;
        float along = dot(t, lamp_direction[i]);
        float across = sqrt(max(1.0 - along * along, 0.0));
        float front = smoothstep(-0.25, 0.6, dot(n, lamp_direction[i]));
        light += lamp_colour[i] * across * front * seen * buried * 0.8;
        vec3 half_way = normalize(lamp_direction[i] + to_eye);
        float h = dot(t, half_way);
        gleam += lamp_colour[i] * pow(clamp(1.0 - h * h, 1e-4, 1.0), 24.0) * front * seen * buried;
    }
    colour = vec4(hair_colour * light + gleam * gloss * (0.04 + 0.5 * hair_colour), 1);
}
"""
