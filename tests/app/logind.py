# logind and a desktop's screen saver, as far as the program asks them.

import os
import select
import threading

from gi.repository import Gio, GLib

from journey import SESSION, ask_bus

LOGIN, SAVER = "org.freedesktop.login1", "org.gnome.ScreenSaver"
INTERFACES = f"""<node><interface name="{LOGIN}.Manager"><method name="Inhibit">
    <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="s" direction="in"/>
    <arg type="s" direction="in"/><arg type="h" direction="out"/></method></interface><interface name="{SAVER}">
    <method name="GetActive"><arg type="b" direction="out"/></method></interface></node>"""


# Takes their places on the session bus, which is from now on the system bus too for what is started.
class Login:
    def __init__(self):
        os.environ["DBUS_SYSTEM_BUS_ADDRESS"] = os.environ["DBUS_SESSION_BUS_ADDRESS"]
        self.inhibitor = None  # the end that the machine keeps
        self.locked = False
        for name, interface in zip((LOGIN, SAVER), Gio.DBusNodeInfo.new_for_xml(INTERFACES).interfaces):
            SESSION.register_object("/" + name.replace(".", "/"), interface, self.answer, None, None)
            ask_bus("RequestName", "(su)", name, 0)
        threading.Thread(target=GLib.MainLoop().run, daemon=True).start()

    def answer(self, _bus, _sender, _path, _interface, method, _arguments, call):
        if method == "GetActive":
            call.return_value(GLib.Variant("(b)", (self.locked,)))
            return
        self.inhibitor, held = os.pipe()
        call.return_value_with_unix_fd_list(GLib.Variant("(h)", (0,)), Gio.UnixFDList.new_from_array([held]))

    def lock(self):
        self.locked = True
        SESSION.emit_signal(None, "/org/gnome/ScreenSaver", SAVER, "ActiveChanged", GLib.Variant("(b)", (True,)))

    def sleep(self, begins):
        SESSION.emit_signal(None, "/org/freedesktop/login1", LOGIN + ".Manager", "PrepareForSleep",
                            GLib.Variant("(b)", (begins,)))
        SESSION.flush_sync()

    # Whether the machine still has to wait before it sleeps, once that is over or the deadline is.
    def holds_sleep_up(self, deadline=0):
        if self.inhibitor is None:
            return False
        other_end = select.poll()
        other_end.register(self.inhibitor, 0)
        return not other_end.poll(deadline * 1000)
