<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US" sourcelanguage="en_US">
<context>
    <name>CLogList</name>
    <message>
        <source>Syslog</source>
        <translation>Syslog</translation>
    </message>
    <message>
        <source>Messages</source>
        <translation>Messages</translation>
    </message>
    <message>
        <source>Change Port</source>
        <translation>Change Port</translation>
    </message>
    <message>
        <source>Move to clipboard</source>
        <translation>Move to clipboard</translation>
    </message>
    <message>
        <source>Copy to clipboard</source>
        <translation>Copy to clipboard</translation>
    </message>
    <message>
        <source>Select all</source>
        <translation>Select all</translation>
    </message>
    <message>
        <source>IP: </source>
        <translation>IP: </translation>
    </message>
    <message>
        <source>Unknown</source>
        <translation>Unknown</translation>
    </message>
    <message>
        <source>Port: %1</source>
        <translation>Port: %1</translation>
    </message>
    <message>
        <source>Could not bind to syslog port %1.</source>
        <translation>Could not bind to syslog port %1.</translation>
    </message>
    <message>
        <source>Set syslog port (normally 514):</source>
        <translation>Set syslog port (normally 514):</translation>
    </message>
</context>
<context>
    <name>CLogListWidget</name>
    <message>
        <source>Too many lines for the clipboard.</source>
        <translation>Too many lines for the clipboard.</translation>
    </message>
</context>
<context>
    <name>ConfigDialog</name>
    <message>
        <source>Network Configuration</source>
        <translation>Network Configuration</translation>
    </message>
    <message>
        <source>IP address</source>
        <translation>IP address</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Set fixed IP address&lt;br/&gt;0.0.0.0 for DHCP&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Set fixed IP address&lt;br/&gt;0.0.0.0 for DHCP&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>IP mask</source>
        <translation>IP mask</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Typically 255.255.255.0&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Typically 255.255.255.0&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>Manual configuration</source>
        <translation>Manual configuration</translation>
    </message>
    <message>
        <source>IP gate</source>
        <translation>IP gate</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Ip address of your Internet router&lt;br/&gt;Not required when DHCP is used&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Ip address of your Internet router&lt;br/&gt;Not required when DHCP is used&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>MAC</source>
        <translation>MAC</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Cancel</translation>
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
        <translation>System name</translation>
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
        <translation>First Seen</translation>
    </message>
    <message>
        <source>Last Seen</source>
        <translation>Last Seen</translation>
    </message>
    <message>
        <source>Firmware Manufacturer</source>
        <translation>Firmware Manufacturer</translation>
    </message>
    <message>
        <source>Firmware Name</source>
        <translation>Firmware Name</translation>
    </message>
    <message>
        <source>Version</source>
        <translation>Version</translation>
    </message>
    <message>
        <source>Type</source>
        <translation>Type</translation>
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
        <translation>Uptime</translation>
    </message>
    <message>
        <source>Date</source>
        <translation>Date</translation>
    </message>
    <message>
        <source>Time</source>
        <translation>Time</translation>
    </message>
    <message>
        <source>Location</source>
        <translation>Location</translation>
    </message>
    <message>
        <source>Contact</source>
        <translation>Contact</translation>
    </message>
    <message>
        <source>WLAN SSID</source>
        <translation>WLAN SSID</translation>
    </message>
    <message>
        <source>Network Interface</source>
        <translation>Network Interface</translation>
    </message>
    <message>
        <source>HTTP Type</source>
        <translation>HTTP Type</translation>
    </message>
    <message>
        <source>Status</source>
        <translation>Status</translation>
    </message>
    <message>
        <source>Login User</source>
        <translation>Login User</translation>
    </message>
    <message>
        <source>Access Rights</source>
        <translation>Access Rights</translation>
    </message>
    <message>
        <source>Memory usage</source>
        <translation>Memory usage</translation>
    </message>
    <message>
        <source>History start</source>
        <translation>History start</translation>
    </message>
    <message>
        <source>History usage</source>
        <translation>History usage</translation>
    </message>
    <message>
        <source>None</source>
        <translation>None</translation>
    </message>
    <message>
        <source>Read data</source>
        <translation>Read data</translation>
    </message>
    <message>
        <source>Read data / Read config</source>
        <translation>Read data / Read config</translation>
    </message>
    <message>
        <source>Read data / Write config</source>
        <translation>Read data / Write config</translation>
    </message>
    <message>
        <source>Wrong login</source>
        <translation>Wrong login</translation>
    </message>
    <message>
        <source>Network Problem: </source>
        <translation>Network Problem: </translation>
    </message>
