'''A python-dbusmock systemd-localed, where Mutter without GNOME Shell reads its keyboard layout
(parameter "layout", German unless given).
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
