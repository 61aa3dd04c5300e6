"""The hands and eyes of a person at a desktop, and how a test waits for what they see.

Nothing here sleeps for a while and hopes: every wait is for a condition, has a deadline and says what it saw instead. What
a machine shows its windows on is known here alone.
"""

import collections
import re
import subprocess
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import GLib  # noqa: E402
from PIL import ImageGrab  # noqa: E402

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
            if seen := condition():
                return seen
        except (NotYet, GLib.Error, subprocess.CalledProcessError) as failure:
            seen = failure
        if time.monotonic() > end:
            raise AssertionError(f"Waited in vain for {what}; it was {seen!r}.")
        time.sleep(GLANCE)


def until_equal(what, look, expected):
    """Waits for what is seen to be that."""
    seen = []

    def is_it():
        seen[:] = [look()]
        return seen[0] == expected

    try:
        until(what, is_it)
    except AssertionError:
        raise AssertionError(f"Waited in vain for {what} to be {expected!r}; saw {seen}.") from None


def run(*words):
    return subprocess.run(words, check=True, capture_output=True, text=True).stdout


class X11Desk:
    """The hands and eyes of a person at an X11 desktop with one screen. Windows go by their ids."""

    SCREEN = Box(0, 0, 1400, 1000)

    def xdotool(self, *words):
        return run("xdotool", *map(str, words))

    # Hands.

    def press(self, *keys):
        self.xdotool("key", *keys)

    def type(self, text):
        self.xdotool("type", "--delay", "2", text)

    def move(self, x, y):
        self.xdotool("mousemove", x, y)

    def click(self, x, y, button=1):
        self.xdotool("mousemove", x, y, "click", button)

    def drag(self, start, end):
        self.xdotool("mousemove", *start, "mousedown", 1, "mousemove", "--sync", *end, "mouseup", 1)

    def scroll_down(self, notches):
        self.xdotool("click", "--repeat", notches, 5)

    # Eyes.

    def windows(self, process, title=""):
        """The windows of a process that are on the screen, menus included, or those whose titles match."""
        search = ["xdotool", "search", "--all", "--onlyvisible", "--pid", str(process), "--name", title]
        return subprocess.run(search, capture_output=True, text=True).stdout.split()

    def notifications(self):
        search = ["xdotool", "search", "--onlyvisible", "--class", "^dunst$"]
        return subprocess.run(search, capture_output=True, text=True).stdout.split()

    def active(self):
        """The id, the title and the process of the window with the keyboard."""
        window = self.xdotool("getactivewindow").strip()
        title, process = self.xdotool("getwindowname", window, "getwindowpid", window).split("\n")[:2]
        return window, title, int(process or 0)

    def box(self, window):
        words = self.xdotool("getwindowgeometry", "--shell", window).split()
        values = dict(word.split("=") for word in words)
        return Box(*(int(values[key]) for key in ("X", "Y", "WIDTH", "HEIGHT")))

    def stack(self):
        """The windows on the screen, the topmost last."""
        shown = run("xprop", "-root", "-notype", "_NET_CLIENT_LIST_STACKING")
        return [str(int(window, 16)) for window in re.findall("0x[0-9a-f]+", shown)]

    def picture(self, box=None):
        return ImageGrab.grab(box and (box.x, box.y, box.x + box.width, box.y + box.height))

    def color(self, x, y):
        return self.picture(Box(x, y, 1, 1)).getpixel((0, 0))

    def selection(self, name):
        """What another program would be given: the CLIPBOARD or PRIMARY selection, None when it is not offered."""
        asked = subprocess.run(["xclip", "-o", "-selection", name.lower()], capture_output=True, text=True,
                               timeout=DEADLINE)
        return asked.stdout if asked.returncode == 0 else None

    # The window manager.

    def start_manager(self):
        manager = subprocess.Popen(["openbox"], stderr=subprocess.DEVNULL)
        until("the window manager", lambda: self.xdotool("get_desktop"))
        return manager

    def place(self, window, box):
        self.xdotool("windowsize", "--sync", window, box.width, box.height, "windowmove", window, box.x, box.y)

    def activate(self, window):
        self.xdotool("windowactivate", "--sync", window)


desk = X11Desk()
