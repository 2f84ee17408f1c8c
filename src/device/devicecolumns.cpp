#include "device/devicecolumns.h"

#include <QtGlobal>

// Marked for translation in the context in which a device's texts are shown; the keys themselves stay
// English.
const std::array<DeviceColumn, Column::Count> deviceColumns{{
    {QT_TRANSLATE_NOOP("Device", "System name"), nullptr, false},
    {QT_TRANSLATE_NOOP("Device", "IP"), nullptr, false},
    {QT_TRANSLATE_NOOP("Device", "MAC"), nullptr, false},
    {QT_TRANSLATE_NOOP("Device", "First Seen"), nullptr, true},
    {QT_TRANSLATE_NOOP("Device", "Last Seen"), nullptr, true},
    {QT_TRANSLATE_NOOP("Device", "Firmware Manufacturer"), "{{fw_manufacturer}}", true},
    {QT_TRANSLATE_NOOP("Device", "Firmware Name"), "{{fw_name}}", true},
    {QT_TRANSLATE_NOOP("Device", "Version"), "{{fw_version}}", true},
    {QT_TRANSLATE_NOOP("Device", "Type"), nullptr, true},
    {QT_TRANSLATE_NOOP("Device", "Sensor 1"), nullptr, true},
    {QT_TRANSLATE_NOOP("Device", "Sensor 2"), nullptr, true},
    {QT_TRANSLATE_NOOP("Device", "Sensor 3"), nullptr, true},
    {QT_TRANSLATE_NOOP("Device", "Sensor 4"), nullptr, true},
    {QT_TRANSLATE_NOOP("Device", "Uptime"), nullptr, true},
    {QT_TRANSLATE_NOOP("Device", "Date"), "{{sysdate}}", true},
    {QT_TRANSLATE_NOOP("Device", "Time"), "{{systime}}", true},
    {QT_TRANSLATE_NOOP("Device", "Location"), "{{syslocation}}", true},
    {QT_TRANSLATE_NOOP("Device", "Contact"), "{{syscontact}}", true},
    {QT_TRANSLATE_NOOP("Device", "WLAN SSID"),
     "{%for netiftab%}{%if loop.index == 2%}{{wlan_name}}{%endif%}{%endfor%}", true},
    {QT_TRANSLATE_NOOP("Device", "Network Interface"), "{{netif}}", true},
    {QT_TRANSLATE_NOOP("Device", "HTTP Type"), nullptr, true},
    {QT_TRANSLATE_NOOP("Device", "Status"), nullptr, true},
    {QT_TRANSLATE_NOOP("Device", "Login User"), "{{login_user}}", true},
    {QT_TRANSLATE_NOOP("Device", "Access Rights"), nullptr, true},
    {QT_TRANSLATE_NOOP("Device", "Memory usage"), "{{memusage}}", true},
    {QT_TRANSLATE_NOOP("Device", "History start"), nullptr, true},
    {QT_TRANSLATE_NOOP("Device", "History usage"), "{{histo_usage}}", true},
}};
