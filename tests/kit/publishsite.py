"""nginx with a configuration of its own, such as the one in the documentation."""

from __future__ import annotations

from dataclasses import dataclass
from pathlib import Path

from .servers import Nginx

_DOCUMENTED = Path(__file__).resolve().parents[2] / "docs" / "nginx.conf"


@dataclass
class Site(Nginx):
    """nginx with this text, in which @port and @folder stand for its own, in its context "http"."""

    http: str = ""

    def _command(self) -> list[str]:
        command = super()._command()
        http = self.http.replace("@port", str(self.port)).replace("@folder", str(self.folder))
        (self.folder / "http.conf").write_text(http)
        configuration = self.folder / "nginx.conf"
        head, _, _ = configuration.read_text().partition("    server {")
        configuration.write_text(f"{head}    include {self.folder}/http.conf;\n}}\n")
        return command


def documented(certificate: Path) -> str:
    """The configuration that publishers are told to use, with this machine's names."""
    text = _DOCUMENTED.read_text()
    for line, here in (("listen 443 ssl;", "listen 127.0.0.1:@port ssl;"), ("listen [::]:443 ssl;", ""),
                       ("listen 80;", "listen unix:@folder/http;"), ("listen [::]:80;", ""),
                       ("/etc/ssl/certs/updates.example.org.pem", str(certificate)),
                       ("/etc/ssl/private/updates.example.org.key", str(certificate)),
                       ("root /srv/updates;", "root @folder/content;")):
        assert text.count(line) == 1, line
        text = text.replace(line, here)
    return text
