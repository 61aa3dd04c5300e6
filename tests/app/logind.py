"""logind and a desktop's screen saver, as far as the program asks them."""

import os
import select
import threading

from gi.repository import Gio, GLib

LOGIN, SAVER = "org.freedesktop.login1", "org.gnome.ScreenSaver"
INTERFACES = f"""<node><interface name="{LOGIN}.Manager"><method name="Inhibit">
    <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="s" direction="in"/>
    <arg type="s" direction="in"/><arg type="h" direction="out"/></method></interface><interface name="{SAVER}">
    <method name="GetActive"><arg type="b" direction="out"/></method></interface></node>"""


class Login:
    """Takes their places on the session bus, which is the system bus too for a program with this `environment`."""

    def __init__(self):
        address = os.environ["DBUS_SESSION_BUS_ADDRESS"]
        self.environment = {"DBUS_SYSTEM_BUS_ADDRESS": address}
        self.inhibitor = None  # the end that the machine keeps
        self.locked = False
        flags = Gio.DBusConnectionFlags
        self.bus = Gio.DBusConnection.new_for_address_sync(
            address, flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION, None, None)
        for name, interface in zip((LOGIN, SAVER), Gio.DBusNodeInfo.new_for_xml(INTERFACES).interfaces):
            self.bus.register_object("/" + name.replace(".", "/"), interface, self.answer, None, None)
            self.ask_bus("RequestName", "(su)", name, 0)
        threading.Thread(target=GLib.MainLoop().run, daemon=True).start()

    def ask_bus(self, method, signature="()", *arguments):
        return self.bus.call_sync("org.freedesktop.DBus", "/", "org.freedesktop.DBus", method,
                                  GLib.Variant(signature, arguments), None, Gio.DBusCallFlags.NONE, -1, None).unpack()[0]

    def answer(self, _bus, _sender, _path, _interface, method, _arguments, call):
        if method == "GetActive":
            call.return_value(GLib.Variant("(b)", (self.locked,)))
            return
        self.inhibitor, held = os.pipe()
        call.return_value_with_unix_fd_list(GLib.Variant("(h)", (0,)), Gio.UnixFDList.new_from_array([held]))

    def lock(self):
        self.locked = True
        self.bus.emit_signal(None, "/" + SAVER.replace(".", "/"), SAVER, "ActiveChanged", GLib.Variant("(b)", (True,)))

    def holds_sleep_up(self, deadline=0):
        """Whether the machine still has to wait before it sleeps, once that is over or the deadline is."""
        if self.inhibitor is None:
            return False
        other_end = select.poll()
        other_end.register(self.inhibitor, 0)
        return not other_end.poll(deadline * 1000)

    def sleep(self, begins):
        self.bus.emit_signal(None, "/org/freedesktop/login1", f"{LOGIN}.Manager", "PrepareForSleep",
                             GLib.Variant("(b)", (begins,)))
        self.bus.flush_sync()
