# The lock and its passcode, over a real keyring: chosen at the sign-in, asked for at a later start, locked by key, by the
# desktop and before the machine sleeps, and left by the password.

import subprocess

import desk
from desk import DEADLINE, until
from journey import IDENTIFIER, PASSWORD, USER, Journey, ask_bus
from logind import Login

PASSCODE = "73915284"
HEADER = 60  # more than the height of the window's header
EDGE = 15  # more than the border that the window draws itself
COLUMN = 440  # wider than what the lock screen has in its middle
LOGIN = "/api/auth/login"


# Of somebody with a keyring, at a desktop whose session can be locked.
class LockJourney(Journey):
    def setUp(self):
        super().setUp()
        self.login = Login()
        keyring = self.begin("gnome-keyring-daemon", "--foreground", "--unlock", "--components=secrets",
                             stdin=subprocess.PIPE)
        with keyring.stdin as password:
            password.write(b"a keyring for one journey")
        until("the keyring", lambda: ask_bus("NameHasOwner", "(s)", "org.freedesktop.secrets"))

    def sign_in_with_passcode(self, password=PASSWORD):
        self.open_program(IDENTIFIER)
        desk.submit(USER, password)
        self.program.click("8 digits", "radio button")
        for question in ("Choose a passcode for this Mac.", "Enter it again."):
            self.program.see(question, "label")
            self.type_passcode()
        self.page.see_ready()

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

    # The colours of the window on both sides of what the lock screen has in its middle.
    def ground(self):
        x, y, width, height = desk.box(self.window)
        side = (width - COLUMN) // 2 - EDGE
        return set().union(*(desk.colors(left, y + HEADER, side, height - HEADER - EDGE)
                             for left in (x + EDGE, x + width - EDGE - side)))


class Locking(LockJourney):
    def test_a_passcode_signs_in_again_and_wrong_ones_lock_it_out_until_the_password_leads_back(self):
        self.sign_in_with_passcode()
        self.service.end_session()
        self.program.again("brisko://today")
        self.program.see_focus("Password")
        self.assertEqual(self.program.quit(), 0)
        with self.page.renewed():
            self.open_program()
            self.program.see(f"Enter your passcode to sign in as {USER} at 127.0.0.1.", "label")
            self.type_passcode()
        self.assertEqual(self.service.bodies(LOGIN), [{"username": USER, "password": PASSWORD}] * 2)
        self.assertFalse(self.program.shows("Not now"))
        self.lock()
        for said in ("Wrong passcode. 2 tries left.", "Wrong passcode. One more try.", "Too many wrong tries."):
            self.type_passcode("00000000")
            until(f"'{said}'", lambda: any(e.name.startswith(said) for e in self.program.elements()))
            until(f"'{said}' in the field's description", lambda: said in self.program.look("Passcode").told("Description"))
        desk.type(PASSCODE)
        self.program.click("Sign out instead", "push button")
        self.program.see_text(IDENTIFIER, USER)
        self.assertFalse(self.program.shows("WebKitWebView"))
        self.assertEqual([*self.folder.glob("profile/data/origins/*/cookies.json")], [], "the session goes on")
        self.sign_in(PASSWORD)

    def test_the_session_of_the_desktop_locks_it_whether_it_has_a_window_or_only_starts(self):
        self.sign_in_with_passcode()
        self.login.lock()
        self.see_locked()
        self.unlock()
        desk.press("ctrl+w")
        self.program.see_no_window()
        self.login.lock()
        self.program.again("brisko://new")
        self.program.see_window()
        self.see_locked()
        self.assertEqual(self.program.quit(), 0)
        self.open_program()
        self.see_locked()
        self.unlock()
        self.page.see_ready()

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
