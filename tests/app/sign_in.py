"""The ways in: the sign-in screen with the keyboard alone, a new account, the browser, and the start with a session that goes
on; and what a start does with its command line."""

import re
import stat
import subprocess
import unittest
import urllib.parse

from desk import DEADLINE, desk, until, until_equal
from journey import PASSWORD, PROGRAM, USER, Journey, fill

IDENTIFIER = "Username or email"
CAPTCHA = "Type the characters"
PANEL = "Continue in your browser…"
LOGIN, REGISTER, FORGOT = "/api/auth/login", "/api/auth/register", "/api/auth/forgot"


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
        self.assertEqual(len(self.service.bodies(LOGIN)), 2)

        # The session ends elsewhere.
        self.service.send("POST", "/api/auth/logout", cookie=self.cookie())
        self.assertEqual(program.again("brisko://today"), 0)
        program.see_text(IDENTIFIER, USER)
        self.sign_in(program, PASSWORD)
        self.assertEqual(self.service.sessions(), [USER])

    def test_a_new_account_needs_the_characters_of_the_picture(self):
        program = self.open_program()
        program.see_focus(IDENTIFIER)
        program.click("Sign up", "push button")
        program.see_focus("Username")
        program.see("Get a different image", "push button")
        fill("grete", "grete@brisko.example", "hermann-1926", "wrong")
        desk.press("Return")
        program.see("The characters do not match the picture. Please try the new one.", "label")
        until_equal("the challenges", lambda: len(self.service.bodies("/api/auth/captcha")), 2)
        self.assertEqual(self.service.sessions(), [])
        program.see_text(CAPTCHA, "wrong")
        program.see_enabled("Create account")
        desk.press("ctrl+a")
        self.sign_in(program, "tour", field=CAPTCHA)
        self.assertEqual(self.service.sessions(), ["grete"])

    def test_a_service_that_is_away_or_not_trusted_gets_nothing_and_the_person_is_told(self):
        for word, arguments in (("certificate", self.service.arguments[:2]), ("refused", self.service.arguments)):
            if word == "refused":
                self.service.go_away()
            program = self.open_program(*arguments)
            program.see_focus(IDENTIFIER)
            fill(USER, PASSWORD)
            desk.press("Return")
            until(f"a message with '{word}'", lambda: any(
                e.role == "label" and word in e.name.lower() and len(e.name) > len(word) for e in program.elements()))
            desk.press("ctrl+q")
            self.assertEqual(program.exit_status(), 0)
        self.assertEqual(self.service.requests, [])

    def test_a_message_of_any_length_wraps_and_leaves_the_window_as_it_is(self):
        message = "Donaudampfschifffahrtselektrizitätenhauptbetriebswerkbauunterbeamtengesellschaft " * 25
        self.service.refuse(LOGIN, 401, message)
        program = self.open_program()
        program.see_focus(IDENTIFIER)

        def sizes():
            return [program.look(*what).box[2:] for what in (("brisko", "frame"), ("Continue with Google", "push button"))]

        before = sizes()
        fill(USER, PASSWORD)
        desk.press("Return")
        program.see(message, "label")
        self.assertEqual(sizes(), before)
        # All of the form can be reached.
        desk.move(*program.place(program.see("Sign up", "push button")))
        desk.scroll_down(30)
        until("the footer in view", lambda: program.look("Forgot password?").box.y < before[0][1] - 20)


