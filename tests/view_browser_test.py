"""Uses the page in headless Chromium as a person does: view_browser_test.py SFDAG [unittest arguments].

Needs Chromium, its driver and Selenium for Python. With PICTURES=FOLDER in the environment it leaves screenshots there.
"""

import os
import sys
import tempfile
import time
import unittest
from pathlib import Path

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import WebDriverWait

import view_test
from view_test import PLATE, View

EXAMPLE = Path(__file__).resolve().parent.parent / "examples" / "gyroid_bracket.sfm"
PICTURES = os.environ.get("PICTURES")
SIZES = {"wide": (1280, 800), "narrow": (390, 844)}


def start_browser():
    options = webdriver.ChromeOptions()
    for argument in ["--headless=new", "--no-sandbox", "--use-angle=swiftshader", "--enable-unsafe-swiftshader",
                     "--disable-dev-shm-usage", "--hide-scrollbars"]:
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = start_browser()
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.file = os.path.join(folder.name, "plate.sfm")
        self.put(PLATE)

    def put(self, text):
        Path(self.file).write_text(text)

    def open(self, *arguments, size="wide"):
        view = View(*arguments)
        self.addCleanup(view.process.communicate)
        self.addCleanup(view.process.kill)
        width, height = SIZES[size]
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                     {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
        self.browser.get_log("browser")
        self.browser.get(f"http://{view.host}/")
        self.wait_for("ready")
        return view

    def find(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def until(self, condition):
        WebDriverWait(self.browser, 60, 0.05).until(lambda _: condition())

    def wait_for(self, state):
        self.until(lambda: self.find("#status").get_attribute("data-state") == state)

    def settled(self):
        """The number of triangles, and the picture, once the fine mesh is there."""
        self.wait_for("ready")
        time.sleep(0.3)  # the frame of the window
        return int(self.find("body").get_attribute("data-triangles")), self.find("#view").screenshot_as_png

    def slide(self, selector, steps):
        self.find(selector).send_keys(Keys.ARROW_RIGHT * steps)
        self.until(lambda: self.find("#status").get_attribute("data-state") == "ready")

    def choose(self, group, value):
        self.find(f"#{group} [data-value='{value}']").click()

    def write(self, text):
        self.browser.execute_script(
            "const s = document.getElementById('source'); s.value = arguments[0]; s.dispatchEvent(new Event('input'))", text)

    def picture(self, name):
        if PICTURES:
            time.sleep(0.3)
            self.browser.save_screenshot(os.path.join(PICTURES, f"{name}.png"))

    def tearDown(self):
        loud = [line for line in self.browser.get_log("browser")
                if line["level"] == "SEVERE" and not any(status in line["message"] for status in (" 422 ", " 409 "))]
        self.assertEqual(loud, [])

    def test_sliders_and_looks(self):
        self.open(str(EXAMPLE), "-n", "48")
        triangles, picture = self.settled()
        self.assertGreater(triangles, 10000)
        self.picture("page_wide")
        self.slide("#parameter-cell", 60)
        more = self.settled()
        self.assertNotEqual(more[0], triangles)
        self.assertNotEqual(more[1], picture)
        looks = {more[1]}
        for group, value in [("mode", "normals"), ("mode", "curvature"), ("axis", "x")]:
            self.choose(group, value)
            looks.add(self.settled()[1])
        self.picture("page_section")
        self.find("#wireframe").click()
        looks.add(self.settled()[1])
        self.assertEqual(len(looks), 5)
        self.find("#measure").click()
        self.until(lambda: "Thinnest wall" in self.find("#measures").text)

    def test_problems_come_and_go(self):
        self.open(self.file)
        triangles, _ = self.settled()
        begin = time.monotonic()
        self.write(PLATE.replace("cylinder", "cilinder"))
        self.wait_for("error")
        self.assertLess(time.monotonic() - begin, 5)
        self.assertEqual(self.find("#marks .error").text, "cilinder")
        self.assertIn("line 2", self.find("#problems").text)
        self.picture("page_problem")
        self.write(PLATE.replace("8, 6, 2", "8, 6, 6"))
        self.wait_for("ready")
        self.assertEqual(self.browser.find_elements(By.CSS_SELECTOR, "#marks .error, #problems li"), [])
        self.assertNotEqual(self.settled()[0], triangles)
        self.find("#revert").click()
        self.until(lambda: self.settled()[0] == triangles)

    def test_follows_the_file(self):
        view = self.open(self.file, "--watch")
        triangles, _ = self.settled()
        self.put("sphere(3)\n")
        self.until(lambda: self.find("#source").get_property("value") == "sphere(3)\n")
        self.until(lambda: self.settled()[0] != triangles)
        self.assertIn("has none", self.find("#parameters").text)
        self.assertEqual(view.end()[0], 130)
        self.until(lambda: "ended" in self.find("#status").text)
        self.browser.get_log("browser")  # of the polls that nobody answers

    def test_narrow_windows(self):
        self.open(self.file, size="narrow")
        self.settled()
        self.assertEqual(self.browser.execute_script("return document.documentElement.scrollWidth"), SIZES["narrow"][0])
        self.picture("page_narrow")


if __name__ == "__main__":
    view_test.SFDAG = os.path.abspath(sys.argv.pop(1))
    unittest.main()
