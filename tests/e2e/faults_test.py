"""What the servers may do wrong, as far as it takes a socket. After each case a run must make the right list anew.

How each answer is read is seen in the unit tests.
"""

from harness import ENDPOINTS, EndToEnd, faster, main

# Planned fault, its operand, and the request that it hits. libcurl itself repeats a request when a connection that it kept
# turns out to be closed, which is so from the second request to the same server on.
TRANSPORT = (("cut-headers", 40, "token"), ("cut", 5, "activation"), ("garbage", "app"), ("endless", "download"),
             ("drop", "activation"), ("drop", "app"))
REPEATED = ("drop", "app")

CERTIFICATES = ("wrong-host", "expired", "not-yet-valid", "self-signed", "unknown-authority", "client-only")

RECORDS_PATH = "/data/v2/com.quorlen.bluetooth.device_sync"


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
        for kind, *operands, endpoint in TRANSPORT:
            with self.subTest(endpoint=endpoint, kind=kind):
                self.cloud.fault(kind, *operands, on=endpoint, times=2 if (kind, endpoint) == REPEATED else 1)
                lines = self.fails("request failed")
                self.assertTrue(any(tag == "NXCURL" and priority == "E" for priority, tag, _ in lines))
                self.converges()

    def test_servers_that_cannot_be_reached(self):
        reachable = (self.tv.folder / "tv.ini").read_bytes()
        for endpoint, target, reason in (("token", "::127.0.0.1:1", "connect to server"),
                                         ("download", "::nowhere.invalid:443", "resolve host")):
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
                self.fails("request failed", "Operation too slow", **faster(speed))
                self.converges()

    def test_tls(self):
        for fault in [("certificate", kind) for kind in CERTIFICATES] + [("tls", "1.1"), ("plain",)]:
            with self.subTest(fault=fault):
                self.cloud.fault(*fault)
                self.fails("request failed")
                self.converges()

    def test_an_answer_without_a_body(self):
        self.cloud.answer_with(b"", on="token", status=204)
        self.fails("token is empty")
        self.converges()

    def test_redirects_are_not_followed(self):
        self.cloud.exchanges()
        self.cloud.fault("status", 301, f"--header=Location: {RECORDS_PATH}?table_ver=1", on="download")
        self.fails("error code : 301")
        self.assertEqual(sum(RECORDS_PATH in e["path"] for e in self.cloud.exchanges()), 1)
        self.converges()

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
