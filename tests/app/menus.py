"""Every menu item chosen in a real window: with the mouse, with the keyboard in the menus, and with its own keys."""

import functools
import itertools
import json
import os
import re
import signal
import subprocess
import unittest

from PIL import ImageGrab

from desktop import Journey, press, selection, type_text, until, xdotool
from journeys import IDENTIFIER, PANEL, USER, declines_passcode, signs_in, write_task
from passcode import PasscodeJourney

MENUS = ["brisko", "File", "Edit", "View", "Window", "Help"]
ABOUT = "About brisko"

# What can be chosen on every screen, wherever the keyboard is.
ALWAYS = {ABOUT, "Hide brisko", "Hide Others", "Show All", "Quit brisko", "Close Window", "Enter Full Screen", "Minimize",
          "Zoom", "Bring All to Front", "brisko Guides", "Privacy Policy"}
PAGE = {"Settings…", "Lock & Passcode…", "New Task", "Search All Tasks", "Filter This List", "Reload", "Actual Size",
        "Zoom In", "Zoom Out", "Switch List / Kanban"}
EDITING = {"Undo", "Redo", "Cut", "Copy", "Paste", "Paste and Match Style", "Select All"}


def geometry(window):
    words = xdotool("getwindowgeometry", "--shell", window).split()
    values = dict(word.split("=") for word in words)
    return tuple(int(values[key]) for key in ("X", "Y", "WIDTH", "HEIGHT"))


def windows(program, title=""):
    """The X windows of the program that are on the screen, menus included, or those of a title."""
    search = ["xdotool", "search", "--all", "--onlyvisible", "--pid", str(program.process.pid), "--name", title]
    return subprocess.run(search, capture_output=True, text=True).stdout.split()


