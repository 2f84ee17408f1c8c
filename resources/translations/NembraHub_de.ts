<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE" sourcelanguage="en_US">
<context>
    <name>CLogList</name>
    <message>
        <source>Syslog</source>
        <translation>Syslog</translation>
    </message>
    <message>
        <source>Messages</source>
        <translation>Meldungen</translation>
    </message>
    <message>
        <source>Change Port</source>
        <translation>Port ändern</translation>
    </message>
    <message>
        <source>Move to clipboard</source>
        <translation>In die Zwischenablage verschieben</translation>
    </message>
    <message>
        <source>Copy to clipboard</source>
        <translation>In die Zwischenablage kopieren</translation>
    </message>
    <message>
        <source>Select all</source>
        <translation>Alle auswählen</translation>
    </message>
    <message>
        <source>IP: </source>
        <translation>IP: </translation>
    </message>
    <message>
        <source>Unknown</source>
        <translation>Unbekannt</translation>
    </message>
    <message>
        <source>Port: %1</source>
        <translation>Port: %1</translation>
    </message>
    <message>
        <source>Could not bind to syslog port %1.</source>
        <translation>Der Syslog-Port %1 konnte nicht geöffnet werden.</translation>
    </message>
    <message>
        <source>Set syslog port (normally 514):</source>
        <translation>Syslog-Port festlegen (normalerweise 514):</translation>
    </message>
</context>
<context>
    <name>CLogListWidget</name>
    <message>
        <source>Too many lines for the clipboard.</source>
        <translation>Zu viele Zeilen für die Zwischenablage.</translation>
    </message>
</context>
<context>
    <name>ConfigDialog</name>
    <message>
        <source>Network Configuration</source>
        <translation>Netzwerkkonfiguration</translation>
    </message>
    <message>
        <source>IP address</source>
        <translation>IP-Adresse</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Set fixed IP address&lt;br/&gt;0.0.0.0 for DHCP&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Feste IP-Adresse&lt;br/&gt;0.0.0.0 für DHCP&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>IP mask</source>
        <translation>Netzmaske</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Typically 255.255.255.0&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Meist 255.255.255.0&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>Manual configuration</source>
        <translation>Manuelle Konfiguration</translation>
    </message>
    <message>
        <source>IP gate</source>
        <translation>Gateway</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Ip address of your Internet router&lt;br/&gt;Not required when DHCP is used&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;IP-Adresse des Internet-Routers&lt;br/&gt;Nicht nötig, wenn DHCP verwendet wird&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>MAC</source>
        <translation>MAC</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
