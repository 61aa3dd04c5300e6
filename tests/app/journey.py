"""Uses the program as a person does: real keys and clicks, what the screen and assistive technology show.

    class Tasks(Journey):
        def test_a_task_is_written(self):
            program = self.open_program(signed_in=True)       # in a profile of its own, at `self.service`
            self.service.page.see_ready()
            desk.press("ctrl+n")                              # once: what it leads to is asked for
            self.service.page.see("document.activeElement.id", "taskTitle")
            program.click("Close", "push button")

A journey that fails tells what its programs, the page and the service were at, and leaves a picture of the screen in the
folder BRISKO_PICTURES. Each test is an entry of ctest of its own, on a display and a bus of its own; add its file to
CMakeLists.txt.
"""

import contextlib
import functools
import json
import os
import pathlib
import pprint
import re
import subprocess
import tempfile
import unittest

from gi.repository import Atspi, Gio, GLib

from desk import DEADLINE, Box, NotYet, desk, run, until, until_equal
from service import STATE, Service

PROGRAM = os.environ["BRISKO"]
PICTURES = pathlib.Path(os.environ["BRISKO_PICTURES"])

USER, PASSWORD = "ada", "lovelace-1843"  # the account that the embedded service starts with
MENUS = ["brisko", "File", "Edit", "View", "Window", "Help"]


def fill(*texts):
    """Types into the field with the keyboard and those after it."""
    for index, text in enumerate(texts):
        if index:
            desk.press("Tab")
        desk.type(text)


@functools.cache
def accessibility():
    """The bus of assistive technology."""
    asked = Gio.bus_get_sync(Gio.BusType.SESSION).call_sync(
        "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", None, None, Gio.DBusCallFlags.NONE, -1, None)
    kind = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
    return Gio.DBusConnection.new_for_address_sync(*asked.unpack(), kind, None, None)


class Element:
    """Something in a window, as assistive technology sees it. The bus is asked itself: its library asks six times as much."""

    def __init__(self, owner, path):
        self.owner = owner
        self.path = path

    def __repr__(self):
        return f"{self.role} '{self.name}' {sorted(self.states)}"

    def call(self, interface, method, signature="()", *arguments):
        answer = accessibility().call_sync(self.owner, self.path, interface, method, GLib.Variant(signature, arguments),
                                           None, Gio.DBusCallFlags.NONE, DEADLINE * 1000, None)
        values = answer.unpack()
        return values[0] if len(values) == 1 else values

    def inside(self):
        """All that it holds, in the order of the tree, but for what goes meanwhile."""
        with contextlib.suppress(GLib.Error):
            for reference in self.call("org.a11y.atspi.Accessible", "GetChildren"):
                child = Element(*reference)
                yield child
                yield from child.inside()

    def ask_property(self, interface, name):
        return self.call("org.freedesktop.DBus.Properties", "Get", "(ss)", "org.a11y.atspi." + interface, name)

    @functools.cached_property
    def name(self):
        return self.ask_property("Accessible", "Name")

    @functools.cached_property
    def role(self):
        return Atspi.role_get_name(Atspi.Role(self.call("org.a11y.atspi.Accessible", "GetRole")))

    @functools.cached_property
    def states(self):
        low, high = self.call("org.a11y.atspi.Accessible", "GetState")
        return {Atspi.StateType(bit).value_nick for bit in range(64) if (high << 32 | low) >> bit & 1}

    @property
    def text(self):
        return self.call("org.a11y.atspi.Text", "GetText", "(ii)", 0, self.ask_property("Text", "CharacterCount"))

    @property
    def selected(self):
        """Whether some of its text is."""
        begin, end = self.call("org.a11y.atspi.Text", "GetSelection", "(i)", 0)
        return end > begin

    @property
    def box(self):
        """Inside the window's frame."""
        return Box(*self.call("org.a11y.atspi.Component", "GetExtents", "(u)", Atspi.CoordType.WINDOW))


class Ended(AssertionError):
    pass