class Form(Journey):
    """The form with the keyboard alone, at a service that refuses."""

    def setUp(self):
        super().setUp()
        for path in (LOGIN, REGISTER, FORGOT):
            self.service.refuse(path, 401, "Not today.")
        self.program = self.open_program()
        self.program.see_focus(IDENTIFIER)

    def walk(self, key, *names):
        for name in names:
            desk.press(key)
            self.program.see_focus(name)

    def submit(self, key, path, button):
        """Waits for the answer too: a button that was busy can be pressed again."""
        count = len(self.service.bodies(path)) + 1
        desk.press(key)
        until_equal("the requests", lambda: len(self.service.bodies(path)), count)
        self.program.see_enabled(button, index=-1)
        self.program.see("Not today.", "label")

    def test_signing_in(self):
        self.walk("Tab", "Password", IDENTIFIER)
        self.walk("shift+Tab", "Password", IDENTIFIER)
        # Nothing is sent before both fields are filled.
        desk.type(USER)
        desk.press("Return", "Tab", "Return")
        desk.type("secret")
        self.submit("Return", LOGIN, "Sign in")
        desk.press("Tab")
        self.submit("Return", LOGIN, "Sign in")
        self.walk("ctrl+Tab", "Password", "Show password")
        self.walk("space", "Hide password")
        self.walk("Return", "Show password")
        self.walk("Tab", "Sign in", "Continue with Google", "Forgot password?", "Privacy")
        self.walk("shift+Tab", "Forgot password?", "Continue with Google", "Sign in")
        self.submit("space", LOGIN, "Sign in")
        self.assertEqual(self.service.bodies(LOGIN), [{"username": USER, "password": "secret"}] * 3)

    def test_signing_up(self):
        self.walk("ctrl+shift+Tab", "Sign up")
        self.walk("Return", "Username")
        self.walk("Tab", "Email", "Password", CAPTCHA, "Username")
        self.walk("shift+Tab", CAPTCHA, "Password", "Email", "Username")
        fill(USER, "ada@brisko.example", "secret", "")
        desk.press("Return")
        desk.type("tour")
        for _ in range(4):
            self.submit("Return", REGISTER, "Create account")
            desk.press("Tab")
        self.assertEqual([{**body, "captchaToken": ""} for body in self.service.bodies(REGISTER)],
                         [{"username": USER, "email": "ada@brisko.example", "password": "secret",
                           "captchaToken": "", "captchaAnswer": "tour"}] * 4)

    def test_asking_for_a_reset_link(self):
        self.program.click("Forgot password?", "push button")
        self.program.see_focus("Email")
        self.program.see("We will email you a reset link.", "label")
        self.assertFalse(self.program.shows("Password"))
        desk.type("nobody")
        desk.press("Return")
        desk.type("@brisko.example")
        self.submit("Return", FORGOT, "Send reset link")
        self.assertEqual(self.service.bodies(FORGOT), [{"email": "nobody@brisko.example"}])
        # With one field the key goes on to what comes next.
        self.walk("Tab", "Send reset link", "Back to sign in")
        self.walk("space", IDENTIFIER)
        self.assertFalse(self.program.shows("Not today."))

    def test_the_password_never_leaves_its_field(self):
        typed = "analytical-engine"
        fill("charles", typed)

        def drag(begin, end):
            x, y = self.program.place(self.program.look("Password"))
            desk.drag((x + begin, y), (x + end, y))

        def clipboards():
            return {desk.selection(name) or "" for name in ("CLIPBOARD", "PRIMARY")}

        def everything():
            desk.press("ctrl+a")

        ways = ((everything, "ctrl+c"), (everything, "ctrl+x"), (lambda: desk.press("shift+Home"), "ctrl+Insert"),
                (lambda: desk.press("shift+Home"), "shift+Delete"), (lambda: drag(0, -140), "ctrl+c"),
                (lambda: (everything(), drag(-60, 60)), "ctrl+c"))
        for shown in (False, True):
            if shown:
                self.program.click("Show password")
                self.program.click("Password")
                self.program.see("Hide password")
            for select, copy in ways:
                select()
                until("a selection", lambda: self.program.look("Password").selected)
                self.assertEqual(clipboards(), {""})
                desk.press(copy, "End")
                desk.type("+")
                typed += "+"
                self.program.see_text("Password", typed)
                self.assertEqual(clipboards(), {""})
        everything()
        desk.press("BackSpace")
        self.program.see_text("Password", "")
        desk.press("ctrl+z", "x")
        self.program.see_text("Password", "x")
        # The same keys do copy elsewhere, so the checks above would notice.
        self.program.click(IDENTIFIER)
        everything()
        desk.press("ctrl+c")
        until_equal("what is copied", clipboards, {"charles"})


