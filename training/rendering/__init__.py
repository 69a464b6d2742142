"""Draws photographs of people who do not exist, with their landmarks."""
