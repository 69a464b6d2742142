"""What a face does in one photograph."""

import numpy as np

from rendering.head_mesh import head_mesh


def draw_expression(rng: np.random.Generator) -> dict[str, float]:
    """The weights of the expression's targets; gaze is added by who knows the camera."""
    weights: dict[str, float] = {}

    def put(name, value, sides=True):
        """The same on both sides but for a little."""
        if value <= 0.01:
            return
        for side in ("Left", "Right") if sides else ("",):
            own = float(np.clip(value * (1 + (rng.normal(0, 0.12) if sides else 0)), 0, 1))
            weights[name + side] = min(1.0, weights.get(name + side, 0) + own)

    kind = rng.random()
    smile = abs(rng.normal(0, 0.2)) if kind < 0.4 else rng.uniform(0.3, 1.0) if kind < 0.9 else 0
    put("mouthSmile", smile)
    put("cheekSquint", smile * rng.uniform(0, 0.7))
    put("eyeSquint", smile * rng.uniform(0, 0.5))
    if smile > 0.35 and rng.random() < 0.8:
        put("mouthUpperUp", smile * rng.uniform(0.5, 1.2))
        put("mouthLowerDown", smile * rng.uniform(0.3, 0.9))
        put("jawOpen", smile * rng.uniform(0, 0.3), False)
    if rng.random() < 0.3:
        put("jawOpen", rng.uniform(0.03, 0.5) ** 1.3, False)
    if rng.random() < 0.12:
        put("mouthFunnel", rng.uniform(0, 0.5), False)
    if rng.random() < 0.12:
        put("mouthPucker", rng.uniform(0, 0.6), False)
    if rng.random() < 0.2:
        put("mouthFrown", rng.uniform(0, 0.6))
    if rng.random() < 0.15:
        put("mouthPress", rng.uniform(0, 0.8))
    if rng.random() < 0.1:
        put("mouthStretch", rng.uniform(0, 0.5))
    if rng.random() < 0.12:
        put("mouthShrugLower", rng.uniform(0, 0.6), False)
    if rng.random() < 0.1:
        put("mouthRollLower", rng.uniform(0, 0.5), False)
    brows = rng.normal(0, 0.35)
    if brows > 0:
        put("browInnerUp", brows * rng.uniform(0.3, 1), False)
        put("browOuterUp", brows * rng.uniform(0.3, 1))
        put("eyeWide", brows * rng.uniform(0, 0.7))
    else:
        put("browDown", -brows)
    put("eyeSquint", max(0.0, rng.normal(0, 0.22)))
    put("eyeBlink", max(0.0, rng.normal(0.02, 0.12)) if rng.random() > 0.04 else rng.uniform(0.5, 1))
    if rng.random() < 0.15:
        put("noseSneer", rng.uniform(0, 0.6))
    if rng.random() < 0.08:
        put("cheekPuff", rng.uniform(0, 0.5), False)
    for title in ("jawLeft", "jawRight", "mouthLeft", "mouthRight", "jawForward", "mouthShrugUpper"):
        if rng.random() < 0.1:
            put(title, rng.uniform(0, 0.35), False)
    return weights


def look(weights: dict[str, float], across: float, down: float) -> None:
    """Lids that follow a gaze; `across` to the right of the picture, `down`, both in radians."""
    for side, sign in (("Left", 1), ("Right", -1)):
        inwards = -sign * across
        weights[f"eyeLookIn{side}"] = float(np.clip(inwards / 0.6, 0, 1))
        weights[f"eyeLookOut{side}"] = float(np.clip(-inwards / 0.6, 0, 1))
        weights[f"eyeLookDown{side}"] = float(np.clip(down / 0.5, 0, 1))
        weights[f"eyeLookUp{side}"] = float(np.clip(-down / 0.5, 0, 1))


def moved(places: np.ndarray, weights: dict[str, float]) -> np.ndarray:
    places = places.copy()
    for name, weight in weights.items():
        title = f"expression/{name}"
        if weight > 0.01 and title in head_mesh().rows:
            head_mesh().add(places, title, weight)
    return places


def aged(places: np.ndarray, rng: np.random.Generator) -> np.ndarray:
    """The same head in another year: a little heavier or lighter, older or younger."""
    places = places.copy()
    for name, spread in (("fat", 0.14), ("age", 0.12)):
        value = float(np.clip(rng.normal(0, spread), -0.4, 0.4))
        head_mesh().add(places, f"head/head-{name}-{'incr' if value > 0 else 'decr'}", abs(value))
    return head_mesh().centred(places)
