"""Draws a head by OpenGL: in software where there is no graphics processor, with the same result each time."""

from dataclasses import dataclass, field

import moderngl
import numpy as np

from heads import shaders
from heads.mesh import LASHES, MOUTH, SKIN, SOCKET, TONGUE, head_mesh

SHADOW_SIDE = 384
SAMPLES = 4


@dataclass
class Light:
    ambient: np.ndarray     # 9 x 3, spherical harmonics without their constants
    directions: np.ndarray  # 3 x 3, towards each lamp
    colours: np.ndarray     # 3 x 3
    softness: float


@dataclass
class Surface:
    """What a head looks like, apart from its shape."""
    paint: np.ndarray       # rows x columns x 4 bytes, square roots of the reflected shares, and height
    finish: np.ndarray      # rows x columns x 3 bytes
    hair: np.ndarray        # rows x columns x 4 bytes
    hair_colour: np.ndarray
    iris: np.ndarray
    iris_edge: np.ndarray
    iris_size: tuple[float, float]
    white: np.ndarray
    gloss: float
    bumps: float
    lash: float
    redness: float
    tooth: float
    comb: tuple[float, float, float] = (0.0, 0.6, 0.0)
    tangent: tuple[float, float, float] = (0.0, 1.0, 0.0)


@dataclass
class Pose:
    """The places of vertices in the space of the camera's scene, and where the eyes look."""
    places: np.ndarray
    normals: np.ndarray
    eye_centres: np.ndarray
    gaze: np.ndarray
    cloth: np.ndarray = field(default_factory=lambda: np.zeros(3))
    collar: float = 11.5
    mouth_open: bool = True
    lip_colour: np.ndarray = field(default_factory=lambda: np.array([0.5, 0.2, 0.2]))
    lip_tint: float = 0.5
    lid_colour: np.ndarray = field(default_factory=lambda: np.zeros(3))
    lid_tint: float = 0.0
    hanging: np.ndarray | None = None   # rows x columns x 3


def looking_at(direction: np.ndarray, radius: float, centre: np.ndarray) -> np.ndarray:
    """An orthographic view from a direction, which sees a ball."""
    forward = -direction / np.linalg.norm(direction)
    up = np.array([0.0, 1.0, 0.0]) if abs(forward[1]) < 0.9 else np.array([1.0, 0.0, 0.0])
    side = np.cross(forward, up)
    side /= np.linalg.norm(side)
    up = np.cross(side, forward)
    view = np.eye(4)
    view[:3, :3] = np.array([side, up, forward]) / radius
    view[:3, 3] = -view[:3, :3] @ centre
    return view


HANGING_COLUMNS, HANGING_ROWS = 56, 14


def hanging_hair(places: np.ndarray, rng: np.random.Generator, bottom: float) -> np.ndarray:
    """Long hair from the temples around the back of a head, rows x columns x 3 places, down to a height."""
    head = places[(places[:, 1] < 0) & (places[:, 1] > -8)]
    wide, back = np.abs(head[:, 0]).max() * 0.93, 1 - head[:, 2].min()
    left, right = np.radians(rng.uniform(62, 84, 2))
    turn = np.linspace(-left, -2 * np.pi + right, HANGING_COLUMNS)
    volume = rng.uniform(0.5, 2.0)
    depth = np.where(np.cos(turn) < 0, back, 9.0) + volume
    reach = 1 / np.sqrt((np.sin(turn) / (wide + volume)) ** 2 + (np.cos(turn) / depth) ** 2)
    t = np.linspace(0, 1, HANGING_ROWS)[:, None]
    waves = 0.5 * np.sin(turn * rng.uniform(3, 9) + rng.uniform(0, 6) + t * rng.uniform(0, 6)) * t
    narrow = 1 - rng.uniform(0, 0.2) * np.sin(np.pi * np.minimum(1, 1.2 * t))
    r = (reach[None] + waves) * narrow * np.minimum(1, 0.86 + 0.6 * t)
    y = -9.0 + (bottom + 9.0) * t + rng.normal(0, 0.6, HANGING_COLUMNS)[None] * t
    return np.stack([r * np.sin(turn), y, 1.0 + r * np.cos(turn)], -1)


