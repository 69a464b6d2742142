"""Feature mean and projection tables: which differences between features indicate different people.

The score of two templates a and b is, with q for the quadratic terms and |a| for the lengths,

    (2 a.b - (q_a + q_b)) / (|a| |b|) + 1.

Two-covariance model: a feature vector is the sum of a part of the person, with covariance B between
people, and a part of the photograph, with covariance W within a person. In coordinates where W is the
identity and B is diagonal with values v, the log-likelihood ratio of two vectors x and y, of the same
person against different people, is up to a constant and a factor of 1/2

    2 sum p x y - sum m (x x + y y),   p = v / (1 + 2 v),   m = v v / ((1 + v) (1 + 2 v)).

That is the numerator above with a = sqrt(p) x from table "6-2" and q = |sqrt(m) x|^2 from table
"6-1". So both tables have the same rows, with different factors.

The lengths in the denominator distort the ratio if templates differ in length. One more row gives all
templates a coordinate that is nearly the same for every face: the feature mean is moved along a
direction in which features hardly vary, and the row projects onto it. The coordinate cancels in the
numerator, where 2 a.b and q_a + q_b both contain its square twice; the lengths get closer to each
other.
"""

from dataclasses import dataclass

import numpy as np

from trainer.problems import TrainingProblem

ROWS = 500

# Added to all variances within people, as a fraction of the largest. It bounds the weight of directions
# in which the few photographs happen not to vary.
RIDGE = 1e-3

# The coordinate that all templates share; the other ones form a vector of length 1 on average.
SHARED = 1.0

# How far the feature mean is moved for it, in standard deviations of features along that direction.
SHIFT = 100.0

# Directions whose ratio of variances, between people to within, is below this are left out.
SMALLEST_VALUE = 1e-3


@dataclass(frozen=True)
class Tables:
    mean: np.ndarray       # 8000
    rows: np.ndarray       # directions x 8000, of which both tables are multiples; the shared one last
    values: np.ndarray     # v of each direction but the shared one, descending
    components: int        # principal components that the directions come from
    left_out: int          # directions whose v is too small or negative

    def factors(self) -> tuple[np.ndarray, np.ndarray]:
        """The factor of each row, for table "6-1" and for table "6-2"."""
        v = self.values
        a = np.sqrt(v * v / ((1 + v) * (1 + 2 * v)))
        b = np.sqrt(v / (1 + 2 * v))
        return (np.append(a, SHARED).astype(np.float32), np.append(b, SHARED).astype(np.float32))

    def table_a(self) -> np.ndarray:
        return self._table(self.factors()[0])

    def table_b(self) -> np.ndarray:
        return self._table(self.factors()[1])

    def _table(self, factors: np.ndarray) -> np.ndarray:
        table = np.zeros((ROWS, self.rows.shape[1]), np.float32)
        table[:len(factors)] = factors[:, None] * self.rows
        return table


def principal_components(centred: np.ndarray, count: int, seed: int) -> np.ndarray:
    """The `count` directions of largest variance, as columns, by subspace iteration."""
    size = min(count + 30, *centred.shape)
    rng = np.random.default_rng(seed)
    basis = rng.standard_normal((centred.shape[1], size)).astype(np.float32)
    for _ in range(8):
        basis, _ = np.linalg.qr(centred.T @ (centred @ basis))
    _, _, turn = np.linalg.svd(centred @ basis, full_matrices=False)
    return basis @ turn[:count].T


