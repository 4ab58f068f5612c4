"""Real proxies on the loopback address, with users and passwords of the test's own.

A program never asks a proxy for a host of this machine by its number, so the servers behind go by the name HOST, which
the proxies alone know."""

from __future__ import annotations

import hashlib
import os
import re
import shutil
import subprocess
from dataclasses import dataclass
from pathlib import Path
from tempfile import gettempdir

from .servers import Server
from .views import seeing

HOST = "server.example"

_PROGRAMS = "/usr/lib/squid"
_REALM = "Tests"


@dataclass(frozen=True)
class User:
    """Somebody who may use a proxy. Names and passwords travel as Latin-1."""

    name: str
    password: str


@dataclass(frozen=True)
class Forwarded:
    """One request that the proxy has dealt with, as its log says."""

    method: str
    target: str
    user: str
    status: int


class Squid(Server):
    """An HTTP proxy. scheme is how users name themselves: "basic", "digest", or "" where nobody has to."""

    def __init__(self, folder: Path, scheme: str = "", users: tuple[User, ...] = ()) -> None:
        super().__init__(folder)
        self._scheme = scheme
        self._users = users

    def forwarded(self) -> list[Forwarded]:
        """What went through so far, refusals too, in the order of their end."""
        log = self.folder / "access.txt"
        lines = log.read_text(encoding="utf-8", errors="replace").splitlines() if log.exists() else []
        fields = [line.split("\t") for line in lines]
        # A connection that asks for nothing is logged as an error before any request.
        return [Forwarded(method, target, "" if user == "-" else user, int(status))
                for method, target, user, status in fields if method not in ("-", "NONE")]

    def _command(self) -> list[str]:
        if os.getuid() == 0:
            # It gives the rights of root away by itself, and needs its folder afterwards.
            shutil.chown(self.folder, _UNPRIVILEGED)
            for folder in self.folder.parents:
                if folder.is_relative_to(gettempdir()) and folder != Path(gettempdir()):
                    folder.chmod(0o711)
        passwords = self.folder / "passwords"
        rules = ["http_access allow all"]
        if self._scheme:
            write = {"basic": _basic_passwords, "digest": _digest_passwords}[self._scheme]
            passwords.write_text("".join(line + "\n" for line in write(self._users)), encoding="utf-8")
            checker = {"basic": "basic_ncsa_auth", "digest": "digest_file_auth -c"}[self._scheme]
            rules = [f"auth_param {self._scheme} program {_PROGRAMS}/{checker} {passwords}",
                     f"auth_param {self._scheme} children 1 startup=1",
                     f"auth_param {self._scheme} realm {_REALM}",
                     "auth_param basic utf8 off" if self._scheme == "basic" else "auth_param digest utf8 off",
                     "acl known proxy_auth REQUIRED", "http_access allow known", "http_access deny all"]
        hosts = self.folder / "hosts"
        hosts.write_text(f"127.0.0.1 {HOST}\n", encoding="ascii")
        configuration = self.folder / "squid.conf"
        configuration.write_text("\n".join([
            f"http_port 127.0.0.1:{self.port}",
            f"hosts_file {hosts}",
            f"pid_filename {self.folder}/squid.pid",
            f"coredump_dir {self.folder}",
            f"cache_log {self.folder}/cache.txt",
            "logformat line %rm\t%ru\t%un\t%>Hs",
            f"access_log stdio:{self.folder}/access.txt line",
            "buffered_logs off",
            "cache deny all",
            "cache_mem 1 MB",
            "pinger_enable off",
            "shutdown_lifetime 0 seconds",
            "max_filedescriptors 256",
            "visible_hostname proxy.example",
            *([f"cache_effective_user {_UNPRIVILEGED}"] if os.getuid() == 0 else []),
            *rules, ""]), encoding="utf-8")
        # Shared memory goes by this name, on the whole machine.
        return ["squid", "-N", "-n", f"freshen{self.port}", "-f", str(configuration)]


_UNPRIVILEGED = "proxy"


def _basic_passwords(users: tuple[User, ...]) -> list[str]:
    return [f"{user.name}:{_crypted(user.password, '-apr1')}" for user in users]


def _digest_passwords(users: tuple[User, ...]) -> list[str]:
    lines = []
    for user in users:
        digest = hashlib.md5(f"{user.name}:{_REALM}:{user.password}".encode("latin-1")).hexdigest()
        lines.append(f"{user.name}:{_REALM}:{digest}")
    return lines


class Dante(Server):
    """A SOCKS5 proxy whose users name themselves. It asks the system for users and hosts, so it runs with files of its
    own in place of the system's."""

    def __init__(self, folder: Path, users: tuple[User, ...] = ()) -> None:
        super().__init__(folder)
        self._users = users

    def connections(self) -> list[tuple[str, int]]:
        """User and target port of each connection that was made through the proxy."""
        log = self.folder / "access.txt"
        text = log.read_text(encoding="utf-8", errors="replace") if log.exists() else ""
        return [(user, int(port)) for user, port in
                re.findall(r"tcp/connect \[: (?:username%(\S*?)@)?\S+ \S+ -> \S+ \S+\.(\d+)$", text, re.MULTILINE)]

    def refused(self) -> list[str]:
        """The user of each connection that was refused for its password."""
        log = self.folder / "access.txt"
        text = log.read_text(encoding="utf-8", errors="replace") if log.exists() else ""
        return re.findall(r'authentication failed for user "(.*?)"', text)

    def _command(self) -> list[str]:
        passwd, shadow, hosts, names = (self.folder / name for name in ("passwd", "shadow", "hosts", "nsswitch.conf"))
        passwd.write_text("root:x:0:0:root:/root:/bin/sh\n" + "".join(
            f"{user.name}:x:{1000 + number}:1000::/nonexistent:/usr/sbin/nologin\n"
            for number, user in enumerate(self._users)), encoding="utf-8")
        shadow.write_text("root:*:19000:0:99999:7:::\n" + "".join(
            f"{user.name}:{_crypted(user.password)}:19000:0:99999:7:::\n" for user in self._users), encoding="utf-8")
        hosts.write_text(f"127.0.0.1 localhost {HOST}\n", encoding="ascii")
        names.write_text("passwd: files\ngroup: files\nshadow: files\nhosts: files\n", encoding="ascii")
        configuration = self.folder / "danted.conf"
        configuration.write_text("\n".join([
            f"logoutput: {self.folder}/access.txt",
            f"internal: 127.0.0.1 port = {self.port}",
            "external: 127.0.0.1",
            f"socksmethod: {'username' if self._users else 'none'}",
            "clientmethod: none",
            "user.privileged: root",
            "user.unprivileged: root",
            "client pass { from: 127.0.0.0/8 to: 127.0.0.0/8 log: error }",
            "socks pass { from: 127.0.0.0/8 to: 0.0.0.0/0 log: connect error }",
            ""]), encoding="utf-8")
        view = seeing({Path("/etc", file.name): file for file in (passwd, shadow, hosts, names)}, as_root=True)
        return [*view, "danted", "-f", str(configuration), "-p", str(self.folder / "danted.pid")]


def _crypted(password: str, method: str = "-6") -> str:
    return subprocess.run(["openssl", "passwd", method, "-stdin"], input=password.encode("latin-1"),
                          capture_output=True, check=True, timeout=10).stdout.decode().strip()
