"""infosync-tv as a user or a script meets it: wrong calls, damaged folders, and a television sent to somebody else."""

import json
import shutil
import subprocess
import unittest

from television_case import END, SECRET, SETTINGS, TOOL, USER, ToolCase

READING = (["devices"], ["why"], ["runs"], ["log"], ["status"], ["status", "--json"], ["report", "none.tar.gz"])
CHANGING = (["sign-in", "ann"], ["sign-out"], ["bond", "AA:BB:CC:00:00:01"], ["unbond", "AA:BB:CC:00:00:01"],
            ["set", "log.level", "D"])
SUCCESS = "E/BT_INFOSYNC(1): CKCloudDataHttpMessage.cpp: f(1) > error code : 200"


class ToolTest(ToolCase):
    def test_wrong_arguments(self):
        self.run_tool("init")
        for words in (["bond", "AA:BB"], ["bond", "AA-BB-CC-00-00-01"], ["bond"], ["sign-in"], ["sign-in", ""], ["explain", "--html", "-"], ["explain", "--html", ""],
                      ["set", "log.levle", "D"], ["set", "log.level", "X"], ["set", "sso.state", "one"],
                      ["set", "log.level"], ["set", "log.level", "D", "--unset"], ["run", "--timeout", "0s"], ["run", "--timeout", "2"],
                      ["run", "--level", "loud"], ["devices", "--jsn"], ["report"], ["init", "more"]):
            with self.subTest(words):
                before = (self.tv / "tv.ini").read_bytes()
                self.run_tool(*words, status=2)
                self.assertEqual((self.tv / "tv.ini").read_bytes(), before)

    def test_no_television_and_no_place_for_one(self):
        for words in (*READING, *CHANGING, ["factory-reset"], ["run"]):
            with self.subTest(words):
                self.assertIn("infosync-tv init", self.run_tool(*words, status=1).stderr)
        (self.work / "file").write_text("")
        self.run_tool("init", status=1, tv=self.work / "file" / "tv")
        self.run_tool("init", "--cloud", self.work, status=1)
        self.run_tool("init", tv=self.work / "other")
        for words in (["report", self.tv / "x.tar.gz"], ["explain", self.work / "file", "--html", self.tv / "x.html"]):
            self.assertIn("there is no folder", self.run_tool(*words, status=1, tv=self.work / "other").stderr)
        self.assertFalse(self.tv.exists())

    def test_init_never_overwrites(self):
        self.television()
        before = (self.tv / "tv.ini").read_bytes()
        self.run_tool("init")
        self.assertEqual((self.tv / "tv.ini").read_bytes(), before)
        self.run_tool("init", "--force")
        self.assertNotEqual((self.tv / "tv.ini").read_bytes(), before)
        self.assertTrue((self.tv / "keys/InfoSyncJWT").exists())

    def test_changing_tv_ini_keeps_what_people_wrote(self):
        self.run_tool("init")
        self.write("tv.ini", "# mine\n[sso]\n# state of it\nstate=0\n[other]\nkey=1\n")
        for words in CHANGING:
            self.run_tool(*words)
        text = (self.tv / "tv.ini").read_text()
        for line in ("# mine", "# state of it", "[other]", "key=1", "level=D"):
            self.assertIn(line, text)

    def test_damaged_tv_ini(self):
        for damage in ("no key file", "[sso]\nstate"):
            self.run_tool("init")
            self.write("tv.ini", damage)
            for words in (*CHANGING, ["run", "--service", "/bin/false"]):
                self.assertIn("init --force", self.run_tool(*words, status=1).stderr)
            self.assertEqual((self.tv / "tv.ini").read_text(), damage)
            problem = json.loads(self.run_tool("status", "--json").stdout)["problems"][0]
            self.assertIn(f"line {len(damage.splitlines())}: ", problem["problem"])
            shutil.rmtree(self.tv)
        (self.tv / "tv.ini").mkdir(parents=True)
        for words in (["status"], ["status", "--json"]):
            self.assertIn("Is a directory", self.run_tool(*words).stdout)
        self.run_tool("sign-out", status=1)

    def test_set_says_what_it_did_and_what_is_wrong(self):
        self.run_tool("init")
        self.assertEqual(self.run_tool("set", "log.level", "D").stdout, "log.level is now D\n")
        self.assertEqual(self.run_tool("set", "log.level", "--unset").stdout, "log.level is no longer set\n")
        self.write("tv.ini", "[log]\nlvl=D\n")
        self.assertIn("tv.ini, line 2: [log] lvl: no such key", self.run_tool("set", "sso.state", "1").stderr)

    def test_tables_show_names_but_no_control_characters(self):
        self.television()
        for words in (["devices"], ["why"], ["status"]):
            text = self.run_tool(*words).stdout
            self.assertNotIn("\x1b", text)
            self.assertNotIn(SECRET, text)
        self.assertIn("Küche \\x1b[31m", self.run_tool("devices").stdout)
        self.assertEqual(json.loads(self.run_tool("devices", "--json").stdout)[0]["users"], [USER])
        self.run_tool("why", "nobody", status=1)

    def test_damaged_documents_are_shown_as_damaged(self):
        self.television()
        names = [f"keys/{alias}" for alias in ("InfoSyncAccessToken", "InfoSyncServiceActivationInfo", "InfoSyncJWT", "InfoSyncRecords")]
        names.append(f"{SETTINGS}/devices")
        for name, damage in zip(names, ("[]", "7", '{"a":1', "[" * 100_000, "\0")):
            self.write(name, damage)
        status = json.loads(self.run_tool("status", "--json").stdout)
        self.assertEqual([problem["subject"] for problem in status["problems"]], sorted(name.split("/")[-1] for name in names))
        for command in ("devices", "why"):
            self.assertIn("damaged", self.run_tool(command, status=1).stderr)

    def test_a_report_is_a_television_without_its_secrets(self):
        self.television()
        self.write("keys/InfoSyncAuthCode", f'<rsp stat="ok"><auth_code>{SECRET}4</auth_code></rsp>')
        self.write("tv.ini", (self.tv / "tv.ini").read_text() + f"# {SECRET}\n")
        reason = "what went wrong is what a report is for"
        log = f"E/BT_INFOSYNC(1): main.cpp: main(1) > Exception : {reason} {SECRET}2"
        self.run_tool("run", "--service", self.make_service(f"echo '{log}' >&2"), status=1)
        archive = self.work / "theirs.tar.gz"
        self.run_tool("report", self.work / "none" / "tv.tar.gz", status=1)
        self.run_tool("report", archive)
        self.run_tool("report", archive, status=1)
        subprocess.run(["tar", "xzf", archive, "-C", self.work], check=True)
        other = self.work / "theirs"
        files = {path.relative_to(other).as_posix(): path.read_text() for path in other.rglob("*") if path.is_file()}
        self.assertLessEqual({"tv.ini", "versions.json", "runs/1.log", "keys/InfoSyncRecords"}, set(files))
        self.assertEqual([name for name, text in files.items() if SECRET in text], [])
        self.assertIn(reason, files["runs/1.log"])
        self.assertEqual((self.run_tool("devices", tv=other).stdout, self.run_tool("runs", tv=other).stdout),
                         (self.run_tool("devices").stdout, self.run_tool("runs").stdout))
        status = json.loads(self.run_tool("status", "--json", tv=other).stdout)
        self.assertEqual(status["problems"], [])
        self.assertEqual(status["next_run"]["requests"], ["token", "activation", "app", "download"])
        # Escaped, it is found by the last look alone.
        self.write("keys/InfoSyncJWT", json.dumps({USER: {"accessToken": "ünmasked-token"}}))
        self.write("settings/odd", json.dumps({"name": "ünmasked-token"}))
        refused = self.work / "refused.tar.gz"
        self.assertIn("settings/odd, so nothing was written", self.run_tool("report", refused, status=1).stderr)
        self.assertFalse(refused.exists())

    def test_run_reports_services_that_misbehave(self):
        self.run_tool("init")
        for script, outcome in (("exit 3", "crashed: exit status 3"), ("kill -SEGV $$", "crashed: ended by the signal"),
                                ("echo 'E/BT_INFOSYNC(1): a.cpp: f(1) > result != SSO_TRUE' >&2; exec sleep 60",
                                 "timed out: no end after 1s; the sign-in service gave no code"),
                                ("trap '' TERM; exec sleep 60", "timed out"),
                                (f"echo '{END}' >&2", "not told: the log shows the end"),
                                (f"echo '{SUCCESS}' >&2; echo '{END}' >&2", "success")):
            with self.subTest(script):
                done = self.run_tool("run", "--timeout", "1s", status=int(outcome != "success"), INFOSYNC_SERVICE=str(self.make_service(script)))
                self.assertIn(f"run: {outcome}", " ".join(done.stdout.split()))
                self.assertIn(outcome, " ".join(self.run_tool("status").stdout.split()))
                self.assertIn(outcome, self.run_tool("runs").stdout)
        runs = self.run_tool("runs", "--json").stdout
        self.assertIn("--service", self.run_tool("run", "--service", self.work / "none", status=1).stderr)
        self.assertEqual(self.run_tool("runs", "--json").stdout, runs, "what did not start is no run")


if __name__ == "__main__":
    unittest.main()
