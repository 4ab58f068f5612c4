"""A real web server (nginx) on the loopback address with TLS, and the authority that its certificate comes from."""

from __future__ import annotations

import os
import socket
import ssl
import subprocess
from hashlib import sha1
from pathlib import Path
from struct import pack

from .waiting import wait_for

# The name that the certificates are made out to.
HOST = "localhost"

_DAYS = "30"

_AUTHORITY = """\
[req]
distinguished_name = name
x509_extensions = extensions
prompt = no
[name]
CN = {name}
[extensions]
basicConstraints = critical, CA:TRUE
keyUsage = critical, keyCertSign, cRLSign
"""

_SERVER = """\
basicConstraints = CA:FALSE
keyUsage = critical, digitalSignature
extendedKeyUsage = serverAuth
subjectAltName = DNS:localhost
"""

_CONFIGURATION = """\
daemon off;
master_process off;
pid {folder}/nginx.pid;
error_log {folder}/error.log;
events {{ worker_connections 64; }}
http {{
    log_format request '$request_method $request_uri $status "$http_user_agent" $http_host';
    access_log {folder}/access.log request;
    default_type application/octet-stream;
    client_body_temp_path {folder}/temporary;
    proxy_temp_path {folder}/temporary;
    fastcgi_temp_path {folder}/temporary;
    uwsgi_temp_path {folder}/temporary;
    scgi_temp_path {folder}/temporary;
    server {{
        listen 127.0.0.1:{port} ssl;
        server_name {host};
        ssl_certificate {folder}/server.pem;
        ssl_certificate_key {folder}/server.key;
        root {root};
        {speed}
    }}
}}
"""


class Authority:
    """Makes certificates in folder, which nobody trusts yet."""

    def __init__(self, folder: Path, name: str = "Test authority") -> None:
        self._folder = folder
        folder.mkdir(parents=True)
        (folder / "authority.cnf").write_text(_AUTHORITY.format(name=name))
        self._openssl("req", "-x509", *_key("authority"), "-config", "authority.cnf", "-days", _DAYS,
                      "-out", "authority.pem")

    @property
    def certificate(self) -> bytes:
        """The authority's own certificate (DER)."""
        return ssl.PEM_cert_to_DER_cert((self._folder / "authority.pem").read_text())

    def issue(self, folder: Path) -> None:
        """Puts a certificate for HOST and its key into folder, as server.pem and server.key."""
        (self._folder / "server.cnf").write_text(_SERVER)
        self._openssl("req", *_key("server"), "-subj", f"/CN={HOST}", "-out", "server.csr")
        self._openssl("x509", "-req", "-in", "server.csr", "-CA", "authority.pem", "-CAkey", "authority.key",
                      "-CAcreateserial", "-days", _DAYS, "-extfile", "server.cnf", "-out", "server.pem")
        for name in ("server.pem", "server.key"):
            (folder / name).write_bytes((self._folder / name).read_bytes())

    def _openssl(self, *arguments: str) -> None:
        subprocess.run(["openssl", *arguments], cwd=self._folder, check=True, stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=60)


def trusted_by_windows(authority: Authority) -> dict[str, dict[str, bytes]]:
    """The registry entry that makes the user of a Windows trust an authority (the form in which its certificate stores
    keep a certificate: properties, each with number, encoding, length and value)."""
    fingerprint = sha1(authority.certificate).digest()
    properties = ((3, fingerprint), (32, authority.certificate))
    stored = b"".join(pack("<III", number, 1, len(value)) + value for number, value in properties)
    key = r"HKEY_CURRENT_USER\Software\Microsoft\SystemCertificates\Root\Certificates" + "\\"
    return {key + fingerprint.hex().upper(): {"Blob": stored}}


class WebServer:
    """Offers the files below root over HTTPS, with a certificate of this authority. A context manager.

    folder, which must not exist yet, holds its files; bytes_per_second is the speed of a larger answer."""

    def __init__(self, folder: Path, root: Path, authority: Authority, bytes_per_second: int | None = None) -> None:
        self._folder = folder
        self._root = root
        self._authority = authority
        self._bytes_per_second = bytes_per_second
        self._process: subprocess.Popen | None = None
        self.port = _free_port()

    def __enter__(self) -> WebServer:
        (self._folder / "temporary").mkdir(parents=True)
        self._authority.issue(self._folder)
        configuration = self._folder / "nginx.conf"
        speed = f"limit_rate {self._bytes_per_second};" if self._bytes_per_second else ""
        configuration.write_text(_CONFIGURATION.format(folder=self._folder, root=self._root, host=HOST, port=self.port,
                                                       speed=speed))
        with open(self._folder / "output.txt", "wb") as output:
            self._process = subprocess.Popen(
                ["nginx", "-c", configuration, "-e", self._folder / "error.log"],
                env={"PATH": f"/usr/sbin{os.pathsep}{os.defpath}"}, stdin=subprocess.DEVNULL, stdout=output,
                stderr=output, start_new_session=True)
        wait_for(self._answers, "the web server")
        return self

    def __exit__(self, *_: object) -> None:
        if self._process is not None:
            self._process.terminate()
            self._process.wait(10)

    def requests(self) -> list[str]:
        """The requests so far: method, path, status, user agent and host of each."""
        return (self._folder / "access.log").read_text().splitlines()

    def _answers(self) -> bool:
        if self._process is not None and self._process.poll() is not None:
            raise RuntimeError("the web server did not start: " + (self._folder / "output.txt").read_text())
        with socket.socket() as connection:
            return connection.connect_ex(("127.0.0.1", self.port)) == 0


def _key(name: str) -> tuple[str, ...]:
    return "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-keyout", f"{name}.key"


def _free_port() -> int:
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]
