<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>sorvanel::L10n</name>
    <message>
        <source>       sorvanel-cli settings [get KEY | set KEY VALUE [--type TYPE] | unset KEY]</source>
        <translation>       sorvanel-cli settings [get SCHLÜSSEL | set SCHLÜSSEL WERT [--type TYP] | unset SCHLÜSSEL]</translation>
    </message>
    <message>
        <source>       sorvanel-cli settings get KEY</source>
        <translation>       sorvanel-cli settings get SCHLÜSSEL</translation>
    </message>
    <message>
        <source>       sorvanel-cli settings set KEY VALUE [--type string|integer|boolean|real|date|data]</source>
        <translation>       sorvanel-cli settings set SCHLÜSSEL WERT [--type string|integer|boolean|real|date|data]</translation>
    </message>
    <message>
        <source>       sorvanel-cli settings unset KEY</source>
        <translation>       sorvanel-cli settings unset SCHLÜSSEL</translation>
    </message>
    <message>
        <source>%@ · %.2f s</source>
        <translation>%@ · %.2f s</translation>
    </message>
    <message>
        <source>%d failed</source>
        <translation>%d fehlgeschlagen</translation>
    </message>
    <message>
        <source>%d moved</source>
        <translation>%d verschoben</translation>
    </message>
    <message>
        <source>%d skipped</source>
        <translation>%d übersprungen</translation>
    </message>
    <message>
        <source>A quiet Linux utility that keeps downloads organized by file date and category.</source>
        <translation>Ein leises Linux-Werkzeug, das Downloads nach Dateidatum und Art geordnet hält.</translation>
    </message>
    <message>
        <source>About</source>
        <translation>Über</translation>
    </message>
    <message>
        <source>About Sorvanel</source>
        <translation>Über Sorvanel</translation>
    </message>
    <message>
        <source>Another cleanup is already running for this destination.</source>
        <translation>Für dieses Ziel läuft bereits ein anderes Aufräumen.</translation>
    </message>
    <message>
        <source>Automatic</source>
        <translation>Automatisch</translation>
    </message>
    <message>
        <source>Automatic cleanup</source>
        <translation>Automatisch aufräumen</translation>
    </message>
    <message>
        <source>Automatic cleanup failed</source>
        <translation>Automatisches Aufräumen fehlgeschlagen</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Checking…</source>
        <translation>Prüfen …</translation>
    </message>
    <message>
        <source>Choose</source>
        <translation>Auswählen</translation>
    </message>
    <message>
        <source>Choose…</source>
        <translation>Auswählen …</translation>
    </message>
    <message>
        <source>Cleanup</source>
        <translation>Aufräumen</translation>
    </message>
    <message>
        <source>Commands:</source>
        <translation>Befehle:</translation>
    </message>
    <message>
        <source>Could not remember access to the selected folder: %@</source>
        <translation>Der Zugriff auf den gewählten Ordner konnte nicht gespeichert werden: %@</translation>
    </message>
    <message>
        <source>Destination folder</source>
        <translation>Zielordner</translation>
    </message>
    <message>
        <source>Details were not retained between launches.</source>
        <translation>Die Details wurden zwischen den Starts nicht aufbewahrt.</translation>
    </message>
    <message>
        <source>Details…</source>
        <translation>Details …</translation>
    </message>
    <message>
        <source>Done</source>
        <translation>Fertig</translation>
    </message>
    <message>
        <source>Every day at</source>
        <translation>Täglich um</translation>
    </message>
    <message>
        <source>Failed: %d</source>
        <translation>Fehlgeschlagen: %d</translation>
    </message>
    <message>
        <source>History…</source>
        <translation>Verlauf …</translation>
    </message>
    <message>
        <source>Large file threshold</source>
        <translation>Grenze für große Dateien</translation>
    </message>
    <message>
        <source>Last run: %d moved, %d failed</source>
        <translation>Letzter Lauf: %d verschoben, %d fehlgeschlagen</translation>
    </message>
    <message>
        <source>List, read or change the stored settings.</source>
        <translation>Die gespeicherten Einstellungen auflisten, lesen oder ändern.</translation>
    </message>
    <message>
        <source>MB</source>
        <translation>MB</translation>
    </message>
    <message>
        <source>Manual</source>
        <translation>Manuell</translation>
    </message>
    <message>
        <source>Move Files</source>
        <translation>Dateien verschieben</translation>
    </message>
    <message>
        <source>Move loose files into dated, categorized folders.</source>
        <translation>Lose Dateien in datierte, nach Art sortierte Ordner verschieben.</translation>
    </message>
    <message>
        <source>Move: %d</source>
        <translation>Verschieben: %d</translation>
    </message>
    <message>
        <source>Moved: %d</source>
        <translation>Verschoben: %d</translation>
    </message>
    <message>
        <source>No Problems</source>
        <translation>Keine Probleme</translation>
    </message>
    <message>
        <source>No Runs Yet</source>
        <translation>Noch keine Läufe</translation>
    </message>
    <message>
        <source>No value is stored for %@.</source>
        <translation>Für %@ ist kein Wert gespeichert.</translation>
    </message>
    <message>
        <source>Not run yet</source>
        <translation>Noch nicht ausgeführt</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Open Sorvanel</source>
        <translation>Sorvanel öffnen</translation>
    </message>
    <message>
        <source>Organize Now</source>
        <translation>Jetzt aufräumen</translation>
    </message>
    <message>
        <source>In JSON, a path that is not valid UTF-8 also comes as hexadecimal bytes (&quot;sourceHex&quot;, &quot;destinationHex&quot;).</source>
        <translation>In JSON kommt ein Pfad, der kein gültiges UTF-8 ist, zusätzlich als hexadezimale Bytes (&quot;sourceHex&quot;, &quot;destinationHex&quot;).</translation>
    </message>
    <message>
        <source>Plans a cleanup with the stored settings and prints every planned move, the skipped count and the problems. Nothing is moved.</source>
        <translation>Plant ein Aufräumen mit den gespeicherten Einstellungen und gibt jede geplante Verschiebung, die Zahl der übersprungenen Einträge und die Probleme aus. Es wird nichts verschoben.</translation>
    </message>
    <message>
        <source>Preview Changes</source>
        <translation>Änderungen anzeigen</translation>
    </message>
    <message>
        <source>Prints the latest 50 runs, newest first.</source>
        <translation>Gibt die letzten 50 Läufe aus, den neuesten zuerst.</translation>
    </message>
    <message>
        <source>Prints the result of the latest run with its problems.</source>
        <translation>Gibt das Ergebnis des letzten Laufs mit seinen Problemen aus.</translation>
    </message>
    <message>
        <source>Problems: %d</source>
        <translation>Probleme: %d</translation>
    </message>
    <message>
        <source>Quit</source>
        <translation>Beenden</translation>
    </message>
    <message>
        <source>Run &quot;sorvanel-cli COMMAND --help&quot; for more about a command.</source>
        <translation>Mit „sorvanel-cli BEFEHL --help“ erfahren Sie mehr über einen Befehl.</translation>
    </message>
    <message>
        <source>Run History</source>
        <translation>Verlauf der Läufe</translation>
    </message>
    <message>
        <source>Run Problems</source>
        <translation>Probleme beim Lauf</translation>
    </message>
    <message>
        <source>Run a cleanup now.</source>
        <translation>Jetzt aufräumen.</translation>
    </message>
    <message>
        <source>Runs a cleanup now with the stored settings and records it as a manual run.</source>
        <translation>Räumt jetzt mit den gespeicherten Einstellungen auf und speichert den Lauf als manuellen Lauf.</translation>
    </message>
    <message>
        <source>Saved folder access is no longer valid. Please choose the folder again.</source>
        <translation>Der gespeicherte Ordnerzugriff ist nicht mehr gültig. Bitte wählen Sie den Ordner erneut.</translation>
    </message>
    <message>
        <source>Show the latest 50 runs.</source>
        <translation>Die letzten 50 Läufe zeigen.</translation>
    </message>
    <message>
        <source>Show the latest run&apos;s result.</source>
        <translation>Das Ergebnis des letzten Laufs zeigen.</translation>
    </message>
    <message>
        <source>Show what a cleanup would move, without moving anything.</source>
        <translation>Zeigen, was ein Aufräumen verschieben würde, ohne etwas zu verschieben.</translation>
    </message>
    <message>
        <source>Skip: %d</source>
        <translation>Überspringen: %d</translation>
    </message>
    <message>
        <source>Skipped: %d</source>
        <translation>Übersprungen: %d</translation>
    </message>
    <message>
        <source>Sorvanel moves the loose files of a folder into dated, categorized folders.</source>
        <translation>Sorvanel verschiebt die losen Dateien eines Ordners in datierte, nach Art sortierte Ordner.</translation>
    </message>
    <message>
        <source>Source folder</source>
        <translation>Quellordner</translation>
    </message>
    <message>
        <source>The automatic-run program is missing: %@</source>
        <translation>Das Programm für den automatischen Lauf fehlt: %@</translation>
    </message>
    <message>
        <source>The file changed while it was being copied.</source>
        <translation>Die Datei hat sich während des Kopierens geändert.</translation>
    </message>
    <message>
        <source>The file couldn’t be opened.</source>
        <translation>Die Datei konnte nicht geöffnet werden.</translation>
    </message>
    <message>
        <source>The folder %@ could not be created.</source>
        <translation>Der Ordner %@ konnte nicht angelegt werden.</translation>
    </message>
    <message>
        <source>The large file threshold is too large.</source>
        <translation>Die Grenze für große Dateien ist zu groß.</translation>
    </message>
    <message>
        <source>The large file threshold must be greater than zero.</source>
        <translation>Die Grenze für große Dateien muss größer als null sein.</translation>
    </message>
    <message>
        <source>The latest 50 runs are retained.</source>
        <translation>Die letzten 50 Läufe werden aufbewahrt.</translation>
    </message>
    <message>
        <source>The selected source is not a folder.</source>
        <translation>Die gewählte Quelle ist kein Ordner.</translation>
    </message>
    <message>
        <source>The source folder cannot be the destination or be located inside it.</source>
        <translation>Der Quellordner darf nicht das Ziel sein und nicht darin liegen.</translation>
    </message>
    <message>
        <source>The source folder does not exist.</source>
        <translation>Der Quellordner existiert nicht.</translation>
    </message>
    <message>
        <source>Unknown argument: %@</source>
        <translation>Unbekanntes Argument: %@</translation>
    </message>
    <message>
        <source>Unknown command: %@</source>
        <translation>Unbekannter Befehl: %@</translation>
    </message>
    <message>
        <source>Unknown file</source>
        <translation>Unbekannte Datei</translation>
    </message>
    <message>
        <source>Unknown type: %@</source>
        <translation>Unbekannter Typ: %@</translation>
    </message>
    <message>
        <source>Usage: sorvanel-cli COMMAND [--json]</source>
        <translation>Aufruf: sorvanel-cli BEFEHL [--json]</translation>
    </message>
    <message>
        <source>Usage: sorvanel-cli history [--json]</source>
        <translation>Aufruf: sorvanel-cli history [--json]</translation>
    </message>
    <message>
        <source>Usage: sorvanel-cli last [--json]</source>
        <translation>Aufruf: sorvanel-cli last [--json]</translation>
    </message>
    <message>
        <source>Usage: sorvanel-cli organize [--json]</source>
        <translation>Aufruf: sorvanel-cli organize [--json]</translation>
    </message>
    <message>
        <source>Usage: sorvanel-cli preview [--json]</source>
        <translation>Aufruf: sorvanel-cli preview [--json]</translation>
    </message>
    <message>
        <source>Usage: sorvanel-cli preview|organize|last|history [--json]</source>
        <translation>Aufruf: sorvanel-cli preview|organize|last|history [--json]</translation>
    </message>
    <message>
        <source>Usage: sorvanel-cli settings</source>
        <translation>Aufruf: sorvanel-cli settings</translation>
    </message>
    <message>
        <source>Version %@</source>
        <translation>Version %@</translation>
    </message>
    <message>
        <source>systemctl could not be started: no user service manager (systemd) is available.</source>
        <translation>systemctl konnte nicht gestartet werden: Es ist kein Dienstverwalter für Benutzer (systemd) verfügbar.</translation>
    </message>
    <message>
        <source>systemctl ended with status %d.</source>
        <translation>systemctl endete mit Status %d.</translation>
    </message>
    <message>
        <source>“%@” is not a valid %@ value.</source>
        <translation>„%@“ ist kein gültiger Wert vom Typ %@.</translation>
    </message>
    <message>
        <source>%@ (pid %@) is still writing this file; it stays where it is.</source>
        <translation>%@ (PID %@) schreibt noch in diese Datei; sie bleibt, wo sie ist.</translation>
    </message>
    <message>
        <source>Another program</source>
        <translation>Ein anderes Programm</translation>
    </message>
    <message>
        <source>Another program is still writing this file; it stays where it is.</source>
        <translation>Ein anderes Programm schreibt noch in diese Datei; sie bleibt, wo sie ist.</translation>
    </message>
    <message>
        <source>folder</source>
        <translation>Ordner</translation>
    </message>
    <message>
        <source>not a regular file</source>
        <translation>keine normale Datei</translation>
    </message>
    <message>
        <source>symbolic link</source>
        <translation>symbolische Verknüpfung</translation>
    </message>
    <message>
        <source>hidden</source>
        <translation>versteckt</translation>
    </message>
    <message>
        <source>unfinished download</source>
        <translation>unvollständiger Download</translation>
    </message>
    <message>
        <source>download in progress (%@ lies beside it)</source>
        <translation>Download läuft (%@ liegt daneben)</translation>
    </message>
    <message>
        <source>empty while a download in this folder is unfinished</source>
        <translation>leer, solange ein Download in diesem Ordner unvollständig ist</translation>
    </message>
    <message>
        <source>being written by %@ (pid %@)</source>
        <translation>wird von %@ geschrieben (PID %@)</translation>
    </message>
    <message>
        <source>being written by another program</source>
        <translation>wird von einem anderen Programm geschrieben</translation>
    </message>
    <message>
        <source>too recent</source>
        <translation>zu neu</translation>
    </message>
    <message>
        <source>Left where they are:</source>
        <translation>Bleiben, wo sie sind:</translation>
    </message>
    <message>
        <source>Sorvanel&apos;s window needs a graphical session. Without one, use the command line: scripts/run preview or scripts/run organize (sorvanel-cli preview, sorvanel-cli organize once installed).</source>
        <translation>Das Fenster von Sorvanel braucht eine grafische Sitzung. Ohne sie hilft die Befehlszeile: scripts/run preview oder scripts/run organize (nach der Installation sorvanel-cli preview, sorvanel-cli organize).</translation>
    </message>
    <message>
        <source>       sorvanel-cli undo [RUN_ID] [--dry-run] [--json]</source>
        <translation>       sorvanel-cli undo [LAUF_ID] [--dry-run] [--json]</translation>
    </message>
    <message>
        <source>Usage: sorvanel-cli undo [RUN_ID] [--dry-run] [--json]</source>
        <translation>Aufruf: sorvanel-cli undo [LAUF_ID] [--dry-run] [--json]</translation>
    </message>
    <message>
        <source>Put the files of a run back.</source>
        <translation>Die Dateien eines Laufs zurückbringen.</translation>
    </message>
    <message>
        <source>“%@” is not a run ID.</source>
        <translation>„%@“ ist keine Lauf-ID.</translation>
    </message>
    <message>
        <source>Would put back: %d</source>
        <translation>Würde zurückbringen: %d</translation>
    </message>
    <message>
        <source>Put back: %d</source>
        <translation>Zurückgebracht: %d</translation>
    </message>
    <message>
        <source>The record of this cleanup could not be written, so no file was moved.</source>
        <translation>Das Protokoll dieser Aufräumung konnte nicht geschrieben werden, darum wurde keine Datei verschoben.</translation>
    </message>
    <message>
        <source>The record of this cleanup could not be written, so it stopped before moving more files.</source>
        <translation>Das Protokoll dieser Aufräumung konnte nicht geschrieben werden, darum endete sie, bevor weitere Dateien verschoben wurden.</translation>
    </message>
    <message>
        <source>No cleanup with this ID is on record.</source>
        <translation>Keine Aufräumung mit dieser ID ist verzeichnet.</translation>
    </message>
    <message>
        <source>There is no cleanup to undo.</source>
        <translation>Es gibt keine Aufräumung, die sich rückgängig machen lässt.</translation>
    </message>
    <message>
        <source>This cleanup has nothing left to undo.</source>
        <translation>Bei dieser Aufräumung ist nichts mehr rückgängig zu machen.</translation>
    </message>
    <message>
        <source>It was changed, moved or deleted since the cleanup, so it stays where it is.</source>
        <translation>Sie wurde seit der Aufräumung geändert, verschoben oder gelöscht und bleibt daher, wo sie ist.</translation>
    </message>
    <message>
        <source>Its original name is taken in the source folder, so it stays where it is.</source>
        <translation>Ihr ursprünglicher Name ist im Quellordner vergeben, daher bleibt sie, wo sie ist.</translation>
    </message>
    <message>
        <source>The record of this undo could not be written, so it stopped.</source>
        <translation>Das Protokoll dieses Rückgängigmachens konnte nicht geschrieben werden, darum wurde es angehalten.</translation>
    </message>
    <message>
        <source>Undone</source>
        <translation>Rückgängig gemacht</translation>
    </message>
    <message>
        <source>Undo Run…</source>
        <translation>Lauf rückgängig machen …</translation>
    </message>
    <message>
        <source>Puts the files of the selected run back where they came from.</source>
        <translation>Bringt die Dateien des ausgewählten Laufs dorthin zurück, woher sie kamen.</translation>
    </message>
    <message>
        <source>Undo This Run?</source>
        <translation>Diesen Lauf rückgängig machen?</translation>
    </message>
    <message>
        <source>%d files go back to %@.</source>
        <translation>%d Dateien kommen zurück nach %@.</translation>
    </message>
    <message>
        <source>1 file goes back to %@.</source>
        <translation>1 Datei kommt zurück nach %@.</translation>
    </message>
    <message>
        <source>A file changed, moved or deleted since the run, or whose name is taken again, stays where it is.</source>
        <translation>Eine Datei, die seit dem Lauf geändert, verschoben oder gelöscht wurde oder deren Name wieder vergeben ist, bleibt, wo sie ist.</translation>
    </message>
    <message>
        <source>Undo</source>
        <translation>Rückgängig machen</translation>
    </message>
    <message>
        <source>The destination drive does not allow this name.</source>
        <translation>Das Ziellaufwerk erlaubt diesen Namen nicht.</translation>
    </message>
    <message>
        <source>The file is larger than the destination drive allows.</source>
        <translation>Die Datei ist größer, als das Ziellaufwerk erlaubt.</translation>
    </message>
    <message>
        <source>Automatic cleanup needs the user service manager (systemd), which is not running in this session. Sorvanel can still be run by hand.</source>
        <translation>Die automatische Aufräumung braucht den Dienstverwalter des Benutzers (systemd), der in dieser Sitzung nicht läuft. Von Hand lässt sich Sorvanel weiter starten.</translation>
    </message>
    <message>
        <source>systemd did not accept Sorvanel&apos;s timer, so automatic cleanup stays off.</source>
        <translation>systemd hat den Zeitgeber von Sorvanel nicht angenommen, daher bleibt die automatische Aufräumung aus.</translation>
    </message>
    <message>
        <source>Sorvanel&apos;s cleanup had problems</source>
        <translation>Die Aufräumung von Sorvanel hatte Probleme</translation>
    </message>
    <message>
        <source>Sorvanel tidied 1 file</source>
        <translation>Sorvanel hat 1 Datei aufgeräumt</translation>
    </message>
    <message>
        <source>Sorvanel tidied %d files</source>
        <translation>Sorvanel hat %d Dateien aufgeräumt</translation>
    </message>
    <message>
        <source>1 problem</source>
        <translation>1 Problem</translation>
    </message>
    <message>
        <source>%d problems</source>
        <translation>%d Probleme</translation>
    </message>
    <message>
        <source>Open Folder</source>
        <translation>Ordner öffnen</translation>
    </message>
    <message>
        <source>The cleanup could not be undone</source>
        <translation>Die Aufräumung ließ sich nicht rückgängig machen</translation>
    </message>
    <message>
        <source>Sorvanel put 1 file back</source>
        <translation>Sorvanel hat 1 Datei zurückgebracht</translation>
    </message>
    <message>
        <source>Sorvanel put %d files back</source>
        <translation>Sorvanel hat %d Dateien zurückgebracht</translation>
    </message>
    <message>
        <source>%d stayed where they are</source>
        <translation>%d blieben, wo sie sind</translation>
    </message>
    <message>
        <source>Notify after automatic cleanup</source>
        <translation>Nach dem automatischen Aufräumen benachrichtigen</translation>
    </message>
    <message>
        <source>%@ of %@</source>
        <translation>%@ von %@</translation>
    </message>
    <message>
        <source>On a terminal it shows its progress. Ctrl+C stops it after the file in hand, or within a copy to another drive; what it moved is recorded, and the rest stays where it is.</source>
        <translation>Im Terminal zeigt er seinen Fortschritt. Strg+C hält ihn nach der laufenden Datei an, bei einer Kopie auf ein anderes Laufwerk schon währenddessen; was er verschoben hat, wird festgehalten, der Rest bleibt, wo er ist.</translation>
    </message>
    <message>
        <source>Puts the files of a run back where they came from: the latest run that moved something and was not undone yet, or the run RUN_ID (the &quot;id&quot; that &quot;history --json&quot; prints). A file changed, moved or deleted since, or whose name is taken, stays where it is. With --dry-run nothing is moved. Ctrl+C stops it after the file in hand, or within a copy to another drive; run it again to go on.</source>
        <translation>Bringt die Dateien eines Laufs dorthin zurück, woher sie kamen: die des letzten Laufs, der etwas verschoben hat und noch nicht rückgängig gemacht wurde, oder die des Laufs LAUF_ID (die „id“, die „history --json“ ausgibt). Eine Datei, die seitdem geändert, verschoben oder gelöscht wurde oder deren Name vergeben ist, bleibt, wo sie ist. Mit --dry-run wird nichts verschoben. Strg+C hält nach der laufenden Datei an, bei einer Kopie auf ein anderes Laufwerk schon währenddessen; ein neuer Aufruf macht weiter.</translation>
    </message>
    <message>
        <source>Stopped. %d files were left where they are.</source>
        <translation>Angehalten. %d Dateien blieben, wo sie sind.</translation>
    </message>
    <message>
        <source>Stopped. %d files were not put back yet; undo again to go on.</source>
        <translation>Angehalten. %d Dateien sind noch nicht zurück; ein neues Rückgängigmachen macht weiter.</translation>
    </message>
    <message>
        <source>Progress</source>
        <translation>Fortschritt</translation>
    </message>
    <message>
        <source>Stop</source>
        <translation>Anhalten</translation>
    </message>
    <message>
        <source>%@ of %@ files</source>
        <translation>%@ von %@ Dateien</translation>
    </message>
    <message>
        <source>Stopping…</source>
        <translation>Wird angehalten …</translation>
    </message>
    <message>
        <source>Moving files: %@ of %@</source>
        <translation>Dateien werden verschoben: %@ von %@</translation>
    </message>
    <message>
        <source>Putting files back: %@ of %@</source>
        <translation>Dateien werden zurückgebracht: %@ von %@</translation>
    </message>
    <message>
        <source>Lists, reads or changes the stored settings. A key Sorvanel knows takes its own type and range (thresholdMB: 1 to 100000; automaticTime also HH:MM); any other key is a string unless --type says otherwise. Booleans are true or false (1 or 0), dates ISO 8601, data hexadecimal; stored JSON is shown as JSON.</source>
        <translation>Listet, liest oder ändert die gespeicherten Einstellungen. Ein Schlüssel, den Sorvanel kennt, hat seinen eigenen Typ und Bereich (thresholdMB: 1 bis 100000; automaticTime auch HH:MM); jeder andere Schlüssel ist ein String, wenn --type nichts anderes sagt. Boolesche Werte sind true oder false (1 oder 0), Datumsangaben ISO 8601, Daten hexadezimal; gespeichertes JSON wird als JSON gezeigt.</translation>
    </message>
    <message>
        <source>%@ holds %@ values.</source>
        <translation>%@ enthält Werte vom Typ %@.</translation>
    </message>
    <message>
        <source>“%@” is not a time: use HH:MM (22:00) or an ISO 8601 date.</source>
        <translation>„%@“ ist keine Uhrzeit: HH:MM (22:00) oder ein Datum nach ISO 8601 angeben.</translation>
    </message>
    <message>
        <source>%@ must be between %d and %d.</source>
        <translation>%@ muss zwischen %d und %d liegen.</translation>
    </message>
    <message>
        <source>Note: Sorvanel does not read “%@”; it is stored all the same.</source>
        <translation>Hinweis: Sorvanel liest „%@“ nicht; der Wert ist trotzdem gespeichert.</translation>
    </message>
    <message>
        <source>The folder this cleanup filed into is not there: %@. If it is on a drive, connect the drive and try again.</source>
        <translation>Der Ordner, in den dieses Aufräumen abgelegt hat, ist nicht da: %@. Liegt er auf einem Laufwerk, schließen Sie das Laufwerk an und versuchen Sie es erneut.</translation>
    </message>
    <message>
        <source>The folder this cleanup took the files from is not there: %@. If it is on a drive, connect the drive and try again.</source>
        <translation>Der Ordner, aus dem dieses Aufräumen die Dateien genommen hat, ist nicht da: %@. Liegt er auf einem Laufwerk, schließen Sie das Laufwerk an und versuchen Sie es erneut.</translation>
    </message>
    <message>
        <source>%@ needs the path of a folder.</source>
        <translation>%@ braucht den Pfad eines Ordners.</translation>
    </message>
    <message>
        <source>The drive of the destination folder is not connected (%@). Connect it and try again.</source>
        <translation>Das Laufwerk des Zielordners ist nicht angeschlossen (%@). Schließen Sie es an und versuchen Sie es erneut.</translation>
    </message>
    <message>
        <source>Its name is too long for the destination folder, so it stays where it is.</source>
        <translation>Ihr Name ist für den Zielordner zu lang, daher bleibt sie, wo sie ist.</translation>
    </message>
    <message>
        <source>Partly undone</source>
        <translation>Teilweise rückgängig gemacht</translation>
    </message>
    <message>
        <source>Performs the day&apos;s automatic cleanup when it is switched on and due. A systemd user timer starts it; it exits at once when there is nothing to do.</source>
        <translation>Führt das tägliche automatische Aufräumen aus, wenn es eingeschaltet und fällig ist. Ein systemd-Benutzer-Timer startet es; gibt es nichts zu tun, endet es sofort.</translation>
    </message>
    <message>
        <source>Run the cleanup now, whatever the switch and the schedule say.</source>
        <translation>Jetzt aufräumen, unabhängig von Schalter und Zeitplan.</translation>
    </message>
    <message>
        <source>Run a cleanup now; a Sorvanel that is already running runs it.</source>
        <translation>Jetzt aufräumen; ein bereits laufendes Sorvanel übernimmt das.</translation>
    </message>
    <message>
        <source>Sorvanel keeps your downloads folder tidy: it moves the loose files of a folder into dated, categorized folders, and can put every run back. It lives in the tray.</source>
        <translation>Sorvanel hält Ihren Download-Ordner ordentlich: Es verschiebt die losen Dateien eines Ordners in Ordner nach Datum und Art und kann jeden Lauf zurücknehmen. Es läuft im Infobereich der Leiste.</translation>
    </message>
    <message>
        <source>Run &quot;%@ --help&quot; for its options.</source>
        <translation>Mit „%@ --help“ sehen Sie seine Optionen.</translation>
    </message>
    <message>
        <source>Show this help.</source>
        <translation>Diese Hilfe anzeigen.</translation>
    </message>
    <message>
        <source>The run of %@ (%@):</source>
        <translation>Der Lauf vom %@ (%@):</translation>
    </message>
    <message>
        <source>Show the version.</source>
        <translation>Die Version anzeigen.</translation>
    </message>
    <message>
        <source>not fully written yet (it has gaps; a paused torrent?)</source>
        <translation>noch nicht ganz geschrieben (es hat Lücken; ein angehaltener Torrent?)</translation>
    </message>
    <message>
        <source>waiting for its other stream to be merged</source>
        <translation>wartet darauf, mit seiner anderen Spur zusammengeführt zu werden</translation>
    </message>
    <message>
        <source>Automatic cleanup could not be changed: %@</source>
        <translation>Das automatische Aufräumen konnte nicht geändert werden: %@</translation>
    </message>
    <message>
        <source>Undo Problems</source>
        <translation>Probleme beim Rückgängigmachen</translation>
    </message>
    <message>
        <source>Stays: %@</source>
        <translation>Bleibt: %@</translation>
    </message>
    <message>
        <source>Watching %@</source>
        <translation>Überwacht %@</translation>
    </message>
    <message>
        <source>Waiting for %@ to exist</source>
        <translation>Wartet darauf, dass %@ existiert</translation>
    </message>
    <message>
        <source>Sorvanel could not file %@</source>
        <translation>Sorvanel konnte %@ nicht einsortieren</translation>
    </message>
    <message>
        <source>Stay, and file each download of the source folder as soon as it is finished, until stopped (whatever the switch says).</source>
        <translation>Bleibt aktiv und sortiert jeden Download im Quellordner ein, sobald er fertig ist, bis es beendet wird (unabhängig vom Schalter).</translation>
    </message>
    <message>
        <source>Watching could not be changed: %@</source>
        <translation>Die Überwachung konnte nicht geändert werden: %@</translation>
    </message>
    <message>
        <source>As downloads finished</source>
        <translation>Beim Fertigwerden der Downloads</translation>
    </message>
    <message>
        <source>put back by an undo</source>
        <translation>durch ein Rückgängigmachen zurückgelegt</translation>
    </message>
    <message>
        <source>The watcher is starting…</source>
        <translation>Die Überwachung startet …</translation>
    </message>
    <message>
        <source>Watching the folder needs the user service manager (systemd), which is not running in this session. Sorvanel can still be run by hand.</source>
        <translation>Die Überwachung des Ordners braucht den Dienstverwalter des Benutzers (systemd), der in dieser Sitzung nicht läuft. Sorvanel lässt sich weiterhin von Hand starten.</translation>
    </message>
    <message>
        <source>systemd did not accept Sorvanel&apos;s watcher, so the folder is not watched.</source>
        <translation>systemd hat Sorvanels Überwachung nicht angenommen, daher wird der Ordner nicht überwacht.</translation>
    </message>
    <message>
        <source>The folder is not watched: the user service manager (systemd) can&apos;t be reached.</source>
        <translation>Der Ordner wird nicht überwacht: Der Dienstverwalter des Benutzers (systemd) ist nicht erreichbar.</translation>
    </message>
    <message>
        <source>The folder is not watched: the watcher stopped after a failure. Switch it off and on to start it again.</source>
        <translation>Der Ordner wird nicht überwacht: Die Überwachung wurde nach einem Fehler beendet. Schalten Sie sie aus und wieder ein, um sie neu zu starten.</translation>
    </message>
    <message>
        <source>The folder is not watched: the watcher is not running.</source>
        <translation>Der Ordner wird nicht überwacht: Die Überwachung läuft nicht.</translation>
    </message>
    <message>
        <source>Watching</source>
        <translation>Überwachung</translation>
    </message>
    <message>
        <source>File each download as soon as it is finished</source>
        <translation>Jeden Download einsortieren, sobald er fertig ist</translation>
    </message>
    <message>
        <source>Sorvanel found nothing to tidy</source>
        <translation>Sorvanel hat nichts zum Aufräumen gefunden</translation>
    </message>
    <message>
        <source>Sorvanel&apos;s window needs Qt&apos;s Wayland support in this session: install the package qt6-wayland, or log in to an X11 session.</source>
        <translation>Sorvanels Fenster braucht in dieser Sitzung Qts Wayland-Unterstützung: Installieren Sie das Paket qt6-wayland oder melden Sie sich in einer X11-Sitzung an.</translation>
    </message>
    <message>
        <source>Choose the Source Folder</source>
        <translation>Quellordner wählen</translation>
    </message>
    <message>
        <source>Choose the Destination Folder</source>
        <translation>Zielordner wählen</translation>
    </message>
    <message>
        <source>Into %@</source>
        <translation>Nach %@</translation>
    </message>
    <message>
        <source>Show Problems</source>
        <translation>Probleme zeigen</translation>
    </message>
    <message>
        <source>“%@” can&apos;t be the large file threshold: it is a whole number of megabytes from %@ to %@.</source>
        <translation>„%@“ kann nicht die Grenze für große Dateien sein: Sie ist eine ganze Zahl von Megabyte zwischen %@ und %@.</translation>
    </message>
    <message>
        <source>The settings to choose: sourcePath and destinationPath (folders), thresholdMB, automaticEnabled, automaticTime, notifyAfterAutomatic, watchEnabled (files each download as soon as it is finished), trashDuplicates (a file whose bytes are filed already goes to the Trash).</source>
        <translation>Die Einstellungen zur Wahl: sourcePath und destinationPath (Ordner), thresholdMB, automaticEnabled, automaticTime, notifyAfterAutomatic, watchEnabled (sortiert jeden Download ein, sobald er fertig ist), trashDuplicates (eine Datei, deren Bytes schon einsortiert sind, kommt in den Papierkorb).</translation>
    </message>
    <message>
        <source>Already filed: %d</source>
        <translation>Schon einsortiert: %d</translation>
    </message>
    <message>
        <source>To the Trash:</source>
        <translation>In den Papierkorb:</translation>
    </message>
    <message>
        <source>, now in the Trash</source>
        <translation>, jetzt im Papierkorb</translation>
    </message>
    <message>
        <source>%d already filed</source>
        <translation>%d schon einsortiert</translation>
    </message>
    <message>
        <source>already filed as %@</source>
        <translation>schon einsortiert als %@</translation>
    </message>
    <message>
        <source>It is no longer in the Trash, so it was not put back.</source>
        <translation>Sie ist nicht mehr im Papierkorb und wurde daher nicht zurückgelegt.</translation>
    </message>
    <message>
        <source>Sorvanel sent %d files filed already to the Trash</source>
        <translation>Sorvanel hat %d schon einsortierte Dateien in den Papierkorb gelegt</translation>
    </message>
    <message>
        <source>Move files already filed to the Trash</source>
        <translation>Schon einsortierte Dateien in den Papierkorb verschieben</translation>
    </message>
    <message>
        <source>A download whose bytes are filed already (a second download of the same file) goes to the Trash instead of beside them.</source>
        <translation>Ein Download, dessen Bytes schon einsortiert sind (die gleiche Datei ein zweites Mal geladen), kommt in den Papierkorb statt daneben.</translation>
    </message>
    <message>
        <source>Re-downloads</source>
        <translation>Erneute Downloads</translation>
    </message>
    <message>
        <source>In the Trash: %@</source>
        <translation>Im Papierkorb: %@</translation>
    </message>
    <message>
        <source>Sent to the Trash</source>
        <translation>In den Papierkorb gelegt</translation>
    </message>
    <message>
        <source>To the Trash: %@</source>
        <translation>In den Papierkorb: %@</translation>
    </message>
    <message>
        <source>       sorvanel-cli where TEXT [--json]</source>
        <translation>       sorvanel-cli where TEXT [--json]</translation>
    </message>
    <message>
        <source>Find where a run filed a file, from a part of its name.</source>
        <translation>Finden, wohin ein Lauf eine Datei einsortiert hat, aus einem Teil ihres Namens.</translation>
    </message>
    <message>
        <source>Usage: sorvanel-cli where TEXT [--json]</source>
        <translation>Aufruf: sorvanel-cli where TEXT [--json]</translation>
    </message>
    <message>
        <source>Lists every file of the runs on record whose original name contains TEXT, newest first: where it is now, the run that filed it and whether it is still there (&quot;there&quot;, &quot;changed&quot; since, &quot;gone&quot; from there, or put back by an undo, &quot;undone&quot;). With * or ? TEXT is a pattern for the whole name, as the shell takes it. Case, accents and how characters are composed do not count: &quot;resume&quot; finds &quot;Résumé.pdf&quot;. Exits with 1 when nothing is found.</source>
        <translation>Listet jede Datei der aufgezeichneten Läufe, deren ursprünglicher Name TEXT enthält, die neueste zuerst: wo sie jetzt ist, der Lauf, der sie einsortiert hat, und ob sie noch dort ist („there“, seither verändert „changed“, von dort verschwunden „gone“ oder durch ein Rückgängigmachen zurückgelegt „undone“). Mit * oder ? ist TEXT ein Muster für den ganzen Namen, wie die Shell es liest. Groß- und Kleinschreibung, Akzente und die Zusammensetzung der Zeichen zählen nicht: „resume“ findet „Résumé.pdf“. Endet mit 1, wenn nichts gefunden wird.</translation>
    </message>
    <message>
        <source>Say what to look for: a part of the file&apos;s name, or a pattern with * or ?.</source>
        <translation>Geben Sie an, wonach gesucht wird: ein Teil des Dateinamens oder ein Muster mit * oder ?.</translation>
    </message>
    <message>
        <source>No filed file has such a name.</source>
        <translation>Keine einsortierte Datei hat einen solchen Namen.</translation>
    </message>
    <message>
        <source>there</source>
        <translation>noch dort</translation>
    </message>
    <message>
        <source>changed since</source>
        <translation>seither verändert</translation>
    </message>
    <message>
        <source>gone from there</source>
        <translation>von dort verschwunden</translation>
    </message>
    <message>
        <source>Filed %@ (%@)</source>
        <translation>Einsortiert %@ (%@)</translation>
    </message>
    <message>
        <source>Show in Folder</source>
        <translation>Im Ordner zeigen</translation>
    </message>
    <message>
        <source>Opens the file&apos;s folder in the file manager, with the file selected.</source>
        <translation>Öffnet den Ordner der Datei in der Dateiverwaltung, mit der Datei ausgewählt.</translation>
    </message>
    <message>
        <source>Find a filed file by name</source>
        <translation>Einsortierte Datei nach Namen suchen</translation>
    </message>
    <message>
        <source>Recently Filed</source>
        <translation>Zuletzt einsortiert</translation>
    </message>
    <message>
        <source>Nothing filed yet</source>
        <translation>Noch nichts einsortiert</translation>
    </message>
    <message>
        <source>%@ (%@)</source>
        <translation>%@ (%@)</translation>
    </message>
</context>
</TS>