</context>
<context>
    <name>Device</name>
    <message>
        <source>System name</source>
        <translation>Systemname</translation>
    </message>
    <message>
        <source>IP</source>
        <translation>IP</translation>
    </message>
    <message>
        <source>MAC</source>
        <translation>MAC</translation>
    </message>
    <message>
        <source>First Seen</source>
        <translation>Zuerst gesehen</translation>
    </message>
    <message>
        <source>Last Seen</source>
        <translation>Zuletzt gesehen</translation>
    </message>
    <message>
        <source>Firmware Manufacturer</source>
        <translation>Firmware-Hersteller</translation>
    </message>
    <message>
        <source>Firmware Name</source>
        <translation>Firmware-Name</translation>
    </message>
    <message>
        <source>Version</source>
        <translation>Version</translation>
    </message>
    <message>
        <source>Type</source>
        <translation>Typ</translation>
    </message>
    <message>
        <source>Sensor 1</source>
        <translation>Sensor 1</translation>
    </message>
    <message>
        <source>Sensor 2</source>
        <translation>Sensor 2</translation>
    </message>
    <message>
        <source>Sensor 3</source>
        <translation>Sensor 3</translation>
    </message>
    <message>
        <source>Sensor 4</source>
        <translation>Sensor 4</translation>
    </message>
    <message>
        <source>Uptime</source>
        <translation>Betriebszeit</translation>
    </message>
    <message>
        <source>Date</source>
        <translation>Datum</translation>
    </message>
    <message>
        <source>Time</source>
        <translation>Uhrzeit</translation>
    </message>
    <message>
        <source>Location</source>
        <translation>Standort</translation>
    </message>
    <message>
        <source>Contact</source>
        <translation>Kontakt</translation>
    </message>
    <message>
        <source>WLAN SSID</source>
        <translation>WLAN-SSID</translation>
    </message>
    <message>
        <source>Network Interface</source>
        <translation>Netzwerkschnittstelle</translation>
    </message>
    <message>
        <source>HTTP Type</source>
        <translation>HTTP-Typ</translation>
    </message>
    <message>
        <source>Status</source>
        <translation>Status</translation>
    </message>
    <message>
        <source>Login User</source>
        <translation>Angemeldeter Benutzer</translation>
    </message>
    <message>
        <source>Access Rights</source>
        <translation>Zugriffsrechte</translation>
    </message>
    <message>
        <source>Memory usage</source>
        <translation>Speicherbelegung</translation>
    </message>
    <message>
        <source>History start</source>
        <translation>Beginn der Historie</translation>
    </message>
    <message>
        <source>History usage</source>
        <translation>Belegung der Historie</translation>
    </message>
    <message>
        <source>None</source>
        <translation>Keine</translation>
    </message>
    <message>
        <source>Read data</source>
        <translation>Daten lesen</translation>
    </message>
    <message>
        <source>Read data / Read config</source>
        <translation>Daten lesen / Konfiguration lesen</translation>
    </message>
    <message>
        <source>Read data / Write config</source>
        <translation>Daten lesen / Konfiguration schreiben</translation>
    </message>
    <message>
        <source>Wrong login</source>
        <translation>Anmeldung fehlgeschlagen</translation>
    </message>
    <message>
        <source>Network Problem: </source>
        <translation>Netzwerkproblem: </translation>
    </message>
</context>
<context>
    <name>FileSelectorWidget</name>
    <message>
        <source>Form</source>
        <translation>Formular</translation>
    </message>
    <message>
        <source>Search</source>
        <translation>Durchsuchen</translation>
    </message>
</context>
<context>
    <name>LoadHistoryDialog</name>
    <message>
        <source>Dialog</source>
        <translation>Dialog</translation>
    </message>
    <message>
        <source>Save in directory</source>
        <translation>Zielverzeichnis</translation>
    </message>
    <message>
        <source>Steps</source>
        <translation>Schrittweite</translation>
    </message>
    <message>
        <source>Previous month</source>
        <translation>Voriger Monat</translation>
    </message>
    <message>
        <source>Next month</source>
        <translation>Nächster Monat</translation>
    </message>
    <message>
        <source>Unit of the steps</source>
        <translation>Einheit der Schrittweite</translation>
    </message>
    <message>
        <source>Minutes</source>
        <translation>Minuten</translation>
    </message>
    <message>
        <source>Hours</source>
        <translation>Stunden</translation>
    </message>
    <message>
        <source>From</source>
        <translation>Von</translation>
    </message>
    <message>
        <source>To</source>
        <translation>Bis</translation>
    </message>
    <message>
        <source>Devices</source>
        <translation>Geräte</translation>
    </message>
    <message>
        <source>Hostname</source>
        <translation>Systemname</translation>
    </message>
    <message>
        <source>History start</source>
        <translation>Beginn der Historie</translation>
    </message>
    <message>
        <source>Status</source>
        <translation>Status</translation>
    </message>
    <message>
        <source>Load</source>
        <translation>Herunterladen</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Downloading CSV</source>
        <translation>Messdaten herunterladen (CSV-Format)</translation>
    </message>
    <message>
        <source>Downloading</source>
        <translation>Wird heruntergeladen</translation>
    </message>
