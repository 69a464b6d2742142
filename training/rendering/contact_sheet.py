"""A contact sheet: a row for each person, a column for each photograph."""

import cv2
import numpy as np

from rendering.photo import Photo


def contact_sheet(rows: list[list[Photo]], side: int, with_landmarks: bool) -> np.ndarray:
    lines = []
    for photos in rows:
        cells = []
        for photo in photos:
            scale = side / photo.picture.shape[0]
            cell = cv2.resize(photo.picture, (side, side), interpolation=cv2.INTER_AREA)
            if with_landmarks:
                for x, y in (photo.landmarks + 0.5) * scale - 0.5:
                    cv2.circle(cell, (round(float(x) * 16), round(float(y) * 16)), 24,
                               (60, 255, 60), -1, cv2.LINE_AA, 4)
            cells.append(cell)
        lines.append(np.hstack(cells))
    return np.vstack(lines)
