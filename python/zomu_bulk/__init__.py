"""Templates of many photographs: `zomu extract-all`, on all processors of this machine or of several.

docs/bulk.md describes it. Its packages are those of the extra: `zomu[bulk]`.
"""
