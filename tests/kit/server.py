"""An HTTP server that keeps each request as it came and answers as a test tells it to: cut off, held back, byte by
byte, without a length. Asked as a proxy, it notes the whole addresses and answers for every host."""

from __future__ import annotations

import itertools
import socket
import threading
import time
from collections.abc import Mapping
from contextlib import suppress
from http import HTTPStatus
from typing import NamedTuple

from .offer import VERSIONS_PATH, Version, description

_PIECE = 16 * 1024
_LONGEST_HOLD = 60.0
# A client like the updater hears of its progress ten times a second at most. What is sent last before a stop is one
# piece, and comes so much later than the rest that the progress shown is exactly that of the stop.
_REPORT_INTERVAL = 0.3


class Request(NamedTuple):
    """A request: its first line, and its headers in their order."""

    line: str
    headers: list[tuple[str, str]]

    @property
    def target(self) -> str:
        return self.line.split(" ")[1]

    def header(self, name: str) -> str | None:
        return next((value for key, value in self.headers if key.lower() == name.lower()), None)


class Answer(NamedTuple):
    """What goes out for a request. The body stops after `hold` bytes until release(), and ends with the connection
    after `cut` bytes."""

    body: bytes = b""
    status: int = 200
    headers: Mapping[str, str] = {}
    # Whether the length of the body is told.
    announce: bool = True
    hold: int | None = None
    cut: int | None = None
    # The whole answer is held back, its first line included.
    silent: bool = False
    # Bytes per second.
    rate: float | None = None


class UpdateServer:
    """A context manager; the port is chosen by the system. A list of answers serves successive requests, the last one
    all further ones; a target without an answer gets 404."""

    def __init__(self, answers: Mapping[str, bytes | Answer | list[bytes | Answer]] = {}) -> None:
        self.answers = dict(answers)
        self.requests: list[Request] = []
        # The targets of the requests whose connection the client has ended.
        self.left_by_client: list[str] = []
        self._released = threading.Event()
        self._lock = threading.Lock()
        self._connections: set[socket.socket] = set()
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.port: int = self._listener.getsockname()[1]
        self._thread = threading.Thread(target=self._accept, daemon=True)

    def __enter__(self) -> UpdateServer:
        self._thread.start()
        return self

    def __exit__(self, *_: object) -> None:
        self._released.set()
        self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()
        with self._lock:
            for connection in self._connections:
                with suppress(OSError):
                    connection.shutdown(socket.SHUT_RDWR)
        self._thread.join(5)

    def offer(self, *versions: Version | str, package: bytes | None = None) -> None:
        """Offers the list of these versions and, if given, this package as that of each."""
        self.answers[VERSIONS_PATH] = description(*versions)
        if package is not None:
            self.answers |= {version.package_path: package for version in versions if isinstance(version, Version)}

    def release(self) -> None:
        """Lets every answer that is held back go on."""
        self._released.set()

    @property
    def targets(self) -> list[str]:
        """What was asked for. The client's library sends some requests again when it loses the connection; those are
        left out."""
        return [target for target, _ in itertools.groupby(request.target for request in self.requests)]

    def asked_for(self, target: str) -> bool:
        return target in self.targets

    def evidence(self) -> str:
        """The requests, for the report of a failure."""
        return "\n".join(f"{request.line}  {dict(request.headers)}" for request in self.requests) or "(no request)"

    def _accept(self) -> None:
        with suppress(OSError):
            while True:
                connection, _ = self._listener.accept()
                with self._lock:
                    self._connections.add(connection)
                threading.Thread(target=self._serve, args=(connection,), daemon=True).start()

    def _serve(self, connection: socket.socket) -> None:
        target = ""
        try:
            with connection, connection.makefile("rb") as reader:
                lines = list(iter(lambda: reader.readline().decode("latin-1").rstrip("\r\n"), ""))
                if not lines:
                    return
                fields = (header.partition(":") for header in lines[1:])
                request = Request(lines[0], [(name, value.strip()) for name, _, value in fields])
                target = request.target
                with self._lock:
                    self.requests.append(request)
                    answer = self._answer_for(target)
                self._send(connection, answer)
        except OSError:
            self.left_by_client.append(target)
        finally:
            with self._lock:
                self._connections.discard(connection)

    def _answer_for(self, target: str) -> Answer:
        answer = self.answers.get(target, Answer(b"not here\n", 404))
        if isinstance(answer, list):
            answer = answer.pop(0) if len(answer) > 1 else answer[0]
        return Answer(answer) if isinstance(answer, bytes) else answer

    def _send(self, connection: socket.socket, answer: Answer) -> None:
        if answer.silent:
            self._hold(connection)
        length = {"Content-Length": len(answer.body)} if answer.announce else {}
        headers = {"Connection": "close", **answer.headers, **length}
        head = [f"HTTP/1.1 {answer.status} {HTTPStatus(answer.status).phrase}",
                *(f"{name}: {value}" for name, value in headers.items())]
        connection.sendall("\r\n".join([*head, "", ""]).encode("latin-1"))
        sent = 0
        for stop in sorted({len(answer.body), *(stop for stop in (answer.hold, answer.cut) if stop is not None)}):
            before = stop if stop == len(answer.body) else max(sent, stop - _PIECE)
            _transmit(connection, answer, sent, before)
            if before < stop:
                time.sleep(_REPORT_INTERVAL)
                _transmit(connection, answer, before, stop)
            sent = stop
            if stop == answer.cut:
                return
            if stop == answer.hold:
                self._hold(connection)

    def _hold(self, connection: socket.socket) -> None:
        """Waits for release(). A client that goes away meanwhile is noted."""
        connection.settimeout(0.05)
        end = time.monotonic() + _LONGEST_HOLD
        while time.monotonic() < end and not self._released.is_set():
            with suppress(TimeoutError):
                if not connection.recv(1):
                    raise ConnectionError("the client has left")
        connection.settimeout(None)


def _transmit(connection: socket.socket, answer: Answer, start: int, end: int) -> None:
    """Sends this part of the body: at once, or in pieces, twenty a second."""
    body = memoryview(answer.body)[start:end]
    piece = max(1, min(_PIECE, int(answer.rate / 20))) if answer.rate else len(body)
    while body:
        connection.sendall(body[:piece])
        body = body[piece:]
        if answer.rate:
            time.sleep(piece / answer.rate)
