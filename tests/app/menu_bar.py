# The menu bar and its keys in a real window: each kind of item chosen with the keyboard in the menus and with its own keys.
# That every item is there, says its keys and can be chosen when it should is tested without a window.

import math
import os
import signal

import desk
from desk import until
from journey import IDENTIFIER, PASSWORD, USER, Journey

ABOUT = "About brisko"
BORDER = 10  # that the window draws around its frame, on both sides together


FOCUS = "document.hasFocus() && (document.activeElement.id || document.activeElement.className)"


class Menus(Journey):
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

    def test_items_and_keys_reach_the_page(self):
        self.open_page()
        width = self.page.ask("return innerWidth")
        roads = ((True, "ctrl+n", "File", "New Task", FOCUS, "taskTitle"),
                 (False, "ctrl+comma", "brisko", "Settings…", FOCUS, "dialog settings"),
                 (True, "ctrl+plus", "View", "Zoom In", f"document.hasFocus() && innerWidth < {width}", True),
                 (False, "ctrl+0", "View", "Actual Size", "document.hasFocus() && innerWidth", width))
        for self.by_keys, *item, expression, value in roads:
            self.choose(*item)
            self.page.see(expression, value)
            desk.press("Escape")
            self.page.see("document.querySelector('dialog')", None)
        self.choose("ctrl+shift+v", "View", "Switch List / Kanban")
        self.page.see("document.hasFocus() && document.getElementById('tasks').className", "tasks-area board")

    def test_editing_items_work_in_a_field_and_in_the_page_whose_field_has_its_keys_first(self):
        self.open_program(IDENTIFIER)
        self.edit(lambda: self.program.look(IDENTIFIER).text)
        self.sign_in(USER, PASSWORD, field=IDENTIFIER)
        desk.press("ctrl+f")
        self.page.see(FOCUS, "filter")
        self.edit(lambda: self.page.ask("return document.hasFocus() && document.activeElement.value"))
        # The page leaves this one to its field, which does nothing with it: the item does.
        desk.press("ctrl+k")
        self.page.see(FOCUS, "spotlight-field")

    def test_a_key_that_the_page_returns_late_is_not_pressed_in_the_menu(self):
        self.open_page()
        self.page.ask("addEventListener('keydown', (event) => window.heard ??= event.key, true)")
        engine = next(process for process, name in self.program.engine().items() if name == "WebKitWebProces")
        os.kill(engine, signal.SIGSTOP)
        try:
            desk.press("Return")
            self.program.open_menu("brisko")
        finally:
            os.kill(engine, signal.SIGCONT)
        self.page.see("window.heard", "Enter")
        self.program.see("brisko", "menu")
        desk.press("Escape")
        self.page.see_ready()
        desk.press("ctrl+k")
        self.page.see(FOCUS, "spotlight-field")
        self.assertFalse(self.program.shows(ABOUT, "frame"))

    # In the toolkit too, which learns it a little after the display and counts without the border.
    def see_size(self, size):
        until("the window's size", lambda: desk.box(self.window)[2:], size)
        frame = size if size == desk.SCREEN[2:] else (size[0] - BORDER, size[1] - BORDER)
        until("the frame's size", lambda: self.program.look("brisko", "frame").box[2:], frame)

    def go_to_main(self):
        desk.xdotool("windowactivate", "--sync", self.window)
        self.program.see_window()

    def test_the_size_of_the_window_outlasts_whatever_takes_it_away(self):
        self.open_program(IDENTIFIER)
        full, small = desk.SCREEN[2:], (900, 650)
        until("the frame's width", lambda: self.program.look("brisko", "frame").box.width, 1180)
        whole, menus = (self.program.look(*found).box for found in (("brisko", "frame"), ("Menu bar",)))
        self.assertGreater(whole.height, 800 + menus.height // 2, "the content's height with the header's")
        desk.xdotool("windowsize", "--sync", self.window, *small, "windowmove", self.window, 100, 100)
        self.see_size(small)
        for item in (("Window", "Minimize"), ("brisko", "Hide brisko")):
            self.program.choose(*item)
            self.program.see_no_window()
            self.program.again()
            self.program.see_window()
            self.see_size(small)
        self.program.choose("View", "Enter Full Screen")
        self.see_size(full)
        desk.press("ctrl+super+f")
        self.see_size(small)
        for kept, zoomed in ((small, full), (full, small)):
            self.assertEqual(self.program.quit(), 0)
            self.open_program(IDENTIFIER)
            self.see_size(kept)
            self.program.choose("Window", "Zoom")
            self.see_size(zoomed)

    def test_items_of_all_windows(self):
        self.open_program(IDENTIFIER)
        self.program.choose("brisko", ABOUT)
        self.program.see_window(ABOUT)
        about = desk.active()[0]
        middles = [(box.x + box.width // 2, box.y + box.height // 2) for box in (desk.box(about), desk.box(self.window))]
        self.assertLess(math.dist(*middles), 50, middles)
        self.go_to_main()
        self.program.choose("Window", ABOUT)
        self.program.see_window(ABOUT)
        self.go_to_main()
        desk.press("ctrl+alt+h")
        until("the windows", self.program.windows, [self.window])
        self.program.choose("brisko", "Show All")
        until("the other window", lambda: about in self.program.windows())
        self.go_to_main()
        ours = self.window, self.program
        self.open_program(profile="stranger")
        cover, (self.window, self.program) = self.window, ours
        self.go_to_main()
        until("the windows from below", desk.stack, [about, cover, self.window])
        self.program.choose("Window", "Bring All to Front")
        until("the windows from below", desk.stack, [cover, about, self.window])
        self.assertEqual(self.program.quit(), 0)
