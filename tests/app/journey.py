# Uses the program as a person does: real keys and clicks, what the screen and assistive technology show.
#
#     class Tasks(Journey):
#         def test_a_task_is_written(self):
#             self.open_page()                                  # in a profile of its own, at `self.service`
#             desk.press("ctrl+n")                              # once: what it leads to is asked for
#             self.page.see("document.activeElement.id", "taskTitle")
#             self.program.see("Close", "push button", "sensitive")  # a name, and what else is true of it
#
# A journey that fails tells what its programs, the page and the service were at, and leaves a picture of the screen in the
# folder BRISKO_PICTURES. Each test is an entry of ctest of its own, on a display, a bus and in a home of its own; add its
# file to CMakeLists.txt.

import contextlib
import functools
import os
import pathlib
import pprint
import re
import subprocess
import sys
import tempfile
import unittest

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, Gio, GLib  # noqa: E402
from PIL import ImageGrab  # noqa: E402

import desk  # noqa: E402
from desk import DEADLINE, Box, NotYet, until  # noqa: E402
from service import STATE, Service  # noqa: E402

PROGRAM = os.environ["BRISKO"]
PICTURES = pathlib.Path(os.environ["BRISKO_PICTURES"])

USER, PASSWORD = "ada", "lovelace-1843"  # the account that the embedded service starts with
IDENTIFIER = "Username or email"
MENUS = ["brisko", "File", "Edit", "View", "Window", "Help"]
SESSION = Gio.bus_get_sync(Gio.BusType.SESSION)
CLIENT = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION


def ask(owner, path, method, signature="()", *arguments, bus=SESSION):
    interface, _, name = method.rpartition(".")
    values = bus.call_sync(owner, path, interface, name, GLib.Variant(signature, arguments), None,
                           Gio.DBusCallFlags.NONE, DEADLINE * 1000, None).unpack()
    return values[0] if len(values) == 1 else values


def ask_bus(method, signature="()", *arguments, bus=SESSION):
    return ask("org.freedesktop.DBus", "/", "org.freedesktop.DBus." + method, signature, *arguments, bus=bus)


ACCESSIBILITY = Gio.DBusConnection.new_for_address_sync(
    ask("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus.GetAddress"), CLIENT, None, None)


# Something in a window, as assistive technology sees it. The bus is asked itself: its library asks six times as much.
class Element:
    def __init__(self, owner="org.a11y.atspi.Registry", path="/org/a11y/atspi/accessible/root"):
        self.owner = owner
        self.path = path

    def __repr__(self):
        return f"'{self.name}' {sorted(self.traits)}"

    def call(self, method, signature="()", *arguments):
        return ask(self.owner, self.path, "org.a11y.atspi." + method, signature, *arguments, bus=ACCESSIBILITY)

    # All that it holds, in the order of the tree, but for what goes meanwhile.
    def inside(self):
        with contextlib.suppress(GLib.Error):
            for reference in self.call("Accessible.GetChildren"):
                child = Element(*reference)
                yield child
                yield from child.inside()

    def told(self, name):
        return ask(self.owner, self.path, "org.freedesktop.DBus.Properties.Get", "(ss)",
                   "org.a11y.atspi.Accessible", name, bus=ACCESSIBILITY)

    @functools.cached_property
    def name(self):
        return self.told("Name")

    # Its role and its states.
    @functools.cached_property
    def traits(self):
        low, high = self.call("Accessible.GetState")
        return {Atspi.role_get_name(Atspi.Role(self.call("Accessible.GetRole")))} | {
            Atspi.StateType(bit).value_nick for bit in range(64) if (high << 32 | low) >> bit & 1}

    @property
    def text(self):
        return self.call("Text.GetText", "(ii)", 0, 1 << 30)

    # Inside the window's frame.
    @property
    def box(self):
        return Box(*self.call("Component.GetExtents", "(u)", Atspi.CoordType.WINDOW))


