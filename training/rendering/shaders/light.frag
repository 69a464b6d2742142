#version 330
// What the programs for pixels share.
in vec3 at;
in vec3 facing;
in vec2 on_sheet;
in float sky;
in vec2 lips_lids;
in vec3 around;
in float seen_by_key;
in float layer;
flat in int kind;

uniform vec3 lamp_direction[3];  // the first one is the key lamp, which casts the shadows
uniform vec3 lamp_colour[3];
uniform vec3 eye;                // the camera

out vec4 colour;
