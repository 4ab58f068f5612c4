"""Real servers and proxies on the loopback address, each with its configuration, logs and users in a folder of the
test's own, and a certificate authority for them.

A program never asks a proxy for a host of this machine by its number, so the servers behind go by the name HOST, which
the proxies alone know."""

from __future__ import annotations

import datetime
import json
import os
import signal
import socket
import ssl
import string
import subprocess
from contextlib import suppress
from dataclasses import dataclass
from pathlib import Path
from typing import NamedTuple

import trustme

from .sandbox import sandboxed
from .waiting import wait_for

HOST = "server.example"


class Authority:
    """Makes certificates for servers: files that hold the key as well. They live as long as the folder."""

    def __init__(self, folder: Path) -> None:
        folder.mkdir()
        self._folder = folder
        self._authority = trustme.CA(organization_name="Test authority")
        # The trusted certificates, as the system keeps them.
        self.store = folder / "trusted"
        self.store.mkdir()
        self._authority.cert_pem.write_to_path(str(self.store / "authority.pem"))
        subprocess.run(["openssl", "rehash", self.store], check=True, stdin=subprocess.DEVNULL)

    @property
    def der(self) -> bytes:
        """Its own certificate in DER, not PEM."""
        return ssl.PEM_cert_to_DER_cert(self._authority.cert_pem.bytes().decode("ascii"))

    def issue(self, *names: str, days: int = 2) -> Path:
        """A certificate for a server with these names and addresses. With negative days it has expired."""
        end = datetime.datetime.utcnow() + datetime.timedelta(days)
        issued = self._authority.issue_cert(*names, not_after=end)
        return self._written(issued.private_key_pem, *issued.cert_chain_pems)

    def own(self) -> Path:
        """The authority's own certificate, which nobody but itself has signed."""
        return self._written(self._authority.private_key_pem, self._authority.cert_pem)

    def _written(self, *parts: trustme.Blob) -> Path:
        file = self._folder / f"{len(list(self._folder.iterdir()))}.pem"
        file.write_bytes(b"".join(part.bytes() for part in parts))
        return file


# --- servers

class _Template(string.Template):
    # What the programs do not use themselves.
    delimiter = "@"


def _configuration(name: str, **values: object) -> str:
    """A configuration in the folder conf, with values in the place of @names."""
    return _Template(Path(__file__).with_name("conf").joinpath(name).read_text("utf-8")).substitute(values)


@dataclass
class Server:
    """A server program in the foreground. A context manager."""

    folder: Path

    def _command(self) -> list[str]:
        """Writes the configuration and returns the command."""
        raise NotImplementedError

    def __post_init__(self) -> None:
        self.folder.mkdir()
        # Nobody else gets it so soon.
        with socket.create_server(("127.0.0.1", 0)) as probe:
            self.port: int = probe.getsockname()[1]

    def __enter__(self):
        # Where Debian keeps programs that serve.
        environment = {"PATH": f"/usr/sbin:{os.defpath}", "HOME": str(self.folder), "LC_ALL": "C.UTF-8"}
        with open(self.folder / "output.txt", "wb") as output:
            self._process = subprocess.Popen(self._command(), env=environment, cwd=self.folder, start_new_session=True,
                                             stdin=subprocess.DEVNULL, stdout=output, stderr=output)
        wait_for(self._answers, "the server")
        return self

    def __exit__(self, *_: object) -> None:
        self._process.terminate()
        with suppress(subprocess.TimeoutExpired):
            self._process.wait(3)
        # Programs of its own, in case it has left any.
        self.kill()

    def kill(self) -> None:
        """Ends the server at once, as a failure of its machine does."""
        with suppress(ProcessLookupError):
            os.killpg(self._process.pid, signal.SIGKILL)
        self._process.wait()

    def evidence(self) -> str:
        """What it has written, for the report of a failure."""
        return "\n".join(f"{file.name}: {file.read_text(errors='replace')[-2000:]}"
                         for file in sorted(self.folder.glob("*.txt")))

    def _answers(self) -> bool:
        assert self._process.poll() is None, f"{type(self).__name__} does not start\n{self.evidence()}"
        with suppress(OSError), socket.create_connection(("127.0.0.1", self.port), 1):
            return True
        return False

    def _write(self, name: str, *lines: str) -> Path:
        file = self.folder / name
        file.write_text("".join(f"{line}\n" for line in lines), encoding="utf-8")
        return file

    def _configured(self, name: str, **values: object) -> str:
        return str(self._write(name, _configuration(name, folder=self.folder, port=self.port, **values)))


