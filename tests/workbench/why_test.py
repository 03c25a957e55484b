"""What infosync-tv tells of a television: why a device is listed or not, its last runs, the next one, and what is wrong."""

import json
import os
import shutil
import signal
import subprocess
import time
import unittest

from television_case import SECRET, SETTINGS, TOOL, USER, ToolCase


class WhyTest(ToolCase):
    def test_why_gives_the_cause_that_the_service_sees(self):
        self.television()
        sink, source, address = "0000110b-0000-1000-8000-00805f9b34fb", "0000110a-0000-1000-8000-00805f9b34fb", "AA:BB:CC:00:00:%02d"

        def record(number, uuids, **extra):
            return {"record_id": f"r{number}", "name": f"Device {number}" + " of mine" * 9 * (number == 11), "address": address % number, "uuids": uuids, **extra}

        mine = [record(1, sink), record(2, source), record(3, sink.upper()), record(4, ""), record(5, f"{source},{sink}"),
                {"record_id": "r6"}, record(7, {}), record(8, sink), record(9, sink), {"record_id": "r10"}, record(11, sink), 7]
        self.write("keys/InfoSyncRecords", json.dumps({
            USER: {"meta": {"synced_timestamp": 42}, "records": mine}, "ben": {"records": [record(20, sink)]}}))
        listed = {name: {"name": "x", "address": "y", "users": users} for name, users in
                  {"r1": [USER], "r8": ["ben"], "r9": [USER], "r10": [USER, "ben"], "left": ["ben"]}.items()}
        self.write(f"{SETTINGS}/devices", json.dumps(listed))
        for number in (5, 9):
            self.run_tool("bond", (address % number).lower())
        before = {path: path.read_bytes() for path in self.tv.rglob("*") if path.is_file()}
        found = {device["id"]: device for device in json.loads(self.run_tool("why", "--json").stdout)["devices"]}
        for name, is_listed, why, words in (
                ("r1", True, "audio sink", "not paired"), ("r2", False, "no audio sink", "services: 110a Audio Source"),
                ("r3", False, "no audio sink", "lower case"), ("r4", False, "no audio sink", "offers no services"),
                ("r5", False, "paired", "infosync-tv unbond AA:BB:CC:00:00:05"), ("r6", False, "deleted", "in the cloud"),
                ("r7", False, "malformed", "mend"), ("", False, "malformed", "mend"), ("r8", False, "next run", "listed by the record of ben only"),
                ("r9", True, "paired", "before it was paired"), ("r10", True, "deleted", "next run takes it off"),
                ("r11", False, "next run", "infosync-tv run")):
            with self.subTest(name):
                self.assertEqual((found[name]["listed"], found[name]["why"]), (is_listed, why))
                self.assertIn(words, found[name]["words"])
        self.assertEqual({path: path.read_bytes() for path in self.tv.rglob("*") if path.is_file()}, before)
        self.assertIn("belongs to ben, who is not signed in", self.run_tool("why", "device 20").stdout)
        for word, words in (("speaker", "came to mark 42"), ("left", "on the device list for ben, though"), (address % 5, "")):
            self.assertIn(words, " ".join(self.run_tool("why", word, status=int(words != "")).stdout.split()))
        self.assertEqual([(bond["address"], bond["paired"], bond["name"]) for bond in json.loads(self.run_tool("bonds", "--json").stdout)],
                         [(address % 5, True, "Device 5"), (address % 9, True, "Device 9")])
        self.write(f"{SETTINGS}/devices", "[")
        self.assertIsNone(json.loads(self.run_tool("why", "r1", "--json").stdout)["devices"][0]["listed"])
        self.run_tool("sign-out")
        self.assertIn("nobody is signed in", self.run_tool("why").stdout)
        self.write("keys/InfoSyncRecords", "[")
        self.assertIn("damaged", self.run_tool("why", status=1).stderr)

    def test_last_runs_are_kept(self):
        self.television()
        says = "echo 'I/BT_INFOSYNC(1): CHttpMessage.cpp: AddHttpMessageData(1) > key:Authorization, value : x' >&2; " \
               "echo 'I/BT_INFOSYNC(1): CHttpMessage.cpp: Request(1) > before send' >&2; " \
               f"echo 'I/BT_INFOSYNC(1): a.cpp: f(1) > key:refresh_token, value : {SECRET}2' >&2; "
        end = "echo 'E/BT_INFOSYNC(1): main.cpp: main(1) > <<Not Error>>End main loop' >&2"
        change = "printf '{}' > \"$INFOSYNC_TV_DIR/" + SETTINGS + "/devices\"; "
        service = self.make_service(f"{says}{change}{end}")
        first = json.loads(self.run_tool("run", "--json", INFOSYNC_SERVICE=str(service)).stdout)
        self.assertEqual((first["outcome"], first["number"], [change["change"] for change in first["changes"]]), ("success", 1, ["removed"] * 2))
        self.assertEqual(first["requests"], [{"request": "download", "answered": False, "status": None, "mark": None}])
        self.assertRegex(self.run_tool("log", "-f").stdout, r"^\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}[+-]\d{4} I/BT_INFOSYNC\(1\): .*key:Authorization, value : ")
        self.assertNotIn(SECRET, self.run_tool("log").stdout)
        self.assertIn(SECRET, self.run_tool("log", "1", "--show-secrets").stdout)
        self.make_service("exit 3")
        for _ in range(20):
            self.run_tool("run", status=1, INFOSYNC_SERVICE=str(service))
        self.assertIn("the last run: crashed", " ".join(self.run_tool("why").stdout.split()))
        runs = json.loads(self.run_tool("runs", "--json").stdout)
        self.assertEqual([run["number"] for run in runs], list(range(2, 22)))
        self.assertEqual(len(list((self.tv / "runs").iterdir())), 40)
        self.assertIn("infosync-tv runs", self.run_tool("log", "1", status=1).stderr)
        self.make_service("echo 'E/BT_INFOSYNC(1): a.cpp: f(1) > under way' >&2; exec sleep 60")
        killed = subprocess.Popen([TOOL, "--dir", self.tv, "run"], stderr=subprocess.PIPE, stdout=subprocess.DEVNULL, start_new_session=True,
                                  env={**self.environment, "INFOSYNC_SERVICE": str(service)})
        killed.stderr.readline()
        follower = subprocess.Popen([TOOL, "--dir", self.tv, "log", "-f"], stdout=subprocess.PIPE, text=True, env=self.environment)
        self.assertIn("under way", follower.stdout.readline())
        self.assertIn("last run             under way", self.run_tool("status").stdout)
        os.killpg(killed.pid, signal.SIGKILL)
        self.assertEqual(follower.communicate(timeout=60), ("", None))
        killed.communicate()
        (self.tv / "runs/22.log").unlink()
        (self.tv / "runs/21.json").write_text("[")
        (self.tv / "runs/20.json").write_text('{"outcome": [], "requests": [5, {}], "changes": 3, "finished": 1e300}')
        self.assertEqual(self.run_tool("runs").stdout.count("unreadable: its note is damaged"), 2)
        self.assertIn("unreadable", self.run_tool("status").stdout)
        shutil.rmtree(self.tv / "runs")
        (self.tv / "runs").write_text("")
        self.assertIn("could not be kept", self.run_tool("run", "--service", "/bin/true", status=1).stderr)

    def test_status_says_what_the_next_run_asks_for(self):
        self.television()
        now = int(time.time())

        def planned():
            return [request["request"] for request in json.loads(self.run_tool("status", "--json").stdout)["next_run"]["requests"]]

        fresh = {USER: {"access_token": "a", "refresh_token": "b", "issued_time_in_second": now, "access_token_expires_in": 900,
                        "refresh_token_expires_in": 900}}
        self.assertEqual(planned(), ["token with a new code", "download"])
        self.write("keys/InfoSyncAccessToken", json.dumps(fresh))
        self.assertEqual(planned(), ["download"])
        fresh[USER]["access_token_expires_in"] = -9
        self.write("keys/InfoSyncAccessToken", json.dumps(fresh))
        self.write("keys/InfoSyncJWT", "{")
        self.assertEqual(planned(), ["token refresh", "application token", "download"])
        text = " ".join(self.run_tool("status").stdout.split())
        self.assertRegex(text, r"token refresh \(access token ran out at .*\d\d:\d\d\), application token \(.*damaged\), download \(from mark 42\)")
        self.run_tool("factory-reset")
        self.assertEqual(planned()[0], "token with a new code")
        self.run_tool("sign-out")
        self.assertEqual(planned(), ["nothing"])

    def test_check_names_what_is_wrong(self):
        def wrong():
            results = json.loads(self.run_tool("check", "--json", status=1).stdout)
            return {result["subject"]: result["words"] for result in results if not result["fine"]}

        self.television()
        self.assertEqual(list(wrong()), ["cloud"])
        (self.tv / "keys").chmod(0o777)
        self.write("tv.ini", (self.tv / "tv.ini").read_text() + "[http]\nca_file=none.pem\n[log]\nlevel=X\n")
        os.utime(self.tv / "settings", (time.time() + 9000, time.time() + 9000))
        found = wrong()
        self.assertEqual(sorted(found), ["certificates", "clock", "cloud", "folder", "tv.ini"])
        self.assertIn("chmod go-w", found["folder"])


if __name__ == "__main__":
    unittest.main()
