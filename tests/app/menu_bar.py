# The menu bar and its keys in a real window: each kind of item chosen with the keyboard in the menus and with its own keys.
# That every item is there, says its keys and can be chosen when it should is tested without a window.

import os
import re
import signal

import desk
from desk import until
from journey import IDENTIFIER, PASSWORD, USER, Journey

ABOUT = "About brisko"
BORDER = 5  # that the window draws around its frame


class MenuJourney(Journey):
    # The ways to choose an item.

    def with_keys(self, keys, _menu, _item):
        desk.press(keys)

    def with_keyboard(self, _keys, menu, item):
        self.program.choose(menu, item)

    # Tries the editing items in an empty field, of which `look` tells the text.
    def edit(self, look):
        steps = (("Select All", "ctrl+a", "abc"), ("Copy", "ctrl+c", "abc"), ("Cut", "ctrl+x", ""),
                 ("Undo", "ctrl+z", "abc"), ("Redo", "ctrl+shift+z", ""), ("Paste", "ctrl+v", "abc"),
                 ("Paste and Match Style", "ctrl+alt+shift+v", "abcabc"))
        for way in (self.with_keys, self.with_keyboard):
            desk.type("abc")
            for item, keys, text in steps:
                way(keys, "Edit", item)
                if item == "Copy":
                    until("the copy", lambda: desk.selection("CLIPBOARD"), "abc")
                until(f"the text after '{item}'", look, text)
            desk.press("ctrl+a", "BackSpace")
            until("the text", look, "")


class Page(MenuJourney):
    def setUp(self):
        super().setUp()
        self.program = self.open_page()
        self.page = self.service.page

    def see_field(self, name):
        self.page.see("document.hasFocus() && (document.activeElement.id || document.activeElement.className)", name)

    def see_view(self, view):
        self.page.see("document.hasFocus() && document.getElementById('tasks').className", f"tasks-area {view}")

    def test_items_reach_the_page(self):
        for way in (self.with_keys, self.with_keyboard):
            for field, *item in (("taskTitle", "ctrl+n", "File", "New Task"),
                                 ("spotlight-field", "ctrl+k", "File", "Search All Tasks"),
                                 ("dialog settings", "ctrl+comma", "brisko", "Settings…")):
                way(*item)
                self.see_field(field)
                desk.press("Escape")
                self.page.see("document.querySelector('dialog')", None)
            way("ctrl+f", "File", "Filter This List")
            self.see_field("filter")
            desk.type("nothing is called this")
            self.page.see("document.querySelectorAll('.task').length", 0)
            with self.page.renewed():
                way("ctrl+r", "View", "Reload")
            self.page.see("document.querySelectorAll('.task').length > 0")
            width = self.page.ask("return innerWidth")
            for keys, item, compared in (("ctrl+plus", "Zoom In", "<"), ("ctrl+minus", "Zoom Out", ">")):
                way(keys, "View", item)
                self.page.see(f"document.hasFocus() && innerWidth {compared} {width}")
                way("ctrl+0", "View", "Actual Size")
                self.page.see("document.hasFocus() && innerWidth", width)
        for way, view in ((self.with_keys, "board"), (self.with_keyboard, "list")):
            way("ctrl+shift+v", "View", "Switch List / Kanban")
            self.see_view(view)
        self.assertEqual(self.service.bodies("/api/settings").count({"view": "board"}), 1)

    def test_editing_items_work_in_the_page_and_a_field_has_its_keys_before_the_menu_does(self):
        desk.press("ctrl+f")
        self.see_field("filter")
        self.edit(lambda: self.page.ask("return document.hasFocus() && document.activeElement.value"))
        # The page leaves this one to its field, which does nothing with it: the item does.
        desk.press("ctrl+k")
        self.see_field("spotlight-field")

    def test_keys_follow_the_bindings_of_the_account(self):
        def labels(menu):
            opened = {e.name for e in self.program.open_menu(menu).inside() if "label" in e.traits}
            desk.press("Escape")
            self.program.see_gone(menu, "menu")
            return opened

        shortcuts = {"toggleView": "alt+t", "newTask": "", "search": "mod+F99"}
        self.service.send("PATCH", "/api/settings", {"shortcuts": shortcuts})
        with self.page.renewed():
            desk.press("ctrl+r")
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
        desk.press("Escape")
        self.page.see_ready()
        desk.press("ctrl+k")
        self.see_field("spotlight-field")
        self.assertFalse(self.program.shows(ABOUT, "frame"))


