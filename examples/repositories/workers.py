"""Distributes items over threads of this process, or over the workers of a cluster."""

import os
from collections import deque
from collections.abc import Callable, Iterator
from concurrent.futures import FIRST_COMPLETED, CancelledError, Future, ThreadPoolExecutor, wait
from functools import partial
from types import ModuleType

from repositories.row import Row
from shared.program import ProgramError

DEFAULT_THREADS = min(32, (os.process_cpu_count() or 1) + 4)
PATIENCE = 10  # seconds to wait for a scheduler, and before warning that there are no workers
MAX_BATCH = 64
READ_AHEAD = 1_000

type Ask = Callable[[list[str]], list[Row]]  # answers at least the first item


class Threads:
    """Threads of this process. Git runs in processes of its own, on all cores."""

    lost = ()

    def __init__(self, number: int, ask: Ask) -> None:
        self.most = 2 * number  # batches in flight: one in progress, one queued
        self.submit = partial(ThreadPoolExecutor(number).submit, ask)

    def check(self) -> None:
        """Threads cannot be lost."""


class Cluster:
    """The workers of a dask scheduler; ConnectionError if it does not answer.

    The settings for TLS are dask's own.
    """

    most = 128  # batches in flight: answers to more of them a second would keep the client busy

    def __init__(
        self, address: str, warn: Callable[[str], None], ask: Ask, *modules: ModuleType
    ) -> None:
        """Workers lack the modules of ``ask``, so their code is sent with each batch."""
        try:
            import cloudpickle  # noqa: PLC0415 - threads need none of these
            from distributed import Client, KilledWorker  # noqa: PLC0415
        except ModuleNotFoundError as error:
            raise ProgramError("--scheduler needs dask: pip install distributed") from error
        # The client's own timeout does not cover every step of its handshake.
        connecting = ThreadPoolExecutor().submit(Client, address, timeout=PATIENCE)
        try:
            self._client = connecting.result(PATIENCE + 1)
        except Exception as error:
            reason = str(error) or f"no answer in {PATIENCE} seconds"
            raise ConnectionError(f"no scheduler at {address}: {reason}") from error
        for module in modules:
            cloudpickle.register_pickle_by_value(module)
        code = cloudpickle.dumps(ask)

        def answer(batch: list[str]) -> list[Row]:
            """Local: of a function in a module, distributed would send only the name."""
            return cloudpickle.loads(code)(batch)

        self.submit = partial(self._client.get_executor(pure=False).submit, answer)
        self.lost = (KilledWorker,)
        self._warn = warn
        self._idle = 0

    def check(self) -> None:
        """To be called after each second without an answer: ConnectionError, or a warning."""
        ncores = self._client.scheduler.ncores
        try:
            threads = self._client.sync(ncores, workers=None, callback_timeout=PATIENCE)
        except OSError as error:
            raise ConnectionError("the scheduler is gone") from error
        self._idle = 0 if threads else self._idle + 1
        if self._idle == PATIENCE:
            self._warn("the scheduler has no workers yet; waiting for some")


class Answers:
    """The answers of workers about many items, each as soon as it is known."""

    def __init__(self, workers: Threads | Cluster) -> None:
        self._workers = workers
        self._waiting: deque[str] = deque()
        self._in_flight: dict[Future[list[Row]], list[str]] = {}
        self._suspects: list[str] = []  # of lost workers
        self._one_by_one = False
        self._size = 1

    def about(self, chunks: Iterator[list[str]]) -> Iterator[Row]:
        """An answer for each item of each chunk; ConnectionError if the scheduler is gone."""
        yield from self._distribute(chunks)
        self._one_by_one = True  # shows which item it was that killed workers
        yield from self._distribute(iter([self._suspects]))

    def _distribute(self, chunks: Iterator[list[str]]) -> Iterator[Row]:
        read = ThreadPoolExecutor(1).submit  # answers do not wait for a slow source
        more, reading = True, None
        while more or self._waiting or self._in_flight:
            if more and reading is None and len(self._waiting) < READ_AHEAD:
                reading = read(next, chunks, None)
            self._submit()
            futures = {*self._in_flight, reading} - {None}
            done, _ = wait(futures, timeout=1, return_when=FIRST_COMPLETED)
            if not done:
                self._workers.check()
            if reading in done:
                chunk, reading = reading.result(), None
                more = chunk is not None
                self._waiting.extend(chunk or ())
            for future in [each for each in self._in_flight if each in done]:  # oldest first
                yield from self._finish(future)

    def _submit(self) -> None:
        most, size = (1, 1) if self._one_by_one else (self._workers.most, self._size)
        while self._waiting and len(self._in_flight) < most:
            batch = [self._waiting.popleft() for _ in range(min(size, len(self._waiting)))]
            self._in_flight[self._workers.submit(batch)] = batch

    def _finish(self, future: Future[list[Row]]) -> list[Row]:
        batch = self._in_flight.pop(future)
        try:
            answers = future.result()
        except self._workers.lost as error:
            if self._one_by_one:
                died = f"{error.allowed_failures + 1} workers died while reading it"
                return [{"root": batch[0], "error": died}]
            self._suspects += batch
            return []
        except (CancelledError, OSError) as error:
            raise ConnectionError("the scheduler is gone") from error
        except Exception as error:  # noqa: BLE001 - for example, the worker cannot import the module
            # Distributed's executor raises ValueError if a worker dies right after its answer.
            if isinstance(error, ValueError) and not self._one_by_one:
                self._suspects += batch
                return []
            reason = f"{type(error).__name__}: {error}".partition("\n")[0]
            return [{"root": item, "error": reason} for item in batch]
        if "refused" in answers[0]:
            raise ProgramError(answers[0]["refused"])
        rest = batch[len(answers) :]
        self._waiting.extendleft(reversed(rest))
        self._size = len(answers) if rest else min(2 * self._size, MAX_BATCH)
        return answers
