"""Runs the 25 networks with ONNX Runtime on dumped patches, compares and times them.

    run_networks.py ONNX_FOLDER DUMP_FOLDER [--threads N] [--runs N]

ONNX_FOLDER is what export_onnx.py wrote, DUMP_FOLDER what dump_stages wrote. Writes networks-N.json to
the dump folder. Exit status 1 if an output differs from ours by more than the bound.

Several threads can share the work in four ways, each of which is measured:
    sessions    one session after another, each with N threads inside its operators
    workers     N threads of ours, each with its share of the sessions and no other threads
    one graph   all networks in one session with N threads inside its operators
    parallel    all networks in one session that runs independent operators on N threads
With one thread there are only sessions and one graph. Inputs and outputs are bound in advance, so that a
run copies nothing.
"""

import argparse
import json
import platform
import sys
import threading
from pathlib import Path

import numpy as np
import onnxruntime as ort

from peer_times import time_stage

NETWORKS = 25
OUTPUTS = 160

# Relative to the largest output of a network. Each side adds up to 2224 products in its own order, in five
# stages; a wrong weight or layer shows as a difference of about 1.
BOUND = 1e-5


class Session:
    """One session with its inputs and outputs, which the graph names after the patches' numbers."""

    def __init__(self, options, name, **settings):
        choices = ort.SessionOptions()
        choices.graph_optimization_level = ort.GraphOptimizationLevel.ORT_ENABLE_ALL
        choices.intra_op_num_threads = settings.get("inside", 1)
        choices.inter_op_num_threads = settings.get("between", 1)
        if settings.get("between", 1) > 1:
            choices.execution_mode = ort.ExecutionMode.ORT_PARALLEL
        if not settings.get("spin", True):
            choices.add_session_config_entry("session.intra_op.allow_spinning", "0")
        self.session = ort.InferenceSession(str(options.onnx / f"{name}.onnx"), choices,
                                            providers=["CPUExecutionProvider"])
        self.binding = self.session.io_binding()
        self.values = []  # the binding does not keep them
        self.results = {}
        for entry in self.session.get_inputs():
            number = int(entry.name.removeprefix("patch"))
            values = np.fromfile(options.dump / f"patch-{number:02}.f32", "<f4")
            value = ort.OrtValue.ortvalue_from_numpy(values.reshape(entry.shape))
            self.values.append(value)
            self.binding.bind_ortvalue_input(entry.name, value)
        for entry in self.session.get_outputs():
            value = ort.OrtValue.ortvalue_from_shape_and_type([2, OUTPUTS], np.float32)
            self.results[int(entry.name.removeprefix("output")) - 1] = value
            self.binding.bind_ortvalue_output(entry.name, value)

    def run(self):
        self.session.run_with_iobinding(self.binding)


class Sequence:
    """Sessions that run one after another."""

    def __init__(self, sessions):
        self.sessions = sessions

    def run(self):
        for session in self.sessions:
            session.run()

    def outputs(self):
        found = {}
        for session in self.sessions:
            found.update({k: value.numpy() for k, value in session.results.items()})
        return np.stack([found[k] for k in range(NETWORKS)])

    def close(self):
        pass


class Workers(Sequence):
    """The same, with a share of the sessions on each thread. A run of the runtime lets other threads of
    Python run."""

    def __init__(self, shares):
        super().__init__([session for share in shares for session in share])
        self.own = shares[0]
        self.ended = False
        self.starts = [threading.Semaphore(0) for _ in shares[1:]]
        self.finished = threading.Semaphore(0)
        self.threads = [threading.Thread(target=self.serve, args=pair)
                        for pair in zip(shares[1:], self.starts)]
        for thread in self.threads:
            thread.start()

    def serve(self, share, start):
        while True:
            start.acquire()
            if self.ended:
                return
            for session in share:
                session.run()
            self.finished.release()

    def run(self):
        for start in self.starts:
            start.release()
        for session in self.own:
            session.run()
        for _ in self.starts:
            self.finished.acquire()

    def close(self):
        self.ended = True
        for start in self.starts:
            start.release()
        for thread in self.threads:
            thread.join()


def ways(options):
    """What opens each way."""
    names = [f"network-{number:02}" for number in range(1, NETWORKS + 1)]
    threads = options.threads

    def all_sessions(chosen, **settings):
        return [Session(options, name, **settings) for name in chosen]

    # Spinning threads of 25 sessions would take the cores from the session that runs.
    yield "sessions", lambda: Sequence(all_sessions(names, inside=threads, spin=False))
    yield "one graph", lambda: Sequence(all_sessions(["networks"], inside=threads))
    if threads > 1:
        # Every share holds large and small, colour and grey networks.
        yield "workers", lambda: Workers([all_sessions(names[k::threads]) for k in range(threads)])
        yield "parallel", lambda: Sequence(all_sessions(["networks"], between=threads))


def main():
    parser = argparse.ArgumentParser(usage=__doc__.splitlines()[2].strip())
    parser.add_argument("onnx", type=Path)
    parser.add_argument("dump", type=Path)
    parser.add_argument("--threads", type=int, default=1)
    parser.add_argument("--runs", type=int, default=200)
    options = parser.parse_args()
    expected = np.stack([np.fromfile(options.dump / f"output-{number:02}.f32", "<f4").reshape(2, OUTPUTS)
                         for number in range(1, NETWORKS + 1)])
    largest = np.abs(expected).max(axis=(1, 2))
    report = {"threads": options.threads, "runs": options.runs, "runtime": ort.__version__,
              "python": platform.python_version(), "bound": BOUND, "ways": {}}
    good = True
    print(f"ONNX Runtime {ort.__version__}: {options.threads} thread(s), "
          f"medians of {options.runs} runs in ms")
    for name, open_way in ways(options):
        networks = open_way()
        networks.run()
        distance = np.abs(networks.outputs() - expected).max(axis=(1, 2))
        times = time_stage(networks.run, options.runs)
        networks.close()
        absolute, relative = float(distance.max()), float((distance / largest).max())
        report["ways"][name] = {**times, "absolute": absolute, "relative": relative}
        print(f"{name:<12} {times['median']:9.3f}   (10 %: {times['low']:.3f}, 90 %: "
              f"{times['high']:.3f})   largest difference {absolute:.2e}, of the network's largest "
              f"output {relative:.2e} (bound {BOUND:g})")
        good &= relative <= BOUND  # not so for NaN
    path = options.dump / f"networks-{options.threads}.json"
    path.write_text(json.dumps(report, indent=2) + "\n", encoding="ascii")
    if not good:
        print("run_networks.py: an output differs by more than the bound", file=sys.stderr)
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