</context>
<context>
    <name>LoginDevicesDialog</name>
    <message>
        <source>Login</source>
        <translation>Anmeldung</translation>
    </message>
    <message>
        <source>Hostname</source>
        <translation>Systemname</translation>
    </message>
    <message>
        <source>TextLabel</source>
        <translation>TextLabel</translation>
    </message>
    <message>
        <source>User</source>
        <translation>Benutzer</translation>
    </message>
    <message>
        <source>Password</source>
        <translation>Passwort</translation>
    </message>
    <message>
        <source>Show</source>
        <translation>Anzeigen</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Waiting...</source>
        <translation>Bitte warten …</translation>
    </message>
    <message>
        <source>Missing access rights</source>
        <translation>Fehlende Zugriffsrechte</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>Nembra Hub</source>
        <translation>Nembra Hub</translation>
    </message>
    <message>
        <source>Devices</source>
        <translation>Geräte</translation>
    </message>
    <message>
        <source>&amp;View</source>
        <translation>&amp;Ansicht</translation>
    </message>
    <message>
        <source>Show &amp;columns</source>
        <translation>&amp;Spalten anzeigen</translation>
    </message>
    <message>
        <source>Toolbar</source>
        <translation>Werkzeugleiste</translation>
    </message>
    <message>
        <source>&amp;Devices</source>
        <translation>&amp;Geräte</translation>
    </message>
    <message>
        <source>Down&amp;load</source>
        <translation>&amp;Herunterladen</translation>
    </message>
    <message>
        <source>&amp;Upload</source>
        <translation>Hoch&amp;laden</translation>
    </message>
    <message>
        <source>&amp;Configure</source>
        <translation>&amp;Konfigurieren</translation>
    </message>
    <message>
        <source>&amp;Setup</source>
        <translation>&amp;Einstellungen</translation>
    </message>
    <message>
        <source>Change the language of Nembra Hub</source>
        <translation>Die Sprache von Nembra Hub ändern</translation>
    </message>
    <message>
        <source>&amp;Language</source>
        <translation>&amp;Sprache</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>&amp;Hilfe</translation>
    </message>
    <message>
        <source>ToolBar</source>
        <translation>Werkzeugleiste</translation>
    </message>
    <message>
        <source>You can hide this toolbar in the view menu</source>
        <translation>Diese Werkzeugleiste lässt sich im Menü „Ansicht“ ausblenden</translation>
    </message>
    <message>
        <source>Filter</source>
        <translation>Filter</translation>
    </message>
    <message>
        <source>Exit</source>
        <translation>Beenden</translation>
    </message>
    <message>
        <source>Quit Nembra Hub</source>
        <translation>Nembra Hub beenden</translation>
    </message>
    <message>
        <source>Ctrl+Q</source>
        <translation>Ctrl+Q</translation>
    </message>
    <message>
        <source>Refresh list</source>
        <translation>Liste aktualisieren</translation>
    </message>
    <message>
        <source>Search for devices and update information about them</source>
        <translation>Geräte suchen und ihre Daten aktualisieren</translation>
    </message>
    <message>
        <source>F5</source>
        <translation>F5</translation>
    </message>
    <message>
        <source>Con&amp;figuration</source>
        <translation>Kon&amp;figuration</translation>
    </message>
    <message>
        <source>Save the configuration of the selected devices excluding passwords</source>
        <translation>Die Konfiguration der ausgewählten Geräte ohne Passwörter speichern</translation>
    </message>
    <message>
        <source>Firm&amp;ware</source>
        <translation>Firm&amp;ware</translation>
    </message>
    <message>
        <source>Update the firmware for the selected devices</source>
        <translation>Die Firmware der ausgewählten Geräte aktualisieren</translation>
    </message>
    <message>
        <source>Show</source>
        <translation>Anzeigen</translation>
    </message>
    <message>
        <source>Show or hide the toolbar</source>
        <translation>Die Werkzeugleiste ein- oder ausblenden</translation>
    </message>
    <message>
        <source>Alt+T</source>
        <translation>Alt+T</translation>
    </message>
    <message>
        <source>About Nembra Hub</source>
        <translation>Über Nembra Hub</translation>
    </message>
    <message>
        <source>Display information about this program</source>
        <translation>Informationen über dieses Programm anzeigen</translation>
    </message>
    <message>
        <source>Alt+F1</source>
        <translation>Alt+F1</translation>
    </message>
    <message>
        <source>Scan options</source>
        <translation>Suchoptionen</translation>
    </message>
    <message>
        <source>Edit scan options</source>
        <translation>Die Suchoptionen bearbeiten</translation>
    </message>
    <message>
        <source>F7</source>
        <translation>F7</translation>
    </message>
    <message>
        <source>Save list</source>
        <translation>Liste speichern</translation>
    </message>
    <message>
        <source>Save current list of devices</source>
        <translation>Die aktuelle Geräteliste speichern</translation>
    </message>
    <message>
        <source>Ctrl+S</source>
        <translation>Ctrl+S</translation>
    </message>
    <message>
        <source>Remove selected</source>
        <translation>Ausgewählte entfernen</translation>
    </message>
    <message>
        <source>Remove the selected devices from the list</source>
        <translation>Die ausgewählten Geräte aus der Liste entfernen</translation>
    </message>
    <message>
        <source>Del</source>
        <translation>Del</translation>
    </message>
    <message>
        <source>&amp;Resize columns</source>
        <translation>Spalten&amp;breiten anpassen</translation>
    </message>
    <message>
        <source>Resize the columns to fit their content</source>
        <translation>Die Spaltenbreiten an den Inhalt anpassen</translation>
    </message>
    <message>
        <source>Auto Update</source>
        <translation>Automatisch aktualisieren</translation>
    </message>
    <message>
        <source>Enable or disable automatic update of list</source>
        <translation>Die automatische Aktualisierung der Liste ein- oder ausschalten</translation>
    </message>
    <message>
        <source>Web interface</source>
        <translation>Weboberfläche</translation>
    </message>
    <message>
        <source>Access the web interface of the selected devices</source>
        <translation>Die Weboberflächen der ausgewählten Geräte öffnen</translation>
    </message>
    <message>
        <source>Alt+W</source>
        <translation>Alt+W</translation>
    </message>
    <message>
        <source>Confi&amp;guration</source>
        <translation>Konfi&amp;guration</translation>
    </message>
    <message>
        <source>Upload a configuration file to the selected devices</source>
        <translation>Eine Konfigurationsdatei auf die ausgewählten Geräte hochladen</translation>
    </message>
    <message>
        <source>Network</source>
        <translation>Netzwerk</translation>
    </message>
    <message>
        <source>Device&apos;s network configuration</source>
        <translation>Netzwerkkonfiguration des Geräts</translation>
    </message>
    <message>
        <source>Edit network configuration of the selected device</source>
        <translation>Die Netzwerkkonfiguration des ausgewählten Geräts bearbeiten</translation>
    </message>
    <message>
        <source>F3</source>
        <translation>F3</translation>
    </message>
    <message>
        <source>Apply</source>
        <translation>Anwenden</translation>
    </message>
    <message>
        <source>Apply the filter to the list</source>
        <translation>Den Filter auf die Liste anwenden</translation>
    </message>
    <message>
        <source>Show the filter</source>
        <translation>Den Filter einblenden</translation>
    </message>
    <message>
        <source>Ctrl+F</source>
        <translation>Ctrl+F</translation>
    </message>
    <message>
        <source>User &amp;login</source>
        <translation>Benutzer&amp;anmeldung</translation>
    </message>
    <message>
        <source>Enter login for the selected devices</source>
        <translation>Die Anmeldedaten für die ausgewählten Geräte eingeben</translation>
    </message>
    <message>
        <source>About &amp;Qt</source>
        <translation>Über &amp;Qt</translation>
    </message>
    <message>
        <source>Display information about Qt</source>
        <translation>Informationen über Qt anzeigen</translation>
    </message>
    <message>
        <source>&amp;Font</source>
        <translation>Schrift&amp;art</translation>
    </message>
    <message>
        <source>Change the font of Nembra Hub</source>
        <translation>Die Schriftart von Nembra Hub ändern</translation>
    </message>
    <message>
        <source>Small icons</source>
        <translation>Kleine Symbole</translation>
    </message>
    <message>
        <source>Use small sized icons</source>
        <translation>Kleine Symbole verwenden</translation>
    </message>
    <message>
        <source>Normal  icons</source>
        <translation>Mittelgroße Symbole</translation>
    </message>
    <message>
        <source>Use medium sized icons</source>
        <translation>Mittelgroße Symbole verwenden</translation>
    </message>
    <message>
        <source>Large icons</source>
        <translation>Große Symbole</translation>
    </message>
    <message>
        <source>Use large sized icons</source>
        <translation>Große Symbole verwenden</translation>
    </message>
    <message>
        <source>Configuration + &amp;passwords</source>
        <translation>Konfiguration + &amp;Passwörter</translation>
    </message>
    <message>
        <source>Save the configuration of the selected devices including passwords</source>
        <translation>Die Konfiguration der ausgewählten Geräte einschließlich der Passwörter speichern</translation>
    </message>
    <message>
        <source>D&amp;ata (CSV format)</source>
        <translation>&amp;Messdaten (CSV-Format)</translation>
    </message>
    <message>
        <source>Download history of sensor data for the selected devices</source>
        <translation>Die aufgezeichneten Messdaten der ausgewählten Geräte herunterladen</translation>
    </message>
    <message>
        <source>&amp;Reset to defaults</source>
        <translation>Auf Standardwerte &amp;zurücksetzen</translation>
    </message>
    <message>
        <source>Reset configuration of Nembra Hub</source>
        <translation>Die Einstellungen von Nembra Hub auf die Standardwerte zurücksetzen</translation>
    </message>
    <message>
        <source>Select all</source>
        <translation>Alle auswählen</translation>
    </message>
    <message>
        <source>Select all devices</source>
        <translation>Alle Geräte auswählen</translation>
    </message>
    <message>
        <source>Ctrl+A</source>
        <translation>Ctrl+A</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>Close the filter</source>
        <translation>Den Filter schließen</translation>
    </message>
    <message>
        <source>Show statusbar</source>
        <translation>Statusleiste anzeigen</translation>
    </message>
    <message>
        <source>Show or hide the statusbar</source>
        <translation>Die Statusleiste ein- oder ausblenden</translation>
    </message>
    <message>
        <source>Fullscreen</source>
        <translation>Vollbild</translation>
    </message>
    <message>
        <source>Enable or disable fullscreen mode</source>
        <translation>Den Vollbildmodus ein- oder ausschalten</translation>
    </message>
    <message>
        <source>F11</source>
        <translation>F11</translation>
    </message>
    <message>
        <source>Syslog</source>
        <translation>Syslog</translation>
    </message>
    <message>
        <source>UDP port %1 can&apos;t be opened, so no device can answer.
