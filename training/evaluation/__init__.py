"""Error rates of scores, and their plots."""
