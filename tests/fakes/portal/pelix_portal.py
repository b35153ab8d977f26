'''A python-dbusmock portal backend with RemoteDesktop and GlobalShortcuts, found through
XDG_DESKTOP_PORTAL_DIR=<this folder>/portals and XDG_CURRENT_DESKTOP=pelixtest. Parameters:
"start_response" (0 granted, 1 cancelled); "bind_in_create", shortcuts bound at CreateSession
(KDE 5.27). CloseSessions() ends every session; Shortcut(id, down) presses or lets go of one.
'''

import dbus

from dbusmock import MOCK_IFACE

BUS_NAME = 'org.freedesktop.impl.portal.desktop.pelixtest'
MAIN_OBJ = '/org/freedesktop/portal/desktop'
MAIN_IFACE = 'org.freedesktop.impl.portal.RemoteDesktop'
SYSTEM_BUS = False
SESSION_IFACE = 'org.freedesktop.impl.portal.Session'
SHORTCUTS_IFACE = 'org.freedesktop.impl.portal.GlobalShortcuts'


def load(mock, parameters):
    mock.sessions = []
    granted = 'ret = (dbus.UInt32(0), dbus.Dictionary({}, signature="sv"))'
    mock.AddMethods(MAIN_IFACE, [
        ('CreateSession', 'oosa{sv}', 'ua{sv}',
         'self.AddObject(args[1], "%s", {}, [("Close", "", "", "")])\n'
         'self.sessions.append(args[1])\n' % SESSION_IFACE + granted),
        ('SelectDevices', 'oosa{sv}', 'ua{sv}', granted),
        ('Start', 'oossa{sv}', 'ua{sv}',
         'ret = (dbus.UInt32(%d), dbus.Dictionary({"devices": dbus.UInt32(1)}, signature="sv"))'
         % int(parameters.get('start_response', 0))),
        ('NotifyKeyboardKeysym', 'oa{sv}iu', '', ''),
        ('NotifyKeyboardKeycode', 'oa{sv}iu', '', ''),
    ])
    mock.AddProperty(MAIN_IFACE, 'AvailableDeviceTypes', dbus.UInt32(7))
    mock.AddProperty(MAIN_IFACE, 'version', dbus.UInt32(1))

    mock.bound = {}
    mock.shortcut_sessions = []
    listed = ('ret = (dbus.UInt32(0), dbus.Dictionary({"shortcuts": dbus.Array('
              'self.bound.get(args[1], []), signature="(sa{sv})")}, signature="sv"))')
    create = ('self.AddObject(args[1], "%s", {}, [("Close", "", "", "")])\n'
              'self.shortcut_sessions.append(args[1])\n' % SESSION_IFACE)
    if parameters.get('bind_in_create', False):
        create += 'self.bound[args[1]] = list(args[3].get("shortcuts", []))\n'
    mock.AddMethods(SHORTCUTS_IFACE, [
        ('CreateSession', 'oosa{sv}', 'ua{sv}', create + granted),
        ('BindShortcuts', 'ooa(sa{sv})sa{sv}', 'ua{sv}',
         'self.bound[args[1]] = list(args[2])\n' + listed),
        ('ListShortcuts', 'oo', 'ua{sv}', listed),
    ])
    mock.AddProperty(SHORTCUTS_IFACE, 'version', dbus.UInt32(1))


@dbus.service.method(MOCK_IFACE, in_signature='', out_signature='')
def CloseSessions(self):
    '''Ends every session, as a desktop does when the user stops the sharing.'''
    import dbusmock.mockobject
    for path in self.sessions:
        dbusmock.mockobject.objects[path].EmitSignal(SESSION_IFACE, 'Closed', '', [])
    self.sessions = []


@dbus.service.method(MOCK_IFACE, in_signature='sb', out_signature='')
def Shortcut(self, shortcut_id, down):
    '''Presses (down) or lets go of a bound shortcut, in every shortcuts session.'''
    for path in self.shortcut_sessions:
        if any(str(bound[0]) == shortcut_id for bound in self.bound.get(path, [])):
            self.EmitSignal(SHORTCUTS_IFACE, 'Activated' if down else 'Deactivated', 'osta{sv}',
                            [dbus.ObjectPath(path), shortcut_id, dbus.UInt64(0),
                             dbus.Dictionary({}, signature='sv')])
