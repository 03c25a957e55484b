"""What the tests in Python share: a television and a local cloud in a temporary folder, driven through the tools.

Each test gets its own pair, on a port of its own, so that tests run side by side.
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

os.umask(0o022)  # a folder that others may write to is refused
BIN = pathlib.Path(os.environ["INFOSYNC_BIN"])
USER = "ann@example.com"
OWNER = "db/com.quorlen.tv.bt-orbmanager/btinfosync"

# For a sanitized build: no leak check under a tracer, and no complaint about what faketime puts first.
UNDER_TOOLS = {"ASAN_OPTIONS": "detect_leaks=0:verify_asan_link_order=0"}

ENDPOINTS = ("token", "activation", "app", "download")

LINE = re.compile(r"^(?P<priority>[VDIWEF])/(?P<tag>\S+?) *\( *\d+\): (?P<text>.*)$")


def faster(speed):
    """Options for a program whose time passes so many times as fast as ours."""
    return {"before": ("faketime", "-f", f"+0 x{speed}"), **UNDER_TOOLS}


def tool(*words, check=True, **options):
    """Runs a command to its end and returns it; fails the test when the command fails."""
    done = subprocess.run([str(word) for word in words], capture_output=True, text=True, timeout=150, check=False,
                          errors="replace", **options)
    if check and done.returncode != 0:
        raise AssertionError(f"{words} ended with {done.returncode}:\n{done.stdout}\n{done.stderr}")
    return done


class Cloud:
    """infosync-cloud, serving on a free port until it is stopped."""

    def __init__(self, folder):
        self.folder = folder
        self.run("user", "add", USER)
        self._seen = 0  # the number of the last exchange

    def start(self, *options):
        self.run("serve", "--detach", "--port", "0", *options)
        self.port = self.counts()["port"]
        return self

    def stop(self):
        self.run("stop", check=False)

    def run(self, *words, **options):
        return tool(BIN / "infosync-cloud", "--dir", self.folder, *words, **options)

    def fault(self, kind, *values, **options):
        """Plans one, such as fault("cut", 5, on="download", times=2)."""
        self.run("fault", kind, *values, *(f"--{name}={value}" for name, value in options.items()))

    def answer_with(self, body, **options):
        """Plans that a request is answered with these bytes."""
        path = self.folder.parent / "body"
        path.write_bytes(body)
        self.fault("body", path, **options)

    def expire(self, what, *options, **run_options):
        return self.run("expire", what, USER, *options, **run_options)

    def counts(self):
        """How many connections and full_handshakes there were so far, among others."""
        return json.loads(self.run("status", "--json").stdout)

    def exchanges(self):
        """What was asked and answered since the last call."""
        kept = self.folder / "state/exchanges.jsonl"
        new = [e for e in map(json.loads, kept.read_text().splitlines() if kept.exists() else []) if e["number"] > self._seen]
        self._seen += len(new)
        return new


class Television:
    """The simulated set and its service."""

    def __init__(self, folder):
        self.folder = folder

    def run_tool(self, *words, **options):
        return tool(BIN / "infosync-tv", "--dir", self.folder, *words, **options)

    def sync(self, level="D", check=True, before=(), **environment):
        """One run of the service; returns its log lines as (priority, tag, text)."""
        done = tool(*before, BIN / "bt-infosync", check=check, env={
            **os.environ, "INFOSYNC_TV_DIR": str(self.folder), "INFOSYNC_TV_LOG_LEVEL": level, **environment})
        self.status = done.returncode
        lines = [LINE.match(line) for line in done.stderr.splitlines()]
        self.stray = [line for line in done.stderr.splitlines() if not LINE.match(line)]
        return [(line["priority"], line["tag"], line["text"]) for line in lines if line]

    def key(self, alias):
        path = self.folder / "keys" / alias
        return path.read_bytes().decode() if path.exists() else None

    def setting(self, name):
        path = self.folder / "settings" / OWNER / name
        return path.read_text() if path.exists() else None

    def devices(self):
        return json.loads(self.setting("devices") or "{}") or {}

    def stored(self):
        """Every stored document, to compare before and after."""
        return {path.relative_to(self.folder).as_posix(): path.read_bytes()
                for top in ("keys", "settings") for path in sorted((self.folder / top).rglob("*")) if path.is_file()}


def messages(lines, priorities="VDIWEF"):
    """The messages of the service's own lines, without the place that they come from."""
    return [text.split(" > ", 1)[-1] for priority, tag, text in lines
            if tag == "BT_INFOSYNC" and priority in priorities]


def main():
    """Runs the file's tests; ctest is told where one was skipped (77)."""
    result = unittest.main(module="__main__", exit=False, verbosity=2).result
    sys.exit(1 if not result.wasSuccessful() else 77 if result.skipped else 0)


class FolderCase(unittest.TestCase):
    """A test with a folder of its own."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="infosync-test-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)


class EndToEnd(FolderCase):
    """A signed-in television beside a running cloud with two audio sinks."""

    BASE = {"kitchen", "phones"}

    def setUp(self):
        super().setUp()
        self.cloud = Cloud(self.folder / "cloud").start()
        self.addCleanup(self.cloud.stop)
        self.tv = Television(self.folder / "tv")
        self.tv.run_tool("init", "--cloud", self.cloud.folder)
        self.tv.run_tool("sign-in", USER)
        self.add_device("kitchen", "Kitchen speaker", "AA:BB:CC:00:00:01")
        self.add_device("phones", "Headphones", "AA:BB:CC:00:00:02")

    def add_device(self, record_id, name, address, *options):
        self.cloud.run("device", "add", USER, name, address, "--id", record_id, *options)

    def assert_logged(self, lines, *wanted):
        said = messages(lines)
        for text in wanted:
            self.assertTrue(any(text in line for line in said), f"{text!r} not in:\n" + "\n".join(said[-40:]))

    def assert_ended_well(self, lines):
        self.assertEqual(messages(lines)[-1], "<<Not Error>>End main loop")
        self.assertEqual(self.tv.stray, [])

    def converges(self):
        """A run from here makes the right list anew."""
        (self.tv.folder / "settings" / OWNER / "devices").unlink(missing_ok=True)
        lines = self.tv.sync(level="W")
        self.assert_ended_well(lines)
        self.assertEqual(set(self.tv.devices()), self.BASE, messages(lines))
