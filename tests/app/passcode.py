"""Journeys of the passcode: the real program, and its passcode screen by itself in each mode, over a real keyring."""

import os
import subprocess
import unittest

from desktop import DEADLINE, Journey, Program, press, type_text, until
from journeys import PASSWORD, signs_in, write_task


class PasscodeWindow(Program):
    """The passcode screen by itself, in one mode."""

    def __init__(self, mode, profile, service):
        self.profile = profile
        self.errors = open(os.devnull, "r+")
        origin, certificate = service.arguments[1], service.arguments[3]
        self.process = subprocess.Popen([os.environ["BRISKO_PASSCODE_WINDOW"], mode, profile, origin, certificate],
                                        stdout=subprocess.PIPE, text=True)

    def ends_with(self):
        """The callback that ends the screen."""
        said, _ = self.process.communicate(timeout=DEADLINE)
        return said.strip()


class PasscodeJourney(Journey):
    def setUp(self):
        super().setUp()
        keyring = subprocess.Popen(["gnome-keyring-daemon", "--foreground", "--unlock", "--components=secrets"],
                                   stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        keyring.stdin.write(b"a keyring for one test")
        keyring.stdin.close()
        self.addCleanup(keyring.wait, DEADLINE)
        self.addCleanup(keyring.terminate)
        until("the keyring", lambda: "true" in subprocess.run(
            ["gdbus", "call", "--session", "-d", "org.freedesktop.DBus", "-o", "/org/freedesktop/DBus", "-m",
             "org.freedesktop.DBus.NameHasOwner", "org.freedesktop.secrets"], capture_output=True, text=True).stdout)
        self.service = self.run_service()

    def open_window(self, mode):
        window = PasscodeWindow(mode, self.folder / "profile", self.service)
        self.addCleanup(window.stop)
        window.see_window()
        return window

    def choose(self, program, digits):
        program.see("Enter it again.", "label")
        program.see_focus("Passcode")
        type_text(digits)


class InTheProgram(PasscodeJourney):
    def test_a_passcode_chosen_at_the_sign_in_signs_in_again_once_the_session_is_over(self):
        program = self.open_program(self.service)
        signs_in(program)
        program.see("Choose a passcode for this Mac.", "label")
        program.see_focus("Passcode")
        type_text("1a8-43")
        self.choose(program, "1844")
        program.see("Those did not match. Start again.", "label")
        type_text("1843")
        self.choose(program, "1843")
        write_task(self.service, program, "Behind a passcode")

        # While the session goes on nobody is asked; once it has ended, the next start asks for the passcode.
        self.service.post("/api/auth/logout", cookie=self.cookie())
        program.again("brisko://today")
        program.see_focus("Password")
        press("ctrl+q")
        self.assertEqual(program.exit_status(), 0)

        program = self.open_program(self.service)
        program.see("Enter your passcode to sign in as ada.", "label")
        program.see_focus("Passcode")
        type_text("0000")
        program.see("Wrong passcode. 2 tries left.", "label")
        program.see_focus("Passcode")
        type_text("1843")
        write_task(self.service, program, "Unlocked")
        self.assertFalse(program.shows("Not now"))


class ByItself(PasscodeJourney):
    def test_every_mode_takes_keys_and_ends_as_it_should(self):
        window = self.open_window("setup")
        window.see_focus("Password")
        type_text("not the password")
        press("Return")
        window.see("Wrong username or password.", "label")
        press("ctrl+a")
        type_text(PASSWORD)
        press("Return")
        window.see("Choose a passcode for this Mac.", "label")
        window.click("6 digits", "push button")
        window.see_focus("Passcode")
        type_text("184318")
        self.choose(window, "184318")
        self.assertEqual(window.ends_with(), "done")

        window = self.open_window("relock")
        window.see("Locked. Enter your passcode to carry on.", "label")
        window.see_focus("Passcode")
        type_text("184319")
        window.see("Wrong passcode. 2 tries left.", "label")
        type_text("184318")
        self.assertEqual(window.ends_with(), "unlocked")

        window = self.open_window("change")
        window.see("Enter your current passcode.", "label")
        window.see_focus("Passcode")
        type_text("184318")
        window.see("Choose the new passcode.", "label")
        window.click("4 digits", "push button")
        window.see_focus("Passcode")
        type_text("2718")
        self.choose(window, "2718")
        self.assertEqual(window.ends_with(), "done")

        window = self.open_window("unlock")
        window.see_focus("Passcode")
        for said in ("Wrong passcode. 2 tries left.", "Wrong passcode. One more try."):
            type_text("0000")
            window.see(said, "label")
            window.see_focus("Passcode")
        type_text("2718")
        self.assertEqual(window.ends_with(), "unlocked")

        # Three wrong tries lock it out, for the right passcode and a new screen too, until the password is used.
        window = self.open_window("relock")
        window.see_focus("Passcode")
        for _ in range(3):
            until("the field", lambda: "sensitive" in window.look("Passcode").states)
            type_text("0000")
            until("the try", lambda: any(e.name.startswith(("Wrong", "Too many")) for e in window.elements()))
        until("the countdown", lambda: any(e.name.startswith("Too many wrong tries. Try again in 4:")
                                           for e in window.elements()))
        window.stop()
        window = self.open_window("unlock")
        until("the countdown", lambda: any(e.name.startswith("Too many wrong tries. Try again in 4:")
                                           for e in window.elements()))
        window.click("Use your password instead", "push button")
        self.assertEqual(window.ends_with(), "password")


if __name__ == "__main__":
    unittest.main(verbosity=2)