Close the program that holds it, or choose another port in the scan options (%2), and refresh (%3).</source>
        <translation>Der UDP-Port %1 lässt sich nicht öffnen, deshalb kann kein Gerät antworten.
Beenden Sie das Programm, das ihn belegt, oder wählen Sie in den Suchoptionen (%2) einen anderen Port. Aktualisieren Sie dann die Liste (%3).</translation>
    </message>
    <message>
        <source>No device has answered yet.
Check that the devices are switched on and in the network of this computer, that no firewall holds back UDP port %1, and that this is the devices&apos; port: it is in the scan options (%2). Then refresh (%3).</source>
        <translation>Noch hat kein Gerät geantwortet.
Prüfen Sie, ob die Geräte eingeschaltet und im Netz dieses Rechners sind, ob eine Firewall den UDP-Port %1 sperrt und ob die Geräte diesen Port verwenden; er steht in den Suchoptionen (%2). Aktualisieren Sie dann die Liste (%3).</translation>
    </message>
    <message>
        <source>No device matches the filter.</source>
        <translation>Kein Gerät passt zum Filter.</translation>
    </message>
    <message>
        <source>More tools</source>
        <translation>Weitere Werkzeuge</translation>
    </message>
    <message>
        <source>Active devices: %1/%2</source>
        <translation>Aktive Geräte: %1/%2</translation>
    </message>
    <message>
        <source>Device </source>
        <translation>Das Gerät </translation>
    </message>
    <message>
        <source> is not reachable</source>
        <translation> ist nicht erreichbar</translation>
    </message>
    <message>
        <source>Really open </source>
        <translation>Die Weboberflächen von </translation>
    </message>
    <message>
        <source> devices in browser?</source>
        <translation> Geräten wirklich im Browser öffnen?</translation>
    </message>
    <message>
        <source>Show or hide column %1</source>
        <translation>Die Spalte %1 ein- oder ausblenden</translation>
    </message>
    <message>
        <source>Copyright %1 ostrel GmbH</source>
        <translation>Copyright %1 ostrel GmbH</translation>
    </message>
    <message>
        <source>This software is licensed to you without charge. ostrel GmbH retains ownership of all copies of the software and reserves all rights not expressly granted to you.</source>
        <translation>Sie erhalten für diese Software eine kostenlose Lizenz. Die ostrel GmbH bleibt Eigentümerin aller Kopien der Software und behält sich alle Rechte vor, die Ihnen nicht ausdrücklich eingeräumt werden.</translation>
    </message>
    <message>
        <source>You may use the software without charge.</source>
        <translation>Sie dürfen die Software kostenlos nutzen.</translation>
    </message>
    <message>
        <source>You may distribute exact copies of the software to anyone.</source>
        <translation>Sie dürfen unveränderte Kopien der Software an jedermann weitergeben.</translation>
    </message>
    <message>
        <source>See the &lt;a href=&quot;%1&quot;&gt;tutorial&lt;/a&gt; for more information about how to use this software.</source>
        <translation>Mehr über die Benutzung dieser Software erfahren Sie in der &lt;a href=&quot;%1&quot;&gt;Anleitung&lt;/a&gt;.</translation>
    </message>
    <message>
        <source>Restore the default configuration of Nembra Hub?</source>
        <translation>Die Einstellungen von Nembra Hub auf die Standardwerte zurücksetzen?</translation>
    </message>
    <message>
        <source>Error opening file </source>
        <translation>Fehler beim Öffnen der Datei </translation>
    </message>
    <message>
        <source> for writing</source>
        <translation> zum Schreiben</translation>
    </message>
    <message>
        <source>Error writing file </source>
        <translation>Fehler beim Schreiben der Datei </translation>
    </message>
    <message>
        <source>Open Directory</source>
        <translation>Verzeichnis auswählen</translation>
    </message>
    <message>
        <source>Really upload config to %1 devices?</source>
        <translation>Die Konfiguration wirklich auf %1 Geräte hochladen?</translation>
    </message>
    <message>
        <source>Devices with multiple types selected</source>
        <translation>Es sind Geräte verschiedenen Typs ausgewählt</translation>
    </message>
    <message>
        <source>Devices with unknown types selected. Update anyway?</source>
        <translation>Es sind Geräte unbekannten Typs ausgewählt. Trotzdem aktualisieren?</translation>
    </message>
    <message>
        <source>Update device?</source>
        <translation>Die Netzwerkkonfiguration des Geräts ändern?</translation>
    </message>
    <message>
        <source>The device will restart.</source>
        <translation>Das Gerät startet danach neu.</translation>
    </message>
