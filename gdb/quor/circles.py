"""Circles of those who wait for each other. Needs no gdb."""


def circles(waits):
    """`waits`: {who: whom}; each waits for one at most. A list of circles, each beginning with its least member."""
    found, seen = [], set()
    for begin in sorted(waits):
        path = []
        each = begin
        while each in waits and each not in seen:
            seen.add(each)
            path.append(each)
            each = waits[each]
        if each in path:
            circle = path[path.index(each):]
            least = circle.index(min(circle))
            found.append(circle[least:] + circle[:least])
    return found
