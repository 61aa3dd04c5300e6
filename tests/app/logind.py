"""logind and a desktop's screen saver, as far as the program asks them."""

import os
import select
import threading

from gi.repository import Gio, GLib

from desktop import DEADLINE

NAME = "org.freedesktop.login1"
SAVER = "org.gnome.ScreenSaver"
PATH = "/org/freedesktop/login1"
MANAGER = "org.freedesktop.login1.Manager"
INTERFACE = f"""<node><interface name="{MANAGER}"><method name="Inhibit">
    <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="s" direction="in"/>
    <arg type="s" direction="in"/><arg type="h" direction="out"/></method></interface><interface name="{SAVER}">
    <method name="GetActive"><arg type="b" direction="out"/></method></interface></node>"""


class Login:
    """Takes their places on the session bus, which is the system bus too for a program with this `environment`."""

    def __init__(self):
        address = os.environ["DBUS_SESSION_BUS_ADDRESS"]
        self.environment = {"DBUS_SYSTEM_BUS_ADDRESS": address}
        self.inhibitor = None
        self.locked = False
        self.context = GLib.MainContext()
        self.loop = GLib.MainLoop(self.context)
        self.bus = Gio.DBusConnection.new_for_address_sync(
            address, Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION,
            None, None)
        self.thread = threading.Thread(target=self.serve, daemon=True)
        self.thread.start()

    def serve(self):
        self.context.push_thread_default()
        manager, saver = Gio.DBusNodeInfo.new_for_xml(INTERFACE).interfaces
        self.bus.register_object(PATH, manager, self.inhibit, None, None)
        self.bus.register_object("/" + SAVER.replace(".", "/"), saver, self.get_active, None, None)
        for name in (NAME, SAVER):
            self.bus.call_sync("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "RequestName",
                               GLib.Variant("(su)", (name, 0)), None, Gio.DBusCallFlags.NONE, -1, None)
        self.loop.run()

    def inhibit(self, _bus, _sender, _path, _interface, _method, _arguments, call):
        self.inhibitor, held = os.pipe()
        files = Gio.UnixFDList.new()
        files.append(held)
        os.close(held)
        call.return_value_with_unix_fd_list(GLib.Variant("(h)", (0,)), files)

    def get_active(self, _bus, _sender, _path, _interface, _method, _arguments, call):
        call.return_value(GLib.Variant("(b)", (self.locked,)))

    def stop(self):
        self.loop.quit()
        self.thread.join(DEADLINE)
        self.bus.close_sync()

    def held(self):
        """Whether the machine has to wait before it sleeps."""
        return self.inhibitor is not None and not self.is_released(0)

    def is_released(self, deadline=DEADLINE):
        """Waits for the inhibitor to be given back."""
        other_end = select.poll()
        other_end.register(self.inhibitor, 0)
        return bool(other_end.poll(deadline * 1000))

    def prepare_for_sleep(self, begins):
        self.bus.emit_signal(None, PATH, MANAGER, "PrepareForSleep", GLib.Variant("(b)", (begins,)))
        self.bus.flush_sync()
