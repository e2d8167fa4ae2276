"""The command line as its users meet it. usage: kelvra_test.py KELVRA"""
import json
import os
import pathlib
import resource
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import zlib

import pictures

KELVRA = os.path.abspath(sys.argv.pop(1))


def ramp(x, y):
    return 20 * x % 256, 30 * y % 256, (x + y) * 7 % 256


class Kelvra(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def put(self, name, data):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)
        return str(path)

    def path(self, name):
        return str(self.folder / name)

    def run_kelvra(self, *words, code=0, stdin=b"", memory=2 << 30):
        limit = lambda: resource.setrlimit(resource.RLIMIT_AS, (memory, memory))
        done = subprocess.run([KELVRA, *words], input=stdin, capture_output=True, timeout=60,
                              preexec_fn=limit, check=False)
        self.assertEqual(done.returncode, code, (words, done.stderr))
        if code != 0 and words[0] != "batch":
            self.assertEqual(done.stderr.count(b"\n"), 1, done.stderr)
        self.error = done.stderr.decode()
        return done.stdout

    def left_over(self):
        return sorted(p.name for p in self.folder.rglob("*") if p.name.startswith("."))

    def test_usage_is_checked_before_anything_is_read(self):
        nothing, out = self.path("none.png"), self.path("out.png")
        for words, wanted in [
                (["clahee", nothing, out], "is clahe meant?"),
                (["clahe", nothing, out, "--clip", "x"], "clip is \"x\"; wanted a number"),
                (["clahe", nothing, out, "--nonsense", "1"], "--nonsense"),
                (["clahe", nothing], "OUT is required"),
                (["canny", nothing, out, "--low", "200"], "less than high"),
                (["box", nothing, self.path("out.gif")], "wanted a name that ends in .jpg or .png"),
                (["box", nothing, out, "--frame", "nv21:0x4"], "nv21:1920x1080"),
                (["box", nothing, out, "--quality", "101"], "quality"),
                (["run", "box | nothing", nothing, out], "\"nothing\""),
                (["run", "box", nothing], "OUT is missing"),
                (["batch", "box radius=0", nothing, "-o", self.path("o")], "radius is \"0\""),
                (["help", "nothing at all"], "there is no operation"),
                (["list", "nothing"], "wanted one of color filter"),
                (["completion", "tcsh"], "tcsh")]:
            self.run_kelvra(*words, code=2)
            self.assertIn(wanted, self.error, words)
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_texts_name_every_operation(self):
        table = json.loads(self.run_kelvra("list", "--json"))
        self.assertGreater(len(table), 50)
        manual, bash = self.run_kelvra("man").decode(), self.run_kelvra("completion", "bash")
        lines = self.run_kelvra("list").decode().splitlines()
        for operation, line in zip(table, lines, strict=True):
            self.assertTrue(line.startswith(operation["name"] + " "))
            self.assertIn(".B " + operation["name"] + "\n", manual)
            text = self.run_kelvra("help", operation["name"]).decode()
            for parameter in operation["parameters"]:
                self.assertIn("--" + parameter["name"], text)
        self.assertIn("Usage: kelvra batch", self.run_kelvra("help", "batch").decode())
        self.assertIn("\n  gallery ", self.run_kelvra("help").decode())
        script = self.put("complete.bash", bash)
        for words, wanted in [(["cla"], "clahe"), (["clahe", "--c"], "--clip"),
                              (["resize", "--filter", "bi"], "bilinear\nbicubic")]:
            line = " ".join(["kelvra", *words])
            shown = subprocess.run(
                ["bash", "-c", f". {script}; COMP_WORDS=({line}); COMP_CWORD={len(words)}; _kelvra_words;"
                 " printf '%s\\n' \"${COMPREPLY[@]}\""],
                capture_output=True, text=True, check=True)
            self.assertEqual(shown.stdout.strip(), wanted)

    def test_every_kind_of_picture(self):
        kinds = {
            "rgb": pictures.png(5, 4, ramp),
            "gray": pictures.png(5, 4, lambda x, y: (40 * x,), 1),
            "gray_alpha": pictures.png(5, 4, lambda x, y: (40 * x, 60 * y), 2),
            "alpha": pictures.png(5, 4, lambda x, y: (*ramp(x, y), 60 * y), 4),
            "deep": pictures.png(5, 4, lambda x, y: tuple(257 * v for v in ramp(x, y)), 3, 16),
            "palette": pictures.png(5, 4, lambda x, y: ((x + y) % 2,), 1,
                                    palette=b"\0\x10\x20\xff\xee\xdd"),
            "pixel": pictures.png(1, 1, ramp)}
        for name, data in kinds.items():
            file, out = self.put(name + ".png", data), self.path("out.png")
            self.run_kelvra("swap_channels", file, out)
            size = struct.unpack_from(">II", data, 16)
            self.assertEqual(pictures.pixels(self.folder.joinpath("out.png").read_bytes())[:2], size)
            self.run_kelvra("resize", file, self.path("out.jpg"), "--size", "300%")
            self.assertEqual(json.loads(self.run_kelvra("meta", "show", self.path("out.jpg")))["width"],
                             3 * size[0])
        self.assertEqual(pictures.pixels(self.run_kelvra("turn", self.path("deep.png"), "-", "--angle",
                                                         "0")),
                         pictures.pixels(self.run_kelvra("turn", "-", "-", "--angle", "0",
                                                         stdin=kinds["rgb"])))

    def test_broken_and_hostile_files(self):
        good = self.put("good.png", pictures.png(64, 64, ramp))
        self.run_kelvra("resize", good, self.path("good.jpg"), "--size", "400%")
        jpeg = self.folder.joinpath("good.jpg").read_bytes()
        png = self.folder.joinpath("good.png").read_bytes()
        def claims(side):
            header = struct.pack(">IIBBBBB", side, side, 8, 6, 0, 0, 0)
            return (png[:8] + pictures.chunk(b"IHDR", header) + pictures.chunk(b"IDAT", bytes(17)) +
                    pictures.chunk(b"IEND", b""))
        size = jpeg.index(b"\xff\xc0") + 5
        hostile = {
            "empty.png": b"", "text.jpg": b"hello", "cut.jpg": jpeg[:len(jpeg) // 2],
            "header.jpg": jpeg[:3], "cut.png": png[:-40], "bent.png": png[:60] + b"x" + png[61:],
            "vast.png": claims(60000), "large.png": claims(16000), "zero.png": claims(0),
            "vast.jpg": jpeg[:size] + b"\xff\xff\xff\xff" + jpeg[size + 4:],
            "large.jpg": jpeg[:size] + b"\x3f\xff\x3f\xff" + jpeg[size + 4:]}
        self.assertEqual(len(hostile["vast.png"]), 74)
        before = self.put("out.png", b"what was there")
        for name, data in hostile.items():
            self.run_kelvra("gray", self.put(name, data), before, code=1, memory=512 << 20)
            self.assertIn(name, self.error)
        # Every byte of a file's start, changed: an answer, and no crash.
        for at in range(8, 60):
            for data in (png, jpeg):
                bent = bytearray(data)
                bent[at] ^= 0x81
                done = subprocess.run([KELVRA, "gray", "-", "-"], input=bytes(bent),
                                      capture_output=True, timeout=60, check=False)
                self.assertIn(done.returncode, (0, 1))
        self.run_kelvra("channel", good, before, "--number", "4", code=1)
        self.run_kelvra("gray", self.path("none.png"), before, code=1)
        self.run_kelvra("gray", good, self.path("no/such/folder/out.png"), code=1)
        self.assertEqual(self.folder.joinpath("out.png").read_bytes(), b"what was there")
        self.assertEqual(self.left_over(), [])

    def test_profiles_and_exif_travel(self):
        iccp = pictures.chunk(b"iCCP", b"p\0\0" + zlib.compress(pictures.profile(), 0))
        for orientation in range(1, 9):
            exif = pictures.exif(orientation, big_endian=orientation % 2 == 0)
            file = self.put("in.png", pictures.png(
                3, 2, lambda x, y: (100 * x, 100 * y, 0), before=iccp + pictures.chunk(b"eXIf", exif)))
            out = self.run_kelvra("swap_channels", file, "-", "--order", "rgb")
            width, height, rows = pictures.pixels(out)
            self.assertEqual((width, height), (3, 2) if orientation < 5 else (2, 3))
            # Where the stored picture's first pixel and its right neighbour belong, by Exif.
            right, bottom = width - 1, height - 1
            corner = [(0, 0), (right, 0), (right, bottom), (0, bottom),
                      (0, 0), (right, 0), (right, bottom), (0, bottom)][orientation - 1]
            step = [(1, 0), (-1, 0), (-1, 0), (1, 0), (0, 1), (0, 1), (0, -1), (0, -1)][orientation - 1]
            at = lambda x, y: rows[y][3 * x:3 * x + 3]
            self.assertEqual(at(*corner), bytes([0, 0, 0]), orientation)
            self.assertEqual(at(corner[0] + step[0], corner[1] + step[1]), bytes([100, 0, 0]))
            # On to JPEG, through JPEG, and back.
            self.put("1.png", out)
            self.run_kelvra("box", self.path("1.png"), self.path("2.jpg"), "--radius", "1", code=1)
            self.run_kelvra("turn", file, self.path("2.jpg"))
            self.run_kelvra("turn", self.path("2.jpg"), self.path("3.jpg"))
            self.run_kelvra("turn", self.path("3.jpg"), self.path("4.png"))
            for name in ("1.png", "2.jpg", "3.jpg", "4.png"):
                shown = json.loads(self.run_kelvra("meta", "show", self.path(name)))
                self.assertEqual((shown["icc_bytes"], shown["exif_bytes"], shown["orientation"]),
                                 (400, len(exif), 1), name)
        self.run_kelvra("gray", file, self.path("gray.png"))
        self.assertEqual(json.loads(self.run_kelvra("meta", "show", self.path("gray.png")))["icc_bytes"],
                         0)
        self.put("plain.png", pictures.png(3, 2, ramp))
        self.run_kelvra("meta", "copy", file, self.path("plain.png"), self.path("copied.png"))
        for name in ("copied.png", "3.jpg"):
            stripped = self.path("stripped" + name[-4:])
            self.assertEqual(json.loads(self.run_kelvra("meta", "show", self.path(name)))["icc_bytes"],
                             400)
            self.run_kelvra("meta", "strip", self.path(name), stripped)
            shown = json.loads(self.run_kelvra("meta", "show", stripped))
            self.assertEqual((shown["icc_bytes"], shown["exif_bytes"]), (0, 0))
            same = [self.run_kelvra("turn", path, "-", "--angle", "0")
                    for path in (stripped, self.path(name))]
            self.assertEqual(*map(pictures.pixels, same))
        # A JPEG file that Exif turns: so it stays, stripped.
        jpeg, app1 = self.folder.joinpath("3.jpg").read_bytes(), b"Exif\0\0" + pictures.exif(6)
        app1 = b"\xff\xe1" + struct.pack(">H", len(app1) + 2) + app1
        turned = self.put("turned.jpg", jpeg[:2] + app1 + jpeg[2:])
        self.run_kelvra("meta", "strip", turned, self.path("stripped.jpg"))
        shown = json.loads(self.run_kelvra("meta", "show", self.path("stripped.jpg")))
        self.assertEqual((shown["icc_bytes"], shown["orientation"]), (0, 6))
        self.run_kelvra("meta", "copy", file, self.path("3.jpg"), self.path("x.jpg"), code=1)

    def test_findings_and_frames(self):
        disc = self.put("disc.png", pictures.png(
            80, 60, lambda x, y: (230 if (x - 50) ** 2 + (y - 20) ** 2 < 144 else 10,), 1))
        blobs = json.loads(self.run_kelvra("blobs", disc))
        self.assertEqual([(b["x"], b["y"]) for b in blobs["blobs"]], [(50, 20)])
        outline = json.loads(self.run_kelvra("outlines", disc, "--method", "none"))["outlines"][0]
        self.assertEqual(len(outline["points"]), outline["count"])
        counts = json.loads(self.run_kelvra("run", "resize 200% | histogram 128", disc))["histogram"]
        self.assertEqual(sum(c["count"] for c in counts), 4 * 80 * 60)
        for finder in ("boxes", "corners", "regions", "bounds"):
            self.assertIn(finder, json.loads(self.run_kelvra(finder, disc)))
            self.run_kelvra(finder, disc, self.path("drawn.png"))
        frame = bytes([81] * 64 + [90, 240] * 16)  # NV12 of pure red
        file = self.put("frame.raw", frame)
        _, _, rows = pictures.pixels(self.run_kelvra("turn", file, "-", "--frame", "nv12:8x8"))
        self.assertTrue(rows[3][0] > 250 and rows[3][1] < 5 and rows[3][2] < 5, rows[3][:3])
        self.run_kelvra("turn", file, "-", "--frame", "nv12:8x9", code=1)

    def test_batch(self):
        for i in range(6):
            self.put(f"in/{'ab'[i % 2]}/{i}.png", pictures.png(40 + i, 30, ramp))
        self.put("in/broken.jpg", b"\xff\xd8 no more")
        inputs, out = self.path("in"), self.folder / "out"
        chain = "resize 50% | clahe clip=2"
        self.run_kelvra("batch", chain, inputs, "-o", str(out), code=1)
        self.assertIn("6 done, 0 skipped, 1 failed", self.error)
        self.assertIn("broken.jpg: not a good JPEG", self.error)
        self.assertEqual(len(list(out.rglob("*.*"))), 6)
        alone = self.path("alone.png")
        self.run_kelvra("run", chain, self.path("in/b/3.png"), alone)
        self.assertEqual((out / "b/3.png").read_bytes(), pathlib.Path(alone).read_bytes())
        self.run_kelvra("resize", self.path("in/b/3.png"), self.path("large.jpg"), "--size", "900")
        self.run_kelvra("batch", "shrink 200", self.path("large.jpg"), "-o", str(out), "--draft")
        self.assertEqual(json.loads(self.run_kelvra("meta", "show", str(out / "large.jpg")))["width"],
                         200)
        (out / "large.jpg").unlink()
        (out / "b/3.png").unlink()
        self.run_kelvra("batch", chain, inputs, "-o", str(out), "--resume", code=1)
        self.assertIn("1 done, 5 skipped, 1 failed", self.error)
        self.run_kelvra("batch", "box", inputs, "-o", inputs, code=2)
        self.run_kelvra("batch", "box", self.path("in/a/0.png"), self.path("in/a/0.png"), "-o",
                        str(out), code=2)

    def test_interrupted_batch_leaves_whole_files(self):
        data = pictures.png(200, 150, ramp)
        for i in range(40):
            self.put(f"in/{i}.png", data)
        words = [KELVRA, "batch", "resize 1600% | gaussian 30", self.path("in"), "-o",
                 self.path("out"), "-j", "2"]
        with subprocess.Popen(words, stderr=subprocess.PIPE) as batch:
            while not list(self.folder.glob("out/*.png")):
                time.sleep(0.02)
                self.assertIsNone(batch.poll())
            batch.send_signal(signal.SIGINT)
            error = batch.communicate(timeout=60)[1]
            self.assertEqual(batch.returncode, 1)
        self.assertIn(b"interrupted", error)
        done = list(self.folder.glob("out/*"))
        self.assertTrue(0 < len(done) < 40)
        self.assertEqual(self.left_over(), [])
        for file in done:
            self.run_kelvra("meta", "show", str(file))


if __name__ == "__main__":
    unittest.main()
