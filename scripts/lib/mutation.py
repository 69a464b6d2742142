"""The mutation check of scripts/check.sh mutate.

A mutant is the source tree with one token changed. Each worker has a copy of the tree, in which it
rebuilds the tests for every mutant and runs them: first the suites of the changed folder
(tests/<folder>/), then the golden test, the other unit tests, the library tests, and the tests of the
tools. A mutant is caught if a program fails, crashes or does not end. Mutants that do not compile do not
count; others are drawn instead.

--replay reads what an earlier run printed or recorded, finds each of its mutants in today's sources, by
the text of the line, and prints which verdicts have changed.
"""

import argparse
import json
import os
import pathlib
import random
import re
import resource
import shutil
import subprocess
import sys
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
WORK = ROOT / "build" / "mutation"
SOURCES = {}  # by name, as they were when the check began

# What may replace a token. Binary operators have blanks on both sides, so that templates, pointers and
# signs are not changed.
COMPARISONS = {"<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"],
               "==": ["!="], "!=": ["=="]}
OPERATORS = {"+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["*"], "+=": ["-="],
             "-=": ["+="], "*=": ["/="], "&&": ["||"], "||": ["&&"]}
UNARY = {"++": ["--"], "--": ["++"], "!": [""], "-": [""], "true": ["false"], "false": ["true"]}

HIDDEN = re.compile(  # comments, strings, directives and assertions are not changed
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
    """All mutants in a random order, in which the three kinds alternate."""
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
    """A copy of the tree with its own build."""

    def __init__(self, number):
        self.tree = WORK / f"tree{number}"
        self.build_folder = WORK / f"build{number}"
        self.scratch = WORK / f"scratch{number}"
        listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "-z"], cwd=ROOT,
                                check=True, capture_output=True, text=True).stdout
        names = {name for name in listed.split("\0") if name and (ROOT / name).exists()}
        self.scratch.mkdir(parents=True, exist_ok=True)
        for path in list(self.tree.rglob("*")):  # what an earlier state of the project left here
            if path.is_file() and str(path.relative_to(self.tree)) not in names:
                path.unlink()
        for name in names:
            source, copy = ROOT / name, self.tree / name
            if not (copy.exists() and copy.read_bytes() == source.read_bytes()):
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copyfile(source, copy)
                shutil.copymode(source, copy)

    def prepare(self):
        """Builds the unchanged tree, and measures how long its tests take; False if they fail."""
        if not self.call(["cmake", "-G", "Ninja", "-S", self.tree, "-B", self.build_folder,
                          "-DCMAKE_BUILD_TYPE=None", "-DCMAKE_CXX_FLAGS=-O1",
                          "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST",
                          "-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=gold"], None):  # three times as fast
            return False
        listed = subprocess.run(["ninja", "-C", self.build_folder, "-t", "targets", "all"],
                                check=True, capture_output=True, text=True).stdout
        found = re.findall(r"^(tests/(?:zomu\w*_tests|golden/zomu_golden_tests|"
                           r"library/zomu_library_tests)): CXX_EXECUTABLE_LINKER",
                           listed, re.MULTILINE)
        self.unit = sorted(name for name in found if name.count("/") == 1)
        self.others = {name.split("/")[1]: name for name in found if name.count("/") == 2}
        if not self.call(["ninja", "-C", self.build_folder, *found], 3600):
            return False
        # Folder of tests/ -> program -> its suites there.
        self.folders = {}
        for program in self.unit:
            listing = self.scratch / "tests.json"
            self.call([self.build_folder / program, "--gtest_list_tests",
                       f"--gtest_output=json:{listing}"], 60)
            for suite in json.loads(listing.read_text())["testsuites"]:
                folder = re.search(r"/tests/(\w+)/", suite["testsuite"][0]["file"])[1]
                self.folders.setdefault(folder, {}).setdefault(program, set()).add(suite["name"])
        self.limits = {}
        for stage in self.stages("no such folder"):
            started = time.monotonic()
            if self.fails(stage, 3600):
                return False
            # A mutant that does not end is stopped; the limit allows for a busy machine.
            limit = 30 + 5 * (time.monotonic() - started)
            self.limits[stage[0]] = max(limit, self.limits.get(stage[0], 0))
        return True

    def call(self, command, timeout):
        """True if the command ends with status 0."""
        limit = 12 << 30  # a mutant may allocate without end
        try:
            return subprocess.run(
                [str(part) for part in command], timeout=timeout, stdout=subprocess.DEVNULL,
                stderr=subprocess.DEVNULL,
                # Passive: teams that wait do not occupy the processors of other workers.
                env={"OMP_WAIT_POLICY": "passive", **os.environ, "TMPDIR": str(self.scratch)},
                preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (limit, limit)),
            ).returncode == 0
        except subprocess.TimeoutExpired:
            return False

    def build(self, *targets):
        return self.call(["ninja", "-C", self.build_folder, "-j", "1", *targets], 1200)

    def stages(self, folder):
        """(who catches, program, filter) in the order in which they run: what is likely to notice
        something, and what is quick, comes first."""

        def unit(folders):
            chosen = {}
            for name in folders:
                for program, suites in self.folders.get(name, {}).items():
                    chosen.setdefault(program, set()).update(suites)
            return [("unit tests", program, ":".join(f"{suite}.*" for suite in sorted(suites)))
                    for program, suites in sorted(chosen.items())]

        def other(name):
            return [(f"{name} tests", self.others[name], "*")] if name in self.others else []

        rest = sorted(set(self.folders) - {folder, "tools"})
        return [*unit([folder]), *other("golden"), *unit(rest), *other("library"), *unit(["tools"])]

    def fails(self, stage, timeout):
        _, program, only = stage
        # The build itself runs programs of the project.
        return not self.build(program) or not self.call(
            [self.build_folder / program, "--gtest_fail_fast", "--gtest_brief=1",
             f"--gtest_filter={only}"], timeout)

    def judge(self, mutant):
        """'no mutant', None for a survivor, or the stage that caught it."""
        _, name, offset, old, new = mutant
        changed = self.tree / name
        text = SOURCES[name]
        changed.write_text(text[:offset] + new + text[offset + len(old):])
        try:
            for stage in self.stages(pathlib.Path(name).parent.name):
                if self.fails(stage, self.limits[stage[0]]):
                    return stage[0] if self.build("zomu_internal") else "no mutant"
            return None
        finally:
            changed.write_text(text)