# The program, started with `arguments` in `profile`, until it ends or is stopped.
class Program:
    def __init__(self, profile, *arguments):
        self.command = [PROGRAM, "--profile", profile]
        self.accessible = None
        self.log = tempfile.TemporaryFile("w+")
        self.process = subprocess.Popen([*self.command, *arguments], stderr=self.log, cwd=profile.parent)

    # Starts it a second time, as a desktop does when the person opens it or a link.
    def again(self, *arguments):
        desk.run(*self.command, *arguments)

    # Returns the status.
    def quit(self):
        desk.press("ctrl+q")
        return self.process.wait(DEADLINE)

    # The lines on its standard error.
    def said(self):
        self.log.seek(0)
        return self.log.readlines()

    # What it shows.

    # All that its windows hold, in the order of the tree.
    def elements(self):
        if self.process.poll() is not None:
            raise AssertionError(f"The program has ended with {self.process.returncode}.")
        if not self.accessible:
            self.accessible = next((one for one in Element().inside() if self.process.pid == ask_bus(
                "GetConnectionUnixProcessID", "(s)", one.owner, bus=ACCESSIBILITY)), None)
            if not self.accessible:
                raise NotYet("the program is not known to assistive technology")
        return self.accessible.inside()

    # The first element of that name of which the rest is true.
    def look(self, name, *traits):
        named = []
        for element in self.elements():
            if element.name == name:
                if element.traits.issuperset(traits):
                    return element
                named.append(element)
        raise NotYet(f"no such '{name}' but {named}")

    def shows(self, name, *traits):
        with contextlib.suppress(NotYet):
            return bool(self.look(name, *traits))

    # Waits for an element of that name of which the rest is true.
    def see(self, name, *traits):
        return until(" ".join([f"'{name}'", *traits]), lambda: self.look(name, *traits))

    def see_focus(self, name):
        self.see(name, "focused")

    def see_gone(self, name, *traits):
        until(f"'{name}' to go", lambda: not self.shows(name, *traits))

    def see_text(self, field, text):
        until(f"the text of '{field}'", lambda: self.look(field).text, text)

    # Waits for its window or panel of that title to have the keyboard of the desktop.
    def see_window(self, title="brisko"):
        # The desktop may name one that has gone until another one comes.
        until("the active window", lambda: (*desk.active()[1:], desk.active()[0] in self.windows()),
              (title, self.process.pid, True))
        # The program hears of it after the desktop; what is pressed before is lost. Dialogs do not say so.
        until(f"an active '{title}'", lambda: not self.shows(title, "frame") or self.look(title, "frame", "active"))

    def windows(self):
        return desk.windows("--pid", self.process.pid, "--name", "")

    def see_no_window(self):
        until("the windows", self.windows, [])

    # The middle of an element on the screen.
    def place(self, element):
        window, title, _ = desk.active()
        box, outer = element.box, desk.box(window)
        frame = [e for e in self.elements() if e.name == title and e.traits & {"frame", "dialog"}][-1].box
        # The window is larger than its frame by the border that it draws itself.
        return (outer.x + (outer.width - frame.width + box.width) // 2 + box.x,
                outer.y + (outer.height - frame.height + box.height) // 2 + box.y)

    def click(self, name, *traits):
        desk.click(*self.place(self.see(name, *traits)))

    # Its menus, with the keyboard.

    # Returns the menu.
    def open_menu(self, menu):
        # The pointer takes no part in the middle of the window's header.
        box = desk.box(desk.active()[0])
        desk.xdotool("mousemove", box.x + box.width * 2 // 3, box.y + 20)
        desk.press("F10")
        for title in MENUS:
            opened = self.see(title, "menu")
            if title == menu:
                return opened
            desk.press("Right")

    # An item of a menu.
    def choose(self, menu, item):
        self.choose_in(self.open_menu(menu).inside, item)
        self.see_gone(menu, "menu")

    # An item of what `look` finds, which is open or opens now.
    def choose_in(self, look, item):
        def focused():
            return next((e.name for e in look() if e.traits >= {"menu item", "focused"}), None)

        while (name := until("an item with the keyboard", focused)) != item:
            desk.press("Down")
            until(f"the item after '{name}'", lambda: focused() not in (None, name))
        desk.press("Return")

    # The web engine's processes on this desktop: names, of which the kernel keeps 15 letters, by their ids.
    def engine(self):
        listed = [line.split() for line in desk.run("ps", "-e", "-o", "pid=,pgid=,comm=").splitlines()]
        return {int(process): name for process, group, name, *_ in listed
                if int(group) == os.getpgrp() and name.startswith("WebKit")}


# A test that uses the program, in profiles of its own, at a service of its own.
class Journey(unittest.TestCase):
    def setUp(self):
        # The engine's processes outlive the program for a moment, in which they may still write.
        folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.service = Service(self.folder)
        self.page = self.service.page
        self.addCleanup(self.service.stop)
        self.begin("openbox")
        until("the window manager", lambda: desk.xdotool("get_desktop"))

    # Starts another program that ends with the journey.
    def begin(self, *words, **options):
        process = subprocess.Popen(words, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, **options)
        self.addCleanup(process.wait, DEADLINE)
        self.addCleanup(process.terminate)
        return process

    # Makes the desktop open web and mail addresses with a program that notes them, for the test to play the browser.
    def install_browser(self):
        self.visited, browser = self.folder / "visited", self.folder / "browser"
        self.visited.touch()
        browser.write_text(f'#!/bin/sh\necho "$1" >>{self.visited}\n')
        browser.chmod(0o700)
        (applications := pathlib.Path(os.environ["XDG_DATA_HOME"]) / "applications").mkdir(parents=True, exist_ok=True)
        (applications / "browser.desktop").write_text(
            f"[Desktop Entry]\nType=Application\nName=Browser\nExec={browser} %u\nMimeType=x-scheme-handler/https;x-scheme-handler/mailto;\n")
        (applications / "mimeapps.list").write_text("[Default Applications]\nx-scheme-handler/https=browser.desktop\n"
                                                    "x-scheme-handler/mailto=browser.desktop\n")

    # Waits for the browser to have been sent to these addresses.
    def see_visits(self, *addresses):
        until("the addresses in the browser", lambda: self.visited.read_text().split(), [*addresses])

    # Starts the program at the service and waits for its window, and for the keyboard to be in that field if it is told.
    def open_program(self, focus=None, profile="profile"):
        self.program = Program(self.folder / profile, *self.service.arguments)
        self.addCleanup(self.end, self.program)
        self.program.see_window()
        self.window = desk.active()[0]
        if focus:
            self.program.see_focus(focus)

    # Starts it and signs in.
    def open_page(self, **options):
        self.open_program(**options)
        self.sign_in(USER, PASSWORD, field=IDENTIFIER)

    # Fills that field of a form and those after it, submits it, leaves the sheet that follows; waits for the page.
    def sign_in(self, *texts, field="Password"):
        self.program.see_focus(field)
        desk.submit(*texts)
        self.program.see_focus("Passcode")
        desk.press("Escape")
        self.program.see_gone("Not now")
        self.page.see_ready()

    # Libraries find no fault with it; its web processes have their own.
    def end(self, program):
        if not self._outcome.result.wasSuccessful():
            self.report(program)
        program.process.terminate()
        program.process.wait(DEADLINE)
        own = rf":{program.process.pid}\).*(CRITICAL|WARNING)|==ERROR:|runtime error:"
        complaints = [line for line in program.said() if re.search(own, line)]
        program.log.close()
        self.assertEqual(complaints, [])

    def report(self, program):
        PICTURES.mkdir(parents=True, exist_ok=True)
        picture = PICTURES / f"{self.id()}.{program.process.pid}.png"
        ImageGrab.grab().save(picture)
        for look in (lambda: picture, program.said, lambda: [f"{r.method} {r.path}" for r in self.service.requests],
                     lambda: self.page.ask(STATE, deadline=2), lambda: [e for e in program.elements() if e.name]):
            try:
                pprint.pprint(look(), sys.stderr, width=150)
            except (AssertionError, GLib.Error, NotYet) as failure:
                print(repr(failure), file=sys.stderr)
