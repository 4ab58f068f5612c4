"""An HTTP server that keeps each request as it came and answers as a test tells it to: cut off, held back, slowly.
Asked as a proxy, it notes the whole addresses and answers for every host."""

from __future__ import annotations

import itertools
import threading
import time
from collections.abc import Mapping
from contextlib import suppress
from email.message import Message
from http.server import BaseHTTPRequestHandler
from socketserver import ThreadingTCPServer
from typing import NamedTuple

from .offer import VERSIONS_PATH, Version, description

_PIECE = 16 * 1024
_LONGEST_HOLD = 60.0
# A client like the updater hears of its progress ten times a second at most. What is sent last before a stop is one
# piece, and comes so much later than the rest that the progress shown is exactly that of the stop.
_REPORT_INTERVAL = 0.3


class Request(NamedTuple):
    line: str
    headers: Message

    @property
    def target(self) -> str:
        return self.line.split(" ")[1]


class Answer(NamedTuple):
    """What goes out for a request. The body stops after `hold` bytes until release()."""

    body: bytes = b""
    status: int = 200
    # None takes one of the usual headers away.
    headers: Mapping[str, str | None] = {}
    hold: int | None = None
    # Bytes per second.
    rate: float | None = None


class UpdateServer(ThreadingTCPServer):
    """A context manager; the port is chosen by the system. A list of answers serves successive requests, the last one
    all further ones; a target without an answer gets 404."""

    daemon_threads = True

    def __init__(self, answers: Mapping[str, bytes | Answer | list[bytes | Answer]] = {}) -> None:
        super().__init__(("127.0.0.1", 0), _Connection)
        self.port: int = self.server_address[1]
        self.answers = dict(answers)
        self.requests: list[Request] = []
        # The targets of the requests whose connection the client has ended.
        self.left_by_client: list[str] = []
        self.released = threading.Event()

    def __enter__(self) -> UpdateServer:
        threading.Thread(target=self.serve_forever, args=(0.02,), daemon=True).start()
        return self

    def __exit__(self, *_: object) -> None:
        self.release()
        self.shutdown()
        self.server_close()

    def offer(self, *versions: Version | str, package: bytes | None = None) -> None:
        """Offers the list of these versions and, if given, this package as that of each."""
        self.answers[VERSIONS_PATH] = description(*versions)
        if package is not None:
            self.answers |= {version.package_path: package for version in versions if isinstance(version, Version)}

    def release(self) -> None:
        """Lets every answer that is held back go on."""
        self.released.set()

    @property
    def targets(self) -> list[str]:
        """What was asked for. The client's library sends some requests again when it loses the connection; those are
        left out."""
        return [target for target, _ in itertools.groupby(request.target for request in self.requests)]

    def evidence(self) -> str:
        """The requests, for the report of a failure."""
        return "\n".join(f"{request.line}  {dict(request.headers)}" for request in self.requests) or "(no request)"

    def answer(self, request: Request) -> Answer:
        self.requests.append(request)
        answer = self.answers.get(request.target, Answer(b"not here\n", 404))
        if isinstance(answer, list):
            answer = answer.pop(0) if len(answer) > 1 else answer[0]
        return Answer(answer) if isinstance(answer, bytes) else answer


class _Connection(BaseHTTPRequestHandler):
    """A connection for one request."""

    server: UpdateServer
    protocol_version = "HTTP/1.1"

    def do_GET(self) -> None:
        request = Request(self.requestline, self.headers)
        try:
            self._send(self.server.answer(request))
        except OSError:
            self.server.left_by_client.append(request.target)

    do_CONNECT = do_GET

    def log_message(self, *_: object) -> None:
        """The requests are kept."""

    def _send(self, answer: Answer) -> None:
        self.send_response_only(answer.status)
        for name, value in {"Connection": "close", "Content-Length": str(len(answer.body)), **answer.headers}.items():
            if value is not None:
                self.send_header(name, value)
        self.end_headers()
        if answer.hold is not None:
            last = max(0, answer.hold - _PIECE)
            self._transmit(answer.body[:last], answer.rate)
            time.sleep(_REPORT_INTERVAL)
            self._transmit(answer.body[last:answer.hold], answer.rate)
            self._hold()
        self._transmit(answer.body[answer.hold or 0:], answer.rate)

    def _transmit(self, part: bytes, rate: float | None) -> None:
        """Sends this part of the body: at once, or in pieces, twenty a second."""
        size = max(1, min(_PIECE, int(rate / 20))) if rate else len(part) or 1
        for start in range(0, len(part), size):
            self.wfile.write(part[start:start + size])
            if rate:
                time.sleep(size / rate)

    def _hold(self) -> None:
        """Waits for release(). A client that goes away meanwhile is noted."""
        self.connection.settimeout(0.05)
        end = time.monotonic() + _LONGEST_HOLD
        while time.monotonic() < end and not self.server.released.is_set():
            with suppress(TimeoutError):
                if not self.connection.recv(1):
                    raise ConnectionError("the client has left")
        self.connection.settimeout(None)
