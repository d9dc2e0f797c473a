# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""What was measured: one number for each thing and run, and what can be said of several runs."""

import json
from collections.abc import Iterator
from dataclasses import dataclass
from statistics import median

Labels = tuple[tuple[str, str], ...]


class Failure(Exception):
    """Something that keeps the figures from being complete."""


@dataclass(frozen=True)
class Key:
    """What a number is about."""

    figure: str
    labels: Labels

    @classmethod
    def of(cls, figure: str, **labels: str) -> "Key":
        return cls(figure, tuple(sorted(labels.items())))

    def __getitem__(self, label: str) -> str:
        return dict(self.labels)[label]

    def has(self, **labels: str) -> bool:
        return set(labels.items()) <= set(self.labels)

    def __str__(self) -> str:
        return ", ".join([self.figure, *(f"{name} {value}" for name, value in self.labels)])


@dataclass(frozen=True)
class Number:
    """The median of what one run of a program found."""

    value: float
    unit: str


Run = dict[Key, Number]


@dataclass(frozen=True)
class Spread:
    """The median of some runs, the lowest and the highest of them."""

    middle: float
    low: float
    high: float

    @classmethod
    def of(cls, values: list[float]) -> "Spread":
        if not values:
            raise Failure("there are no values")
        return cls(median(values), min(values), max(values))

    def times(self, factor: float) -> "Spread":
        return Spread(self.middle * factor, self.low * factor, self.high * factor)


def read_series(text: str, **labels: str) -> Run:
    """What a program printed: a series in each line. These labels are added."""
    run: Run = {}
    for number, line in enumerate(text.splitlines(), 1):
        try:
            series = json.loads(line)
            values = [float(value) for value in series["values"]]
            key = Key.of(series["figure"], **series["labels"], **labels)
            unit = str(series["unit"])
        except (ValueError, KeyError, TypeError) as error:
            raise Failure(f"line {number} is no series ({error!r}): {line}") from None
        if not values:
            raise Failure(f"line {number} has no values: {line}")
        if key in run:
            raise Failure(f"line {number} is there twice: {line}")
        run[key] = Number(median(values), unit)
    return run


class Results:
    """Some runs, each of which measured all."""

    def __init__(self, runs: list[Run]) -> None:
        if not runs:
            raise Failure("there are no runs")
        for run in runs[1:]:
            if missing := runs[0].keys() ^ run.keys():
                raise Failure(f"not measured in each run: {sorted(map(str, missing))[0]}")
        self._runs = runs

    @property
    def count(self) -> int:
        return len(self._runs)

    def keys(self, figure: str, **labels: str) -> list[Key]:
        """In the order in which they were measured."""
        return [key for key in self._runs[0] if key.figure == figure and key.has(**labels)]

    def choices(self, label: str, figure: str, **labels: str) -> list[str]:
        """What this label says among these."""
        return list(dict.fromkeys(key[label] for key in self.keys(figure, **labels)))

    def key(self, figure: str, **labels: str) -> Key:
        """The only one of these."""
        found = self.keys(figure, **labels)
        if len(found) != 1:
            raise Failure(f"{len(found)} numbers for {Key.of(figure, **labels)}")
        return found[0]

    def unit(self, key: Key) -> str:
        return self._runs[0][key].unit

    def values(self, key: Key) -> list[float]:
        return [run[key].value for run in self._runs]

    def spread(self, key: Key) -> Spread:
        return Spread.of(self.values(key))

    def ratio(self, above: Key, below: Key) -> Spread:
        """Formed in each run, for what disturbs a run disturbs both."""
        if 0 in self.values(below):
            raise Failure(f"this is 0: {below}")
        return Spread.of([one / other for one, other in zip(self.values(above), self.values(below))])

    def all_keys(self) -> Iterator[Key]:
        yield from self._runs[0]
