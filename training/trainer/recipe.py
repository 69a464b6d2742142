"""How networks are trained: the settings of one training."""

from dataclasses import dataclass, fields, replace

from trainer.chance import Chance
from trainer.problems import TrainingProblem


@dataclass(frozen=True)
class Recipe(Chance):
    """With the chance that changes patches."""
    epochs: int = 14
    batch: int = 128
    rate: float = 0.015      # the highest of the cycle
    rise: float = 0.25       # share of the cycle in which the rate rises
    decay: float = 0.05
    margin: float = 0.15
    scale: float = 20.0
    smooth: float = 0.0      # share of a label that belongs to everybody
    centres: int = 1         # directions of a person, of which the nearest one counts
    views: int = 1           # photographs of a person that come together in a batch
    pull: float = 0.0        # weight of a second loss, which compares the photographs of a batch
    warmth: float = 0.1      # of its softmax
    drop: float = 0.0        # share of the inputs of the last layer that are left out
    average: float = 0.0     # of the weights over steps: what remains of the average after each
    fit_changes: float = 0.0  # 1: the tables are fitted to changed patches, too
    flat: float = 0.0        # share of the mean image that is one level for all pixels
    settle: float = 0.0      # 1: the last means and variances are those of changed patches
    seed: int = 1


def with_settings(recipe: Recipe, words: list[str]) -> Recipe:
    """The recipe with changes that are written NAME=VALUE."""
    kinds = {field.name: field.type for field in fields(recipe)}
    changes = {}
    for word in words:
        name, _, value = word.partition("=")
        if name not in kinds:
            raise TrainingProblem(f"{word}: no such setting; there are {', '.join(kinds)}")
        try:
            changes[name] = kinds[name](value)
        except ValueError:
            raise TrainingProblem(f"{word}: is not a number") from None
        lowest = 1 if kinds[name] is int and name != "seed" else 0
        if not lowest <= changes[name] < float("inf"):
            raise TrainingProblem(f"{word}: must be at least {lowest}, and finite")
    return replace(recipe, **changes)
