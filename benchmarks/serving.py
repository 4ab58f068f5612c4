"""What a web server does for updaters: nginx with the configuration of docs/nginx.conf, asked by wrk as fast as it
can ask. The peer is an empty file, asked for alike."""

from __future__ import annotations

import re
import subprocess
from collections.abc import Callable

import psutil

from kit.offer import VERSIONS_PATH, Version, description
from kit.servers import Authority
from kit.publishsite import Site, documented

from groups import Figure, Group, Stage
from inputs import MIB
from measuring import Sample, Side

# Enough for the server to be busy all the time, few enough for packages to come in.
_CONNECTIONS = 8
_EMPTY_PATH = "/update/Tavlopc/EMPTY/windows.txt"


class Load:
    """As many requests as are answered in some seconds: "cpu" is the server's processor time for one of them, and
    "requests" and "MiB" are what came in a second. Updaters make a connection each; caches keep theirs."""

    def __init__(self, server: Site, path: str, seconds: int, *, keeps_connections: bool) -> None:
        self._server = server
        self._command = ["wrk", f"--duration={seconds}", "--threads=1", f"--connections={_CONNECTIONS}",
                         f"https://127.0.0.1:{server.port}{path}",
                         *([] if keeps_connections else ["--header=Connection: close"])]

    def sample(self) -> Sample:
        before = self._cpu()
        output = subprocess.run(self._command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, check=True, text=True,
                                timeout=60).stdout
        used = self._cpu() - before
        if "Non-2xx" in output:
            raise RuntimeError(output)
        count = int(re.search(r"^ +(\d+) requests in ", output, re.MULTILINE)[1])
        rate, unit = re.search(r"^Transfer/sec: +([\d.]+)([KMG]?)B", output, re.MULTILINE).groups()
        return {"cpu": used / count, "MiB": float(rate) * 1024 ** ("KMG".index(unit) - 1 if unit else -2),
                "requests": float(re.search(r"^Requests/sec: +([\d.]+)", output, re.MULTILINE)[1])}

    def peak(self) -> None:
        """Is not told: nginx serves all sides."""
        self.sample()

    def _cpu(self) -> float:
        server = psutil.Process(int((self._server.folder / "nginx.pid").read_text()))
        return sum(sum(process.cpu_times()[:2]) for process in (server, *server.children()))


def serving(stage: Stage) -> Group:
    package, size = Version("26.06.7205"), stage.sized(8 * MIB, MIB)
    server = Site(stage.folder / "server", http=documented(Authority(stage.folder / "authority").issue("127.0.0.1")))
    # A line for each of two years' versions.
    versions = [Version(f"26.05.{7200 + number}", date="2026-07-09", info="What is new. " * 4) for number in range(30)]
    server.offer(VERSIONS_PATH, description(*versions))
    server.offer(package.package_path, bytes(size))
    server.offer(_EMPTY_PATH, b"")
    stage.resources.enter_context(server)
    seconds = stage.sized(4, 1)

    def load(path: str, keeps_connections: bool) -> Side:
        return Load(server, path, seconds, keeps_connections=keeps_connections)

    sides = {
        "updaters, empty": load(_EMPTY_PATH, False),
        "updaters, index": load(VERSIONS_PATH, False),
        "caches, empty": load(_EMPTY_PATH, True),
        "caches, index": load(VERSIONS_PATH, True),
        "caches, package": load(package.package_path, True),
    }
    thousandth, mebibytes = 1e3, size / MIB
    return Group([
        Figure("serving-index", ("updaters, index", "cpu"), ("updaters, empty", "cpu"), "CPU ms", None,
               (thousandth, thousandth)),
        Figure("serving-index-to-caches", ("caches, index", "cpu"), ("caches, empty", "cpu"), "CPU ms", None,
               (thousandth, thousandth)),
        Figure("serving-package-mib", ("caches, package", "cpu"), ("caches, empty", "cpu"), "CPU ms", None,
               (thousandth / mebibytes, thousandth)),
        Figure("serving-index-rate", ("updaters, index", "requests"), ("updaters, empty", "requests"), "/s", None),
        Figure("serving-index-to-caches-rate", ("caches, index", "requests"), ("caches, empty", "requests"), "/s",
               None),
        Figure("serving-package-mib-rate", ("caches, package", "MiB"), ("caches, index", "MiB"), "MiB/s", None),
    ], sides)


GROUPS: dict[Callable[[Stage], Group], list[str]] = {
    serving: ["serving-index", "serving-index-to-caches", "serving-package-mib", "serving-index-rate",
              "serving-index-to-caches-rate", "serving-package-mib-rate"],
}