</context>
<context>
    <name>FileSelectorWidget</name>
    <message>
        <source>Form</source>
        <translation>Form</translation>
    </message>
    <message>
        <source>Search</source>
        <translation>Search</translation>
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
        <translation>Save in directory</translation>
    </message>
    <message>
        <source>Steps</source>
        <translation>Steps</translation>
    </message>
    <message>
        <source>Previous month</source>
        <translation>Previous month</translation>
    </message>
    <message>
        <source>Next month</source>
        <translation>Next month</translation>
    </message>
    <message>
        <source>Unit of the steps</source>
        <translation>Unit of the steps</translation>
    </message>
    <message>
        <source>Minutes</source>
        <translation>Minutes</translation>
    </message>
    <message>
        <source>Hours</source>
        <translation>Hours</translation>
    </message>
    <message>
        <source>From</source>
        <translation>From</translation>
    </message>
    <message>
        <source>To</source>
        <translation>To</translation>
    </message>
    <message>
        <source>Devices</source>
        <translation>Devices</translation>
    </message>
    <message>
        <source>Hostname</source>
        <translation>Hostname</translation>
    </message>
    <message>
        <source>History start</source>
        <translation>History start</translation>
    </message>
    <message>
        <source>Status</source>
        <translation>Status</translation>
    </message>
    <message>
        <source>Load</source>
        <translation>Load</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Close</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Cancel</translation>
    </message>
    <message>
        <source>Downloading CSV</source>
        <translation>Downloading CSV</translation>
    </message>
    <message>
        <source>Downloading</source>
        <translation>Downloading</translation>
    </message>
