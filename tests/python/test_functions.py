"""Every function that makes or measures pictures: the bytes of the C++ tests' checksums, or of a plain
numpy formula, from arrays of any layout, into any `out`, and from many threads at once."""

import inspect
from concurrent.futures import ThreadPoolExecutor
from typing import Any, Callable, NamedTuple

import kelvra_cv as k
import numpy as np
import pytest
from conftest import checksum, mask_picture, picture, random_numbers

W, H = 150, 101


def noise(seed, *shape):
    numbers = np.fromiter(random_numbers(seed, int(np.prod(shape))), np.uint32)
    return (numbers >> 13).astype(np.uint8).reshape(shape)


def below(seed, limits):
    return [number % limit for number, limit in zip(random_numbers(seed, len(limits)), limits)]


GRAY, RGB, RGBA = picture(W, H, 1), picture(W, H, 3), picture(W, H, 4)
MASK = mask_picture(W, H)
TOPLESS = np.where(np.arange(H)[:, None] < 7, 0, MASK).astype(np.uint8)
STAR = np.reshape(below(11, [W, H] * 40), (40, 2))
CURVE = [(i * i % 301, i * 7 % 53 + i) for i in range(500)]
LAB = k.rgb_to_lab_fast(RGB)
NV = (noise(1, 35, 70), noise(4, 18, 70))
I420 = (NV[0], noise(2, 18, 35), noise(3, 18, 35))
AFFINE = np.float32([[0.9, 0.2, 1.5], [-0.25, 1.1, 3.25]])
FILL = [0x17, 0x5A, 0xC4, 0x81]
FROM, TO = (np.reshape(below(s, [64000] * 42), (21, 2)) / 64 for s in (8, 9))
ROWS = np.reshape(below(8, ([6400] * 2 + [3200] * 2 + [65] * 4) * 200), (200, 8)) / 64


def flattened(lists):
    """As the C++ tests flatten lists of points."""
    return [np.concatenate([np.int32([len(each)]), each.ravel()]) for each in lists]


def outlines(lists):
    return [np.concatenate([np.int32([[len(each), -1]]), each]) for each in lists]


def corners(found):
    x_y, response = found
    return [np.column_stack([x_y, response.view(np.int32)])]


def centers(found):
    return [np.array(found, np.dtype("i4,i4,f4,f4"))]


class Case(NamedTuple):
    function: Callable[..., Any]
    arguments: tuple
    options: dict
    expected: Any  # the name of a checksum, or the arrays
    arrays: Callable[[Any], list]  # of the result

    def call(self, **more):
        return self.function(*self.arguments, **self.options, **more)


def as_arrays(result):
    return list(result) if isinstance(result, (tuple, list)) else [result]


def case(function, *arguments, expected=None, arrays=as_arrays, **options):
    return Case(function, arguments, options, expected or function.__name__, arrays)


def halved_frame(frame):
    return [plane[::2, ::2] for plane in frame]


def sobel_dx(image):
    p = np.pad(image, 1, mode="edge").astype(np.int16)
    column = p[:-2] + 2 * p[1:-1] + p[2:]
    return column[:, 2:] - column[:, :-2]


