"""Draws a head by OpenGL: on the processor, by Mesa, with the same pixels each time."""

from dataclasses import dataclass, field
from functools import lru_cache
from pathlib import Path

import moderngl
import numpy as np

from rendering.hair import HANGING_COLUMNS, HANGING_ROWS
from rendering.head_mesh import AXIS, HeadMesh, head_mesh, LASHES, MOUTH, SKIN, SOCKET, TONGUE
from rendering.lighting import Light, SHADOW_SIDE
from trainer.problems import TrainingProblem

SHADERS = Path(__file__).with_name("shaders")

# Samples of a pixel, which smooth outlines.
SAMPLES = 4

# The shells of hair, and those of hair that hangs beside the face.
SHELLS, HANGING_SHELLS = 9, 3

# The ball that the key lamp's shadows are computed for, and the lamps that measure the open sky.
SHADOW_CENTRE, SHADOW_RADIUS = np.array([0.0, -1.0, 2.0]), 19.0
SKY_LAMPS = 160

# Hair that is sparser is not drawn: bytes of a sheet.
BARE = 5


@dataclass
class Surface:
    """What a head looks like, apart from its shape. Colours are reflected shares of red, green and blue."""
    paint: np.ndarray       # rows x columns x 4 bytes, square roots of shares, and height
    finish: np.ndarray      # rows x columns x 3 bytes: shine, roughness, translucence
    hair: np.ndarray        # rows x columns x 4 bytes: length, density, strands, shade
    comb: tuple[float, float, float]
    hair_colour: np.ndarray
    gloss: float
    bumps: float
    iris: np.ndarray
    iris_edge: np.ndarray
    iris_size: tuple[float, float]
    white: np.ndarray
    redness: float
    tooth: float
    lash: float


@dataclass
class Pose:
    """A head in one photograph, in its own space."""
    places: np.ndarray
    eye_centre: np.ndarray  # 2 x 3, the left one of the person first
    gaze: np.ndarray        # the same
    mouth_open: bool
    cloth: np.ndarray
    collar: float
    lip_colour: np.ndarray
    lip_tint: float
    lid_colour: np.ndarray = field(default_factory=lambda: np.full(3, 0.02))
    lid_tint: float = 0.2
    hanging: np.ndarray | None = None   # rows x columns x 3


def _towards(direction: np.ndarray) -> np.ndarray:
    """An orthographic view of the ball around the head from a lamp."""
    forward = -direction / np.linalg.norm(direction)
    up = np.array([0.0, 1.0, 0.0]) if abs(forward[1]) < 0.9 else np.array([1.0, 0.0, 0.0])
    side = np.cross(forward, up)
    side /= np.linalg.norm(side)
    view = np.eye(4)
    view[:3, :3] = np.array([side, np.cross(side, forward), forward]) / SHADOW_RADIUS
    view[:3, 3] = -view[:3, :3] @ SHADOW_CENTRE
    return view


def _read(*names: str) -> str:
    return "\n".join((SHADERS / name).read_text(encoding="ascii") for name in names)


