"""What a case checks, line by line in its log."""


class CaseFailed(Exception):
    """A check that did not hold, or a wait that did not end."""


class Checks:
    count = 0


def check(condition, text):
    """Fails the case unless the condition holds; `text` says what holds."""
    Checks.count += 1
    print(("ok      " if condition else "NOT SO  ") + text, flush=True)
    if not condition:
        raise CaseFailed(text)


def check_equal(found, expected, text):
    check(found == expected, f"{text}: {found!r}" if found == expected else f"{text}: {found!r}, not {expected!r}")
