"""Asks workers about many things, a few at a time, and gives each answer as it comes."""

from collections import deque
from collections.abc import Iterator
from concurrent.futures import FIRST_COMPLETED, CancelledError, Future, ThreadPoolExecutor, wait
from typing import Any

from repositories.workers import Ask, Cluster, Threads

IN_FLIGHT_PER_THREAD = 2  # one that it works on, and one that it goes on with
MOST_TOGETHER = 64
READ_AHEAD = 1_000

type Answer = dict[str, Any]


class Answers:
    """The answers to one question."""

    def __init__(self, workers: Threads | Cluster, ask: Ask) -> None:
        """``ask`` takes a batch and answers at least its first item; the rest is asked again."""
        self._workers = workers
        self._ask = ask
        self._waiting: deque[str] = deque()
        self._suspects: deque[str] = deque()  # asked about one by one at the end
        self._in_flight: dict[Future[list[Answer]], list[str]] = {}
        self._size = 1
        self._alone = False

    def about(self, chunks: Iterator[list[str]]) -> Iterator[Answer]:
        """An answer for each item of each chunk.

        Raises:
            ConnectionError: The scheduler is gone.
        """
        read = ThreadPoolExecutor(1).submit  # so that answers need not wait for a slow source
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
            for future in done & self._in_flight.keys():
                yield from self._answered(future)

    def _submit(self, *, is_last: bool) -> None:
        most = IN_FLIGHT_PER_THREAD * max(self._workers.count(), 1)
        while self._waiting and len(self._in_flight) < most:
            size = min(self._size, len(self._waiting))
            self._ask_about([self._waiting.popleft() for _ in range(size)])
        if is_last and self._suspects and not self._in_flight:
            self._alone = True
            self._ask_about([self._suspects.popleft()])

    def _ask_about(self, batch: list[str]) -> None:
        self._in_flight[self._workers.submit(self._ask, batch)] = batch

    def _answered(self, future: Future[list[Answer]]) -> list[Answer]:
        batch = self._in_flight.pop(future)
        try:
            answers = future.result()
        except self._workers.lost as error:
            if self._alone:
                died = f"{error.allowed_failures + 1} workers died of it, one after the other"
                return [{"root": batch[0], "error": died}]
            self._suspects.extend(batch)
            return []
        except (CancelledError, OSError) as error:
            raise ConnectionError("the scheduler is gone") from error
        except Exception as error:  # noqa: BLE001 - it kept a worker from even asking
            reason = f"{type(error).__name__}: {error}".partition("\n")[0]
            return [{"root": item, "error": reason} for item in batch]
        rest = batch[len(answers) :]
        self._waiting.extendleft(reversed(rest))
        self._size = len(answers) if rest else min(2 * len(batch), MOST_TOGETHER)
        return answers
