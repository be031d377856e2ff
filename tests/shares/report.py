"""What the suite found: a line for each case as it ends, and a table at the end."""

import time
from dataclasses import dataclass, field

COLUMNS = (("Case", 34), ("Share", 18), ("Result", 7))


@dataclass
class Result:
    case: str
    share: str
    faults: list = field(default_factory=list)
    figures: list = field(default_factory=list)

    @property
    def passed(self):
        return not self.faults

    def expect(self, holds, fault):
        """Records a fault unless `holds`."""
        if not holds:
            self.faults.append(fault)
        return holds

    def figure(self, text):
        self.figures.append(text)

    def line(self):
        words = (self.case, self.share, "ok" if self.passed else "FAILED")
        cells = "  ".join(word.ljust(width) for word, (_, width) in zip(words, COLUMNS))
        return "  ".join([cells, "; ".join(self.figures)]).rstrip() + "".join(f"\n    {fault}" for fault in self.faults)


class Report:
    def __init__(self, path):
        self._results = []
        self._began = time.monotonic()
        self._file = open(path, "w")

    def _print(self, text):
        print(text, flush=True)
        print(text, file=self._file, flush=True)

    def add(self, result):
        self._results.append(result)
        self._print(f"{time.strftime('%H:%M:%S')}  {result.line()}")

    def end(self):
        """Prints the table; returns whether everything passed."""
        self._print("\n" + "  ".join(title.ljust(width) for title, width in COLUMNS) + "  Figures")
        for result in self._results:
            self._print(result.line())
        failed = sum(not result.passed for result in self._results)
        self._print(f"\n{len(self._results)} cases, {failed} failed, {time.monotonic() - self._began:.0f} s")
        return failed == 0
