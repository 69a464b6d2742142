#!/usr/bin/python3
"""Writes the networks of a model folder as ONNX files, for other run times to read.

    export_onnx.py MODEL_FOLDER OUT_FOLDER

network-01.onnx to network-25.onnx hold one network each, networks.onnx all of them side by side.
Input N is patch matrix N row by row, 2 x planes x side x side; output N is 2 x 160. What stands
behind the networks (unit length, feature mean, projections) is not part of the files.

Needs Debian's python3-onnx and python3-numpy.
"""

import sys
from pathlib import Path

import numpy as np
import onnx
from onnx import TensorProto, helper, numpy_helper

NETWORKS = 25
LARGE = {1, 2}  # read patches of 55 x 55 pixels, the others 47 x 47
COLOUR = {1, 2, 3, 5, 8, 11, 14, 17, 19, 21, 23, 25}  # three planes, the others one
ROWS = 2  # of a patch matrix: the crop and the mirrored crop
OUTPUTS = 160

# What both Debian's onnx 1.12 writes and every later run time reads.
OPSET = 13
IR_VERSION = 7


class ModelError(Exception):
    """A file that cannot be used; the text is the line to print."""


def read_matrix(folder, name, shape):
    path = folder / name
    try:
        content = path.read_bytes()
    except OSError as error:
        raise ModelError(f"{path}: {error.strerror}") from error
    if len(content) < 8:
        raise ModelError(f"{path}: {len(content)} bytes, too short for rows and columns")
    found = tuple(int(size) for size in np.frombuffer(content, "<i4", 2))
    if found != shape:
        raise ModelError(f"{path}: shape {found[0]} x {found[1]}, not {shape[0]} x {shape[1]}")
    expected = 8 + 4 * shape[0] * shape[1]
    if len(content) != expected:
        raise ModelError(f"{path}: {len(content)} bytes, not {expected}")
    return np.frombuffer(content, "<f4", offset=8).reshape(shape).astype(np.float32)


class Graph:
    """Nodes and trained numbers of one graph in the making."""

    def __init__(self):
        self.nodes = []
        self.initializers = []
        self.inputs = []
        self.outputs = []

    def tensor(self, name, values):
        self.initializers.append(numpy_helper.from_array(np.ascontiguousarray(values), name))
        return name

    def node(self, kind, inputs, output, **attributes):
        self.nodes.append(helper.make_node(kind, inputs, [output], name=output, **attributes))
        return output

    def save(self, path, name):
        graph = helper.make_graph(self.nodes, name, self.inputs, self.outputs, self.initializers)
        model = helper.make_model(
            graph,
            producer_name="zomu",
            ir_version=IR_VERSION,
            opset_imports=[helper.make_opsetid("", OPSET)],
        )
        onnx.checker.check_model(model, full_check=True)
        onnx.save(model, str(path))


def add_convolution(graph, folder, number, stage, source, planes, filters, size):
    """A convolution and its relu. A file of filters has a column for each filter."""
    weights = read_matrix(folder, f"{stage}-{number}-1", (planes * size * size, filters))
    biases = read_matrix(folder, f"{stage}-{number}-2", (filters, 1))
    name = f"n{number}.conv{stage}"
    kernel = graph.tensor(f"{name}.w", weights.T.reshape(filters, planes, size, size))
    bias = graph.tensor(f"{name}.b", biases.reshape(filters))
    graph.node("Conv", [source, kernel, bias], name, kernel_shape=[size, size])
    return graph.node("Relu", [name], f"{name}.relu")


def add_pool(graph, source):
    return graph.node("MaxPool", [source], f"{source}.pool", kernel_shape=[2, 2], strides=[2, 2])


def add_network(graph, folder, number):
    side = 55 if number in LARGE else 47
    planes = 3 if number in COLOUR else 1
    source = f"patch{number}"
    target = f"output{number}"
    graph.inputs.append(
        helper.make_tensor_value_info(source, TensorProto.FLOAT, [ROWS, planes, side, side]))
    graph.outputs.append(helper.make_tensor_value_info(target, TensorProto.FLOAT, [ROWS, OUTPUTS]))

    first = add_pool(graph, add_convolution(graph, folder, number, 1, source, planes, 16, 4))
    second = add_pool(graph, add_convolution(graph, folder, number, 2, first, 16, 32, 3))
    third = add_pool(graph, add_convolution(graph, folder, number, 3, second, 32, 48, 3))
    fourth = add_convolution(graph, folder, number, 4, third, 48, 64, 2)

    # fc reads the rectified fourth stage and the pooled third one. Its bias comes between the two
    # products: y = x0 W0 + b, then y = x1 W1 + y.
    third_side = (((side - 3) // 2 - 2) // 2 - 2) // 2
    third_values = 48 * third_side**2
    fourth_values = 64 * (third_side - 1) ** 2
    name = f"n{number}.fc"
    w0 = graph.tensor(f"{name}.w0", read_matrix(folder, f"5-{number}-1", (fourth_values, OUTPUTS)))
    w1 = graph.tensor(f"{name}.w1", read_matrix(folder, f"5-{number}-2", (third_values, OUTPUTS)))
    b = graph.tensor(f"{name}.b", read_matrix(folder, f"5-{number}-3", (1, OUTPUTS)))
    x0 = graph.node("Flatten", [fourth], f"{name}.x0")
    x1 = graph.node("Flatten", [third], f"{name}.x1")
    partial = graph.node("Gemm", [x0, w0, b], f"{name}.partial")
    graph.node("Gemm", [x1, w1, partial], target)


def export(model_folder, out_folder):
    out_folder.mkdir(parents=True, exist_ok=True)
    together = Graph()
    for number in range(1, NETWORKS + 1):
        single = Graph()
        add_network(single, model_folder, number)
        single.save(out_folder / f"network-{number:02}.onnx", f"network{number}")
        add_network(together, model_folder, number)
    together.save(out_folder / "networks.onnx", "networks")


def main():
    if len(sys.argv) != 3:
        print("usage: export_onnx.py MODEL_FOLDER OUT_FOLDER", file=sys.stderr)
        return 2
    try:
        export(Path(sys.argv[1]), Path(sys.argv[2]))
    except (ModelError, OSError) as error:
        print(f"export_onnx.py: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
