"""The pages in headless Chromium. usage: browser_test.py KELVRA [FOLDER for screenshots]"""
import contextlib
import http.client
import json
import os
import pathlib
import random
import re
import subprocess
import sys
import tempfile
import time
import unittest

from selenium import webdriver
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import Select, WebDriverWait

import pictures

KELVRA = os.path.abspath(sys.argv[1])
SHOTS = sys.argv[2] if len(sys.argv) > 2 else None


def scene(x, y):
    inside = (x - 60) ** 2 + (y - 40) ** 2 < 700
    return (220, 200, 40) if inside else (30 + x, 20 + 2 * y, (x * y) % 60)


def chromium():
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for word in ("headless=new", "no-sandbox", "disable-gpu", "disable-dev-shm-usage",
                 "disable-background-networking", "window-size=1280,860"):
        options.add_argument("--" + word)
    service = webdriver.chrome.service.Service("/usr/bin/chromedriver")
    return webdriver.Chrome(service=service, options=options)


class Pages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.photo = os.path.join(cls.folder.name, "disc.png")
        pathlib.Path(cls.photo).write_bytes(pictures.png(120, 80, scene))
        cls.server = subprocess.Popen([KELVRA, "play", os.environ.get("KELVRA_PHOTO", cls.photo)],
                                      stdout=subprocess.PIPE, text=True)
        cls.address = re.search(r"http://(127\.0\.0\.1:\d+)/", cls.server.stdout.readline())[1]
        cls.browser = chromium()
        cls.table = json.loads(subprocess.check_output([KELVRA, "list", "--json"]))

    @classmethod
    def tearDownClass(cls):
        cls.browser.quit()
        cls.server.terminate()
        cls.server.communicate()
        cls.folder.cleanup()

    def settle(self):
        done = lambda b: b.execute_script("return !busy && photo && finished === wanted")
        WebDriverWait(self.browser, 60, 0.02).until(done)
        return self.browser.find_element(By.ID, "error").text

    def open_page(self):
        self.browser.get(f"http://{self.address}/")
        WebDriverWait(self.browser, 30).until(lambda b: b.execute_script("return photo !== null"))
        self.assertEqual(self.settle(), "")

    def canvas_sum(self):
        """A number that says what is shown, 0 for nothing."""
        return self.browser.execute_script(
            "const c = document.getElementById('result');"
            "return c.getContext('2d').getImageData(0, 0, c.width, c.height).data"
            ".reduce((sum, v, i) => (sum * 31 + v + i) % 1000000007, 0)")

    def choose(self, name):
        """This operation alone, by the list, with its defaults."""
        self.browser.execute_script("steps = [newStep(arguments[0] === 'box' ? 'gray' : 'box')]; showSteps();", name)
        Select(self.browser.find_element(By.ID, "operation0")).select_by_value(name)
        self.assertEqual(self.settle(), "")

    def shot(self, name):
        if SHOTS:
            self.browser.save_screenshot(os.path.join(SHOTS, name + ".png"))

    def test_every_operation_opens_and_changes_with_its_controls(self):
        self.open_page()
        self.shot("play")
        for operation in self.table:
            name = operation["name"]
            with self.subTest(operation=name):
                self.choose(name)
                shown = self.browser.find_element(By.TAG_NAME, "body").get_attribute("data-chain")
                self.assertEqual(shown, " | ".join(filter(None, [operation["after"], name])))
                self.assertNotEqual(self.canvas_sum(), 0)
                for parameter in operation["parameters"]:
                    # To both ends, or the next choice: the chain follows, with a picture or a
                    # reason, and comes back.
                    self.browser.execute_script(
                        "const e = document.getElementById(`value${steps.length - 1}-${arguments[0]}`);"
                        "if (e.type === 'checkbox') e.click();"
                        "else if (e.tagName === 'SELECT') {"
                        "  e.selectedIndex = (e.selectedIndex + 1) % e.length; e.onchange(); }"
                        "else { e.value = e.max * .7; e.oninput(); }", parameter["name"])
                    error = self.settle()
                    text = self.browser.execute_script("return chainText()")
                    self.assertIn(f" {parameter['name']}=", text)
                    if not error:
                        self.assertNotEqual(self.canvas_sum(), 0)
                    else:
                        self.assertIn("wanted", error)
                        self.choose(name)

    def test_results_change_and_never_go_back(self):
        self.open_page()
        Select(self.browser.find_element(By.ID, "operation0")).select_by_value("threshold")
        self.settle()
        before = self.canvas_sum()
        # A hundred wishes while requests are under way: the last one is what is shown.
        self.browser.execute_script(
            "const e = document.getElementById('value0-level'), shown = window.seen = [];"
            "new MutationObserver(() => shown.push(Number(/level=(\\d+)/.exec(document.body.dataset.chain)"
            "?.[1] ?? 127))).observe(document.body, {attributeFilter: ['data-chain']});"
            "for (let i = 0; i < 100; ++i) setTimeout(() => { e.value = 300 + 5 * i; e.oninput(); }, 2 * i);")
        time.sleep(0.3)
        self.assertEqual(self.settle(), "")
        seen = self.browser.execute_script("return seen")
        self.assertEqual(seen, sorted(seen))
        self.assertEqual(seen[-1], self.browser.execute_script("return Number(steps[0].values.level)"))
        self.assertNotEqual(self.canvas_sum(), before)

    def test_chain_keyboard_and_phone(self):
        self.open_page()
        self.browser.find_element(By.ID, "add").click()
        Select(self.browser.find_element(By.ID, "operation1")).select_by_value("canny")
        self.assertEqual(self.settle(), "")
        self.assertIn("clahe | canny", self.browser.find_element(By.ID, "python").text)
        self.assertIn("KelvraCV::canny(src, dst, 60, 150);",
                      self.browser.find_element(By.ID, "cpp").text)
        divider = self.browser.find_element(By.ID, "divider")
        divider.send_keys(webdriver.Keys.ARROW_RIGHT)
        self.assertEqual(divider.get_attribute("aria-valuenow"), "52")
        slider = self.browser.find_element(By.ID, "value0-tiles")
        slider.send_keys(webdriver.Keys.ARROW_RIGHT)
        self.assertEqual(self.settle(), "")
        self.assertIn("clahe tiles=9", self.browser.find_element(By.ID, "python").text)
        self.browser.find_element(By.TAG_NAME, "body").send_keys("1")
        self.assertEqual(self.browser.execute_script("return view.scale"), 1)
        # The address keeps the chain.
        self.browser.refresh()
        WebDriverWait(self.browser, 30).until(lambda b: b.execute_script("return photo !== null"))
        self.assertEqual(self.settle(), "")
        self.assertEqual(self.browser.execute_script("return chainText()"), "clahe tiles=9 | canny")
        self.browser.set_window_size(500, 900)
        time.sleep(0.2)
        self.assertLessEqual(self.browser.execute_script("return document.body.scrollWidth"),
                             self.browser.execute_script("return innerWidth"))
        self.shot("phone")
        self.browser.set_window_size(1280, 860)
        # Another photo, by the file field, as by a drop.
        other = os.path.join(self.folder.name, "other.png")
        pathlib.Path(other).write_bytes(pictures.png(50, 60, scene))
        self.browser.find_element(By.ID, "file").send_keys(other)
        WebDriverWait(self.browser, 30).until(lambda b: b.execute_script("return photo.width === 50"))
        self.assertEqual(self.settle(), "")
        link = self.browser.find_element(By.ID, "save-png").get_attribute("href")
        status, body = self.ask("GET", link[link.index("/save"):])
        self.assertEqual((status, pictures.pixels(body)[:2]), (200, (50, 60)))

    def ask(self, method, path, body=None, headers=None):
        connection = http.client.HTTPConnection(self.address, timeout=30)
        with contextlib.closing(connection):
            connection.request(method, path, body=body, headers=headers or {})
            response = connection.getresponse()
            return response.status, response.read()

    def test_requests_from_elsewhere_are_refused(self):
        for headers in ({"Host": "evil.example"}, {"Host": self.address + "0"},
                        {"Origin": "http://evil.example"}, {"Origin": "null"},
                        {"Sec-Fetch-Site": "cross-site"}, {"Sec-Fetch-Site": "same-site"}):
            for path in ("/", "/table", "/photo/latest", "/save?id=1&chain=gray&format=png"):
                self.assertEqual(self.ask("GET", path, headers=headers)[0], 403, headers)
            self.assertEqual(self.ask("POST", "/run", "{}", headers)[0], 403, headers)
        self.assertEqual(self.ask("GET", "/table", headers={"Origin": "http://" + self.address})[0],
                         200)

    def test_hostile_requests(self):
        latest = json.loads(self.ask("GET", "/photo/latest")[1])["id"]
        for body, status in [
                ("", 400), ("[]", 400), ("{\"id\":1}", 400), ("{\"id\":\"x\",\"chain\":\"gray\"}", 400),
                (json.dumps({"id": latest, "chain": "../../etc/passwd"}), 400),
                (json.dumps({"id": latest, "chain": "resize 30000x30000"}), 422),
                (json.dumps({"id": latest, "chain": "resize 1600%|resize 1600%"}), 422),
                (json.dumps({"id": latest, "chain": "gray|" * 10000}), 400),
                (json.dumps({"id": -1, "chain": "gray"}), 409),
                (json.dumps({"id": 1e300, "chain": "gray"}), (400, 409)), ("[" * 60000, 400)]:
            self.assertIn(self.ask("POST", "/run", body)[0], status if isinstance(status, tuple)
                          else (status,), body[:80])
        for path in ("/../../../etc/passwd", "/%2e%2e/etc/passwd", "/photo?id=../x", "/photo?id=-1",
                     "/save?id=999&chain=gray&format=png", "/save?id=1&chain=gray&format=/etc",
                     "/save", "/nothing"):
            self.assertIn(self.ask("GET", path)[0], (400, 404, 409), path)
        for body in (b"", b"\xff\xd8\xff", b"x" * 100000, pathlib.Path(self.photo).read_bytes()[:70]):
            self.assertEqual(self.ask("POST", "/photo?name=%00%ff%22/..", body)[0], 422)
        chance = random.Random(5)
        for _ in range(300):
            body = bytearray(json.dumps({"id": latest, "chain": "clahe clip=3 | box 4"}).encode())
            for _ in range(chance.randrange(1, 6)):
                body[chance.randrange(len(body))] = chance.randrange(256)
            self.assertIn(self.ask("POST", "/run", bytes(body))[0], (200, 400, 409, 422), body)
        self.assertIsNone(self.server.poll())

    def test_gallery(self):
        folder = os.path.join(self.folder.name, "gallery")
        photos = os.environ.get("KELVRA_PHOTOS", "").split() or [self.photo]
        subprocess.run([KELVRA, "gallery", *photos, "-o", folder], check=True, stdout=subprocess.DEVNULL)
        self.browser.get("file://" + folder + "/index.html")
        decoded = lambda b: b.find_element(By.TAG_NAME, "body").get_attribute("data-decoded")
        total = len(photos) * len(self.table)
        self.assertEqual(WebDriverWait(self.browser, 60).until(decoded), f"{total} of {total}")
        self.assertEqual(len(self.browser.find_elements(By.TAG_NAME, "article")), len(self.table))
        self.assertEqual(os.listdir(folder), ["index.html"])
        slider = self.browser.find_element(By.CSS_SELECTOR, ".split input")
        slider.send_keys(webdriver.Keys.ARROW_RIGHT)
        self.assertIn("--at: 51%", slider.find_element(By.XPATH, "..").get_attribute("style"))
        self.shot("gallery")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
