"""How long to measure."""
from dataclasses import dataclass


@dataclass(frozen=True)
class Effort:
    """rounds: runs of each kind, of long_rounds for pieces whose runs take seconds. share: which part of the usual work a run does.
    threads: at most so many."""
    rounds: int
    long_rounds: int
    share: float
    threads: int = 1000

    def times(self, usual, least=1):
        return max(least, int(usual * self.share))


FULL = Effort(rounds=9, long_rounds=3, share=1)
QUICK = Effort(rounds=3, long_rounds=1, share=0.2)
SMOKE = Effort(rounds=1, long_rounds=1, share=0.01, threads=100)
