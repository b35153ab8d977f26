'''A python-dbusmock portal *frontend* with RemoteDesktop version 2, which restores sessions
(Debian 12's is version 1). Everything is granted; Start hands out "token-1", "token-2", ...
Requests answer on the caller's request object: the test first calls SetSender(unique name).
'''

import dbus

from dbusmock import MOCK_IFACE

BUS_NAME = 'org.freedesktop.portal.Desktop'
MAIN_OBJ = '/org/freedesktop/portal/desktop'
MAIN_IFACE = 'org.freedesktop.portal.RemoteDesktop'
SYSTEM_BUS = False


def respond(results):
    return ('import dbusmock.mockobject\n'
            'path = "/org/freedesktop/portal/desktop/request/%%s/%%s" %% '
            '(self.sender, args[-1]["handle_token"])\n'
            'self.AddObject(path, "org.freedesktop.portal.Request", {}, [])\n'
            'dbusmock.mockobject.objects[path].EmitSignal("org.freedesktop.portal.Request", '
            '"Response", "ua{sv}", [dbus.UInt32(0), dbus.Dictionary(%s, signature="sv")])\n'
            'ret = dbus.ObjectPath(path)\n' % results)


def load(mock, parameters):
    mock.sender = ''
    mock.tokens = 0
    mock.AddProperty(MAIN_IFACE, 'version', dbus.UInt32(2))
    mock.AddProperty(MAIN_IFACE, 'AvailableDeviceTypes', dbus.UInt32(7))
    mock.AddMethods(MAIN_IFACE, [
        ('CreateSession', 'a{sv}', 'o',
         respond('{"session_handle": "/org/freedesktop/portal/desktop/session/%s/pelix" '
                 '% self.sender}')),
        ('SelectDevices', 'oa{sv}', 'o', respond('{}')),
        ('Start', 'osa{sv}', 'o',
         'self.tokens += 1\n' +
         respond('{"devices": dbus.UInt32(1), "restore_token": "token-%d" % self.tokens}')),
        ('NotifyKeyboardKeysym', 'oa{sv}iu', '', ''),
    ])


@dbus.service.method(MOCK_IFACE, in_signature='s', out_signature='')
def SetSender(self, sender):
    '''The caller's unique name as request paths spell it (":1.5" is "1_5").'''
    self.sender = sender
