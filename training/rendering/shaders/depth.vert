#version 330
// Depths only, for the shadows of the key lamp.
in vec3 place;
uniform mat4 view;

void main() {
    gl_Position = view * vec4(place, 1);
}
