#version 330
// Places of skin, eyes and hair, and the light that costs too much for each pixel: what comes from all
// sides, and how much of the key lamp is seen from here.
in vec3 place;
in vec3 normal;
in vec2 sheet;      // the place on the sheet that is wrapped around the head
in float open_sky;  // the share of the surroundings that this place sees
in float part;
in vec2 tinted;     // shares of lips and of lids

uniform mat4 view;
uniform mat4 light_view;
uniform sampler2D shadow;
uniform float softness;    // of the shadow's edge, in shares of the depth picture
uniform vec3 ambient[9];   // spherical harmonics
uniform sampler2D hair;    // length in shares of LONGEST, density, strands, shade
uniform float shells;      // 0 for everything but hair
uniform float hanging;     // 1 for long hair beside the face
uniform vec3 comb;         // where the ends of the longest hair are blown

out vec3 at;
out vec3 facing;
out vec2 on_sheet;
out float sky;
out vec2 lips_lids;
out vec3 around;
out float seen_by_key;
out float layer;           // from 0 at the skin to 1 at the ends of hair
flat out int kind;

const float LONGEST = 6.0;
const float HANGING_THICKNESS = 0.12;

vec3 surroundings(vec3 n) {
    vec3 light = ambient[0] + ambient[1] * n.y + ambient[2] * n.z + ambient[3] * n.x;
    light += ambient[4] * n.x * n.y + ambient[5] * n.y * n.z;
    light += ambient[6] * (3.0 * n.z * n.z - 1.0);
    light += ambient[7] * n.x * n.z + ambient[8] * (n.x * n.x - n.y * n.y);
    return max(light, vec3(0.02));
}

float lit() {
    vec3 p = (light_view * vec4(at, 1)).xyz * 0.5 + 0.5;
    float seen = 0.0;
    for (int i = -2; i <= 2; ++i) {
        for (int j = -2; j <= 2; ++j) {
            vec2 beside = vec2(i, j) * softness;
            float slack = 0.006 + 0.8 * length(beside);
            seen += textureLod(shadow, p.xy + beside, 0.0).r + slack > p.z ? 1.0 : 0.0;
        }
    }
    return seen / 25.0;
}

void main() {
    at = place;
    layer = 0.0;
    if (shells > 0.0) {
        layer = (float(gl_InstanceID) + 1.0) / shells;
        float length = hanging > 0.5 ? HANGING_THICKNESS : textureLod(hair, sheet, 0.0).r;
        at += normal * length * layer * LONGEST + comb * length * layer * layer;
    }
    facing = normal;
    on_sheet = sheet;
    lips_lids = tinted;
    sky = open_sky;
    kind = int(part + 0.5);
    around = surroundings(normal);
    seen_by_key = lit();
    gl_Position = view * vec4(at, 1);
}
