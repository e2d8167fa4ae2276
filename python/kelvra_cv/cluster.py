"""A chain over many photos on a cluster, by Dask distributed:

    python -m kelvra_cv.cluster "resize 1280 | clahe" photos/ -o small/ --scheduler tcp://head:8786

Without --scheduler, a cluster of this machine's cores is started. Every machine must see the inputs
and the output folder under the same names, on a shared file system, say: paths travel, not pictures.
Results are those of `kelvra batch`, byte for byte, at the same places. Photos go to workers in small
groups; a group whose worker dies is done again by another one. A broken photo is reported and stops
nothing.

The exit code is 0, 1 if a photo failed, or 2 if the command is wrong.
"""

import argparse
import os
import sys
from contextlib import nullcontext
from pathlib import Path
from typing import Any, ContextManager, Dict, Iterator, List, NamedTuple, Optional, Sequence, Tuple

import dask
from distributed import Client, LocalCluster, as_completed, progress

from .chains import normalized, run_file

__all__ = ["Job", "jobs_of", "run_jobs", "main"]

# Dask lets its workers return memory to the system at once, and photos then cost twice the time, in
# page faults. Of workers that are not ours, docs/cluster.md says how to start them.
MEMORY = {
    "distributed.nanny.pre-spawn-environ": {
        "MALLOC_TRIM_THRESHOLD_": "1073741824",
        "MALLOC_MMAP_THRESHOLD_": "1073741824",
    }
}

PHOTOS = (".jpg", ".jpeg", ".png")


class Job(NamedTuple):
    input: str
    output: str


class UsageError(Exception):
    """One line that names the argument and says what is wanted."""


def _photos(folder: Path) -> List[Path]:
    found = (Path(at, name) for at, _, names in os.walk(folder) for name in names)
    return sorted(path for path in found if path.suffix.lower() in PHOTOS and path.is_file())


def jobs_of(inputs: Sequence[str], folder: str, format: str = "") -> List[Job]:
    """The photos of files and folders with the places of their results, as `kelvra batch` has them:
    what is in a folder keeps its place below it."""
    places: Dict[str, str] = {}
    for name in inputs:
        path = Path(name)
        if not path.exists():
            raise UsageError(f"INPUT is {name!r}; wanted a file or a folder")
        found = [(each, each.relative_to(path)) for each in _photos(path)] \
            if path.is_dir() else [(path, Path(path.name))]
        for each, place in found:
            target = Path(folder, place)
            if format:
                target = target.with_suffix(".png" if format == "png" else ".jpg")
            elif target.suffix.lower() not in PHOTOS:
                target = target.with_suffix(".png")
            output = os.path.abspath(target)
            if output in places:
                raise UsageError(f"two inputs would be written to {target}: "
                                 f"{places[output]} and {each}")
            if os.path.realpath(each) == os.path.realpath(output):
                raise UsageError(f"-o is {folder!r}; wanted a folder in which {each} would not be "
                                 "overwritten")
            places[output] = os.path.abspath(each)
    return [Job(source, output) for output, source in places.items()]


def _is_done(job: Job) -> bool:
    try:
        return os.stat(job.output).st_mtime >= os.stat(job.input).st_mtime
    except OSError:
        return False


def _run_group(chain: str, group: Sequence[Job], options: Dict[str, Any]) -> List[str]:
    """On a worker: the messages of the photos that failed."""
    failures = []
    for job in group:
        try:
            os.makedirs(os.path.dirname(job.output), exist_ok=True)
            run_file(chain, job.input, job.output, **options)
        except OSError as error:
            failures.append(str(error))
        except Exception as error:
            failures.append(f"{job.input}: {error}")
    return failures


def _groups(jobs: Sequence[Job], size: int) -> Iterator[Sequence[Job]]:
    return (jobs[first: first + size] for first in range(0, len(jobs), size))


