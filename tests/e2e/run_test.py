"""Whole runs of the service against the local cloud, over TLS."""

import configparser
import json
import pathlib
import re
import time

import jsonschema

from harness import USER, EndToEnd, Television, faster, main, messages, tool

SCHEMA = pathlib.Path(__file__).parents[2] / "docs" / "device-list.schema.json"

TOKEN = "/auth/openapi/v1/oauth2/accesstoken"
REFRESH = "/auth/openapi/v1/oauth2/refreshtoken"
ACTIVATE = "/user/v7/activate"
APP_TOKEN = "/auth/kc/tokens/v1/app"
RECORDS = "/data/v2/com.quorlen.bluetooth.device_sync"


class Run(EndToEnd):
    def test_first_run_asks_for_everything_and_lists_the_audio_sinks(self):
        lines = self.tv.sync()
        exchanges = self.cloud.exchanges()
        self.assertEqual([(e["method"], e["path"]) for e in exchanges],
                         [("POST", TOKEN), ("POST", ACTIVATE), ("POST", APP_TOKEN), ("GET", RECORDS + "?table_ver=1")])
        self.assert_ended_well(lines)
        self.assertEqual(messages(lines)[0], "<<Not Error>>Start main loop")
        self.assert_logged(lines, "key:kap_api_domain, value : ", *(f"IN >> [void {name}::Deinit()" for name in (
            "CAccessToken", "CAuthCode", "CJsonWebToken", "CAccessTokenManager", "CBtInfoSync")))
        self.assertEqual(self.tv.devices(), {
            "kitchen": {"address": "AA:BB:CC:00:00:01", "deleted_on_tv": False, "name": "Kitchen speaker", "users": [USER]},
            "phones": {"address": "AA:BB:CC:00:00:02", "deleted_on_tv": False, "name": "Headphones", "users": [USER]},
        })
        records = self.of_user("InfoSyncRecords")
        self.assertEqual(sorted(records), ["meta", "records"])
        self.assertEqual([r["record_id"] for r in records["records"]], ["kitchen", "phones"])
        self.assert_sent(*(exchange["request"] for exchange in exchanges))
        self.tv.sync()
        self.assertEqual([(e["method"], e["path"]) for e in self.cloud.exchanges()], [
            ("GET", f"{RECORDS}?table_ver=1&changed_after={records['meta']['synced_timestamp']}&coldStartable=true")])
        self.assertEqual(set(self.tv.devices()), self.BASE)

    def of_user(self, alias):
        return json.loads(self.tv.key(alias))[USER]

    def assert_sent(self, token, activate, app_token, records):
        """What the servers see of the requests."""
        agent = "User-Agent: {model};{software_version};bt-orbmanager=1.0.0;Tizen={tizen_version}".format(**self.system())
        self.assertEqual([line for line in token["headers"] if not line.startswith(("Host:", "Accept:"))], [
            "Content-Type: application/x-www-form-urlencoded; charset=utf-8", f"Content-Length: {len(token['body'])}",
            "Package-Name: com.quorlen.tv.bt-orbmanager", "Package-Version: 1.0.0", "Client-OS-Verseion: Tizen 6.5",
            "Client-Model: Ostra9"])
        self.assertIn(agent + ";", activate["headers"])
        self.assertLessEqual({agent + ";", "Content-Length: 0"}, set(app_token["headers"]))
        self.assertEqual(app_token["body"], "")
        bearer = f"Authorization: Bearer {self.of_user('InfoSyncJWT')['accessToken']}"
        self.assertLessEqual({agent + "; ;", bearer}, set(records["headers"]))

    def system(self):
        ini = configparser.ConfigParser(strict=False)
        ini.read(self.tv.folder / "tv.ini")
        return ini["system"]

    def test_one_connection_to_each_server_is_enough(self):
        counts = [self.cloud.counts()]
        for _ in ("first run", "later run"):
            self.tv.sync()
            counts.append(self.cloud.counts())
        for name in ("connections", "full_handshakes"):
            self.assertEqual([after[name] - before[name] for before, after in zip(counts, counts[1:])], [2, 1], name)

    def test_changes_in_the_cloud_reach_the_list(self):
        self.tv.sync()
        self.add_device("bath", "Bath radio", "AA:BB:CC:00:00:03")
        self.add_device("mouse", "Mouse", "AA:BB:CC:00:00:04", "--no-audio-sink")
        self.add_device("bar", "Sound bar", "AA:BB:CC:00:00:05")
        self.tv.run_tool("bond", "aa:bb:cc:00:00:05")
        self.cloud.run("device", "rename", USER, "kitchen", "Küche")
        self.cloud.run("device", "remove", USER, "phones")
        self.tv.sync()
        self.assertEqual({i: d["name"] for i, d in self.tv.devices().items()}, {"bath": "Bath radio", "kitchen": "Küche"})
        jsonschema.Draft202012Validator(json.loads(SCHEMA.read_text())).validate(self.tv.devices())

    def test_a_television_tells_its_faults_and_works_again_elsewhere(self):
        shown = self.tv.run_tool("run", "--level", "V").stderr
        self.cloud.run("device", "remove", USER, "phones")
        self.tv.run_tool("run")
        self.assertIn("Run 2 removed it.", " ".join(self.tv.run_tool("why", "headphones", check=False).stdout.split()))
        shown += self.tv.run_tool("status", "--check").stdout
        self.cloud.fault("certificate", "expired")
        self.assertIn("certificate has expired", self.tv.run_tool("status", "--check", check=False).stdout)
        self.cloud.answer_with(b"no JSON", on="download")
        self.assertIn("is not JSON (fail to parse JSON", self.tv.run_tool("run", check=False).stdout)
        self.assertIn("does not know nobody", self.tv.run_tool("sign-in", "nobody").stdout)
        self.tv.run_tool("sign-in", USER)
        self.tv.run_tool("report", self.folder / "elsewhere.tar.gz")
        tool("tar", "xzf", self.folder / "elsewhere.tar.gz", "-C", self.folder)
        elsewhere = Television(self.folder / "elsewhere")
        reported = "".join(path.read_text() for path in elsewhere.folder.rglob("*") if path.is_file())
        self.assertIn(TOKEN, reported)
        secrets = re.findall("<(?:auth_code|code_verifier)>(.+?)<", self.tv.key("InfoSyncAuthCode"))
        secrets += [self.of_user("InfoSyncAccessToken")[name] for name in ("access_token", "refresh_token")]
        secrets.append(self.of_user("InfoSyncJWT")["accessToken"])
        self.assertEqual(([s for s in secrets if s in shown + reported], len(secrets)), ([], 5))
        self.assertIn(secrets[4], self.tv.run_tool("run", "--level", "V", "--show-secrets").stderr)
        self.assertEqual(json.loads(elsewhere.run_tool("run", "--json").stdout)["outcome"], "success")

    def test_the_cloud_calls_an_audio_sink_what_the_service_takes_for_one(self):
        sink, other = "0000110b-0000-1000-8000-00805f9b34fb", "0000111e-0000-1000-8000-00805f9b34fb"
        for number, uuids in enumerate((f"{other},{sink}", f"{other}, {sink}", f"{sink},", sink.upper(), f"{sink}0")):
            self.add_device(f"d{number}", "Device", f"AA:BB:CC:00:01:{number:02}", "--uuids", uuids)
        self.tv.sync()
        rows = [line.split() for line in self.cloud.run("list", USER).stdout.splitlines()[2:]]
        self.assertEqual({row[0] for row in rows if row[-1] == "yes"}, set(self.tv.devices()))
        self.assertEqual(sorted(self.tv.devices()), ["d0", "d2", "kitchen", "phones"])

    def test_tokens_that_run_out_are_refreshed_or_issued_anew(self):
        self.tv.sync()
        path = self.tv.folder / "keys/InfoSyncAccessToken"
        for lifetime, request in (("access_token_expires_in", REFRESH), ("refresh_token_expires_in", TOKEN)):
            # It ended long ago; the cloud's own idea of it does not matter here.
            path.write_text(json.dumps({USER: {**self.of_user("InfoSyncAccessToken"), lifetime: -3600}}))
            self.cloud.exchanges()
            self.tv.sync()
            self.assertEqual([e["path"].partition("?")[0] for e in self.cloud.exchanges()], [request, RECORDS])

    def test_a_mark_that_no_longer_holds_leads_to_a_full_download(self):
        for code in ("4009100", "4000002"):
            with self.subTest(code):
                self.tv.sync()
                self.cloud.expire("mark", "--code", code)
                self.assert_logged(self.tv.sync(), "HTTP error", code)
                self.assertNotIn(USER, json.loads(self.tv.key("InfoSyncRecords")))
                self.assertEqual(set(self.tv.devices()), self.BASE)
                self.cloud.exchanges()
                self.tv.sync()
                self.assertEqual(self.cloud.exchanges()[0]["path"], RECORDS + "?table_ver=1")

    def test_factory_reset_wipes_before_the_run(self):
        self.tv.sync()
        self.cloud.exchanges()
        self.tv.run_tool("factory-reset")
        self.tv.run_tool("sign-in", "Jörg.?>&")
        self.cloud.run("user", "add", "Jörg.?>&")
        self.assert_logged(self.tv.sync(), "<<Not Error>> Reset all datas", "remove InfoSyncServiceActivationInfo")
        self.assertEqual(self.tv.devices(), {})
        self.assertEqual(self.tv.setting("factory_reset_flag"), "0")
        self.assertEqual(list(json.loads(self.tv.key("InfoSyncAccessToken"))), ["Jörg.?>&"])

    def test_nobody_signs_in(self):
        self.tv.run_tool("sign-out")
        speed, before = 20, time.monotonic()
        said = messages(self.tv.sync(level="I", **faster(speed)))
        self.assertGreaterEqual((time.monotonic() - before) * speed, 19)
        self.assertEqual([m for m in said if "try" in m and m != "retry!"],
                         [f"Not logged in, try : {n}" for n in range(1, 6)])
        self.assertEqual(said.count("retry!"), 4)
        self.assertEqual(said[-2:], ["Exit process", "<<Not Error>>End main loop"])
        self.assertEqual(self.cloud.exchanges(), [])


if __name__ == "__main__":
    main()
