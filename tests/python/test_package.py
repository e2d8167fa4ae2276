"""The package as a whole: wrong arguments, messages, files, examples, types, and that nothing is
left out."""

import doctest
import importlib
import io
import pkgutil
import re
import subprocess
import sys
from pathlib import Path

import kelvra_cv as k
import numpy as np
import pytest
from conftest import ROOT
from PIL import Image, ImageCms

GRAY = np.zeros((20, 30), np.uint8)
RGB, RGBA = np.zeros((20, 30, 3), np.uint8), np.zeros((20, 30, 4), np.uint8)
BIG = np.broadcast_to(np.uint8(0), (2, 1 << 31))  # of no memory

WRONG = [
    (lambda: k.rgb2gray("photo"), TypeError, r"image: got 'photo' \(str\), want uint8 array of"),
    (lambda: k.rgb2gray(None), TypeError, "image: got None, want"),
    (lambda: k.rgb2gray(RGB / 2.0), TypeError, r"got float64 array of shape \(20, 30, 3\)"),
    (lambda: k.rgb2gray(GRAY), ValueError, r"\(20, 30\), want uint8 array of shape \(height, width, 3"),
    (lambda: k.clahe(RGBA[..., :2]), ValueError, r"\(height, width\), .* or \(height, width, 4\)"),
    (lambda: k.filter_box(GRAY[:0], 1), ValueError, "image: .* want at least one pixel"),
    (lambda: k.filter_box(BIG, 1), ValueError, "image: .* want at most 2.30"),
    (lambda: k.resize_nn(GRAY, (1 << 30, 1 << 30)), ValueError, r"size\[0\]: got .*"),
    (lambda: k.resize_nn(GRAY, (0, 4)), ValueError, r"size\[0\]: got 0 \(int\), want an integer from 1"),
    (lambda: k.resize_nn(GRAY, 4), TypeError, r"size: got 4 \(int\), want \(width, height\)"),
    (lambda: k.resize_nn(GRAY, "44"), TypeError, "size: got '44'"),
    (lambda: k.resize_bilinear(RGB, (3, 3), order="bgra"), ValueError, "order: got 'bgra'"),
    (lambda: k.rgba2gray(RGBA, order="argb"), ValueError, "order: .* want 'rgba' or 'bgra'"),
    (lambda: k.filter_box(GRAY, 2.5), TypeError, r"radius: got 2.5 \(float\), want an integer"),
    (lambda: k.filter_box(GRAY, -1), ValueError, "radius: got -1"),
    (lambda: k.filter_box(GRAY, 1 << 99), ValueError, "radius: got"),
    (lambda: k.gaussian_blur(GRAY, 4), ValueError, "ksize: got 4 .* an odd number"),
    (lambda: k.gaussian_blur(GRAY, 21), ValueError, "ksize: .* shorter side"),
    (lambda: k.gaussian_blur(GRAY, 3, float("nan")), ValueError, "sigma: got nan"),
    (lambda: k.bilateral_filter(GRAY, 0.0, 1), ValueError, "sigma_spatial: got 0.0"),
    (lambda: k.bilateral_filter(GRAY, "1", 1), TypeError, "sigma_spatial: got '1'"),
    (lambda: k.guided_filter(RGB, 3, 0.1, scale=0.001), ValueError, "scale: got 0.001"),
    (lambda: k.guided_filter(RGB, 3, 0.1, GRAY[1:]), ValueError, "guide: .* width and height"),
    (lambda: k.canny(GRAY, 9, 9), ValueError, "threshold2: .* more than threshold1"),
    (lambda: k.cal_hist(GRAY, 0), ValueError, "bins: got 0"),
    (lambda: k.cal_hist(RGB, [4, 4]), ValueError, "bins: .* want 3 integers"),
    (lambda: k.cal_hist(GRAY, rect=(1, 1, 30, 2)), ValueError, "rect: .* inside the image"),
    (lambda: k.rgb_to_lab_fast(RGB, tables=(GRAY[0], GRAY[0])), TypeError, r"tables\[0\]: .*int32"),
    (lambda: k.rgb_to_lab_fast(RGB, threads=10**6), ValueError, "threads: .* from 0 to 256"),
    (lambda: k.merge_channels([GRAY, GRAY[1:]]), ValueError, r"planes\[1\]: .* image's size"),
    (lambda: k.warp_affine(GRAY, np.eye(3), (3, 3)), ValueError, r"M: .* of shape \(2, 3\)"),
    (lambda: k.warp_affine(RGBA, np.eye(2, 3), (3, 3), fill=[1, 2]), ValueError, "fill: .* 4 integers"),
    (lambda: k.get_affine_transform([[1, 2]], [[1, 2]]), ValueError, "src: .* three integer points"),
    (lambda: k.align_back_img(RGBA, np.eye(2, 3), RGBA, erode_radius=51), ValueError, "to 50"),
    (lambda: k.fill_poly(GRAY, [(0, 0), (5, 20)]), ValueError, "polygon: .* inside the mask"),
    (lambda: k.filter_blobs(GRAY, [[(0, 0), (30, 0)]]), ValueError, "blobs: .* inside the mask"),
    (lambda: k.expand_contours(GRAY, [[(1 << 40, 0)]], 1), ValueError, r"contours\[0\]: .* 32 bits"),
    (lambda: k.flood_fill(RGBA, (30, 0), 1), ValueError, "seed: .* inside the image"),
    (lambda: k.detect_preprocess(RGB, (8, 8), mean=[1, 2, 3]), ValueError, "std: got None"),
    (lambda: k.detect_postprocess(np.zeros((3, 5)), 0, 0), ValueError, r"rows.shape\[1\]: got 5"),
    (lambda: k.get_anchors((8, 8), [[1], [1, 2]], [4, 8]), ValueError, "anchor_sizes: .* 1 integers"),
    (lambda: k.fast_9_16(GRAY, 9, mask=GRAY[:, 1:]), ValueError, r"mask: .* \(20, 30\)"),
    (lambda: k.convert_nv21_argb((GRAY, GRAY)), ValueError, r"frame\[1\]: .* 10 rows of 30 bytes"),
    (lambda: k.convert_nv21_argb(bytes(7), size=(2, 2)), ValueError, "frame: .* want 6 bytes"),
    (lambda: k.convert_nv12_argb(7), TypeError, "frame: got 7"),
    (lambda: k.rotate_argb(RGBA, 45), ValueError, "mode: got 45"),
    (lambda: k.crop_argb(RGBA, (0, 0, 30, 5)), ValueError, "rect: .* neither the right"),
    (lambda: k.scale_argb(RGBA, (4, 4), clip=(1, 1, 4, 1)), ValueError, "clip: .* inside the result"),
    (lambda: k.rgb2gray(RGB, out=RGB), ValueError, r"out: .* shape \(20, 30\)"),
    (lambda: k.rgb2gray(RGB, out=GRAY.astype(int)), TypeError, "out: got int64"),
    (lambda: k.rgb2gray(RGB, out=np.broadcast_to(GRAY[:1], GRAY.shape)), ValueError, "be written"),
    (lambda: k.sobel_grad(GRAY, out=GRAY), TypeError, "out: .* a tuple of 2 arrays"),
    (lambda: k.run("claeh", RGB), ValueError, 'no operation "claeh"; is clahe meant'),
    (lambda: k.run("clahe clip=much", RGB), ValueError, "clip is .*wanted a number"),
    (lambda: k.find("clahe", RGB), ValueError, "finds nothing"),
]


