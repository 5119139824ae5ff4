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
