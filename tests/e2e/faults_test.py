"""What the servers may do wrong, as far as it takes a socket. After each case a run must make the right list anew.

How each answer is read is seen in the unit tests.
"""

import itertools
import json

from harness import ENDPOINTS, UNDER_TOOLS, USER, EndToEnd, main, messages

# Planned fault, its operand and options. What the connection before left open counts: libcurl itself repeats a request
# when a connection that it kept turns out to be closed, which is so from the second request to the same server on.
TRANSPORT = [("cut-headers", 40), ("cut", 5), ("garbage",), ("endless",), ("drop",)]
REPEATED = {("drop", "app"), ("drop", "download")}

CERTIFICATES = ("wrong-host", "expired", "not-yet-valid", "self-signed", "unknown-authority", "client-only")

RECORDS_PATH = "/data/v2/com.quorlen.bluetooth.device_sync"

HTML = b"<html><body>503</body></html>"


class Faults(EndToEnd):
    def setUp(self):
        super().setUp()
        self.tv.sync(level="W")

    def forget_tokens(self, first="token"):
        """Makes the next run go through the requests from the given one on; the records and the list stay."""
        for alias in ("InfoSyncAccessToken", "InfoSyncServiceActivationInfo", "InfoSyncJWT")[ENDPOINTS.index(first):]:
            (self.tv.folder / "keys" / alias).unlink(missing_ok=True)

    def fails(self, *wanted, first="token", **options):
        """A run that must end well for the process, say what went wrong and lose nothing that was stored."""
        self.forget_tokens(first)
        before = self.tv.stored()
        lines = self.tv.sync(**options)
        self.assert_ended_well(lines)
        said = [text for priority, _, text in lines if priority == "E"]
        for text in wanted:
            self.assertTrue(any(text in line for line in said), f"{text!r} not in {said}")
        after = self.tv.stored()
        for name, content in before.items():
            if name != "keys/InfoSyncAuthCode":  # a new code was accepted before the failure
                self.assertEqual(after.get(name), content, name)
        return lines

    def test_transport(self):
        for endpoint, (kind, *operands) in itertools.product(ENDPOINTS, TRANSPORT):
            with self.subTest(endpoint=endpoint, kind=kind, operands=operands):
                self.cloud.fault(kind, *operands, on=endpoint, times=2 if (kind, endpoint) in REPEATED else 1)
                lines = self.fails("request failed")
                self.assertTrue(any(tag == "NXCURL" and priority == "E" for priority, tag, _ in lines))
                self.converges()

    def test_servers_that_cannot_be_reached(self):
        reachable = (self.tv.folder / "tv.ini").read_bytes()
        unreachable = {"::127.0.0.1:1": "connect to server", "::nowhere.invalid:443": "resolve host"}
        for endpoint, (target, reason) in itertools.product(("token", "download"), unreachable.items()):
            with self.subTest(endpoint=endpoint, target=target):
                self.tv.run_tool("set", "http.connect_to", target)
                self.fails("request failed", reason, first=endpoint)
                (self.tv.folder / "tv.ini").write_bytes(reachable)
                self.converges()

    def test_an_answer_that_stalls_is_ended(self):
        # Not by the limit of the whole, and not only a minute later: the set's time passes faster than ours.
        self.tv.run_tool("set", "http.max_seconds", 86400)
        for endpoint, speed in {"token": 30, "download": 3}.items():
            with self.subTest(endpoint):
                self.cloud.fault("dribble", "5s", on=endpoint)
                self.fails("request failed", "Operation too slow", before=("faketime", "-f", f"+0 x{speed}"), **UNDER_TOOLS)
                self.converges()

    def test_tls(self):
        for fault in [("certificate", kind) for kind in CERTIFICATES] + [("tls", "1.1"), ("plain",)]:
            with self.subTest(fault=fault):
                self.cloud.fault(*fault)
                self.fails("request failed")
                self.converges()

    def test_answers_without_what_was_asked_for(self):
        refused = {"token": "Fail to activate", "activation": "Fail to activate", "app": "Fail to get JWT", "download": "HTTP error"}
        for endpoint, (status, body) in itertools.product(ENDPOINTS, ((503, b'{"rcode":7}'), (503, HTML), (204, b""))):
            with self.subTest(endpoint=endpoint, status=status, body=body):
                self.cloud.answer_with(body, on=endpoint, status=status)
                self.fails(refused[endpoint] if b"rcode" in body else
                           "token is empty" if (endpoint, body) == ("token", b"") else "fail to parse")
                self.converges()

    def test_redirects_are_not_followed(self):
        self.cloud.exchanges()
        self.cloud.fault("status", 301, f"--header=Location: {RECORDS_PATH}?table_ver=1", on="download")
        self.fails("error code : 301")
        self.assertEqual(sum(RECORDS_PATH in e["path"] for e in self.cloud.exchanges()), 1)
        self.converges()

    def test_texts_that_are_hard_to_store(self):
        names = {"nul": rb"a\u0000b", "lone": rb"x\udc00y", "pair": rb"\ud83c\udfa7", "bytes": b"\xff\xfe", "line": rb"1\n2"}
        record = b'{"record_id":"%s","name":"%s","address":"AA:01","uuids":"0000110b-0000-1000-8000-00805f9b34fb"}'
        body = b",".join(record % (key.encode(), name) for key, name in names.items())
        self.cloud.answer_with(b'{"meta":{"synced_timestamp":1},"records":[' + body + b"]}", on="download")
        lines = self.tv.sync()
        self.assert_ended_well(lines)
        self.assertEqual({key: device["name"] for key, device in self.tv.devices().items() if key not in self.BASE},
                         {"nul": "a\0b", "lone": "x\ufffdy", "pair": "\U0001f3a7", "bytes": "\ufffd\ufffd", "line": "1\n2"})
        self.assertEqual(len(json.loads(self.tv.key("InfoSyncRecords"))[USER]["records"]), len(names) + len(self.BASE))

    def test_more_records_than_the_set_takes_at_once(self):
        one = {"name": "n" * 100, "address": "AA:02", "uuids": "0000110b-0000-1000-8000-00805f9b34fb"}
        records = [{"record_id": f"r{i:06}", **one} for i in range(45_000)]
        body = json.dumps({"meta": {"synced_timestamp": 1}, "records": records}).encode()
        self.cloud.answer_with(body, on="download", times=2)
        self.fails("request failed", first="download", level="W")
        self.tv.run_tool("set", "http.max_response_bytes", 16 << 20)
        self.tv.sync(level="W")
        self.assertEqual(len(self.tv.devices()), len(records) + len(self.BASE))

    def test_a_rejection_leaves_the_service_waiting_until_it_is_ended(self):
        self.forget_tokens()
        self.tv.run_tool("set", "sso.result", "7")
        done = self.tv.run_tool("run", "--timeout", "1s", check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn("result != SSO_TRUE", done.stdout + done.stderr)
        self.tv.run_tool("set", "sso.result", "0")
        self.converges()


if __name__ == "__main__":
    main()
