"""The lock and its passcode, over a real keyring: chosen at the sign-in, asked for at a later start, locked by key, by the
desktop and before the machine sleeps, and left by the password."""

import subprocess
import unittest

from desk import DEADLINE, Box, desk, until
from journey import PASSWORD, USER, Journey, fill
from logind import Login

PASSCODE = "73915284"
HEADER = 60  # more than the height of the window's header
EDGE = 15  # more than the border that the window draws itself
COLUMN = 440  # wider than what the lock screen has in its middle


class LockJourney(Journey):
    """Of somebody with a keyring, at a desktop whose session can be locked."""

    def setUp(self):
        super().setUp()
        self.login = Login()
        self.addCleanup(self.login.bus.close_sync)
        keyring = subprocess.Popen(["gnome-keyring-daemon", "--foreground", "--unlock", "--components=secrets"],
                                   stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(keyring.wait, DEADLINE)
        self.addCleanup(keyring.terminate)
        with keyring.stdin as password:
            password.write(b"a keyring for one journey")
        until("the keyring", lambda: self.login.ask_bus("NameHasOwner", "(s)", "org.freedesktop.secrets"))

    def start(self):
        self.program = self.open_program(environment=self.login.environment)

    def sign_in_with_passcode(self, password=PASSWORD):
        self.start()
        self.program.see_focus("Username or email")
        fill(USER, password)
        desk.press("Return")
        self.program.click("8 digits", "push button")
        for question in ("Choose a passcode for this Mac.", "Enter it again."):
            self.program.see(question, "label")
            self.type_passcode()
        self.service.page.see_ready()
        self.window = desk.active()[0]

    def type_passcode(self, digits=PASSCODE):
        self.program.see_focus("Passcode")
        desk.type(digits)

    def unlock(self):
        self.type_passcode()
        self.program.see_gone("Passcode")

    def lock(self):
        desk.press("ctrl+super+l")
        self.see_locked()

    def see_locked(self):
        self.program.see("Locked. Enter your passcode to carry on.", "label")
        self.program.see_focus("Passcode")
        self.assertFalse(self.program.shows("WebKitWebView"))

    def ground(self):
        """The colours of the window on both sides of what the lock screen has in its middle."""
        x, y, width, height = desk.box(self.window)
        side = (width - COLUMN) // 2 - EDGE
        return {color for left in (x + EDGE, x + width - EDGE - side) for _, color in desk.picture(
            Box(left, y + HEADER, side, height - HEADER - EDGE)).getcolors(1 << 24)}


class Locking(LockJourney):
    def test_a_passcode_chosen_at_the_sign_in_signs_in_again_once_the_session_is_over(self):
        self.sign_in_with_passcode()
        self.service.send("POST", "/api/auth/logout", cookie=self.cookie())
        self.assertEqual(self.program.again("brisko://today"), 0)
        self.program.see_focus("Password")
        desk.press("ctrl+q")
        self.assertEqual(self.program.exit_status(), 0)

        shown = len(self.service.page.shown)
        self.start()
        self.program.see(f"Enter your passcode to sign in as {USER}.", "label")
        self.type_passcode("00000000")
        self.program.see("Wrong passcode. 2 tries left.", "label")
        self.assertEqual(len(self.service.bodies("/api/auth/login")), 1)
        self.type_passcode()
        self.service.page.see_another(shown)
        self.assertEqual(self.service.bodies("/api/auth/login"), [{"username": USER, "password": PASSWORD}] * 2)
        self.assertFalse(self.program.shows("Not now"))

    def test_wrong_passcodes_lock_it_out_and_only_the_password_leads_back(self):
        self.sign_in_with_passcode()
        self.lock()
        for said in ("Wrong passcode. 2 tries left.", "Wrong passcode. One more try.", "Too many wrong tries."):
            self.type_passcode("00000000")
            until(f"'{said}'", lambda: any(e.name.startswith(said) for e in self.program.elements()))
        desk.type(PASSCODE)
        self.program.click("Sign out instead", "push button")
        self.program.see_text("Username or email", USER)
        self.assertFalse(self.program.shows("WebKitWebView"))
        self.assertEqual([*self.folder.glob("profile/data/origins/*/cookies.json")], [], "the session goes on")
        self.sign_in(self.program, PASSWORD)

    def test_the_session_of_the_desktop_locks_it_whether_it_has_a_window_or_only_starts(self):
        self.sign_in_with_passcode()
        self.login.lock()
        self.see_locked()
        self.unlock()
        desk.press("ctrl+w")
        self.program.see_no_window()
        self.login.lock()
        self.assertEqual(self.program.again("brisko://new"), 0)
        self.program.see_window()
        self.see_locked()
        desk.press("ctrl+q")
        self.assertEqual(self.program.exit_status(), 0)
        self.start()
        self.see_locked()
        self.unlock()
        self.service.page.see_ready()

    def test_the_machine_sleeps_only_once_the_lock_is_on_the_screen(self):
        self.service.show("/", "<body style='background: linear-gradient(red, yellow)'>")
        self.sign_in_with_passcode()
        until("the page", lambda: len(self.ground()) > 2)
        for look in (self.ground, set):  # unlocked, locked
            until("something to wait for", self.login.holds_sleep_up)
            self.login.sleep(True)
            self.assertFalse(self.login.holds_sleep_up(DEADLINE))
            self.assertLessEqual(len(look()), 1, "the page was still on the screen")
            self.login.sleep(False)
            self.see_locked()


if __name__ == "__main__":
    unittest.main(verbosity=2)
