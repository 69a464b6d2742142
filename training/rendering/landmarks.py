"""The 29 landmarks: their ids, their places on an average head, and their file format."""

from pathlib import Path

import numpy as np

# Model units: x across the face (negative is the left of the picture), y down it, z towards the
# viewer. The same places as in the library's head model.
AVERAGE = {
    0: (-3.227, -3.484, 9.589), 1: (3.05, -3.546, 9.59),
    2: (-5.7, -4.652, 8.292), 3: (-1.549, -5.085, 10.83),
    4: (1.612, -5.106, 10.83), 5: (5.705, -4.704, 8.148),
    6: (-0.0185, -3.543, 11.07), 9: (0.01795, -0.2319, 13.32),
    10: (-0.02015, 2.274, 11.62), 11: (-0.04147, 4.102, 11.41),
    12: (-2.673, 3.301, 10.002), 13: (2.528, 3.315, 9.962),
    43: (1.661, 0.3568, 10.66), 44: (-1.74, 0.2793, 10.69),
    45: (0.07737, 3.101, 11.32), 200: (-0.01402, 1.045, 11.69),
    221: (-1.782, -3.277, 9.267), 222: (-3.255, -2.946, 9.531),
    223: (-4.436, -3.397, 8.747), 225: (4.376, -3.418, 8.762),
    226: (3.056, -2.961, 9.522), 227: (1.626, -3.367, 9.263),
    240: (-7.386, 0.05087, 1.039), 241: (7.377, 0.0564, 1.298),
    300: (-3.956, -5.678, 10.06), 302: (3.664, -5.768, 10.18),
    314: (-0.0435, 6.917, 10.75),
    315: (-6.365, 3.718, 3.913), 316: (6.252, 3.752, 3.822),
}
IDS = tuple(AVERAGE)
SIDES = (240, 241, 315, 316)

# On the left and on the right of the picture.
PAIRS = ((0, 1), (2, 5), (3, 4), (12, 13), (44, 43), (221, 227), (222, 226), (223, 225), (240, 241),
         (300, 302), (315, 316))
ROW = {name: row for row, name in enumerate(IDS)}

# Between the eyes, in model units.
EYE_DISTANCE = 6.277


def average_points() -> np.ndarray:
    """The average head, 29 x 3, in the order of IDS."""
    return np.array([AVERAGE[name] for name in IDS], np.float64)


def write(path: Path, points: np.ndarray) -> None:
    """Writes 29 x 2 picture coordinates as the lines `id,x,y` that the library's tools read."""
    lines = ["id,x,y"]
    lines += [f"{name},{x:.3f},{y:.3f}" for name, (x, y) in zip(IDS, points)]
    path.write_text("\n".join(lines) + "\n", encoding="ascii")
