"""Journeys of the passcode: the real program over a real keyring."""

import subprocess
import unittest

from desktop import DEADLINE, Journey, press, type_text, until
from journeys import signs_in, write_task


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


if __name__ == "__main__":
    unittest.main(verbosity=2)
