"""What may go wrong with what is stored, with the clock, and with the process itself."""

import os
import pathlib
import shutil
import signal
import subprocess
import unittest

from harness import BIN, UNDER_TOOLS, EndToEnd, Television, main

# The system calls that change a file system; the n-th call of each is where the process is killed.
WRITES = ("write", "pwrite64", "rename", "renameat", "renameat2", "fsync", "fdatasync", "unlink", "unlinkat",
          "ftruncate", "fallocate", "mkdir", "mkdirat", "fchmod")


class Store(EndToEnd):
    def test_a_store_that_cannot_be_written(self):
        """A full disk and a read-only one: a tmpfs too small for what a run stores, then closed to writing."""
        small = self.folder / "small"
        small.mkdir()
        mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=16k,mode=700", "tmpfs", small], capture_output=True, check=False)
        if mounted.returncode != 0:
            self.skipTest("mounting a tmpfs needs more rights than this machine gives")
        self.addCleanup(subprocess.run, ["umount", small], check=False)
        shutil.copy(self.tv.folder / "tv.ini", small)
        self.tv = Television(small)
        (small / "filler").write_bytes(b"x" * (4096 * 2))
        for option in ("size=16k", "ro"):
            subprocess.run(["mount", "-o", f"remount,{option}", small], check=True)
            self.assert_logged(self.tv.sync(), "CKMC error")
        subprocess.run(["mount", "-o", "remount,rw,size=1m", small], check=True)
        self.converges()

    @unittest.skipUnless(shutil.which("strace"), "needs strace")
    def test_killed_at_every_write(self):
        """A first run that is killed at its n-th write, rename or sync, for every n that it makes."""
        kills, seen = 0, []
        fresh = self.folder / "fresh"
        shutil.copytree(self.tv.folder, fresh)
        calls = [(name, 1) for name in WRITES]
        while calls:
            name, n = calls.pop()
            shutil.rmtree(self.tv.folder)
            shutil.copytree(fresh, self.tv.folder)
            self.tv.sync("F", check=False, before=("strace", "-f", "-qq", "-o", "/dev/null", "-e", f"trace={name}",
                                                   "-e", f"inject={name}:signal=SIGKILL:when={n}"), **UNDER_TOOLS)
            self.assertIn(self.tv.status, (0, -signal.SIGKILL, 128 + signal.SIGKILL))
            if self.tv.status == 0:
                continue
            calls.append((name, n + 1))
            kills += 1
            self.assertLess(n, 400)
            # What other kills left, too, is tried once; half a record has an ending of its own.
            left = sorted((pathlib.PurePath(path).stem, len(text)) for path, text in self.tv.stored().items())
            if left not in seen:
                seen.append(left)
                with self.subTest(call=name, n=n):
                    self.converges()
                    self.assertEqual(list((self.tv.folder / "keys").glob("*.??????")), [], "half a record is left")
        # Six documents are stored, each through a write, syncs and a rename.
        self.assertGreaterEqual(kills, 6 * 3)

    def test_two_processes_at_once(self):
        for _ in range(5):
            pair = [subprocess.Popen([BIN / "bt-infosync"], stderr=subprocess.DEVNULL,
                                     env={**os.environ, "INFOSYNC_TV_DIR": str(self.tv.folder)}) for _ in range(2)]
            self.assertEqual([process.wait(timeout=60) for process in pair], [0, 0])
            self.converges()

    @unittest.skipUnless(shutil.which("faketime"), "needs faketime")
    def test_clocks_that_are_wrong(self):
        """A set may start before it knows the time; certificates then fail, and nothing is lost."""
        self.tv.sync(level="W")
        for moment in ("1970-01-02 00:00:00", "2100-01-01 00:00:00"):
            with self.subTest(moment):
                before = self.tv.stored()
                lines = self.tv.sync(before=("faketime", moment), **UNDER_TOOLS)
                self.assert_ended_well(lines)
                self.assertTrue(set(before) <= set(self.tv.stored()))
                self.converges()


if __name__ == "__main__":
    main()
