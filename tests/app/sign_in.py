"""The ways in: the sign-in screen with the keyboard alone, a new account, the browser, and the start with a session that goes
on; and what a start does with its command line."""

import re
import stat
import subprocess
import threading
import unittest
import urllib.parse

from desk import DEADLINE, desk, until, until_equal
from journey import PASSWORD, PROGRAM, USER, Journey, fill

IDENTIFIER = "Username or email"
CAPTCHA = "Type the characters"
PANEL = "Continue in your browser…"
LOGIN, FORGOT = "/api/auth/login", "/api/auth/forgot"


class SignIn(Journey):
    def test_the_first_start_leads_to_the_page_and_the_next_ones_straight_to_it(self):
        program = self.open_program()
        program.see_focus(IDENTIFIER)
        self.assertEqual(program.engine(), {})
        fill(USER, "a wrong password")
        desk.press("Return")
        program.see("Wrong username or password.", "label")
        self.assertEqual(self.service.sessions(), [])
        desk.press("ctrl+a")
        self.sign_in(program, PASSWORD)
        self.assertFalse(program.shows("Sign up"))
        jar = next((self.folder / "profile").glob("data/origins/*/cookies.json"))
        self.assertEqual([stat.S_IMODE(path.stat().st_mode) for path in (jar, jar.parent)], [0o600, 0o700])
        desk.press("ctrl+q")
        self.assertEqual(program.exit_status(), 0)

        shown = len(self.service.page.shown)
        program = self.open_program()
        self.service.page.see_another(shown)
        self.assertEqual((len(self.service.bodies(LOGIN)), self.service.sessions()), (2, [USER]))
        # The session ends elsewhere.
        self.service.send("POST", "/api/auth/logout", cookie=self.cookie())
        self.assertEqual(program.again("brisko://today"), 0)
        program.see_text(IDENTIFIER, USER)
        self.sign_in(program, PASSWORD)
        self.assertEqual(self.service.sessions(), [USER])

    def test_a_new_account_needs_the_characters_of_the_picture(self):
        program = self.open_program()
        program.see_focus(IDENTIFIER)
        desk.press("ctrl+shift+Tab", "Return")
        program.see_focus("Username")
        program.see("Get a different image", "push button")
        fill("grete", "grete@brisko.example", "hermann-1926", "wrong")
        desk.press("Return")
        program.see("The characters do not match the picture. Please try the new one.", "label")
        until_equal("the challenges", lambda: len(self.service.bodies("/api/auth/captcha")), 2)
        program.see_text(CAPTCHA, "wrong")
        program.see_enabled("Create account")
        self.assertEqual(self.service.sessions(), [])
        desk.press("ctrl+a")
        self.sign_in(program, "tour", field=CAPTCHA)
        self.assertEqual(self.service.sessions(), ["grete"])

    def test_a_service_that_is_away_or_not_trusted_gets_nothing_and_the_person_is_told(self):
        for word, arguments in (("certificate", self.service.arguments[:2]), ("refused", self.service.arguments)):
            if word == "refused":
                self.service.go_away()
                self.addCleanup(self.service.come_back)
            program = self.open_program(*arguments)
            program.see_focus(IDENTIFIER)
            fill(USER, PASSWORD)
            desk.press("Return")
            until(f"a message with '{word}'", lambda: any(word in e.name.lower() for e in program.elements()))
            desk.press("ctrl+q")
            self.assertEqual(program.exit_status(), 0)
        self.assertEqual(self.service.requests, [])

    def test_a_message_of_any_length_wraps_and_leaves_the_window_as_it_is(self):
        message = "Donaudampfschifffahrtselektrizitätenhauptbetriebswerkbauunterbeamtengesellschaft " * 25
        self.service.refuse(LOGIN, message)
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

    def test_one_program_per_profile_lives_on_behind_a_closed_window_and_ends_when_told_to(self):
        never = threading.Event()
        self.addCleanup(never.set)
        self.service.scripted[LOGIN] = lambda _: never.wait()
        program = self.open_program()
        program.see_focus(IDENTIFIER)
        fill(USER, PASSWORD)
        desk.press("Return")
        # All of this with a request that is never answered.
        until("the request", lambda: self.service.requests)
        for close, arguments in ((lambda: desk.press("alt+F4"), []), (lambda: program.click("Close"), ["brisko://today"])):
            close()
            program.see_no_window()
            self.assertEqual(program.again(*arguments), 0)
            program.see_window()
            program.see_text(IDENTIFIER, USER)
        self.assertEqual(len(self.service.requests), 1)
        desk.press("ctrl+q")
        self.assertEqual(program.exit_status(), 0)


