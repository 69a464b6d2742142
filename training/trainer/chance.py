"""Chance in the patches that networks are trained on: whatever differs between photographs of one face.

Rendered photographs vary in less than those of a camera, and networks rely on what does not vary. These
changes are cheap, since they are made to the patches of a batch and not to photographs.
"""

import functools
import math
from dataclasses import dataclass

import numpy as np
import torch
from torch.nn import functional

# A grey level for each of blue, green and red, as in the library.
GREY = np.array([0.114, 0.587, 0.299], np.float32)


@dataclass(frozen=True)
class Chance:
    """Spreads of what is drawn for each patch, and shares of the patches to which something happens."""
    erase: float = 0.3       # share with a hidden rectangle
    rubble: float = 0.0      # share of those rectangles that hold noise instead of one colour
    gain: float = 0.15       # spread of the factor of all values, after the mean image
    shift: float = 0.0       # spread of a shift, in pixels
    size: float = 0.0        # spread of the logarithm of a size
    stretch: float = 0.0     # the same, of the width against the height
    turn: float = 0.0        # spread of a turn, in degrees
    light: float = 0.0       # spread of the logarithm of the light between the middle and an edge
    shadow: float = 0.0      # share with a shadow that has an edge
    gamma: float = 0.0       # spread of the logarithm of an exponent
    contrast: float = 0.0    # spread of the logarithm of a factor around the patch's own mean
    level: float = 0.0       # spread of what is added, in grey levels
    cast: float = 0.0        # spread of the logarithm of a factor of each colour
    grey: float = 0.0        # share of colour patches that lose their colours
    blur: float = 0.0        # share that is blurred
    coarse: float = 0.0      # share that is made smaller, and larger again
    sharp: float = 0.0       # share that is sharpened
    noise: float = 0.0       # highest spread of noise, in grey levels
    grain: float = 0.0       # highest spread of noise with grains of two pixels

    def moves(self) -> bool:
        return max(self.shift, self.size, self.stretch, self.turn) > 0


def _column(values: np.ndarray) -> torch.Tensor:
    """One number for each patch, to be multiplied with patches."""
    return torch.from_numpy(values.astype(np.float32))[:, None, None, None]


def _moved(patches: torch.Tensor, chance: Chance, rng: np.random.Generator) -> torch.Tensor:
    rows, side = len(patches), patches.shape[-1]
    angle = np.radians(rng.normal(0, chance.turn, rows))
    size = np.exp(rng.normal(0, chance.size, rows))
    stretch = np.exp(rng.normal(0, chance.stretch, rows) / 2)
    matrix = np.empty((rows, 2, 3), np.float32)
    matrix[:, 0, 0], matrix[:, 0, 1] = np.cos(angle) * size * stretch, -np.sin(angle) * size
    matrix[:, 1, 0], matrix[:, 1, 1] = np.sin(angle) * size, np.cos(angle) * size / stretch
    matrix[:, :, 2] = rng.normal(0, chance.shift, (rows, 2)) * 2 / side
    places = functional.affine_grid(torch.from_numpy(matrix), list(patches.shape), align_corners=False)
    return functional.grid_sample(patches, places, padding_mode="border", align_corners=False)


def _lit(patches: torch.Tensor, chance: Chance, rng: np.random.Generator) -> torch.Tensor:
    """Light that changes across the patch, and shadows with an edge."""
    rows, side = len(patches), patches.shape[-1]
    way = np.linspace(-1, 1, side, dtype=np.float32)
    x, y = np.tile(way, side), np.repeat(way, side)
    basis = np.stack([x, y, x * y, x * x - 0.33, y * y - 0.33])
    spreads = chance.light * np.array([1, 0.6, 0.5, 0.4, 0.4])
    weights = (rng.normal(0, 1, (rows, len(basis))) * spreads).astype(np.float32)
    field = np.exp(weights @ basis)
    angle = rng.uniform(0, 2 * np.pi, rows)
    edge = rng.normal(0, 0.5, rows)
    softness = rng.uniform(2, 12, rows)
    depth = rng.uniform(0.2, 0.7, rows)
    for row in np.flatnonzero(rng.random(rows) < chance.shadow):
        far = np.cos(angle[row]) * x + np.sin(angle[row]) * y - edge[row]
        field[row] *= 1 - depth[row] / (1 + np.exp(-softness[row] * far))
    return patches * torch.from_numpy(field.astype(np.float32)).view(rows, 1, side, side)


def _toned(patches: torch.Tensor, chance: Chance, rng: np.random.Generator) -> torch.Tensor:
    rows, planes = patches.shape[:2]
    if chance.gamma:
        power = _column(np.exp(rng.normal(0, chance.gamma, rows)))
        patches = 255 * torch.pow(patches.clamp(0, 255) / 255, power)
    if chance.cast and planes == 3:
        casts = np.exp(rng.normal(0, chance.cast, (rows, planes))).astype(np.float32)
        patches = patches * torch.from_numpy(casts)[:, :, None, None]
    if chance.contrast or chance.level:
        middle = patches.mean((1, 2, 3), keepdim=True)
        factor = _column(np.exp(rng.normal(0, chance.contrast, rows)))
        patches = (patches - middle) * factor + middle + _column(rng.normal(0, chance.level, rows))
    return patches


