"""Reads network files of the format .tflite: what the networks of the finder use of it.

Such a file is a FlatBuffer: tables whose fields are found through a list of offsets, all little-endian.
"""

from __future__ import annotations

import struct
from dataclasses import dataclass, field
from typing import Any

import numpy as np
from numpy.typing import NDArray

_TYPES: dict[int, Any] = {0: np.float32, 1: np.float16, 2: np.int32}
_OPERATORS = {
    0: "add",
    2: "concatenation",
    3: "convolution",
    4: "depthwise convolution",
    6: "dequantize",
    17: "max pool",
    19: "relu",
    22: "reshape",
    34: "pad",
    54: "prelu",
}


@dataclass(frozen=True)
class Operator:
    """One step. Options that a kind doesn't have keep their defaults."""

    kind: str
    inputs: tuple[int, ...]
    outputs: tuple[int, ...]
    same_padding: bool = True
    stride: tuple[int, int] = (1, 1)  # down, across
    window: tuple[int, int] = (1, 1)
    axis: int = 0
    shape: tuple[int, ...] = ()  # of the result, without the batch
    relu: bool = False


@dataclass(frozen=True)
class NetworkFile:
    """The steps in the order in which they run. Tensors are known by their numbers."""

    shapes: list[tuple[int, ...]]
    constants: dict[int, NDArray[Any]]
    inputs: tuple[int, ...]
    outputs: tuple[int, ...]
    operators: list[Operator] = field(default_factory=list)


def read_network(content: bytes) -> NetworkFile:
    """Raises ValueError for a file with anything that the finder's networks don't have."""
    if content[4:8] != b"TFL3":
        raise ValueError("not a network of the format TFL3")
    model = _Table(content, struct.unpack_from("<I", content, 0)[0])
    codes = [code.int32(3) or code.int8(0) for code in model.tables(1)]
    (graph,) = model.tables(2)
    buffers = model.tables(4)
    shapes: list[tuple[int, ...]] = []
    constants: dict[int, NDArray[Any]] = {}
    for number, tensor in enumerate(graph.tables(0)):
        shape = tensor.ints(0)
        shapes.append(shape)
        data = buffers[tensor.uint32(2)].bytes(0)
        if data:
            constants[number] = np.frombuffer(data, _TYPES[tensor.int8(1)]).reshape(shape)
    operators = [_operator(codes[row.uint32(0)], row, shapes) for row in graph.tables(3)]
    return NetworkFile(shapes, constants, graph.ints(1), graph.ints(2), operators)


def _operator(code: int, row: _Table, shapes: list[tuple[int, ...]]) -> Operator:
    if code not in _OPERATORS:
        raise ValueError(f"an operator that is not supported: {code}")
    kind = _OPERATORS[code]
    inputs, outputs, options = row.ints(1), row.ints(2), row.table(4)
    if kind == "reshape":
        return Operator(kind, inputs, outputs, shape=shapes[outputs[0]][1:])
    if options is None or kind in ("dequantize", "relu", "pad", "prelu"):
        return Operator(kind, inputs, outputs)
    if kind == "add":
        return Operator(kind, inputs, outputs, relu=_is_relu(options.int8(0)))
    if kind == "concatenation":
        return Operator(kind, inputs, outputs, axis=options.int32(0), relu=_is_relu(options.int8(1)))
    activation = {"convolution": 3, "depthwise convolution": 4, "max pool": 5}[kind]
    return Operator(
        kind,
        inputs,
        outputs,
        same_padding=options.int8(0) == 0,
        stride=(options.int32(2), options.int32(1)),
        window=(options.int32(4), options.int32(3)) if kind == "max pool" else (1, 1),
        relu=_is_relu(options.int8(activation)),
    )


def _is_relu(activation: int) -> bool:
    if activation not in (0, 1):
        raise ValueError(f"an activation that is not supported: {activation}")
    return activation == 1


class _Table:
    """A table of a FlatBuffer. Fields are numbered as in the schema of the format."""

    def __init__(self, content: bytes, place: int) -> None:
        self._content = content
        self._place = place
        self._offsets = place - struct.unpack_from("<i", content, place)[0]
        self._length = struct.unpack_from("<H", content, self._offsets)[0]

    def _field(self, number: int) -> int | None:
        entry = 4 + 2 * number
        if entry >= self._length:
            return None
        offset: int = struct.unpack_from("<H", self._content, self._offsets + entry)[0]
        return self._place + offset if offset else None

    def _value(self, number: int, form: str) -> int:
        place = self._field(number)
        return 0 if place is None else int(struct.unpack_from(form, self._content, place)[0])

    def int8(self, number: int) -> int:
        return self._value(number, "<b")

    def int32(self, number: int) -> int:
        return self._value(number, "<i")

    def uint32(self, number: int) -> int:
        return self._value(number, "<I")

    def _followed(self, place: int) -> int:
        return place + int(struct.unpack_from("<I", self._content, place)[0])

    def table(self, number: int) -> _Table | None:
        place = self._field(number)
        return None if place is None else _Table(self._content, self._followed(place))

    def _vector(self, number: int) -> tuple[int, int]:
        """Where the elements begin, and how many there are."""
        place = self._field(number)
        if place is None:
            return 0, 0
        start = self._followed(place)
        return start + 4, int(struct.unpack_from("<I", self._content, start)[0])

    def tables(self, number: int) -> list[_Table]:
        start, count = self._vector(number)
        return [_Table(self._content, self._followed(start + 4 * i)) for i in range(count)]

    def ints(self, number: int) -> tuple[int, ...]:
        start, count = self._vector(number)
        return struct.unpack_from(f"<{count}i", self._content, start)

    def bytes(self, number: int) -> bytes:
        start, count = self._vector(number)
        return self._content[start : start + count]
