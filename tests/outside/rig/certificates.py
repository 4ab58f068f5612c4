"""A certificate authority of the test's own, and certificates from it."""

from __future__ import annotations

import shutil
import ssl
import subprocess
from dataclasses import dataclass
from pathlib import Path


@dataclass(frozen=True)
class Certificate:
    certificate: Path
    key: Path


# Not a curve's: of the signatures made with one, Wine takes those for forged whose numbers begin with a byte of zero,
# which is one certificate in 128.
_KEY = ("-newkey", "rsa:2048", "-nodes")


class Authority:
    """Makes certificates for servers. The private keys live as long as the folder."""

    def __init__(self, folder: Path, name: str = "Test authority") -> None:
        folder.mkdir()
        self._folder = folder
        self.certificate = folder / "authority.pem"
        _openssl("req", "-x509", *_KEY, "-days", "2", "-subj", f"/O=Tests/CN={name}",
                 "-keyout", folder / "authority.key", "-out", self.certificate)

    @property
    def binary_certificate(self) -> bytes:
        """Its own certificate in DER, not PEM."""
        return ssl.PEM_cert_to_DER_cert(self.certificate.read_text(encoding="ascii"))

    def issue(self, name: str, *alternatives: str, days: int = 2) -> Certificate:
        """A certificate for a server with these names, each like "IP:127.0.0.1" or "DNS:localhost". With negative days
        it has expired."""
        made = Certificate(self._folder / f"{name}.pem", self._folder / f"{name}.key")
        request, extensions = self._folder / f"{name}.csr", self._folder / f"{name}.ext"
        extensions.write_text(f"subjectAltName={','.join(alternatives)}\n", encoding="ascii")
        _openssl("req", *_KEY, "-subj", f"/CN={name}", "-keyout", made.key, "-out", request)
        _openssl("x509", "-req", "-in", request, "-CA", self.certificate, "-CAkey", self._folder / "authority.key",
                 "-CAcreateserial", "-days", str(days), "-extfile", extensions, "-out", made.certificate)
        return made

    def own(self) -> Certificate:
        """The authority's own certificate, which nobody but itself has signed."""
        return Certificate(self.certificate, self._folder / "authority.key")

    def store(self) -> Path:
        """A folder of trusted certificates, as the system keeps it, with nothing but this authority in it."""
        folder = self._folder / "trusted"
        if not folder.exists():
            folder.mkdir()
            shutil.copy2(self.certificate, folder / "authority.pem")
            _openssl("rehash", folder)
        return folder


def _openssl(*arguments: str | Path) -> None:
    result = subprocess.run(["openssl", *map(str, arguments)], stdin=subprocess.DEVNULL, capture_output=True,
                            timeout=30)
    if result.returncode != 0:
        raise RuntimeError(f"openssl {arguments[0]}: {result.stderr.decode(errors='replace')}")
