"""A television in a temporary folder, driven through infosync-tv."""

import json
import os
import subprocess
import time

from harness import BIN, OWNER, USER, FolderCase

TOOL = BIN / "infosync-tv"
SETTINGS = f"settings/{OWNER}"
END = "E/BT_INFOSYNC(1): main.cpp: main(1) > <<Not Error>>End main loop"
SECRET = "top-secret-text-of-a-token"


class ToolCase(FolderCase):
    def setUp(self):
        super().setUp()
        self.work = self.folder
        self.tv = self.work / "tv"
        self.environment = {"PATH": os.environ["PATH"], "XDG_STATE_HOME": str(self.work / "state")}

    def run_tool(self, *words, status=0, tv=None, user=None, **environment):
        # Another user may have no way to the build folder, and runs a copy.
        tool = self.work / TOOL.name if user else TOOL
        done = subprocess.run([tool, "--dir", tv or self.tv, *words], capture_output=True, text=True, timeout=60,
                              env={**self.environment, **environment}, user=user, check=False)
        self.assertEqual(done.returncode, status, f"{words}: {done.stdout} {done.stderr}")
        if status != 0 and words[0] not in ("run", "why"):
            self.assertRegex(done.stderr, r"^infosync-tv: .")
        return done

    def television(self):
        self.run_tool("init")
        self.run_tool("sign-in", USER)
        now = int(time.time())
        stored = {
            "keys/InfoSyncAccessToken": {USER: {
                "access_token": SECRET, "refresh_token": SECRET + "2", "userId": "u1", "issued_time_in_second": now,
                "access_token_expires_in": 3600, "refresh_token_expires_in": -5}},
            "keys/InfoSyncServiceActivationInfo": {USER: {"dvcId": "d1", "expireTime": (now + 86400 * 2) * 1000}},
            "keys/InfoSyncJWT": {USER: {"accessToken": SECRET + "3", "tokenExpireTimeSec": now + 90}, "ben": 5},
            "keys/InfoSyncRecords": {USER: {"meta": {"synced_timestamp": 42}, "records": [
                {"record_id": "kitchen", "name": "Küche \x1b[31m", "address": "AA:BB:CC:00:00:01",
                 "uuids": "0000110b-0000-1000-8000-00805f9b34fb,0000110B-0000-1000-8000-00805F9B34FB"},
                {"record_id": "gone"}, 7]}},
            f"{SETTINGS}/devices": {"kitchen": {"name": "Küche \x1b[31m", "address": "AA:BB:CC:00:00:01",
                                                "users": [USER], "deleted_on_tv": False}, "odd": 3},
        }
        for name, document in stored.items():
            self.write(name, json.dumps(document))

    def make_service(self, script):
        path = self.work / "service"
        path.write_text(f"#!/bin/sh\n{script}\n")
        path.chmod(0o755)
        return path

    def write(self, name, text):
        path = self.tv / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
