"""Answers that cost many times their size, up to what the HTTP client lets through: no run may outgrow the unit, and
the next one with a good cloud works again. With INFOSYNC_WEIGHT=all also what takes minutes.
"""

import itertools
import json
import os
import subprocess

from harness import BIN, USER, EndToEnd, main

MOST_BYTES = 8 << 20  # [http] max_response_bytes, unless set
USERS = (USER, "bob@example.com", "eve@example.com")
WHOLE = os.environ.get("INFOSYNC_WEIGHT") == "all"
LIMIT_MIB = 400 if WHOLE else 120  # a quarter of the longest answer is seen otherwise
SANITIZED = b"__asan_init" in (BIN / "bt-infosync").read_bytes()  # its own memory is many times the service's
SINK = "0000110b-0000-1000-8000-00805f9b34fb"


def filled(start, part, end, most=MOST_BYTES):
    """As many parts as fit, with commas between them."""
    count = (most - len(start) - len(end)) // (len(part) + 1)
    return start + (part + ",") * (count - 1) + part + end


def answer(records):
    """Without a mark: the good cloud would refuse one that it did not give."""
    return '{"records":[' + ",".join(records) + "]}"


def devices(first, count, name, more=""):
    return answer(f'{{"record_id":"{n:x}","name":"{name}","address":"","uuids":"{SINK}"{more}}}' for n in range(first, first + count))


# Each is refused for the number of its values. Made when it is needed: a child's peak is at least its parent's size.
HEAVY = {
    "token": ("InfoSyncAccessToken", lambda: filled('{"rsp":{"result":{"access_token":"a"}},"x":[', "[]", "]}")),
    "activation": ("InfoSyncServiceActivationInfo", lambda: filled('{"rcode":0,"x":[', "0", "]}")),
    "app": ("InfoSyncJWT", lambda: filled('{"rcode":0,"x":[', "{}", "]}")),
    "download": ("InfoSyncRecords", lambda: filled('{"records":[],"meta":[', "{}", "]}")),
}
# Each is about as heavy as is let through. Control characters are stored six times as long as they came.
LET_THROUGH = {
    "levels": lambda: '{"records":[],"meta":' + "[" * 980 + "0" + "]" * 980 + "}",
    "control characters": lambda: answer(['{"record_id":"a","name":"' + "\x01" * (MOST_BYTES // (1 if WHOLE else 4) - 200) + f'","address":"","uuids":"{SINK}"}}']),
}

if WHOLE:
    LET_THROUGH["objects in meta"] = lambda: filled('{"records":[],"meta":[', "{}", "]}", 760_000)
    LET_THROUGH["records of two values"] = lambda: answer(f'{{"record_id":"{n:x}"}}' for n in range(250_000))


class Weight(EndToEnd):
    good = 0

    def setUp(self):
        super().setUp()
        for user in USERS[1:]:
            self.cloud.run("user", "add", user)

    def gets(self, body, endpoint="download"):
        """From here on, requests of this kind are answered so."""
        self.cloud.run("fault", "clear")
        self.cloud.answer_with(body.encode(), on=endpoint, times=100)

    def run_as(self, user, most=LIMIT_MIB):
        """One run within the limit; returns its errors."""
        self.tv.run_tool("sign-in", user)
        with subprocess.Popen([BIN / "bt-infosync"], stderr=subprocess.PIPE, text=True, errors="replace", env={
                **os.environ, "INFOSYNC_TV_DIR": str(self.tv.folder), "INFOSYNC_TV_LOG_LEVEL": "E"}) as process:
            log = process.stderr.read()
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
        peak = usage.ru_maxrss / 1024
        print(f"    {user}: {peak:.0f} MiB, {usage.ru_utime + usage.ru_stime:.1f} s", flush=True)
        self.assertEqual(process.returncode, 0, log)
        self.assertIn("<<Not Error>>End main loop", log.splitlines()[-1])
        self.assertTrue(peak < most or SANITIZED, log)
        return log

    def heals(self, most=LIMIT_MIB):
        """One run with a good cloud lists a device that is new to it; returns its errors."""
        self.cloud.run("fault", "clear")
        self.good += 1
        self.add_device(f"good-{self.good}", "New", "AA:BB:CC:00:00:03")
        log = self.run_as(USER, most)
        self.assertEqual(self.tv.devices().get(f"good-{self.good}", {}).get("users"), [USER], log)
        return log

    def test_a_stored_document_is_held_once(self):
        """The first of the file, while this process is small: a run reads 500,000 values twice, and they take 45 MiB."""
        self.run_as(USER)
        self.gets(filled('{"records":[],"x":[', "0", "]}", 1_000_000))
        self.run_as(USERS[1])
        self.heals(most=85)

    def test_heavy_answers_are_refused_and_leave_nothing(self):
        for endpoint, (alias, body) in HEAVY.items():
            with self.subTest(endpoint):
                self.gets(body(), endpoint)
                self.assertIn("fail to parse JSON: ", log := self.run_as(USERS[1]))
                self.assertRegex(log, r"(values|bytes), at most \d+ are read")
                self.assertNotIn(USERS[1], json.loads(self.tv.key(alias) or "{}"))
                self.heals()

    def test_what_is_let_through_can_be_kept(self):
        for shape, body in LET_THROUGH.items():
            with self.subTest(shape):
                self.gets(body())
                self.assertNotIn("fail to parse", self.run_as(USERS[1]))
                if WHOLE:
                    self.run_as(USERS[2])
                self.heals()
                (self.tv.folder / "keys/InfoSyncRecords").unlink()

    def test_heavy_documents_that_an_earlier_version_stored(self):
        self.run_as(USER)
        for alias in ("InfoSyncRecords", "InfoSyncJWT", "InfoSyncServiceActivationInfo", "InfoSyncAccessToken"):
            (self.tv.folder / "keys" / alias).write_text(filled(f'{{"{USER}":{{"meta":[', "{}", "]}}"))
        next((self.tv.folder / "settings").rglob("devices")).write_text(filled('{"a":[', "{}", "]}"))
        self.assertIn("are read, make it anew", self.heals())

    def test_records_that_add_up(self):
        """Each download is fine by itself; merged they become too heavy, and of many short ones the device list does, too."""
        users, counts, name, more = USERS[:1], (67, 67, 5), "", ',"more":[' + "0," * 4000 + "0]"
        if WHOLE:
            users, counts, name, more = USERS, [40_000] * 10, "D" * 70, ""
        logs = ""
        for user, (run, count) in itertools.product(users, enumerate(counts)):
            self.gets(devices(users.index(user) * 1_000_000 + run * 60_000, count, name, more))
            logs += self.run_as(user)
        for said in ("the records are too heavy, the next run downloads them anew: ", "are read, No data",
                     *(["are read, make it anew"] if WHOLE else [])):
            self.assertIn(said, logs)
        self.heals()

    if WHOLE:
        def test_the_shortest_devices(self):
            for first in range(0, 12_000_000, 1_000_000):
                user = USERS[first // 1_000_000 % 3]
                self.gets(devices(first, 88_000, ""))
                self.run_as(user)
                self.run_as(user)
                self.heals()


if __name__ == "__main__":
    main()
