"""The updater on the Windows, started and seen in the way of the suite from outside, so that its cases run here too."""

from __future__ import annotations

import re
from collections.abc import Mapping, Sequence
from dataclasses import replace
from pathlib import Path, PurePosixPath, PureWindowsPath

import expectedlog
from foldermodel import File, Folder, Model, Node
from harness.desktop import Desktop
from harness.installation import Setting
from harness.trees import Entry, Tree
from harness.waiting import NotYet, wait_for
from harness.windowreports import Widget
from harness.wine import hide_dotted
from rig.evidence import LogLine
from rig.run import INSTALLED
from rig.screen import Button
from rig.sight import contents
from rig.started import StartedUpdater
from stage import TITLE, Stage, plain


# What names are made of; none ends in a blank or a full stop.
_NAMES = re.compile(r'(?:[^/<>:"\\|?*\x00-\x1f]*[^/<>:"\\|?*\x00-\x1f. ](?:/|$))+')
# xcopy.exe reaches no file whose path, as it is named to it, is longer; Wine's crashes on one.
LONGEST_PATH = 254


class WindowsRun(StartedUpdater):
    """The relocated updater with its settings. One at a time; end() ends it."""

    def __init__(self, stage: Stage) -> None:
        super().__init__(stage.data)
        self.folder = stage.wine.profile
        self.installation = stage.installation
        self.is_on_windows = True
        self.program = Entry(stage.build.program("windows/brief.exe").content)
        self._stage = stage
        self._has_own_settings = False

    def write_settings(self, settings: Mapping[str, Setting | None] | None = None, **more: Setting | None) -> None:
        """Writes the application's settings: INSTALLED, and these on top of it. None takes a key away."""
        self._stage.write_settings({**INSTALLED, **(settings or {}), **more})

    def write_own_settings(self, **settings: Setting) -> None:
        """Writes the settings that the updater keeps for itself, until the end of this run."""
        self._stage.write_own_settings(settings)
        self._has_own_settings = True

    def copying_ends_with(self, code: int) -> dict[str, str]:
        """The variables of an updater whose copying program ends at once, with this code."""
        return {"XCOPY_EXIT_CODE": str(code)}

    def copying_waits(self) -> dict[str, str]:
        """The variables of an updater whose copying program waits for a minute before it copies."""
        return {"XCOPY_PAUSE": "60"}

    def start(self, *arguments: str, desktop: Desktop | None = None, variables: Mapping[str, str] | None = None,
              through: Sequence[str] = ()) -> None:
        """Starts the updater. Its widgets can be read if a desktop is given; the one that it is on is always the
        same."""
        if not arguments:
            self._stage.install(self._stage.build.updater_files())
        self.installed = contents(self.installation) if self.installation.exists() else None
        self.process = self._stage.start(*arguments, reader=desktop is not None, variables=variables,
                                         through=through)

    def place_relocated(self) -> None:
        """Puts the updater where its own relocation puts it, with the hand-over file."""
        self._stage.relocate(self.installation)

    # --- what there can be

    def known(self, entries: Tree) -> Tree:
        return plain(entries)

    def possible(self, model: Model) -> Model:
        # Names that differ in capitals only are one name.
        lower: dict[str, str] = {}
        return self.comparable({path: self._started(path, node) for path, node in model.items()
                                if _is_possible(node) and _NAMES.fullmatch(path)
                                and lower.setdefault(path.lower(), path) == path})

    def packable(self, model: Model) -> Model:
        unpacked = self.updater_data / "freshen" / ".." / "out"
        return {path: node for path, node in self.possible(model).items()
                if len(str(self._stage.wine.path(unpacked / path))) <= LONGEST_PATH}

    def comparable(self, model: Model) -> Model:
        return {path: replace(node, mode=0o644 if node.mode & 0o222 else 0o444) if isinstance(node, File) else node
                for path, node in model.items()}

    def make(self, root: Path, model: Model) -> None:
        super().make(root, model)
        hide_dotted(root)

    def called(self, path: Path) -> str:
        return self._stage.wine.path(path).as_posix()

    def spellings(self, path: Path) -> list[str]:
        native = str(self._stage.wine.path(path))
        return [self.called(path), native.replace("\\", "\\\\"), native]

    def _started(self, path: str, node: Node) -> Node:
        """A program, in place of a script, as a program. What the script was stays in it, at its end."""
        if not isinstance(node, File) or not path.endswith(".exe"):
            return node
        return replace(node, content=self.program.content + node.content)

    # --- while it runs, and afterwards

    def places(self) -> list[tuple[Path, str]]:
        """Places that logs name, with a short name of each, the inner ones first."""
        return [(self.updater_data, "DATA"), (self.installation, "INSTALLATION"),
                (self.installation.parent, "PROGRAMS"), (self.folder, "RUN")]

    def beside(self) -> dict[str, bytes | None]:
        """Everything on the disk that the updater has no business with, by its path."""
        found: dict[str, bytes | None] = {}
        for top in self._stage.wine.drive.iterdir():
            if top.is_file():
                found[top.name] = top.read_bytes()
            # The system itself is large.
            elif top.name != "windows":
                found |= {f"{top.name}/{path}": content for path, content in contents(top).items()
                          if not (top / path).is_relative_to(self.updater_data)}
        return found

    def relocated(self, mode: str) -> int | None:
        """The process id of the relocated updater in this mode."""
        return next(iter(self._stage.updaters(mode)), None)

    def relocated_files(self) -> set[str]:
        """The names of the files that a relocation brings, with that of the eyes on its widgets."""
        files = {PurePosixPath(path).name for path, entry in self._stage.build.updater_files().items()
                 if not entry.is_folder and not path.startswith("licenses")}
        return files | {self._stage.reports.plugin.name}

    def processes(self) -> list[int]:
        """The ids of the running processes of the updater, and of those that it has started."""
        started = [self.process.pid] if self.is_running() else []
        return [*started, *self._stage.programs("Freshen.exe", "cmd.exe", "xcopy.exe", "Tavlopro.exe", "Tavlopc.exe")]

    def screen(self, desktop: Desktop) -> WindowsScreen:
        """What a user sees of it."""
        return WindowsScreen(self._stage)

    def starts(self) -> list[tuple[str, ...]]:
        """The programs that the desktop's shell has started so far."""
        if not self._stage.starts.exists():
            return []
        lines = self._stage.starts.read_text(encoding="utf-8").splitlines()
        return [(PureWindowsPath(line.split("\t")[-1]).as_posix(),) for line in lines]

    def forget_starts(self) -> None:
        self._stage.starts.unlink()

    def log(self) -> list[LogLine]:
        return [line for line in super().log() if not expectedlog.is_only_under_wine(line.text)]

    def kill(self) -> None:
        super().kill()
        for report in self._stage.reports.folder.glob("*.json"):
            report.unlink()

    def end(self) -> None:
        self.kill()
        if self._has_own_settings:
            self._stage.write_own_settings({})


