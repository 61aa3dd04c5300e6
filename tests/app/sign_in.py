"""The ways in: the sign-in screen, a new account, the browser, and the start with a session that goes on."""

import stat
import unittest

from desk import desk, until_equal
from journey import PASSWORD, USER, Journey, fill

IDENTIFIER = "Username or email"


class SignIn(Journey):
    def test_the_first_start_leads_to_the_page_and_the_next_ones_straight_to_it(self):
        program = self.open_program()
        program.see_focus(IDENTIFIER)
        self.assertEqual((program.engine(), program.maps("libwebkitgtk")), ({}, False))
        fill(USER, "a wrong password")
        desk.press("Return")
        program.see("Wrong username or password.", "label")
        self.assertEqual(self.service.sessions(), [])
        desk.press("ctrl+a")
        self.sign_in(program, PASSWORD)
        self.assertFalse(program.shows("Sign up"))
        self.assertEqual(self.service.sessions(), [USER])
        jar = next((self.folder / "profile").glob("data/origins/*/cookies.json"))
        self.assertEqual([stat.S_IMODE(path.stat().st_mode) for path in (jar, jar.parent)], [0o600, 0o700])
        desk.press("ctrl+q")
        self.assertEqual(program.exit_status(), 0)

        shown = len(self.service.page.shown)
        program = self.open_program()
        self.service.page.see_another(shown)
        self.assertEqual(len(self.service.bodies("/api/auth/login")), 2)

        # The session ends elsewhere.
        self.service.send("POST", "/api/auth/logout", cookie=self.cookie())
        self.assertEqual(program.again("brisko://today"), 0)
        program.see_text(IDENTIFIER, USER)
        self.sign_in(program, PASSWORD)
        self.assertEqual(self.service.sessions(), [USER])


if __name__ == "__main__":
    unittest.main(verbosity=2)
