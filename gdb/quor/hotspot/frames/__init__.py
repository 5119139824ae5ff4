"""The kinds of frames that lie in the code cache, one small class each. Needs no gdb.

A kind's `covers(pc, blob)` tells whether its frames may stand at this pc; that is asked once a pc and stop.
Its `unwind(registers, blob)` gives the Caller, or None when this frame is not of its kind or cannot be told. Kinds are
asked in the order of KINDS; the first that answers counts. A kind whose entries are missing from the tables raises
MissingEntry when it is made, and is left out.
"""
