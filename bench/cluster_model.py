#!/usr/bin/python3
"""What a million photos take on 1, 10 and 100 machines: measures on this machine what a photo costs a
core, what a task costs the scheduler and what workers lose by it, and prints docs/cluster.md's table.

    PYTHONPATH=build/python/python /usr/bin/python3 bench/cluster_model.py FOLDER-OF-PHOTOS
"""

import os
import sys
import tempfile
import time
from pathlib import Path

import dask
import kelvra_cv as k
from distributed import Client, LocalCluster
from kelvra_cv import cluster

CHAIN = "resize 1280 | gaussian 3"
PHOTOS, GROUP, CORES = 1_000_000, 16, 16
STORAGE = {"1 Gbit/s": 0.117e9, "10 Gbit/s": 1.17e9, "100 Gbit/s": 11.7e9}


def timed(work):
    start = time.perf_counter()
    work()
    return time.perf_counter() - start


def no_photos(client, tasks):
    """The scheduler's work for tasks that have none."""
    client.gather([client.submit(cluster._run_group, CHAIN, [], {}, pure=False)
                   for _ in range(tasks)])


def measure(folder, out):
    jobs = cluster.jobs_of([folder], out)
    size = sum(os.stat(job.input).st_size for job in jobs)
    alone = min(timed(lambda: cluster._run_group(CHAIN, jobs, {})) for _ in range(3))
    written = sum(path.stat().st_size for path in Path(out).rglob("*.*"))
    with dask.config.set(cluster.MEMORY), \
            LocalCluster(n_workers=2, threads_per_worker=1) as local, Client(local) as client:
        no_photos(client, 50)
        task = min(timed(lambda: no_photos(client, 2000)) for _ in range(2)) / 2000
        many = [job._replace(output=f"{job.output[:-4]}-{i}.jpg") for i in range(16) for job in jobs]
        together = timed(lambda: cluster.run_jobs(client, CHAIN, many, group=GROUP))
    return (alone / len(jobs), size / len(jobs), written / len(jobs), task,
            2 * together / len(many))


def main():
    with tempfile.TemporaryDirectory() as out:
        photo, read, written, task, on_cluster = measure(sys.argv[1], out)
    print(f"{time.strftime('%Y-%m-%d')}, kelvra_cv {k.__version__}, {CHAIN!r}\n")
    print("| measured here | |\n|---|---|")
    print(f"| a photo, decoded, worked on, encoded, by one core alone | {photo * 1e3:.1f} ms |")
    print(f"| the same on a cluster of two workers, core time | {on_cluster * 1e3:.1f} ms |")
    print(f"| read and written for a photo | {read / 1e6:.2f} and {written / 1e6:.2f} MB |")
    print(f"| a task, for the scheduler | {task * 1e3:.2f} ms |\n")
    print(f"| machines of {CORES} cores | cores | scheduler | "
          + " | ".join(f"storage of {name}" for name in STORAGE) + " |")
    print("|---|---|---|" + "---|" * len(STORAGE))
    for machines in (1, 10, 100):
        times = [PHOTOS * on_cluster / (machines * CORES), PHOTOS / GROUP * task]
        times += [PHOTOS * (read + written) / rate for rate in STORAGE.values()]
        print(f"| {machines} | " + " | ".join(f"{each / 60:.1f} min" for each in times) + " |")


if __name__ == "__main__":
    main()