class Served(NamedTuple):
    """One answered request, as the web server logs it."""

    request: str
    host: str
    agent: str
    status: int
    scheme: str


@dataclass
class Nginx(Server):
    """A web server; locations is added to its configuration as it is."""

    certificate: Path | None = None
    locations: str = ""

    def file(self, path: str) -> Path:
        """The file that it offers under this path, in a folder that is there."""
        file = self.folder / "content" / path.lstrip("/")
        file.parent.mkdir(parents=True, exist_ok=True)
        return file

    def offer(self, path: str, content: bytes) -> None:
        self.file(path).write_bytes(content)

    def served(self) -> list[Served]:
        """What it was asked for and has answered so far."""
        lines = (self.folder / "access.txt").read_text(encoding="utf-8", errors="replace").splitlines()
        return [entry for entry in (Served(*json.loads(line)) for line in lines) if entry.request]

    def _command(self) -> list[str]:
        file = self.certificate
        configuration = self._configured(
            "nginx.conf", protocol="ssl" if file else "", locations=self.locations,
            certificate=f"ssl_certificate {file}; ssl_certificate_key {file};" if file else "")
        return ["nginx", "-c", configuration, "-e", str(self.folder / "error.txt"), "-p", str(self.folder)]


# --- proxies

class User(NamedTuple):
    """Somebody who may use a proxy. Names and passwords travel as Latin-1."""

    name: str
    password: str

    def crypted(self) -> str:
        """The password as files of passwords keep it."""
        return subprocess.run(["openssl", "passwd", "-6", "-stdin"], input=self.password.encode("latin-1"),
                              capture_output=True, check=True, timeout=10).stdout.decode().strip()


@dataclass
class Squid(Server):
    """An HTTP proxy whose users, if it has any, name themselves."""

    users: tuple[User, ...] = ()

    def _command(self) -> list[str]:
        access = "http_access allow all"
        if self.users:
            self._write("passwords", *(f"{user.name}:{user.crypted()}" for user in self.users))
            access = _configuration("squid-users.conf", folder=self.folder)
        self._write("hosts", f"127.0.0.1 {HOST}")
        # Killed, it leaves its shared memory, which all programs of a name have together otherwise.
        memory = self.folder / "memory"
        memory.mkdir()
        # As root it would become somebody who finds nothing.
        return [*sandboxed(replaced={Path("/dev/shm"): memory}, user=1000),
                "squid", "-N", "-f", self._configured("squid.conf", access=access)]


@dataclass
class Dante(Server):
    """A SOCKS5 proxy whose users name themselves. It asks the system for users and hosts, so it runs with files of its
    own in place of the system's."""

    users: tuple[User, ...] = ()

    def _command(self) -> list[str]:
        own = (
            self._write("passwd", "root:x:0:0::/root:/bin/sh", *(
                f"{user.name}:x:{number}:1000::/:/bin/sh" for number, user in enumerate(self.users, 1000))),
            self._write("shadow", *(f"{user.name}:{user.crypted()}:19000:0:99999:7:::" for user in self.users)),
            self._write("hosts", f"127.0.0.1 localhost {HOST}"),
            self._write("nsswitch.conf", *(f"{kind}: files" for kind in ("passwd", "group", "shadow", "hosts"))))
        configuration = self._configured("danted.conf", method="username" if self.users else "none")
        return [*sandboxed(replaced={Path("/etc", file.name): file for file in own}, user=0),
                "danted", "-f", configuration, "-p", str(self.folder / "danted.pid")]
