"""Real servers on the loopback address, each with its configuration, logs and user in a folder of the test's own."""

from __future__ import annotations

import json
import os
import pwd
import signal
import socket
import subprocess
from abc import ABC, abstractmethod
from dataclasses import dataclass
from pathlib import Path

from harness.waiting import wait_for

from .certificates import Certificate

_ATTEMPTS = 5
# Where Debian keeps programs that serve.
_PATH = f"/usr/sbin:{os.defpath}"


class ServerFailure(Exception):
    """The server did not start; the text holds what it said."""


def free_port() -> int:
    with socket.create_server(("127.0.0.1", 0)) as probe:
        return probe.getsockname()[1]


def user() -> str:
    """The user that the tests run as. Servers that are started as root would change to another, who may not read the
    test's folders."""
    return pwd.getpwuid(os.getuid()).pw_name


class Server(ABC):
    """A server program in the foreground. A context manager. The port is looked for anew when somebody else has taken
    it meanwhile."""

    def __init__(self, folder: Path) -> None:
        folder.mkdir()
        self.folder = folder
        self.port = 0
        self._process: subprocess.Popen | None = None

    @abstractmethod
    def _command(self) -> list[str]:
        """Writes the configuration for self.port; returns the command."""

    def __enter__(self):
        for attempt in range(_ATTEMPTS):
            self.port = free_port()
            with open(self.folder / "output.txt", "ab") as output:
                self._process = subprocess.Popen(self._command(), stdin=subprocess.DEVNULL, stdout=output,
                                                 stderr=output, start_new_session=True, cwd=self.folder,
                                                 env={"PATH": _PATH, "HOME": str(self.folder), "LC_ALL": "C.UTF-8"})
            try:
                if wait_for(lambda: self._answers() or self._process.poll() is not None, "the server") and \
                        self._process.poll() is None:
                    return self
            except TimeoutError:
                pass
            self.__exit__()
        raise ServerFailure(f"{type(self).__name__} did not start\n{self.evidence()}")

    def __exit__(self, *_: object) -> None:
        if self._process is not None:
            self._process.terminate()
            try:
                self._process.wait(3)
            except subprocess.TimeoutExpired:
                self._process.kill()
                self._process.wait()
            try:
                # Programs of its own, in case it has left any.
                os.killpg(self._process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass

    def kill(self) -> None:
        """Ends the server at once, as a failure of its machine does."""
        assert self._process is not None
        os.killpg(self._process.pid, signal.SIGKILL)

    def evidence(self) -> str:
        return "\n".join(f"{file.name}: {file.read_text(errors='replace')[-2000:]}"
                         for file in sorted(self.folder.glob("*.txt")))

    def _answers(self) -> bool:
        try:
            socket.create_connection(("127.0.0.1", self.port), 1).close()
        except OSError:
            return False
        return True


@dataclass(frozen=True)
class Served:
    """One answered request, as the web server logs it."""

    request: str
    host: str
    agent: str
    status: int
    scheme: str
    port: int
    encoding: str


class Nginx(Server):
    """A web server that offers the folder content, by default one of its own; locations is added to its configuration
    as it is."""

    def __init__(self, folder: Path, certificate: Certificate | None = None, locations: str = "",
                 content: Path | None = None) -> None:
        super().__init__(folder)
        self.content = content or folder / "content"
        self.content.mkdir(exist_ok=True)
        self.locations = locations
        self._certificate = certificate

    def offer(self, path: str, content: bytes) -> None:
        """Offers content under this path."""
        file = self.content / path.lstrip("/")
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(content)

    def served(self) -> list[Served]:
        log = self.folder / "access.txt"
        lines = log.read_text(encoding="utf-8").splitlines() if log.exists() else []
        entries = [json.loads(line) for line in lines]
        return [Served(entry["request"], entry["host"], entry["agent"], int(entry["status"]), entry["scheme"],
                       int(entry["port"]), entry["encoding"]) for entry in entries if entry["request"]]

    def _command(self) -> list[str]:
        tls = ""
        if self._certificate is not None:
            tls = f"ssl_certificate {self._certificate.certificate}; ssl_certificate_key {self._certificate.key};"
        temporary = "".join(f"{kind}_temp_path {self.folder}/temporary;\n" for kind in
                            ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        configuration = self.folder / "nginx.conf"
        configuration.write_text(f"""\
{f"user {user()};" if os.getuid() == 0 else ""}
daemon off;
worker_processes 1;
pid {self.folder}/nginx.pid;
error_log {self.folder}/error.txt warn;
events {{ worker_connections 64; }}
http {{
    {temporary}
    default_type application/octet-stream;
    log_format wire escape=json '{{"request":"$request","host":"$http_host","agent":"$http_user_agent",'
        '"status":"$status","scheme":"$scheme","port":"$server_port","encoding":"$sent_http_content_encoding"}}';
    access_log {self.folder}/access.txt wire;
    server {{
        listen 127.0.0.1:{self.port} {"ssl" if tls else ""};
        {tls}
        root {self.content};
        {self.locations.replace("@PORT@", str(self.port))}
    }}
}}
""", encoding="utf-8")
        return ["nginx", "-c", str(configuration), "-e", str(self.folder / "error.txt"), "-p", str(self.folder)]