</context>
<context>
    <name>NetworkOperationsDialog</name>
    <message>
        <source>Dialog</source>
        <translation>Dialog</translation>
    </message>
    <message>
        <source>TextLabel</source>
        <translation>TextLabel</translation>
    </message>
    <message>
        <source>Devices</source>
        <translation>Geräte</translation>
    </message>
    <message>
        <source>Hostname</source>
        <translation>Systemname</translation>
    </message>
    <message>
        <source>Status</source>
        <translation>Status</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>Error for HTTP-Request: </source>
        <translation>Fehler bei der HTTP-Anfrage: </translation>
    </message>
    <message>
        <source>Canceled</source>
        <translation>Abgebrochen</translation>
    </message>
    <message>
        <source>Wrong HTTP Status-Code </source>
        <translation>Unerwarteter HTTP-Status </translation>
    </message>
    <message>
        <source>Finished</source>
        <translation>Fertig</translation>
    </message>
    <message>
        <source>Error writing file</source>
        <translation>Fehler beim Schreiben der Datei</translation>
    </message>
    <message>
        <source>Downloading configs.</source>
        <translation>Die Konfigurationen werden heruntergeladen.</translation>
    </message>
    <message>
        <source>Save config</source>
        <translation>Konfiguration speichern</translation>
    </message>
    <message>
        <source>Downloading</source>
        <translation>Wird heruntergeladen</translation>
    </message>
    <message>
        <source>Uploading config.</source>
        <translation>Die Konfiguration wird hochgeladen.</translation>
    </message>
    <message>
        <source>Upload config</source>
        <translation>Konfiguration hochladen</translation>
    </message>
    <message>
        <source>Uploading</source>
        <translation>Wird hochgeladen</translation>
    </message>
