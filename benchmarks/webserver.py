"""A real web server (nginx) for large files, without encryption."""

from __future__ import annotations

import socket
import subprocess
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path

from kit.waiting import wait_for

_CONFIGURATION = """\
daemon off;
master_process off;
pid {folder}/nginx.pid;
error_log {folder}/error.log;
events {{ worker_connections 16; }}
http {{
    access_log off;
    sendfile on;
    client_body_temp_path {folder};
    proxy_temp_path {folder};
    fastcgi_temp_path {folder};
    uwsgi_temp_path {folder};
    scgi_temp_path {folder};
    server {{
        listen 127.0.0.1:{port};
        root {root};
    }}
}}
"""


@contextmanager
def serving(folder: Path, root: Path) -> Iterator[int]:
    """Offers the files below root on a port of the loopback address, which is given; folder is for its own files."""
    folder.mkdir()
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        port: int = probe.getsockname()[1]
    configuration = folder / "nginx.conf"
    configuration.write_text(_CONFIGURATION.format(folder=folder, root=root, port=port))

    def answers() -> bool:
        if process.poll() is not None:
            raise RuntimeError(f"nginx ended with {process.returncode}")
        with socket.socket() as connection:
            return connection.connect_ex(("127.0.0.1", port)) == 0

    with subprocess.Popen(["nginx", "-c", configuration, "-e", folder / "error.log"],
                          env={"PATH": "/usr/sbin:/usr/bin:/bin"}, stdin=subprocess.DEVNULL,
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
        try:
            wait_for(answers, "the web server")
            yield port
        finally:
            process.terminate()
