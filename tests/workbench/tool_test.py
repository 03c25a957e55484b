"""infosync-tv as a user or a script meets it: wrong calls, damaged folders, and a television sent to somebody else."""

import json
import re
import shutil
import subprocess
import unittest

from television_case import SECRET, SETTINGS, TOOL, USER, ToolCase

READING = (["devices"], ["records"], ["why"], ["bonds"], ["runs"], ["log"], ["check"], ["status"], ["status", "--json"], ["report", "-"])
CHANGING = (["sign-in", "ann"], ["sign-out"], ["bond", "AA:BB:CC:00:00:01"], ["unbond", "AA:BB:CC:00:00:01"],
            ["set", "log.level", "D"])


class ToolTest(ToolCase):
    def test_wrong_arguments(self):
        self.run_tool("init")
        for words in (["bond", "AA:BB"], ["bond", "AA-BB-CC-00-00-01"], ["bond"], ["sign-in"], ["sign-in", ""], ["explain", "--html", "-"],
                      ["set", "log.levle", "D"], ["set", "log.level", "X"], ["set", "sso.state", "one"],
                      ["set", "log.level"], ["set", "log.level", "D", "--unset"], ["run", "--timeout", "0"],
                      ["run", "--level", "loud"], ["devices", "--jsn"], ["report"], ["init", "more"]):
            with self.subTest(words):
                before = (self.tv / "tv.ini").read_bytes()
                self.run_tool(*words, status=2)
                self.assertEqual((self.tv / "tv.ini").read_bytes(), before)

    def test_no_television_and_no_place_for_one(self):
        for words in (*READING, *CHANGING, ["factory-reset"], ["run"], ["connect"]):
            with self.subTest(words):
                self.assertIn("infosync-tv init", self.run_tool(*words, status=1).stderr)
        (self.work / "file").write_text("")
        self.run_tool("init", status=1, tv=self.work / "file" / "tv")
        self.run_tool("init", "--cloud", self.work, status=1)
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
            for words in CHANGING:
                self.assertIn("init --force", self.run_tool(*words, status=1).stderr)
            self.assertEqual((self.tv / "tv.ini").read_text(), damage)
            self.assertEqual(json.loads(self.run_tool("status", "--json").stdout)["damaged"][0]["document"], "tv.ini")
            shutil.rmtree(self.tv)
        (self.tv / "tv.ini").mkdir(parents=True)
        for words in (["status"], ["status", "--json"]):
            self.assertIn("Is a directory", self.run_tool(*words).stdout)
        self.run_tool("sign-out", status=1)

    def test_status_in_words(self):
        self.television()
        text = self.run_tool("status").stdout
        for words in (r"access token +valid, (1h|59m.*) left  top-\.\.\. \(26 characters\)",
                      r"refresh token +ran out \d+s ago", r"activation +valid, (2d|1d 23h) left",
                      r"application token +valid, 1m.* left", r"records +3 records, mark of the last run 42",
                      r"device list +2 devices", r"last run +none yet"):
            self.assertRegex(text, words)
        self.assertNotIn(SECRET, text + self.run_tool("status", "--json").stdout)
        self.assertIn(SECRET, self.run_tool("status", "--show-secrets").stdout)

    def test_tables_show_names_but_no_control_characters(self):
        self.television()
        for words in (["devices"], ["records"]):
            text = self.run_tool(*words).stdout
            self.assertIn("Küche \\x1b[31m", text)
            self.assertNotIn("\x1b", text)
        self.assertRegex(text, r"kitchen +Küche.* AA:BB:CC:00:00:01 +yes +audio sink\n")
        self.assertRegex(text, r"gone +no +deleted\n")
        self.assertEqual(json.loads(self.run_tool("devices", "--json").stdout)[0]["users"], [USER])
        self.assertEqual(json.loads(self.run_tool("records", USER, "--json").stdout)[0]["mark"], 42)
        self.run_tool("records", "nobody", status=1)

    def test_damaged_documents_are_shown_as_damaged(self):
        self.television()
        names = [f"keys/{alias}" for alias in ("InfoSyncAccessToken", "InfoSyncServiceActivationInfo", "InfoSyncJWT", "InfoSyncRecords")]
        names.append(f"{SETTINGS}/devices")
        for name in names:
            self.write(name, "[]")
        status = json.loads(self.run_tool("status", "--json").stdout)
        self.assertEqual([entry["document"] for entry in status["damaged"]], [name.split("/")[-1] for name in names])
        self.assertIn("damaged", self.run_tool("status").stdout)
        for command in ("devices", "records"):
            self.assertIn("damaged", self.run_tool(command, status=1).stderr)
        self.run_tool("report", self.work / "out.json")

    def test_report_and_import_give_the_same_television(self):
        self.television()
        self.write("keys/Odd", "\0\1")
        (self.tv / "keys/Odd").write_bytes(b"\x00\xff")
        self.run_tool("report", "--with-secrets", self.work / "tv.json")
        self.run_tool("report", self.work / "tv.json", status=1)
        other = self.work / "other"
        self.run_tool("import", self.work / "tv.json", tv=other)
        content, taken = ({path.relative_to(root).as_posix(): path.read_bytes() for path in root.rglob("*")
                           if path.is_file() and path.suffix != ".lock"} for root in (self.tv, other))
        self.assertEqual(taken, content)
        self.assertEqual((other / "keys/Odd").stat().st_mode & 0o777, 0o600)
        (other / "notes").write_text("mine")
        (other / "keys/Stale").write_text("x")
        self.run_tool("import", self.work / "tv.json", status=1, tv=other)
        self.run_tool("import", "--force", self.work / "tv.json", tv=other)
        self.assertEqual((other / "notes").read_text(), "mine")
        self.assertFalse((other / "keys/Stale").exists())
        # A stranger's television must not write to, or send, the files of who imports it.
        report = json.loads((self.work / "tv.json").read_text())
        report["files"]["tv.ini"] = {"text": "[sso]\nauth_code=../x\n[log]\nlevel=W\nfile=/tmp/x\n"}
        (self.work / "tv.json").write_text(json.dumps(report))
        self.assertEqual(self.run_tool("import", "--force", self.work / "tv.json", tv=other).stdout.count("Left out: "), 2)
        self.assertEqual((other / "tv.ini").read_text().split(), ["[sso]", "[log]", "level=W"])

    def test_reported_television_holds_no_secret(self):
        self.television()
        self.write("keys/InfoSyncAuthCode", f'<rsp stat="ok"><auth_code>{SECRET}</auth_code></rsp>')
        reason = "what went wrong is what a report is for"
        self.run_tool("run", "--service", self.make_service(f"echo 'E/BT_INFOSYNC(1): main.cpp: main(1) > Exception : {reason}' >&2"), status=1)
        self.run_tool("report", self.work / "tv.json")
        text = (self.work / "tv.json").read_text()
        self.assertNotIn(SECRET, text)
        self.assertIn(reason, json.loads(json.loads(text)["files"]["runs/1.json"]["text"])["reason"])
        self.assertEqual(json.loads(text)["secrets"], "replaced")
        other = self.work / "other"
        self.assertIn("Masked in it", self.run_tool("import", self.work / "tv.json", tv=other).stdout)
        status = json.loads(self.run_tool("status", "--json", tv=other).stdout)
        self.assertEqual([request["request"] for request in status["next_run"]["requests"]],
                         ["token with a new code", "activation", "application token", "download"])
        with open(self.work / "tv.json") as report:
            subprocess.run([TOOL, "--dir", self.work / "piped", "import", "-"], stdin=report, check=True, capture_output=True)
        # A name that counts as harmless, and yet it holds what is a token elsewhere.
        self.write("tv.ini", (self.tv / "tv.ini").read_text() + f"# {SECRET}\n")
        self.assertNotIn(SECRET, self.run_tool("report", "-").stdout)

    def test_import_refuses_what_is_no_television(self):
        def bundle(extra, **changes):
            return json.dumps({"format": "infosync-tv report", "version": 1, "secrets": "replaced",
                               "files": {"tv.ini": {"text": ""}, **extra}} | changes)

        names = ("../x", "keys/../x", "keys/a/b", "/etc/x", "settings/../../x", "settings//x", "settings/", "keys/", "keys/.",
                 "other", "keys/a\nb", "settings/a\u202eb", "keys/a\x00b")
        texts = [bundle({name: {"text": "x"}}) for name in names]
        texts += ["", "[]", "{", bundle({}, version=2), bundle({}, format="x"), bundle({"keys/a": 5}), bundle({}, files={}),
                  bundle({"settings/a": {"text": ""}, "settings/a/b": {"text": ""}})]
        for text in texts:
            with self.subTest(text):
                (self.work / "in.json").write_text(text)
                self.run_tool("import", self.work / "in.json", status=1)
                self.assertEqual(sorted(path.name for path in self.work.iterdir()), ["in.json"])

    def test_run_reports_services_that_misbehave(self):
        self.run_tool("init")
        for script, outcome in (("exit 3", "crashed: exit status 3"), ("kill -SEGV $$", "crashed: ended by the signal"),
                                ("echo 'E/BT_INFOSYNC(1): a.cpp: f(1) > result != SSO_TRUE' >&2; exec sleep 60",
                                 "timed out: no end after 1 second; the last error was: result != SSO_TRUE"),
                                ("trap '' TERM; exec sleep 60", "timed out"),
                                ("echo 'E/BT_INFOSYNC(1): main.cpp: main(1) > <<Not Error>>End main loop' >&2", "success")):
            with self.subTest(script):
                done = self.run_tool("run", "--timeout", "1", status=int(outcome != "success"), INFOSYNC_SERVICE=str(self.make_service(script)))
                self.assertIn(f"run: {outcome}", " ".join(done.stdout.split()))
                self.assertIn(outcome, " ".join(self.run_tool("status").stdout.split()))
                self.assertIn(outcome, " ".join(self.run_tool("runs").stdout.replace(" " * 34, "").split()))
        runs = self.run_tool("runs", "--json").stdout
        self.assertIn("--service", self.run_tool("run", "--service", self.work / "none", status=1).stderr)
        self.assertEqual(self.run_tool("runs", "--json").stdout, runs, "what did not start is no run")

    def test_no_secret_of_a_whole_run_is_shown(self):
        cloud, folder = TOOL.with_name("infosync-cloud"), self.work / "cloud"
        subprocess.run([cloud, "init", "--dir", folder], check=True, capture_output=True)
        subprocess.run([cloud, "user", "add", USER, "--dir", folder], check=True, capture_output=True)
        server = subprocess.Popen([cloud, "serve", "--dir", folder, "--port", "0"], stdout=subprocess.PIPE, text=True)
        try:
            server.stdout.readline()
            self.run_tool("init", "--cloud", folder)
            self.run_tool("sign-in", USER)
            masked = self.run_tool("run", "--level", "V")
            stored = [json.loads((self.tv / "keys" / name).read_text())[USER] for name in ("InfoSyncAccessToken", "InfoSyncJWT")]
            code = (self.tv / "keys/InfoSyncAuthCode").read_text()
            secrets = [entry[name] for entry in stored for name in ("access_token", "refresh_token", "accessToken") if name in entry]
            secrets += [re.search(f"<{name}>(.+?)<", code).group(1) for name in ("auth_code", "code_verifier")]
            for words in (masked.stderr, self.run_tool("status").stdout, self.run_tool("report", "-").stdout):
                self.assertEqual([secret for secret in secrets if secret in words], [])
            self.assertEqual(len(secrets), 5)
            self.assertIn(secrets[2], self.run_tool("run", "--level", "V", "--show-secrets").stderr)
        finally:
            server.terminate()
            server.communicate(timeout=10)


if __name__ == "__main__":
    unittest.main()