class Browser(Journey):
    def setUp(self):
        super().setUp()
        self.program = self.open_program(environment=self.install_browser())
        self.program.see_focus(IDENTIFIER)

    def begin(self):
        """Presses the button; returns the address that the browser is sent to."""
        count = len(self.visits())
        self.program.click("Continue with Google", "push button")
        self.program.see_panel(PANEL)
        until("the browser", lambda: len(self.visits()) > count)
        return self.visits()[-1].removeprefix(self.service.origin)

    def decide(self, start, decision):
        """Answers the consent page; returns the address to which the browser is sent back."""
        nonce = re.search(r'name="nonce" value="([^"]+)"', self.service.send("GET", start).content)[1]
        form = urllib.parse.urlencode({"nonce": nonce, "decision": decision}).encode()
        kind = "application/x-www-form-urlencoded"
        return self.service.send("POST", "/api/auth/google", form, kind=kind).headers["Location"]

    def see_no_panel(self):
        self.program.see_window()
        self.assertFalse(self.program.shows(PANEL))

    def test_the_answer_of_the_browser_signs_in_once(self):
        answer = self.decide(self.begin(), "allow")
        # A link into the program is not the answer, but is followed later.
        self.assertEqual(self.program.again("brisko://new"), 0)
        self.program.see_panel(PANEL)
        self.assertEqual(self.service.sessions(), [])
        self.assertEqual(self.program.again(answer), 0)
        self.service.page.see_ready()
        self.service.page.see("document.activeElement.id", "taskTitle")
        self.see_no_panel()
        self.assertEqual(self.program.again(answer), 0)
        shown = len(self.service.page.shown)
        desk.press("ctrl+r")
        self.service.page.see_another(shown)
        self.assertEqual(self.service.sessions(), ["grace"])

    def test_giving_up_leaves_no_message_and_the_form_as_it_was(self):
        def labels():
            return [e.name for e in self.program.elements() if e.role == "label"]

        before = labels()
        for give_up in (lambda: self.program.click("Cancel", "push button"), lambda: desk.press("Escape"),
                        lambda: desk.press("alt+F4"), lambda: desk.press("Return")):
            self.begin()
            give_up()
            self.see_no_panel()
            self.program.see_enabled("Continue with Google")
            self.assertEqual(labels(), before)
        # An answer that nobody waits for any more is ignored.
        answer = self.decide(self.begin(), "allow")
        desk.press("Escape")
        self.see_no_panel()
        self.assertEqual(self.program.again(answer), 0)
        answer = self.decide(self.begin(), "cancel")
        self.assertEqual(self.service.sessions(), [])
        self.assertEqual(self.program.again(answer), 0)
        self.program.see("Google did not send anything back.", "label")

    def test_the_privacy_page_opens_in_the_browser(self):
        self.program.click("Privacy", "link")
        self.see_visits(self.service.origin + "/privacy")


class Life(Journey):
    def test_one_program_per_profile_lives_on_behind_a_closed_window_and_ends_when_told_to(self):
        self.service.hold(LOGIN)
        program = self.open_program()
        program.see_focus(IDENTIFIER)
        fill(USER, PASSWORD)
        desk.press("Return")
        # All of this with a request that is never answered.
        until("the request", lambda: self.service.requests)
        desk.press("alt+F4")
        program.see_no_window()
        self.assertEqual(program.again(), 0)
        program.see_window()
        program.see_text(IDENTIFIER, USER)
        program.click("Close", "push button")
        program.see_no_window()
        self.assertEqual(program.again("brisko://today"), 0)
        program.see_window()
        self.assertEqual(len(self.service.requests), 1)
        desk.press("ctrl+q")
        self.assertEqual(program.exit_status(), 0)


class CommandLine(unittest.TestCase):
    def test_one_that_makes_no_sense_is_explained(self):
        refused = {("--no-such-option",): "--help", ("--service-origin", "http://brisko.example"): "https",
                   ("--service-ca", "/no/such/file"): "/no/such/file", ("--tour", "pictures"): "--demo",
                   ("--demo", "--service-origin", "https://brisko.example"): "--demo",
                   ("notes.txt",): "notes.txt", ("--profile",): "--help"}
        answered = {("--version",): r"\Abrisko \d+\.\d+\.\d+\n\Z", ("--help",): r"(?s)\AUsage: .*--service-ca FILE"}
        for arguments in (*refused, *answered):
            with self.subTest(arguments):
                run = subprocess.run([PROGRAM, *arguments], capture_output=True, text=True, timeout=DEADLINE)
                if arguments in refused:
                    self.assertEqual((run.returncode, run.stdout), (2, ""))
                    self.assertRegex(run.stderr, r"\Abrisko: .*\.\n\Z")
                    self.assertIn(refused[arguments], run.stderr)
                else:
                    self.assertEqual((run.returncode, run.stderr), (0, ""))
                    self.assertRegex(run.stdout, answered[arguments])


if __name__ == "__main__":
    unittest.main(verbosity=2)
