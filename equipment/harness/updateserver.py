"""A local HTTP server that offers versions and packages, slowly if need be, and remembers what it was asked."""

from __future__ import annotations

import threading
import time
from collections.abc import Mapping
from dataclasses import dataclass
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path
from typing import Any

_PIECE = 32 * 1024
_LONGEST_HOLD = 60.0
# A client like the updater hears of its progress ten times a second at most. What is sent last before a hold comes so
# much later than the rest that the progress shown is exactly that of the hold.
_REPORT_INTERVAL = 0.3


@dataclass(frozen=True)
class Request:
    method: str
    path: str
    headers: Mapping[str, str]


class UpdateServer:
    """Answers GET on the loopback address with the content, or the file, of each path, and 404 for any other path. A
    context manager; port is chosen by the system."""

    def __init__(self, contents: Mapping[str, bytes | Path], bytes_per_second: float | None = None) -> None:
        self.requests: list[Request] = []
        self._contents = dict(contents)
        self._bytes_per_second = bytes_per_second
        self._holds: dict[str, float] = {}
        self._released = threading.Event()
        self._server = ThreadingHTTPServer(("127.0.0.1", 0), self._handler())
        self._server.daemon_threads = True
        self._thread = threading.Thread(target=self._server.serve_forever, args=(0.05,), daemon=True)

    def __enter__(self) -> UpdateServer:
        self._thread.start()
        return self

    def __exit__(self, *_: object) -> None:
        self._released.set()
        self._server.shutdown()
        self._server.server_close()
        self._thread.join()

    @property
    def host(self) -> str:
        return self._server.server_address[0]

    @property
    def port(self) -> int:
        return self._server.server_address[1]

    def hold(self, path: str, part: float) -> None:
        """Stops sending the content of path when this part of it (0 to 1) has gone out, until release()."""
        self._holds[path] = part

    def release(self) -> None:
        self._holds.clear()
        self._released.set()

    def was_asked(self, path: str) -> bool:
        return any(request.path == path for request in self.requests)

    def _send(self, handler: BaseHTTPRequestHandler) -> None:
        self.requests.append(Request(handler.command, handler.path, dict(handler.headers)))
        content = self._contents.get(handler.path)
        if content is None:
            handler.send_error(404)
            return
        body = content.read_bytes() if isinstance(content, Path) else content
        handler.send_response(200)
        handler.send_header("Content-Type", "application/octet-stream")
        handler.send_header("Content-Length", str(len(body)))
        handler.end_headers()
        stop = int(len(body) * self._holds[handler.path]) if handler.path in self._holds else None
        start = 0
        while start < len(body):
            if start == stop:
                self._released.wait(_LONGEST_HOLD)
            end = min(start + _PIECE, len(body))
            if stop is not None and start < stop <= end:
                end = stop
                time.sleep(_REPORT_INTERVAL)
            handler.wfile.write(body[start:end])
            if self._bytes_per_second:
                time.sleep((end - start) / self._bytes_per_second)
            start = end

    def _handler(self) -> type[BaseHTTPRequestHandler]:
        server = self

        class Handler(BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def do_GET(self) -> None:
                try:
                    server._send(self)
                except ConnectionError:
                    # The updater has aborted the download.
                    self.close_connection = True

            def log_message(self, *_: Any) -> None:
                """The requests are remembered, not printed."""

        return Handler