</context>
<context>
    <name>LoginDevicesDialog</name>
    <message>
        <source>Login</source>
        <translation>Login</translation>
    </message>
    <message>
        <source>Hostname</source>
        <translation>Hostname</translation>
    </message>
    <message>
        <source>TextLabel</source>
        <translation>TextLabel</translation>
    </message>
    <message>
        <source>User</source>
        <translation>User</translation>
    </message>
    <message>
        <source>Password</source>
        <translation>Password</translation>
    </message>
    <message>
        <source>Show</source>
        <translation>Show</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Cancel</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Waiting...</source>
        <translation>Waiting...</translation>
    </message>
    <message>
        <source>Missing access rights</source>
        <translation>Missing access rights</translation>
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
        <translation>Devices</translation>
    </message>
    <message>
        <source>&amp;View</source>
        <translation>&amp;View</translation>
    </message>
    <message>
        <source>Show &amp;columns</source>
        <translation>Show &amp;columns</translation>
    </message>
    <message>
        <source>Toolbar</source>
        <translation>Toolbar</translation>
    </message>
    <message>
        <source>&amp;Devices</source>
        <translation>&amp;Devices</translation>
    </message>
    <message>
        <source>Down&amp;load</source>
        <translation>Down&amp;load</translation>
    </message>
    <message>
        <source>&amp;Upload</source>
        <translation>&amp;Upload</translation>
    </message>
    <message>
        <source>&amp;Configure</source>
        <translation>&amp;Configure</translation>
    </message>
    <message>
        <source>&amp;Setup</source>
        <translation>&amp;Setup</translation>
    </message>
    <message>
        <source>Change the language of Nembra Hub</source>
        <translation>Change the language of Nembra Hub</translation>
    </message>
    <message>
        <source>&amp;Language</source>
        <translation>&amp;Language</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>&amp;Help</translation>
    </message>
    <message>
        <source>ToolBar</source>
        <translation>ToolBar</translation>
    </message>
    <message>
        <source>You can hide this toolbar in the view menu</source>
        <translation>You can hide this toolbar in the view menu</translation>
    </message>
    <message>
        <source>Filter</source>
        <translation>Filter</translation>
    </message>
    <message>
        <source>Exit</source>
        <translation>Exit</translation>
    </message>
    <message>
        <source>Quit Nembra Hub</source>
        <translation>Quit Nembra Hub</translation>
    </message>
    <message>
        <source>Ctrl+Q</source>
        <translation>Ctrl+Q</translation>
    </message>
    <message>
        <source>Refresh list</source>
        <translation>Refresh list</translation>
    </message>
    <message>
        <source>Search for devices and update information about them</source>
        <translation>Search for devices and update information about them</translation>
    </message>
    <message>
        <source>F5</source>
        <translation>F5</translation>
    </message>
    <message>
        <source>Con&amp;figuration</source>
        <translation>Con&amp;figuration</translation>
    </message>
    <message>
        <source>Save the configuration of the selected devices excluding passwords</source>
        <translation>Save the configuration of the selected devices excluding passwords</translation>
    </message>
    <message>
        <source>Firm&amp;ware</source>
        <translation>Firm&amp;ware</translation>
    </message>
    <message>
        <source>Update the firmware for the selected devices</source>
        <translation>Update the firmware for the selected devices</translation>
    </message>
    <message>
        <source>Show</source>
        <translation>Show</translation>
    </message>
    <message>
        <source>Show or hide the toolbar</source>
        <translation>Show or hide the toolbar</translation>
    </message>
    <message>
        <source>Alt+T</source>
        <translation>Alt+T</translation>
    </message>
    <message>
        <source>About Nembra Hub</source>
        <translation>About Nembra Hub</translation>
    </message>
    <message>
        <source>Display information about this program</source>
        <translation>Display information about this program</translation>
    </message>
    <message>
        <source>Alt+F1</source>
        <translation>Alt+F1</translation>
    </message>
    <message>
        <source>Scan options</source>
        <translation>Scan options</translation>
    </message>
    <message>
        <source>Edit scan options</source>
        <translation>Edit scan options</translation>
    </message>
    <message>
        <source>F7</source>
        <translation>F7</translation>
    </message>
    <message>
        <source>Save list</source>
        <translation>Save list</translation>
    </message>
    <message>
        <source>Save current list of devices</source>
        <translation>Save current list of devices</translation>
    </message>
    <message>
        <source>Ctrl+S</source>
        <translation>Ctrl+S</translation>
    </message>
    <message>
        <source>Remove selected</source>
        <translation>Remove selected</translation>
    </message>
    <message>
        <source>Remove the selected devices from the list</source>
        <translation>Remove the selected devices from the list</translation>
    </message>
    <message>
        <source>Del</source>
        <translation>Del</translation>
    </message>
    <message>
        <source>&amp;Resize columns</source>
        <translation>&amp;Resize columns</translation>
    </message>
    <message>
        <source>Resize the columns to fit their content</source>
        <translation>Resize the columns to fit their content</translation>
    </message>
    <message>
        <source>Auto Update</source>
        <translation>Auto Update</translation>
    </message>
    <message>
        <source>Enable or disable automatic update of list</source>
        <translation>Enable or disable automatic update of list</translation>
    </message>
    <message>
        <source>Web interface</source>
        <translation>Web interface</translation>
    </message>
    <message>
        <source>Access the web interface of the selected devices</source>
        <translation>Access the web interface of the selected devices</translation>
    </message>
    <message>
        <source>Alt+W</source>
        <translation>Alt+W</translation>
    </message>
    <message>
        <source>Confi&amp;guration</source>
        <translation>Confi&amp;guration</translation>
    </message>
    <message>
        <source>Upload a configuration file to the selected devices</source>
        <translation>Upload a configuration file to the selected devices</translation>
    </message>
    <message>
        <source>Network</source>
        <translation>Network</translation>
    </message>
    <message>
        <source>Device&apos;s network configuration</source>
        <translation>Device&apos;s network configuration</translation>
    </message>
    <message>
        <source>Edit network configuration of the selected device</source>
        <translation>Edit network configuration of the selected device</translation>
    </message>
    <message>
        <source>F3</source>
        <translation>F3</translation>
    </message>
    <message>
        <source>Apply</source>
        <translation>Apply</translation>
    </message>
    <message>
        <source>Apply the filter to the list</source>
        <translation>Apply the filter to the list</translation>
    </message>
    <message>
        <source>Show the filter</source>
        <translation>Show the filter</translation>
    </message>
    <message>
        <source>Ctrl+F</source>
        <translation>Ctrl+F</translation>
    </message>
    <message>
        <source>User &amp;login</source>
        <translation>User &amp;login</translation>
    </message>
    <message>
        <source>Enter login for the selected devices</source>
        <translation>Enter login for the selected devices</translation>
    </message>
    <message>
        <source>About &amp;Qt</source>
        <translation>About &amp;Qt</translation>
    </message>
    <message>
        <source>Display information about Qt</source>
        <translation>Display information about Qt</translation>
    </message>
    <message>
        <source>&amp;Font</source>
        <translation>&amp;Font</translation>
    </message>
    <message>
        <source>Change the font of Nembra Hub</source>
        <translation>Change the font of Nembra Hub</translation>
    </message>
    <message>
        <source>Small icons</source>
        <translation>Small icons</translation>
    </message>
    <message>
        <source>Use small sized icons</source>
        <translation>Use small sized icons</translation>
    </message>
    <message>
        <source>Normal  icons</source>
        <translation>Normal  icons</translation>
    </message>
    <message>
        <source>Use medium sized icons</source>
        <translation>Use medium sized icons</translation>
    </message>
    <message>
        <source>Large icons</source>
        <translation>Large icons</translation>
    </message>
    <message>
        <source>Use large sized icons</source>
        <translation>Use large sized icons</translation>
    </message>
    <message>
        <source>Configuration + &amp;passwords</source>
        <translation>Configuration + &amp;passwords</translation>
    </message>
    <message>
        <source>Save the configuration of the selected devices including passwords</source>
        <translation>Save the configuration of the selected devices including passwords</translation>
    </message>
    <message>
        <source>D&amp;ata (CSV format)</source>
        <translation>D&amp;ata (CSV format)</translation>
    </message>
    <message>
        <source>Download history of sensor data for the selected devices</source>
        <translation>Download history of sensor data for the selected devices</translation>
    </message>
    <message>
        <source>&amp;Reset to defaults</source>
        <translation>&amp;Reset to defaults</translation>
    </message>
    <message>
        <source>Reset configuration of Nembra Hub</source>
        <translation>Reset configuration of Nembra Hub</translation>
    </message>
    <message>
        <source>Select all</source>
        <translation>Select all</translation>
    </message>
    <message>
        <source>Select all devices</source>
        <translation>Select all devices</translation>
    </message>
    <message>
        <source>Ctrl+A</source>
        <translation>Ctrl+A</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Close</translation>
    </message>
    <message>
        <source>Close the filter</source>
        <translation>Close the filter</translation>
    </message>
    <message>
        <source>Show statusbar</source>
        <translation>Show statusbar</translation>
    </message>
    <message>
        <source>Show or hide the statusbar</source>
        <translation>Show or hide the statusbar</translation>
    </message>
    <message>
        <source>Fullscreen</source>
        <translation>Fullscreen</translation>
    </message>
    <message>
        <source>Enable or disable fullscreen mode</source>
        <translation>Enable or disable fullscreen mode</translation>
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
        <translation>UDP port %1 can&apos;t be opened, so no device can answer.
