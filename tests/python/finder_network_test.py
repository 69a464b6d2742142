"""The networks of the finder: each kind of step against plain loops, the whole against another program."""

import unittest
from pathlib import Path

import numpy as np

import zomu.finders
from zomu.finders._network import _STEPS, Network
from zomu.finders._tflite_file import Operator, read_network

DATA = Path(zomu.finders.__file__).parent / "data"

# Printed by LiteRT 2.3.0 for the picture of ramp(): five values of each output, from the first to the last.
OF_LITERT = {
    "face_detection_short_range": (
        128,
        [[0.4106, -1.5628, -1.5688, -26.5239, -9.3672], [-4.7479, -3.6776, -3.8582, -41.8644, -62.2666]],
    ),
    "face_landmark": (192, [[99.5521, 0.3293, -3.6957, 0.8355, 9.0234], [-8.2881] * 5]),
}


def ramp(side: int) -> np.ndarray:
    count = np.arange(side * side * 3, dtype=np.int64)
    return ((count * count // 7) % 256).astype(np.float32).reshape(side, side, 3) / np.float32(255)


def plain_windows(x, height, width, down, across, same, outside):
    """The windows of a convolution, row by row: for each its place and what lies in it."""
    rows, columns = x.shape[:2]
    top = left = 0
    if same:
        out = -(-rows // down), -(-columns // across)
        top = max((out[0] - 1) * down + height - rows, 0) // 2
        left = max((out[1] - 1) * across + width - columns, 0) // 2
    else:
        out = (rows - height) // down + 1, (columns - width) // across + 1
    for row in range(out[0]):
        for column in range(out[1]):
            window = np.full((height, width, x.shape[2]), outside, np.float64)
            for i in range(height):
                for j in range(width):
                    y, z = row * down - top + i, column * across - left + j
                    if 0 <= y < rows and 0 <= z < columns:
                        window[i, j] = x[y, z]
            yield row, column, window


CASES = [
    (height, width, down, across, same)
    for height, width in ((1, 1), (3, 3), (2, 5))
    for down, across in ((1, 1), (2, 2), (1, 2))
    for same in (True, False)
]


class NetworkStepTest(unittest.TestCase):
    def setUp(self) -> None:
        self.dice = np.random.default_rng(1)

    def draw(self, *shape: int) -> np.ndarray:
        return self.dice.normal(size=shape).astype(np.float32)

    def run_step(self, operator: Operator, x: np.ndarray, **constants: np.ndarray) -> np.ndarray:
        return _STEPS[operator.kind](operator, {1: constants.get("one"), 2: constants.get("two")})({0: x})

    def test_convolutions_are_sums_over_windows(self) -> None:
        for height, width, down, across, same in CASES:
            for size in ((7, 6), (8, 9)):
                with self.subTest(window=(height, width), stride=(down, across), same=same, size=size):
                    x, kernel, bias = self.draw(*size, 3), self.draw(4, height, width, 3), self.draw(4)
                    operator = Operator("convolution", (0, 1, 2), (3,), same, (down, across), relu=True)
                    result = self.run_step(operator, x, one=kernel, two=bias)
                    for row, column, window in plain_windows(x, height, width, down, across, same, 0.0):
                        expected = np.maximum((kernel * window).sum(axis=(1, 2, 3)) + bias, 0.0)
                        np.testing.assert_allclose(result[row, column], expected, atol=1e-5)

    def test_depthwise_convolutions_keep_channels_apart(self) -> None:
        for height, width, down, across, same in CASES:
            with self.subTest(window=(height, width), stride=(down, across), same=same):
                x, kernel, bias = self.draw(7, 8, 3), self.draw(1, height, width, 3), self.draw(3)
                operator = Operator("depthwise convolution", (0, 1, 2), (3,), same, (down, across))
                result = self.run_step(operator, x, one=kernel, two=bias)
                for row, column, window in plain_windows(x, height, width, down, across, same, 0.0):
                    expected = (kernel[0] * window).sum(axis=(0, 1)) + bias
                    np.testing.assert_allclose(result[row, column], expected, atol=1e-5)

    def test_pools_take_the_largest_of_a_window(self) -> None:
        for height, width, down, across, same in CASES:
            with self.subTest(window=(height, width), stride=(down, across), same=same):
                x = self.draw(7, 8, 3) - 5
                operator = Operator("max pool", (0,), (3,), same, (down, across), (height, width))
                result = self.run_step(operator, x)
                for row, column, window in plain_windows(x, height, width, down, across, same, -np.inf):
                    np.testing.assert_array_equal(result[row, column], window.max(axis=(0, 1)))

    def test_negative_values_are_multiplied_by_slopes_of_any_size(self) -> None:
        for slopes in ([0.0, 0.5, 1.0], [-2.0, 0.5, 3.0]):
            x, slope = self.draw(4, 5, 3), np.array(slopes, np.float32)
            result = self.run_step(Operator("prelu", (0, 1), (3,)), x, one=slope.reshape(1, 1, 3))
            np.testing.assert_allclose(result, np.where(x < 0, x * slope, x), atol=1e-6)

    def test_padding_adds_zeros_to_rows_columns_and_channels(self) -> None:
        x = self.draw(2, 3, 2)
        widths = np.array([[0, 0], [1, 0], [0, 2], [0, 1]], np.int32)
        result = self.run_step(Operator("pad", (0, 1), (3,)), x, one=widths)
        np.testing.assert_array_equal(result, np.pad(x, widths[1:]))

    def test_large_products_are_those_of_one_product(self) -> None:
        x, kernel, bias = self.draw(90, 80, 16), self.draw(32, 1, 1, 16), self.draw(32)
        result = self.run_step(Operator("convolution", (0, 1, 2), (3,)), x, one=kernel, two=bias)
        np.testing.assert_allclose(result, x @ kernel[:, 0, 0].T + bias, atol=1e-4)


class NetworkTest(unittest.TestCase):
    def test_outputs_are_those_of_another_program(self) -> None:
        for name, (side, expected) in OF_LITERT.items():
            outputs = Network((DATA / f"{name}.tflite").read_bytes()).run(ramp(side))
            for output, values in zip(outputs, expected, strict=True):
                flat = output.reshape(-1)
                chosen = flat[np.linspace(0, flat.size - 1, 5).astype(int)]
                np.testing.assert_allclose(chosen, values, rtol=1e-4, atol=1e-3, err_msg=name)

    def test_files_that_are_no_network_are_refused(self) -> None:
        good = (DATA / "face_detection_short_range.tflite").read_bytes()
        for content, words in ((b"", "TFL3"), (b"PNG" * 100, "TFL3"), (good[:4] + b"TFL4" + good[8:], "TFL3")):
            with self.assertRaisesRegex(ValueError, words):
                read_network(content)


if __name__ == "__main__":
    unittest.main()