class Renderer:
    """Not for several threads; one for each process."""

    def __init__(self, side: int):
        mesh = head_mesh()
        self.mesh, self.side = mesh, side
        gl = moderngl.create_context(standalone=True, backend="egl")
        self.gl = gl
        self.depth_program = gl.program(vertex_shader=shaders.DEPTH_VERTEX,
                                        fragment_shader=shaders.DEPTH_FRAGMENT)
        self.skin = gl.program(vertex_shader=shaders.VERTEX, fragment_shader=shaders.SKIN)
        self.strands = gl.program(vertex_shader=shaders.VERTEX, fragment_shader=shaders.HAIR)
        self.moving = gl.buffer(reserve=len(mesh.sheet) * 24, dynamic=True)
        part = np.zeros(len(mesh.sheet), np.float32)
        part[mesh.drawn] = mesh.parts[:, None]
        still = np.zeros((len(mesh.sheet), 6), np.float32)
        still[:, :2], still[:, 3] = mesh.sheet, part
        still[:, 2] = 1
        still[:, 4], still[:, 5] = mesh.lips[mesh.source], mesh.lids[mesh.source]
        self.still = gl.buffer(still.tobytes())
        self.drawn = mesh.drawn.astype(np.int32)
        # The sockets behind the eyes are never seen.
        self.outside = mesh.parts != SOCKET
        self.index = gl.buffer(reserve=self.drawn.nbytes, dynamic=True)
        self.scalp = gl.buffer(reserve=self.drawn.nbytes, dynamic=True)
        self.shadow = gl.depth_texture((SHADOW_SIDE, SHADOW_SIDE))
        self.shadow.compare_func = ""
        self.shadow.repeat_x = self.shadow.repeat_y = False
        self.shadow_target = gl.framebuffer(depth_attachment=self.shadow)
        self.target = gl.framebuffer([gl.renderbuffer((side, side), 4, samples=SAMPLES, dtype="f2")],
                                     gl.depth_renderbuffer((side, side), samples=SAMPLES))
        self.flat = gl.framebuffer([gl.renderbuffer((side, side), 4, dtype="f2")])
        self.depth_array = gl.vertex_array(
            self.depth_program, [(self.moving, "3f 12x", "place")], self.index)
        whole = [(self.moving, "3f 3f", "place", "normal"),
                 (self.still, "2f 1f 1f 2f", "sheet", "open_sky", "part", "tinted")]
        self.skin_array = gl.vertex_array(self.skin, whole, self.index, skip_errors=True)
        self.hair_array = gl.vertex_array(self.strands, whole, self.scalp, skip_errors=True)
        self._make_hanging()
        self.hidden = np.isin(mesh.parts, (MOUTH, TONGUE))
        self.textures = {}
        self._bake_sky(still)

    def _make_hanging(self) -> None:
        rows, columns = HANGING_ROWS, HANGING_COLUMNS
        still = np.zeros((rows, columns, 6), np.float32)
        still[..., 0] = np.linspace(0.2, 2.6, columns)
        still[..., 1] = np.linspace(0, 1, rows)[:, None]
        still[..., 2] = 0.7
        self.hanging_still = self.gl.buffer(still.tobytes())
        self.hanging_moving = self.gl.buffer(reserve=rows * columns * 24, dynamic=True)
        corner = (np.arange(rows - 1)[:, None] * columns + np.arange(columns - 1)).ravel()
        index = np.stack([corner, corner + 1, corner + columns,
                          corner + 1, corner + columns + 1, corner + columns], 1)
        self.hanging_array = self.gl.vertex_array(
            self.strands, [(self.hanging_moving, "3f 3f", "place", "normal"),
                           (self.hanging_still, "2f 1f 1f 2f", "sheet", "open_sky", "part", "tinted")],
            self.gl.buffer(index.astype(np.int32).tobytes()), skip_errors=True)

    def _draw_hanging(self, places: np.ndarray) -> None:
        across = np.gradient(places, axis=1)
        down = np.gradient(places, axis=0)
        normals = np.cross(down, across)
        normals /= np.maximum(np.linalg.norm(normals, axis=2, keepdims=True), 1e-9)
        outwards = np.sign((normals * (places * (1, 0, 1) - (0, 0, 1.0))).sum())
        both = np.concatenate([places, normals * outwards], 2).astype(np.float32)
        self.hanging_moving.write(both.tobytes())
        self._set(self.strands, "shells", 3.0)
        self._set(self.strands, "hanging", 1.0)
        self.hanging_array.render(instances=3)

    def _bake_sky(self, still: np.ndarray) -> None:
        """The share of the sky that each vertex sees, on the head without an expression."""
        mesh = self.mesh
        normals = mesh.normals(mesh.places)
        self._move(mesh.places, normals)
        rng = np.random.default_rng(1)
        total, seen = np.zeros(len(mesh.places)), np.zeros(len(mesh.places))
        for _ in range(160):
            direction = rng.standard_normal(3)
            direction /= np.linalg.norm(direction)
            view = self._draw_shadow(direction)
            depth = np.frombuffer(self.shadow.read(), np.float32).reshape(SHADOW_SIDE, SHADOW_SIDE)
            p = mesh.places + normals * 0.15
            p = p @ view[:3, :3].T + view[:3, 3]
            cell = np.clip(((p[:, :2] * 0.5 + 0.5) * SHADOW_SIDE).astype(int), 0, SHADOW_SIDE - 1)
            free = depth[cell[:, 1], cell[:, 0]] + 0.006 > p[:, 2] * 0.5 + 0.5
            weight = np.maximum(normals @ direction, 0)
            total += weight
            seen += weight * free
        sky = seen / np.maximum(total, 1e-6)
        self.sky = sky
        still[:, 2] = np.clip(sky[mesh.source], 0.02, 1)
        self.still.write(still.tobytes())

    def _move(self, places: np.ndarray, normals: np.ndarray) -> None:
        a, b, c = (places[self.mesh.triangles[:, k]] for k in range(3))
        self.faces, self.middles = np.cross(c - a, b - a), a
        both = np.concatenate([places, normals], 1).astype(np.float32)[self.mesh.source]
        self.moving.write(both.tobytes())

    def _choose(self, buffer, array, chosen: np.ndarray) -> None:
        """Draws these triangles: those that face away would cost as much as the others."""
        buffer.write(self.drawn[chosen].tobytes())
        array.vertices = 3 * int(chosen.sum())

    def _draw_shadow(self, direction: np.ndarray) -> np.ndarray:
        view = looking_at(direction, 19.0, np.array([0.0, -1.0, 2.0]))
        self._choose(self.index, self.depth_array, self.outside & (self.faces @ direction > 0))
        self.shadow_target.use()
        self.shadow_target.clear(depth=1.0)
        self.gl.enable_only(moderngl.DEPTH_TEST)
        self.depth_program["view"].write(view.T.astype(np.float32).tobytes())
        self.depth_array.render()
        return view

    def load(self, surface: Surface) -> None:
        """Puts a person's sheets into place."""
        for name, unit in (("paint", 0), ("finish", 1), ("hair", 2)):
            sheet = getattr(surface, name)
            size = (sheet.shape[1], sheet.shape[0])
            old = self.textures.get(name)
            if old is None or old.size != size:
                old = self.gl.texture(size, sheet.shape[2])
                old.repeat_x, old.repeat_y = True, False
                self.textures[name] = old
            old.write(np.ascontiguousarray(sheet).tobytes())
            old.build_mipmaps()
            old.filter = (moderngl.LINEAR_MIPMAP_LINEAR, moderngl.LINEAR)
            old.use(unit)
        self.surface = surface
        columns = np.clip(self.mesh.sheet[:, 0] % 1 * surface.hair.shape[1], 0, surface.hair.shape[1] - 1)
        rows = np.clip(self.mesh.sheet[:, 1] * surface.hair.shape[0], 0, surface.hair.shape[0] - 1)
        grown = surface.hair[rows.astype(int), columns.astype(int), 1] > 5
        self.hairy = (self.mesh.parts == SKIN) & grown[self.drawn].any(1)

    def _set(self, program, name: str, value) -> None:
        if name in program:
            member = program[name]
            if isinstance(value, (int, float)):
                member.value = value
            else:
                member.write(np.asarray(value, np.float32).tobytes())

    def draw(self, pose: Pose, view: np.ndarray, camera: np.ndarray, light: Light,
             shells: int) -> np.ndarray:
        """side x side x 4 floats: linear red, green and blue, and how much of each pixel is covered."""
        self._move(pose.places, pose.normals)
        light_view = self._draw_shadow(light.directions[0])
        self.target.use()
        self.target.clear(0, 0, 0, 0)
        self.gl.enable_only(moderngl.DEPTH_TEST)
        self.shadow.use(3)
        surface = self.surface
        for program in (self.skin, self.strands):
            self._set(program, "view", view.T)
            self._set(program, "light_view", light_view.T)
            self._set(program, "ambient", light.ambient)
            self._set(program, "lamp_direction", light.directions)
            self._set(program, "lamp_colour", light.colours)
            self._set(program, "softness", light.softness)
            self._set(program, "eye", camera)
            for name, unit in (("paint", 0), ("finish", 1), ("hair", 2), ("shadow", 3)):
                self._set(program, name, unit)
            self._set(program, "comb", surface.comb)
        skin = self.skin
        self._set(skin, "shells", 0.0)
        for name in ("iris", "iris_edge", "iris_size", "white", "bumps", "lash", "redness", "tooth"):
            self._set(skin, name, getattr(surface, name))
        self._set(skin, "eye_centre", pose.eye_centres)
        self._set(skin, "gaze", pose.gaze)
        self._set(skin, "cloth", pose.cloth)
        for name in ("collar", "lip_colour", "lip_tint", "lid_colour", "lid_tint"):
            self._set(skin, name, getattr(pose, name))
        front = self.outside & (np.einsum("ij,ij->i", self.faces, camera - self.middles) > 0)
        if not pose.mouth_open:
            front &= ~self.hidden
        lashes = self.mesh.parts == LASHES
        self._choose(self.index, self.skin_array, front & ~lashes)
        self.skin_array.render()
        # Lashes are too fine for pixels: they darken what is behind them.
        self.gl.enable(moderngl.BLEND)
        self.gl.blend_func = (moderngl.SRC_ALPHA, moderngl.ONE_MINUS_SRC_ALPHA,
                              moderngl.ONE, moderngl.ONE)
        self._choose(self.index, self.skin_array, lashes)
        self.skin_array.render()
        self.gl.disable(moderngl.BLEND)
        if shells:
            self._choose(self.scalp, self.hair_array, front & self.hairy)
            self._set(self.strands, "shells", float(shells))
            self._set(self.strands, "hair_colour", surface.hair_colour)
            self._set(self.strands, "gloss", surface.gloss)
            self._set(self.strands, "tangent", surface.tangent)
            self._set(self.strands, "hanging", 0.0)
            self.hair_array.render(instances=shells)
            if pose.hanging is not None:
                self._draw_hanging(pose.hanging)
        self.gl.copy_framebuffer(self.flat, self.target)
        data = np.frombuffer(self.flat.read(components=4, dtype="f2"), np.float16)
        return data.reshape(self.side, self.side, 4).astype(np.float32)