class Renderer:
    """One for each process and size of pictures; not for several threads."""

    def __init__(self, side: int):
        self.mesh: HeadMesh = head_mesh()
        self.side = side
        try:
            self.gl = moderngl.create_context(standalone=True, backend="egl")
        except Exception as error:  # moderngl raises nothing more precise
            raise TrainingProblem(f"OpenGL cannot be started ({error}); install Debian's libegl1 and "
                                  "libgl1-mesa-dri") from error
        self.depth_program = self.gl.program(vertex_shader=_read("depth.vert"), fragment_shader=_read("depth.frag"))
        self.skin_program, self.hair_program = (
            self.gl.program(vertex_shader=_read("head.vert"), fragment_shader=_read("light.frag", name))
            for name in ("skin.frag", "hair.frag"))
        self.textures: dict[str, moderngl.Texture] = {}
        self._make_targets()
        self._make_arrays()
        self._measure_sky()

    def _make_targets(self) -> None:
        size = (self.side, self.side)
        self.shadow = self.gl.depth_texture((SHADOW_SIDE, SHADOW_SIDE))
        self.shadow.compare_func = ""
        self.shadow.repeat_x = self.shadow.repeat_y = False
        self.shadow_target = self.gl.framebuffer(depth_attachment=self.shadow)
        self.target = self.gl.framebuffer([self.gl.renderbuffer(size, 4, samples=SAMPLES, dtype="f2")],
                                          self.gl.depth_renderbuffer(size, samples=SAMPLES))
        self.flat = self.gl.framebuffer([self.gl.renderbuffer(size, 4, dtype="f2")])

    def _make_arrays(self) -> None:
        mesh, gl = self.mesh, self.gl
        self.drawn = mesh.drawn.astype(np.int32)
        part = np.zeros(len(mesh.sheet), np.float32)
        part[mesh.drawn] = mesh.parts[:, None]
        sky = np.ones(len(mesh.sheet), np.float32)
        self.still_values = np.column_stack([mesh.sheet, sky, part, mesh.lips[mesh.source],
                                             mesh.lids[mesh.source]]).astype(np.float32)
        self.still = gl.buffer(self.still_values.tobytes())
        self.moving = gl.buffer(reserve=len(mesh.sheet) * 24, dynamic=True)
        self.index = gl.buffer(reserve=self.drawn.nbytes, dynamic=True)
        self.depth_array = gl.vertex_array(self.depth_program, [(self.moving, "3f 12x", "place")], self.index)
        self.skin_array = self._array(self.skin_program, self.moving, self.still, self.index)
        self.hair_array = self._array(self.hair_program, self.moving, self.still, self.index)
        rows, columns = HANGING_ROWS, HANGING_COLUMNS
        hanging = np.zeros((rows, columns, 6), np.float32)
        hanging[..., 0] = np.linspace(0.2, 2.6, columns)
        hanging[..., 1] = np.linspace(0, 1, rows)[:, None]
        hanging[..., 2] = 0.7
        corner = (np.arange(rows - 1)[:, None] * columns + np.arange(columns - 1)).ravel()
        triangles = np.stack([corner, corner + 1, corner + columns,
                              corner + 1, corner + columns + 1, corner + columns], 1)
        self.hanging_moving = gl.buffer(reserve=rows * columns * 24, dynamic=True)
        self.hanging_array = self._array(self.hair_program, self.hanging_moving, gl.buffer(hanging.tobytes()),
                                         gl.buffer(triangles.astype(np.int32).tobytes()))

    def _array(self, program, moving, still, index) -> moderngl.VertexArray:
        content = [(moving, "3f 3f", "place", "normal"),
                   (still, "2f 1f 1f 2f", "sheet", "open_sky", "part", "tinted")]
        return self.gl.vertex_array(program, content, index, skip_errors=True)

    def _measure_sky(self) -> None:
        """The share of the surroundings that each vertex of the average head sees."""
        mesh = self.mesh
        normals = mesh.normals(mesh.places)
        self._move(mesh.places)
        rng = np.random.default_rng(1)
        total, seen = np.zeros(len(mesh.places)), np.zeros(len(mesh.places))
        for _ in range(SKY_LAMPS):
            direction = rng.standard_normal(3)
            direction /= np.linalg.norm(direction)
            view = self._draw_shadow(direction)
            depth = np.frombuffer(self.shadow.read(), np.float32).reshape(SHADOW_SIDE, SHADOW_SIDE)
            at = (mesh.places + 0.15 * normals) @ view[:3, :3].T + view[:3, 3]
            cell = np.clip((at[:, :2] * 0.5 + 0.5) * SHADOW_SIDE, 0, SHADOW_SIDE - 1).astype(int)
            weight = np.maximum(normals @ direction, 0)
            total += weight
            seen += weight * (depth[cell[:, 1], cell[:, 0]] + 0.006 > at[:, 2] * 0.5 + 0.5)
        self.still_values[:, 2] = np.clip(seen / np.maximum(total, 1e-6), 0.02, 1)[mesh.source]
        self.still.write(self.still_values.tobytes())

    def _move(self, places: np.ndarray) -> None:
        a, b, c = (places[self.mesh.triangles[:, k]] for k in range(3))
        self.faces, self.corners = np.cross(c - a, b - a), a
        both = np.concatenate([places, self.mesh.normals(places)], 1).astype(np.float32)
        self.moving.write(both[self.mesh.source].tobytes())

    def _render(self, array, chosen: np.ndarray, instances: int = 1) -> None:
        """Draws these triangles: the others, which nobody sees, would cost as much."""
        self.index.orphan()
        self.index.write(self.drawn[chosen].tobytes())
        array.render(vertices=3 * int(chosen.sum()), instances=instances)

    def _draw_shadow(self, direction: np.ndarray) -> np.ndarray:
        view = _towards(direction)
        self.shadow_target.use()
        self.shadow_target.clear(depth=1.0)
        self.gl.enable_only(moderngl.DEPTH_TEST)
        self._set(self.depth_program, view=view.T)
        self._render(self.depth_array, (self.mesh.parts != SOCKET) & (self.faces @ direction > 0))
        return view

    @staticmethod
    def _set(program, **values) -> None:
        """Sets what the program uses of these."""
        for name, value in values.items():
            if name in program:
                program[name].write(np.asarray(value, np.int32 if isinstance(value, int) else np.float32).tobytes())

    def load(self, surface: Surface) -> None:
        """Puts a person's sheets into place, until those of another one."""
        for unit, name in enumerate(("paint", "finish", "hair")):
            sheet = getattr(surface, name)
            texture = self.textures.get(name)
            if texture is None:
                texture = self.gl.texture(sheet.shape[1::-1], sheet.shape[2])
                texture.repeat_x, texture.repeat_y = True, False
                self.textures[name] = texture
            texture.write(np.ascontiguousarray(sheet).tobytes())
            texture.build_mipmaps()
            texture.filter = (moderngl.LINEAR_MIPMAP_LINEAR, moderngl.LINEAR)
            texture.use(unit)
        self.surface = surface
        rows, columns = surface.hair.shape[:2]
        column = np.clip(self.mesh.sheet[:, 0] % 1 * columns, 0, columns - 1).astype(int)
        row = np.clip(self.mesh.sheet[:, 1] * rows, 0, rows - 1).astype(int)
        grown = surface.hair[row, column, 1] > BARE
        self.hairy = (self.mesh.parts == SKIN) & grown[self.drawn].any(1)

    def draw(self, pose: Pose, view: np.ndarray, camera: np.ndarray, light: Light) -> np.ndarray:
        """side x side x 4 floats: red, green and blue light, and how much of each pixel is covered."""
        self._move(pose.places)
        light_view = self._draw_shadow(light.directions[0])
        self.shadow.use(3)
        self.target.use()
        self.target.clear(0, 0, 0, 0)
        for program in (self.skin_program, self.hair_program):
            self._set(program, view=view.T, light_view=light_view.T, ambient=light.ambient,
                      lamp_direction=light.directions, lamp_colour=light.colours,
                      softness=light.softness, eye=camera, paint=0, finish=1, hair=2, shadow=3)
            self._set(program, **vars(pose))
            self._set(program, **{name: value for name, value in vars(self.surface).items()
                                  if name not in self.textures})
        front = (self.mesh.parts != SOCKET) & (np.einsum("ij,ij->i", self.faces, camera - self.corners) > 0)
        if not pose.mouth_open:
            front &= ~np.isin(self.mesh.parts, (MOUTH, TONGUE))
        self._draw_skin(front)
        self._draw_hair(front & self.hairy, pose.hanging)
        self.gl.copy_framebuffer(self.flat, self.target)
        data = np.frombuffer(self.flat.read(components=4, dtype="f2"), np.float16)
        return data.reshape(self.side, self.side, 4).astype(np.float32)

    def _draw_skin(self, front: np.ndarray) -> None:
        self._set(self.skin_program, shells=0.0)
        lashes = self.mesh.parts == LASHES
        self._render(self.skin_array, front & ~lashes)
        # Lashes are too fine for pixels: they darken what is behind them.
        self.gl.enable(moderngl.BLEND)
        self.gl.blend_func = (moderngl.SRC_ALPHA, moderngl.ONE_MINUS_SRC_ALPHA, moderngl.ONE, moderngl.ONE)
        self._render(self.skin_array, lashes)
        self.gl.disable(moderngl.BLEND)

    def _draw_hair(self, chosen: np.ndarray, hanging: np.ndarray | None) -> None:
        self._set(self.hair_program, hanging=0.0, shells=float(SHELLS), tangent=(0.0, 1.0, 0.0))
        self._render(self.hair_array, chosen, SHELLS)
        if hanging is not None:
            normals = np.cross(np.gradient(hanging, axis=0), np.gradient(hanging, axis=1))
            normals /= np.maximum(np.linalg.norm(normals, axis=2, keepdims=True), 1e-9)
            normals *= np.sign((normals * (hanging * (1, 0, 1) - (0, 0, AXIS))).sum())
            self.hanging_moving.write(np.concatenate([hanging, normals], 2).astype(np.float32).tobytes())
            self._set(self.hair_program, hanging=1.0, shells=float(HANGING_SHELLS))
            self.hanging_array.render(instances=HANGING_SHELLS)


@lru_cache(maxsize=1)
def renderer(side: int) -> Renderer:
    """This process's own."""
    return Renderer(side)
