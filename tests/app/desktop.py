"""Uses the program as a person does: real keys and clicks, what the screen and assistive technology show.

Nothing here sleeps for a while and hopes: every wait is for a condition and has a deadline.
"""

import collections
import http.server
import json
import os
import pathlib
import re
import ssl
import subprocess
import tempfile
import threading
import time
import unittest
import urllib.error
import urllib.request

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402
from PIL import ImageGrab  # noqa: E402

PROGRAM = os.environ["BRISKO"]
SERVICE = os.environ["BRISKO_DEMO_SERVICE"]
PICTURES = pathlib.Path(os.environ["BRISKO_PICTURES"])  # where a failed journey leaves what it saw

DEADLINE = 30  # seconds; only a failure takes that long
GLANCE = 0.02  # seconds between two looks

Box = collections.namedtuple("Box", "x y width height")


class NotYet(Exception):
    """What is looked for is not there now."""


def until(what, condition, deadline=DEADLINE):
    """Returns the condition's value once it is true; what is not there, or no longer, counts as false."""
    end = time.monotonic() + deadline
    while True:
        try:
            if value := condition():
                return value
        except (NotYet, GLib.Error, subprocess.CalledProcessError):
            pass
        if time.monotonic() > end:
            PICTURES.mkdir(parents=True, exist_ok=True)
            picture = PICTURES / (re.sub(r"\W+", "-", what) + ".png")
            ImageGrab.grab().save(picture)
            raise AssertionError(f"Waited in vain for {what}; the screen is in {picture}.")
        time.sleep(GLANCE)


def xdotool(*words):
    return subprocess.run(["xdotool", *words], check=True, capture_output=True, text=True).stdout


def press(*keys):
    xdotool("key", *keys)


def type_text(text):
    xdotool("type", "--delay", "2", text)


def selection(name):
    """What another program would be given: the CLIPBOARD or PRIMARY selection, None when it is not offered."""
    asked = subprocess.run(["xclip", "-o", "-selection", name.lower()], capture_output=True, text=True,
                           timeout=DEADLINE)
    return asked.stdout if asked.returncode == 0 else None


class Element:
    """Something in a window, as assistive technology sees it."""

    def __init__(self, accessible):
        self.accessible = accessible
        self.role = accessible.get_role_name()
        self.name = accessible.get_name()
        self.states = {state.value_nick for state in accessible.get_state_set().get_states()}

    def __repr__(self):
        return f"{self.role} '{self.name}' {sorted(self.states)}"

    @property
    def text(self):
        return Atspi.Text.get_text(self.accessible, 0, Atspi.Text.get_character_count(self.accessible))

    @property
    def selection(self):
        return Atspi.Text.get_selection(self.accessible, 0)

    @property
    def box(self):
        """Inside the window's frame."""
        extents = Atspi.Component.get_extents(self.accessible, Atspi.CoordType.WINDOW)
        return Box(extents.x, extents.y, extents.width, extents.height)


