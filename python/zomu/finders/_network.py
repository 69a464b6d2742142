"""Runs small convolutional networks with NumPy, on the thread that calls.

An activation is an array of height x width x channels.
"""

from __future__ import annotations

from typing import Any, Callable

import numpy as np
from numpy.typing import NDArray

from ._tflite_file import NetworkFile, Operator, read_network

# Multiplications in a product for which OpenBLAS starts no threads.
_SMALL_PRODUCT = 1 << 18

Array = NDArray[np.float32]
Step = Callable[[Any], Array]


class Network:
    """A network from the content of a .tflite file. It may be used by several threads at a time."""

    def __init__(self, content: bytes) -> None:
        file = read_network(content)
        (self._input,) = file.inputs
        self._outputs = file.outputs
        self.input_shape = file.shapes[self._input][1:]
        self._steps = [
            (operator, _STEPS[operator.kind](operator, _constants_of(file)))
            for operator in file.operators
            if operator.kind != "dequantize"
        ]
        self._last_use = {
            number: step for step, (operator, _) in enumerate(self._steps) for number in operator.inputs
        }

    def run(self, picture: Array) -> list[Array]:
        """The outputs, in the order of the file, without the dimension of the batch."""
        values: dict[int, Array] = {self._input: picture}
        for number, (operator, step) in enumerate(self._steps):
            values[operator.outputs[0]] = step(values)
            for used in operator.inputs:
                if self._last_use[used] == number and used not in self._outputs:
                    values.pop(used, None)
        return [values[number] for number in self._outputs]


def _constants_of(file: NetworkFile) -> dict[int, NDArray[Any]]:
    """The constants of the file, those of 16 bits as floats of 32."""
    constants = dict(file.constants)
    for operator in file.operators:
        if operator.kind == "dequantize":
            constants[operator.outputs[0]] = file.constants[operator.inputs[0]].astype(np.float32)
    return constants


