"""ZOMU: face templates on the CPU, and a score for two of them.

>>> import zomu
>>> zomu.verify("anna.jpg", "visitor.jpg").same

With landmarks by hand:

>>> with zomu.Context(model="model") as context:
...     anna = context.extract(zomu.read_picture("anna.png"), "anna.csv")
...     visitor = context.extract(zomu.read_picture("visitor.jpg"), "visitor.csv")
>>> zomu.compare(anna, visitor)

Landmarks are in pixels of the picture; `zomu.landmark_layouts` derives them from 68, 468 or 478
points.
"""

from . import landmark_layouts
from ._library import load
from ._version import __version__
from .comparing import compare_many
from .context import Context
from .errors import (
    Error,
    FaceCountError,
    ImageError,
    LandmarkError,
    LibraryError,
    ModelError,
    TemplateError,
    ThresholdError,
)
from .landmark_check import check_landmarks
from .landmarks import LANDMARK_IDS, REQUIRED_IDS, as_landmarks, read_landmarks, write_landmarks
from .model_folder import model_fingerprint
from .picture_files import read_picture
from .templates import compare, load_template, save_template, template_fingerprint
from .thresholds import MeasuredThreshold, threshold_for
from .verification import Verification, verify

__all__ = [
    "Context",
    "Error",
    "FaceCountError",
    "ImageError",
    "LANDMARK_IDS",
    "LandmarkError",
    "LibraryError",
    "MeasuredThreshold",
    "ModelError",
    "REQUIRED_IDS",
    "TemplateError",
    "ThresholdError",
    "Verification",
    "__version__",
    "as_landmarks",
    "check_landmarks",
    "compare",
    "compare_many",
    "landmark_layouts",
    "load",
    "load_template",
    "model_fingerprint",
    "read_landmarks",
    "read_picture",
    "save_template",
    "template_fingerprint",
    "threshold_for",
    "verify",
    "write_landmarks",
]
