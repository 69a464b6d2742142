"""The stages before and after the networks, written with OpenCV and NumPy, compared and timed.

    peer_path.py MODEL_FOLDER DUMP_FOLDER [--threads N] [--runs N] [--name NAME]

DUMP_FOLDER is what dump_stages wrote. Transforms and crop centres come from its alignment.csv: the
peer does not pay for the fit of the head's pose, which is part of our patch stage. Writes
path-N-NAME.json to the dump folder. Exit status 1 if patches or template differ from ours.

Patches are cut in two ways: "canvases" warps the picture onto 160 x 160 pixels for each kind of
patch and eye distance, then crops; "crops" warps straight into each crop.
"""

import argparse
import csv
import json
import os
import sys
from pathlib import Path

arguments = argparse.ArgumentParser(usage=__doc__.splitlines()[2].strip())
arguments.add_argument("model", type=Path)
arguments.add_argument("dump", type=Path)
arguments.add_argument("--threads", type=int, default=1)
arguments.add_argument("--runs", type=int, default=200)
arguments.add_argument("--name", default="python", help="which installation of the libraries this is")
options = arguments.parse_args()

# NumPy's BLAS reads these when it is loaded.
os.environ["OMP_NUM_THREADS"] = os.environ["OPENBLAS_NUM_THREADS"] = str(options.threads)

import cv2
import numpy as np

from peer_times import time_stage

CANVAS = 160
PROJECTIONS = 500

# OpenCV rounds positions to 1/32 pixel and uses integer weights, so single pixels differ. A patch cut
# one pixel off differs by several grey levels on average.
PIXEL_BOUND = 1.0
# Relative to the largest value of the template: each is a sum of 8000 products, in another order.
TEMPLATE_BOUND = 1e-5

WARP = {
    "flags": cv2.INTER_LINEAR | cv2.WARP_INVERSE_MAP,
    "borderMode": cv2.BORDER_REPLICATE,
}


class Patch:
    """One line of alignment.csv with its mean image and our matrix."""

    def __init__(self, line):
        number = int(line["patch"])
        self.is_colour = line["colour"] == "1"
        self.size = int(line["size"])
        self.span = int(line["span"])
        a, b, c, e = (float(line[key]) for key in "ABCE")
        self.to_image = np.array([[a, -b, c], [b, a, e]])
        shift = float(line["shift"])
        self.centres = [
            (int(float(line[which + "X"]) + 0.5), int(float(line[which + "Y"]) + shift + 0.5))
            for which in ("first", "second")
        ]
        self.side_margin = int(line["sideMargin"])
        self.cap_margin = int(line["capMargin"])
        shape = (3 if self.is_colour else 1, self.size, self.size)
        self.mean = np.fromfile(options.model / f"0-{number}-0", "<f4", offset=4).reshape(shape)
        self.ours = np.fromfile(options.dump / f"patch-{number:02}.f32", "<f4").reshape(2, *shape)


def finish(patch, crops):
    """Planes red, green, blue (or grey) minus the mean image, margins cleared."""
    matrix = np.empty((2, *patch.mean.shape), np.float32)
    for row, crop in zip(matrix, crops):
        planes = crop.transpose(2, 0, 1)[::-1] if patch.is_colour else crop[np.newaxis]
        np.subtract(planes, patch.mean, out=row)
    if patch.side_margin:
        matrix[..., : patch.side_margin] = 0
        matrix[..., -patch.side_margin :] = 0
    elif patch.cap_margin:
        matrix[:, :, : patch.cap_margin] = 0
        matrix[:, :, -patch.cap_margin :] = 0
    return matrix


def square(canvas, centre, size):
    left = centre[0] - size // 2
    top = centre[1] - size // 2
    if left >= 0 and top >= 0 and left + size <= CANVAS and top + size <= CANVAS:
        return canvas[top : top + size, left : left + size]
    columns = np.clip(np.arange(left, left + size), 0, CANVAS - 1)
    rows = np.clip(np.arange(top, top + size), 0, CANVAS - 1)
    return canvas[rows[:, np.newaxis], columns]


def cut_from_canvases(picture, patches):
    grey = cv2.cvtColor(picture, cv2.COLOR_BGR2GRAY)
    canvases = {}
    matrices = []
    for patch in patches:
        key = (patch.is_colour, patch.span)
        if key not in canvases:
            source = picture if patch.is_colour else grey
            canvases[key] = cv2.warpAffine(source, patch.to_image, (CANVAS, CANVAS), **WARP)
        plain, mirrored = (square(canvases[key], c, patch.size) for c in patch.centres)
        matrices.append(finish(patch, (plain, mirrored[:, ::-1])))
    return matrices


