'''A python-dbusmock template: a desktop portal backend with RemoteDesktop, for the tests.

The real xdg-desktop-portal frontend is pointed at it with XDG_DESKTOP_PORTAL_DIR=<this
folder>/portals and XDG_CURRENT_DESKTOP=pelixtest. Parameters: "start_response", the code Start
answers with (0 granted, 1 the user cancelled). The test reads the keys sent with the mock's
GetMethodCalls("NotifyKeyboardKeysym"), and ends every session as the desktop would with
CloseSessions().
'''

import dbus

from dbusmock import MOCK_IFACE

BUS_NAME = 'org.freedesktop.impl.portal.desktop.pelixtest'
MAIN_OBJ = '/org/freedesktop/portal/desktop'
MAIN_IFACE = 'org.freedesktop.impl.portal.RemoteDesktop'
SYSTEM_BUS = False
SESSION_IFACE = 'org.freedesktop.impl.portal.Session'


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


@dbus.service.method(MOCK_IFACE, in_signature='', out_signature='')
def CloseSessions(self):
    '''Ends every session, as a desktop does when the user stops the sharing.'''
    import dbusmock.mockobject
    for path in self.sessions:
        dbusmock.mockobject.objects[path].EmitSignal(SESSION_IFACE, 'Closed', '', [])
    self.sessions = []
