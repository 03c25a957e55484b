"""What the servers may do wrong. One row is one case; after each, a good run must reach the right list."""

import itertools
import json
import unittest

from harness import UNDER_TOOLS, USER, EndToEnd, messages

ENDPOINTS = ("token", "activate", "app", "records")

# Planned fault, what the HTTP client or the service must say of it.
TRANSPORT = [
    # Twice: libcurl itself repeats a request when a connection that it kept turns out to be closed.
    (("drop", "--times", "2"), "request failed"),
    (("cut", "40", "--headers"), "request failed"),
    (("cut", "5"), "request failed"),
    (("garbage",), "request failed"),
    (("endless",), "request failed"),
]

CERTIFICATES = ("wrong-host", "expired", "not-yet-valid", "self-signed", "unknown-authority", "client-only")

# For each class of request: the statuses that end the run, with the error that they end in. The token requests and the
# cloud's token requests judge the body alone; their body here is {}.
STATUSES = (204, 301, 400, 401, 403, 404, 429, 500, 503)

BODIES = {
    "empty": (b"", "fail to parse"),
    "null": (b"null", "fail to parse"),
    "number": (b"17", "fail to parse"),
    "array": (b"[]", "fail to parse"),
    "html": (b"<html><body>503</body></html>", "fail to parse"),
    "comment": (b"// no\n{}", "fail to parse"),
    "not a number": (b'{"rcode":NaN}', "fail to parse"),
    "100,000 levels": (b"[" * 100000, "fail to parse"),
}


