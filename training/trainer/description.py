"""Reads a network's description, the text that the library builds the network from."""

import re
from dataclasses import dataclass
from pathlib import Path

from trainer.problems import TrainingProblem

NETWORKS = 25


@dataclass(frozen=True)
class Stage:
    """A convolution, its rectifier and, if `pool` is not 0, a max pool of pool x pool."""
    name: str
    planes: int
    filters: int
    size: int
    pool: int
    weights: str
    biases: str


@dataclass(frozen=True)
class NetworkDescription:
    """A chain of stages; the fully connected layer reads the outputs of some of them."""
    patch: int                     # counted from 0
    stages: tuple[Stage, ...]
    side: int                      # of the patch
    outputs: int
    fc_inputs: tuple[int, ...]     # indices of stages, in the order of the weight files
    fc_weights: tuple[str, ...]
    fc_biases: str

    @property
    def planes(self) -> int:
        return self.stages[0].planes

    def sides(self) -> list[int]:
        """Side of each stage's output."""
        sides, side = [], self.side
        for stage in self.stages:
            side = side - stage.size + 1
            if stage.pool:
                side //= stage.pool
            sides.append(side)
        return sides


def _sections(text: str) -> dict[str, dict[str, str]]:
    sections: dict[str, dict[str, str]] = {}
    current: dict[str, str] = {}
    for line in text.splitlines():
        line = line.strip()
        if match := re.fullmatch(r"\[(.+)\]", line):
            current = sections.setdefault(match[1], {})
        elif "=" in line:
            key, value = line.split("=", 1)
            current[key.strip()] = value.strip()
    return sections


def _require(holds: bool, problem: str) -> None:
    if not holds:
        raise TrainingProblem(f"the described network cannot be trained: {problem}")


def read_description(text: str) -> NetworkDescription:
    """Accepts chains of convolution, rectifier and pool that end in one fully connected layer."""
    sections = _sections(text)
    names = sections["Net"]["LayerNames"].split("_")
    ends: dict[str, int] = {}  # layer to the stage whose finished output it is
    stages: list[Stage] = []
    patch = side = -1
    for name in names[:-1]:
        layer = sections[name]
        kind = layer["type"]
        if kind == "data":
            patch = int(layer["dataIdx"])
            continue
        if kind == "conv":
            _require(layer["padding"] == "0" and layer["stride"] == "1", f"{name} pads or strides")
            source = layer["inputs"]
            if not stages:
                side = int(layer["imgSize"])
            else:
                _require(ends.get(source) == len(stages) - 1, f"{name} does not follow the chain")
            stages.append(Stage(name, int(layer["channels"]), int(layer["filters"]),
                                int(layer["filterSize"]), 0, layer["weights"], layer["biases"]))
        elif kind == "neuron":
            _require(layer["neuron"] == "relu" and layer["inputs"] == stages[-1].name,
                     f"{name} is not the rectifier of a convolution")
            # In place: layers that name the convolution as their input also read rectified values.
            ends[stages[-1].name] = len(stages) - 1
        elif kind == "pool":
            _require(layer["pool"] == "max" and layer["sizeX"] == layer["stride"]
                     and layer["start"] == "0", f"{name} is not a plain maximum")
            _require(ends.get(layer["inputs"]) == len(stages) - 1, f"{name} is outside the chain")
            stages[-1] = Stage(**{**vars(stages[-1]), "pool": int(layer["sizeX"])})
        else:
            _require(False, f"{name} is of type {kind}")
        ends[name] = len(stages) - 1
    fc = sections[names[-1]]
    _require(fc["type"] == "fc", "the last layer is not fully connected")
    return NetworkDescription(patch, tuple(stages), side, int(fc["outputs"]),
                              tuple(ends[source] for source in fc["inputs"].split("_")),
                              tuple(fc["weights"].split("_")), fc["biases"])


def load_descriptions(folder: Path) -> list[NetworkDescription]:
    """All networks, from the texts that zomu-patches wrote."""
    return [read_description((folder / f"network-{number:02}.txt").read_text(encoding="ascii"))
            for number in range(1, NETWORKS + 1)]
