"""Journeys through the real program in a real window, with the real service behind it."""

import json
import re
import socket
import stat
import subprocess
import unittest
import urllib.parse

from desktop import (DEADLINE, PROGRAM, DemoService, Journey, ScriptedService, press, selection, type_text, until,
                     xdotool)

USER = "ada"  # the account that the embedded service starts with
PASSWORD = "lovelace-1843"

IDENTIFIER = "Username or email"
CAPTCHA = "Type the characters"
PANEL = "Continue in your browser…"


def fill(*texts):
    """Types into the field with the keyboard and those after it."""
    for index, text in enumerate(texts):
        if index:
            press("Tab")
        type_text(text)


def signs_in(program, remembered=False):
    program.see_focus("Password" if remembered else IDENTIFIER)
    fill(*([PASSWORD] if remembered else [USER, PASSWORD]))
    press("Return")


def declines_passcode(program):
    """Leaves the sheet that follows a sign-in with a password."""
    program.see_focus("Passcode")
    press("Escape")
    until("the sheet to go", lambda: not program.shows("Not now"))


def see_page(program):
    """Waits for the web application to have the window and the keyboard."""
    program.see_focus("WebKitWebView")


def write_task(service, program, title, username=USER, keys=("ctrl+n",)):
    """Writes a task with the page's own keys: proof that the page is there, signed in and has the keyboard."""

    def written():
        # The page hears its keys once it has loaded; an editor that is open ignores the one that opens it.
        press(*keys, "ctrl+a")
        type_text(title)
        press("Return")
        return title in service.tasks(username)

    see_page(program)
    until(f"the task '{title}'", written)


class SignIn(Journey):
    def test_the_first_start_leads_to_the_web_application_and_the_next_ones_straight_to_it(self):
        service = self.run_service()
        program = self.open_program(service)
        program.see_focus(IDENTIFIER)
        self.assertEqual((program.web_processes(), program.maps("libwebkitgtk")), ([], False))

        fill(USER, "a wrong password")
        press("Return")
        program.see("Wrong username or password.", "label")
        self.assertEqual(service.sessions(), [])
        press("ctrl+a")
        type_text(PASSWORD)
        press("Return")
        declines_passcode(program)
        write_task(service, program, "Written in the page")
        self.assertFalse(program.shows("Sign up"))
        self.assertIn("WebKitNetworkPr", program.web_processes())
        self.assertEqual(service.sessions(), [USER])

        jar = next((self.folder / "profile").glob("data/origins/*/cookies.json"))
        self.assertEqual([stat.S_IMODE(path.stat().st_mode) for path in (jar, jar.parent)], [0o600, 0o700])
        press("ctrl+q")
        self.assertEqual(program.exit_status(), 0)

        program = self.open_program(service)
        until("the web application at once", lambda: program.look("WebKitWebView") if not program.shows("Sign up")
              else self.fail("The sign-in screen came up although the session goes on."))
        write_task(service, program, "Written after the restart")
        self.assertEqual(service.sessions(), [USER])

        # The session ends elsewhere.
        token = json.loads(jar.read_text())["cookies"][0]
        service.post("/api/auth/logout", cookie=f"{token['name']}={token['value']}")
        self.assertEqual(service.sessions(), [])
        program.again("brisko://today")
        program.see_text(IDENTIFIER, USER)
        signs_in(program, remembered=True)
        declines_passcode(program)
        write_task(service, program, "Written after signing in again")

    def test_a_new_account_needs_the_characters_of_the_picture(self):
        service = self.run_service()
        program = self.open_program(service)
        program.see_focus(IDENTIFIER)
        program.click("Sign up", "push button")
        program.see_focus("Username")
        program.see("Get a different image", "push button")
        fill("grete", "grete@brisko.example", "hermann-1926", "wrong")
        picture = program.picture("Verification image")
        press("Return")
        program.see("The characters do not match the picture. Please try the new one.", "label")
        until("a fresh picture", lambda: program.picture("Verification image") != picture)
        self.assertEqual(service.sessions(), [])
        program.see_text(CAPTCHA, "wrong")

        until("the button", lambda: "sensitive" in program.look("Create account", "push button").states)
        press("ctrl+a")
        type_text("tour")
        press("Return")
        declines_passcode(program)
        write_task(service, program, "The first one", "grete")
        self.assertEqual(service.sessions(), ["grete"])

    def test_a_service_that_is_away_or_not_trusted_gets_nothing_and_the_person_is_told(self):
        away = socket.create_server(("127.0.0.1", 0))
        stranger = self.run_service(ScriptedService, error="never shown")
        origins = {f"https://127.0.0.1:{away.getsockname()[1]}": "refused", stranger.origin: "certificate"}
        away.close()
        for origin, word in origins.items():
            with self.subTest(word):
                program = self.open_program(None, "--service-origin", origin)
                signs_in(program)
                message = until("a message", lambda: next(
                    (e.name for e in program.elements() if e.role == "label" and word in e.name.lower()), None))
                self.assertGreater(len(message), len(word))
                press("ctrl+q")
                self.assertEqual(program.exit_status(), 0)
        self.assertEqual(stranger.requests, [])

    def test_a_message_of_any_length_wraps_and_leaves_the_window_as_it_is(self):
        message = "Donaudampfschifffahrtselektrizitätenhauptbetriebswerkbauunterbeamtengesellschaft " * 25
        service = self.run_service(ScriptedService, error=message)
        program = self.open_program(service)
        google = program.see("Continue with Google", "push button")
        width = google.box.width
        window = program.look("brisko", "frame").box
        signs_in(program)
        program.see(message, "label")
        self.assertEqual((program.look("brisko", "frame").box, google.box.width), (window, width))
        # All of the form can be reached.
        xdotool("mousemove", *map(str, program.place(program.see("Sign up", "push button"))))

        def scrolled():
            xdotool("click", "--repeat", "10", "5")
            return program.look("Forgot password?").box.y < window.height - 20

        until("the footer in view", scrolled)


