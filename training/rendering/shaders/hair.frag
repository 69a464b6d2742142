// Hair and beard: shells above the skin, of which each lets through what has ended below it.
uniform sampler2D hair;      // length, density, strands, shade
uniform vec3 hair_colour;
uniform vec3 tangent;
uniform float gloss;
uniform float hanging;

void main() {
    vec4 style = texture(hair, hanging > 0.5 ? on_sheet * vec2(1.0, 0.35) : on_sheet);
    if (hanging > 0.5) {
        style.r = 1.0;
        style.g = 1.0 - 0.8 * smoothstep(0.75, 1.0, on_sheet.y);
    }
    float strand = style.b;
    bool ended = strand * 0.9 + 0.1 < layer * (1.2 - 0.9 * style.g);
    if (style.g < 0.02 || style.r < 0.004 || ended) {
        discard;
    }
    vec3 n = normalize(facing);
    vec3 to_eye = normalize(eye - at);
    vec3 sideways = 0.25 * (style.a - 0.5) * vec3(1, 0, 1);
    vec3 t = normalize(tangent - n * dot(tangent, n) + sideways + 1e-4);
    float buried = mix(0.35, 1.0, layer) * mix(0.6, 1.15, strand) * mix(0.75, 1.2, style.a);
    vec3 light = around * sky * buried;
    vec3 gleam = vec3(0);
    for (int i = 0; i < 3; ++i) {
        float seen = i == 0 ? seen_by_key : 0.7;
        float along = dot(t, lamp_direction[i]);
        float across = sqrt(max(1.0 - along * along, 0.0));
        float front = smoothstep(-0.25, 0.6, dot(n, lamp_direction[i]));
        light += lamp_colour[i] * across * front * seen * buried * 0.8;
        float h = dot(t, normalize(lamp_direction[i] + to_eye));
        gleam += lamp_colour[i] * pow(clamp(1.0 - h * h, 1e-4, 1.0), 24.0) * front * seen * buried;
    }
    colour = vec4(hair_colour * light + gleam * gloss * (0.04 + 0.5 * hair_colour), 1);
}