</context>
<context>
    <name>SettingsDialog</name>
    <message>
        <source>Scan options</source>
        <translation>Suchoptionen</translation>
    </message>
    <message>
        <source>Scan UDP port</source>
        <translation>UDP-Port für die Suche</translation>
    </message>
    <message>
        <source>HTTP port</source>
        <translation>HTTP-Port</translation>
    </message>
    <message>
        <source>HTTPS port</source>
        <translation>HTTPS-Port</translation>
    </message>
    <message>
        <source>Auto update</source>
        <translation>Automatisch aktualisieren</translation>
    </message>
    <message>
        <source>Auto update interval in seconds</source>
        <translation>Aktualisierungsintervall in Sekunden</translation>
    </message>
    <message>
        <source>Prefer extended resolution</source>
        <translation>Erweiterte Auflösung bevorzugen</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
</context>
<context>
    <name>UpdateFirmwareDialog</name>
    <message>
        <source>The system has no room for another thread</source>
        <translation>Das System lässt keinen weiteren Thread zu</translation>
    </message>
    <message>
        <source>Update Nembra Firmware</source>
        <translation>Nembra-Firmware aktualisieren</translation>
    </message>
    <message>
        <source>Buffer</source>
        <translation>Puffer</translation>
    </message>
    <message>
        <source>Buffer 1</source>
        <translation>Puffer 1</translation>
    </message>
    <message>
        <source>Buffer 2</source>
        <translation>Puffer 2</translation>
    </message>
    <message>
        <source>Firmware</source>
        <translation>Firmware</translation>
    </message>
    <message>
        <source>Save Config</source>
        <translation>Konfiguration speichern</translation>
    </message>
    <message>
        <source>Devices</source>
        <translation>Geräte</translation>
    </message>
    <message>
        <source>Hostname</source>
        <translation>Systemname</translation>
    </message>
    <message>
        <source>Message</source>
        <translation>Meldung</translation>
    </message>
    <message>
        <source>Update</source>
        <translation>Aktualisieren</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Download the Nembra firmware here: </source>
        <translation>Nembra-Firmware zum Herunterladen: </translation>
    </message>
