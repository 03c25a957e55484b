"""What may go wrong with what is stored, with the clock, and with the process itself."""

import itertools
import json
import os
import shutil
import signal
import subprocess
import unittest

from harness import BIN, UNDER_TOOLS, USER, EndToEnd, messages, tool

ALIASES = ("InfoSyncAccessToken", "InfoSyncAuthCode", "InfoSyncRecords", "InfoSyncJWT", "InfoSyncServiceActivationInfo")

# The system calls that change a file system; the n-th call of each is where the process is killed.
WRITES = ("write", "pwrite64", "rename", "renameat", "renameat2", "fsync", "fdatasync", "unlink", "unlinkat",
          "ftruncate", "fallocate", "mkdir", "mkdirat", "fchmod")


class Store(EndToEnd):
    BASE = {"kitchen", "phones"}

    def converges(self):
        lines = self.tv.sync()
        self.assertEqual(messages(lines)[-1], "<<Not Error>>End main loop")
        self.assertEqual(set(self.tv.devices()), self.BASE, "\n".join(messages(lines, "EW")))

    def test_damaged_records(self):
        self.tv.sync()
        damages = {
            "empty": lambda content: b"",
            "cut": lambda content: content[:len(content) // 2],
            "no object": lambda content: b"[1]",
            "null": lambda content: b"null",
            "entry of the wrong shape": lambda content: json.dumps({USER: 5, "other": {"kept": 1}}).encode(),
            "empty entry": lambda content: json.dumps({USER: {}}).encode(),
            "bytes": lambda content: bytes(range(256)),
            "members of the wrong type": lambda content: json.dumps({USER: {name: {"x": []} for name in (
                "access_token", "refresh_token", "userId", "access_token_expires_in", "refresh_token_expires_in",
                "issued_time_in_second", "dvcId", "expireTime", "accessToken", "tokenExpireTimeSec", "meta", "records")}}
            ).encode(),
        }
        for alias, (name, damage) in itertools.product(ALIASES, damages.items()):
            with self.subTest(alias=alias, damage=name):
                path = self.tv.folder / "keys" / alias
                path.write_bytes(damage(path.read_bytes()))
                self.tv.sync()
                self.converges()
                if name.startswith("entry") and alias != "InfoSyncAuthCode":
                    self.assertEqual(json.loads(path.read_text()).get("other"), {"kept": 1})

    def test_records_that_cannot_be_read(self):
        self.tv.sync()
        for alias in ALIASES:
            with self.subTest(alias):
                path = self.tv.folder / "keys" / alias
                path.unlink()
                path.mkdir()
                lines = self.tv.sync()
                self.assertEqual(messages(lines)[-1], "<<Not Error>>End main loop")
                path.rmdir()
                self.converges()

    def test_damaged_device_lists(self):
        self.tv.sync()
        path = self.tv.folder / "settings/db/com.quorlen.tv.bt-orbmanager/btinfosync/devices"
        good = path.read_text()
        # The list's own text is never thrown away by a run; every other shape is mended.
        path.write_text(good[:-1])
        lines = self.tv.sync()
        self.assertTrue(any("fail to parse" in line for line in messages(lines, "E")))
        self.assertEqual(path.read_text(), good[:-1])
        for text in ("", "null", "[]", "7", '{"kitchen":5,"phones":{"users":"x"}}', '{"kitchen":{}}'):
            with self.subTest(text):
                path.write_text(text)
                self.converges()
                self.assertEqual(self.tv.devices()["kitchen"]["users"], [USER])

    def test_a_store_that_cannot_be_written(self):
        """A full disk and a read-only one: a tmpfs too small for what a run stores, then closed to writing."""
        small = self.folder / "small"
        small.mkdir()
        mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=16k,mode=700", "tmpfs", small], capture_output=True, check=False)
        if mounted.returncode != 0:
            self.skipTest("mounting a tmpfs needs more rights than this machine gives")
        self.addCleanup(subprocess.run, ["umount", small], check=False)
        self.tv.run_tool("set", "log.level", "D")
        ini = (self.tv.folder / "tv.ini").read_text()
        (small / "tv.ini").write_text(ini)
        (small / "filler").write_bytes(b"x" * (4096 * 2))
        for option in ("size=16k", "ro"):
            subprocess.run(["mount", "-o", f"remount,{option}", small], check=True)
            done = tool(BIN / "bt-infosync", env={**os.environ, "INFOSYNC_TV_DIR": str(small)})
            self.assertIn("CKMC error", done.stderr)
        subprocess.run(["mount", "-o", "remount,rw,size=1m", small], check=True)
        tool(BIN / "bt-infosync", env={**os.environ, "INFOSYNC_TV_DIR": str(small)})
        listed = json.loads((small / "settings/db/com.quorlen.tv.bt-orbmanager/btinfosync/devices").read_text())
        self.assertEqual(set(listed), self.BASE)

    @unittest.skipUnless(shutil.which("strace"), "needs strace")
    def test_killed_at_every_write(self):
        """A first run that is killed at its n-th write, rename or sync, for every n that it makes."""
        self.kills = 0
        fresh = self.folder / "fresh"
        shutil.copytree(self.tv.folder, fresh)
        for name in WRITES:
            for n in itertools.count(1):
                shutil.rmtree(self.tv.folder)
                shutil.copytree(fresh, self.tv.folder)
                killed = self.run_until(name, n)
                if not killed:
                    break
                with self.subTest(call=name, n=n):
                    self.converges()
                    self.assertEqual(list((self.tv.folder / "keys").glob("*.??????")), [], "half a record is left")
            self.assertLess(n, 400)
        # Six documents are stored, each through a write, syncs and a rename.
        self.assertGreaterEqual(self.kills, 6 * 3)

    def run_until(self, name, n):
        """Runs the service, killed at its n-th call of that name; false when it makes fewer."""
        self.tv.run_tool("set", "log.level", "F")
        done = tool("strace", "-f", "-qq", "-o", "/dev/null", "-e", f"trace={name}",
                    "-e", f"inject={name}:signal=SIGKILL:when={n}", BIN / "bt-infosync", check=False,
                    env={**os.environ, **UNDER_TOOLS, "INFOSYNC_TV_DIR": str(self.tv.folder)})
        self.assertIn(done.returncode, (0, -signal.SIGKILL, 128 + signal.SIGKILL), done.stderr)
        self.kills += done.returncode != 0
        return done.returncode != 0

    def test_two_processes_at_once(self):
        for _ in range(5):
            pair = [subprocess.Popen([BIN / "bt-infosync"], stderr=subprocess.DEVNULL,
                                     env={**os.environ, "INFOSYNC_TV_DIR": str(self.tv.folder)}) for _ in range(2)]
            self.assertEqual([process.wait(timeout=60) for process in pair], [0, 0])
            self.converges()

    @unittest.skipUnless(shutil.which("faketime"), "needs faketime")
    def test_clocks_that_are_wrong(self):
        """A set may start before it knows the time; certificates then fail, and nothing is lost."""
        self.tv.sync()
        for moment in ("1970-01-02 00:00:00", "2100-01-01 00:00:00"):
            with self.subTest(moment):
                before = self.tv.stored()
                lines = self.tv.sync(before=("faketime", moment), **UNDER_TOOLS)
                self.assertEqual(messages(lines)[-1], "<<Not Error>>End main loop")
                self.assertTrue(set(before) <= set(self.tv.stored()))
                self.converges()


if __name__ == "__main__":
    unittest.main(verbosity=2)
