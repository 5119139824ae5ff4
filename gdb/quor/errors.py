"""The one class of errors that users see: a line that says what is wrong and, where it can be said, what to do."""


class QuorError(Exception):
    """Shown to the user as one line."""