class Keyboard(Journey):
    def setUp(self):
        super().setUp()
        self.service = self.run_service(ScriptedService, error="Not today.")
        self.program = self.open_program(self.service)
        self.program.see_focus(IDENTIFIER)

    def see_focus_after(self, key, *names):
        for name in names:
            press(key)
            self.program.see_focus(name)

    def see_submitted(self, path, count):
        """Waits for the answer too: the button that was busy has its text again."""
        until("the requests", lambda: [p for p, _ in self.service.requests] == [path] * count)
        until("the answer", lambda: any(e.name == "Not today." for e in self.program.elements())
              and "sensitive" in self.program.look(self.submit, "push button", -1).states)

    def test_signing_in(self):
        self.submit = "Sign in"
        self.see_focus_after("Tab", "Password", IDENTIFIER)
        self.see_focus_after("shift+Tab", "Password", IDENTIFIER)

        # Nothing is sent before both fields are filled.
        type_text(USER)
        press("Return", "Tab", "Return")
        type_text("secret")
        press("Return")
        self.see_submitted("/api/auth/login", 1)
        press("Tab", "Return")
        self.see_submitted("/api/auth/login", 2)

        self.see_focus_after("ctrl+Tab", "Password", "Show password")
        press("space")
        self.program.see_focus("Hide password")
        press("Return")
        self.program.see_focus("Show password")
        self.see_focus_after("Tab", "Sign in", "Continue with Google", "Forgot password?", "Privacy")
        self.see_focus_after("shift+Tab", "Forgot password?", "Continue with Google", "Sign in")
        press("space")
        self.see_submitted("/api/auth/login", 3)
        self.assertEqual(self.service.requests[-1][1], {"username": USER, "password": "secret"})

    def test_signing_up(self):
        self.submit = "Create account"
        self.see_focus_after("ctrl+shift+Tab", "Sign up")
        press("Return")
        self.program.see_focus("Username")
        self.see_focus_after("Tab", "Email", "Password", CAPTCHA, "Username")
        self.see_focus_after("shift+Tab", CAPTCHA, "Password", "Email", "Username")
        fill(USER, "ada@brisko.example", "secret", "")
        press("Return")
        type_text("tour")
        for count in range(1, 5):
            press("Return")
            self.see_submitted("/api/auth/register", count)
            press("Tab")
        self.assertEqual(self.service.requests[-1][1],
                         {"username": USER, "email": "ada@brisko.example", "password": "secret",
                          "captchaToken": "token", "captchaAnswer": "tour"})

    def test_asking_for_a_reset_link(self):
        self.submit = "Send reset link"
        self.program.click("Forgot password?", "push button")
        self.program.see_focus("Email")
        self.program.see("We will email you a reset link.", "label")
        self.assertFalse(self.program.shows("Password"))
        type_text("nobody")
        press("Return")
        type_text("@brisko.example")
        press("Return")
        self.see_submitted("/api/auth/forgot", 1)
        # With one field the key goes on to what comes next.
        self.see_focus_after("Tab", "Send reset link", "Back to sign in")
        press("space")
        self.program.see_focus(IDENTIFIER)
        self.assertFalse(self.program.shows("Not today."))


