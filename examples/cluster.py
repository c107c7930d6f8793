"""Asks the workers of a cluster one question about each of many things, a few at a time."""

import logging
import math
import os
import signal
import threading
from collections.abc import Callable, Iterable, Iterator
from concurrent.futures import CancelledError
from contextlib import contextmanager
from functools import partial
from multiprocessing import resource_tracker
from queue import Empty, SimpleQueue
from time import monotonic
from typing import Any

from distributed import Client, Future, KilledWorker, LocalCluster

# While git runs, a worker has nothing to do but wait, so a worker's threads get along.
THREADS_PER_WORKER = 2
# One question that a thread works on, and one that it goes on with.
IN_FLIGHT_PER_THREAD = 2
PATIENCE = 10  # seconds, until a cluster that does not answer or has no workers is worth a word

type Answer = dict[str, Any]
type Ask = Callable[[str], Answer]


@contextmanager
def connected(scheduler: str | None, workers: int | None) -> Iterator[Client]:
    """A client of the scheduler at an address, or of a cluster of processes on this machine.

    Raises:
        ConnectionError: No scheduler answers there.
    """
    if scheduler is None:
        with _local_cluster(workers) as cluster, Client(cluster) as client:
            yield client
        return
    try:
        client = Client(scheduler, timeout=PATIENCE)
    except (OSError, ValueError) as error:
        raise ConnectionError(f"no scheduler at {scheduler}: {error}") from error
    with client:
        yield client


@contextmanager
def _local_cluster(workers: int | None) -> Iterator[LocalCluster]:
    # A terminal sends Ctrl-C to the workers as well. They inherit that it is blocked from the
    # thread that starts them, and it is for the client to end them. Python's resource tracker,
    # started by the first of them, would unblock it there.
    resource_tracker.ensure_running()
    unblocked = signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGINT])
    with LocalCluster(
        n_workers=workers or os.process_cpu_count() or 1,
        threads_per_worker=THREADS_PER_WORKER,
        dashboard_address=None,
        silence_logs=logging.CRITICAL,
    ) as cluster:
        signal.pthread_sigmask(signal.SIG_SETMASK, unblocked)
        yield cluster


def answers(
    client: Client, items: Iterable[str], ask: Ask, warn: Callable[[str], None]
) -> Iterator[Answer]:
    """What ``ask`` gives for each item, as it comes.

    What a worker was asked when it was lost is asked again. After several losses an item is
    asked about alone, which shows whether it was to blame.

    Raises:
        ConnectionError: The scheduler is gone.
    """
    suspects: list[str] = []
    for item, future in _Questions(client, ask, warn).finished(items):
        try:
            yield _answer(item, future)
        except KilledWorker:
            suspects.append(item)
    for item in suspects:
        try:
            yield _answer(item, client.submit(ask, item, pure=False))
        except KilledWorker as error:
            died = error.allowed_failures + 1
            yield {"root": item, "error": f"{died} workers died of it, one after the other"}


def _answer(item: str, future: Future) -> Answer:
    try:
        return future.result()
    except KilledWorker:
        raise
    except (CancelledError, OSError) as error:
        raise ConnectionError("the scheduler is gone") from error
    except Exception as error:  # noqa: BLE001 - it kept a worker from even asking
        return {"root": item, "error": f"{type(error).__name__}: {error}".partition("\n")[0]}


class _Questions:
    """Questions in flight, as many as the threads of the workers can take."""

    def __init__(self, client: Client, ask: Ask, warn: Callable[[str], None]) -> None:
        self._client = client
        self._ask = ask
        self._warn = warn
        self._threads = 0
        self._looked = -math.inf
        self._last_seen = monotonic()  # that there were workers, or that it was said there are none
        self._allowed = threading.Semaphore(0)
        self._places = 0  # taken and allowed ones together
        self._events: SimpleQueue[tuple[str, Future] | int | Exception] = SimpleQueue()

    def finished(self, items: Iterable[str]) -> Iterator[tuple[str, Future]]:
        """The items with their finished questions, in the order in which these finish."""
        # A thread reads the items, so that answers need not wait for a slow source.
        threading.Thread(target=self._submit_all, args=[items], daemon=True).start()
        finished, total = 0, math.inf
        while finished < total:
            self._make_room()
            try:
                event = self._events.get(timeout=1)
            except Empty:
                continue
            if isinstance(event, Exception):
                raise event
            if isinstance(event, int):
                total = event
                continue
            finished += 1
            self._places -= 1
            yield event

    def _submit_all(self, items: Iterable[str]) -> None:
        count = 0
        try:
            for item in items:
                self._allowed.acquire()
                future = self._client.submit(self._ask, item, pure=False)
                future.add_done_callback(partial(self._put, item))
                count += 1
        except Exception as error:  # noqa: BLE001 - it is raised where the answers are awaited
            self._events.put(error)
        else:
            self._events.put(count)

    def _put(self, item: str, future: Future) -> None:
        self._events.put((item, future))

    def _make_room(self) -> None:
        if (now := monotonic()) > self._looked + 1:
            self._looked = now
            self._threads = sum(self._client.nthreads().values())
            if self._threads:
                self._last_seen = now
            elif now > self._last_seen + PATIENCE:
                self._last_seen = math.inf
                self._warn("the scheduler has no workers yet; waiting for some")
        while self._places < IN_FLIGHT_PER_THREAD * max(self._threads, 1):
            self._places += 1
            self._allowed.release()
