"""The hands of the headless demo: they do with keyboard and mouse what a user does, look at each step, and take a
picture of it."""

from __future__ import annotations

from dataclasses import dataclass
from pathlib import Path
from typing import Any, Callable

from harness import processes
from harness.accessibility import Accessible
from harness.desktop import Desktop
from harness.packages import Version
from harness.updateserver import UpdateServer
from harness.waiting import wait_for

from scenario import NEW_VERSION, VERSIONS, Stage

TITLE = "Tavlopro Updater - Version 96"
DOWNLOAD_SHOWN = 0.6


@dataclass(frozen=True)
class Texts:
    """Texts of the updater's window that the hands look for."""

    show_beta: str
    download: str
    downloading: str
    ready: str
    install: str
    clean: str


TEXTS = {
    "en": Texts("Show Beta Versions", "Download", "Downloading Tavlopro Software Update {} {} ...",
                "Update ready to install!", "Install Update and Relaunch Tavlopro...", "We need to clean the old"),
    "de": Texts("Zeige Beta-Versionen", "Herunterladen", "Lade das Tavlopro Software Update {} {} ...",
                "Update bereit zur Installation!", "Installieren und Tavlopro neu starten...",
                "Es wird empfohlen die alte Version"),
}


class Camera:
    """Numbers the pictures of one run."""

    def __init__(self, desktop: Desktop, folder: Path, run: str) -> None:
        self._desktop = desktop
        self._folder = folder
        self._run = run
        self._number = 0

    def take(self, what: str, settle: float = 2.0) -> None:
        self._number += 1
        file = self._folder / f"{self._run}-{self._number}-{what}.png"
        self._desktop.screenshot(file, settle)
        print(f"   {what.replace('-', ' ')}: {file.name}", flush=True)


@dataclass
class User:
    """What a user has at hand, whatever the system."""

    desktop: Desktop
    stage: Any
    server: UpdateServer
    camera: Camera
    texts: Texts

    @property
    def version(self) -> Version:
        return next(version for version in VERSIONS if version.number == NEW_VERSION)

    def prepare(self) -> None:
        """Has the server stop in the middle of the package, so that there is time to look."""
        self.server.hold(self.version.package_path, DOWNLOAD_SHOWN)


@dataclass
class Hands(User):
    stage: Stage

    def choose(self) -> None:
        """Takes the wanted version from the list: beta versions shown by mouse, the row picked by keyboard."""
        window = self.desktop.windows.wait_for(TITLE)
        wait_for(lambda: self._shows_rows(window, betas=False), "the list of versions")
        self.camera.take("list")
        self.desktop.click(window.wait_for("check box", self.texts.show_beta))
        wait_for(lambda: self._shows_rows(window, betas=True), "the beta versions in the list")
        self.camera.take("list-with-betas")

        self.desktop.keys("shift+Tab", "Home")
        for _ in VERSIONS:
            if self._selected(window) == NEW_VERSION:
                break
            self.desktop.keys("Down")
        wait_for(lambda: self._selected(window) == NEW_VERSION, f"the selected row {NEW_VERSION}")
        self.camera.take("choice")
        self.desktop.click(window.wait_for("push button", self.texts.download))

    def watch_download(self) -> None:
        """Sees the download under way and the package made ready."""
        window = self.desktop.windows.wait_for(TITLE)
        window.wait_for("label", self.texts.downloading.format(self.version.kind, NEW_VERSION))
        wait_for(lambda: self._progress(window) >= DOWNLOAD_SHOWN * 0.99, "the first part of the package")
        self.camera.take("progress")
        self.server.release()
        window.wait_for("label", self.texts.ready)
        self.camera.take("ready")

    def install(self) -> None:
        """Starts the installation by keyboard, agrees to the cleaning, and sees the new application."""
        window = self.desktop.windows.wait_for(TITLE)
        button = window.wait_for("push button", self.texts.install)
        self.desktop.keys("Tab")
        wait_for(lambda: "focused" in button.states, "the focus on the button")
        self.desktop.keys("space")
        question = self.desktop.windows.wait_for(label=self.texts.clean)
        self.camera.take("cleaning-question")
        self.desktop.click(question.wait_for("push button", "OK"))
        wait_for(lambda: processes.find_by_name("xcopy.exe"), "the copy of the new files")
        self.camera.take("installing", settle=0)
        self.desktop.windows.wait_for(f"Tavlopro {NEW_VERSION}")
        wait_for(lambda: self.desktop.windows.find(TITLE) is None, "the end of the updater's window")
        self.camera.take("new-application")

    def _shows_rows(self, window: Accessible, betas: bool) -> bool:
        shown = {cell.name for cell in self._cells(window)}
        beta = {version.number for version in VERSIONS if version.kind == "Beta"}
        return NEW_VERSION in shown and beta.isdisjoint(shown) != betas

    def _selected(self, window: Accessible) -> str:
        numbers = {version.number for version in VERSIONS}
        return next((cell.name for cell in self._cells(window) if cell.name in numbers and "selected" in cell.states),
                    "")

    @staticmethod
    def _cells(window: Accessible) -> list[Accessible]:
        tree = window.find("tree")
        return tree.children() if tree else []

    @staticmethod
    def _progress(window: Accessible) -> float:
        bar = window.find("progress bar")
        if bar is None:
            return 0
        value = bar.value
        return value.current / value.maximum if value.maximum else 0


def manual(hands: Hands) -> None:
    hands.choose()
    hands.watch_download()
    hands.install()


def automatic(hands: Hands) -> None:
    hands.watch_download()
    hands.install()


ROADS: dict[str, Callable[[Hands], None]] = {"manual": manual, "auto": automatic}
