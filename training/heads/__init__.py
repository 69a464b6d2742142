"""Heads in three dimensions: people who do not exist, as a camera would see them."""