Close the program that holds it, or choose another port in the scan options (%2), and refresh (%3).</translation>
    </message>
    <message>
        <source>No device has answered yet.
Check that the devices are switched on and in the network of this computer, that no firewall holds back UDP port %1, and that this is the devices&apos; port: it is in the scan options (%2). Then refresh (%3).</source>
        <translation>No device has answered yet.
Check that the devices are switched on and in the network of this computer, that no firewall holds back UDP port %1, and that this is the devices&apos; port: it is in the scan options (%2). Then refresh (%3).</translation>
    </message>
    <message>
        <source>No device matches the filter.</source>
        <translation>No device matches the filter.</translation>
    </message>
    <message>
        <source>More tools</source>
        <translation>More tools</translation>
    </message>
    <message>
        <source>Active devices: %1/%2</source>
        <translation>Active devices: %1/%2</translation>
    </message>
    <message>
        <source>Device </source>
        <translation>Device </translation>
    </message>
    <message>
        <source> is not reachable</source>
        <translation> is not reachable</translation>
    </message>
    <message>
        <source>Really open </source>
        <translation>Really open </translation>
    </message>
    <message>
        <source> devices in browser?</source>
        <translation> devices in browser?</translation>
    </message>
    <message>
        <source>Show or hide column %1</source>
        <translation>Show or hide column %1</translation>
    </message>
    <message>
        <source>Copyright %1 ostrel GmbH</source>
        <translation>Copyright %1 ostrel GmbH</translation>
    </message>
    <message>
        <source>This software is licensed to you without charge. ostrel GmbH retains ownership of all copies of the software and reserves all rights not expressly granted to you.</source>
        <translation>This software is licensed to you without charge. ostrel GmbH retains ownership of all copies of the software and reserves all rights not expressly granted to you.</translation>
    </message>
    <message>
        <source>You may use the software without charge.</source>
        <translation>You may use the software without charge.</translation>
    </message>
    <message>
        <source>You may distribute exact copies of the software to anyone.</source>
        <translation>You may distribute exact copies of the software to anyone.</translation>
    </message>
    <message>
        <source>See the &lt;a href=&quot;%1&quot;&gt;tutorial&lt;/a&gt; for more information about how to use this software.</source>
        <translation>See the &lt;a href=&quot;%1&quot;&gt;tutorial&lt;/a&gt; for more information about how to use this software.</translation>
    </message>
    <message>
        <source>Restore the default configuration of Nembra Hub?</source>
        <translation>Restore the default configuration of Nembra Hub?</translation>
    </message>
    <message>
        <source>Error opening file </source>
        <translation>Error opening file </translation>
    </message>
    <message>
        <source> for writing</source>
        <translation> for writing</translation>
    </message>
    <message>
        <source>Error writing file </source>
        <translation>Error writing file </translation>
    </message>
    <message>
        <source>Open Directory</source>
        <translation>Open Directory</translation>
    </message>
    <message>
        <source>Really upload config to %1 devices?</source>
        <translation>Really upload config to %1 devices?</translation>
    </message>
    <message>
        <source>Devices with multiple types selected</source>
        <translation>Devices with multiple types selected</translation>
    </message>
    <message>
        <source>Devices with unknown types selected. Update anyway?</source>
        <translation>Devices with unknown types selected. Update anyway?</translation>
    </message>
    <message>
        <source>Update device?</source>
        <translation>Update device?</translation>
    </message>
    <message>
        <source>The device will restart.</source>
        <translation>The device will restart.</translation>
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
        <translation>Devices</translation>
    </message>
    <message>
        <source>Hostname</source>
        <translation>Hostname</translation>
    </message>
    <message>
        <source>Status</source>
        <translation>Status</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Cancel</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Close</translation>
    </message>
    <message>
        <source>Error for HTTP-Request: </source>
        <translation>Error for HTTP-Request: </translation>
    </message>
    <message>
        <source>Canceled</source>
        <translation>Canceled</translation>
    </message>
    <message>
        <source>Wrong HTTP Status-Code </source>
        <translation>Wrong HTTP Status-Code </translation>
    </message>
    <message>
        <source>Finished</source>
        <translation>Finished</translation>
    </message>
    <message>
        <source>Error writing file</source>
        <translation>Error writing file</translation>
    </message>
    <message>
        <source>Downloading configs.</source>
        <translation>Downloading configs.</translation>
    </message>
    <message>
        <source>Save config</source>
        <translation>Save config</translation>
    </message>
    <message>
        <source>Downloading</source>
        <translation>Downloading</translation>
    </message>
    <message>
        <source>Uploading config.</source>
        <translation>Uploading config.</translation>
    </message>
    <message>
        <source>Upload config</source>
        <translation>Upload config</translation>
    </message>
    <message>
        <source>Uploading</source>
        <translation>Uploading</translation>
    </message>
