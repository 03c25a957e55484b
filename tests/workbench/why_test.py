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
    def test_last_runs_are_kept(self):
        self.television()
        says = "echo 'I/BT_INFOSYNC(1): CHttpMessage.cpp: AddHttpMessageData(1) > key:Authorization, value : x' >&2; " \
               "echo 'I/BT_INFOSYNC(1): CHttpMessage.cpp: Request(1) > before send' >&2; " \
               f"echo 'I/BT_INFOSYNC(1): a.cpp: f(1) > key:refresh_token, value : {SECRET}2' >&2; "
        says += "".join(f"echo '{line}' >&2; " for line in (
            "E/BT_INFOSYNC(1): CKCloudDataHttpMessage.cpp: f(1) > error code : 200", "I/BT_INFOSYNC(1): a.cpp: UpdateDeviceList(1) > {}"))
        end = "echo 'E/BT_INFOSYNC(1): main.cpp: main(1) > <<Not Error>>End main loop' >&2"
        change = "printf '{}' > \"$INFOSYNC_TV_DIR/" + SETTINGS + "/devices\"; "
        service = self.make_service(f"{says}{change}{end}")
        first = json.loads(self.run_tool("run", "--json", INFOSYNC_SERVICE=str(service)).stdout)
        self.assertEqual((first["outcome"], first["number"], [change["change"] for change in first["changes"]]), ("success", 1, ["removed"] * 2))
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
        (self.tv / "runs/20.json").write_text('{"outcome": [], "story": [5, {}], "changes": 3, "finished": 1e300}')
        self.assertEqual(self.run_tool("runs").stdout.count("unreadable: its note is damaged"), 2)
        self.assertIn("unreadable", self.run_tool("status").stdout)
        shutil.rmtree(self.tv / "runs")
        (self.tv / "runs").write_text("")
        self.assertIn("could not be kept", self.run_tool("run", "--service", "/bin/true", status=1).stderr)


if __name__ == "__main__":
    unittest.main()
