"""The page of `infosync-tv explain --html` as a reader meets it: in a browser, by keyboard, at a thousand records.

Needs Debian's chromium and chromium-driver; without them it says so and is skipped.
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest
import urllib.request

from harness import BIN, main, tool

TRANSCRIPTS = pathlib.Path(__file__).parents[1] / "unit/transcripts"
DRIVER = shutil.which("chromedriver")
OPTIONS = ("--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
           "--disable-background-networking", "--disable-component-update", "--disable-sync",
           "--disable-dev-shm-usage", "--window-size=1250,900")
ENTRY = re.compile(r"([IWE]) ([^:]+: [^:]+): ?(.*)")
ENTER = "\ue007"
TAB = "\ue004"


def log_of(name):
    """The service's own lines at I."""
    entries = map(ENTRY.fullmatch, (TRANSCRIPTS / f"{name}.txt").read_text().splitlines())
    return "".join(f"{entry[1]}/BT_INFOSYNC(  77): {entry[2]}(1) > {entry[3]}\n" for entry in entries if entry)


class Browser:
    """Chromium by its driver (W3C WebDriver)."""

    def __init__(self, folder):
        self.driver = subprocess.Popen([DRIVER, "--port=0"], stdout=subprocess.PIPE, text=True,
                                       env={**os.environ, "HOME": folder})
        for line in self.driver.stdout:
            if port := re.search(r"started successfully on port (\d+)", line):
                break
        self.base = f"http://127.0.0.1:{port[1]}/session"
        wanted = {"binary": shutil.which("chromium"), "args": [*OPTIONS, f"--user-data-dir={folder}/profile"]}
        session = self.post("", {"capabilities": {"alwaysMatch": {"goog:chromeOptions": wanted}}})
        self.base += "/" + session["sessionId"]

    def post(self, path, body):
        request = urllib.request.Request(self.base + path, json.dumps(body).encode(), {"Content-Type": "application/json"})
        with urllib.request.urlopen(request, timeout=120) as answer:
            return json.load(answer)["value"]

    def run(self, script):
        return self.post("/execute/sync", {"script": "return " + script, "args": []})

    def press(self, *keys):
        actions = [{"type": kind, "value": key} for key in keys for kind in ("keyDown", "keyUp")]
        self.post("/actions", {"actions": [{"type": "key", "id": "keyboard", "actions": actions}]})

    def close(self):
        urllib.request.urlopen(urllib.request.Request(self.base, method="DELETE"), timeout=60).close()
        self.driver.terminate()
        self.driver.wait()
        self.driver.stdout.close()


@unittest.skipUnless(DRIVER and shutil.which("chromium"), "no chromium and chromium-driver here: the page is not tried")
class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix="infosync-page-")
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        cls.browser = Browser(cls.folder)
        cls.addClassCleanup(cls.browser.close)

    def show(self, log):
        page = pathlib.Path(self.folder) / "page.html"
        tool(BIN / "infosync-tv", "explain", "-", "--html", page, input=log)
        self.browser.post("/url", {"url": page.as_uri()})

    def test_the_picture_shows_who_spoke_to_whom(self):
        self.show(log_of("first") + log_of("refused-mark"))
        arrows = self.browser.run("""[...document.querySelectorAll('section:first-of-type .arrow')].map(a => {
            const names = [...a.closest('section').querySelectorAll('.names span')].map(n => {
                const box = n.getBoundingClientRect(); return [n.textContent, box.left + box.width / 2]; });
            const near = x => names.filter(n => Math.abs(n[1] - x) < 8).map(n => n[0])[0];
            const box = a.getBoundingClientRect();
            const ends = [near(box.left), near(box.right)];
            const head = getComputedStyle(a, '::after');
            return (head.content === 'none' ? [near(box.left + box.width / 2)] : head.right === '0px' ? ends : ends.reverse())
                .join('>'); })""")
        self.assertEqual(arrows, [
            "television>service", "television>service", "television>service", "service",
            "television>service", "service>authorisation server", "authorisation server>service", "service>cloud",
            "cloud>service", "service>cloud", "cloud>service", "service>cloud", "cloud>service", "service>television",
            "service"])
        words = self.browser.run("[...document.querySelectorAll('.words')].map(words => words.lastChild.textContent)")
        self.assertEqual(words[4:7], ["authorisation code", "token?", "token: the authorisation server gave one"])
        self.assertIn("FAILED: records: status 409", self.browser.run("document.querySelector('.fault').innerText"))
        self.assertEqual(self.browser.run("performance.getEntriesByType('resource').length"), 0)

    def test_each_step_opens_by_keyboard(self):
        self.show(log_of("first"))
        self.browser.run("document.querySelector('nav a').focus()")
        for step in range(2):
            self.browser.press(TAB, ENTER)
            self.assertEqual(self.browser.run("document.activeElement.parentElement.open"), True)
            self.assertEqual(self.browser.run("document.querySelectorAll('details[open]').length"), step + 1)
        self.assertIn("Start main loop", self.browser.run("document.querySelector('details[open] pre').innerText"))

    def test_a_thousand_records_and_hostile_names(self):
        head = "I/BT_INFOSYNC(  77): CDeviceInfo.cpp: "
        records = [{"record_id": f"r{i}", "name": "<img src=x onerror=alert(1)>\u202e", "address": "AA:BB:CC:00:11:22",
                    "uuids": "x" * 300} for i in range(1000)]
        log = "".join(f"{head}ImportData(1) > data:{json.dumps({'records': [record]})}\n" for record in records)
        log += "".join(f"{head}UpdateDeviceList(1) > record_id : r{i}\n{head[:21]}CommonUtil.cpp: SplitString(1) > "
                       f"input : {'x' * 300}\n" for i in range(1000))
        self.show(log)
        self.assertEqual(self.browser.run("document.querySelectorAll('img, script').length"), 0)
        self.assertEqual(self.browser.run("document.querySelectorAll('tr').length"), 1001)
        self.browser.run("document.querySelectorAll('details').forEach(d => { d.open = true; })")
        self.assertIn("<img src=x onerror=alert(1)>", self.browser.run("document.querySelectorAll('td')[0].innerText"))
        # Nothing has to be scrolled sideways, and it all stays quick to lay out.
        self.assertLessEqual(self.browser.run("document.scrollingElement.scrollWidth - innerWidth"), 0)
        self.assertLess(self.browser.run("document.documentElement.outerHTML.length"), 2_000_000)


if __name__ == "__main__":
    main()
