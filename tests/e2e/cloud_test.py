"""The local cloud as a program: how it begins, ends, and tells what it saw."""

import contextlib
import http.client
import json
import os
import pathlib
import re
import signal
import socket
import ssl
import subprocess
import time

from harness import BIN, USER, Cloud, FolderCase, Television, main

SERVE = ("serve", "--port", "0")


class CloudProgram(FolderCase):
    def setUp(self):
        super().setUp()
        self.cloud = Cloud(self.folder / "cloud")
        self.addCleanup(self.cloud.stop)

    def begin(self, *words):
        """A command whose output the test reads while it runs."""
        process = subprocess.Popen([BIN / "infosync-cloud", "--dir", self.cloud.folder, *words],
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return process

    def context(self):
        return ssl.create_default_context(cafile=self.cloud.folder / "tls/ca.pem")

    def get(self, path="/nothing", context=None):
        connection = http.client.HTTPSConnection("127.0.0.1", self.cloud.counts()["port"], context=context or self.context())
        connection.request("GET", path)
        answer = connection.getresponse().read()
        connection.close()
        return answer

    def connect(self):
        plain = socket.create_connection(("127.0.0.1", self.cloud.port), timeout=60)
        return self.context().wrap_socket(plain, server_hostname="127.0.0.1")

    def statuses(self, client):
        """Of the answers, until the server ends the connection."""
        answer = b""
        with client, contextlib.suppress(OSError):
            while piece := client.recv(2**16):
                answer += piece
        return re.findall(r"HTTP/1.1 (\d+)", answer.decode(errors="replace"))

    def television(self):
        """One that is signed in to the cloud, which runs."""
        self.cloud.start()
        television = Television(self.folder / "tv")
        television.run_tool("init", "--cloud", self.cloud.folder)
        television.run_tool("sign-in", USER)
        return television

    def test_a_signal_right_after_the_start_ends_it(self):
        for _ in range(8):
            process = self.begin(*SERVE)
            self.assertIn("serving", process.stdout.readline())
            process.send_signal(signal.SIGTERM)
            self.assertEqual(process.wait(timeout=30), 0)
            self.assertFalse((self.cloud.folder / "state/server.json").exists())

    def test_a_detached_server_answers_when_the_command_returns_or_says_why_not(self):
        for _ in range(2):
            said = self.cloud.run(*SERVE, "--detach").stdout
            port = self.cloud.counts()["port"]
            self.assertIn(f"https://127.0.0.1:{port} ", said)
            again = self.cloud.run(*SERVE, "--detach", check=False)
            taken = Cloud(self.folder / "other").run("serve", "--port", port, "--detach", check=False)
            for done, reason in ((again, "runs on"), (taken, "could not listen on port")):
                self.assertEqual((done.returncode, done.stdout), (1, ""))
                self.assertIn(reason, done.stderr)
            self.cloud.run("stop")
            self.assertEqual(self.cloud.run("status", check=False).returncode, 1)

    def test_whatever_clients_send_is_bounded(self):
        self.cloud.start()

        def ask(start, endless=b""):
            client = self.connect()
            with contextlib.suppress(OSError):
                client.sendall(start)
                for _ in range(32 if endless else 0):  # more than is taken of any; to be answered it must not end
                    client.sendall(endless * 2**16)
            return self.statuses(client)

        length = b"Content-Length: 3000000000\r\n\r\n"
        cases = [(method + b" /user/v7/activate HTTP/1.1\r\n" + rest, byte, statuses)
                 for method in (b"POST", b"PUT", b"PATCH", b"DELETE", b"GET") for rest, byte, statuses in (
                     (length, b"a", ["413"]), (b"Transfer-Encoding: chunked\r\n\r\n", b"1", ["411"]))]
        cases += [(b"GET / HTTP/1.1\r\n", b"a", ["431"]), (b"GET / HTTP/1.1\r\n" + b"a:b\r\n" * 201 + b"\r\n", b"", ["431"]),
                  (b"POST / HTTP/1.1\r\nExpect: 100-continue\r\n\r\n", b"", ["417"]),
                  (b"POST / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n", b"", ["400"]),
                  (b"POST / HTTP/1.1\r\nContent-Length: 2\r\n\r\n{}GET / HTTP/1.1\r\nConnection: close\r\n\r\n", b"", ["404", "404"]),
                  (b"GET / HTTP/1.1\r\nContent-Length: 18\r\nConnection: close\r\n\r\nGET / HTTP/1.1\r\n\r\n", b"", ["404"])]
        large = b"POST / HTTP/1.1\r\nContent-Length: 1000000\r\n%s\r\n" + b"a" * 10**6
        # More than is held at once, were any of it held for longer than it takes.
        cases += [(large % b"" + large % b"Connection: close\r\n", b"", ["404", "404"])] * 5
        for start, endless, statuses in cases:
            with self.subTest(start=start[:60]):
                self.assertEqual(ask(start, endless), statuses)
        silent = [socket.create_connection(("127.0.0.1", self.cloud.port)) for _ in range(500)]
        began = time.monotonic()
        self.get()
        self.assertLess(time.monotonic() - began, 8)  # sooner than any of them is given up for its silence
        for connection in silent:
            connection.close()
        process = pathlib.Path(f"/proc/{self.cloud.counts()['pid']}")
        if "libasan" not in (process / "maps").read_text():
            self.assertLess(int(re.search(r"VmHWM:\s+(\d+)", (process / "status").read_text())[1]), 64 << 10)

    def test_a_slow_request_is_given_up_and_too_many_large_ones_are_put_off(self):
        self.cloud.start()
        slow = self.connect()
        slow.sendall(b"GET / HTTP/1.1\r\n")
        large = [self.connect() for _ in range(12)]
        for client in large:
            with contextlib.suppress(OSError):
                client.sendall(b"POST / HTTP/1.1\r\nContent-Length: 1000000\r\n\r\n" + b"a" * 2**19)
        self.assertIn(b"there is nothing here", self.get())
        put_off = [self.statuses(client) for client in large].count(["503"])
        self.assertGreaterEqual(put_off, 4)  # eight are all that is held
        self.assertEqual(self.statuses(slow), ["408"])

    def test_an_exchange_is_recorded_before_it_is_answered(self):
        self.cloud.start()
        self.cloud.answer_with(b"x" * 2**23)
        with self.connect() as client:
            client.sendall(b"GET /data/v2/com.quorlen.bluetooth.device_sync HTTP/1.1\r\nHost: h\r\n\r\n")
            # More than fits on the way: the server cannot be done with it before somebody reads.
            deadline = time.monotonic() + 8
            while not (kept := self.cloud.exchanges()) and time.monotonic() < deadline:
                pass
            self.assertEqual(len(kept), 1)
            received = 0
            while received < 2**23:
                received += len(client.recv(2**20))

    def test_a_server_that_was_killed_is_neither_believed_to_run_nor_signalled(self):
        self.cloud.start()
        port = self.cloud.port
        state = self.cloud.folder / "state/server.json"
        noted = json.loads(state.read_text())
        os.kill(noted["pid"], signal.SIGKILL)
        while self.cloud.run("status", check=False).returncode == 0:
            pass
        self.assertTrue(state.exists())
        television = Television(self.folder / "tv")
        television.run_tool("init", "--cloud", self.cloud.folder)
        self.assertEqual(television.run_tool("status", "--check", check=False).returncode, 1)
        bystander = subprocess.Popen(["sleep", "60"])
        self.addCleanup(bystander.wait)
        self.addCleanup(bystander.kill)
        state.write_text(json.dumps({**noted, "pid": bystander.pid}))
        for command in ("status", "stop"):
            self.assertIn("no server runs", self.cloud.run(command, check=False).stderr)
        self.cloud.start()
        self.assertNotEqual(self.cloud.port, port)
        self.assertIn(f"port {self.cloud.port}", television.run_tool("status", "--check").stdout)
        state.write_text(json.dumps({**noted, "pid": bystander.pid}))
        self.assertEqual(self.cloud.run("stop").stdout, "stopped\n")
        self.assertIsNone(bystander.poll())

    def test_commands_work_with_and_without_a_server_and_many_at_once(self):
        other = Cloud(self.folder / "fresh")
        planned = [subprocess.Popen([BIN / "infosync-cloud", "--dir", other.folder, "fault", "drop"],
                                    stdout=subprocess.PIPE, text=True) for _ in range(8)]
        self.assertEqual([("waits for a server" in p.communicate(timeout=60)[0], p.returncode) for p in planned], [(True, 0)] * 8)
        self.assertEqual(len(json.loads(other.run("fault", "list", "--json").stdout)), 8)
        self.addCleanup(other.stop)
        other.start()
        self.assertEqual(other.counts()["planned_faults"], 8)
        self.assertNotIn("waits", other.run("fault", "delay", "2s").stdout)
        self.assertIn("9 faults", other.run("fault", "clear").stdout)
        self.assertIn("nothing", other.run("fault", "clear").stdout)
        (other.folder / "state/faults.json").write_text("{")
        self.assertIn("faults.json", other.run("fault", "list", check=False).stderr)

    def test_lifetimes_are_read_at_each_use(self):
        television = self.television()
        ini = self.cloud.folder / "cloud.ini"
        self.assertIn("access=1h\n", ini.read_text())
        ini.write_text(ini.read_text().replace("access=1h\n", "access=1m17s\n"))
        television.sync()
        answer = next(e for e in self.cloud.exchanges() if e["endpoint"] == "token")
        self.assertEqual(json.loads(answer["response"]["body"])["rsp"]["result"]["access_token_expires_in"], 77)

    def test_somebody_elses_folder_is_refused(self):
        self.cloud.folder.chmod(0o777)
        for words in (("list",), ("fault", "drop"), SERVE, (*SERVE, "--detach"), ("status",), ("stop",)):
            done = self.cloud.run(*words, check=False)
            self.assertEqual((done.returncode, done.stdout), (1, ""), words)
            self.assertIn("can be changed by others", done.stderr)
        self.cloud.folder.chmod(0o700)

    def test_requests_show_what_was_asked_and_keep_secrets(self):
        television = self.television()
        self.get()
        television.sync()
        lines = self.cloud.run("requests").stdout.splitlines()
        self.assertEqual([re.sub(r"\d\d:\d\d:\d\d ", "", line) for line in lines], [
            "1 GET /nothing 404 4040001: there is nothing here", f"2 token 200 token issued [{USER}]",
            f"3 activation 200 activated [{USER}]", f"4 app 200 application token issued [{USER}]",
            f"5 download 200 all 0 records [{USER}]"])
        whole = self.cloud.run("requests", "5").stdout
        self.assertIn("User-Agent: SIM-TV", whole)
        self.assertIn('"records":[]', whole)
        token, activation, app = self.cloud.exchanges()[1:4]
        secrets = [value for pair in token["request"]["body"].split("&") for value in [pair.partition("=")[2]] if len(value) > 40]
        secrets += [value for value in json.loads(token["response"]["body"])["rsp"]["result"].values() if str(value)[2:3] == "."]
        secrets.append(json.loads(app["response"]["body"])["accessToken"])
        self.assertEqual(len(secrets), 5)
        shown = "".join(self.cloud.run("requests", *words).stdout for words in ([], ["--json"], *([str(n)] for n in range(1, 6))))
        self.assertEqual([secret for secret in secrets if secret in shown], [])
        open_book = self.cloud.run("requests", "--json", "--show-secrets").stdout
        self.assertEqual([secret for secret in secrets if secret not in open_book], [])
        later = json.loads(self.cloud.run("requests", "--json", "--since", activation["time"]).stdout)
        self.assertEqual([e["number"] for e in later], [3, 4, 5])
        self.assertEqual(self.cloud.run("requests", "6", check=False).returncode, 1)
        following = self.begin("requests", "-f", "--json")
        before = [json.loads(following.stdout.readline())["number"] for _ in range(5)]
        self.get("/again")
        self.assertEqual((before, json.loads(following.stdout.readline())["path"]), ([1, 2, 3, 4, 5], "/again"))
        self.cloud.run("stop")
        self.assertEqual(self.cloud.run("requests").stdout.splitlines()[:5], lines)

    def test_a_fault_that_makes_no_sense_is_refused(self):
        for words in (("unheard-of",), ("drop", "--on", "nowhere"), ("drop", "--nth", "0"), ("drop", "--times", "-1"),
                      ("delay", "-1s"), ("delay", "2"), ("delay",), ("drop", "3"), ("tls", "1.3"),
                      ("cut", "-1"), ("status", "99"), ("status", "200", "--header", "A: b\r\nC: d"),
                      ("certificate", "none"), ("plain", "--on", "token"), ("cut", "5", "--status", "200")):
            with self.subTest(words):
                done = self.cloud.run("fault", *words, check=False)
                self.assertEqual((done.returncode, done.stdout), (2, ""), done.stderr)

    def test_a_certificate_is_called_accepted_when_a_request_follows(self):
        process = self.begin(*SERVE)
        process.stdout.readline()
        port = self.cloud.counts()["port"]
        careless = ssl._create_unverified_context()
        self.cloud.fault("certificate", "wrong-host", times=2)
        with socket.create_connection(("127.0.0.1", port)) as plain:
            careless.wrap_socket(plain).close()
        self.assertIn("left without a request (fault: certificate wrong-host)", process.stdout.readline())
        self.get(context=careless)
        self.assertIn("accepted by the client all the same (fault: certificate wrong-host)", process.stdout.readline())
        self.assertIn("GET /nothing 404", process.stdout.readline())


if __name__ == "__main__":
    main()
