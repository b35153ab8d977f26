'''A python-dbusmock template: systemd-localed's keyboard settings, for a headless Mutter.

Mutter without GNOME Shell takes its keyboard layout from org.freedesktop.locale1 on the system
bus; the tests give it a system bus of its own with this in front. Parameter: "layout", the XKB
layout (German unless given).
'''

import dbus

BUS_NAME = 'org.freedesktop.locale1'
MAIN_OBJ = '/org/freedesktop/locale1'
MAIN_IFACE = 'org.freedesktop.locale1'
SYSTEM_BUS = True


def load(mock, parameters):
    mock.AddProperties(MAIN_IFACE, dbus.Dictionary({
        'Locale': dbus.Array(['LANG=C.UTF-8'], signature='s'),
        'VConsoleKeymap': parameters.get('layout', 'de'),
        'VConsoleKeymapToggle': '',
        'X11Layout': parameters.get('layout', 'de'),
        'X11Model': 'pc105',
        'X11Variant': '',
        'X11Options': '',
    }, signature='sv'))
