"""What a network is trained to make small. All vectors have unit length."""

import torch
from torch.nn import functional

from trainer.recipe import Recipe


def centre_loss(outputs: torch.Tensor, centres: torch.Tensor, labels: torch.Tensor,
                recipe: Recipe) -> torch.Tensor:
    """Softmax over the cosines with the directions of all people, less a margin for the right person.

    `centres` holds recipe.centres directions of each person, one after another.
    """
    cosines = outputs @ functional.normalize(centres).T
    if recipe.centres > 1:
        cosines = cosines.view(len(outputs), -1, recipe.centres).amax(2)
    margins = torch.zeros_like(cosines).scatter_(1, labels[:, None], recipe.margin)
    return functional.cross_entropy(recipe.scale * (cosines - margins), labels,
                                    label_smoothing=recipe.smooth)


def view_loss(outputs: torch.Tensor, labels: torch.Tensor, recipe: Recipe) -> torch.Tensor:
    """Softmax of each photograph over the other ones of the batch; those of the same person are right."""
    own = torch.eye(len(outputs), dtype=torch.bool)
    values = (outputs @ outputs.T / recipe.warmth).masked_fill(own, -1e9)
    right = ((labels[:, None] == labels[None]) & ~own).float()
    chances = functional.log_softmax(values, 1)
    count = right.sum(1)
    return -((chances * right).sum(1) / count.clamp(min=1))[count > 0].mean()
