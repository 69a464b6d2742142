"""Trains the library's networks and tables on labelled photographs."""
