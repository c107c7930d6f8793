"""Asks the workers of a cluster one question about each of many things, a few at a time."""

import math
import threading
from collections.abc import Callable, Iterable, Iterator
from concurrent.futures import CancelledError
from contextlib import suppress
from enum import Enum
from queue import Empty, Queue, SimpleQueue
from time import monotonic

from cluster import PATIENCE, Answer, Ask
from distributed import Client, Future, KilledWorker

# One batch that a thread works on, and one that it goes on with.
IN_FLIGHT_PER_THREAD = 2
# A batch takes the cluster itself several milliseconds, however many things it is about.
BATCH = 16
READ_AHEAD = 64

type Watch = Callable[[str | None], None]
type Event = Exception | tuple[list[str], Future] | Read


class Read(Enum):
    """That an item was read, or the last of them."""

    ONE = 1
    LAST = 2


def answers(client: Client, items: Iterable[str], ask: Ask, watch: Watch) -> Iterator[Answer]:
    """What ``ask`` gives for each item, as it comes.

    ``ask`` takes a few items and answers at least the first of them; the rest is asked again, as
    is what a worker was asked when it was lost. After several losses an item is asked about
    alone, which shows whether it was to blame.

    ``watch`` is called with None every second, and with a text when there is something to say of
    the workers; what it raises ends the run.

    Raises:
        ConnectionError: The scheduler is gone.
    """
    questions = _Questions(client, ask, watch)
    suspects: list[str] = []
    for batch, future in questions.finished(items):
        try:
            given = _given(batch, future)
        except KilledWorker:
            suspects += batch
            continue
        # What is slow is shared out, so that at the end no worker is left with all of it.
        rest = batch[len(given) :]
        questions.submit(rest[::2])
        questions.submit(rest[1::2])
        yield from given
    for batch, future in _Questions(client, ask, watch, alone=True).finished(suspects):
        try:
            yield from _given(batch, future)
        except KilledWorker as error:
            died = error.allowed_failures + 1
            yield {"root": batch[0], "error": f"{died} workers died of it, one after the other"}


def _given(batch: list[str], future: Future) -> list[Answer]:
    try:
        return future.result()
    except KilledWorker:
        raise
    except (CancelledError, OSError) as error:
        raise ConnectionError("the scheduler is gone") from error
    except Exception as error:  # noqa: BLE001 - it kept a worker from even asking
        reason = f"{type(error).__name__}: {error}".partition("\n")[0]
        return [{"root": item, "error": reason} for item in batch]


class _Questions:
    """Questions in flight, as many as the threads of the workers can take."""

    def __init__(self, client: Client, ask: Ask, watch: Watch, *, alone: bool = False) -> None:
        self._alone = alone
        self._batch = 1  # until the first answer, which nobody is to wait for longer than needed
        self._client = client
        self._ask = ask
        self._watch = watch
        self._threads = 0
        self._looked = -math.inf
        self._last_seen = monotonic()  # that there were workers, or that it was said there are none
        self._in_flight = 0
        self._read: Queue[str] = Queue(maxsize=READ_AHEAD)
        self._events: SimpleQueue[Event] = SimpleQueue()

    def finished(self, items: Iterable[str]) -> Iterator[tuple[list[str], Future]]:
        """The questions about all items, each with what it was about, as they finish."""
        # A thread reads the items, so that answers need not wait for a slow source.
        threading.Thread(target=self._read_all, args=[items], daemon=True).start()
        reading = True
        while reading or self._in_flight or not self._read.empty():
            self._count_threads()
            most = 1 if self._alone else IN_FLIGHT_PER_THREAD * max(self._threads, 1)
            while self._in_flight < most and self.submit(self._next_batch()):
                pass
            with suppress(Empty):
                match self._events.get(timeout=1):
                    case Exception() as error:
                        raise error
                    case (batch, future):
                        self._in_flight -= 1
                        self._batch = 1 if self._alone else BATCH
                        yield batch, future
                    case Read.LAST:
                        reading = False

    def submit(self, batch: list[str]) -> bool:
        """Ask about a batch, if there is anything in it."""
        if batch:
            future = self._client.submit(self._ask, batch, pure=False)
            future.add_done_callback(lambda future: self._events.put((batch, future)))
            self._in_flight += 1
        return bool(batch)

    def _next_batch(self) -> list[str]:
        batch: list[str] = []
        with suppress(Empty):
            while len(batch) < self._batch:
                batch.append(self._read.get_nowait())
        return batch

    def _read_all(self, items: Iterable[str]) -> None:
        try:
            for item in items:
                self._read.put(item)
                self._events.put(Read.ONE)
            self._events.put(Read.LAST)
        except Exception as error:  # noqa: BLE001 - it is raised where the answers are awaited
            self._events.put(error)

    def _count_threads(self) -> None:
        if (now := monotonic()) < self._looked + 1:
            return
        self._looked = now
        self._watch(None)
        try:
            self._threads = sum(self._client.nthreads().values())
        except OSError as error:
            raise ConnectionError("the scheduler is gone") from error
        if cluster := self._client.cluster:
            # A local worker that dies as it starts is given up by its nanny, but not by us.
            if len(cluster.workers) < len(cluster.worker_spec):
                cluster.scale(len(cluster.worker_spec))
        elif self._threads:
            self._last_seen = now
        elif now > self._last_seen + PATIENCE:
            self._last_seen = math.inf
            self._watch("the scheduler has no workers yet; waiting for some")