class Window(MenuJourney):
    def setUp(self):
        super().setUp()
        self.install_browser()
        self.start()

    def start(self):
        self.program = self.open_program()
        self.program.see_focus(IDENTIFIER)
        self.window = desk.active()[0]

    # In the toolkit too, which learns it a little after the display.
    def see_size(self, size):
        border = 0 if size == desk.SCREEN[2:] else 2 * BORDER
        until("the window's size", lambda: desk.box(self.window)[2:], size)
        until("the frame's size", lambda: self.program.look("brisko", "frame").box[2:],
              tuple(length - border for length in size))

    def go_to_main(self):
        desk.xdotool("windowactivate", "--sync", self.window)
        self.program.see_window()

    def test_editing_items_work_in_a_field(self):
        self.edit(lambda: self.program.look(IDENTIFIER).text)

    def test_the_size_of_the_window_outlasts_whatever_takes_it_away(self):
        full, small = desk.SCREEN[2:], (900, 650)
        desk.xdotool("windowsize", "--sync", self.window, *small, "windowmove", self.window, 100, 100)
        self.see_size(small)
        for way, *item in ((self.with_keys, "ctrl+w", "File", "Close Window"),
                           (self.with_keyboard, "ctrl+m", "Window", "Minimize"),
                           (self.with_keyboard, "ctrl+h", "brisko", "Hide brisko")):
            way(*item)
            self.program.see_no_window()
            self.program.again()
            self.program.see_window()
            self.see_size(small)
            self.program.see_focus(IDENTIFIER)
        for way in (self.with_keys, self.with_keyboard):
            for item, size in (("Enter Full Screen", full), ("Exit Full Screen", small)):
                way("ctrl+super+f", "View", item)
                self.see_size(size)
        for kept, zoomed in ((small, full), (full, small)):
            self.assertEqual(self.program.quit(), 0)
            self.start()
            self.see_size(kept)
            self.program.choose("Window", "Zoom")
            self.see_size(zoomed)

    def test_items_of_all_windows(self):
        self.program.choose("brisko", ABOUT)
        self.program.see_window(ABOUT)
        about = desk.active()[0]
        self.assertTrue(any(re.fullmatch(r"Version \d+\.\d+\.\d+ \(\d{4}-\d\d-\d\d\)", e.name)
                            for e in self.program.elements()))
        self.program.click("What’s new", "link")
        self.see_visits(f"{self.service.origin}/changelog")
        self.go_to_main()
        self.program.choose("Help", "Privacy Policy")
        self.see_visits(f"{self.service.origin}/changelog", f"{self.service.origin}/privacy")
        desk.press("ctrl+alt+h")
        until("the windows", self.program.windows, [self.window])
        self.program.choose("brisko", "Show All")
        until("the other window", lambda: about in self.program.windows())

        self.go_to_main()
        self.open_program(profile="stranger")
        cover = desk.active()[0]
        self.go_to_main()
        until("the windows from below", desk.stack, [about, cover, self.window])
        self.program.choose("Window", "Bring All to Front")
        until("the windows from below", desk.stack, [cover, about, self.window])
        desk.xdotool("windowactivate", "--sync", about)
        self.program.see_window(ABOUT)
        desk.press("Escape")
        until("the windows", self.program.windows, [self.window])

    def test_quit_ends_the_program_whatever_is_open(self):
        self.program.choose("brisko", ABOUT)
        self.program.see_window(ABOUT)
        self.assertEqual(self.program.quit(), 0)
        self.start()
        self.program.click("Continue with Google", "push button")
        self.program.see_window("Continue in your browser…")
        self.assertEqual(self.program.quit(), 0)
        self.start()
        desk.type(USER, PASSWORD)
        desk.press("Return")
        self.program.see_focus("Passcode")
        desk.press("ctrl+w")
        self.program.see_focus("Passcode")
        self.assertEqual(self.program.quit(), 0)
        program = self.open_program()
        self.service.page.see_ready()
        program.choose("brisko", "Quit brisko")
        self.assertEqual(program.process.wait(desk.DEADLINE), 0)