def covariances(vectors: np.ndarray, labels: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
    """Between people and within a person, unbiased for any numbers of photographs."""
    people = int(labels.max()) + 1
    counts = np.bincount(labels, minlength=people).astype(np.float64)
    sums = np.zeros((people, vectors.shape[1]))
    np.add.at(sums, labels, vectors)
    means = sums / counts[:, None]
    rest = vectors - means[labels]
    within = rest.T @ rest / (len(vectors) - people)
    spread = means - means.mean(axis=0)
    between = spread.T @ spread / (people - 1) - within * np.mean(1 / counts)
    return between, within


def fit_tables(features: np.ndarray, labels: np.ndarray, components: int, seed: int = 1,
               likeness: float = 1.0) -> Tables:
    """From photographs x 8000 features, which are concatenated unit vectors of 160.

    With a `likeness` above 1, people are taken to be as many times more alike than these, against how much their
    photographs differ. Drawn people differ more than people do, and a threshold that was found on them holds
    better elsewhere.
    """
    people = int(labels.max()) + 1
    if people < 2 or len(labels) - people < 2:
        raise TrainingProblem("the tables need at least two people with several photographs")
    mean = features.mean(axis=0, dtype=np.float64).astype(np.float32)
    centred = (features - mean).astype(np.float32)
    count = min(components, ROWS - 1, len(features) - people, features.shape[1] - 1)
    basis = principal_components(centred, count, seed).astype(np.float64)
    between, within = covariances((centred @ basis.astype(np.float32)).astype(np.float64), labels)

    spread, turn = np.linalg.eigh(within)
    whiten = turn / np.sqrt(spread.clip(min=0) + RIDGE * spread[-1])
    values, directions = np.linalg.eigh(whiten.T @ between @ whiten)
    values = values / likeness
    order = np.argsort(values)[::-1]
    useful = order[values[order] > SMALLEST_VALUE]
    rows = (basis @ whiten @ directions[:, useful]).T
    # The score does not depend on a common factor: templates get length 1, without the shared row.
    size = template_size(values[useful], centred @ rows.T.astype(np.float32))
    shared = _quiet_direction(basis, seed)
    shift = SHIFT * np.std(centred @ shared.astype(np.float32))
    rows = np.vstack([rows / size, shared / shift]).astype(np.float32)
    return Tables(mean - (shift * shared).astype(np.float32), rows, values[useful], count,
                  count - len(useful))


def template_size(values: np.ndarray, vectors: np.ndarray) -> float:
    """The root mean square of the lengths of templates, without the shared row."""
    return float(np.sqrt(np.mean(np.sum(values / (1 + 2 * values) * np.square(vectors), axis=1))))


def _quiet_direction(basis: np.ndarray, seed: int) -> np.ndarray:
    """A unit vector along which features hardly vary: orthogonal to all principal components."""
    direction = np.random.default_rng(seed).standard_normal(len(basis))
    direction -= basis @ (basis.T @ direction)
    return direction / np.linalg.norm(direction)


@dataclass(frozen=True)
class ModelTables:
    """As the files of a model have them."""
    mean: np.ndarray       # 8000
    a: np.ndarray          # 500 x 8000, "6-1"
    b: np.ndarray          # 500 x 8000, "6-2"

    @classmethod
    def of(cls, tables: Tables) -> "ModelTables":
        return cls(tables.mean, tables.table_a(), tables.table_b())

    def scores(self, left: np.ndarray, right: np.ndarray) -> np.ndarray:
        """Every row of features `left` against every row of `right`."""
        used = np.flatnonzero(self.a.any(axis=1) | self.b.any(axis=1))
        for_q, for_a = self.a[used].T, self.b[used].T

        def templates(features):
            centred = features - self.mean
            a = centred @ for_a
            return a, np.square(centred @ for_q).sum(axis=1), np.linalg.norm(a, axis=1)

        a, qa, na = templates(left)
        b, qb, nb = templates(right)
        return (2 * (a @ b.T) - qa[:, None] - qb[None]) / (na[:, None] * nb[None]) + 1


def with_mean(tables: ModelTables, features: np.ndarray) -> ModelTables:
    """The tables with the mean of these features, so that only the coordinate that all templates share is left of
    their mean. It is the row that both tables have."""
    mean = features.mean(axis=0, dtype=np.float64)
    for row, other in zip(tables.a, tables.b):
        if row.any() and np.array_equal(row, other):
            mean -= row / np.square(row.astype(np.float64)).sum()
    return ModelTables(mean.astype(np.float32), tables.a, tables.b)


def _model_of(tables: ModelTables) -> tuple[np.ndarray, np.ndarray, np.ndarray]:
    """The rows in which the covariance within a person is the identity, v of each, and the shared row."""
    used = np.flatnonzero(tables.a.any(axis=1) | tables.b.any(axis=1))
    a, b = tables.a[used].astype(np.float64), tables.b[used].astype(np.float64)
    is_shared = (a == b).all(axis=1)
    shared, a, b = b[is_shared], a[~is_shared], b[~is_shared]
    ratio = (a * b).sum(axis=1) / np.maximum(np.square(b).sum(axis=1), 1e-30)
    if len(shared) != 1 or not np.allclose(a, ratio[:, None] * b, atol=1e-4 * np.abs(b).max()) or not (
            (ratio > 0) & (ratio < 1)).all():
        raise TrainingProblem("the tables of the model are not of the form that is fitted here")
    values = np.square(ratio) / (1 - np.square(ratio))
    return b / np.sqrt(values / (1 + 2 * values))[:, None], values, shared[0]


def refit_tables(tables: ModelTables, features: np.ndarray, labels: np.ndarray, weight: float) -> ModelTables:
    """Tables for other people, in the coordinates of the model.

    A few people do not determine two covariances. So those of the model count as if `weight` photographs and
    people had shown them, each at the scale of the features given.
    """
    people = int(labels.max()) + 1
    if people < 2 or len(labels) - people < 2:
        raise TrainingProblem("the tables need at least two people with several photographs")
    rows, values, shared = _model_of(tables)
    mean = with_mean(tables, features)
    centred = features - features.mean(axis=0, dtype=np.float64)
    vectors = centred @ rows.T
    between, within = covariances(vectors, labels)
    usual_within = np.eye(len(rows)) * np.trace(within) / len(rows)
    usual_between = np.diag(values) * max(np.trace(between) / values.sum(), SMALLEST_VALUE)
    seen, met = len(labels) - people, people - 1
    within = (weight * usual_within + seen * within) / (weight + seen)
    between = (weight * usual_between + met * between) / (weight + met)
    spread, turn = np.linalg.eigh(within)
    whiten = turn / np.sqrt(spread)
    values, directions = np.linalg.eigh(whiten.T @ between @ whiten)
    useful = np.argsort(values)[::-1]
    useful = useful[values[useful] > SMALLEST_VALUE]
    turned = (whiten @ directions[:, useful]).T
    rows = turned @ rows / template_size(values[useful], vectors @ turned.T)
    fitted = Tables(mean.mean, np.vstack([rows, shared / SHARED]).astype(np.float32), values[useful],
                    len(values), len(values) - len(useful))
    return ModelTables.of(fitted)


def scores(tables: Tables, left: np.ndarray, right: np.ndarray) -> np.ndarray:
    """Every row of features `left` against every row of `right`."""
    return ModelTables.of(tables).scores(left, right)