def quiet_place():
    """A place in the window's header where nothing is that the pointer changes."""
    x, y, width, _ = geometry(xdotool("getactivewindow").strip())
    return str(x + width * 2 // 3), str(y + 20)


class Menus:
    """The menu bar of a program, and the ways to choose an item."""

    def __init__(self, program):
        self.program = program

    def walk(self):
        """Opens one menu after the other with the keyboard; gives the title of each that is open."""
        xdotool("mousemove", *quiet_place())  # a pointer over the menu would take part
        press("F10")
        for title in MENUS:
            if title != MENUS[0]:
                press("Right")
            self.program.see(title, "menu")
            yield title

    def open(self, menu):
        next(title for title in self.walk() if title == menu)

    def close(self):
        press("Escape")
        until("closed menus", lambda: not any(e.role == "menu" for e in self.program.elements()))

    def items(self, menu):
        """The items of a menu that is open, by their titles."""
        elements = self.program.elements()
        begin = next(i for i, e in enumerate(elements) if e.role == "menu" and e.name == menu)
        return {e.name: e for e in elements[begin:] if e.role == "menu item" and e.name not in MENUS}

    def labels(self, menu):
        """What each item of a menu says besides its title: its keys."""
        self.open(menu)
        texts = {}
        for element in self.program.elements():
            if element.role == "menu item":
                texts[item := element.name] = ""
            elif element.role == "label" and texts and element.name != item:
                texts[item] = element.name
        self.close()
        return texts

    def enabled(self):
        """The titles of all items that can be chosen."""
        titles = {name for menu in self.walk() for name, item in self.items(menu).items() if "sensitive" in item.states}
        self.close()
        return titles

    # The three ways.

    def with_mouse(self, menu, item, _keys):
        rest = quiet_place()
        self.program.click(menu, "menu item")
        frame = self.program.see(menu, "menu").box
        # A menu is a window of its own, and places inside it count from its corner.
        popover = until(f"the window of '{menu}'", lambda: next(
            (g for g in map(geometry, windows(self.program)) if g[2:] == (frame.width, frame.height)), None))
        box = self.program.see(item, "menu item").box
        xdotool("mousemove", str(popover[0] + box.x - frame.x + box.width // 2),
                str(popover[1] + box.y - frame.y + box.height // 2), "click", "1", "mousemove", *rest)
        self.see_closed()

    def with_keyboard(self, menu, item, _keys):
        def focused():
            return next((e.name for e in self.program.elements() if e.role == "menu item" and "focused" in e.states), None)

        self.open(menu)
        while (name := until("an item with the keyboard", focused)) != item:
            press("Down")
            until(f"the item after '{name}'", lambda: focused() not in (None, name))
        press("Return")
        self.see_closed()

    def with_keys(self, _menu, _item, keys):
        press(keys)

    def see_closed(self):
        until("closed menus", lambda: self.program.process.poll() is not None
              or not any(e.role == "menu" for e in self.program.elements()))


# Parts of the window, as fractions of its size: where the page's dialogs are, where nothing but its ground is, the rows of
# its list, its title, and that with the filter beside it.
DIALOG = (0.2, 0.1, 0.8, 0.9)
CORNER = (0.985, 0.9, 0.995, 0.99)
LIST = (0.2, 0.15, 0.98, 0.9)
TITLE = (0.2, 0.06, 0.35, 0.1)
TITLE_ROW = (0.2, 0.06, 0.8, 0.1)


class Choosing:
    """A journey whose program has menus."""

    def start(self):
        self.environment = self.install_browser()
        self.program = self.open_program(self.service, environment=self.environment)
        self.menus = Menus(self.program)
        self.program.see_focus(IDENTIFIER)

    def every_way(self, menu, item, keys=None):
        """Each way to choose the item, as a function that does it."""
        for way in (self.menus.with_mouse, self.menus.with_keyboard, self.menus.with_keys):
            if way != self.menus.with_keys or keys:
                yield functools.partial(way, menu, item, keys)


class MenuJourney(Choosing, Journey):
    def setUp(self):
        super().setUp()
        self.service = self.run_service()
        self.start()

    def sign_in(self):
        xdotool("mousemove", *quiet_place())
        signs_in(self.program)
        declines_passcode(self.program)
        write_task(self.service, self.program, "The page is there")

    def picture(self, part):
        """The pixels of a part of the window."""
        x, y, width, height = geometry(xdotool("getactivewindow").strip())
        left, top, right, bottom = part
        box = (x + left * width, y + top * height, x + right * width, y + bottom * height)
        return ImageGrab.grab(tuple(map(int, box))).tobytes()

    def settled_picture(self, part):
        """The part once nothing moves in it."""
        pictures = []

        def stands_still():
            pictures.append(self.picture(part))
            return len(pictures) > 2 and pictures[-1] == pictures[-2] == pictures[-3]

        until("a page that stands still", stands_still)
        return pictures[-1]

    def see_picture(self, what, part, picture):
        until(what, lambda: self.picture(part) == picture)

    def see_another_picture(self, what, part, picture):
        until(what, lambda: self.picture(part) != picture)
        return self.settled_picture(part)

    def settings(self):
        account = next(a for a in self.service.kept()["accounts"] if a["username"] == USER)
        return account["settings"]


class Page(MenuJourney):
    def setUp(self):
        super().setUp()
        self.sign_in()

    def see_dialog(self, what, choose):
        """Chooses, and waits for the page to be dimmed around a dialog. Returns what the corner looks like without."""
        plain = self.settled_picture(CORNER)
        choose()
        self.see_another_picture(what, CORNER, plain)
        return plain

    def test_items_press_the_keys_of_the_page(self):
        tasks = iter(f"Written {number}" for number in itertools.count())

        def write(title):
            type_text(title)
            press("Return")

        for choose in self.every_way("File", "New Task", "ctrl+n"):
            plain = self.see_dialog("the editor", choose)
            write(title := next(tasks))
            until("the new task", lambda: title in self.service.tasks(USER))
            self.see_picture("the closed editor", CORNER, plain)
        for choose in self.every_way("File", "Search All Tasks", "ctrl+k"):
            plain = self.see_dialog("the search", choose)
            write(title := next(tasks))  # nothing is found, but a task of that name can be written
            press("Return")
            until("the new task", lambda: title in self.service.tasks(USER))
            self.see_picture("the closed editor", CORNER, plain)
        for choose in self.every_way("View", "Switch List / Kanban", "ctrl+shift+v"):
            view = self.settings()["view"]
            before = self.settled_picture(LIST)
            choose()
            until("the other view", lambda: self.settings()["view"] != view)
            self.see_another_picture("the other view", LIST, before)
            self.assertNotEqual(self.settings()["view"], view, "switched twice")
        for choose in self.every_way("brisko", "Settings…", "ctrl+comma"):
            plain = self.see_dialog("the settings", choose)
            press("Escape")
            self.see_picture("the page without the settings", CORNER, plain)

    def test_items_filter_reload_and_zoom_the_page(self):
        press("ctrl+r")
        before = self.settled_picture(LIST)

        def filtered(choose):
            choose()
            # The page hears its keys once it has loaded.
            until("a filtered list", lambda: type_text("nothing is called this") or self.picture(LIST) != before)
            return self.settled_picture(LIST)

        for choose in self.every_way("File", "Filter This List", "ctrl+f"):
            empty = filtered(choose)
            press("Escape")
            before = self.see_another_picture("the whole list", LIST, empty)
        for choose in self.every_way("View", "Reload", "ctrl+r"):
            empty = filtered(lambda: press("ctrl+f"))
            choose()
            self.see_another_picture("the whole list", LIST, empty)
        title = self.settled_picture(TITLE)
        for item, keys in (("Zoom In", "ctrl+plus"), ("Zoom Out", "ctrl+minus")):
            for choose in self.every_way("View", item, keys):
                choose()
                self.see_another_picture("another size", TITLE, title)
                press("ctrl+0")
                self.see_picture("the actual size", TITLE, title)
        for choose in self.every_way("View", "Actual Size", "ctrl+0"):
            press("ctrl+plus", "ctrl+plus", "ctrl+minus")
            self.see_another_picture("another size", TITLE, title)
            choose()
            self.see_picture("the actual size", TITLE, title)

    def test_editing_items_work_in_the_page(self):
        def edit(way, *items):
            keys = {"Undo": "ctrl+z", "Redo": "ctrl+shift+z", "Cut": "ctrl+x", "Copy": "ctrl+c", "Paste": "ctrl+v",
                    "Paste and Match Style": "ctrl+alt+shift+v", "Select All": "ctrl+a"}
            for item in items:
                before = self.settled_picture(DIALOG)
                way("Edit", item, keys[item])
                if item != "Copy":
                    self.see_another_picture(f"what '{item}' does", DIALOG, before)

        for number, way in enumerate((self.menus.with_mouse, self.menus.with_keyboard, self.menus.with_keys)):
            with self.subTest(way=way.__name__):
                self.see_dialog("the editor", lambda: press("ctrl+n"))
                type_text(f"ab{number}")
                edit(way, "Select All", "Copy")
                until("the copy", lambda: selection("clipboard") == f"ab{number}")
                edit(way, "Cut", "Paste", "Paste and Match Style", "Undo", "Redo")
                press("Return")
                until("the task", lambda: f"ab{number}ab{number}" in self.service.tasks(USER))

    def test_keys_follow_the_bindings_of_the_account(self):
        self.assertEqual(self.menus.labels("View")["Switch List / Kanban"], "Shift+Ctrl+V")
        jar = json.loads(next((self.folder / "profile").glob("data/origins/*/cookies.json")).read_text())
        token = jar["cookies"][0]
        self.service.change_settings({"shortcuts": {"toggleView": "alt+t", "newTask": "", "search": "mod+F99"}},
                                     cookie=f"{token['name']}={token['value']}")
        press("ctrl+r")
        until("the new binding", lambda: self.menus.labels("View")["Switch List / Kanban"] == "Alt+T")
        labels = self.menus.labels("File")
        self.assertEqual([labels[item] for item in ("New Task", "Search All Tasks", "Filter This List")], ["", "Ctrl+K", ""])
        self.assertEqual(self.menus.enabled() & PAGE, PAGE - {"New Task"})
        view = self.settings()["view"]
        press("alt+t")
        until("the other view", lambda: self.settings()["view"] != view)

    def test_a_field_of_the_page_has_its_keys_before_the_menu_does(self):
        before = self.settled_picture(TITLE_ROW)
        press("ctrl+f")
        self.see_another_picture("the filter's focus", TITLE_ROW, before)
        type_text("page")
        press("ctrl+a", "ctrl+c")
        until("the copy", lambda: selection("clipboard") == "page")
        # The page leaves this one to its field, which does nothing with it: the item does.
        self.see_dialog("the search", lambda: press("ctrl+k"))

    def test_a_key_that_the_page_returns_late_is_not_pressed_in_the_menu(self):
        page = next(process for process, name in self.program.engine().items() if name == "WebKitWebProces")
        os.kill(page, signal.SIGSTOP)
        try:
            press("Return")
            self.menus.open("brisko")
        finally:
            os.kill(page, signal.SIGCONT)
        self.menus.close()
        self.see_dialog("the search", lambda: press("ctrl+k"))
        self.program.see_window()


class Window(MenuJourney):
    def come_back(self):
        self.program.again()
        self.program.see_window()

    def test_items_of_the_window(self):
        main = xdotool("getactivewindow").strip()
        size = geometry(main)[2:]
        screen = (1400, 1000)
        for item, menu, keys in (("Close Window", "File", "ctrl+w"), ("Minimize", "Window", "ctrl+m"),
                                 ("Hide brisko", "brisko", "ctrl+h")):
            for choose in self.every_way(menu, item, keys):
                choose()
                until("no window", lambda: not windows(self.program))
                self.come_back()
                until("the window as it was", lambda: geometry(main)[2:] == size)
                self.program.see_focus(IDENTIFIER)
        for choose in self.every_way("Window", "Zoom"):
            for expected in (screen, size):
                choose()
                until("the other size", lambda: geometry(main)[2:] == expected)
        for way in (self.menus.with_mouse, self.menus.with_keyboard, self.menus.with_keys):
            with self.subTest("Enter Full Screen", way=way.__name__):
                way("View", "Enter Full Screen", "ctrl+super+f")
                until("the full screen", lambda: geometry(main)[2:] == screen)
                self.assertEqual(self.menus.enabled() & ALWAYS, ALWAYS - {"Zoom", "Enter Full Screen"})
                way("View", "Exit Full Screen", "ctrl+super+f")
                until("the window", lambda: geometry(main)[2:] == size)

    def test_items_of_all_windows(self):
        main = xdotool("getactivewindow").strip()
        xdotool("windowsize", "--sync", main, "900", "700", "windowmove", "--sync", main, "450", "250")
        self.menus.with_keyboard("brisko", ABOUT, None)
        self.program.see_window(ABOUT)
        about = xdotool("getactivewindow").strip()
        xdotool("windowmove", "--sync", about, "0", "0")

        def go_to_main():
            xdotool("windowactivate", "--sync", main)
            self.program.see_window()

        def about_is_shown():
            return about in windows(self.program)

        for hide in self.every_way("brisko", "Hide Others", "ctrl+alt+h"):
            for show in (self.menus.with_mouse, self.menus.with_keyboard):
                go_to_main()
                hide()
                until("the main window alone", lambda: windows(self.program, "brisko") and not about_is_shown())
                show("brisko", "Show All", None)
                until("the other window", about_is_shown)

        stranger = self.open_program(self.service, profile="stranger")
        cover = xdotool("getactivewindow").strip()
        corner = (20, 20, 200, 200)
        for choose in self.every_way("Window", "Bring All to Front"):
            xdotool("windowactivate", "--sync", cover, "windowsize", "--sync", cover, "1000", "900", "windowmove", cover,
                    "0", "0")
            stranger.see_window()
            go_to_main()
            covered = ImageGrab.grab(corner).tobytes()
            choose()
            until("the window that was covered", lambda: ImageGrab.grab(corner).tobytes() != covered)
            self.program.see_window()

    def test_quit_ends_the_program_whatever_is_open(self):
        for choose in self.every_way("brisko", "Quit brisko", "ctrl+q"):
            choose()
            self.assertEqual(self.program.exit_status(), 0)
            self.start_again()
        self.menus.with_keyboard("brisko", ABOUT, None)
        self.program.see_window(ABOUT)
        press("ctrl+q")
        self.assertEqual(self.program.exit_status(), 0)
        self.start_again()
        self.program.click("Continue with Google", "push button")
        self.program.see_window(PANEL)
        press("ctrl+q")
        self.assertEqual(self.program.exit_status(), 0)
        self.start_again()
        signs_in(self.program)
        self.program.see_focus("Passcode")
        press("ctrl+w")
        self.program.see_focus("Passcode")
        press("ctrl+q")
        self.assertEqual(self.program.exit_status(), 0)

    def start_again(self):
        self.program = self.menus.program = self.open_program(self.service, environment=self.environment)
        self.program.see_focus(IDENTIFIER)

    def test_the_size_of_the_window_is_kept(self):
        main = xdotool("getactivewindow").strip()
        xdotool("windowsize", "--sync", main, "900", "650")
        until("the new size", lambda: geometry(main)[2:] == (900, 650))
        press("ctrl+q")
        self.program.exit_status()
        self.start_again()
        main = xdotool("getactivewindow").strip()
        self.assertEqual(geometry(main)[2:], (900, 650))
        self.menus.with_mouse("Window", "Zoom", None)
        until("the whole screen", lambda: geometry(main)[2:] == (1400, 1000))
        press("ctrl+q")
        self.program.exit_status()
        self.start_again()
        self.assertEqual(geometry(xdotool("getactivewindow").strip())[2:], (1400, 1000))
        self.menus.with_mouse("Window", "Zoom", None)
        until("the size before", lambda: geometry(xdotool("getactivewindow").strip())[2:] == (900, 650))


class NativeScreen(MenuJourney):
    def test_only_what_makes_sense_can_be_chosen(self):
        self.assertEqual(self.menus.enabled() - EDITING, ALWAYS)
        self.assertEqual(self.menus.enabled() & EDITING, {"Undo", "Redo", "Paste", "Paste and Match Style"})
        self.program.see_focus(IDENTIFIER)
        press("Tab")
        self.program.see_focus("Password")
        type_text("secret")
        press("ctrl+a")
        self.assertEqual(self.menus.enabled() & EDITING, {"Paste", "Paste and Match Style", "Select All"})
        press("shift+Tab")
        press("ctrl+a", "BackSpace")
        self.sign_in()
        self.assertEqual(self.menus.enabled(), ALWAYS | PAGE | EDITING)

    def test_editing_items_work_in_a_field(self):
        steps = [("Select All", "ctrl+a", None), ("Copy", "ctrl+c", None), ("Cut", "ctrl+x", ""), ("Undo", "ctrl+z", "abc"),
                 ("Redo", "ctrl+shift+z", ""), ("Paste", "ctrl+v", "abc"),
                 ("Paste and Match Style", "ctrl+alt+shift+v", "abcabc")]
        for way in (self.menus.with_mouse, self.menus.with_keyboard, self.menus.with_keys):
            with self.subTest(way=way.__name__):
                press("ctrl+a", "BackSpace")
                type_text("abc")
                for item, keys, text in steps:
                    way("Edit", item, keys)
                    if item == "Copy":
                        until("the copy", lambda: selection("clipboard") == "abc")
                    if text is not None:
                        self.program.see_text(IDENTIFIER, text)
                    self.program.see_focus(IDENTIFIER)

    def test_about_and_help(self):
        for choose in self.every_way("brisko", ABOUT):
            choose()
            self.program.see_window(ABOUT)
            self.assertTrue(any(re.fullmatch(r"Version \d+\.\d+\.\d+ \(\d{4}-\d\d-\d\d\)", e.name)
                                for e in self.program.elements()))
            press("Escape")
            self.program.see_window()
        for menu, item, page in (("Help", "brisko Guides", "guides"), ("Help", "Privacy Policy", "privacy")):
            for choose in self.every_way(menu, item):
                self.visited.unlink(missing_ok=True)
                choose()
                self.assertEqual(self.see_browser(), f"{self.service.origin}/{page}")
        self.menus.with_mouse("brisko", ABOUT, None)
        self.program.see_window(ABOUT)
        self.visited.unlink(missing_ok=True)
        self.program.click("What’s new", "link")
        self.assertEqual(self.see_browser(), f"{self.service.origin}/changelog")
        press("ctrl+w")
        self.program.see_window()


class Lock(Choosing, PasscodeJourney):
    def setUp(self):
        super().setUp()
        self.start()
        signs_in(self.program)
        self.program.see("Choose a passcode for this Mac.", "label")
        self.program.see_focus("Passcode")
        type_text("1843")
        self.choose(self.program, "1843")
        write_task(self.service, self.program, "Before the lock")

    def test_items_lock_the_window_and_open_the_settings_of_the_lock(self):
        for choose in self.every_way("brisko", "Lock Now", "ctrl+super+l"):
            self.assertIn("Lock Now", self.menus.enabled())
            choose()
            self.program.see("Locked. Enter your passcode to carry on.", "label")
            self.program.see_focus("Passcode")
            self.assertEqual(self.menus.enabled(), ALWAYS | PAGE | {"Paste", "Paste and Match Style"})
            self.program.see_focus("Passcode")
            # Keys that nobody here has a use for end here: they edit nothing in the page.
            press("ctrl+x", "ctrl+z", "Return")
            type_text("1843")
            write_task(self.service, self.program, "After the lock")
        for choose in self.every_way("brisko", "Lock & Passcode…"):
            choose()
            self.program.click("Clear", "push button")
            self.leave_settings()
            self.assertEqual(self.menus.labels("brisko")["Lock Now"], "")
            self.menus.with_mouse("brisko", "Lock & Passcode…", None)
            self.program.click("Default", "push button")
            self.leave_settings()
            self.assertEqual(self.menus.labels("brisko")["Lock Now"], "Ctrl+Super+L")

    def leave_settings(self):
        self.program.click("Done", "push button")
        until("the page", lambda: not self.program.shows("Done"))
        self.program.see_window()


if __name__ == "__main__":
    unittest.main(verbosity=2)
