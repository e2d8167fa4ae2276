"""Chains on a cluster: the bytes of `kelvra batch`, nothing lost with a killed worker; and tiles, the
bytes of the whole image."""

import os
import subprocess
import sys
import threading
import time
from pathlib import Path

import kelvra_cv as k
import numpy as np
import pytest
from conftest import mask_picture, picture
from PIL import Image

da = pytest.importorskip("dask.array")
distributed = pytest.importorskip("distributed")
from kelvra_cv import cluster  # noqa: E402
from kelvra_cv.tiles import SUPPORTED, map_tiles  # noqa: E402

CHAIN = "resize 50% | clahe clip=3 | bilateral 0.03 0.1"
KELVRA = os.environ.get("KELVRA_TOOL") or next(
    (str(path) for path in Path(k.__file__).parents[2].glob("tools/kelvra/kelvra")), None)


@pytest.fixture
def photos(tmp_path):
    folder = tmp_path / "photos"
    (folder / "below").mkdir(parents=True)
    for i in range(10):
        image = Image.fromarray(np.roll(picture(150, 101, 3), i, 1))
        image.save(folder / f"{i}.{'png' if i % 2 else 'jpg'}")
    exif = Image.Exif()
    exif[0x0112] = 6  # turned
    Image.fromarray(picture(90, 70, 3)).save(folder / "below" / "turned.JPG", exif=exif)
    Image.fromarray(picture(90, 70, 4)).save(folder / "below" / "alpha.png")
    (folder / "broken.jpg").write_bytes((folder / "0.jpg").read_bytes()[:700])
    return folder


def contents(folder):
    return {path.relative_to(folder): path.read_bytes() for path in sorted(folder.rglob("*"))
            if path.is_file()}


@pytest.fixture
def remote():
    """A scheduler and two workers, processes of their own as on several machines."""
    with distributed.LocalCluster(n_workers=0, dashboard_address=":0") as scheduler:
        command = [sys.executable, "-m", "distributed.cli.dask_worker", scheduler.scheduler_address,
                   "--nthreads", "1", "--no-nanny", "--no-dashboard"]
        environment = {**os.environ, "PYTHONPATH": str(Path(k.__file__).parents[1])}
        workers = [subprocess.Popen(command, env=environment, stderr=subprocess.DEVNULL)
                   for _ in range(2)]
        try:
            with distributed.Client(scheduler) as client:
                client.wait_for_workers(2, timeout=60)
                yield client, workers
        finally:
            for worker in workers:
                worker.kill()
                worker.wait()


@pytest.mark.skipif(KELVRA is None, reason="the command line is not built (KELVRA_CV_TOOLS)")
def test_results_are_those_of_batch(photos, tmp_path, remote):
    batch = subprocess.run([KELVRA, "batch", CHAIN, photos, "-o", tmp_path / "batch"],
                           capture_output=True)
    assert batch.returncode == 1  # the broken one
    address = remote[0].scheduler.address
    run = subprocess.run(
        [sys.executable, "-m", "kelvra_cv.cluster", CHAIN, photos, "-o", tmp_path / "cluster",
         "--scheduler", address, "--group", "3"],
        capture_output=True, text=True, env={**os.environ, "PYTHONPATH": str(Path(k.__file__).parents[1])})
    assert run.returncode == 1, run.stderr
    assert "broken.jpg: not a good JPEG" in run.stderr and "12 done, 0 skipped, 1 failed" in run.stderr
    assert "dashboard: http" in run.stderr and run.stdout == ""
    results = contents(tmp_path / "cluster")
    assert len(results) == 12 and results == contents(tmp_path / "batch")