def run_jobs(
    client: Client,
    chain: str,
    jobs: Sequence[Job],
    *,
    group: int = 16,
    bar: bool = False,
    **options: Any,
) -> List[str]:
    """Runs the jobs on a cluster and returns a message for each photo that failed.

    options: of `kelvra_cv.run_file`. group: photos to a task, at most; larger groups cost the
    scheduler less.
    """
    threads = sum(client.nthreads().values()) or 1
    groups = list(_groups(jobs, max(min(group, len(jobs) // (4 * threads)), 1)))
    futures = [
        client.submit(_run_group, chain, each, options, pure=False, retries=0) for each in groups
    ]
    if bar:
        progress(futures, notebook=False)
        print(file=sys.stderr)
    of_future = {future.key: each for future, each in zip(futures, groups)}
    failures: List[str] = []
    for future in as_completed(futures):
        error = future.exception()
        if error is None:
            failures += future.result()
        else:  # several workers died of it
            failures += [f"{job.input}: {type(error).__name__}" for job in of_future[future.key]]
    return failures


def _remove_unfinished(jobs: Sequence[Job]) -> None:
    """What a killed worker has left: ".name.XXXXXX" beside a result."""
    names: Dict[str, List[str]] = {}
    for job in jobs:
        names.setdefault(os.path.dirname(job.output), []).append(os.path.basename(job.output))
    for folder, results in names.items():
        wanted = {f".{name}" for name in results}
        for entry in os.listdir(folder) if os.path.isdir(folder) else []:
            stem, dot, random = entry.rpartition(".")
            if dot and len(random) == 6 and stem in wanted:
                os.unlink(os.path.join(folder, entry))


def _parse(arguments: Optional[Sequence[str]]) -> Tuple[argparse.Namespace, List[Job]]:
    parser = argparse.ArgumentParser(
        prog="python -m kelvra_cv.cluster",
        description="Runs a chain of operations over many photos on a Dask cluster.")
    parser.add_argument("chain", metavar="CHAIN", help='such as "resize 1280 | clahe clip=3"')
    parser.add_argument("inputs", metavar="INPUT", nargs="+", help="photos, and folders of photos")
    parser.add_argument("-o", "--output", metavar="FOLDER", required=True)
    parser.add_argument("--scheduler", metavar="ADDRESS", help="such as tcp://head:8786")
    parser.add_argument("--workers", type=int, help="of the local cluster (one a processor)")
    parser.add_argument("--group", type=int, default=16, help="photos to a task, at most (16)")
    parser.add_argument("--format", choices=["png", "jpeg"], default="", help="of the output")
    parser.add_argument("--quality", type=int, default=90, help="of JPEG, 1 to 100 (90)")
    parser.add_argument("--effort", type=int, default=3, help="of PNG compression, 0 to 9 (3)")
    parser.add_argument("--resume", action="store_true",
                        help="skip photos whose result is there and newer")
    options = parser.parse_args(arguments)
    try:
        options.chain = normalized(options.chain)
        for name, least, most in (("quality", 1, 100), ("effort", 0, 9), ("group", 1, 10**6)):
            if not least <= getattr(options, name) <= most:
                raise UsageError(f"--{name} is {getattr(options, name)}; wanted {least} to {most}")
        jobs = jobs_of(options.inputs, options.output, options.format)
        if not jobs:
            raise UsageError("there are no photos in the inputs")
    except (UsageError, ValueError) as error:
        parser.error(str(error))
    return options, jobs


def main(arguments: Optional[Sequence[str]] = None) -> int:
    options, jobs = _parse(arguments)
    left = [job for job in jobs if not (options.resume and _is_done(job))]
    local: ContextManager[Any] = nullcontext(options.scheduler)
    if options.scheduler is None:
        workers = options.workers or os.cpu_count() or 1
        with dask.config.set(MEMORY):
            local = LocalCluster(n_workers=min(workers, len(left) or 1), threads_per_worker=1)
    with local as cluster, Client(cluster) as client:
        print(f"dashboard: {client.dashboard_link}", file=sys.stderr)
        failures = run_jobs(
            client, options.chain, left, group=options.group, bar=sys.stdout.isatty(),
            format=options.format, quality=options.quality, effort=options.effort)
    _remove_unfinished(left)
    for failure in failures:
        print(failure, file=sys.stderr)
    print(f"{len(left) - len(failures)} done, {len(jobs) - len(left)} skipped, "
          f"{len(failures)} failed", file=sys.stderr)
    return 1 if failures else 0


if __name__ == "__main__":
    # Workers import what they run by its name, which this module's own is not.
    from kelvra_cv import cluster

    sys.exit(cluster.main())
