"""What goes wrong for a reason that one line can say."""


class TrainingProblem(Exception):
    """The text is the line to print."""