class Secrecy(Journey):
    def test_the_password_never_leaves_its_field(self):
        program = self.open_program(self.run_service(ScriptedService, error="Not today."))
        program.see_focus(IDENTIFIER)
        fill("charles", "analytical-engine")

        typed = "analytical-engine"

        def drag(start, end):
            x, y = program.place(program.see("Password"))
            xdotool("mousemove", str(x + start), str(y), "mousedown", "1")
            xdotool("mousemove", "--sync", str(x + end), str(y), "mouseup", "1")

        def assert_kept(select, copy):
            """Nobody is offered the password while it is selected, nor after the key; the field still has it."""
            nonlocal typed
            select()
            until("a selection", lambda: (part := program.look("Password").selection).end_offset > part.start_offset)
            self.assertIn(selection("PRIMARY"), (None, ""))
            press(copy, "End")
            type_text("+")
            typed += "+"
            program.see_text("Password", typed)
            for name in ("CLIPBOARD", "PRIMARY"):
                self.assertIn(selection(name), (None, ""))

        for shown in (False, True):
            with self.subTest(shown=shown):
                if shown:
                    program.click("Show password")
                    program.click("Password")
                    program.see("Hide password")
                assert_kept(lambda: press("ctrl+a"), "ctrl+c")
                assert_kept(lambda: press("ctrl+a"), "ctrl+x")
                assert_kept(lambda: press("shift+Home"), "ctrl+Insert")
                assert_kept(lambda: press("shift+Home"), "shift+Delete")
                assert_kept(lambda: drag(0, -140), "ctrl+c")
                assert_kept(lambda: (press("ctrl+a"), drag(-60, 60)), "ctrl+c")

        press("ctrl+a", "BackSpace")
        program.see_text("Password", "")
        press("ctrl+z", "x")
        program.see_text("Password", "x")

        # The same keys do copy elsewhere, so the checks above would notice.
        program.click(IDENTIFIER)
        press("ctrl+a", "ctrl+c")
        until("the username", lambda: selection("CLIPBOARD") == selection("PRIMARY") == "charles")