</context>
<context>
    <name>SettingsDialog</name>
    <message>
        <source>Scan options</source>
        <translation>Scan options</translation>
    </message>
    <message>
        <source>Scan UDP port</source>
        <translation>Scan UDP port</translation>
    </message>
    <message>
        <source>HTTP port</source>
        <translation>HTTP port</translation>
    </message>
    <message>
        <source>HTTPS port</source>
        <translation>HTTPS port</translation>
    </message>
    <message>
        <source>Auto update</source>
        <translation>Auto update</translation>
    </message>
    <message>
        <source>Auto update interval in seconds</source>
        <translation>Auto update interval in seconds</translation>
    </message>
    <message>
        <source>Prefer extended resolution</source>
        <translation>Prefer extended resolution</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Cancel</translation>
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
        <translation>The system has no room for another thread</translation>
    </message>
    <message>
        <source>Update Nembra Firmware</source>
        <translation>Update Nembra Firmware</translation>
    </message>
    <message>
        <source>Buffer</source>
        <translation>Buffer</translation>
    </message>
    <message>
        <source>Buffer 1</source>
        <translation>Buffer 1</translation>
    </message>
    <message>
        <source>Buffer 2</source>
        <translation>Buffer 2</translation>
    </message>
    <message>
        <source>Firmware</source>
        <translation>Firmware</translation>
    </message>
    <message>
        <source>Save Config</source>
        <translation>Save Config</translation>
    </message>
    <message>
        <source>Devices</source>
        <translation>Devices</translation>
    </message>
    <message>
        <source>Hostname</source>
        <translation>Hostname</translation>
    </message>
    <message>
        <source>Message</source>
        <translation>Message</translation>
    </message>
    <message>
        <source>Update</source>
        <translation>Update</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Close</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Cancel</translation>
    </message>
    <message>
        <source>Download the Nembra firmware here: </source>
        <translation>Download the Nembra firmware here: </translation>
    </message>