</context>
<context>
    <name>UpdateThread</name>
    <message>
        <source>Finished</source>
        <translation>Fertig</translation>
    </message>
    <message>
        <source>Restoring config</source>
        <translation>Konfiguration wird wiederhergestellt</translation>
    </message>
    <message>
        <source>Saving config</source>
        <translation>Konfiguration wird gespeichert</translation>
    </message>
    <message>
        <source>Error opening file </source>
        <translation>Fehler beim Öffnen der Datei </translation>
    </message>
    <message>
        <source>for writing</source>
        <translation>zum Schreiben</translation>
    </message>
    <message>
        <source>Uploading firmware</source>
        <translation>Firmware wird hochgeladen</translation>
    </message>
    <message>
        <source>Error opening firmware file </source>
        <translation>Fehler beim Öffnen der Firmware-Datei </translation>
    </message>
    <message>
        <source>Activating firmware</source>
        <translation>Firmware wird aktiviert</translation>
    </message>
    <message>
        <source>Waiting 10 seconds</source>
        <translation>10 Sekunden Wartezeit</translation>
    </message>
    <message>
        <source>Waiting for device</source>
        <translation>Warten auf das Gerät</translation>
    </message>
    <message>
        <source>Error for HTTP-Request: </source>
        <translation>Fehler bei der HTTP-Anfrage: </translation>
    </message>
    <message>
        <source>Wrong HTTP Status-Code </source>
        <translation>Unerwarteter HTTP-Status </translation>
    </message>
    <message>
        <source>The device sent no usable configuration</source>
        <translation>Das Gerät hat keine brauchbare Konfiguration geschickt</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>Configfile.</source>
        <translation>Einstellungsdatei.</translation>
    </message>
    <message>
        <source>directory</source>
        <translation>Verzeichnis</translation>
    </message>
    <message>
        <source>Devices file.</source>
        <translation>Datei der Geräteliste.</translation>
    </message>
    <message>
        <source>file</source>
        <translation>Datei</translation>
    </message>
</context>
</TS>
