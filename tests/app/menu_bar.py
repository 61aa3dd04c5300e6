"""The menu bar and its keys in a real window: each kind of item chosen with the mouse, with the keyboard in the menus and with
its own keys. That every item is there, says its keys and can be chosen when it should is tested without a window."""

import itertools
import os
import re
import signal
import unittest

from desk import Box, desk, until, until_equal
from journey import PASSWORD, USER, Journey, fill

IDENTIFIER = "Username or email"
ABOUT = "About brisko"
BORDER = 5  # that the window draws around its frame


class MenuJourney(Journey):
    def setUp(self):
        super().setUp()
        self.environment = self.install_browser()

    def start(self, **options):
        self.program = self.open_program(environment=self.environment, **options)
        self.window = desk.active()[0]

    # The ways to choose an item.

    def with_keys(self, keys, _menu, _item):
        desk.press(keys)

    def with_keyboard(self, _keys, menu, item):
        self.program.choose(menu, item)

    def with_mouse(self, _keys, menu, item):
        self.program.click_item(menu, item)

    def edit(self, look):
        """Tries the editing items in an empty field, of which `look` tells the text."""
        steps = (("Select All", "ctrl+a", "abc"), ("Copy", "ctrl+c", "abc"), ("Cut", "ctrl+x", ""), ("Undo", "ctrl+z", "abc"),
                 ("Redo", "ctrl+shift+z", ""), ("Paste", "ctrl+v", "abc"),
                 ("Paste and Match Style", "ctrl+alt+shift+v", "abcabc"))
        for ways in ((self.with_keys,), (self.with_mouse, self.with_keyboard)):
            desk.type("abc")
            for way, (item, keys, text) in zip(itertools.cycle(ways), steps):
                way(keys, "Edit", item)
                if item == "Copy":
                    until_equal("the copy", lambda: desk.selection("clipboard"), "abc")
                until_equal(f"the text after '{item}'", look, text)
            desk.press("ctrl+a", "BackSpace")
            until_equal("the text", look, "")


class Page(MenuJourney):
    def setUp(self):
        super().setUp()
        self.start(signed_in=True)
        self.page = self.service.page
        self.page.see_ready()

    def see_field(self, name):
        self.page.see("document.hasFocus() && (document.activeElement.id || document.activeElement.className)", name)

    def see_view(self, view):
        self.page.see("document.hasFocus() && document.getElementById('tasks').className", f"tasks-area {view}")

    def test_items_press_the_keys_of_the_page(self):
        everything = (self.with_keys, self.with_mouse, self.with_keyboard)
        for field, ways, item in (("taskTitle", everything, ("ctrl+n", "File", "New Task")),
                                  ("spotlight-field", everything[:2], ("ctrl+k", "File", "Search All Tasks")),
                                  ("dialog settings", everything[::2], ("ctrl+comma", "brisko", "Settings…"))):
            for way in ways:
                way(*item)
                self.see_field(field)
                desk.press("Escape")
                self.page.see("document.querySelector('dialog')", None)
        for way, view in zip(everything, ("board", "list", "board")):
            way("ctrl+shift+v", "View", "Switch List / Kanban")
            self.see_view(view)
        self.assertEqual(self.service.bodies("/api/settings").count({"view": "board"}), 2)

    def test_items_filter_reload_and_zoom_the_page(self):
        for way in (self.with_keys, self.with_keyboard):
            way("ctrl+f", "File", "Filter This List")
            self.see_field("filter")
            desk.type("nothing is called this")
            self.page.see("document.querySelectorAll('.task').length", 0)
            shown = len(self.page.shown)
            way("ctrl+r", "View", "Reload")
            self.page.see_another(shown)
            self.page.see("document.querySelectorAll('.task').length > 0")
        width = self.page.ask("return innerWidth")
        for way in (self.with_keys, self.with_mouse):
            for keys, item, compared in (("ctrl+plus", "Zoom In", "<"), ("ctrl+minus", "Zoom Out", ">")):
                way(keys, "View", item)
                self.page.see(f"document.hasFocus() && innerWidth {compared} {width}")
                way("ctrl+0", "View", "Actual Size")
                self.page.see("document.hasFocus() && innerWidth", width)

    def test_editing_items_work_in_the_page_and_a_field_has_its_keys_before_the_menu_does(self):
        desk.press("ctrl+f")
        self.see_field("filter")
        self.edit(lambda: self.page.ask("return document.hasFocus() && document.activeElement.value"))
        # The page leaves this one to its field, which does nothing with it: the item does.
        desk.press("ctrl+k")
        self.see_field("spotlight-field")

    def test_keys_follow_the_bindings_of_the_account(self):
        def labels(menu):
            opened = {e.name for e in self.program.open_menu(menu).inside() if e.role == "label"}
            self.program.close_menu(menu)
            return opened

        shortcuts = {"toggleView": "alt+t", "newTask": "", "search": "mod+F99"}
        self.service.send("PATCH", "/api/settings", {"shortcuts": shortcuts}, self.cookie())
        shown = len(self.page.shown)
        desk.press("ctrl+r")
        self.page.see_another(shown)
        until("the new key", lambda: "Alt+T" in labels("View"))
        self.assertEqual(labels("File") & {"Ctrl+N", "Ctrl+K", "Ctrl+F"}, {"Ctrl+K"})
        self.page.see_ready()
        desk.press("alt+t")
        self.see_view("board")

    def test_a_key_that_the_page_returns_late_is_not_pressed_in_the_menu(self):
        self.page.ask("window.heard = []; addEventListener('keydown', (event) => heard.push(event.key), true)")
        engine = next(process for process, name in self.program.engine().items() if name == "WebKitWebProces")
        os.kill(engine, signal.SIGSTOP)
        try:
            desk.press("Return")
            self.program.open_menu("brisko")
        finally:
            os.kill(engine, signal.SIGCONT)
        self.page.see("heard[0]", "Enter")
        self.program.see("brisko", "menu")
        self.program.close_menu("brisko")
        self.page.see_ready()
        desk.press("ctrl+k")
        self.see_field("spotlight-field")
        self.assertFalse(self.program.shows(ABOUT, "frame"))


