# The ways in: the sign-in screen with the keyboard alone, a new account, the browser, and the start with a session that goes
# on; and what a start does with its command line.

import json
import os
import re
import subprocess
import threading
import unittest

import desk
from desk import until
from journey import IDENTIFIER, PASSWORD, PROGRAM, USER, Journey
from service import Answer

PANEL = "Continue in your browser…"
LOGIN = "/api/auth/login"
LONG = "Donaudampfschifffahrtselektrizitätenhauptbetriebswerkbauunterbeamtengesellschaft " * 25


class SignIn(Journey):
    def test_the_first_start_leads_to_the_page_and_the_next_ones_straight_to_it(self):
        self.open_program(IDENTIFIER)
        desk.submit(USER, "a wrong password")
        self.program.see("Wrong username or password.", "label")
        self.assertEqual((self.service.sessions(), self.program.engine()), ([], {}))
        desk.press("ctrl+a")
        desk.submit(PASSWORD)
        self.program.see_focus("Passcode")
        self.assertEqual(self.program.quit(), 0)
        with self.page.renewed():
            self.open_program()
        self.assertEqual((len(self.service.bodies(LOGIN)), self.service.sessions()), (2, [USER]))
        # The session ends elsewhere.
        self.service.end_session()
        self.program.again("brisko://today")
        self.program.see_text(IDENTIFIER, USER)
        self.sign_in(PASSWORD)

    def test_a_new_account_needs_the_characters_of_the_picture(self):
        self.open_program(IDENTIFIER)
        desk.press("ctrl+shift+Tab", "Return")
        self.program.see("Get a different image", "push button")
        self.sign_in("grete", "grete@brisko.example", "hermann-1926", "tour", field="Username")
        self.assertEqual(self.service.sessions(), ["grete"])

    def test_one_program_per_profile_lives_on_behind_a_closed_window_and_ends_when_told_to(self):
        self.service.scripted[LOGIN] = lambda _: threading.Event().wait()
        self.open_program(IDENTIFIER)
        desk.submit(USER, PASSWORD)
        until("a request that is never answered", lambda: self.service.requests)
        # With its button: the keys that close any window are the window manager's, which at times lets go of them.
        for close, arguments in ((lambda: self.program.click("Close"), []),
                                 (lambda: desk.press("ctrl+w"), ["brisko://today"])):
            close()
            self.program.see_no_window()
            self.program.again(*arguments)
            self.program.see_window()
            self.program.see_text(IDENTIFIER, USER)
        other = subprocess.run([*self.program.command, "--service-origin", "https://other.example"], capture_output=True, text=True)
        self.assertRegex(f"{other.returncode} {other.stderr}", "1 brisko: .* already, with https://127.*--profile")
        with subprocess.Popen(["dbus-monitor", "--session", "interface='org.freedesktop.Application'"], stdout=subprocess.PIPE,
                              text=True) as monitor:
            monitor.stdout.readline()
            subprocess.run(self.program.command, env={**os.environ, "XDG_ACTIVATION_TOKEN": "may-come"}, check=True)
            heard = iter(monitor.stdout.readline, "")
            self.assertIn("desktop-startup-id", next(line for line in heard if "-id" in line))
            self.assertIn("may-come", next(heard))
            monitor.terminate()
        self.assertEqual((len(self.service.requests), self.program.quit()), (1, 0))


