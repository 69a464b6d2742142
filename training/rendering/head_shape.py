"""The shape of a person's head: its depth towards the viewer at each point of the face."""

from dataclasses import dataclass

import cv2
import numpy as np

from rendering.landmarks import IDS, ROW, SIDES, AVERAGE
from rendering.person import Person

# The sheet that the face is painted on: model units from LEFT and TOP, PIXELS per unit.
PIXELS = 8
LEFT, TOP = -12.0, -17.0
WIDTH, HEIGHT = 192, 224

# Where there is no head.
NOWHERE = -50.0

XS = (np.arange(WIDTH, dtype=np.float32) + 0.5) / PIXELS + LEFT
YS = (np.arange(HEIGHT, dtype=np.float32) + 0.5) / PIXELS + TOP


@dataclass
class HeadShape:
    """Depth and normals over the sheet, and half the head's width for each of its rows."""
    depth: np.ndarray    # HEIGHT x WIDTH, model units
    normals: np.ndarray  # HEIGHT x WIDTH x 3
    edge: np.ndarray     # HEIGHT, the head without hair
    points: np.ndarray   # 29 x 3


def to_sheet(points: np.ndarray) -> np.ndarray:
    """Converts model x and y to pixels of the sheet, with whole numbers on pixel centres."""
    return (np.asarray(points, np.float64)[..., :2] - (LEFT, TOP)) * PIXELS - 0.5


def _rounded(rows: np.ndarray, places: list[float], values: list[float]) -> np.ndarray:
    """Interpolates the values at the places, with ends as round as those of an ellipse."""
    return np.sqrt(np.interp(rows, places, np.square(values), left=0, right=0))


def _edge(person: Person, volume: float) -> np.ndarray:
    """Half the width for each row; `volume` of hair is added above the ears."""
    top = person.top - volume
    chin = person.points[ROW[314], 1] + 0.75
    temples = -4.0
    share = np.clip((temples - YS) / (temples - top), 0, 1)
    skull = person.width * (1 - share ** 2.4) ** (1 / 2.4)
    places = [temples, 0.0, 3.7, 0.55 * 3.7 + 0.45 * chin, chin - 0.55, chin]
    values = [person.width, 0.98 * person.width, person.jaw,
              0.62 * person.jaw + 0.38 * person.chin, 0.8 * person.chin, 0]
    lower = _rounded(YS, places, values)
    edge = np.where(YS < temples, skull, lower)
    edge[(YS < top) | (YS > chin)] = 0
    grown = volume * np.clip((1.5 - YS) / 4.0, 0, 1)
    edge = np.where(edge > 0, edge + grown * np.minimum(1, edge / 4), 0)
    inside = edge > 0
    return np.where(inside, cv2.blur(edge.astype(np.float32)[:, None], (1, 7))[:, 0], 0)


def _hill(x: float, y: float, across: float, down: float) -> np.ndarray:
    return np.exp(-np.square((XS - x) / across))[None] * np.exp(-np.square((YS - y) / down))[:, None]


def _features(person: Person) -> np.ndarray:
    """Nose, sockets, cheeks, lips and chin, to be added to the ellipsoid."""
    at = person.points
    relief = np.zeros((HEIGHT, WIDTH), np.float32)
    top, tip, base = at[ROW[6], 1], at[ROW[9], 1], at[ROW[200], 1]
    ridge = np.interp(YS, [top - 1.2, top, 0.5 * (top + tip), tip, base, base + 0.5],
                      [0, person.bridge, 0.55 * (person.bridge + person.nose_height) + person.hump,
                       person.nose_height, 0.35 * person.nose_height, 0])
    spread = np.interp(YS, [top, tip, base], [0.75, 1.15, 1.35]) * person.nose_width
    relief += ridge[:, None] * np.exp(-np.square(XS[None] / spread[:, None]))
    for wing in (43, 44):
        x, y = at[ROW[wing]]
        relief += 0.55 * person.nose_width * _hill(0.85 * x, y, 0.6, 0.6)
    for eye in (0, 1):
        x, y = at[ROW[eye]]
        relief -= person.socket * _hill(x, y, 1.5, 0.95)
        relief += 0.25 * _hill(x, y, 0.8, 0.5)
        relief += 0.3 * person.socket * _hill(x, y - 1.7, 2.0, 0.6)
        relief += person.cheek * _hill(1.25 * x, y + 3.6, 1.9, 1.5)
    mouth = at[ROW[45], 1]
    relief += person.lip_volume * _hill(0, mouth, 2.1, 0.9)
    relief -= 0.3 * _hill(0, at[ROW[11], 1] + 0.7, 1.8, 0.5)
    relief += person.chin_volume * _hill(0, at[ROW[314], 1] - 0.7, 1.7, 0.9)
    return relief


def build_shape(person: Person) -> HeadShape:
    """The head with the volume of its hair; everything outside it is NOWHERE."""
    volume = {"bald": 0.0, "receding": 0.25}.get(person.hair_style, 1.0) * person.hair_volume
    edge = _edge(person, volume)
    top = person.top - volume
    chin = person.points[ROW[314], 1] + 0.75
    front = _rounded(YS, [top, -11, -9, -6, -3.5, 0, 3, chin - 1.2, chin],
                     [0, 6.6 + volume, 8.9 + 0.7 * volume, 10.6, 10.5, 10.9, 10.9, 10.2, 6.5])
    front[(YS < top) | (YS > chin)] = 0
    front = cv2.blur(front.astype(np.float32)[:, None], (1, 9))[:, 0] * person.depth
    with np.errstate(divide="ignore", invalid="ignore"):
        ratio = np.abs(XS)[None] / edge[:, None]
        profile = np.sqrt(1 - np.minimum(1, ratio) ** person.roundness)
    inside = (edge[:, None] > 0.05) & (ratio < 1)
    surface = np.where(inside, front[:, None] * profile + _features(person), 0).astype(np.float32)

    slope_x = cv2.Sobel(surface, cv2.CV_32F, 1, 0, scale=PIXELS / 8)
    slope_y = cv2.Sobel(surface, cv2.CV_32F, 0, 1, scale=PIXELS / 8)
    slope_x, slope_y = cv2.blur(slope_x, (3, 3)), cv2.blur(slope_y, (3, 3))
    normals = np.dstack([-slope_x, -slope_y, np.ones_like(surface)])
    normals /= np.linalg.norm(normals, axis=2, keepdims=True)

    bare_edge = _edge(person, 0.0)
    points = np.zeros((len(IDS), 3))
    points[:, :2] = person.points
    columns, rows = np.rint(to_sheet(points)).astype(int).T
    points[:, 2] = surface[np.clip(rows, 0, HEIGHT - 1), np.clip(columns, 0, WIDTH - 1)]
    for name in SIDES:
        row = np.clip(round((points[ROW[name], 1] - TOP) * PIXELS), 0, HEIGHT - 1)
        points[ROW[name], 0] = np.copysign(0.975 * bare_edge[row], AVERAGE[name][0])
        points[ROW[name], 2] = AVERAGE[name][2] * person.depth
    depth = np.where(inside, surface, NOWHERE).astype(np.float32)
    return HeadShape(depth, normals.astype(np.float32), bare_edge, points)
