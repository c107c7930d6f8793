"""Distributes items over workers, a few at a time, and yields each answer as it arrives."""

from collections import deque
from collections.abc import Iterator
from concurrent.futures import FIRST_COMPLETED, CancelledError, Future, ThreadPoolExecutor, wait
from typing import Any

from repositories.workers import Ask, Cluster, Threads

IN_FLIGHT_PER_THREAD = 2  # one in progress, one queued
MAX_BATCH = 64
READ_AHEAD = 1_000

type Answer = dict[str, Any]


class Answers:
    """The answers of workers to one question about many items."""

    def __init__(self, workers: Threads | Cluster, ask: Ask) -> None:
        """``ask`` answers at least the first item of a batch; the rest is submitted again."""
        self._workers = workers
        self._ask = ask
        self._waiting: deque[str] = deque()
        self._suspects: deque[str] = deque()  # of lost workers; submitted one by one at the end
        self._in_flight: dict[Future[list[Answer]], list[str]] = {}
        self._size = 1
        self._one_by_one = False

    def about(self, chunks: Iterator[list[str]]) -> Iterator[Answer]:
        """An answer for each item of each chunk; ConnectionError if the scheduler is gone."""
        read = ThreadPoolExecutor(1).submit  # answers do not wait for a slow source
        more, reading = True, None
        while more or self._waiting or self._suspects or self._in_flight:
            if more and reading is None and len(self._waiting) < READ_AHEAD:
                reading = read(next, chunks, None)
            self._submit(is_last=not more)
            futures = {*self._in_flight, reading} - {None}
            done, _ = wait(futures, timeout=1, return_when=FIRST_COMPLETED)
            if reading in done:
                chunk, reading = reading.result(), None
                more = chunk is not None
                self._waiting.extend(chunk or ())
            for future in [each for each in self._in_flight if each in done]:  # oldest first
                yield from self._finish(future)

    def _submit(self, *, is_last: bool) -> None:
        most = IN_FLIGHT_PER_THREAD * max(self._workers.count(), 1)
        while self._waiting and len(self._in_flight) < most:
            size = min(self._size, len(self._waiting))
            self._start([self._waiting.popleft() for _ in range(size)])
        if is_last and self._suspects and not self._in_flight:
            self._one_by_one = True
            self._start([self._suspects.popleft()])

    def _start(self, batch: list[str]) -> None:
        self._in_flight[self._workers.submit(self._ask, batch)] = batch

    def _finish(self, future: Future[list[Answer]]) -> list[Answer]:
        batch = self._in_flight.pop(future)
        try:
            answers = future.result()
        except self._workers.lost as error:
            if self._one_by_one:
                died = f"{error.allowed_failures + 1} workers died while reading it"
                return [{"root": batch[0], "error": died}]
            self._suspects.extend(batch)
            return []
        except (CancelledError, OSError) as error:
            raise ConnectionError("the scheduler is gone") from error
        except Exception as error:  # noqa: BLE001 - for example, the worker cannot import the module
            reason = f"{type(error).__name__}: {error}".partition("\n")[0]
            return [{"root": item, "error": reason} for item in batch]
        rest = batch[len(answers) :]
        self._waiting.extendleft(reversed(rest))
        self._size = len(answers) if rest else min(2 * len(batch), MAX_BATCH)
        return answers