@pytest.mark.parametrize("number", range(len(WRONG)))
def test_wrong_arguments_are_named(number, capfd):
    call, error, message = WRONG[number]
    with pytest.raises(error, match=message):
        call()
    assert capfd.readouterr() == ("", "")


def test_the_librarys_own_messages_are_exceptions(tmp_path, capfd):
    with pytest.raises(ValueError, match="^origin png is not png format!$"):
        k.remove_png_info(b"no png at all")
    with pytest.raises(OSError, match="output png path error"):
        (tmp_path / "in").write_bytes(b"x")
        k.remove_png_info(tmp_path / "in", tmp_path / "none" / "out")
    with pytest.raises(FileNotFoundError):
        k.add_png_info(tmp_path / "none", b"")
    assert capfd.readouterr() == ("", "")


def encoded(kind, **options):
    file = io.BytesIO()
    Image.new("RGB", (8, 8), (200, 100, 50)).save(file, kind, **options)
    return file.getvalue()


@pytest.mark.parametrize("kind", ["png", "jpeg"])
def test_profiles_travel_between_bytes_and_paths(kind, tmp_path):
    profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    origin, plain = encoded(kind, icc_profile=profile), encoded(kind)
    add = {"png": k.add_png_info, "jpeg": k.add_jpeg_info}[kind]
    joined = add(origin, plain)
    assert Image.open(io.BytesIO(joined)).info["icc_profile"] == profile
    (tmp_path / "origin").write_bytes(origin)
    assert add(tmp_path / "origin", plain, tmp_path / "out") is None
    assert (tmp_path / "out").read_bytes() == joined
    if kind == "png":
        assert "icc_profile" not in Image.open(io.BytesIO(k.remove_png_info(joined))).info


