"""The mutation check behind scripts/check.sh mutate.

A mutant is the source tree with one token changed. Each worker has a copy of the tree, in which it
builds the tests again for every mutant and runs them: those of the changed folder first, then all
unit tests, then the golden and the library tests. A mutant is caught when a program fails, crashes or
does not end. Mutants that do not compile are no mutants; others are drawn in their place.
"""

import argparse
import json
import os
import pathlib
import queue
import random
import re
import resource
import shutil
import subprocess
import sys
import threading

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
WORK = ROOT / "build" / "mutation"
SOURCES = {}  # by name, as they were when the check began

# What a token may turn into. Binary operators stand between blanks, so that templates, pointers and
# signs are left alone.
COMPARISONS = {"<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"],
               "==": ["!="], "!=": ["=="]}
OPERATORS = {"+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["*"], "+=": ["-="],
             "-=": ["+="], "*=": ["/="], "&&": ["||"], "||": ["&&"]}
UNARY = {"++": ["--"], "--": ["++"], "!": [""], "-": [""], "true": ["false"], "false": ["true"]}

HIDDEN = re.compile(  # comments, texts, directives and assertions hold nothing to change
    r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'|^[ \t]*#(?:\\\n|[^\n])*'
    r'|\b(?:static_)?assert\([^;]*;', re.DOTALL | re.MULTILINE)
BINARY = re.compile(r"(?<= )(<=|>=|==|!=|\+=|-=|\*=|&&|\|\||[<>+\-*/%])(?= |\n)")
PREFIX = re.compile(r"(?<![\w)\]+\-])(\+\+|--|!(?!=)|-(?=[\w(]))|\b(true|false)\b")
NUMBER = re.compile(r"(?<![\w.])(0[xX][0-9a-fA-F.]+(?:[pP][+-]?\d+)?|\d+\.?\d*(?:[eE][+-]?\d+)?|\.\d+)"
                    r"([uUlLfF]*)(?![\w.])")


def number_replacements(digits, suffix):
    """A neighbouring integer, or a clearly different float."""
    is_hex = digits.lower().startswith("0x")
    is_float = "p" in digits.lower() if is_hex else bool(re.search(r"[.eE]", digits))
    if not is_float:
        return [f"{int(digits, 0) + 1}{suffix}"] if is_hex or digits == "0" or digits[0] != "0" else []
    value = float.fromhex(digits) if is_hex else float(digits)
    return [f"1.0{suffix}" if value == 0 else f"({digits}{suffix} * 1.5{suffix})"]


def mutants_of(path):
    """(kind, file, offset, old, new) for each change to that file."""
    name = str(path.relative_to(ROOT))
    text = SOURCES[name] = path.read_text()
    code = HIDDEN.sub(lambda match: re.sub(r"[^\n]", "\0", match.group()), text)
    found = []
    for match in BINARY.finditer(code):
        token = match.group()
        kind, table = (("comparison", COMPARISONS) if token in COMPARISONS
                       else ("operator", OPERATORS))
        found += [(kind, match, new) for new in table[token]]
    for match in PREFIX.finditer(code):
        found += [("operator", match, new) for new in UNARY[match.group()]]
    for match in NUMBER.finditer(code):
        found += [("constant", match, new) for new in number_replacements(*match.groups())]
    return [(kind, name, match.start(), match.group(), new) for kind, match, new in found]


def draw(seed, only):
    """All mutants in a random order in which the three kinds take turns."""
    sources = sorted(p for p in (ROOT / "src").rglob("*") if p.suffix in (".cpp", ".h"))
    everything = [m for p in sources if p.match(only) for m in mutants_of(p)]
    shuffler = random.Random(seed)
    piles = []
    for kind in ("comparison", "operator", "constant"):
        pile = [m for m in everything if m[0] == kind]
        shuffler.shuffle(pile)
        piles.append(pile)
    order = []
    while any(piles):
        order += [pile.pop() for pile in piles if pile]
    return order


