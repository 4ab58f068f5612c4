"""An HTTP server that keeps each request as it came on the wire and answers as a test tells it to: cut off, held back,
drop by drop, without a length. Asked as a proxy, it notes the whole addresses and answers for every host."""

from __future__ import annotations

import socket
import threading
import time
from collections.abc import Mapping
from dataclasses import dataclass, field
from http import HTTPStatus

_PIECE = 16 * 1024
_LONGEST_HOLD = 60.0
# A client like the updater hears of its progress ten times a second at most. What is sent last before a stop comes so
# much later than the rest that the progress shown is exactly that of the stop.
_REPORT_INTERVAL = 0.3


@dataclass(frozen=True)
class WireRequest:
    """A request: its first line, and its headers in their order."""

    line: str
    headers: tuple[tuple[str, str], ...]

    @property
    def target(self) -> str:
        return self.line.split(" ")[1]

    def header(self, name: str) -> str | None:
        return next((value for key, value in self.headers if key.lower() == name.lower()), None)


@dataclass(frozen=True)
class Answer:
    """What goes out for a request. The body stops after `hold` bytes until release(), and ends with the connection
    after `cut` bytes."""

    body: bytes = b""
    status: int = 200
    headers: Mapping[str, str] = field(default_factory=dict)
    announce: bool = True
    hold: int | None = None
    cut: int | None = None
    # The whole answer is held back, its first line included.
    silent: bool = False
    # Waited after each of these pieces of the body.
    piece: int = _PIECE
    pause: float = 0.0


class WireServer:
    """A context manager; the port is chosen by the system. A list of answers serves successive requests, the last one
    all further ones; a target without an answer gets 404."""

    def __init__(self, answers: Mapping[str, Answer | list[Answer]] | None = None) -> None:
        self.answers: dict[str, Answer | list[Answer]] = dict(answers or {})
        self.requests: list[WireRequest] = []
        # For each request whose connection has ended: whether it was the client who ended it.
        self.left_by_client: list[str] = []
        self._released = threading.Event()
        self._lock = threading.Lock()
        self._connections: set[socket.socket] = set()
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.port: int = self._listener.getsockname()[1]
        self._thread = threading.Thread(target=self._accept, daemon=True)

    def __enter__(self) -> WireServer:
        self._thread.start()
        return self

    def __exit__(self, *_: object) -> None:
        self._released.set()
        self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()
        with self._lock:
            for connection in self._connections:
                try:
                    connection.shutdown(socket.SHUT_RDWR)
                except OSError:
                    pass
        self._thread.join(5)

    def release(self) -> None:
        """Lets every answer that is held back go on."""
        self._released.set()

    def asked_for(self, target: str) -> bool:
        return any(request.target == target for request in self.requests)

    def evidence(self) -> str:
        return "\n".join(f"{request.line}  {dict(request.headers)}" for request in self.requests) or "(no request)"

    def _accept(self) -> None:
        while True:
            try:
                connection, _ = self._listener.accept()
            except OSError:
                return
            with self._lock:
                self._connections.add(connection)
            threading.Thread(target=self._serve, args=(connection,), daemon=True).start()

    def _serve(self, connection: socket.socket) -> None:
        target = ""
        try:
            with connection, connection.makefile("rb") as reader:
                line = reader.readline().decode("latin-1").rstrip("\r\n")
                headers = []
                while (header := reader.readline().decode("latin-1").rstrip("\r\n")):
                    name, _, value = header.partition(":")
                    headers.append((name, value.strip()))
                if not line:
                    return
                request = WireRequest(line, tuple(headers))
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
            return answer.pop(0) if len(answer) > 1 else answer[0]
        return answer

    def _send(self, connection: socket.socket, answer: Answer) -> None:
        if answer.silent:
            self._hold(connection)
        head = [f"HTTP/1.1 {answer.status} {HTTPStatus(answer.status).phrase}", "Connection: close",
                *(f"{name}: {value}" for name, value in answer.headers.items())]
        if answer.announce:
            head.append(f"Content-Length: {len(answer.body)}")
        connection.sendall("\r\n".join([*head, "", ""]).encode("latin-1"))
        stops = sorted(stop for stop in (answer.hold, answer.cut, len(answer.body)) if stop is not None)
        sent = 0
        for stop in stops:
            while sent < stop:
                end = min(sent + answer.piece, stop)
                if end == stop and stop != len(answer.body):
                    time.sleep(_REPORT_INTERVAL)
                connection.sendall(answer.body[sent:end])
                sent = end
                if answer.pause:
                    time.sleep(answer.pause)
            if sent == answer.cut:
                return
            if sent == answer.hold:
                self._hold(connection)

    def _hold(self, connection: socket.socket) -> None:
        """Waits for release(). A client that goes away meanwhile is noted."""
        connection.settimeout(0.05)
        end = time.monotonic() + _LONGEST_HOLD
        while time.monotonic() < end and not self._released.is_set():
            try:
                if not connection.recv(1):
                    raise ConnectionError("the client has left")
            except TimeoutError:
                continue
        connection.settimeout(None)