class Program:
    """The program, started with `arguments` in `profile`, until it ends or is stopped."""

    def __init__(self, profile, *arguments, environment=None):
        self.profile = profile
        self.errors = tempfile.TemporaryFile("w+")
        self.process = subprocess.Popen([PROGRAM, "--profile", profile, *arguments], stderr=self.errors,
                                        env={**os.environ, **(environment or {})})

    def again(self, *arguments):
        """Starts it a second time, as a desktop does when the person opens it or a link. Returns the status."""
        return subprocess.run([PROGRAM, "--profile", self.profile, *arguments], timeout=DEADLINE).returncode

    def stop(self):
        if self.process.poll() is None:
            self.process.terminate()
        self.process.wait(DEADLINE)

    def exit_status(self):
        return self.process.wait(DEADLINE)

    def complaints(self):
        """The lines on stderr in which a library finds fault with the program; its web processes have their own."""
        own = rf":{self.process.pid}\).*(CRITICAL|WARNING)|==ERROR:|runtime error:"
        self.errors.seek(0)
        return [line for line in self.errors if re.search(own, line)]

    # What it shows.

    def elements(self):
        """All that its windows hold, in the order of the tree."""
        if self.process.poll() is not None:
            raise AssertionError(f"The program has ended with {self.process.returncode}.")
        desktop = Atspi.get_desktop(0)
        desktop.clear_cache()
        for child in children(desktop):
            if child.get_process_id() == self.process.pid:
                child.set_cache_mask(Atspi.Cache.NONE)
                return [Element(accessible) for accessible in descendants(child)]
        raise NotYet

    def look(self, name, role=None, index=0):
        found = [e for e in self.elements() if e.name == name and (role is None or e.role == role)]
        if not found:
            raise NotYet
        return found[index]

    def see(self, name, role=None, index=0):
        """Waits for an element of that name."""
        return until(f"'{name}'", lambda: self.look(name, role, index))

    def shows(self, name):
        return any(element.name == name for element in self.elements())

    def see_text(self, field, text):
        until(f"'{text}' in '{field}'", lambda: self.look(field).text == text)

    def see_focus(self, name):
        """Waits for the keyboard to be in the element of that name."""
        until(f"the keyboard in '{name}'",
              lambda: any(e.name == name and "focused" in e.states for e in self.elements()))

    def see_window(self, title="brisko"):
        """Waits for its window to have the keyboard of the desktop."""

        def active():
            name, process = xdotool("getactivewindow", "getwindowname", "getwindowpid").split("\n")[:2]
            return ((name, int(process)) == (title, self.process.pid)
                    and "active" in self.look(title, "frame").states)

        until(f"the window '{title}'", active)

    def window_shown(self):
        search = ["xdotool", "search", "--onlyvisible", "--pid", str(self.process.pid)]
        return subprocess.run(search, capture_output=True).stdout.strip() != b""

    def place(self, element):
        """The middle of an element on the screen."""
        elements = self.elements()
        # A panel does not say that it is active, but then no other window does.
        active = [e for e in elements if e.role == "frame" and "active" in e.states]
        frame = (active or [e for e in elements if e.role == "dialog"])[-1].box
        lines = xdotool("getactivewindow", "getwindowgeometry", "--shell").split()
        geometry = dict(line.split("=") for line in lines)
        # The window is larger than its frame by the border that it draws itself.
        left = int(geometry["X"]) + (int(geometry["WIDTH"]) - frame.width) // 2
        top = int(geometry["Y"]) + (int(geometry["HEIGHT"]) - frame.height) // 2
        box = element.box
        return left + box.x + box.width // 2, top + box.y + box.height // 2

    def click(self, name, role=None, index=0, button=1):
        x, y = self.place(self.see(name, role, index))
        xdotool("mousemove", str(x), str(y), "click", str(button))

    def picture(self, name, role=None):
        """The pixels of an element."""
        element = self.see(name, role)
        x, y = self.place(element)
        width, height = element.box.width, element.box.height
        return ImageGrab.grab((x - width // 2, y - height // 2, x + width // 2, y + height // 2))

    # What it is made of.

    def web_processes(self):
        """The web engine's processes that it has started, by their names, of which the kernel keeps 15 letters."""
        return list(self.engine().values())

    def engine(self):
        """The same by their ids."""
        parents = {}
        names = {}
        for folder in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                status = dict(line.split(":\t", 1) for line in (folder / "status").read_text().splitlines())
            except OSError:
                continue
            names[int(folder.name)] = status["Name"]
            parents[int(folder.name)] = int(status["PPid"])

        def is_ours(process):
            return process == self.process.pid or (process in parents and is_ours(parents[process]))

        return {process: name for process, name in names.items() if name.startswith("WebKit") and is_ours(process)}

    def maps(self, library):
        return library in pathlib.Path(f"/proc/{self.process.pid}/maps").read_text()


class TestWindow(Program):
    """A small program of the tests, which takes requests on its standard input and answers on its output."""

    def __init__(self, program, folder):
        self.errors = open(folder / "errors", "w+")
        self.process = subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=self.errors,
                                        text=True)

    def do(self, *request):
        self.process.stdin.write(json.dumps(request) + "\n")
        self.process.stdin.flush()

    def answer(self):
        return json.loads(self.process.stdout.readline())

    def ask(self, *request):
        self.do(*request)
        return self.answer()

    def stop(self):
        self.process.stdin.close()
        self.process.stdout.close()
        self.process.wait(DEADLINE)


def children(accessible):
    return [child for i in range(accessible.get_child_count()) if (child := accessible.get_child_at_index(i))]


def descendants(accessible):
    for child in children(accessible):
        yield child
        yield from descendants(child)


class DemoService:
    """The embedded service as a process of its own. What it knows is read from its state file."""

    def __init__(self, folder, port=0):
        self.state = folder / "service.json"
        self.process = subprocess.Popen(
            [SERVICE, "--stay", "--port", str(port), "--certificate", folder / "service.pem", "--state",
             self.state, "--captcha-answer", "tour"], stdout=subprocess.PIPE, text=True)
        greeting = json.loads(self.process.stdout.readline())
        self.origin = greeting["origin"]
        self.certificate = greeting["certificate"]

    @property
    def arguments(self):
        return ["--service-origin", self.origin, "--service-ca", self.certificate]

    def stop(self):
        self.process.terminate()
        self.process.wait(DEADLINE)
        self.process.stdout.close()

    def kept(self):
        """Its state; there is none before the first change."""
        return json.loads(self.state.read_text()) if self.state.exists() else {"accounts": [], "sessions": {}}

    def sessions(self):
        """The users that are signed in, one entry for each session."""
        return [session["username"] for session in self.kept()["sessions"].values()]

    def tasks(self, username):
        """The titles of a user's tasks."""
        return [task["title"] for account in self.kept()["accounts"] if account["username"] == username
                for task in account["tasks"]["tasks"]]

    def get(self, url):
        return self.opener().open(url, timeout=DEADLINE)

    def post(self, path, form=b"", cookie=""):
        """What a browser gets; it stays where it is instead of following a redirection."""
        request = urllib.request.Request(self.origin + path, form, {"Cookie": cookie})
        try:
            return self.opener().open(request, timeout=DEADLINE)
        except urllib.error.HTTPError as redirection:
            return redirection

    def send(self, method, path, content, cookie):
        """A request with JSON, as the page makes it."""
        headers = {"Cookie": cookie, "Content-Type": "application/json"}
        request = urllib.request.Request(self.origin + path, json.dumps(content).encode(), headers, method=method)
        self.opener().open(request, timeout=DEADLINE).close()

    def change_settings(self, settings, cookie):
        self.send("PATCH", "/api/settings", settings, cookie)

    def import_tasks(self, titles, cookie):
        self.send("POST", "/api/tasks/import", {"tasks": [{"title": title} for title in titles]}, cookie)

    def opener(self):
        class Staying(urllib.request.HTTPRedirectHandler):
            def redirect_request(self, *_):
                return None

        context = ssl.create_default_context(cafile=self.certificate)
        return urllib.request.build_opener(urllib.request.HTTPSHandler(context=context), Staying)


class ScriptedService:
    """Refuses every request but one for a challenge with `error`; None keeps it waiting until the end."""

    def __init__(self, folder, error=None):
        self.error = error
        self.requests = []  # path and object
        self.ended = threading.Event()
        self.certificate = folder / "scripted.pem"
        key = folder / "scripted.key"
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
                        "-nodes", "-days", "1", "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1",
                        "-out", self.certificate, "-keyout", key], check=True, capture_output=True)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.certificate, key)
        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), self.handler())
        self.server.socket = context.wrap_socket(self.server.socket, server_side=True)
        self.thread = threading.Thread(target=self.server.serve_forever, daemon=True)
        self.thread.start()
        self.origin = f"https://127.0.0.1:{self.server.server_port}"

    @property
    def arguments(self):
        return ["--service-origin", self.origin, "--service-ca", self.certificate]

    def handler(service):  # noqa: N805
        class Handler(http.server.BaseHTTPRequestHandler):
            def do_POST(self):
                body = self.rfile.read(int(self.headers["Content-Length"]))
                service.requests.append((self.path, json.loads(body)))
                if service.error is None:
                    service.ended.wait()
                    return
                self.reply(401, {"error": service.error})

            def reply(self, status, content):
                body = json.dumps(content).encode()
                self.send_response(status)
                self.send_header("Content-Length", str(len(body)))
                self.end_headers()
                self.wfile.write(body)

            def do_GET(self):
                self.reply(200, {"token": "token", "image": "data:image/png;base64,"})

            def log_message(self, *_):
                pass

        return Handler

    def stop(self):
        self.ended.set()
        self.server.shutdown()
        self.server.server_close()
        self.thread.join(DEADLINE)