class Worker:
    """A copy of the tree with a build of its own."""

    def __init__(self, number):
        self.tree = WORK / f"tree{number}"
        self.build_folder = WORK / f"build{number}"
        self.scratch = WORK / f"scratch{number}"
        listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "-z"], cwd=ROOT,
                                check=True, capture_output=True, text=True).stdout
        self.scratch.mkdir(parents=True, exist_ok=True)
        for name in filter(None, listed.split("\0")):
            source, copy = ROOT / name, self.tree / name
            if source.exists() and not (copy.exists() and copy.read_bytes() == source.read_bytes()):
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copyfile(source, copy)
                shutil.copymode(source, copy)
        self.call(["cmake", "-G", "Ninja", "-S", self.tree, "-B", self.build_folder,
                   "-DCMAKE_BUILD_TYPE=None", "-DCMAKE_CXX_FLAGS=-O1",
                   "-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=gold"], None)  # three times as fast

    def call(self, command, timeout):
        """True where the command ends with status 0."""
        limit = 12 << 30  # a mutant may allocate without end
        try:
            return subprocess.run(
                [str(part) for part in command], timeout=timeout, stdout=subprocess.DEVNULL,
                stderr=subprocess.DEVNULL, env={**os.environ, "TMPDIR": str(self.scratch)},
                preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (limit, limit)),
            ).returncode == 0
        except subprocess.TimeoutExpired:
            return False

    def build(self, *targets):
        return self.call(["cmake", "--build", self.build_folder, "-j", "1", "--target", *targets],
                         1200)

    def suites_of(self, folder):
        """The suites of the unit tests that lie in tests/<folder>/, as a filter."""
        listing = self.scratch / "tests.json"
        self.call([self.build_folder / "tests" / "zomu_tests", "--gtest_list_tests",
                   f"--gtest_output=json:{listing}"], 60)
        suites = json.loads(listing.read_text())["testsuites"]
        return ":".join(sorted({f"{suite['name']}.*" for suite in suites
                                if f"/tests/{folder}/" in suite["testsuite"][0]["file"]}))

    def run_tests(self, filters):
        """The first program that notices something, or None."""
        tests = self.build_folder / "tests"
        for stage in filters:
            if not self.call([tests / "zomu_tests", "--gtest_fail_fast",
                              f"--gtest_filter={stage}"], 300):
                return "unit tests"
        for name in ("golden", "library"):
            program = tests / name / f"zomu_{name}_tests"
            if not self.build(program.name):
                return f"{name} tests"  # the build itself runs programs of the project
            if not self.call([program, "--gtest_fail_fast"], 600):
                return f"{name} tests"
        return None

    def judge(self, mutant):
        """'no mutant', None for a survivor, or who caught it."""
        _, name, offset, old, new = mutant
        changed = self.tree / name
        text = SOURCES[name]
        changed.write_text(text[:offset] + new + text[offset + len(old):])
        try:
            if not self.build("zomu_internal"):
                return "no mutant"
            if not self.build("zomu_tests"):
                return "unit tests"
            suites = self.suites_of(pathlib.Path(name).parent.name)
            return self.run_tests([suites, f"*:-{suites}"])
        finally:
            changed.write_text(text)


def describe(mutant):
    _, name, offset, old, new = mutant
    text = SOURCES[name]
    line = text.count("\n", 0, offset) + 1
    start = text.rfind("\n", 0, offset) + 1
    end = text.find("\n", offset)
    changed = text[start:offset] + f"[{old} -> {new or 'nothing'}]" + text[offset + len(old):end]
    return f"{name}:{line}: {changed.strip()}"


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--count", type=int, default=330, help="mutants that compile (%(default)s)")
    parser.add_argument("--seed", type=int, default=1, help="which ones are drawn (%(default)s)")
    parser.add_argument("--only", default="src/*/*", help="pattern of source files (%(default)s)")
    parser.add_argument("--workers", type=int, default=os.cpu_count(), help="copies of the tree")
    arguments = parser.parse_args()

    order = draw(arguments.seed, arguments.only)
    print(f"{len(order)} possible mutants; preparing {arguments.workers} copies of the tree", flush=True)
    workers = []
    for number in range(arguments.workers):
        worker = Worker(number)
        if not worker.call(["cmake", "--build", worker.build_folder], 3600):
            sys.exit("the tree does not build")
        workers.append(worker)
    if workers[0].run_tests(["*"]) is not None:
        sys.exit("the tests fail before anything has been changed")

    waiting = queue.SimpleQueue()
    for item in enumerate(order):
        waiting.put(item)
    results = {}
    lock = threading.Lock()

    def work(worker):
        while True:
            with lock:
                if sum(verdict != "no mutant" for verdict in results.values()) >= arguments.count:
                    return
            try:
                position, mutant = waiting.get_nowait()
            except queue.Empty:
                return
            verdict = worker.judge(mutant)
            with lock:
                results[position] = verdict
                print(f"{len(results)}: {verdict or 'SURVIVED'}: {describe(mutant)}", flush=True)

    threads = [threading.Thread(target=work, args=(worker,)) for worker in workers]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()

    judged = {p: v for p, v in results.items() if v != "no mutant"}
    survivors = [p for p in sorted(judged) if judged[p] is None]
    print(f"\nnot compiled: {len(results) - len(judged)}")
    for kind in ("comparison", "operator", "constant"):
        of_kind = [p for p in judged if order[p][0] == kind]
        caught = sum(judged[p] is not None for p in of_kind)
        print(f"{kind}: {caught} of {len(of_kind)} caught")
    caught = len(judged) - len(survivors)
    print(f"all: {caught} of {len(judged)} caught, {100 * caught / max(1, len(judged)):.1f} %")
    for position in survivors:
        print(f"survived: {describe(order[position])}")


if __name__ == "__main__":
    main()
