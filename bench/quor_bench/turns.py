"""The order of runs, and what is made of their results."""
import statistics


def order(kinds, rounds):
    """Each kind once a round, and each round begun by another, so that whatever else goes on in the machine meets all alike."""
    kinds = list(kinds)
    return [kinds[(place + begin) % len(kinds)] for begin in range(rounds) for place in range(len(kinds))]


def alternate(measures, rounds):
    """Runs the functions of a dictionary by turns. Each gives {row: number}; the result is {row: {kind: [number of each run]}}."""
    samples = {}
    for kind in order(measures, rounds):
        for row, value in measures[kind]().items():
            samples.setdefault(row, {}).setdefault(kind, []).append(value)
    return samples


def median(values):
    return statistics.median(values)


def ratio(row, kind, base):
    """How many times `base` the kind takes, by their medians; None when one was not measured or the base is nothing."""
    if not row.get(kind) or not row.get(base) or median(row[base]) <= 0:
        return None
    return median(row[kind]) / median(row[base])


def middle(values):
    """Where the middle half of the runs lies: (low, high)."""
    if len(values) < 3:
        return min(values), max(values)
    low, _, high = statistics.quantiles(values, n=4, method="inclusive")
    return low, high


def overlap(row, kind, base, limit):
    """Whether the middle half of the kind's runs reaches down to that of `limit` times the base."""
    return middle(row[kind])[0] <= limit * middle(row[base])[1]
