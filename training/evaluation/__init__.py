"""Error rates of scores, and pictures of them."""