class Program:
    """The program, started with `arguments` in `profile`, until it ends or is stopped."""

    def __init__(self, profile, *arguments, environment=None):
        self.profile = profile
        self.accessible = None
        self.log = tempfile.TemporaryFile("w+")
        self.process = subprocess.Popen([PROGRAM, "--profile", profile, *arguments], stderr=self.log,
                                        env={**os.environ, **(environment or {})})

    def again(self, *arguments):
        """Starts it a second time, as a desktop does when the person opens it or a link. Returns the status."""
        return subprocess.run([PROGRAM, "--profile", self.profile, *arguments], timeout=DEADLINE).returncode

    def stop(self):
        if self.process.poll() is None:
            self.process.terminate()
        self.process.wait(DEADLINE)

    def exit_status(self):
        return self.process.wait(DEADLINE)

    def said(self):
        """The lines on its standard error."""
        self.log.seek(0)
        return self.log.readlines()

    def complaints(self):
        """Those in which a library finds fault with the program; its web processes have their own."""
        own = rf":{self.process.pid}\).*(CRITICAL|WARNING)|==ERROR:|runtime error:"
        return [line for line in self.said() if re.search(own, line)]

    # What it shows.

    def elements(self):
        """All that its windows hold, in the order of the tree."""
        if self.process.poll() is not None:
            raise Ended(f"The program has ended with {self.process.returncode}.")
        if not self.accessible:
            bus = Element("org.freedesktop.DBus", "/org/freedesktop/DBus")
            for child in Element("org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root").inside():
                if self.process.pid == bus.call(bus.owner, "GetConnectionUnixProcessID", "(s)", child.owner):
                    self.accessible = child
                    break
            else:
                raise NotYet("it is not known to assistive technology")
        return self.accessible.inside()

    def state(self):
        """For the report on a failure."""
        try:
            return [element for element in self.elements() if element.name]
        except (AssertionError, GLib.Error, NotYet) as failure:
            return str(failure)

    def named(self, name, role=None):
        return (e for e in self.elements() if e.name == name and role in (None, e.role))

    def look(self, name, role=None, last=False):
        """The first element of that name, or the last one."""
        found = [*self.named(name, role)][-1:] if last else next(self.named(name, role), None)
        if not found:
            raise NotYet(f"no {role or 'element'} '{name}'")
        return found[0] if last else found

    def see(self, name, role=None):
        """Waits for an element of that name."""
        return until(f"'{name}'", lambda: self.look(name, role))

    def shows(self, name, role=None):
        return any(True for _ in self.named(name, role))

    def see_gone(self, name):
        until(f"'{name}' to go", lambda: not self.shows(name))

    def see_text(self, field, text):
        until_equal(f"the text of '{field}'", lambda: self.look(field).text, text)

    def see_enabled(self, button):
        """The last of that name: the form's own button comes after the one that leads to the form."""
        until(f"an enabled '{button}'", lambda: "sensitive" in self.look(button, "push button", last=True).states)

    def see_focus(self, name):
        """Waits for the keyboard to be in an element of that name."""
        until(f"the keyboard in '{name}'", lambda: any("focused" in e.states for e in self.named(name)))

    def see_window(self, title="brisko"):
        """Waits for its window or panel of that title to have the keyboard of the desktop."""
        until_equal("the active window", lambda: desk.active()[1:], (title, self.process.pid))
        # The program hears of it after the desktop; what is pressed before is lost. Dialogs do not say so.
        until(f"an active '{title}'", lambda: all("active" in e.states for e in self.named(title, "frame")))

    def windows(self, title=""):
        return desk.windows(self.process.pid, title)

    def see_no_window(self):
        until_equal("the windows", self.windows, [])

    def place(self, element):
        """The middle of an element on the screen."""
        window, title, _ = desk.active()
        box, outer = element.box, desk.box(window)
        frame = [e for e in self.named(title) if e.role in ("frame", "dialog")][-1].box
        # The window is larger than its frame by the border that it draws itself.
        return (outer.x + (outer.width - frame.width + box.width) // 2 + box.x,
                outer.y + (outer.height - frame.height + box.height) // 2 + box.y)

    def click(self, name, role=None):
        desk.click(*self.place(self.see(name, role)))

    # Its menus.

    def step_aside(self):
        """Puts the pointer where it takes no part: in the middle of the window's header."""
        box = desk.box(desk.active()[0])
        desk.move(box.x + box.width * 2 // 3, box.y + 20)

    def open_menu(self, menu):
        """Opens it with the keyboard; returns it."""
        self.step_aside()
        desk.press("F10")
        for title in MENUS:
            opened = self.see(title, "menu")
            if title == menu:
                return opened
            desk.press("Right")

    def close_menu(self, menu):
        desk.press("Escape")
        self.see_closed(menu)

    def see_closed(self, menu):
        with contextlib.suppress(Ended):  # which an item may be for
            until(f"'{menu}' to close", lambda: not self.shows(menu, "menu"))

    def choose(self, menu, item):
        """An item of a menu, with the keyboard."""
        self.choose_in(self.open_menu(menu).inside, item)
        self.see_closed(menu)

    def choose_in(self, look, item):
        """An item of what `look` finds, which is open or opens now, with the keyboard."""

        def focused():
            return next((e.name for e in look() if e.role == "menu item" and "focused" in e.states), None)

        while (name := until("an item with the keyboard", focused)) != item:
            desk.press("Down")
            until(f"the item after '{name}'", lambda: focused() not in (None, name))
        desk.press("Return")

    def click_item(self, menu, item):
        """An item of a menu, with the pointer."""
        self.click(menu, "menu item")
        frame = self.see(menu, "menu").box
        # A menu is a window of its own, and places inside it count from its corner.
        popover = until(f"the window of '{menu}'", lambda: next(
            (box for box in map(desk.box, self.windows()) if box[2:] == frame[2:]), None))
        box = self.see(item, "menu item").box
        desk.click(popover.x + box.x - frame.x + box.width // 2, popover.y + box.y - frame.y + box.height // 2)
        self.see_closed(menu)

    # What it is made of.

    def engine(self):
        """The web engine's processes that it has started: names, of which the kernel keeps 15 letters, by their ids."""
        listed = [line.split() for line in run("ps", "-e", "-o", "pid=,ppid=,comm=").splitlines()]
        ours = {str(self.process.pid)}
        for _ in range(4):  # generations: the engine's launchers stand between
            ours |= {process for process, parent, *_ in listed if parent in ours}
        return {int(process): name for process, _, name, *_ in listed if process in ours and name.startswith("WebKit")}


class Journey(unittest.TestCase):
    """A test that uses the program, in profiles of its own, at a service of its own."""

    def __init__(self, name):
        super().__init__(name)
        for part in ("setUp", name):
            # What is a plain function counts as a static method when a test is named.
            setattr(self, part, functools.partial(self.explain, getattr(self, part)))

    def explain(self, part):
        """Runs it; a failure tells what there was to be seen."""
        try:
            part()
        except Exception as failure:
            if not hasattr(failure, "__notes__"):
                failure.add_note(self.report())
            raise

    def report(self):
        PICTURES.mkdir(parents=True, exist_ok=True)
        desk.picture().save(PICTURES / f"{self.id()}.png")
        seen = {"screen": f"{PICTURES / self.id()}.png", "requests": [f"{r.method} {r.path}" for r in self.service.requests],
                "page": self.service.page.run(STATE, deadline=2)}
        for program in self.programs:
            seen[f"program {program.process.pid}"] = program.state()
            seen[f"what {program.process.pid} said"] = program.said()
        return pprint.pformat(seen, width=150)

    def setUp(self):
        # The engine's processes outlive the program for a moment, in which they may still write.
        folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.programs = []
        self.service = Service(self.folder)
        self.addCleanup(self.service.stop)
        manager = desk.start_manager()
        self.addCleanup(manager.wait, DEADLINE)
        self.addCleanup(manager.terminate)

    def open_program(self, *arguments, signed_in=False, profile="profile", environment=None):
        """Starts the program at the service, after a sign-in if so wanted, and waits for its window."""
        if signed_in:
            self.service.sign_in(self.folder / profile, USER, PASSWORD)
        program = Program(self.folder / profile, *(arguments or self.service.arguments), environment=environment)
        self.addCleanup(program.log.close)
        self.addCleanup(program.stop)
        self.programs.append(program)
        program.see_window()
        return program

    def tearDown(self):
        for program in self.programs:
            program.stop()
            self.assertEqual(program.complaints(), [])

    def cookie(self, profile="profile"):
        """That of the session which the program keeps."""
        jar = json.loads(next((self.folder / profile).glob("data/origins/*/cookies.json")).read_text())
        return "{name}={value}".format(**jar["cookies"][0])

    def sign_in(self, program, *texts, field="Password"):
        """Fills that field of a form and those after it, submits it, leaves the sheet that follows; waits for the page."""
        program.see_focus(field)
        fill(*texts)
        desk.press("Return")
        program.see_focus("Passcode")
        desk.press("Escape")
        program.see_gone("Not now")
        self.service.page.see_ready()

    def install_browser(self):
        """Makes the desktop open web addresses with a program that notes them, for the test to play the browser. Returns
        the environment in which it does."""
        self.visited = self.folder / "visited"
        browser = self.folder / "browser"
        browser.write_text(f'#!/bin/sh\necho "$1" >>{self.visited}\n')
        browser.chmod(0o700)
        (applications := self.folder / "share" / "applications").mkdir(parents=True)
        (applications / "browser.desktop").write_text(
            f"[Desktop Entry]\nType=Application\nName=Browser\nExec={browser} %u\nMimeType=x-scheme-handler/https;\n")
        (applications / "mimeapps.list").write_text("[Default Applications]\nx-scheme-handler/https=browser.desktop\n")
        return {"XDG_DATA_HOME": str(applications.parent)}

    def visits(self):
        """The addresses that the browser has been sent to."""
        return self.visited.read_text().split() if self.visited.exists() else []

    def see_visits(self, *addresses):
        until_equal("the addresses in the browser", self.visits, list(addresses))
