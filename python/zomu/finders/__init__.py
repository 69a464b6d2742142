"""Finds faces and their 25 landmarks in pictures. The library itself finds none.

>>> from zomu import finders
>>> face = finders.find_faces(picture, finders.finder_named("mesh"))[0]
>>> template = context.extract(picture, face.landmarks)

A finder is anything that can be called with a picture and gives faces. The one that comes with the package,
"mesh", runs two small networks with NumPy alone, on the thread that calls, without a network connection.
"""

from ._face import Face, Finder, FinderError, find_faces
from ._names import finder_named

__all__ = ["Face", "Finder", "FinderError", "find_faces", "finder_named"]