def test_a_killed_worker_loses_nothing(photos, tmp_path, remote):
    client, workers = remote
    jobs = cluster.jobs_of([str(photos)], str(tmp_path / "out"))
    chain = CHAIN + " | bilateral" * 20
    outcome = []
    runner = threading.Thread(
        target=lambda: outcome.append(cluster.run_jobs(client, chain, jobs * 8, group=2)))
    runner.start()
    while not (tmp_path / "out").exists():
        time.sleep(0.001)
    assert not outcome
    workers[0].kill()
    runner.join(timeout=300)
    assert len(client.scheduler_info()["workers"]) == 1
    assert len(outcome[0]) == 8 and all("broken.jpg" in failure for failure in outcome[0])
    cluster._remove_unfinished(jobs)
    assert len(contents(tmp_path / "out")) == 12
    for job in jobs:
        if "broken" not in job.input:
            own = tmp_path / Path(job.output).name
            k.run_file(chain, job.input, own)
            assert Path(job.output).read_bytes() == own.read_bytes()


def test_wrong_commands(photos, tmp_path, capsys):
    out = ["-o", str(tmp_path / "out")]
    for arguments, message in [
        (["claeh", str(photos), *out], "is clahe meant"),
        (["clahe", "nowhere", *out], "INPUT is 'nowhere'"),
        (["clahe", str(photos), "-o", str(photos)], "would not be overwritten"),
        (["clahe", str(photos), str(photos), *out], "two inputs would be written to"),
        (["clahe", str(photos), *out, "--quality", "0"], "wanted 1 to 100"),
        (["clahe", str(tmp_path / "photos" / "below"), *out, "--format", "gif"], "invalid choice"),
    ]:
        with pytest.raises(SystemExit) as end:
            cluster.main(arguments)
        assert end.value.code == 2 and message in capsys.readouterr().err
    assert not (tmp_path / "out").exists()


GRAY, RGB, RGBA = picture(161, 123, 1), picture(161, 123, 3), picture(161, 123, 4)
MASK = mask_picture(161, 123)
TILED = [
    (k.rgb2gray, RGB, {}), (k.rgba2gray, RGBA, {"order": "bgra"}), (k.rgb_to_ycbcr, RGB, {}),
    (k.ycbcr_to_rgb, RGB, {}), (k.rgba2hsv, RGBA, {}), (k.hsv2rgb, RGB, {}),
    (k.convert_c4_to_c3, RGBA, {}), (k.rgb_to_lab, RGB, {}), (k.rgb_to_lab_fast, RGB, {}),
    (k.lab_to_rgb_fast, RGB, {}), (k.threshold, GRAY, {"thresh": 99}),
    (k.gaussian_blur, GRAY, {"ksize": 9, "sigma": 2.0}), (k.gaussian_blur_3x3, GRAY, {}),
    (k.gaussian_blur_5x5, GRAY, {}), (k.gaussian_blur_fast, GRAY, {"sigma": 2.5}),
    (k.gaussian_blur_fast, RGBA, {"sigma": 1.2}), (k.filter_box, GRAY, {"radius": 5}),
    (k.filter_max, GRAY, {"radius": 3}), (k.filter_min, GRAY, {"radius": 4}),
    (k.dilate_mask, MASK, {"radius": 2}), (k.erode_mask, MASK, {"radius": 1}),
    (k.sobel_edge, GRAY, {"threshold": 60}), (k.get_mask_edge, MASK, {}),
]


@pytest.mark.parametrize("function, image, options", TILED,
                         ids=[each[0].__name__ for each in TILED])
def test_tiles_are_the_whole_image(function, image, options):
    whole = function(image, **options)
    for size in (16, 37, 64, 1000):
        tiles = map_tiles(function, da.from_array(image, chunks=(size, size, -1)[: image.ndim]),
                          **options)
        assert tiles.dtype == whole.dtype and tiles.shape == whole.shape
        np.testing.assert_array_equal(tiles.compute(scheduler="threads"), whole, err_msg=str(size))


def test_all_tiled_functions_are_tested():
    assert {function.__name__ for function, *_ in TILED} == SUPPORTED
    with pytest.raises(ValueError, match="want one of"):
        map_tiles(k.canny, da.zeros((9, 9), np.uint8))