class Form(Journey):
    def setUp(self):
        super().setUp()
        self.install_browser()
        self.open_program(IDENTIFIER)

    def walk(self, key, *names):
        for name in names:
            desk.press(key)
            self.program.see_focus(name)

    def test_the_keyboard_alone_is_enough_and_no_message_too_long(self):
        self.service.scripted[LOGIN] = lambda _: Answer(401, [], json.dumps({"error": LONG}).encode())
        before = self.program.look("brisko", "frame").box
        self.walk("Tab", "Password", IDENTIFIER)
        # Nothing is sent before both fields are filled.
        desk.type(USER)
        desk.press("Return", "Tab", "Return")
        desk.submit("secret")
        self.program.see(LONG, "label")
        self.assertEqual(self.program.look("brisko", "frame").box, before)
        self.assertEqual(self.service.bodies(LOGIN), [{"username": USER, "password": "secret"}])
        self.walk("ctrl+Tab", "Show password")
        self.walk("space", "Hide password")
        self.walk("Tab", "Sign in", "Continue with Google", "Forgot password?")
        self.walk("space", "Email")
        # With one field the key goes on to what comes next.
        desk.type("nobody@brisko.example")
        self.walk("Tab", "Send reset link", "Back to sign in")
        self.walk("space", IDENTIFIER)

    def test_the_password_never_leaves_its_field(self):
        desk.type("charles", typed := "analytical-engine")

        def clipboards():
            return desk.selection("CLIPBOARD") + desk.selection("PRIMARY")

        def selections():
            return self.program.look("Password").call("Text.GetNSelections")

        # The toolkit releases the primary selection when one ends and claims it when the next one begins. Where both
        # happen within a millisecond it takes its own release for another program's claim, and drops the new one.
        def drag(begin, end):
            x, y = self.program.place(self.program.look("Password"))
            desk.xdotool("mousemove", x + begin, y, "mousedown", 1)
            until("the end of the selection", selections, 0)
            desk.xdotool("mousemove", "--sync", x + end, y, "mouseup", 1)

        for key in ("Hide password", "Show password"):
            for copy, select in (("ctrl+c", lambda: desk.press("ctrl+a")), ("ctrl+x", lambda: drag(0, -140)),
                                 ("ctrl+Insert", lambda: (desk.press("ctrl+a"), drag(-60, 60)))):
                select()
                until("a selection", selections, 1)
                self.assertEqual(clipboards(), "")
                desk.press(copy, "End", "plus")
                typed += "+"
                self.program.see_text("Password", typed)
                self.assertEqual(clipboards(), "")
            desk.press("ctrl+Tab")
            self.walk("space", key)
            self.walk("shift+Tab", "Password")
        # The same keys do copy elsewhere, so the checks above would notice.
        self.program.click(IDENTIFIER)
        desk.press("ctrl+a", "ctrl+c")
        until("what is copied", clipboards, "charlescharles")

    # Presses the button; returns the address to which the browser is sent back once the person has agreed there.
    def ask_browser(self):
        before = self.visited.read_text()
        self.program.click("Continue with Google", "push button", "sensitive")
        self.program.see_window(PANEL)
        self.program.see_focus("Cancel")
        start = until("the browser", lambda: self.visited.read_text().removeprefix(before)).strip()
        page = self.service.send("GET", start.removeprefix(self.service.origin)).body
        nonce = re.search(rb'name="nonce" value="([^"]+)"', page)[1].decode()
        headers = {"Content-Type": "application/x-www-form-urlencoded"}
        answer = self.service.send("POST", "/api/auth/google", f"nonce={nonce}&decision=allow", headers)
        return dict(answer.headers)["Location"]

    def test_the_browser_signs_in_once_unless_the_person_gives_up(self):
        for key in ("Escape", "Return"):
            late = self.ask_browser()
            desk.press(key)
            self.program.see_window()
        # An answer that nobody waits for any more is ignored.
        self.program.again(late)
        answer = self.ask_browser()
        # A link into the program is not the answer, but is followed later.
        self.program.again("brisko://new")
        self.program.see_window(PANEL)
        self.assertEqual(self.service.sessions(), [])
        self.program.again(answer)
        self.page.see_ready()
        self.page.see("document.activeElement.id", "taskTitle")
        self.program.see_window()
        self.program.again(answer)
        with self.page.renewed():
            desk.press("ctrl+r")
        self.assertEqual(self.service.sessions(), ["grace"])


class CommandLine(unittest.TestCase):
    def test_one_that_makes_no_sense_is_explained(self):
        expected = {("--no-such-option",): "2 brisko: .*--help.*", ("--service-ca", "/no/such/file"): "2 .*/no/such/file.*",
                    ("--demo", "--service-origin", "https://brisko.example"): "2 brisko: .*--demo.*",
                    ("--service-origin", "http://brisko.example"): "2 brisko: .*https.*",
                    ("--version",): r"0brisko \d+\.\d+\.\d+\n ", ("--help",): r"0Usage: .*--service-ca FILE.* "}
        for arguments, said in expected.items():
            run = subprocess.run([PROGRAM, *arguments], capture_output=True, text=True)
            self.assertRegex(f"{run.returncode}{run.stdout} {run.stderr}", rf"(?s)\A{said}\Z", arguments)
