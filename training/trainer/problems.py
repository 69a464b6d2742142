"""Errors whose reason fits in one line."""


class TrainingProblem(Exception):
    """The text is the line to print."""
