<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>MainWindow</name>
    <message>
        <source>Tavlopro Updater</source>
        <translation>Tavlopro Updater</translation>
    </message>
    <message>
        <source>Versions</source>
        <translation>Versionen</translation>
    </message>
    <message>
        <source>Show Beta Versions</source>
        <translation>Zeige Beta-Versionen</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;&lt;span style=&quot; font-weight:600;&quot;&gt;Version Info:&lt;/span&gt;&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;&lt;span style=&quot; font-weight:600;&quot;&gt;Versionsinfo:&lt;/span&gt;&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>Please choose a version to download</source>
        <translation>Bitte wählen Sie eine Version</translation>
    </message>
    <message>
        <source>Download</source>
        <translation>Herunterladen</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>No Version of Tavlopro found!</source>
        <translation>Keine ausführbare Version des Tavlopro gefunden!</translation>
    </message>
    <message>
        <source>Error reading version description file.</source>
        <translation>Fehler beim Lesen des Versionen-Index.</translation>
    </message>
    <message>
        <source>Connection Failed</source>
        <translation>Verbindung fehlgeschlagen</translation>
    </message>
    <message>
        <source>Connection to server could not be established:&lt;br /&gt;&lt;br /&gt;&quot;%1&quot;&lt;br /&gt;&lt;br/&gt;Please make sure that...&lt;ul&gt;&lt;li&gt;Your internet connection is up and running.&lt;li&gt;You made the right proxy settings in Tavlopro&apos;s login window (restart Tavlopro and answer &quot;No&quot; to the update question, then click on &quot;Proxy settings&quot;).&lt;/ul&gt;</source>
        <translation>Es konnte keine Verbindung zum Update-Server hergestellt werden:&lt;br /&gt;&lt;br /&gt;&quot;%1&quot;&lt;br /&gt;&lt;br/&gt;Bitte stellen Sie sicher, dass...&lt;ul&gt;&lt;li&gt;Ihre Internetverbindung aktiv ist.&lt;li&gt;Die richtigen Proxy-Einstellungen im Tavlopro-Anmeldefenster vorgenommen wurden (Tavlopro neu starten und die Update-Frage mit &quot;Nein&quot; beantworten, dann auf &quot;Einstellungen&quot; klicken).&lt;/ul&gt;</translation>
    </message>
    <message>
        <source>Update Failed</source>
        <translation>Aktualisierung fehlgeschlagen</translation>
    </message>
    <message>
        <source>Error selecting version!</source>
        <translation>Fehler bei der Auswahl der Version!</translation>
    </message>
    <message>
        <source>Downloading Tavlopro Software Update %1 %2 ...</source>
        <translation>Lade das Tavlopro Software Update %1 %2 ...</translation>
    </message>
    <message>
        <source>%1 MB downloaded</source>
        <translation>%1 MB heruntergeladen</translation>
    </message>
    <message>
        <source>%1 of %2 MB downloaded</source>
        <translation>%1 von %2 MB heruntergeladen</translation>
    </message>
    <message>
        <source>Download aborted!</source>
        <translation>Herunterladen abgebrochen!</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>Update ready to install!</source>
        <translation>Update bereit zur Installation!</translation>
    </message>
    <message>
        <source>Install Update and Relaunch Tavlopro...</source>
        <translation>Installieren und Tavlopro neu starten...</translation>
    </message>
    <message>
        <source>Error unzipping update!

%1</source>
        <translation>Fehler beim Auspacken der Aktualisierung!

%1</translation>
    </message>
    <message>
        <source>Extracting update...</source>
        <translation>Entpacke Update ...</translation>
    </message>
    <message>
        <source>Installing update...</source>
        <translation>Installiere Update ...</translation>
    </message>
    <message>
        <source>Please wait!</source>
        <translation>Bitte warten!</translation>
    </message>
    <message>
        <source>Tavlopro Update</source>
        <translation>Tavlopro Update</translation>
    </message>
    <message>
        <source>The destination path seems wrong. Aborting!</source>
        <translation>Fehler im Zielpfad der Installation. Abbruch!</translation>
    </message>
    <message>
        <source>We need to clean the old version first. Do you agree to delete all contents in:

%1 </source>
        <translation>Es wird empfohlen die alte Version komplett zu entfernen. Sind Sie einverstanden den Inhalt des folgenden Ordners zu löschen?

%1 </translation>
    </message>
    <message>
        <source>Couldn&apos;t copy updated files. Aborting!

Error:
%1</source>
        <translation>Fehler beim Kopieren der aktualisierten Dateien. Abbruch!

Fehler:
%1</translation>
    </message>
    <message>
        <source>Error starting Updater</source>
        <translation>Fehler beim Starten des Updaters</translation>
    </message>
    <message>
        <source>To update to newest version (%1) you need to update you operating system to at least (%2 %3.%4)</source>
        <translation>Für ein Update auf die neueste Version (%1) wird mindestens folgende Betriebssystemversion benötigt (%2 %3.%4)</translation>
    </message>
</context>
</TS>