class Journey(unittest.TestCase):
    """A test that uses the program in a profile of its own."""

    @classmethod
    def setUpClass(cls):
        cls.manager = subprocess.Popen(["openbox"], stderr=subprocess.DEVNULL)
        cls.addClassCleanup(cls.manager.wait, DEADLINE)
        cls.addClassCleanup(cls.manager.terminate)
        until("the window manager", lambda: xdotool("get_desktop"))

    def setUp(self):
        # The engine's processes outlive the program for a moment, in which they may still write.
        folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.programs = []

    def run_service(self, kind=DemoService, **options):
        service = kind(self.folder, **options)
        self.addCleanup(service.stop)
        return service

    def open_program(self, service, *arguments, environment=None, profile="profile"):
        """Starts the program and waits for its window."""
        arguments = [*(service.arguments if service else []), *arguments]
        program = Program(self.folder / profile, *arguments, environment=environment)
        self.addCleanup(program.errors.close)
        self.addCleanup(program.stop)
        self.programs.append(program)
        program.see_window()
        return program

    def cookie(self):
        """That of the session which the program keeps."""
        jar = json.loads(next((self.folder / "profile").glob("data/origins/*/cookies.json")).read_text())
        return "{name}={value}".format(**jar["cookies"][0])

    def install_browser(self):
        """Makes the desktop open web addresses with a program that notes them, for the test to play the browser. Returns
        the environment in which it does."""
        self.visited = self.folder / "visited"
        browser = self.folder / "browser"
        browser.write_text(f'#!/bin/sh\necho "$1" >>{self.visited}\n')
        browser.chmod(0o700)
        applications = self.folder / "share" / "applications"
        applications.mkdir(parents=True)
        (applications / "browser.desktop").write_text(
            f"[Desktop Entry]\nType=Application\nName=Browser\nExec={browser} %u\n"
            "MimeType=x-scheme-handler/https;\n")
        (applications / "mimeapps.list").write_text(
            "[Default Applications]\nx-scheme-handler/https=browser.desktop\n")
        return {"XDG_DATA_HOME": str(applications.parent)}

    def see_browser(self):
        """Waits for the browser; returns the addresses that it was sent to."""
        return until("the browser", lambda: self.visited.exists() and self.visited.read_text().strip())

    def open_test_window(self, program):
        """Starts a small program of the tests and waits for its window."""
        window = TestWindow(program, self.folder)
        self.programs.append(window)
        self.addCleanup(window.errors.close)
        window.see_window()
        return window

    def tearDown(self):
        for program in self.programs:
            program.stop()
            self.assertEqual(program.complaints(), [])
