# The menu bar and its keys in a real window: each kind of item chosen with the keyboard in the menus and with its own keys.
# That every item is there, says its keys and can be chosen when it should is tested without a window.

import os
import signal

import desk
from desk import until
from journey import IDENTIFIER, PASSWORD, USER, Journey

ABOUT = "About brisko"
BORDER = 5  # that the window draws around its frame


FOCUS = "document.hasFocus() && (document.activeElement.id || document.activeElement.className)"
VIEW = "document.hasFocus() && document.getElementById('tasks').className"


class Menus(Journey):
    by_keys = True

    def choose(self, keys, menu, item):
        desk.press(keys) if self.by_keys else self.program.choose(menu, item)

    # Tries the editing items in an empty field, of which `look` tells the text.
    def edit(self, look):
        for self.by_keys in (True, False):
            desk.type("abc")
            for keys, item, text in (("ctrl+a", "Select All", "abc"), ("ctrl+c", "Copy", "abc"), ("ctrl+x", "Cut", ""),
                                     ("ctrl+z", "Undo", "abc"), ("ctrl+shift+z", "Redo", ""), ("ctrl+v", "Paste", "abc"),
                                     ("ctrl+alt+shift+v", "Paste and Match Style", "abcabc")):
                self.choose(keys, "Edit", item)
                if item == "Copy":
                    until("the copy", lambda: desk.selection("CLIPBOARD"), "abc")
                until(f"the text after '{item}'", look, text)
            desk.press("ctrl+a", "BackSpace")
            until("the text", look, "")

    def test_items_reach_the_page(self):
        self.open_page()
        width = self.page.ask("return innerWidth")
        roads = (("ctrl+n", "File", "New Task", FOCUS, "taskTitle"),
                 ("ctrl+k", "File", "Search All Tasks", FOCUS, "spotlight-field"),
                 ("ctrl+f", "File", "Filter This List", FOCUS, "filter"),
                 ("ctrl+comma", "brisko", "Settings…", FOCUS, "dialog settings"),
                 ("ctrl+plus", "View", "Zoom In", f"document.hasFocus() && innerWidth < {width}", True),
                 ("ctrl+0", "View", "Actual Size", "document.hasFocus() && innerWidth", width),
                 ("ctrl+minus", "View", "Zoom Out", f"document.hasFocus() && innerWidth > {width}", True),
                 ("ctrl+0", "View", "Actual Size", "document.hasFocus() && innerWidth", width))
        for self.by_keys, view in ((True, "board"), (False, "list")):
            for *item, expression, value in roads:
                self.choose(*item)
                self.page.see(expression, value)
                desk.press("Escape")
                self.page.see("document.querySelector('dialog')", None)
            self.choose("ctrl+shift+v", "View", "Switch List / Kanban")
            self.page.see(VIEW, f"tasks-area {view}")
            with self.page.renewed():
                self.choose("ctrl+r", "View", "Reload")

    def test_editing_items_work_in_the_page_and_a_field_has_its_keys_before_the_menu_does(self):
        self.open_page()
        desk.press("ctrl+f")
        self.page.see(FOCUS, "filter")
        self.edit(lambda: self.page.ask("return document.hasFocus() && document.activeElement.value"))
        # The page leaves this one to its field, which does nothing with it: the item does.
        desk.press("ctrl+k")
        self.page.see(FOCUS, "spotlight-field")

    def test_keys_follow_the_bindings_of_the_account(self):
        self.open_page()

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
        self.page.see(VIEW, "tasks-area board")

    def test_a_key_that_the_page_returns_late_is_not_pressed_in_the_menu(self):
        self.open_page()
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
        self.page.see(FOCUS, "spotlight-field")
        self.assertFalse(self.program.shows(ABOUT, "frame"))

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
        self.open_program(IDENTIFIER)
        self.edit(lambda: self.program.look(IDENTIFIER).text)

    def test_the_size_of_the_window_outlasts_whatever_takes_it_away(self):
        self.open_program(IDENTIFIER)
        full, small = desk.SCREEN[2:], (900, 650)
        desk.xdotool("windowsize", "--sync", self.window, *small, "windowmove", self.window, 100, 100)
        self.see_size(small)
        for *item, self.by_keys in (("ctrl+w", "File", "Close Window", True), ("ctrl+m", "Window", "Minimize", False),
                                    ("ctrl+h", "brisko", "Hide brisko", False)):
            self.choose(*item)
            self.program.see_no_window()
            self.program.again()
            self.program.see_window()
            self.see_size(small)
            self.program.see_focus(IDENTIFIER)
        for item, size in (("Enter Full Screen", full), ("Exit Full Screen", small)):
            self.choose("ctrl+super+f", "View", item)
            self.see_size(size)
        for kept, zoomed in ((small, full), (full, small)):
            self.assertEqual(self.program.quit(), 0)
            self.open_program(IDENTIFIER)
            self.see_size(kept)
            self.program.choose("Window", "Zoom")
            self.see_size(zoomed)

    def test_items_of_all_windows(self):
        self.install_browser()
        self.open_program(IDENTIFIER)
        self.program.choose("brisko", ABOUT)
        self.program.see_window(ABOUT)
        about = desk.active()[0]
        self.program.click("What’s new", "link")
        self.see_visits(f"{self.service.origin}/changelog")
        self.go_to_main()
        desk.press("ctrl+alt+h")
        until("the windows", self.program.windows, [self.window])
        self.program.choose("brisko", "Show All")
        until("the other window", lambda: about in self.program.windows())
        self.go_to_main()
        main, ours = self.window, self.program
        self.open_program(profile="stranger")
        cover, self.window, self.program = self.window, main, ours
        self.go_to_main()
        until("the windows from below", desk.stack, [about, cover, self.window])
        self.program.choose("Window", "Bring All to Front")
        until("the windows from below", desk.stack, [cover, about, self.window])

    def test_quit_ends_the_program_whatever_is_open(self):
        self.install_browser()
        self.open_program(IDENTIFIER)
        self.program.click("Continue with Google", "push button")
        self.program.see_window("Continue in your browser…")
        self.assertEqual(self.program.quit(), 0)
        self.open_program(IDENTIFIER)
        desk.submit(USER, PASSWORD)
        self.program.see_focus("Passcode")
        desk.press("ctrl+w")
        self.program.see_focus("Passcode")
        self.assertEqual(self.program.quit(), 0)
