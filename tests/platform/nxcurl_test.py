"""The HTTP client against a server that sends more than any good one does."""

import os
import pathlib
import socket
import ssl
import subprocess
import tempfile
import threading
import unittest

PROBE = pathlib.Path(os.environ["INFOSYNC_BIN"]) / "request-probe"
OK = b"HTTP/1.1 200 OK\r\n"
CHUNKED = OK + b"Transfer-Encoding: chunked\r\n\r\n1\r\nx\r\n0\r\n"
HINT = b"HTTP/1.1 103 Early Hints\r\nLink: <" + b"l" * 1000 + b">\r\n\r\n"
LINE = b"X-Filler: " + b"f" * 1000 + b"\r\n"
HEADERS = "the headers, interim answers and trailers are over 262144 bytes"
BODY = "the body is over 8388608 bytes ([http] max_response_bytes)"

# What comes first, again and again, and last: a good answer, but for its length. What the client says of 32 MiB of it.
ANSWERS = {
    "headers": (OK, LINE, b"Content-Length: 1\r\n\r\nx", HEADERS),
    "interim answers": (b"", HINT, OK + b"Content-Length: 1\r\n\r\nx", HEADERS),
    "trailers": (CHUNKED, LINE, b"\r\n", HEADERS),
    "one header": (OK + b"X: ", b"x" * 1000, b"\r\nContent-Length: 1\r\n\r\nx", "127.0.0.1"),
    "body": (OK + b"Connection: close\r\n\r\n", b"x" * 1000, b"", BODY),
    "chunks": (OK + b"Transfer-Encoding: chunked\r\n\r\n", b"3e8\r\n" + b"x" * 1000 + b"\r\n", b"0\r\n\r\n", BODY),
}


class Client(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-subj", "/CN=x",
                        "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", "key.pem", "-out", "ca.pem"],
                       cwd=folder.name, check=True, capture_output=True)
        os.umask(0o022)  # a television that others may write to is refused
        (self.folder / "tv.ini").write_text("[http]\nca_file=ca.pem\n")
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.folder / "ca.pem", self.folder / "key.pem")
        self.server = context.wrap_socket(socket.create_server(("127.0.0.1", 0)), server_side=True)
        self.addCleanup(self.server.close)

    def request(self, first, again, last, length):
        """Answers one request of the client's so; returns what the client prints and what it logs."""
        def serve():
            connection, _ = self.server.accept()
            with connection:
                connection.recv(65536)
                try:
                    connection.sendall(first)
                    for _ in range(length // len(again)):
                        connection.sendall(again)
                    connection.sendall(last)
                    connection.unwrap()  # says that this was all, where nothing else does
                except OSError:
                    pass  # the client has had enough
        server = threading.Thread(target=serve, daemon=True)
        server.start()
        url = f"https://127.0.0.1:{self.server.getsockname()[1]}/"
        done = subprocess.run([PROBE, url], env={**os.environ, "INFOSYNC_TV_DIR": str(self.folder)}, capture_output=True, text=True,
                              check=True, timeout=60)
        server.join(60)
        return done.stdout.strip(), done.stderr

    def test_an_answer_without_an_end_is_a_failure_that_says_why(self):
        for name, (first, again, last, reason) in ANSWERS.items():
            with self.subTest(name):
                said, log = self.request(first, again, last, 32 << 20)
                self.assertEqual(said, "failed")
                self.assertIn("E/NXCURL", log)
                self.assertIn(reason, log)

    def test_a_long_answer_is_taken_whole(self):
        for name, (first, again, last, _) in ANSWERS.items():
            with self.subTest(name):
                said, log = self.request(first, again, last, 60_000)
                self.assertRegex(said, "^200, [0-9]+ bytes$")
                self.assertEqual(log, "")


if __name__ == "__main__":
    unittest.main(verbosity=2)