def test_operations_are_the_table():
    table = {each.name: each for each in k.operations()}
    resize = table["resize"]
    assert resize.family == "geometry" and resize.parameters[0].type == "size"
    assert k.operations("geometry") == [each for each in table.values() if each.family == "geometry"]
    photo = np.arange(48 * 64 * 3, dtype=np.uint32).astype(np.uint8).reshape(48, 64, 3)
    for each in table.values():  # with their defaults
        result = k.run(each.name, photo)
        assert result.dtype == np.uint8 and result.ndim in (2, 3)
        if each.finds:
            assert isinstance(k.find(each.name, photo), k.Findings)
    np.testing.assert_array_equal(k.run("resize 32x24 nearest", photo[:, ::-1]),
                                  k.resize_nn(photo[:, ::-1], (32, 24)))


MODULES = [importlib.import_module(f"kelvra_cv.{each.name}")
           for each in pkgutil.iter_modules(k.__path__)
           if each.name not in ("_core", "_types", "cluster", "tiles")]  # the last two need Dask


def test_every_function_has_an_example_that_runs():
    for module in [k, *MODULES, importlib.import_module("kelvra_cv.tiles")]:
        globs = {"np": np, "kelvra_cv": k}
        assert doctest.testmod(module, extraglobs=globs).failed == 0
    for module in MODULES:
        for name in module.__all__:
            function = getattr(module, name)
            if not isinstance(function, type):
                assert f"kelvra_cv.{name}(" in function.__doc__, name
            assert getattr(k, name) is function


# The library's functions under the names that do not carry a layout or a slip of the pen.
OTHER_NAMES = {
    "rgb_to_lab_c4_c3": "rgb_to_lab_fast", "gaussian_blur_c4": "gaussian_blur_fast",
    "guided_filter_general": "guided_filter", "guided_filter_self": "guided_filter",
    "resize_nn_c1": "resize_nn", "resize_nn_c3": "resize_nn",
    "resize_bilinear_c1": "resize_bilinear", "resize_bilinear_c3": "resize_bilinear",
    "resize_bilinear_c4": "resize_bilinear", "resize_bilinear_c1_float": "resize_bilinear",
    "resize_bicubic_c1": "resize_bicubic", "resize_bicubic_c3": "resize_bicubic",
    "warpaffine_bilinear_c1": "warp_affine", "warpaffine_bilinear_c4": "warp_affine",
    "warpperspective_bilinear_c4": "warp_perspective",
    "object_detetion_preprocess": "detect_preprocess",
    "object_detetion_postprocess": "detect_postprocess",
}
PYTHONS_OWN = {"log_set_callback", "log_print", "read_file_into_buffer", "parse_file_float",
               "bytes_to_string", "bytes_to_int"}


def test_every_exported_function_is_there():
    header = (ROOT / "include/kelvra_cv.h").read_text()
    exported = header.split("visibility push")[1].split("visibility pop")[0]
    code = re.sub(r"//.*", "", exported)
    names = set(re.findall(r"\b([a-z]\w*)\(", code)) - {"__attribute__", "format", "callback"}
    assert len(names) > 90
    missing = [name for name in names - PYTHONS_OWN if not hasattr(k, OTHER_NAMES.get(name, name))]
    assert not missing


def test_types():
    """The annotations and the extension module's stub, by mypy."""
    package = ROOT / "python" / "kelvra_cv"
    mypy = [sys.executable, "-m", "mypy", "--no-incremental"]
    config = f"--config-file={ROOT / 'pyproject.toml'}"
    checked = subprocess.run([*mypy, config, package], capture_output=True, text=True, cwd=ROOT)
    assert checked.returncode == 0, checked.stdout
    stubs = re.findall(r"^def (\w+)", (package / "_core.pyi").read_text(), re.M)
    bound = [name for name in dir(k._core) if not name.startswith("_")]
    assert sorted(stubs) == bound


def test_the_package_is_the_one_that_was_built():
    assert Path(k._core.__file__).parent == Path(k.__file__).parent
    assert k.__version__ == k.get_version()[1:]
