#pragma once

/// Has no HTTPS connection of the process verify a certificate: every peer is a device on the local network,
/// and makes its own.
void applyDeviceTlsDefaults();
