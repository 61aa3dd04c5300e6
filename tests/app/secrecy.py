# Tries to see or to reach something of the page while the window is locked: with the keyboard, the pointer, the
# clipboard, links and assistive technology. Looks for the person's secrets where the program leaves something.

import os
import pathlib
import re
import subprocess

from gi.repository import GLib

import desk
from desk import until
from journey import ACCESSIBILITY, PASSWORD, USER, Element, ask_bus
from locking import LOGIN, PASSCODE, LockJourney

SECRET = "the analytical engine weaves algebraic patterns"  # what is short is not found where it has been
PAGE = """<style>body { background: linear-gradient(red, yellow) } input, p { font-size: 40px }</style>
    <input id=note value='Secret note' aria-label='Secret field' autofocus><p draggable=true title='Secret tip'>Secret plan</p>
    <button id=told onclick="alert('Secret told')">1</button> <button id=files onclick="file.click()">2</button>
    <input id=file type=file hidden>
    <script>
        window.heard = [];
        for (const type of ['keydown', 'mousedown', 'mousemove', 'wheel', 'dragover', 'paste', 'copy', 'cut', 'input',
                            'contextmenu', 'focusin'])
            addEventListener(type, (event) => event.isTrusted && heard.push(`${type} ${event.key ?? ''}`), true);
    </script>"""


class Secrecy(LockJourney):
    def setUp(self):
        super().setUp()
        self.service.show("/", PAGE)
        self.service.scripted[LOGIN] = lambda _: self.service.send("POST", LOGIN, {"username": USER, "password": PASSWORD})
        self.move_away()
        self.sign_in_with_passcode(SECRET)
        until("the page", lambda: len(self.ground()) > 2)

    def move_away(self):
        desk.xdotool("mousemove", desk.SCREEN.width - 1, desk.SCREEN.height - 1)

    # Neither on the screen, nor in another window, nor on offer, nor to assistive technology, whoever tells it.
    def assert_nothing_shows(self):
        self.see_locked()
        until("the number of colors beside the lock screen", lambda: len(self.ground()), 1)
        self.assertEqual(self.program.windows(), [self.window])
        self.assertEqual(desk.selection("CLIPBOARD") + desk.selection("PRIMARY"), "")
        self.assertEqual([e for e in Element().inside() if "Secret" in e.name], [])
        # What is known to the bus alone, as a process of the engine would be, can be read too by who looks for it.
        known = {ask_bus("GetConnectionUnixProcessID", "(s)", name, bus=ACCESSIBILITY): name
                 for name in ask_bus("ListNames", bus=ACCESSIBILITY) if name.startswith(":")}
        registry = ask_bus("GetConnectionUnixProcessID", "(s)", Element().owner, bus=ACCESSIBILITY)
        self.assertEqual(known.keys() - {os.getpid(), self.program.process.pid, registry}, set())

    def heard(self):
        return self.page.ask("return heard.splice(0)")

    def test_nobody_sees_or_reaches_the_page_behind_the_lock(self):
        self.page.see("document.activeElement.id", "note")
        desk.press("ctrl+a")
        until("the selection", lambda: desk.selection("PRIMARY"), "Secret note")
        page = self.program.look("WebKitWebView")
        self.lock()
        self.assert_nothing_shows()
        self.heard()

        desk.press("ctrl+a", "ctrl+c", "ctrl+Insert", "ctrl+x", "ctrl+n", "ctrl+k", "ctrl+comma", "F5", "ctrl+p", "Menu",
                   "Escape", "shift+F10", "Escape", "alt+Left")
        self.assert_nothing_shows()
        desk.press(*["Tab"] * 12)
        desk.type("intruder")
        # What assistive technology has known before leads nowhere now.
        self.assertRaises(GLib.Error, page.call, "Component.GrabFocus")
        x, y, width, height = desk.box(self.window)
        clicks = [word for button in (1, 2, 3, 4, 5, 6, 8, 9) for word in ("click", button)]
        for right, down in ((width // 2, height // 2), (60, 80), (200, 160), (width - 60, 400)):
            desk.xdotool("mousemove", x + right, y + down, *clicks)
        desk.xdotool("mousemove", x + 200, y + 160, "mousedown", 1, "mousemove", "--sync", x + 300, y + 300, "mouseup", 1)
        self.program.click("Passcode")
        self.move_away()
        self.assert_nothing_shows()
        self.assertEqual(self.heard(), [])
        self.unlock()
        desk.press("x")
        self.page.see("heard.join()", "keydown x,input ")

    def test_what_is_open_or_opened_waits_behind_the_lock(self):
        def see_panel():
            until("a panel in front", lambda: desk.active()[0] != self.window)

        for button in ("told", "files"):
            desk.press("Tab")
            self.page.see("document.activeElement.id", button)
            desk.press("Return")
            see_panel()
            desk.press("ctrl+super+l")
            self.assert_nothing_shows()
            desk.press("Return", "space", "Escape")
            self.assert_nothing_shows()
            self.unlock()
            see_panel()
            desk.press("Escape")
            until("the windows", self.program.windows, [self.window])
            self.page.see_ready()
        self.lock()
        self.program.choose("brisko", "Lock & Passcode…")
        self.assert_nothing_shows()
        self.unlock()
        self.program.see_focus("Done")

    def test_no_secret_stays_in_a_file_or_in_memory(self):
        self.assertTrue(any(self.service.origin.encode() in content for _, content in self.memory()))
        for secret in (SECRET[-16:], PASSCODE):
            files = subprocess.run(["grep", "-rlsF", "-D", "skip", secret, pathlib.Path.home()], capture_output=True)
            self.assertEqual(files.stdout, b"")
            self.assertEqual([place for place, content in self.memory() if secret.encode() in content], [])

    # What the program can change, but for the vast ranges that its web engine only reserves.
    def memory(self):
        process = pathlib.Path(f"/proc/{self.program.process.pid}")
        with (process / "mem").open("rb", buffering=0) as memory:
            for place in re.findall("^.* rw.*$", (process / "maps").read_text(), re.MULTILINE):
                begin, end = (int(number, 16) for number in place.split()[0].split("-"))
                if end - begin < 1 << 28:
                    memory.seek(begin)
                    yield place, memory.read(end - begin)
