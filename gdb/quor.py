"""Java in gdb: `source` this file, at any time; sourcing it again does no harm."""
import os
import sys


def _make_importable():
    # not __file__: that names the outer script when a script sources this one
    folder = os.path.dirname(os.path.abspath(sys._getframe().f_code.co_filename))
    if folder not in sys.path:
        sys.path.insert(0, folder)


_make_importable()

import quor.install  # noqa: E402

quor.install.once()
