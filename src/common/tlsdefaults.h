#pragma once

/// Makes the process-wide TLS default fit for devices: no certificate is verified (a device makes its own),
/// and the protocols and key sizes of old firmware are accepted, from TLS 1.0 on. Every HTTPS peer of this
/// program is a device on the local network; nothing else may be contacted with this default.
void applyDeviceTlsDefaults();
