"""The updater's words in its two languages, as they are seen and read out: without the marks of rich text."""

from __future__ import annotations

import os
from dataclasses import dataclass

# What the program was built for.
UPDATE_HOST = os.environ["FRESHEN_UPDATE_HOST"]
DOWNLOAD_PAGE = os.environ["FRESHEN_DOWNLOAD_PAGE"]


@dataclass(frozen=True)
class Texts:
    versions: str
    show_beta: str
    info: str
    choose: str
    download: str
    cancel: str
    close: str
    downloading: str
    downloaded_of: str
    downloaded: str
    aborted: str
    extracting: str
    extraction_failed: str
    ready: str
    install: str
    installing: str
    wait: str
    no_version: str
    box_title: str
    wrong_destination: str
    clean: str
    not_copied: str
    connection_title: str
    connection: str
    update_failed: str
    start_failed: str
    no: str
    retry: str


TEXTS = {
    "en_US": Texts(
        versions="Versions",
        show_beta="Show Beta Versions",
        info="Version Info:",
        choose="Please choose a version to download",
        download="Download",
        cancel="Cancel",
        close="Close",
        downloading="Downloading Tavlopro Software Update {} {} ...",
        downloaded_of="{} of {} MB downloaded",
        downloaded="{} MB downloaded",
        aborted="Download aborted!",
        extracting="Extracting update ...",
        extraction_failed="Error unzipping update!\n\n{}",
        ready="Update ready to install!",
        install="Install Update and Relaunch Tavlopro...",
        installing="Installing update ...",
        wait="Please wait!",
        no_version="No Version of Tavlopro found!",
        box_title="Tavlopro Update",
        wrong_destination="The destination path seems wrong. Aborting!",
        clean="We need to clean the old version first. Do you agree to delete all contents in:\n\n{} ",
        not_copied="Couldn't copy updated files. Aborting!\n\nError:\n{}",
        connection_title="Connection Failed",
        connection="Connection to server could not be established:\n\n\"{}\"\n\nPlease make sure that...\nYour "
                   "internet connection is up and running.\nYou made the right proxy settings in Tavlopro's login "
                   "window (restart Tavlopro and answer \"No\" to the update question, then click on \"Proxy "
                   "settings\").",
        update_failed="Update Failed",
        start_failed="Error starting Updater",
        no="No",
        retry="Retry",
    ),
    "de_DE": Texts(
        versions="Versionen",
        show_beta="Zeige Beta-Versionen",
        info="Versionsinfo:",
        choose="Bitte wählen Sie eine Version",
        download="Herunterladen",
        cancel="Abbrechen",
        close="Schließen",
        downloading="Lade das Tavlopro Software Update {} {} ...",
        downloaded_of="{} von {} MB heruntergeladen",
        downloaded="{} MB heruntergeladen",
        aborted="Herunterladen abgebrochen!",
        extracting="Entpacke Update ...",
        extraction_failed="Fehler beim Auspacken der Aktualisierung!\n\n{}",
        ready="Update bereit zur Installation!",
        install="Installieren und Tavlopro neu starten...",
        installing="Installiere Update ...",
        wait="Bitte warten!",
        no_version="Keine ausführbare Version des Tavlopro gefunden!",
        box_title="Tavlopro Update",
        wrong_destination="Fehler im Zielpfad der Installation. Abbruch!",
        clean="Es wird empfohlen die alte Version komplett zu entfernen. Sind Sie einverstanden den Inhalt des "
              "folgenden Ordners zu löschen?\n\n{} ",
        not_copied="Fehler beim Kopieren der aktualisierten Dateien. Abbruch!\n\nFehler:\n{}",
        connection_title="Verbindung fehlgeschlagen",
        connection="Es konnte keine Verbindung zum Update-Server hergestellt werden:\n\n\"{}\"\n\nBitte stellen Sie "
                   "sicher, dass...\nIhre Internetverbindung aktiv ist.\nDie richtigen Proxy-Einstellungen im "
                   "Tavlopro-Anmeldefenster vorgenommen wurden (Tavlopro neu starten und die Update-Frage mit \"Nein\" "
                   "beantworten, dann auf \"Einstellungen\" klicken).",
        update_failed="Aktualisierung fehlgeschlagen",
        start_failed="Fehler beim Starten des Updaters",
        no="Nein",
        retry="Wiederholen",
    ),
}
LANGUAGES = tuple(TEXTS)

# The same in every language.
CHECKING = "Checking for Tavlopro Software Update..."
READ_ERROR = "Error reading version description file:\n{}"
COPY_ERROR = "Error copying update!\n\n{}"
START_ERROR = ("We are sorry, but the Tavlopro update tool has an error.\nPerhaps it has insufficent rights.\nYou can "
               f"also try to re-install Tavlopro by downloading the current version from:\n{DOWNLOAD_PAGE}")
RUNNING_TITLE = "Tavlopro Updater Precheck"
RUNNING = ("Ihre Tavlopro-Anwendung läuft noch.\nBitte schließen Sie diese erst, um mit der Installation fortfahren zu "
           "können.")
WINDOW_TITLE = "Tavlopro Updater - Version 96"
