#!/usr/bin/python3
"""Accepts GNOME's "Remote desktop" dialog through the accessibility bus: "Allow remote
interaction" on, then Share. Usage: accept_remote_desktop.py [SECONDS to wait, 15]. Ends 0 when
accepted, 1 when no dialog came, 2 when it lacks its controls or stays (printing what it saw).
"""
import sys

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

TITLE = "Remote desktop"


def nodes(node, depth=0):
    yield depth, node
    for i in range(node.get_child_count()):
        child = node.get_child_at_index(i)
        if child is not None:
            yield from nodes(child, depth + 1)


def applications():
    desktop = Atspi.get_desktop(0)
    return [desktop.get_child_at_index(i) for i in range(desktop.get_child_count())]


def dialog():
    for app in applications():
        if app is None or "portal" not in (app.get_name() or ""):
            continue
        try:
            for _, node in nodes(app):
                if node.get_role() in (Atspi.Role.FRAME, Atspi.Role.WINDOW, Atspi.Role.DIALOG) \
                        and node.get_name() == TITLE:
                    return node
        except GLib.Error:
            pass  # a window that went while it was read
    return None


def act(node, names):
    for k in range(node.get_n_actions()):
        if node.get_action_name(k) in names:
            return node.do_action(k)
    return node.do_action(0)


def controls(found):
    tree = [n for _, n in nodes(found)]
    # GTK 4 shows the switch as a check box and the button as "_Share Share".
    switch = next((n for n in tree if n.get_role() in (Atspi.Role.TOGGLE_BUTTON,
                                                       Atspi.Role.CHECK_BOX)
                   and "remote interaction" in (n.get_name() or "")), None)
    share = next((n for n in tree if n.get_role() == Atspi.Role.PUSH_BUTTON
                  and "Share" in (n.get_name() or "")), None)
    return switch, share


def dump(found, outcome):
    for depth, n in nodes(found):
        print("  " * depth + "%s '%s' %s" % (n.get_role_name(), n.get_name(),
                                             [s.value_nick for s in n.get_state_set().get_states()]))
    return outcome


def checked(node):
    return node.get_state_set().contains(Atspi.StateType.CHECKED)


def main():
    Atspi.init()
    seconds = float(sys.argv[1]) if len(sys.argv) > 1 else 15
    loop = GLib.MainLoop()
    outcome = [1]
    steps = {"switch": None, "share": None, "pressed": False}

    # GTK 4 announces neither a new window nor a changed switch on the accessibility bus, so the
    # dialog is looked at every tenth of a second: the switch is turned on, Share is pressed once
    # the dialog shows the switch on (it ignores a press before), and the dialog goes.
    def end(code):
        outcome[0] = code
        loop.quit()
        return False

    def step():
        found = dialog()
        if found is None:
            return end(0) if steps["pressed"] else True
        switch, share = steps["switch"], steps["share"]
        if switch is None:
            switch, share = controls(found)
            if switch is None or share is None:
                return end(dump(found, 2))
            steps["switch"], steps["share"] = switch, share
            if not checked(switch):
                act(switch, ("activate", "toggle", "click"))
        elif checked(switch) and not steps["pressed"]:
            steps["pressed"] = act(share, ("click", "activate", "press"))
        return True

    def give_up():
        found = dialog()
        if found is not None:
            print("the dialog stayed:")
            return end(dump(found, 2))
        print("no dialog; applications:", [a.get_name() for a in applications() if a])
        return end(1)

    GLib.timeout_add(100, step)
    GLib.timeout_add(int(seconds * 1000), give_up)
    loop.run()
    sys.exit(outcome[0])


main()