class Form(Journey):
    """The form with the keyboard alone, at a service that refuses."""

    def setUp(self):
        super().setUp()
        for path in (LOGIN, FORGOT):
            self.service.refuse(path, "Not today.")
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
        self.program.see_enabled(button)
        self.program.see("Not today.", "label")

    def test_signing_in(self):
        self.walk("Tab", "Password", IDENTIFIER)
        self.walk("shift+Tab", "Password", IDENTIFIER)
        # Nothing is sent before both fields are filled.
        desk.type(USER)
        desk.press("Return", "Tab", "Return")
        desk.type("secret")
        self.submit("Return", LOGIN, "Sign in")
        self.walk("ctrl+Tab", "Show password")
        self.walk("space", "Hide password")
        self.walk("Return", "Show password")
        self.walk("Tab", "Sign in", "Continue with Google", "Forgot password?", "Privacy")
        self.walk("shift+Tab", "Forgot password?", "Continue with Google", "Sign in")
        self.submit("space", LOGIN, "Sign in")
        self.assertEqual(self.service.bodies(LOGIN), [{"username": USER, "password": "secret"}] * 2)
        self.program.click("Forgot password?", "push button")
        self.program.see_focus("Email")
        self.assertFalse(self.program.shows("Password") or self.program.shows("Not today."))
        desk.type("nobody")
        desk.press("Return")
        desk.type("@brisko.example")
        self.submit("Return", FORGOT, "Send reset link")
        self.assertEqual(self.service.bodies(FORGOT), [{"email": "nobody@brisko.example"}])
        # With one field the key goes on to what comes next.
        self.walk("Tab", "Send reset link", "Back to sign in")
        self.walk("space", IDENTIFIER)

    def test_the_password_never_leaves_its_field(self):
        typed = "analytical-engine"
        fill("charles", typed)

        def drag(begin, end):
            x, y = self.program.place(self.program.look("Password"))
            desk.drag((x + begin, y), (x + end, y))

        def clipboards():
            return {desk.selection(name) or "" for name in ("CLIPBOARD", "PRIMARY")}

        ways = ((lambda: desk.press("ctrl+a"), ("ctrl+c", "ctrl+x")), (lambda: drag(0, -140), ("ctrl+c",)),
                (lambda: desk.press("shift+Home"), ("ctrl+Insert", "shift+Delete")),
                (lambda: (desk.press("ctrl+a"), drag(-60, 60)), ("ctrl+c",)))
        for shown in (False, True):
            if shown:
                self.program.click("Show password")
                self.program.click("Password")
                self.program.see("Hide password")
            for select, copy in ((select, copy) for select, keys in ways for copy in keys):
                select()
                until("a selection", lambda: self.program.look("Password").selected)
                self.assertEqual(clipboards(), {""})
                desk.press(copy, "End")
                desk.type("+")
                typed += "+"
                self.program.see_text("Password", typed)
                self.assertEqual(clipboards(), {""})
        desk.press("ctrl+a", "BackSpace", "ctrl+z", "x")
        self.program.see_text("Password", "x")
        # The same keys do copy elsewhere, so the checks above would notice.
        self.program.click(IDENTIFIER)
        desk.press("ctrl+a", "ctrl+c")
        until_equal("what is copied", clipboards, {"charles"})


