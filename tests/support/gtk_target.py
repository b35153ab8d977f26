#!/usr/bin/python3
"""A GTK 3 window with one text entry that speaks the typing target's protocol (typing_target.cpp)
on standard input and output. Started by the desktop as an application (`--report SOCKET [LINK]`,
a default browser), it says the same lines to SOCKET, "link <base64>" first, and reads nothing.
"""
import base64
import queue
import socket
import sys
import threading

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import GLib, Gtk  # noqa: E402


report = None
if len(sys.argv) > 2 and sys.argv[1] == "--report":
    report = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    report.connect(sys.argv[2])


def write_lines():
    while (line := lines.get()) is not None:
        if report:
            report.sendall((line + "\n").encode())
        else:
            sys.stdout.write(line + "\n")
            sys.stdout.flush()


# The lines go out on a thread of their own: a reader busy elsewhere (a benchmark typing) must
# not stop the window in a full pipe, where it would stop taking its keys too.
lines = queue.SimpleQueue()
writer = threading.Thread(target=write_lines, daemon=True)
writer.start()


def say(line):
    lines.put(line)


def encoded(text):
    return base64.b64encode(text.encode()).decode()


if report and len(sys.argv) > 3:
    say("link " + encoded(sys.argv[3]))


GLib.set_prgname("gtk-target")
window = Gtk.Window(title="GTK target")
window.set_default_size(500, 80)
entry = Gtk.Entry()
entry.connect(
    "changed",
    lambda e: say("text " + encoded(e.get_text())))
entry.connect("activate", lambda e: say("return " + encoded(e.get_text())))
window.connect("focus-in-event", lambda *_: say("ready") or False)
window.connect("destroy", Gtk.main_quit)
window.add(entry)
window.show_all()
entry.grab_focus()


def command(channel, condition):
    line = channel.readline()
    if not line:
        Gtk.main_quit()
        return False
    word = line.strip()
    if word == "clear":
        entry.set_text("")
        say("cleared")
    elif word == "focus":
        window.present()
        entry.grab_focus()
        if window.has_toplevel_focus():
            say("ready")
    return True


if not report:
    GLib.io_add_watch(GLib.IOChannel.unix_new(sys.stdin.fileno()), GLib.IO_IN | GLib.IO_HUP,
                      command)
Gtk.main()
lines.put(None)
writer.join(2)