def _blurred(patches: torch.Tensor) -> torch.Tensor:
    """With a spread of a pixel."""
    soft = functional.pad(patches, (2, 2, 2, 2), mode="replicate")
    for _ in range(2):
        soft = (soft[..., :-2] + soft[..., 2:]) / 4 + soft[..., 1:-1] / 2
        soft = (soft[..., :-2, :] + soft[..., 2:, :]) / 4 + soft[..., 1:-1, :] / 2
    return soft


def _softened(patches: torch.Tensor, chance: Chance, rng: np.random.Generator) -> torch.Tensor:
    """Blurred, coarser or sharpened: the patch and a coarser form of it, mixed."""
    rows, side = len(patches), patches.shape[-1]
    kind = rng.random(rows)
    share = rng.uniform(0.3, 1.0, rows)
    sharper = -rng.uniform(0.2, 1.0, rows)
    blurred = kind < chance.blur
    coarse = ~blurred & (kind < chance.blur + chance.coarse)
    sharp = ~blurred & ~coarse & (kind < chance.blur + chance.coarse + chance.sharp)
    mixes = np.where(sharp, sharper, share)
    chosen = np.flatnonzero(blurred | sharp)
    if len(chosen):
        part = patches[chosen]
        patches[chosen] = part + (_blurred(part) - part) * _column(mixes[chosen])
    chosen = np.flatnonzero(coarse)
    if len(chosen):
        small = int(rng.integers(side // 3, round(0.8 * side)))
        part = functional.interpolate(patches[chosen], small, mode="area")
        patches[chosen] = functional.interpolate(part, side, mode="bilinear", align_corners=False)
    return patches


@functools.cache
def _stored_noise() -> torch.Tensor:
    return torch.from_numpy(np.random.default_rng(1).standard_normal(1 << 22, np.float32))


def _noise(shape: tuple[int, ...], rng: np.random.Generator) -> torch.Tensor:
    """A random piece of noise that was drawn once, since numbers take longer to draw than all other changes."""
    count = math.prod(shape)
    start = int(rng.integers(len(_stored_noise()) - count))
    return _stored_noise()[start:start + count].view(shape)


def _noisy(patches: torch.Tensor, chance: Chance, rng: np.random.Generator) -> torch.Tensor:
    rows, planes, side, _ = patches.shape
    # Grey photographs have grey noise; that of a colour photograph is alike in all colours for the most part.
    if chance.noise:
        patches = patches + _noise((rows, 1, side, side), rng) * _column(rng.uniform(0, chance.noise, rows))
    if chance.grain:
        half = side // 2 + 1
        noise = _noise((rows, planes, half, half), rng)
        noise = functional.interpolate(noise, 2 * half, mode="bilinear", align_corners=False)
        patches = patches + noise[:, :, :side, :side] * _column(rng.uniform(0, chance.grain, rows))
    return patches


def changed(patches: np.ndarray, chance: Chance, rng: np.random.Generator) -> torch.Tensor:
    """From bytes, rows x planes x side x side, to grey levels from 0 to 255. Margins, which hold 0, keep it."""
    values = torch.from_numpy(np.array(patches, np.float32))
    if chance.moves():
        values = _moved(values, chance, rng)
    inside = (values != 0).any(1, keepdim=True)
    if chance.light or chance.shadow:
        values = _lit(values, chance, rng)
    values = _toned(values, chance, rng)
    if chance.grey and values.shape[1] == 3:
        chosen = np.flatnonzero(rng.random(len(values)) < chance.grey)
        grey = torch.einsum("npyx,p->nyx", values[chosen], torch.from_numpy(GREY))
        values[chosen] = grey[:, None].expand(-1, 3, -1, -1)
    if chance.blur or chance.coarse or chance.sharp:
        values = _softened(values.contiguous(), chance, rng)
    if chance.noise or chance.grain:
        values = _noisy(values, chance, rng)
    return values.clamp_(0, 255) * inside


def hide_rectangles(batch: torch.Tensor, chance: Chance, rng: np.random.Generator) -> None:
    """In the units of a network's input."""
    side = batch.shape[-1]
    for row in np.flatnonzero(rng.random(len(batch)) < chance.erase):
        h, w = rng.integers(side // 6, side // 2, 2)
        y, x = rng.integers(0, side - h), rng.integers(0, side - w)
        batch[row, :, y:y + h, x:x + w] = float(rng.normal(0, 0.7))
        if chance.rubble and rng.random() < chance.rubble:
            spread = rng.uniform(0.1, 0.8)
            noise = rng.standard_normal((batch.shape[1], h, w), np.float32) * np.float32(spread)
            batch[row, :, y:y + h, x:x + w] += torch.from_numpy(noise)