</context>
<context>
    <name>UpdateThread</name>
    <message>
        <source>Finished</source>
        <translation>Finished</translation>
    </message>
    <message>
        <source>Restoring config</source>
        <translation>Restoring config</translation>
    </message>
    <message>
        <source>Saving config</source>
        <translation>Saving config</translation>
    </message>
    <message>
        <source>Error opening file </source>
        <translation>Error opening file </translation>
    </message>
    <message>
        <source>for writing</source>
        <translation>for writing</translation>
    </message>
    <message>
        <source>Uploading firmware</source>
        <translation>Uploading firmware</translation>
    </message>
    <message>
        <source>Error opening firmware file </source>
        <translation>Error opening firmware file </translation>
    </message>
    <message>
        <source>Activating firmware</source>
        <translation>Activating firmware</translation>
    </message>
    <message>
        <source>Waiting 10 seconds</source>
        <translation>Waiting 10 seconds</translation>
    </message>
    <message>
        <source>Waiting for device</source>
        <translation>Waiting for device</translation>
    </message>
    <message>
        <source>Error for HTTP-Request: </source>
        <translation>Error for HTTP-Request: </translation>
    </message>
    <message>
        <source>Wrong HTTP Status-Code </source>
        <translation>Wrong HTTP Status-Code </translation>
    </message>
    <message>
        <source>The device sent no usable configuration</source>
        <translation>The device sent no usable configuration</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>Configfile.</source>
        <translation>Configfile.</translation>
    </message>
    <message>
        <source>directory</source>
        <translation>directory</translation>
    </message>
    <message>
        <source>Devices file.</source>
        <translation>Devices file.</translation>
    </message>
    <message>
        <source>file</source>
        <translation>file</translation>
    </message>
</context>
</TS>
