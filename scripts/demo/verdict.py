"""What has become of the installation."""

from __future__ import annotations

from dataclasses import dataclass

from harness import trees
from harness.updateserver import UpdateServer

from scenario import OLD_VERSION, Stage, application


@dataclass(frozen=True)
class Verdict:
    old_version: str
    new_version: str | None
    replaced: list[str]
    added: list[str]
    removed: list[str]
    kept: list[str]
    faults: list[str]

    @property
    def is_good(self) -> bool:
        return not self.faults

    def __str__(self) -> str:
        lines = [
            f"old version     {self.old_version}",
            f"new version     {self.new_version or 'none'}",
            f"files replaced  {_listed(self.replaced)}",
            f"files added     {_listed(self.added)}",
            f"files removed   {_listed(self.removed)}",
            f"files kept      {_listed(self.kept)}",
        ]
        if self.is_good:
            lines.append("verdict         UPDATED: the installation equals the package plus the kept files, byte for byte, "
                         "and the shell has started the new application")
        else:
            lines.append("verdict         NOT AS IT SHOULD BE")
            lines += [f"                {fault}" for fault in self.faults]
        return "\n".join(lines)


def judge(stage: Stage, server: UpdateServer, was_cleaned: bool, faults_on_the_way: list[str]) -> Verdict:
    """Compares the installation with what the chosen package should have made of it, and looks for the start of the
    new application. was_cleaned: the user has agreed to remove the old version first."""
    paths = [request.path for request in server.requests if request.path in stage.packages]
    package = stage.version_of(paths[-1]).number if paths else None
    actual = trees.read(stage.installation)
    brought = application(package, stage.programs) if package else {}
    kept = trees.after_cleaning(stage.old, stage.files_to_keep()) if was_cleaned else stage.old
    faults = [*faults_on_the_way, *([] if package else ["no package was downloaded"])]
    faults += trees.differences(trees.after_copying(kept, brought), actual)
    faults += _start_faults(stage, package)
    faults += [f"left over: {path}" for path in sorted(stage.home.updater_data.iterdir())
               if path.name == "out" or path.suffix == ".zip"]
    old, new, files = _files(stage.old), _files(brought), _files(actual)
    return Verdict(
        old_version=OLD_VERSION,
        new_version=package,
        replaced=sorted(old & new & files),
        added=sorted(files - old),
        removed=sorted(old - files),
        kept=sorted(path for path in old & files - new if actual[path] == stage.old[path]),
        faults=faults,
    )


def cleaning_was_agreed(stage: Stage) -> bool:
    """Whether the debug log says that the installation was cleaned."""
    try:
        log = stage.home.debug_log.read_text(encoding="utf-8", errors="replace")
    except FileNotFoundError:
        return False
    return f'deleteTempDir "{stage.installation}" false' in log


def _start_faults(stage: Stage, package: str | None) -> list[str]:
    program = str(stage.installation / "Tavlopro.exe")
    starts = stage.shell.starts()
    if [start.arguments for start in starts] != [(program,)] or starts[0].process is None:
        return [f"the shell should have started {program} once, but was called {len(starts)} times: {starts}"]
    noted = stage.start_log.read_text(encoding="utf-8").splitlines() if stage.start_log.exists() else []
    if [(line.split("\t")[0], line.split("\t")[-1]) for line in noted] != [(package, program)]:
        return [f"{program} should have noted one start of version {package}, but noted: {noted}"]
    return []


def _files(entries: trees.Tree) -> set[str]:
    return {path for path, entry in entries.items() if not entry.is_folder}


def _listed(paths: list[str]) -> str:
    return f"{len(paths)}: {', '.join(paths)}" if paths else "0"
