"""Tries to see or to reach something of the page while the window is locked: with the keyboard, the pointer, the
clipboard, D-Bus and assistive technology."""

import subprocess
import unittest

from PIL import ImageGrab

from desktop import DEADLINE, Atspi, press, selection, type_text, until, xdotool
from journeys import IDENTIFIER, USER, declines_passcode, see_page, signs_in, write_task
from logind import Login
from menus import ABOUT, Menus, geometry, windows
from passcode import PasscodeJourney
from web import Pages

DIGITS = "1843"
LOCKED = {"Locked. Enter your passcode to carry on.", "Passcode", "Sign out instead", "bris", "ko"}
HEADER = 60  # more than the height of the window's header
EDGE = 15  # more than the border that the window draws itself
COLUMN = 440  # wider than what the lock screen has in its middle
PAGE = (590, 400)  # a place in the middle of the window, from its corner


class Locked(PasscodeJourney):
    def sign_in(self, service):
        self.login = Login()
        self.addCleanup(self.login.stop)
        self.program = self.open_program(service, environment=self.login.environment)
        self.main = xdotool("getactivewindow").strip()
        self.menus = Menus(self.program)
        signs_in(self.program)
        self.program.see("Choose a passcode for this Mac.", "label")
        self.program.see_focus("Passcode")
        type_text(DIGITS)
        self.choose(self.program, DIGITS)
        see_page(self.program)
        self.native = {element.name for element in self.program.elements()} - {"WebKitWebView", "GtkOverlay"}

    def lock(self):
        press("ctrl+super+l")
        self.see_locked()

    def lock_with_the_desktop(self):
        subprocess.run(["gdbus", "emit", "--session", "-o", "/org/gnome/ScreenSaver", "-s",
                        "org.gnome.ScreenSaver.ActiveChanged", "true"], check=True)

    def unlock(self):
        self.program.see_focus("Passcode")
        type_text(DIGITS)
        until("the page", lambda: not self.program.shows("Passcode"))

    def see_locked(self):
        """Waits for the lock screen with the keyboard, and nothing else."""
        self.program.see_focus("Passcode")
        self.assert_nothing_shows()

    def assert_nothing_shows(self, *besides):
        """Neither assistive technology nor the screen has anything but the lock screen in the window."""
        allowed = self.native | LOCKED | set(besides)
        strange = [e for e in self.program.elements() if e.name not in allowed
                   and not e.name.startswith(("Gtk", "gtkmm__"))]
        self.assertEqual(strange, [])
        until("a lock screen on plain ground", lambda: len(self.ground()) == 1)

    def ground(self):
        """The colours of the window on both sides of what the lock screen has in its middle."""
        x, y, width, height = geometry(self.main)
        sides = ((x, x + (width - COLUMN) // 2), (x + (width + COLUMN) // 2, x + width))
        return {colour for left, right in sides for _, colour in
                ImageGrab.grab((left + EDGE, y + HEADER, right - EDGE, y + height - EDGE)).getcolors(1 << 24)}

    def at(self, right, down):
        x, y, _, _ = geometry(self.main)
        return str(x + right), str(y + down)

    def walk(self, steps):
        """Where the keyboard comes with the Tab key."""
        places = set()
        for _ in range(steps):
            press("Tab")
            places.add(until("the keyboard somewhere", lambda: next(
                (e.name for e in self.program.elements() if "focused" in e.states), None)))
        return places


class DemoPage(Locked):
    def setUp(self):
        super().setUp()
        self.sign_in(self.service)
        write_task(self.service, self.program, "The page is there")
        self.tasks = set(self.service.tasks(USER))

    def test_nothing_chosen_or_opened_while_it_is_locked_shows_the_page(self):
        self.lock()
        for keys in ("ctrl+n", "ctrl+k", "ctrl+comma", "ctrl+shift+v", "ctrl+plus", "ctrl+minus", "ctrl+0"):
            press(keys)
            type_text("intruder")
            press("Return")
        for menu, item in (("File", "New Task"), ("View", "Zoom In"), ("Edit", "Paste"), ("View", "Actual Size"),
                           ("brisko", "Lock & Passcode…"), ("View", "Reload")):
            self.menus.with_keyboard(menu, item, None)
            self.see_locked()
        self.assertEqual(windows(self.program, "brisko"), [self.main])
        self.menus.with_keyboard("brisko", ABOUT, None)
        self.program.see_window(ABOUT)
        press("Escape")
        self.program.see_window()
        self.assertEqual(self.program.again("brisko://new"), 0)
        self.see_locked()
        for name in ("CLIPBOARD", "PRIMARY"):
            self.assertIn(selection(name), (None, ""))

        self.unlock()
        self.program.see("Lock & Passcode", "label")
        self.program.see_focus("Done")
        press("Return")
        see_page(self.program)
        self.assertEqual(set(self.service.tasks(USER)), self.tasks)
        write_task(self.service, self.program, "Back again")

    def test_the_desktop_locks_it_in_whatever_state_the_window_is(self):
        whole = geometry(self.main)
        self.lock_with_the_desktop()
        self.see_locked()
        press("ctrl+super+f")
        until("the full screen", lambda: geometry(self.main) == (0, 0, 1400, 1000))
        self.see_locked()
        press("ctrl+super+f")
        until("the window", lambda: geometry(self.main) == whole)
        self.see_locked()
        xdotool("windowminimize", self.main)
        until("the window away", lambda: not windows(self.program, "brisko"))
        xdotool("windowactivate", "--sync", self.main)
        self.see_locked()
        press("ctrl+w")
        until("the window closed", lambda: not self.program.window_shown())
        self.program.again()
        self.program.see_window()
        self.see_locked()
        self.unlock()
        write_task(self.service, self.program, "Unlocked")

        # Locked while nobody sees the window, it comes back locked.
        press("ctrl+w")
        until("the window closed", lambda: not self.program.window_shown())
        self.lock_with_the_desktop()
        self.program.again("brisko://new")
        self.program.see_window()
        self.see_locked()

    def test_the_machine_sleeps_only_once_the_lock_is_on_the_screen(self):
        def sleep(look=lambda: None):
            until("something to wait for", self.login.held)
            self.login.prepare_for_sleep(True)
            self.assertTrue(self.login.is_released())
            look()
            self.login.prepare_for_sleep(False)
            until("the next time", self.login.held)

        until("the page", lambda: len(self.ground()) > 1)
        sleep(lambda: self.assertEqual(len(self.ground()), 1))
        self.see_locked()
        sleep()  # while it is locked
        self.unlock()
        press("ctrl+w")
        until("the window closed", lambda: not self.program.window_shown())
        sleep()
        self.program.again()
        self.program.see_window()
        self.see_locked()

    def test_it_starts_locked_in_a_session_that_is(self):
        press("ctrl+q")
        self.assertEqual(self.program.exit_status(), 0)
        self.login.locked = True
        self.program = self.open_program(self.service, environment=self.login.environment)
        self.main = xdotool("getactivewindow").strip()
        self.see_locked()
        self.unlock()
        write_task(self.service, self.program, "Back at the desk")

    def test_wrong_passcodes_lock_out_and_the_password_leads_to_the_sign_in_screen(self):
        self.lock()
        for said in ("Wrong passcode. 2 tries left.", "Wrong passcode. One more try."):
            type_text("0000")
            self.program.see(said, "label")
            self.program.see_focus("Passcode")
            self.assert_nothing_shows(said)
        type_text("0000")
        countdown = until("the countdown", lambda: next(
            (e.name for e in self.program.elements() if e.name.startswith("Too many wrong tries.")), None))
        self.assertIn("Try again in", countdown)
        type_text(DIGITS)
        self.program.click("Sign out instead", "push button")
        self.program.see_text(IDENTIFIER, USER)
        self.assertFalse(self.program.shows("WebKitWebView"))
        signs_in(self.program, remembered=True)
        declines_passcode(self.program)
        write_task(self.service, self.program, "Signed in again")


class OwnPage(Locked):
    """A page that shows something secret, and says what it hears."""

    HOME = """<style>body { background: yellow } p { font-size: 90px }</style>
        <input id=note value='Secret note' autofocus><p draggable=true title='Secret tip'>Secret plan</p>
        <button onclick="alert('Secret told')">1</button> <button onclick="say(confirm('Secret question'))">2</button>
        <input type=file aria-label='Secret file'>
        <script>for (const type of ['keydown', 'mousedown', 'mousemove', 'wheel', 'dragover', 'paste', 'copy', 'cut',
                                    'contextmenu', 'input', 'focusin', 'focusout'])
                    addEventListener(type, (e) => say(type + ' ' + (e.key ?? '')), true)</script>"""

    def setUp(self):
        super().setUp()
        self.pages = self.run_service(Pages, home=self.HOME)
        xdotool("mousemove", "1399", "999")
        self.sign_in(self.pages)
        until("the page", lambda: "home" in self.pages.said)
        until("its ground", lambda: len(self.ground()) > 1)

    def assert_heard_nothing(self):
        """The next thing that the page hears is a key pressed now."""
        press("x")
        until("the key", lambda: "keydown x" in self.pages.said)
        self.assertEqual(self.pages.said[:self.pages.said.index("keydown x")], [])

    def offer(self, text):
        """Another program's selection."""
        program = subprocess.Popen(["xclip", "-i", "-quiet", "-selection", "primary"], stdin=subprocess.PIPE,
                                   stderr=subprocess.DEVNULL)
        self.addCleanup(program.wait, DEADLINE)
        self.addCleanup(program.terminate)
        program.stdin.write(text.encode())
        program.stdin.close()
        until("the selection", lambda: selection("PRIMARY") == text)

    def test_keys_pointer_and_clipboard_do_not_reach_the_page(self):
        press("ctrl+a")
        until("the selection", lambda: selection("PRIMARY") == "Secret note")
        before = self.program.look("WebKitWebView")
        self.lock()
        self.pages.said.clear()
        self.assertIn(selection("PRIMARY"), (None, ""))
        press("ctrl+a", "ctrl+c", "ctrl+Insert", "ctrl+x")
        for name in ("CLIPBOARD", "PRIMARY"):
            self.assertIn(selection(name), (None, ""))
        self.assertEqual(self.walk(12) - LOCKED - self.native, set())
        self.program.see("Passcode")
        # What assistive technology has known before leads nowhere now.
        try:
            Atspi.Component.grab_focus(before.accessible)
        except Exception as refused:  # noqa: BLE001
            self.assertIn("atspi", str(refused))
        self.assertFalse(any(e.name == "WebKitWebView" for e in self.program.elements()))

        self.offer("intruder")
        for right, down in (PAGE, (60, 80), (200, 160), (900, 600)):
            for button in "12345689":
                xdotool("mousemove", *self.at(right, down), "click", button)
        xdotool("mousemove", *self.at(200, 160), "mousedown", "1", "mousemove", "--sync", *self.at(300, 300),
                "mousemove", "--sync", *self.at(60, 80), "mouseup", "1")
        press("Menu", "shift+F10", "Escape", "Escape", "alt+Left", "F5", "ctrl+p")
        type_text("hello")
        xdotool("mousemove", "1399", "999")
        self.assert_nothing_shows()
        self.program.click("Passcode")
        xdotool("mousemove", "1399", "999")
        self.unlock()
        self.assert_heard_nothing()

    def test_a_question_of_the_page_waits_behind_the_lock(self):
        for steps, text in ((1, "Secret told"), (2, "Secret question")):
            with self.subTest(text):
                press(*["Tab"] * steps, "Return")
                self.program.see(text, "label")
                self.program.see_focus("OK")
                self.lock_with_the_desktop()
                self.see_locked()
                self.assertEqual(windows(self.program, "brisko"), [self.main])
                press("Return", "space", "Escape")
                self.assert_nothing_shows()
                self.unlock()
                self.program.see(text, "label")
                self.program.see_focus("OK")
                press("Escape")
                until("the page", lambda: not self.program.shows(text))
                press(*["shift+Tab"] * steps)

    def test_a_choice_of_files_waits_behind_the_lock(self):
        def see_dialog(count):
            until(f"{count} dialogs", lambda: len(windows(self.program, "^Choose a file$")) == count)

        press("Tab", "Tab", "Tab", "Return")
        see_dialog(1)
        self.lock_with_the_desktop()
        see_dialog(0)
        self.see_locked()
        press("Return", "space")
        self.assert_nothing_shows()
        self.unlock()
        see_dialog(1)
        until("the keyboard there",
              lambda: xdotool("getactivewindow", "getwindowname").strip() == "Choose a file")
        press("Escape")
        see_dialog(0)


if __name__ == "__main__":
    unittest.main(verbosity=2)