U, V = NV[1][:, 0::2], NV[1][:, 1::2]
EVEN = (NV[0][:32, :64], U[:16, :32], V[:16, :32])
CASES = [
    case(k.rgb2gray, RGB),
    case(k.rgb2gray, RGB, expected=[(RGB @ np.array([19595, 38469, 7472]) >> 16).astype(np.uint8)]),
    case(k.rgba2gray, RGBA),
    case(k.rgba2gray, RGBA, order="bgra", expected=[k.rgb2gray(RGBA[..., 2::-1].copy())]),
    case(k.rgb_to_ycbcr, RGB, planar=True),
    case(k.rgb_to_ycbcr, RGB, expected=[np.moveaxis(k.rgb_to_ycbcr(RGB, planar=True), 0, 2)]),
    case(k.ycbcr_to_rgb, RGB),
    case(k.ycbcr_to_rgb, RGB.transpose(2, 0, 1), planar=True, expected="ycbcr_to_rgb"),
    case(k.rgba2hsv, RGBA),
    case(k.hsv2rgb, RGB),
    case(k.convert_c4_to_c3, RGBA, order="bgra"),
    case(k.split_channels, RGB, arrays=lambda planes: [planes]),
    case(k.merge_channels, RGB.transpose(2, 0, 1)),
    case(k.merge_channels, [RGBA[..., 0], RGBA[..., 1]], expected=[RGBA[..., :2]]),
    case(k.rgb_to_lab, RGB),
    case(k.rgb_to_lab_fast, RGB, threads=2),
    case(k.rgb_to_lab_fast, RGBA, order="bgra", expected="rgb_to_lab_c4_c3"),
    case(k.rgb_to_lab_fast, RGB, tables=k.init_rgb_to_lab_fast(), expected="rgb_to_lab_fast"),
    case(k.lab_to_rgb_c3_c4, LAB, order="bgra"),
    case(k.lab_to_rgb_fast, k.rgb_to_lab_fast(RGBA, order="bgra"),
         mask=np.full((H, W), 9, np.uint8), tables=k.init_lab_to_rgb_fast()),
    case(k.init_rgb_to_lab_fast, arrays=lambda tables: [tables[1]]),
    case(k.init_lab_to_rgb_fast, arrays=lambda tables: [each.astype(np.int32) for each in tables]),
    case(k.gaussian_blur, GRAY, 9),
    case(k.gaussian_blur_fast, GRAY, 4),
    case(k.gaussian_blur_fast, RGBA, 4, expected="gaussian_blur_c4"),
    case(k.filter_box, GRAY, 7),
    case(k.gaussian_blur_3x3, GRAY),
    case(k.gaussian_blur_5x5, GRAY),
    case(k.filter_max, GRAY, 3),
    case(k.filter_min, GRAY, 10),
    case(k.dilate_mask, GRAY, 1),
    case(k.erode_mask, GRAY, 1),
    case(k.threshold, GRAY, 127),
    case(k.threshold, GRAY, 9, 7, expected=[np.where(GRAY > 9, np.uint8(7), np.uint8(0))]),
    case(k.guided_filter, RGBA, 6, 0.01, GRAY, 0.5, expected="guided_filter_general"),
    case(k.guided_filter, RGBA, 6, 0.01, expected="guided_filter_self"),
    case(k.bilateral_filter, RGBA, 0.03, 0.1),
    case(k.sobel_grad, GRAY),
    case(k.sobel_grad, GRAY, expected=[sobel_dx(GRAY), sobel_dx(GRAY[::-1].T).T[::-1]]),
    case(k.sobel_edge, GRAY, 100),
    case(k.canny, RGBA, 40, 120),
    case(k.clahe, GRAY, expected="clahe_c1"),
    case(k.clahe, RGB, expected="clahe_c3"),
    case(k.clahe, RGBA, expected="clahe_c4"),
    case(k.cal_hist, RGB, rect=(5, 7, 140, 90),
         expected=[np.bincount(RGB[7:97, 5:145, c].ravel() // 16, minlength=16).astype(np.int32)
                   for c in range(3)]),
    case(k.cal_hist, RGB, [16, 3, 1], rect=(5, 7, 140, 90),
         arrays=lambda hists: [np.pad(each, (0, 256 - len(each))) for each in hists]),
    case(k.get_mask_edge, MASK),
    case(k.integral_int, GRAY),
    case(k.integral_int, GRAY,
         expected=[np.pad(GRAY.cumsum(0).cumsum(1), ((1, 0), (1, 0))).astype(np.int32)]),
    case(k.pyramid_gauss, RGB, 2, arrays=lambda levels: [levels[1]]),
    case(k.resize_nn, GRAY, (97, 120), expected="resize_nn_c1"),
    case(k.resize_nn, RGB, (97, 120), expected="resize_nn_c3"),
    case(k.resize_nn, GRAY, (75, 101), expected=[GRAY[:, ::2]]),
    case(k.resize_bilinear, GRAY, (97, 120), expected="resize_bilinear_c1"),
    case(k.resize_bilinear, RGB, (97, 120), expected="resize_bilinear_c3"),
    case(k.resize_bilinear, RGBA, (97, 120), order="bgra", expected="resize_bilinear_c4"),
    case(k.resize_bilinear, GRAY.astype(np.float32), (97, 120),
         expected="resize_bilinear_c1_float"),
    case(k.resize_bilinear_c4_to_c3, RGBA, (97, 120), order="bgra"),
    case(k.resize_bicubic, GRAY, (97, 120), expected="resize_bicubic_c1"),
    case(k.resize_bicubic, RGB, (97, 120), expected="resize_bicubic_c3"),
    case(k.get_rotation_matrix, 33, 1.25, (100, 50)),
    case(k.get_affine_transform, [(3, 4), (800, 21), (77, 640)], [(0, 9), (512, 1), (30, 511)],
         arrays=lambda M: [M], expected="get_affine_transform_points"),
    case(k.get_affine_transform, FROM, TO, arrays=lambda M: [M]),
    case(k.invert_affine_transform, k.get_affine_transform(FROM, TO)),
    case(k.get_perspective_transform, FROM[:4], TO[:4]),
    case(k.invert_perspective_transform, k.get_perspective_transform(FROM[:4], TO[:4])),
    case(k.warp_affine, GRAY, AFFINE, (160, 120), fill=99, expected="warpaffine_bilinear_c1"),
    case(k.warp_affine, RGBA, AFFINE, (160, 120), fill=FILL, expected="warpaffine_bilinear_c4"),
    case(k.warp_perspective, RGBA, np.vstack([AFFINE, [[0.001, -0.002, 1]]]), (160, 120),
         border=k.Border.REPLICATE, expected="warpperspective_bilinear_c4"),
    case(k.align_crop_img, RGBA, [(8, 8), (40, 8), (20, 30), (36, -20)],
         [(40, 30), (80, 50), (44, 60), (90, 12)], (48, 40), arrays=lambda both: [both[0]]),
    case(k.align_back_img, noise(1, 32, 32, 4), [[1.2, -0.3, 20], [0.3, 1.2, 8]],
         picture(90, 70, 4), erode_radius=3, feather_sigma=1),
    case(k.find_contours, MASK),
    case(k.find_blob_contours, (GRAY > 128) * np.uint8(255), k.Retrieval.TREE, arrays=outlines),
    case(k.find_blobs, MASK, arrays=flattened),
    case(k.find_blobs_contours, MASK, arrays=flattened),
    case(k.filter_blobs, MASK, k.find_blobs_contours(MASK), area=(1, 100000),
         circularity=(0, 10), inertia=(-9, 9), arrays=centers),
    case(k.fill_poly, np.zeros((H, W), np.uint8), STAR),
    case(k.approx_poly_dp, CURVE, 20.5, False),
    case(k.expand_contours, MASK, [[(20, 30), (21, 31), (22, 31)], [(148, 99)]], 17),
    case(k.flood_fill, RGBA, (40, 30), 60, max_distance=45, arrays=lambda found: [found[0]]),
    case(k.detect_preprocess, RGBA, (96, 80), mean=[10, 20.5, 30], std=[3, 7, 0.9],
         keep_order=False, order="bgra", arrays=lambda both: [both[0]],
         expected="object_detetion_preprocess"),
    case(k.detect_postprocess, ROWS, 0.2, 0.3, expected="object_detetion_postprocess",
         arrays=lambda boxes: [np.array(boxes, np.float32)]),
    case(k.get_anchors, (640, 480), [[10, 16, 33], [100, 200, 300], [100, 200, 300]],
         [8, 1000, 32]),
    case(k.fast_9_16, GRAY, 10, arrays=corners),
    case(k.convert_i420_argb, I420),
    case(k.convert_yv12_argb, I420),
    case(k.convert_nv12_argb, NV),
    case(k.convert_nv21_argb, (NV[0], NV[1].reshape(18, 35, 2)), flip=True),
    case(k.convert_nv12_i420, NV, expected=[NV[0], U, V]),
    case(k.convert_nv21_i420, np.concatenate([plane.ravel() for plane in NV]), size=(70, 35),
         expected=[NV[0], V, U]),
    case(k.copy_i420, I420, flip=True, expected=[plane[::-1] for plane in I420]),
    case(k.mirror_i420, I420, expected=[plane[:, ::-1] for plane in I420]),
    case(k.rotate_i420, I420, 90, expected=[np.rot90(plane, -1) for plane in I420]),
    case(k.rotate_nv12, NV, 180, expected=[plane[::-1, ::-1] for plane in (NV[0], U, V)]),
    case(k.rotate_nv21, NV, 270, expected=[np.rot90(plane) for plane in (NV[0], V, U)]),
    case(k.rotate_argb, RGBA, k.RotationMode.BY_90, expected=[np.rot90(RGBA, -1)]),
    case(k.crop_argb, RGBA, (3, 5, 70, 40), expected=[RGBA[5:45, 3:73]]),
    case(k.scale_i420, EVEN, (32, 16), k.ScaleMode.NONE,
         expected=[plane[1::2, 1::2] for plane in EVEN]),
    case(k.scale_argb, np.full((9, 9, 4), 77, np.uint8), (5, 4), k.ScaleMode.NONE, clip=(1, 1, 3, 2),
         expected=[np.pad(np.full((2, 3, 4), 77, np.uint8), ((1, 1), (1, 1), (0, 0)))]),
    case(k.run, "gaussian_5x5", GRAY, expected="gaussian_blur_5x5"),
]
NAMES = [f"{each.function.__name__}-{i}" for i, each in enumerate(CASES)]


def check(each, result, golden):
    found = each.arrays(result)
    if isinstance(each.expected, str):
        assert checksum(*found) == golden[each.expected]
        return
    assert len(found) == len(each.expected)
    for array, expected in zip(found, each.expected):
        assert array.dtype == expected.dtype
        np.testing.assert_array_equal(array, expected)


@pytest.mark.parametrize("each", CASES, ids=NAMES)
def test_results(each, golden):
    check(each, each.call(), golden)


def test_measures_that_are_no_arrays(golden):
    inside = [k.is_inside_poly(STAR, i % W, i // W) for i in range(W * H)]
    assert checksum(np.array(inside)) == golden["is_inside_poly"]
    boxes = [k.get_mask_pos(TOPLESS), k.get_mask_pos(TOPLESS, foreground=0)]
    assert checksum(np.int32(boxes)) == golden["get_mask_pos"]
    assert k.get_mask_pos(np.zeros((3, 3), np.uint8)) is None


def padded(array):
    """The same image inside a larger one: rows with padding, an odd address."""
    frame = np.full([array.shape[0] + 4, array.shape[1] + 6, *array.shape[2:]], 99, array.dtype)
    view = frame[3:-1, 5:-1]
    view[...] = array
    return view


LAYOUTS = {
    "padded": padded,
    "columns first": np.asfortranarray,
    "upside down": lambda array: array[::-1].copy()[::-1],
    "every second column": lambda array: np.repeat(array, 2, axis=1)[:, ::2],
    "big strides": lambda array: np.repeat(array, 3, axis=0)[::3],
    "unaligned": lambda array: np.frombuffer(b"?" + array.tobytes(), array.dtype, offset=1)
    .reshape(array.shape) if array.itemsize == 1 else
    np.ndarray(array.shape, array.dtype, bytearray(b"?" + array.tobytes()), 1),
}


def relaid(value, layout):
    if isinstance(value, np.ndarray) and value.ndim > 1:
        array = LAYOUTS[layout](value)
        array.flags.writeable = False
        return array
    if isinstance(value, (tuple, list)) and value and isinstance(value[0], np.ndarray):
        return type(value)(relaid(each, layout) for each in value)
    return value


@pytest.mark.parametrize("layout", LAYOUTS)
def test_any_layout_gives_the_same(layout, golden):
    for each in CASES:
        arguments = tuple(relaid(value, layout) for value in each.arguments)
        check(each._replace(arguments=arguments), each._replace(arguments=arguments).call(), golden)


def outs_like(result):
    """Places for a result: packed, inside a larger array, and one that only numpy can walk."""
    yield np.full_like(result, 77), None
    frame = np.full([result.shape[0] + 2, result.shape[1] + 3, *result.shape[2:]], 77, result.dtype)
    yield frame[1:-1, 1:-2], frame
    yield np.full_like(result, 77)[::-1, ::-1], None


KEEPING = {"lab_to_rgb_c3_c4", "scale_argb"}  # parts of `out` stay
WITH_OUT = [each for each in CASES if "out" in inspect.signature(each.function).parameters]


@pytest.mark.parametrize("each", WITH_OUT, ids=[each.function.__name__ for each in WITH_OUT])
def test_out(each):
    result = each.call()
    firsts = list(result) if isinstance(result, tuple) else [result]
    arrays = [array for array in firsts if isinstance(array, np.ndarray)]
    several = each.function.__name__ in ("sobel_grad",) or "i420" in each.function.__name__[-4:] \
        or each.function.__name__.startswith(("rotate_nv", "rotate_i"))
    arrays = arrays if several else arrays[:1]
    for places in zip(*(outs_like(array) for array in arrays)):
        outs = tuple(place for place, _ in places)
        if each.function.__name__ in KEEPING:
            for out in outs:
                out[...] = 0
        returned = each.call(out=outs if several else outs[0])
        for out, array, (_, frame) in zip(outs, arrays, places):
            np.testing.assert_array_equal(out, array)
            if frame is not None:  # nothing around it is written
                assert (frame == 77).sum() >= frame.size - out.size
                out[...] = 77
                assert (frame == 77).all()
        first = returned[0] if isinstance(returned, tuple) else returned
        assert first is outs[0]


@pytest.mark.parametrize("shift", [0, 1, 40])
def test_out_may_overlap_the_input(shift):
    for each in WITH_OUT:
        image, expected = each.arguments[0], each.call()
        usable = isinstance(image, np.ndarray) and isinstance(expected, np.ndarray)
        if not usable or expected.dtype != image.dtype or each.function.__name__ in KEEPING:
            continue
        memory = np.zeros(image.nbytes + expected.nbytes + 64, np.uint8)
        source = memory[: image.nbytes].view(image.dtype).reshape(image.shape)
        start = shift * image.itemsize
        out = memory[start: start + expected.nbytes].view(image.dtype).reshape(expected.shape)
        source[...] = image
        each._replace(arguments=(source, *each.arguments[1:])).call(out=out)
        np.testing.assert_array_equal(out, expected, err_msg=each.function.__name__)


def test_parts_of_out_that_stay():
    out = np.full((H, W, 4), 5, np.uint8)
    k.lab_to_rgb_c3_c4(LAB, out=out)
    assert (out[..., 3] == 5).all()
    kept = k.lab_to_rgb_fast(LAB, mask=MASK, out=np.full((H, W, 3), 5, np.uint8))
    assert (kept[MASK == 0] == 5).all()
    np.testing.assert_array_equal(kept[MASK != 0], k.lab_to_rgb_fast(LAB)[MASK != 0])
    warped = k.warp_affine(GRAY, [[1, 0, 9], [0, 1, 0]], (W, H), border=k.Border.KEEP,
                           out=np.full((H, W), 5, np.uint8))
    assert (warped[:, :9] == 5).all() and (warped[:, 9:] == GRAY[:, :-9]).all()
    image = picture(90, 70, 4)
    pasted = k.align_back_img(noise(1, 8, 8, 4), np.eye(2, 3), image)
    assert k.align_back_img(noise(1, 8, 8, 4), np.eye(2, 3), image, out=image) is image
    np.testing.assert_array_equal(image, pasted)


def test_threads(golden):
    with ThreadPoolExecutor(8) as pool:
        for each, result in [(each, pool.submit(each.call)) for each in CASES for _ in range(4)]:
            check(each, result.result(), golden)