class Faults(EndToEnd):
    BASE = {"kitchen", "phones"}

    def fault(self, *words):
        self.cloud.run("fault", *words)

    def fault_body(self, endpoint, body, *options):
        path = self.folder / "body"
        path.write_bytes(body)
        self.fault("body", path, "--on", endpoint, *options)

    def forget_tokens(self, first="token"):
        """Makes the next run go through the requests from the given one on; the records and the list stay."""
        for alias in ("InfoSyncAccessToken", "InfoSyncServiceActivationInfo", "InfoSyncJWT")[ENDPOINTS.index(first):]:
            (self.tv.folder / "keys" / alias).unlink(missing_ok=True)

    def fails(self, *wanted, first="token", **options):
        """A run that must end well for the process, say what went wrong and lose nothing that was stored."""
        self.forget_tokens(first)
        before = self.tv.stored()
        lines = self.tv.sync(**options)
        self.assertEqual(messages(lines)[-1], "<<Not Error>>End main loop")
        self.assertEqual(self.tv.stray, [])
        said = messages(lines, "E")
        for text in wanted:
            self.assertTrue(any(text in line for line in said), f"{text!r} not in {said}")
        after = self.tv.stored()
        for name, content in before.items():
            if name != "keys/InfoSyncAuthCode":  # a new code was accepted before the failure
                self.assertEqual(after.get(name), content, name)
        return lines

    def converges(self):
        self.cloud.run("fault", "clear")
        self.tv.sync()
        self.assertEqual(set(self.tv.devices()), self.BASE)

    def test_transport(self):
        self.tv.sync()
        for endpoint, (fault, text) in itertools.product(ENDPOINTS, TRANSPORT):
            with self.subTest(endpoint=endpoint, fault=fault):
                self.fault(*fault, "--on", endpoint)
                lines = self.fails(text)
                self.assertTrue(any(tag == "NXCURL" and priority == "E" for priority, tag, _ in lines))
                self.converges()

    def test_servers_that_cannot_be_reached(self):
        self.tv.sync()
        unreachable = {"refused": "::127.0.0.1:1", "no such name": "::nowhere.invalid:443"}
        for endpoint, (name, target) in itertools.product(ENDPOINTS, unreachable.items()):
            with self.subTest(endpoint=endpoint, target=name):
                reachable = (self.tv.folder / "tv.ini").read_bytes()
                self.tv.run_tool("set", "http.connect_to", target)
                self.fails("request failed", first=endpoint)
                (self.tv.folder / "tv.ini").write_bytes(reachable)
                self.converges()

    def test_an_answer_that_stalls_is_ended(self):
        self.tv.sync()
        for endpoint in ENDPOINTS:
            with self.subTest(endpoint):
                self.fault("dribble", "--interval", "5", "--on", endpoint)
                # Thirty seconds pass for the set in one: the limit is a minute for all but the download.
                self.fails("request failed", before=("faketime", "-f", "+0 x30"), **UNDER_TOOLS)
                self.converges()

    def test_tls(self):
        for fault in [("certificate", kind) for kind in CERTIFICATES] + [("tls", "1.1"), ("plain",)]:
            with self.subTest(fault=fault):
                self.fault(*fault)
                self.fails("request failed")
                self.converges()

    def test_statuses(self):
        self.tv.sync()
        for endpoint, status in itertools.product(ENDPOINTS, STATUSES):
            with self.subTest(endpoint=endpoint, status=status):
                self.fault_body(endpoint, b'{"rcode":7}', "--status", status)
                wanted = {"activate": "Fail to activate", "app": "Fail to get JWT", "records": "HTTP error"}
                # An answer without a token is stored as such; the cloud then refuses the empty token.
                self.fails(*([wanted[endpoint]] if endpoint in wanted and status != 204 else []))
                self.converges()

    def test_redirects_are_not_followed(self):
        for location in ("https://elsewhere.example/", "http://127.0.0.1:1/"):
            with self.subTest(location):
                self.tv.sync()
                self.cloud.exchanges()
                self.fault("status", "301", "--header", f"Location: {location}", "--on", "records")
                self.fails()
                self.assertEqual(sum("device_sync" in e["path"] for e in self.cloud.exchanges()), 1)
                self.converges()

    def test_bodies(self):
        self.tv.sync()
        for endpoint, (name, (body, text)) in itertools.product(ENDPOINTS, BODIES.items()):
            with self.subTest(endpoint=endpoint, body=name):
                self.fault_body(endpoint, body)
                self.fails(text if body or endpoint != "token" else "token is empty")
                self.converges()

    def test_bodies_cut_at_every_16th_byte(self):
        self.tv.sync()
        self.cloud.exchanges()
        self.forget_tokens()
        self.tv.sync()
        for endpoint, exchange in zip(ENDPOINTS, self.cloud.exchanges()):
            body = exchange["response"]["body"].encode()
            for length in range(16, len(body), 16):
                with self.subTest(endpoint=endpoint, length=length):
                    self.fault_body(endpoint, body[:length])
                    self.fails("fail to parse", level="W")
        self.converges()

    def test_members_of_every_wrong_type(self):
        self.tv.sync()
        self.cloud.exchanges()
        self.forget_tokens()
        self.tv.sync()
        used = {
            "token": ("rsp", "rsp.result", "rsp.result.access_token", "rsp.result.refresh_token", "rsp.result.userId",
                      "rsp.result.access_token_expires_in", "rsp.result.refresh_token_expires_in"),
            "activate": ("rcode", "dvcId", "expireTime"),
            "app": ("rcode", "accessToken", "tokenExpireTimeSec"),
            "records": ("meta", "meta.synced_timestamp", "records"),
        }
        wrong = ("missing", "twice", None, True, -1, 1e300, 18446744073709551615, "text", [], {}, [[]], {"a": {}})
        for endpoint, exchange in zip(ENDPOINTS, self.cloud.exchanges()):
            for path, value in itertools.product(used[endpoint], wrong):
                with self.subTest(endpoint=endpoint, member=path, value=value):
                    answer = json.loads(exchange["response"]["body"])
                    *parents, last = path.split(".")
                    holder = answer
                    for parent in parents:
                        holder = holder[parent]
                    good = holder.pop(last)
                    if value != "missing":
                        holder[last] = good if value == "twice" else value
                    body = json.dumps(answer)
                    if value == "twice":
                        body = body.replace(f'"{last}":', f'"{last}": [], "{last}":', 1)
                    self.fault_body(endpoint, body.encode())
                    self.forget_tokens()
                    lines = self.tv.sync(level="W")
                    self.assertEqual(messages(lines)[-1], "<<Not Error>>End main loop")
                    self.forget_tokens()
                    self.converges()

    def test_malformed_records_do_not_stop_the_others(self):
        good = {"record_id": "good", "name": "Good", "address": "AA:00", "uuids": "0000110b-0000-1000-8000-00805f9b34fb"}
        rows = [5, None, [], {**good, "record_id": {}}, {**good, "record_id": "u", "uuids": []},
                {**good, "record_id": "n", "name": {}}, {**good, "record_id": "a", "address": [1]}]
        self.fault_body("records", json.dumps({"meta": {"synced_timestamp": 1}, "records": [*rows, good]}).encode())
        lines = self.tv.sync()
        self.assertEqual(list(self.tv.devices()), ["good"])
        self.assertIn(f"skip {len(rows)} malformed records, the first at position 0", messages(lines, "E"))
        # The cloud never gave that mark out: it refuses it once, and everything is downloaded.
        self.tv.sync()
        self.tv.sync()
        self.assertEqual(set(self.tv.devices()), {"good"} | self.BASE)

    def test_texts_that_are_hard_to_store(self):
        names = {"nul": rb"a\u0000b", "lone": rb"x\udc00y", "pair": rb"\ud83c\udfa7", "bytes": b"\xff\xfe", "line": rb"1\n2"}
        record = b'{"record_id":"%s","name":"%s","address":"AA:01","uuids":"0000110b-0000-1000-8000-00805f9b34fb"}'
        body = b",".join(record % (key.encode(), name) for key, name in names.items())
        self.fault_body("records", b'{"meta":{"synced_timestamp":1},"records":[' + body + b"]}")
        lines = self.tv.sync()
        self.assertEqual(self.tv.stray, [])
        self.assertEqual({key: device["name"] for key, device in self.tv.devices().items()},
                         {"nul": "a\0b", "lone": "x\ufffdy", "pair": "\U0001f3a7", "bytes": "\ufffd\ufffd", "line": "1\n2"})
        self.assertEqual(messages(lines)[-1], "<<Not Error>>End main loop")
        self.assertEqual(len(json.loads(self.tv.key("InfoSyncRecords"))[USER]["records"]), len(names))

    def test_twenty_megabytes_of_records(self):
        one = {"name": "n" * 100, "address": "AA:02", "uuids": "0000110b-0000-1000-8000-00805f9b34fb"}
        records = [{"record_id": f"r{i:06}", **one} for i in range(100_000)]
        body = json.dumps({"meta": {"synced_timestamp": 1}, "records": records}).encode()
        self.fault_body("records", body, "--times", "2")
        self.fails("request failed")
        self.tv.run_tool("set", "http.max_response_bytes", 32 << 20)
        self.tv.sync(level="W")
        self.assertEqual(len(self.tv.devices()), len(records))


