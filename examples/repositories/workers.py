"""What runs the work: threads of this process, or the workers of a cluster."""

import math
import os
from collections.abc import Callable
from concurrent.futures import ThreadPoolExecutor
from time import monotonic
from types import ModuleType
from typing import Any

from shared.program import ProgramError

DEFAULT_THREADS = min(32, (os.process_cpu_count() or 1) + 4)
PATIENCE = 10  # seconds to wait for a scheduler, and before warning that there are no workers

type Ask = Callable[[list[str]], list[dict[str, Any]]]


class Threads:
    """Threads of this process. Git runs in processes of its own, on all cores."""

    lost = ()

    def __init__(self, number: int) -> None:
        self.submit = ThreadPoolExecutor(number).submit
        self.count = lambda: number


class Cluster:
    """The workers of a dask scheduler; ConnectionError if it does not answer.

    The settings for TLS are dask's own.
    """

    def __init__(self, address: str, warn: Callable[[str], None]) -> None:
        try:
            from distributed import Client, KilledWorker  # noqa: PLC0415 - threads need neither
        except ModuleNotFoundError as error:
            raise ProgramError("--scheduler needs dask: pip install distributed") from error
        # The client's own timeout does not cover every step of its handshake.
        connecting = ThreadPoolExecutor().submit(Client, address, timeout=PATIENCE)
        try:
            self._client = connecting.result(PATIENCE + 1)
        except Exception as error:
            reason = str(error) or f"no answer in {PATIENCE} seconds"
            raise ConnectionError(f"no scheduler at {address}: {reason}") from error
        self.submit = self._client.get_executor(pure=False).submit
        self.lost = (KilledWorker,)
        self._warn = warn
        self._threads = 0
        self._updated = -math.inf
        self._seen = monotonic()  # when there were workers, or the warning that there are none

    def count(self) -> int:
        """How many threads the workers have, updated once a second."""
        if (now := monotonic()) >= self._updated + 1:
            self._updated = now
            ncores = self._client.scheduler.ncores
            try:
                threads = self._client.sync(ncores, workers=None, callback_timeout=PATIENCE)
            except OSError as error:
                raise ConnectionError("the scheduler is gone") from error
            self._threads = sum(threads.values())
            if self._threads:
                self._seen = now
            elif now > self._seen + PATIENCE:
                self._seen = math.inf
                self._warn("the scheduler has no workers yet; waiting for some")
        return self._threads


class ByValue:
    """A callable that is pickled once, with the code of its modules, which workers lack.

    Without this, distributed would first try pickle, which stores only the modules' names.
    """

    def __init__(self, ask: Ask, *modules: ModuleType) -> None:
        import cloudpickle  # noqa: PLC0415 - threads do not need it

        for module in modules:
            cloudpickle.register_pickle_by_value(module)
        self._ask = ask
        self._reduced = cloudpickle.loads, (cloudpickle.dumps(ask),)

    def __call__(self, batch: list[str]) -> list[dict[str, Any]]:
        """For distributed, which submits only callables; a worker unpickles the wrapped one."""
        return self._ask(batch)

    def __reduce__(self) -> tuple[Callable[[bytes], Ask], tuple[bytes]]:
        return self._reduced
