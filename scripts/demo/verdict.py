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
            lines.append("verdict         UPDATED: the installation equals the package plus the kept files, byte for "
                         "byte, and the shell has started the new application")
        else:
            lines.append("verdict         NOT AS IT SHOULD BE")
            lines += [f"                {fault}" for fault in self.faults]
        return "\n".join(lines)


def judge(stage: Stage, server: UpdateServer, was_cleaned: bool, faults_on_the_way: list[str]) -> Verdict:
    """Compares the installation with what the chosen package should have made of it, and looks for the start of the
    new application. was_cleaned: the user has agreed to remove the old version first."""
    paths = [request.path for request in server.requests if request.path in stage.packages]
    package = stage.version_of(paths[-1]).number if paths else None
    actual = stage.as_installed(trees.read(stage.installation))
    brought = stage.as_installed(application(package, stage.programs) if package else {})
    before = stage.as_installed(stage.old)
    kept = trees.after_cleaning(before, stage.files_to_keep()) if was_cleaned else before
    faults = [*faults_on_the_way, *([] if package else ["no package was downloaded"])]
    faults += trees.differences(trees.after_copying(kept, brought), actual)
    faults += stage.start_faults(package)
    faults += [f"left over: {path}" for path in sorted(stage.home.updater_data.iterdir())
               if path.name == "out" or path.suffix == ".zip"]
    old, new, files = _files(before), _files(brought), _files(actual)
    return Verdict(
        old_version=OLD_VERSION,
        new_version=package,
        replaced=sorted(old & new & files),
        added=sorted(files - old),
        removed=sorted(old - files),
        kept=sorted(path for path in old & files - new if actual[path] == before[path]),
        faults=faults,
    )


def cleaning_was_agreed(stage: Stage) -> bool:
    """Whether the debug log says that the installation was cleaned."""
    try:
        log = stage.home.debug_log.read_text(encoding="utf-8", errors="replace")
    except FileNotFoundError:
        return False
    return f'deleteTempDir "{stage.name_of(stage.installation)}" false' in log


def _files(entries: trees.Tree) -> set[str]:
    return {path for path, entry in entries.items() if not entry.is_folder}


def _listed(paths: list[str]) -> str:
    return f"{len(paths)}: {', '.join(paths)}" if paths else "0"
