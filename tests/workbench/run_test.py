"""`infosync-tv run`, and what may go on beside it: signals, other commands, stores that cannot be written to."""

import json
import os
import pwd
import select
import shutil
import signal
import subprocess
import unittest

from television_case import END, SECRET, SETTINGS, TOOL, USER, ToolCase


class RunTest(ToolCase):
    def setUp(self):
        super().setUp()
        self.run_tool("init")
        self.service = self.work / "service"

    def start(self, *words):
        """Starts a run, and returns it with the process id of its service, which then waits for the end of the world."""
        pipe = self.work / "pipe"
        pipe.unlink(missing_ok=True)
        os.mkfifo(pipe)
        self.make_service(f"echo $$ > {pipe}; exec sleep 1000")
        run = subprocess.Popen([TOOL, "--dir", self.tv, "run", "--service", self.service, *words], text=True,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=self.environment, start_new_session=True)
        self.addCleanup(run.communicate)
        self.addCleanup(run.kill)
        return run, int(pipe.read_text())

    def assert_gone(self, handle):
        self.assertTrue(select.select([handle], [], [], 20)[0], "the service is still there")
        os.close(handle)

    def test_signals_end_the_service_and_are_told_as_what_they_are(self):
        # A terminal sends its signals to the whole process group.
        for number, send in ((signal.SIGINT, os.killpg), (signal.SIGTERM, os.kill), (signal.SIGHUP, os.kill)):
            with self.subTest(number):
                run, service = self.start()
                handle = os.pidfd_open(service)
                send(run.pid, number)
                output, _ = run.communicate(timeout=20)
                self.assertEqual(run.returncode, 128 + number)
                self.assertIn("run: interrupted", output)
                self.assertIn("interrupted", self.run_tool("status").stdout)
                self.assert_gone(handle)

    def test_signals_that_were_to_be_ignored_are(self):
        self.addCleanup(signal.signal, signal.SIGHUP, signal.signal(signal.SIGHUP, signal.SIG_IGN))
        run, _ = self.start()
        os.kill(run.pid, signal.SIGHUP)
        os.kill(run.pid, signal.SIGTERM)
        run.communicate(timeout=20)
        self.assertEqual(run.returncode, 128 + signal.SIGTERM)

    def test_the_service_never_outlives_the_tool(self):
        run, service = self.start()
        handle = os.pidfd_open(service)
        run.kill()
        self.assert_gone(handle)

    def test_one_run_at_a_time(self):
        run, _ = self.start()
        self.assertIn("log -f", self.run_tool("run", status=1).stderr)
        self.run_tool("sign-in", USER)  # what only changes tv.ini does not wait
        run.terminate()
        run.communicate(timeout=20)
        self.assertIn("crashed: the log ends", self.run_tool("run", "--service", "/bin/true", status=1).stdout)

    def test_changes_at_the_same_time_all_take(self):
        addresses = [f"AA:BB:CC:00:00:{number:02}" for number in range(30)]
        self.run_tool("set", "bluetooth.known", "AA:BB:CC:00:00:99")
        changes = [subprocess.Popen([TOOL, "--dir", self.tv, *words], env=self.environment, stdout=subprocess.DEVNULL)
                   for address in addresses for words in (["bond", address], ["set", "system.model", address])]
        self.assertEqual([change.wait(60) for change in changes], [0] * len(changes))
        bonded = [line for line in (self.tv / "tv.ini").read_text().splitlines() if line.startswith("bonded=")]
        self.assertEqual(sorted(bonded[0].removeprefix("bonded=").split(";")), addresses)

    def test_what_could_not_be_stored_makes_the_run_failed(self):
        self.make_service(f"echo 'E/VCONF   ( 12): db/devices: No space left on device' >&2; echo '{END}' >&2")
        reason = "VCONF: db/devices: No space left on device"
        self.assertIn(reason, self.run_tool("run", "--service", self.service, status=1).stdout)
        kept = json.loads((self.tv / "runs/1.json").read_text())
        self.assertEqual((kept["outcome"], kept["reason"][-1]), ("failed", reason))
        shutil.rmtree(self.tv / "runs")
        (self.tv / "runs").write_text("")
        done = self.run_tool("run", "--service", self.service, status=1)
        self.assertIn("run: failed", done.stdout)
        self.assertIn("could not be kept", done.stderr)

    def test_says_what_the_service_waits_for(self):
        self.write("log", "E/BT_INFOSYNC(1): a.cpp: f(1) > of an earlier run\n")
        for target, level in (("&2", "I"), (f">{self.tv}/log", "W")):
            self.make_service(f"""{{
                echo 'W/BT_INFOSYNC(1): a.cpp: Start(1) > Not logged in, try : 1'
                echo 'E/BT_INFOSYNC(1): a.cpp: operator()(1) > result != SSO_TRUE'
                echo "level $INFOSYNC_TV_LOG_LEVEL"
                echo '{END}'; }} >{target}""")
            said = self.run_tool("run", "--level", "F", "--service", self.service, status=1).stderr
            self.assertIn("infosync-tv: waiting for sign-in", said)
            self.assertIn("infosync-tv: no code came", said)
            log = self.run_tool("log").stdout
            self.assertIn(f"level {level}", log)
            self.assertNotIn("earlier", log)
            self.run_tool("set", "log.file", "log")

    def test_no_secret_is_shown_wherever_it_is_cut(self):
        secrets = [f"Sec{number}retSecretSecret" for number in range(4)]
        token = ('accessToken : {"rsp":{"result":{"access_token"', f':"{secrets[0][:7]}', f'{secrets[0][7:]}","userId":"u"}}}}}}')
        lines = [f"I/BT_INFOSYNC(1): a.cpp: ImportAccessToken(1) > {line}" for line in token]
        lines += [f"I/BT_INFOSYNC(1): a.cpp: f(2) > body : code={secrets[1]}&code_verifier={secrets[2][:9]}",
                  f"I/BT_INFOSYNC(1): {secrets[2][9:]}",
                  f"E/BT_INFOSYNC(1): a.cpp: GetBTInfoDataFromCloud(3) > refused {secrets[3]}", END]
        (self.work / "lines").write_text("\n".join(lines))
        self.write("keys/InfoSyncJWT", json.dumps({"ben": {"accessToken": secrets[3]}}))
        self.make_service(f"cat {self.work}/lines >&2")
        done = self.run_tool("run", "--level", "V", "--service", self.service, status=1)
        page = self.work / "page.html"
        told = self.run_tool("explain", self.tv / "runs/1.log", "--html", page).stdout + page.read_text()
        masked = self.run_tool("explain", self.tv / "runs/1.log", "--masked").stdout
        self.assertIn("body : code=Sec1... (19 characters)", masked)
        shown = (done.stdout + done.stderr + (self.tv / "runs/1.json").read_text() + self.run_tool("log").stdout
                 + (told + masked).replace(secrets[3], ""))  # what is stored here is not known to whom explains a log from elsewhere
        pieces = [piece for secret in secrets for piece in (secret[4:12], secret[-8:])]
        self.assertEqual([piece for piece in pieces if piece in shown], [])
        self.assertIn("refused", told)
        done = self.run_tool("run", "--level", "V", "--service", self.service, "--show-secrets", status=1)
        self.assertEqual([piece for piece in secrets[1:2] + secrets[3:] if piece not in done.stderr], [])

    def test_the_log_of_a_run_by_its_level(self):
        self.make_service(f"echo 'I/BT_INFOSYNC(1): a.cpp: f(1) > much' >&2; echo '{END}' >&2")
        self.run_tool("run", "--service", self.service, status=1)
        self.assertIn("much", self.run_tool("log").stdout)
        narrow = self.run_tool("log", "1", "--level", "w").stdout
        self.assertNotIn("much", narrow)
        self.assertIn("End main loop", narrow)

    def test_an_outcome_that_could_not_be_written_is_told(self):
        self.make_service(f"echo '{END}' >&2")
        subprocess.run(["sh", "-c", 'trap "" XFSZ; ulimit -f 1; exec "$0" "$@"', TOOL, "--dir", self.tv, "run", "--service",
                        self.service], env=self.environment, capture_output=True, check=False)
        self.assertIn("not kept: how it ended could not be written", self.run_tool("runs").stdout)

    def test_last_runs_are_kept(self):
        self.television()
        says = "echo 'I/BT_INFOSYNC(1): CHttpMessage.cpp: AddHttpMessageData(1) > key:Authorization, value : x' >&2; " \
               "echo 'I/BT_INFOSYNC(1): CHttpMessage.cpp: Request(1) > before send' >&2; " \
               f"echo 'I/BT_INFOSYNC(1): a.cpp: f(1) > key:refresh_token, value : {SECRET}2' >&2; "
        says += "".join(f"echo '{line}' >&2; " for line in (
            "E/BT_INFOSYNC(1): CKCloudDataHttpMessage.cpp: f(1) > error code : 200", "I/BT_INFOSYNC(1): a.cpp: UpdateDeviceList(1) > {}"))
        change = "printf '{\"new\":{},\"odd\":{\"name\":\"Odd\"}}' > \"$INFOSYNC_TV_DIR/" + SETTINGS + "/devices\"; "
        service = self.make_service(f"{says}{change}echo '{END}' >&2")
        first = json.loads(self.run_tool("run", "--json", INFOSYNC_SERVICE=str(service)).stdout)
        self.assertEqual((first["outcome"], first["number"], [change["change"] for change in first["changes"]]), ("success", 1, ["removed", "added", "renamed"]))
        requests = [(each["request"], each["answered"], each["status"], each["seconds"]) for each in first["story"] if "request" in each]
        self.assertEqual(requests, [("download", True, 200, None)])
        self.assertRegex(self.run_tool("log", "-f").stdout, r"^\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}[+-]\d{4} I/BT_INFOSYNC\(1\): .*key:Authorization, value : ")
        self.assertNotIn(SECRET, self.run_tool("log").stdout)
        self.assertIn(SECRET, self.run_tool("log", "1", "--show-secrets").stdout)
        self.make_service("exit 3")
        for _ in range(20):
            self.run_tool("run", status=1, INFOSYNC_SERVICE=str(service))
        self.assertIn("the last run: crashed", " ".join(self.run_tool("why").stdout.split()))
        runs = json.loads(self.run_tool("runs", "--json").stdout)
        self.assertNotIn("run", runs[0])  # the number in a log that has others, too
        self.assertEqual([run["number"] for run in runs], list(range(2, 22)))
        self.assertEqual(len(list((self.tv / "runs").iterdir())), 40)
        self.assertIn("infosync-tv runs", self.run_tool("log", "1", status=1).stderr)
        self.make_service("echo 'E/BT_INFOSYNC(1): a.cpp: f(1) > under way' >&2; read said < pipe; echo $said >&2; exec sleep 60")
        os.mkfifo(self.work / "pipe")
        killed = subprocess.Popen([TOOL, "--dir", self.tv, "run"], stderr=subprocess.PIPE, stdout=subprocess.DEVNULL, start_new_session=True,
                                  cwd=self.work, env={**self.environment, "INFOSYNC_SERVICE": str(service)})
        killed.stderr.readline()
        follower = subprocess.Popen([TOOL, "--dir", self.tv, "log", "-f"], stdout=subprocess.PIPE, text=True, env=self.environment)
        self.assertIn("under way", follower.stdout.readline())
        (self.work / "pipe").write_text("more")
        self.assertIn("more", follower.stdout.readline())
        self.assertIn("last run             under way", self.run_tool("status").stdout)
        os.killpg(killed.pid, signal.SIGKILL)
        self.assertEqual(follower.communicate(timeout=60), ("", None))
        killed.communicate()
        (self.tv / "runs/22.log").unlink()
        (self.tv / "runs/21.json").write_text("[")
        (self.tv / "runs/20.json").write_text('{"outcome": [], "story": [5, {}], "changes": 3, "finished": 1e300}')
        self.assertEqual(self.run_tool("runs").stdout.count("unreadable: its note is damaged"), 2)
        self.assertIn("unreadable", self.run_tool("status").stdout)
        shutil.rmtree(self.tv / "runs")
        (self.tv / "runs").write_text("")
        self.assertIn("could not be kept", self.run_tool("run", "--service", "/bin/true", status=1).stderr)