def _padding(size: int, window: int, stride: int, same: bool) -> tuple[int, int]:
    """Before and after; SAME gives ceil(size / stride) results, the odd one of the padding comes last."""
    if not same:
        return 0, 0
    total = max((-(-size // stride) - 1) * stride + window - size, 0)
    return total // 2, total - total // 2


def _padded(x: Array, window: tuple[int, int], operator: Operator, value: float = 0.0) -> Array:
    rows = _padding(x.shape[0], window[0], operator.stride[0], operator.same_padding)
    columns = _padding(x.shape[1], window[1], operator.stride[1], operator.same_padding)
    if not any(rows + columns):
        return x
    height, width, channels = x.shape
    result = np.full((height + sum(rows), width + sum(columns), channels), value, np.float32)
    result[rows[0] : rows[0] + height, columns[0] : columns[0] + width] = x
    return result


def _product(left: Array, right: Array) -> Array:
    """The matrix product, in parts so small that a BLAS with threads keeps to one: several for a network of
    this size take longer as soon as anything else runs on the machine."""
    depth, columns = right.shape
    rows = max(1, _SMALL_PRODUCT // (depth * columns))
    result = np.empty((len(left), columns), np.float32)
    for start in range(0, len(left), rows):
        np.matmul(left[start : start + rows], right, out=result[start : start + rows])
    return result


def _convolution(operator: Operator, constants: dict[int, NDArray[Any]]) -> Step:
    source, weights, bias = operator.inputs
    kernel, offsets = constants[weights], constants[bias]
    count, height, width, channels = kernel.shape
    matrix = np.ascontiguousarray(kernel.reshape(count, -1).T)
    down, across = operator.stride

    def run(values: dict[int, Array]) -> Array:
        x = _padded(values[source], (height, width), operator)
        rows, columns = (x.shape[0] - height) // down + 1, (x.shape[1] - width) // across + 1
        if (height, width, down, across) == (1, 1, 1, 1):
            flat = x.reshape(-1, channels)
        else:
            shape = (rows, columns, height, width, channels)
            steps = (down * x.strides[0], across * x.strides[1], *x.strides)
            flat = np.lib.stride_tricks.as_strided(x, shape, steps, writeable=False).reshape(rows * columns, -1)
        result = _product(flat, matrix).reshape(rows, -1)
        result += np.tile(offsets, columns)
        if operator.relu:
            np.maximum(result, 0.0, out=result)
        return result.reshape(rows, columns, count)

    return run


def _depthwise(operator: Operator, constants: dict[int, NDArray[Any]]) -> Step:
    source, weights, bias = operator.inputs
    kernel, offsets = constants[weights][0], constants[bias]
    height, width, channels = kernel.shape
    down, across = operator.stride

    def run(values: dict[int, Array]) -> Array:
        x = _padded(values[source], (height, width), operator)
        rows, columns = (x.shape[0] - height) // down + 1, (x.shape[1] - width) // across + 1
        # Rows of pixels times channels: long inner loops.
        result = np.empty((rows, columns * channels), np.float32)
        result[:] = np.tile(offsets, columns)
        product = np.empty_like(result)
        for i in range(height):
            for j in range(width):
                part = x[i : i + down * (rows - 1) + 1 : down, j : j + across * (columns - 1) + 1 : across]
                if across == 1:
                    flat = x.reshape(x.shape[0], -1)
                    part = flat[i : i + down * (rows - 1) + 1 : down, j * channels : (j + columns) * channels]
                else:
                    part = part.reshape(rows, -1)
                np.multiply(part, np.tile(kernel[i, j], columns), out=product)
                result += product
        if operator.relu:
            np.maximum(result, 0.0, out=result)
        return result.reshape(rows, columns, channels)

    return run


def _max_pool(operator: Operator, constants: dict[int, NDArray[Any]]) -> Step:
    (source,) = operator.inputs
    height, width = operator.window
    down, across = operator.stride

    def run(values: dict[int, Array]) -> Array:
        x = _padded(values[source], operator.window, operator, -np.inf)
        rows, columns = (x.shape[0] - height) // down + 1, (x.shape[1] - width) // across + 1
        parts = [
            x[i : i + down * (rows - 1) + 1 : down, j : j + across * (columns - 1) + 1 : across]
            for i in range(height)
            for j in range(width)
        ]
        result = parts[0].copy()
        for part in parts[1:]:
            np.maximum(result, part, out=result)
        return result

    return run


def _add(operator: Operator, constants: dict[int, NDArray[Any]]) -> Step:
    first, second = operator.inputs

    def run(values: dict[int, Array]) -> Array:
        result = values[first] + values[second]
        if operator.relu:
            np.maximum(result, 0.0, out=result)
        return result

    return run


def _relu(operator: Operator, constants: dict[int, NDArray[Any]]) -> Step:
    (source,) = operator.inputs

    def run(values: dict[int, Array]) -> Array:
        result: Array = np.maximum(values[source], np.float32(0.0))
        return result

    return run


def _prelu(operator: Operator, constants: dict[int, NDArray[Any]]) -> Step:
    source, slopes = operator.inputs
    slope = constants[slopes].reshape(-1)
    falling = bool((slope > 1.0).any())

    def run(values: dict[int, Array]) -> Array:
        x = values[source]
        flat = x.reshape(x.shape[0], -1)
        tiled = np.tile(slope, x.shape[1])
        if falling:
            result: Array = np.maximum(flat, np.float32(0.0)) + np.minimum(flat, np.float32(0.0)) * tiled
        else:
            result = flat * tiled
            np.maximum(result, flat, out=result)
        return result.reshape(x.shape)

    return run


def _pad(operator: Operator, constants: dict[int, NDArray[Any]]) -> Step:
    source, widths = operator.inputs
    (_, _), (top, bottom), (left, right), (first, last) = constants[widths].tolist()

    def run(values: dict[int, Array]) -> Array:
        x = values[source]
        height, width, channels = x.shape
        result = np.zeros((height + top + bottom, width + left + right, channels + first + last), np.float32)
        result[top : top + height, left : left + width, first : first + channels] = x
        return result

    return run


def _reshape(operator: Operator, constants: dict[int, NDArray[Any]]) -> Step:
    source, shape = operator.inputs[0], operator.shape

    def run(values: dict[int, Array]) -> Array:
        return values[source].reshape(shape)

    return run


def _concatenation(operator: Operator, constants: dict[int, NDArray[Any]]) -> Step:
    axis = operator.axis - 1 if operator.axis > 0 else operator.axis

    def run(values: dict[int, Array]) -> Array:
        result: Array = np.concatenate([values[number] for number in operator.inputs], axis=axis)
        return result

    return run


_STEPS: dict[str, Callable[[Operator, dict[int, NDArray[Any]]], Step]] = {
    "add": _add,
    "concatenation": _concatenation,
    "convolution": _convolution,
    "depthwise convolution": _depthwise,
    "max pool": _max_pool,
    "pad": _pad,
    "prelu": _prelu,
    "relu": _relu,
    "reshape": _reshape,
}
