"""Flow charts of the documents, in the notation of Mermaid, as SVG: Graphviz draws them.

Understood is what the documents use: `flowchart TD` or `LR`, nodes with text in [box], [(table)], ([end])
and {question}, and edges -->, -- words --> and -. words .->, several in one line.
"""

from __future__ import annotations

import re
import subprocess

SHAPES = {
    "([": 'shape=box, style="rounded,filled"',
    "[(": "shape=cylinder, style=filled",
    "[": "shape=box, style=filled",
    "{": "shape=diamond, style=filled",
}
STYLE = """
bgcolor="transparent"; nodesep=0.3; ranksep=0.45;
node [fontname="DejaVu Sans", fontsize=11, fillcolor="#eef1fb", color="#5468b5", fontcolor="#20242e"];
edge [fontname="DejaVu Sans", fontsize=10, color="#7a86b8", fontcolor="#7a86b8"];
"""
NODE = re.compile(r"(\w+)(?:(\(\[|\[\(|\[|\{)(.*?)(?:\]\)|\)\]|\]|\}))?")
EDGE = re.compile(r"\s*(-->|-- (.+?) -->|-\.->|-\. (.+?) \.->)\s*")
WIDTH = 34  # characters of a line in a node


def drawn(chart: str) -> str:
    """The SVG element of a flow chart; ValueError for a line that is not understood."""
    lines = [line.strip() for line in chart.strip().split("\n")]
    head = re.fullmatch(r"flowchart (TD|LR)", lines[0])
    if not head:
        raise ValueError(f"no flow chart: {lines[0]}")
    nodes: dict[str, str] = {}
    edges: list[str] = []
    for line in lines[1:]:
        read_line(line, nodes, edges)
    dot = f"digraph {{ rankdir={head[1].replace('TD', 'TB')}; {STYLE}\n"
    dot += "\n".join([*(f"{name} [{how}];" for name, how in nodes.items()), *edges]) + "\n}\n"
    svg = subprocess.run(["dot", "-Tsvg"], input=dot, capture_output=True, text=True, check=True)
    return svg.stdout[svg.stdout.index("<svg") :]


def read_line(line: str, nodes: dict[str, str], edges: list[str]) -> None:
    place = 0
    before: str | None = None
    how = ""
    while True:
        node = NODE.match(line, place)
        if not node:
            raise ValueError(f"no node: {line[place:]}")
        name, bracket, text = node.groups()
        if bracket or name not in nodes:
            nodes[name] = f'{SHAPES[bracket or "["]}, label="{wrapped(text or name)}"'
        if before:
            edges.append(f"{before} -> {name} [{how}];")
        place = node.end()
        if place == len(line):
            return
        edge = EDGE.match(line, place)
        if not edge:
            raise ValueError(f"no edge: {line[place:]}")
        words = edge[2] or edge[3] or ""
        how = f'label=" {words} "' + (", style=dashed" if edge[1].startswith("-.") else "")
        before, place = name, edge.end()


def wrapped(text: str) -> str:
    lines = [""]
    for word in text.replace('"', "'").split():
        if lines[-1] and len(lines[-1]) + len(word) >= WIDTH:
            lines.append("")
        lines[-1] += (" " if lines[-1] else "") + word
    return "\\n".join(lines)