class Browser(Journey):
    def setUp(self):
        super().setUp()
        self.service = self.run_service()
        self.program = self.open_program(self.service, environment=self.install_browser())
        self.program.see_focus(IDENTIFIER)

    def begin(self):
        """Presses the button; returns the address that the browser is sent to."""
        self.visited.unlink(missing_ok=True)
        self.program.click("Continue with Google", "push button")
        self.program.see_window(PANEL)
        return self.see_browser()

    def decide(self, start, decision):
        """Answers the consent page; returns the address to which the browser is sent back."""
        page = self.service.get(start).read().decode()
        nonce = re.search(r'name="nonce" value="([^"]+)"', page)[1]
        form = urllib.parse.urlencode({"nonce": nonce, "decision": decision}).encode()
        return self.service.post("/api/auth/google", form).headers["Location"]

    def see_no_panel(self):
        self.program.see_window()
        self.assertFalse(self.program.shows(PANEL))

    def test_the_answer_of_the_browser_signs_in_once(self):
        answer = self.decide(self.begin(), "allow")
        # A link into the program is not the answer, but is followed later.
        self.assertEqual(self.program.again("brisko://new"), 0)
        self.program.see_window(PANEL)
        self.assertEqual(self.service.sessions(), [])

        self.assertEqual(self.program.again(answer), 0)
        # One letter, so that an editor that opens meanwhile gets all of it or nothing.
        write_task(self.service, self.program, "x", "grace", keys=())
        self.see_no_panel()
        self.assertEqual(self.program.again(answer), 0)
        write_task(self.service, self.program, "Still signed in", "grace")
        self.assertEqual(self.service.sessions(), ["grace"])

    def test_the_privacy_page_opens_in_the_browser(self):
        self.program.click("Privacy", "link")
        address = self.see_browser()
        self.assertEqual(address, self.service.origin + "/privacy")
        self.assertEqual(self.service.get(address).status, 200)

    def test_giving_up_leaves_no_message_and_the_form_as_it_was(self):
        before = [e.name for e in self.program.elements() if e.role == "label"]
        for give_up in (lambda: self.program.click("Cancel", "push button"), lambda: press("Escape"),
                        lambda: press("alt+F4"), lambda: press("Return")):
            self.begin()
            give_up()
            self.see_no_panel()
            until("the button again",
                  lambda: "sensitive" in self.program.look("Continue with Google", "push button").states)
            self.assertEqual([e.name for e in self.program.elements() if e.role == "label"], before)
        # An answer that nobody waits for any more is ignored.
        answer = self.decide(self.begin(), "allow")
        press("Escape")
        self.see_no_panel()
        self.assertEqual(self.program.again(answer), 0)
        answer = self.decide(self.begin(), "cancel")
        self.assertEqual(self.service.sessions(), [])
        self.assertEqual(self.program.again(answer), 0)
        self.program.see("Google did not send anything back.", "label")


class Life(Journey):
    def test_one_program_per_profile_lives_on_behind_a_closed_window_and_ends_when_told_to(self):
        service = self.run_service(ScriptedService)
        program = self.open_program(service)
        signs_in(program)
        # All of this with a request that is never answered.
        until("the request", lambda: service.requests)
        press("alt+F4")
        until("no window", lambda: not program.window_shown())
        self.assertEqual(program.again(), 0)
        program.see_window()
        program.see_text(IDENTIFIER, USER)
        program.click("Close", "push button")
        until("no window", lambda: not program.window_shown())
        self.assertEqual(program.again("brisko://today"), 0)
        program.see_window()
        self.assertEqual(len(service.requests), 1)
        press("ctrl+q")
        self.assertEqual(program.exit_status(), 0)

    def test_a_command_line_that_makes_no_sense_is_explained(self):
        refused = {("--no-such-option",): "--help", ("--service-origin", "http://brisko.example"): "https",
                   ("--service-ca", "/no/such/file"): "/no/such/file", ("--tour", "pictures"): "--demo",
                   ("--demo", "--service-origin", "https://brisko.example"): "--demo",
                   ("notes.txt",): "notes.txt", ("--profile",): "--help"}
        for arguments, word in refused.items():
            with self.subTest(arguments):
                run = subprocess.run([PROGRAM, *arguments], capture_output=True, text=True, timeout=DEADLINE)
                self.assertEqual((run.returncode, run.stdout), (2, ""))
                self.assertRegex(run.stderr, r"\Abrisko: .*\.\n\Z")
                self.assertIn(word, run.stderr)
        answers = {"--version": r"\Abrisko \d+\.\d+\.\d+\n\Z", "--help": r"(?s)\AUsage: .*--service-ca FILE"}
        for option, text in answers.items():
            run = subprocess.run([PROGRAM, option], capture_output=True, text=True, timeout=DEADLINE)
            self.assertEqual((run.returncode, run.stderr), (0, ""))
            self.assertRegex(run.stdout, text)


if __name__ == "__main__":
    unittest.main(verbosity=2)