class RightsTest(ToolCase):
    def test_what_may_not_be_read_is_not_damaged(self):
        self.television()
        user = None
        if os.geteuid() == 0:  # who may read everything
            user = pwd.getpwnam("nobody").pw_uid
            shutil.copy(TOOL, self.work)
            for path in (self.work, *self.work.rglob("*")):
                os.chown(path, user, -1)
        every = (["status"], ["devices"], ["why"], ["run"], ["sign-out"], ["init"], ["report", self.work / "x.tar.gz"])
        cases = {"keys/InfoSyncRecords": (["why"], ["status"], ["status", "--json"], ["report", self.work / "x.tar.gz"]),
                 f"{SETTINGS}/devices": (["devices"], ["status"]),
                 "keys": (["why"], ["status"], ["report", self.work / "x.tar.gz"]), "tv.ini": every, ".": every}
        for name, commands in cases.items():
            for words in commands:
                with self.subTest(name=name, words=words):
                    path = self.tv / name
                    mode = path.stat().st_mode
                    path.chmod(0)
                    try:
                        done = self.run_tool(*words, status=1, user=user)
                    finally:
                        path.chmod(mode)
                        (self.work / "x.tar.gz").unlink(missing_ok=True)
                    self.assertIn("Permission denied", done.stdout + done.stderr)
                    self.assertNotRegex(done.stdout + done.stderr, "filesystem error|Failed to|factory-reset|--force|(is|are) damaged")


if __name__ == "__main__":
    unittest.main()