def _is_possible(node: Node) -> bool:
    """Links need rights there, pipes do not lie in folders, and Wine's user can read every file."""
    return isinstance(node, Folder) or isinstance(node, File) and bool(node.mode)


class WindowsBox:
    """A message box."""

    def __init__(self, screen: WindowsScreen, title: str, widgets: Sequence[Widget]) -> None:
        self.title = title
        self._screen = screen
        self._widgets = widgets

    @property
    def text(self) -> str:
        """As the program wrote it, with the marks of rich text."""
        return next((widget["text"] for widget in self._widgets if widget["name"] == "qt_msgbox_label"), "")

    @property
    def buttons(self) -> list[str]:
        return [_label(widget) for widget in self._widgets if widget["class"] == "QPushButton"]

    def press(self, button: str) -> None:
        self._screen.click(self.title, lambda widget: _label(widget) == button)


class WindowsScreen:
    """The windows of the updater, as a plug-in in it reports them. What is looked at is never older than the look."""

    def __init__(self, stage: Stage) -> None:
        self.desktop = stage.desktop
        self._stage = stage

    def is_open(self) -> bool:
        return self._stage.windows.is_shown(TITLE)

    def box(self, seconds: float = 20.0) -> WindowsBox:
        """Waits for a message box with its text and buttons."""
        return wait_for(lambda: next((box for box in self._reported_boxes() if box.text and box.buttons), None),
                        "a message box", seconds)

    def boxes(self) -> list[WindowsBox]:
        return self._reported_boxes() if self._titles_of_boxes() else []

    def close(self) -> None:
        self._stage.windows.keys(TITLE, "alt+F4")

    # --- the page with the version list

    def rows(self) -> list[list[str]]:
        """The texts that the rows of the version list show, from top to bottom."""
        return self._widgets().get("versionsTreeWidget", {}).get("rows", [])

    def versions(self) -> list[str]:
        return [row[0] for row in self.rows()]

    def wait_for_rows(self, count: int) -> None:
        wait_for(lambda: len(self.rows()) == count, f"{count} rows in the version list")

    def current_version(self) -> str | None:
        tree = self._widgets()["versionsTreeWidget"]
        return tree["rows"][tree["current"]][0] if tree["current"] >= 0 else None

    # --- the page with the progress

    def shows_progress(self) -> bool:
        return "progressBar" in self._widgets()

    def status(self) -> str:
        return self._widget("label")["text"]

    def size(self) -> str:
        return self._widget("sizeLabel")["text"]

    def is_busy(self) -> bool:
        bar = self._widget("progressBar")
        return bar["minimum"] == bar["maximum"]

    def progress(self) -> tuple[int, int]:
        """How much of how much."""
        bar = self._widget("progressBar")
        return bar["value"], bar["maximum"]

    def button(self) -> Button:
        """The main button of the page that is shown."""
        widget = next(widget for widget in self._widgets().values() if widget["class"] == "QPushButton")
        return Button(_label(widget), widget["enabled"])

    def press(self, text: str) -> None:
        self.click(TITLE, lambda widget: _label(widget) == text)

    def wait_for_button(self, text: str, seconds: float = 20.0) -> None:
        wait_for(lambda: self.button() == Button(text, True), f"the button {text!r}", seconds)

    # --- keyboard and mouse

    def keys(self, *names: str) -> None:
        """Presses keys in the box, if there is one."""
        self._stage.windows.keys((*self._titles_of_boxes(), TITLE)[0], *names)

    def click(self, title: str, choose) -> None:
        """Clicks on the chosen widget of the window of this title, where it has come to rest."""
        places: list[Sequence[int]] = []

        def stands() -> bool:
            self._refresh()
            widget = next(filter(choose, self._stage.reports.all_widgets(title)), None)
            places.append(widget["rectangle"] if widget else ())
            return widget is not None and places[-2:] == [places[-1]] * 2

        wait_for(stands, f"the widget to click on in {title!r}")
        left, top, width, height = places[-1]
        self.desktop.click_at(left + width // 2, top + height // 2)

    # --- what there is

    def _titles_of_boxes(self) -> list[str]:
        return [title for title in self._stage.windows.titles() if title not in ("", TITLE)]

    def _refresh(self, seconds: float = 10.0) -> None:
        try:
            self._stage.reports.refresh(seconds)
        except TimeoutError as error:
            raise NotYet("a program that is busy, or has ended") from error

    def _widget(self, name: str) -> Widget:
        widget = self._widgets().get(name)
        if widget is None:
            raise NotYet(f"no widget {name}")
        return widget

    def _widgets(self) -> dict[str, Widget]:
        self._refresh()
        return self._stage.reports.widgets(TITLE)

    def _reported_boxes(self) -> list[WindowsBox]:
        # A window is still there for a moment when its program has ended.
        self._refresh(3)
        return [WindowsBox(self, window["title"], window["widgets"])
                for window in self._stage.reports.windows() if window["title"] not in ("", TITLE)]


def _label(widget: Widget) -> str:
    """The text of a button without the mark of its key."""
    return widget.get("text", "").replace("&", "")