def cut_crops(picture, patches):
    """Crops that extend beyond the canvas read the picture there instead of repeating the edge."""
    grey = cv2.cvtColor(picture, cv2.COLOR_BGR2GRAY)
    matrices = []
    for patch in patches:
        source = picture if patch.is_colour else grey
        half = patch.size // 2
        crops = []
        for (x, y), direction in zip(patch.centres, (1, -1)):
            to_image = patch.to_image.copy()
            to_image[:, 2] += to_image[:, 0] * (x - direction * half) + to_image[:, 1] * (y - half)
            to_image[:, 0] *= direction
            crops.append(cv2.warpAffine(source, to_image, (patch.size, patch.size), **WARP))
        matrices.append(finish(patch, crops))
    return matrices


def project(outputs, feature_mean, table_a, table_b):
    features = outputs / np.linalg.norm(outputs, axis=2, keepdims=True)
    features = features.ravel() - feature_mean
    a = table_a @ features
    b = table_b @ features
    result = np.empty(PROJECTIONS + 2, np.float32)
    result[:PROJECTIONS] = b
    result[PROJECTIONS] = a @ a
    result[PROJECTIONS + 1] = np.sqrt(b @ b)
    return result


def blas_library():
    """The file that NumPy's BLAS was loaded from; several packages provide one."""
    with open("/proc/self/maps", encoding="ascii", errors="replace") as maps:
        names = {Path(line.split()[-1]).name for line in maps if "blas" in line}
    return ", ".join(sorted(names))


def show(name, times, remark):
    print(f"{name:<12} {times['median']:9.3f}   (10 %: {times['low']:.3f}, "
          f"90 %: {times['high']:.3f})   {remark}")


def main():
    cv2.setNumThreads(options.threads)
    with open(options.dump / "alignment.csv", newline="", encoding="ascii") as file:
        lines = list(csv.DictReader(file))
    patches = [Patch(line) for line in lines]
    size = (int(lines[0]["height"]), int(lines[0]["width"]), 3)
    picture = np.fromfile(options.dump / "picture.bgr", np.uint8).reshape(size)
    report = {
        "threads": options.threads,
        "runs": options.runs,
        "opencv": cv2.__version__,
        "numpy": np.__version__,
        "blas": blas_library(),
        "patches": {},
    }
    good = True
    print(f"OpenCV {cv2.__version__}, NumPy {np.__version__} ({report['blas']}): "
          f"{options.threads} thread(s), medians of {options.runs} runs in ms")

    for name, cut in (("canvases", cut_from_canvases), ("crops", cut_crops)):
        matrices = cut(picture, patches)
        distance = np.concatenate(
            [np.abs(matrix - patch.ours).ravel() for matrix, patch in zip(matrices, patches)])
        # Half a level of tolerance: mean images have fractions, so differences round.
        report["patches"][name] = {
            **time_stage(lambda cut=cut: cut(picture, patches), options.runs),
            "same": float(np.mean(distance < 0.5)),
            "withinOne": float(np.mean(distance < 1.5)),
            "largest": float(distance.max()),
            "mean": float(distance.mean()),
        }
        found = report["patches"][name]
        good &= found["mean"] <= PIXEL_BOUND
        show(name, found, f"values as ours {100 * found['same']:.2f} %, within one grey level "
             f"{100 * found['withinOne']:.2f} %, largest difference {found['largest']:.0f}, "
             f"mean {found['mean']:.3f} (bound {PIXEL_BOUND:g})")

    outputs = np.stack(
        [np.fromfile(options.dump / f"output-{k:02}.f32", "<f4").reshape(2, 160)
         for k in range(1, len(patches) + 1)])
    feature_mean = np.fromfile(options.model / "6-0", "<f4")
    table_a = np.fromfile(options.model / "6-1", "<f4").reshape(PROJECTIONS, -1)
    table_b = np.fromfile(options.model / "6-2", "<f4").reshape(PROJECTIONS, -1)
    ours = np.fromfile(options.dump / "template.f32", "<f4")
    theirs = project(outputs, feature_mean, table_a, table_b)
    main_part = slice(0, PROJECTIONS)
    absolute = float(np.abs(theirs - ours)[main_part].max())
    largest = max(
        absolute / float(np.abs(ours[main_part]).max()),
        float(np.max(np.abs(theirs[PROJECTIONS:] / ours[PROJECTIONS:] - 1))),
    )
    report["projection"] = {
        **time_stage(lambda: project(outputs, feature_mean, table_a, table_b), options.runs),
        "absolute": absolute,
        "relative": largest,
        "bound": TEMPLATE_BOUND,
    }
    good &= largest <= TEMPLATE_BOUND and bool(np.isfinite(theirs).all())
    show("projection", report["projection"],
         f"largest difference {absolute:.2e}, of the template's largest value {largest:.2e} "
         f"(bound {TEMPLATE_BOUND:g})")

    path = options.dump / f"path-{options.threads}-{options.name}.json"
    path.write_text(json.dumps(report, indent=2) + "\n", encoding="ascii")
    if not good:
        print("peer_path.py: patches or template differ by more than the bound", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
