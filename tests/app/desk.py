# The hands and eyes of a person at an X11 desktop with one screen, on which windows go by their ids, and how a test waits
# for what they see. Nothing sleeps for a while and hopes: every wait is for a condition, has a deadline and says what it
# saw instead.

import collections
import re
import subprocess
import time

from gi.repository import GLib
from PIL import ImageGrab

DEADLINE = 30  # seconds; only a failure takes that long
GLANCE = 0.02  # seconds between two looks

Box = collections.namedtuple("Box", "x y width height")
SCREEN = Box(0, 0, 1400, 1000)


# What is looked for is not there now.
class NotYet(Exception):
    pass


# Waits until `look` returns that, or else anything true, and returns it. What is not there, or no longer, is neither.
def until(what, look, *expected):
    end = time.monotonic() + DEADLINE
    while True:
        try:
            seen = look()
            if seen == expected[0] if expected else seen:
                return seen
        except (NotYet, GLib.Error, subprocess.CalledProcessError) as failure:
            seen = failure
        if time.monotonic() > end:
            wanted = f"{what} to be {expected[0]!r}" if expected else what
            raise AssertionError(f"Waited in vain for {wanted}; saw {seen!r}.")
        time.sleep(GLANCE)


def run(*words):
    return subprocess.run([*map(str, words)], check=True, capture_output=True, text=True).stdout


# Hands.

def xdotool(*words):
    return run("xdotool", *words)


def press(*keys):
    xdotool("key", *keys)


# Into the field with the keyboard and those after it.
def type(*texts):
    for index, text in enumerate(texts):
        xdotool(*(["key", "Tab"] if index else []), "type", "--delay", "2", text)


# Fills the field with the keyboard and those after it, and sends the form.
def submit(*texts):
    type(*texts)
    press("Return")


def click(x, y, button=1):
    xdotool("mousemove", x, y, "click", button)


# Eyes.

# Those on the screen that fit, menus included.
def windows(*search):
    words = ["xdotool", "search", "--all", "--onlyvisible", *map(str, search)]
    return subprocess.run(words, capture_output=True, text=True).stdout.split()


# The id, the title and the process of the window with the keyboard.
def active():
    window = xdotool("getactivewindow").strip()
    title, process = xdotool("getwindowname", window, "getwindowpid", window).split("\n")[:2]
    return window, title, int(process or 0)


def box(window):
    values = dict(word.split("=") for word in xdotool("getwindowgeometry", "--shell", window).split())
    return Box(*(int(values[key]) for key in ("X", "Y", "WIDTH", "HEIGHT")))


# The windows on the screen, the topmost last.
def stack():
    shown = run("xprop", "-root", "-notype", "_NET_CLIENT_LIST_STACKING")
    return [str(int(window, 16)) for window in re.findall("0x[0-9a-f]+", shown)]


def colors(x, y, width=1, height=1):
    return {color for _, color in ImageGrab.grab((x, y, x + width, y + height)).getcolors(1 << 24)}


# What another program would be given: the CLIPBOARD or PRIMARY selection; nothing when it is not offered.
def selection(name):
    words = ["xclip", "-o", "-selection", name.lower()]
    return subprocess.run(words, capture_output=True, text=True, timeout=DEADLINE).stdout
