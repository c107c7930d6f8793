"""Connects to a cluster of workers, and makes one on this machine where none is named."""

import logging
import os
import signal
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from multiprocessing import resource_tracker
from types import ModuleType
from typing import Any

import cloudpickle
import dask
from distributed import Client, LocalCluster

# A worker has git running or reads what it printed, so one thread keeps a core busy. A second
# one would take 7 % more of the processors for the same rows, four would take 25 %.
THREADS_PER_WORKER = 1
PATIENCE = 10  # seconds, until a scheduler that does not answer is worth a word

type Answer = dict[str, Any]
type Ask = Callable[[list[str]], list[Answer]]


class ByValue:
    """A function that travels with its module's code, pickled once.

    The usual pickle comes first otherwise, and names the module, which only this machine has.
    """

    def __init__(self, function: Ask, module: ModuleType) -> None:
        cloudpickle.register_pickle_by_value(module)
        self._pickled = cloudpickle.dumps(function)

    def __call__(self, batch: list[str]) -> list[Answer]:
        """What a worker does, which gets the function itself."""
        return cloudpickle.loads(self._pickled)(batch)

    def __reduce__(self) -> tuple[Callable[[bytes], Ask], tuple[bytes]]:
        return cloudpickle.loads, (self._pickled,)


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
    # Nobody looks at what a cluster would note about itself all the time.
    spared = {
        "distributed.worker.profile.enabled": False,
        "distributed.admin.tick.interval": "1s",
        "distributed.admin.low-level-log-length": 100,
        "distributed.diagnostics.computations.max-history": 1,
    }
    with (
        dask.config.set(spared),
        LocalCluster(
            n_workers=workers or os.process_cpu_count() or 1,
            threads_per_worker=THREADS_PER_WORKER,
            memory_limit=0,  # nothing is kept in workers, so none need watch how much that is
            dashboard_address=":0",  # without one, its port would be taken by the next cluster
            scheduler_kwargs={"dashboard": False},
            silence_logs=logging.CRITICAL,
        ) as cluster,
    ):
        signal.pthread_sigmask(signal.SIG_SETMASK, unblocked)
        yield cluster