def place_of(mutant):
    """(line number, start and end of the line)"""
    _, name, offset, _, _ = mutant
    text = SOURCES[name]
    return text.count("\n", 0, offset) + 1, text.rfind("\n", 0, offset) + 1, text.find("\n", offset)


def describe(mutant):
    _, name, offset, old, new = mutant
    text = SOURCES[name]
    line, start, end = place_of(mutant)
    changed = text[start:offset] + f"[{old} -> {new or 'nothing'}]" + text[offset + len(old):end]
    return f"{name}:{line}: {changed.strip()}"


def judge_all(workers, mutants, report):
    """Verdicts in the order of `mutants`. Mutants of one file follow each other on one worker: what the
    last one changed is recompiled together with the next."""
    files = {}
    for position, mutant in enumerate(mutants):
        files.setdefault(mutant[1], []).append(position)
    waiting = sorted(files.values(), key=len)
    verdicts = [None] * len(mutants)
    lock = threading.Lock()

    def work(worker):
        mine = []
        while True:
            with lock:
                if not mine:
                    if not waiting:
                        return
                    mine = waiting.pop()
                    # The rest of a long file goes to the next idle worker.
                    share = max(5, len(mutants) // (8 * len(workers)))
                    if len(mine) > share:
                        waiting.append(mine[share:])
                        mine = mine[:share]
            position = mine[0]
            mine = mine[1:]
            started = time.monotonic()
            verdict = worker.judge(mutants[position])
            with lock:
                verdicts[position] = verdict
                report(position, mutants[position], verdict, time.monotonic() - started)

    threads = [threading.Thread(target=work, args=(worker,)) for worker in workers]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    return verdicts


class Record:
    """Prints each verdict, and writes it to a file as a line of JSON."""

    def __init__(self, path):
        self.file = open(path, "w", encoding="utf-8") if path else None
        self.count = 0

    def __call__(self, mutant, verdict, seconds, before=""):
        self.count += 1
        print(f"{self.count}: {verdict or 'SURVIVED'}{before}: {describe(mutant)}", flush=True)
        if self.file:
            kind, name, _, old, new = mutant
            line = {"verdict": verdict or "SURVIVED", "text": describe(mutant), "kind": kind,
                    "file": name, "line": place_of(mutant)[0], "old": old, "new": new,
                    "seconds": round(seconds, 1)}
            self.file.write(json.dumps(line) + "\n")
            self.file.flush()


def check(workers, order, count, record):
    """Judges the first mutants of `order` that compile, and prints how many were caught."""
    judged = {}
    failed = begin = 0
    while len(judged) < count and begin < len(order):
        batch = order[begin:begin + count - len(judged)]
        verdicts = judge_all(workers, batch, lambda _, *verdict: record(*verdict))
        for position, verdict in enumerate(verdicts, begin):
            if verdict == "no mutant":
                failed += 1
            else:
                judged[position] = verdict
        begin += len(batch)

    survivors = [p for p in sorted(judged) if judged[p] is None]
    print(f"\nnot compiled: {failed}")
    for kind in ("comparison", "operator", "constant"):
        of_kind = [p for p in judged if order[p][0] == kind]
        caught = sum(judged[p] is not None for p in of_kind)
        print(f"{kind}: {caught} of {len(of_kind)} caught")
    caught = len(judged) - len(survivors)
    print(f"all: {caught} of {len(judged)} caught, {100 * caught / max(1, len(judged)):.1f} %")
    for position in survivors:
        print(f"survived: {describe(order[position])}")


PRINTED = re.compile(r"\d+: ([^:]+): (\S+):(\d+): (.*)")
CHANGE = re.compile(r"\[([^\[\]]*?) -> ([^\[\]]*?)\]")


def read_earlier(path):
    """(was it caught, file, line number, line, column in it, old, new) of each mutant that compiled."""
    found = []
    for line in pathlib.Path(path).read_text(encoding="utf-8").splitlines():
        if line.startswith("{"):
            recorded = json.loads(line)
            line = f"0: {recorded['verdict']}: {recorded['text']}"
        match = PRINTED.fullmatch(line)
        if not match or match[1] == "no mutant":
            continue
        was, name, number, text = match[1].split(" (")[0], match[2], int(match[3]), match[4]
        change = CHANGE.search(text)
        if was == "no mutant" or not change:
            continue
        old, new = change[1], "" if change[2] == "nothing" else change[2]
        original = text[:change.start()] + old + text[change.end():]
        found.append((was != "SURVIVED", name, number, original, change.start(), old, new))
    return found


def find_again(earlier):
    """Today's mutant for each earlier one, or None: the same line in a file of the same name, the
    nearest if there are several; otherwise the only such line in any file."""
    lines = {}  # stripped text -> (file, line number, offset of its first character)
    for path in sorted(p for p in (ROOT / "src").rglob("*") if p.suffix in (".cpp", ".h")):
        name = str(path.relative_to(ROOT))
        SOURCES[name] = path.read_text()
        offset = 0
        for number, line in enumerate(SOURCES[name].splitlines(keepends=True), 1):
            indent = len(line) - len(line.lstrip())
            lines.setdefault(line.strip(), []).append((name, number, offset + indent))
            offset += len(line)
    found = []
    for _, name, number, text, column, old, new in earlier:
        places = lines.get(text, [])
        namesakes = [p for p in places if pathlib.Path(p[0]).name == pathlib.Path(name).name]
        if namesakes:
            place = min(namesakes, key=lambda p: abs(p[1] - number))
        elif len(places) == 1:
            place = places[0]
        else:
            found.append(None)
            continue
        found.append(("replayed", place[0], place[2] + column, old, new))
    return found


def replay(workers, earlier, mutants, record):
    """Judges earlier mutants again, and prints how their verdicts have changed."""
    kept = [(was, mutant) for (was, *_), mutant in zip(earlier, mutants) if mutant]

    def report(position, mutant, verdict, seconds):
        record(mutant, verdict, seconds, " (was caught)" if kept[position][0] else " (had survived)")

    verdicts = judge_all(workers, [mutant for _, mutant in kept], report)
    groups = {}
    for (was, mutant), verdict in zip(kept, verdicts):
        if verdict == "no mutant":
            key = "no longer compile"
        else:
            key = (f"{'caught' if was else 'survived'} before, "
                   f"{'caught' if verdict else 'survive'} now")
        groups.setdefault(key, []).append(mutant)
    print(f"\nearlier mutants: {len(earlier)}")
    gone = [entry for entry, mutant in zip(earlier, mutants) if not mutant]
    print(f"gone, their line no longer exists: {len(gone)} (of which caught before: "
          f"{sum(entry[0] for entry in gone)})")
    for key in ("caught before, caught now", "survived before, caught now",
                "survived before, survive now", "no longer compile", "caught before, survive now"):
        print(f"{key}: {len(groups.get(key, []))}")
    for mutant in groups.get("caught before, survive now", []):
        print(f"caught before, survives now: {describe(mutant)}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--count", type=int, default=330, help="mutants that compile (%(default)s)")
    parser.add_argument("--seed", type=int, default=1, help="seed of the random choice (%(default)s)")
    parser.add_argument("--only", default="src/*/*", help="pattern of source files (%(default)s)")
    parser.add_argument("--workers", type=int, default=os.cpu_count(), help="copies of the tree")
    parser.add_argument("--record", metavar="FILE", help="write each verdict here, one line of JSON each")
    parser.add_argument("--replay", metavar="FILE",
                        help="judge the mutants of an earlier run again; its output or its --record file")
    arguments = parser.parse_args()

    if arguments.replay:
        earlier = read_earlier(arguments.replay)
        order = find_again(earlier)
        found = sum(mutant is not None for mutant in order)
        print(f"{len(earlier)} earlier mutants, {found} found again; ", end="")
    else:
        order = draw(arguments.seed, arguments.only)
        print(f"{len(order)} possible mutants; ", end="")
    print(f"preparing {arguments.workers} copies of the tree", flush=True)
    workers = [Worker(number) for number in range(arguments.workers)]
    for worker in workers:
        if not worker.prepare():
            sys.exit("the tree does not build, or its tests fail before anything has been changed")
    record = Record(arguments.record)
    if arguments.replay:
        replay(workers, earlier, order, record)
    else:
        check(workers, order, arguments.count, record)


if __name__ == "__main__":
    main()