SIGN_IN = {
    "not XML": ("no document", "fail to parse xml"),
    "cut": ('<rsp stat="ok"><auth_code>a', "fail to parse xml"),
    "no rsp": ('<answer stat="ok"/>', "server return failed."),
    "no stat": ("<rsp/>", "server return failed."),
    "stat in upper case": ('<rsp stat="OK"/>', "server return failed."),
    "stat with a blank": ('<rsp stat=" ok"/>', "server return failed."),
    "no children": ('<rsp stat="ok"/>', "fail to read"),
    "empty element": ('<rsp stat="ok"><auth_code/></rsp>', "no text"),
    "entity expansion": ('<!DOCTYPE d [<!ENTITY a "aaaa"><!ENTITY b "&a;&a;">]><rsp stat="ok"><auth_code>&b;</auth_code></rsp>',
                         "exception"),
    "1,000 levels": ('<rsp stat="ok">' + "<a>" * 1000 + "</a>" * 1000 + "</rsp>", "fail to parse xml"),
} | {f"no {missing}": ('<rsp stat="ok">' + "".join(f"<{name}>x</{name}>" for name in
                       ("auth_code", "code_verifier", "kap_auth_domain", "kap_api_domain") if name != missing) + "</rsp>",
                       "fail to read") for missing in ("auth_code", "code_verifier", "kap_auth_domain", "kap_api_domain")}


class SignInDocument(EndToEnd):
    def test_documents(self):
        for name, (document, text) in SIGN_IN.items():
            with self.subTest(name):
                (self.tv.folder / "code.xml").write_text(document)
                self.tv.run_tool("set", "sso.auth_code", "code.xml")
                lines = self.tv.sync()
                self.assertTrue(any(text in line for line in messages(lines, "E")), messages(lines, "E"))
                self.assertIn("fail to get access Token", messages(lines, "E"))
                self.assertEqual(self.cloud.exchanges(), [])
                self.assertIsNone(self.tv.key("InfoSyncAccessToken"))
        self.tv.run_tool("set", "sso.auth_code", "--unset")
        self.tv.sync()
        self.assertEqual(set(self.tv.devices()), {"kitchen", "phones"})

    def test_a_rejection_leaves_the_service_waiting_until_it_is_ended(self):
        self.tv.run_tool("set", "sso.result", "7")
        done = self.tv.run_tool("run", "--timeout", "3", check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn("result != SSO_TRUE", done.stdout + done.stderr)
        self.tv.run_tool("set", "sso.result", "0")
        self.tv.sync()
        self.assertEqual(set(self.tv.devices()), {"kitchen", "phones"})


if __name__ == "__main__":
    unittest.main(verbosity=2)
