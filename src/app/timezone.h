#pragma once

/// Has the C library read the machine's time zone once. Without TZ it looks after the file /etc/localtime
/// with every single time that is converted or compared, which makes a long list slow to fill and to sort by
/// time. A zone that is changed later shows after the next start. Before any other thread is started.
void pinTimeZone();