class Window(MenuJourney):
    def setUp(self):
        super().setUp()
        self.start()
        self.program.see_focus(IDENTIFIER)

    def see_size(self, size):
        """In the toolkit too, which learns it a little after the display."""
        border = 0 if size == desk.SCREEN[2:] else 2 * BORDER
        until_equal("the window's size", lambda: desk.box(self.window)[2:], size)
        until_equal("the frame's size", lambda: self.program.look("brisko", "frame").box[2:],
                    tuple(length - border for length in size))

    def go_to_main(self):
        desk.activate(self.window)
        self.program.see_window()

    def test_editing_items_work_in_a_field(self):
        self.edit(lambda: self.program.look(IDENTIFIER).text)

    def test_items_of_the_window(self):
        size = desk.box(self.window)[2:]
        for way, item in ((self.with_keys, ("ctrl+w", "File", "Close Window")),
                          (self.with_mouse, ("ctrl+m", "Window", "Minimize")),
                          (self.with_keyboard, ("ctrl+h", "brisko", "Hide brisko"))):
            way(*item)
            self.program.see_no_window()
            self.program.again()
            self.program.see_window()
            self.see_size(size)
            self.program.see_focus(IDENTIFIER)
        for expected in (desk.SCREEN[2:], size):
            self.program.click_item("Window", "Zoom")
            self.see_size(expected)
        for way in (self.with_keys, self.with_keyboard):
            for item, expected in (("Enter Full Screen", desk.SCREEN[2:]), ("Exit Full Screen", size)):
                way("ctrl+super+f", "View", item)
                self.see_size(expected)

    def test_items_of_all_windows(self):
        self.program.choose("brisko", ABOUT)
        self.program.see_window(ABOUT)
        about = desk.active()[0]
        self.assertTrue(any(re.fullmatch(r"Version \d+\.\d+\.\d+ \(\d{4}-\d\d-\d\d\)", e.name)
                            for e in self.program.elements()))
        self.program.click("What’s new", "link")
        self.see_visits(f"{self.service.origin}/changelog")
        self.go_to_main()
        self.program.click_item("Help", "Privacy Policy")
        self.see_visits(f"{self.service.origin}/changelog", f"{self.service.origin}/privacy")
        for way in (self.with_keys, self.with_mouse):
            way("ctrl+alt+h", "brisko", "Hide Others")
            until_equal("the windows", self.program.windows, [self.window])
            self.program.choose("brisko", "Show All")
            until("the other window", lambda: about in self.program.windows())
            self.go_to_main()

        self.open_program(profile="stranger")
        cover = desk.active()[0]
        self.go_to_main()
        until_equal("the windows from below", desk.stack, [about, cover, self.window])
        self.program.choose("Window", "Bring All to Front")
        until_equal("the windows from below", desk.stack, [cover, about, self.window])
        desk.activate(about)
        self.program.see_window(ABOUT)
        desk.press("Escape")
        until_equal("the windows", self.program.windows, [self.window])

    def test_quit_ends_the_program_whatever_is_open(self):
        def about():
            self.program.choose("brisko", ABOUT)
            self.program.see_window(ABOUT)

        def panel():
            self.program.click("Continue with Google", "push button")
            self.program.see_window("Continue in your browser…")

        def sheet():
            fill(USER, PASSWORD)
            desk.press("Return")
            self.program.see_focus("Passcode")
            desk.press("ctrl+w")
            self.program.see_focus("Passcode")

        for opened in (about, panel, sheet):
            opened()
            desk.press("ctrl+q")
            self.assertEqual(self.program.exit_status(), 0)
            self.start()
            if opened is not sheet:
                self.program.see_focus(IDENTIFIER)
        self.service.page.see_ready()
        self.program.click_item("brisko", "Quit brisko")
        self.assertEqual(self.program.exit_status(), 0)

    def test_the_size_of_the_window_is_kept(self):
        small = (900, 650)
        desk.place(self.window, Box(100, 100, *small))
        self.see_size(small)
        for kept, zoomed in ((small, desk.SCREEN[2:]), (desk.SCREEN[2:], small)):
            desk.press("ctrl+q")
            self.assertEqual(self.program.exit_status(), 0)
            self.start()
            self.see_size(kept)
            self.program.click_item("Window", "Zoom")
            self.see_size(zoomed)


if __name__ == "__main__":
    unittest.main(verbosity=2)