class Browser(Journey):
    def setUp(self):
        super().setUp()
        self.program = self.open_program(environment=self.install_browser())
        self.program.see_focus(IDENTIFIER)

    def begin(self, decision=None):
        """Presses the button; returns the address to which the browser is sent back once the person has decided there."""
        count = len(self.visits())
        self.program.click("Continue with Google", "push button")
        self.program.see_window(PANEL)
        until("the browser", lambda: len(self.visits()) > count)
        if decision:
            start = self.visits()[-1].removeprefix(self.service.origin)
            nonce = re.search(rb'name="nonce" value="([^"]+)"', self.service.send("GET", start).content)[1]
            form = urllib.parse.urlencode({"nonce": nonce, "decision": decision}).encode()
            headers = {"Content-Type": "application/x-www-form-urlencoded"}
            return self.service.send("POST", "/api/auth/google", form, headers=headers).headers["Location"]

    def test_the_answer_of_the_browser_signs_in_once(self):
        answer = self.begin("allow")
        # A link into the program is not the answer, but is followed later.
        self.assertEqual(self.program.again("brisko://new"), 0)
        self.program.see_window(PANEL)
        self.assertEqual(self.service.sessions(), [])
        self.assertEqual(self.program.again(answer), 0)
        self.service.page.see_ready()
        self.service.page.see("document.activeElement.id", "taskTitle")
        self.program.see_window()
        self.assertEqual(self.program.again(answer), 0)
        shown = len(self.service.page.shown)
        desk.press("ctrl+r")
        self.service.page.see_another(shown)
        self.assertEqual((self.service.sessions(), len(self.program.windows())), (["grace"], 1))

    def test_giving_up_leaves_no_message_and_the_form_as_it_was(self):
        before = [e.name for e in self.program.elements()]
        for give_up in (lambda: self.program.click("Cancel", "push button"), lambda: desk.press("Escape"),
                        lambda: desk.press("alt+F4"), lambda: desk.press("Return")):
            late = self.begin("allow")
            give_up()
            self.program.see_window()
            self.program.see_enabled("Continue with Google")
            self.assertEqual([e.name for e in self.program.elements()], before)
        # An answer that nobody waits for any more is ignored.
        self.assertEqual(self.program.again(late), 0)
        self.assertEqual(self.program.again(self.begin("cancel")), 0)
        self.program.see("Google did not send anything back.", "label")
        self.assertEqual(self.service.sessions(), [])


class CommandLine(unittest.TestCase):
    def test_one_that_makes_no_sense_is_explained(self):
        refused = {("--no-such-option",): "--help", ("--service-origin", "http://brisko.example"): "https",
                   ("--service-ca", "/no/such/file"): "/no/such/file", ("--tour", "pictures"): "--demo",
                   ("--demo", "--service-origin", "https://brisko.example"): "--demo",
                   ("notes.txt",): "notes.txt", ("--profile",): "--help"}
        expected = {arguments: (2, r"\Z", rf"brisko: .*{word}.*\.\n\Z") for arguments, word in refused.items()}
        expected[("--version",)] = (0, r"brisko \d+\.\d+\.\d+\n\Z", r"\Z")
        expected[("--help",)] = (0, r"Usage: .*--service-ca FILE", r"\Z")
        for arguments, (status, output, errors) in expected.items():
            with self.subTest(arguments):
                run = subprocess.run([PROGRAM, *arguments], capture_output=True, text=True, timeout=DEADLINE)
                self.assertEqual(run.returncode, status)
                self.assertRegex(run.stdout, r"(?s)\A" + output)
                self.assertRegex(run.stderr, r"(?s)\A" + errors)


if __name__ == "__main__":
    unittest.main(verbosity=2)
