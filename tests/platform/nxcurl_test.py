"""The HTTP client against a server that sends more than any good one does."""

import os
import socket
import ssl
import subprocess
import threading
import time

from harness import BIN, FolderCase, faster, main, tool

PROBE = BIN / "request-probe"
OK = b"HTTP/1.1 200 OK\r\n"
CHUNKED = OK + b"Transfer-Encoding: chunked\r\n\r\n1\r\nx\r\n0\r\n"
HINT = b"HTTP/1.1 103 Early Hints\r\nLink: <" + b"l" * 1000 + b">\r\n\r\n"
LINE = b"X-Filler: " + b"f" * 1000 + b"\r\n"
HEADERS = "the headers, interim answers and trailers are over 262144 bytes"
BODY = "the body is over 4000000 bytes ([http] max_response_bytes)"

# What comes first, again and again, and last: a good answer, but for its length. What the client says of 8 MiB of it.
ANSWERS = {
    "headers": (OK, LINE, b"Content-Length: 1\r\n\r\nx", HEADERS),
    "interim answers": (b"", HINT, OK + b"Content-Length: 1\r\n\r\nx", HEADERS),
    "trailers": (CHUNKED, LINE, b"\r\n", HEADERS),
    "one header": (OK + b"X: ", b"x" * 1000, b"\r\nContent-Length: 1\r\n\r\nx", "127.0.0.1"),
    "body": (OK + b"Connection: close\r\n\r\n", b"x" * 1000, b"", BODY),
    "chunks": (OK + b"Transfer-Encoding: chunked\r\n\r\n", b"3e8\r\n" + b"x" * 1000 + b"\r\n", b"0\r\n\r\n", BODY),
}


class Client(FolderCase):
    pause = 0

    def setUp(self):
        super().setUp()
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-subj", "/CN=x",
                        "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", "key.pem", "-out", "ca.pem"],
                       cwd=self.folder, check=True, capture_output=True)
        (self.folder / "tv.ini").write_text("[http]\nca_file=ca.pem\nmax_response_bytes=4000000\n")
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.folder / "ca.pem", self.folder / "key.pem")
        self.server = context.wrap_socket(socket.create_server(("127.0.0.1", 0)), server_side=True)
        self.addCleanup(self.server.close)

    def serve(self, first, again, last, length):
        """Answers one request so, and notes whether all of it was wanted."""
        connection, _ = self.server.accept()
        with connection:
            self.asked = connection.recv(65536)
            try:
                connection.sendall(first)
                for _ in range(length // len(again)):
                    connection.sendall(again)
                    if self.pause:
                        time.sleep(self.pause)
                connection.sendall(last)
                connection.unwrap()  # says that this was all, where nothing else does
                self.all_taken = True
            except OSError:
                self.all_taken = False

    def request(self, *answers, before=(), urls=(), **environment):
        """Answers requests of one client, one after another; returns what the client prints and what it logs."""
        server = threading.Thread(target=lambda: [self.serve(*answer) for answer in answers], daemon=True)
        server.start()
        url = f"https://127.0.0.1:{self.server.getsockname()[1]}/"
        proxy = {"https_proxy": "http://127.0.0.1:1", "ALL_PROXY": "http://127.0.0.1:1"}  # to be ignored
        done = tool(*before, PROBE, *(urls or [url] * len(answers)), env={
            **os.environ, "INFOSYNC_TV_DIR": str(self.folder), **proxy, **environment})
        server.join(10)
        return done.stdout.splitlines(), done.stderr

    def test_an_answer_without_an_end_is_a_failure_that_says_why(self):
        for name, (first, again, last, reason) in ANSWERS.items():
            with self.subTest(name):
                said, log = self.request((first, again, last, 8 << 20))
                self.assertEqual(said, ["failed: no status"])
                self.assertIn("E/NXCURL", log)
                self.assertIn(reason, log)
                self.assertFalse(self.all_taken)

    def test_long_answers_of_one_client_are_taken_whole(self):
        for name, (first, again, last, _) in ANSWERS.items():
            with self.subTest(name):
                length = 60_000 if name == "one header" else 200_000 if HEADERS in ANSWERS[name] else 3 << 20
                said, log = self.request(*[(first, again, last, length)] * 2)
                for line in said:
                    self.assertRegex(line, "^[0-9]+ bytes: 200$")
                self.assertEqual((len(said), log), (2, ""))
                self.assertIn(b"\r\nX-Empty:\r\n", self.asked)

    def test_nothing_is_left_of_the_answer_before(self):
        whole, cut = (OK + b"Content-Length: 1\r\n\r\n", b"x", b"", 1), (OK, b"A: b\r\n", b"", 6)
        self.assertEqual(self.request(whole, cut)[0], ["1 bytes: 200", "failed: no status"])
        url = f"https://127.0.0.1:{self.server.getsockname()[1]}/"
        self.assertEqual(self.request(whole, urls=[url, "reset"])[0], ["1 bytes: 200", "reset: no status"])
        said, _ = self.request(whole, urls=[url + "a\nb", "reset", url])
        self.assertEqual(said, ["failed: no status", "reset: no status", "1 bytes: 200"])

    def test_what_takes_too_long_is_ended(self):
        speed, before = 20, time.monotonic()
        with socket.create_server(("127.0.0.1", 0)) as silent:
            _, log = self.request(urls=[f"https://127.0.0.1:{silent.getsockname()[1]}/"], **faster(speed))
        self.assertIn("SSL connection timeout", log)
        self.assertLess((time.monotonic() - before) * speed, 150)  # 30 for the limit; it is 300 where none is set
        (self.folder / "tv.ini").write_text("[http]\nca_file=ca.pem\nmax_seconds=20\n")
        self.pause = 0.1
        said, log = self.request((OK + b"Connection: close\r\n\r\n", b"x", b"", 100), **faster(speed))
        self.assertEqual(said, ["failed: no status"])
        self.assertIn("Operation timed out after ", log)


if __name__ == "__main__":
    main()
