# SPDX-License-Identifier: GPL-3.0-or-later
"""Who does the work: processes of this machine, or the workers of a Dask cluster. Records come as they are done."""
from __future__ import annotations

import concurrent.futures
import functools
import itertools
import multiprocessing
import os
import signal
import threading
import time
from collections.abc import Iterable, Iterator
from concurrent.futures.process import BrokenProcessPool
from typing import Any

from orphia.batch.task import Task, perform

# Tasks that wait per worker: enough that none is idle, few enough that a corpus of any size may be listed.
WAITING = 4
MOST_DEATHS = 3


def _died(task: Task, reason: str) -> dict[str, Any]:
    return {"input": task.name, "settings": task.varied, "status": "failed", "error": reason}


def _begin_worker() -> None:
    """The process that started the pool decides on interrupts; when it dies, so does the worker."""
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    signal.signal(signal.SIGTERM, signal.SIG_DFL)
    threading.Thread(target=_end_with_parent, daemon=True).start()


def _end_with_parent() -> None:
    parent = multiprocessing.parent_process()
    if parent is not None:
        parent.join()
    os._exit(1)


def on_processes(tasks: Iterable[Task], jobs: int) -> Iterator[dict[str, Any]]:
    """Does tasks in processes of this machine. Where one dies, what was on the way is done again, each alone."""
    left = iter(tasks)
    suspects: list[Task] = []
    while True:
        pending: dict[concurrent.futures.Future[dict[str, Any]], Task] = {}
        context = multiprocessing.get_context("spawn")
        with concurrent.futures.ProcessPoolExecutor(jobs, context, _begin_worker) as pool:
            try:
                yield from _alone(pool, suspects)
                for task in left:
                    pending[pool.submit(perform, task)] = task
                    if len(pending) >= WAITING * jobs:
                        yield from _some(pending)
                while pending:
                    yield from _some(pending)
                return
            except BrokenProcessPool:
                suspects += pending.values()
            except BaseException:
                pool.shutdown(wait=True, cancel_futures=True)
                raise


def _some(pending: dict[concurrent.futures.Future[dict[str, Any]], Task]) -> Iterator[dict[str, Any]]:
    """Waits for the next ones, and takes them out."""
    done, _ = concurrent.futures.wait(pending, return_when=concurrent.futures.FIRST_COMPLETED)
    for future in done:
        result = future.result()
        del pending[future]
        yield result


_deaths: dict[str, int] = {}


def _alone(pool: concurrent.futures.ProcessPoolExecutor, suspects: list[Task]) -> Iterator[dict[str, Any]]:
    """One after the other, so that it shows which one kills its worker."""
    while suspects:
        task = suspects[0]
        if _deaths.get(task.name, 0) >= MOST_DEATHS:
            suspects.pop(0)
            yield _died(task, f"the process that rendered it died {MOST_DEATHS} times")
            continue
        try:
            result = pool.submit(perform, task).result()
        except BrokenProcessPool:
            _deaths[task.name] = _deaths.get(task.name, 0) + 1
            raise
        suspects.pop(0)
        yield result


def on_cluster(tasks: Iterable[Task], address: str) -> Iterator[dict[str, Any]]:
    """Does tasks on a Dask cluster whose workers see the same files and have this package. Retries are Dask's."""
    import distributed

    left = iter(tasks)
    names: dict[str, Task] = {}
    with distributed.Client(address, timeout="20s") as client:

        @functools.lru_cache(maxsize=1)
        def threads(second: int) -> int:
            """Workers come and go, but to ask costs more than to hand out a file."""
            return max(1, sum(client.nthreads().values()))

        def submit_more() -> list[Any]:
            wanted = WAITING * threads(int(time.monotonic())) - len(names)
            futures = []
            for task in itertools.islice(left, max(0, wanted)):
                futures.append(client.submit(perform, task, pure=False, retries=MOST_DEATHS))
                names[futures[-1].key] = task
            return futures

        done = distributed.as_completed(submit_more())
        for future in done:
            task = names.pop(future.key)
            if future.status == "finished":
                yield future.result()
            else:
                yield _died(task, f"the cluster gave it up: {' '.join(str(future.exception()).split())[:200]}")
            done.update(submit_more())
