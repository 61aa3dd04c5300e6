"""The layers over the main window and the lock settings panel: what a person at the keyboard, with the pointer and with
assistive technology finds, and what stays out of reach."""

import os
import subprocess
import unittest

from PIL import ImageGrab

from desktop import Atspi, Journey, press, type_text, until, xdotool

WINDOW = os.environ["BRISKO_LOCK_WINDOW"]
PAGE = ("Secret plan", "Note", "Menu of Secret plan", "Item of Secret plan")


class Locks(Journey):
    def setUp(self):
        super().setUp()
        self.window = self.open_test_window(WINDOW)

    def see_active(self, title):
        until(f"the window '{title}'", lambda: xdotool("getactivewindow", "getwindowname").strip() == title)

    def windows(self):
        """The titles of the windows on the screen."""
        search = ["xdotool", "search", "--onlyvisible", "--pid", str(self.window.process.pid)]
        found = subprocess.run(search, capture_output=True, text=True).stdout.split()
        return {xdotool("getwindowname", window).strip() for window in found}

    def see_windows(self, *titles):
        until(f"the windows {titles}", lambda: self.windows() & {"brisko", "Settings", "page", "About"} == set(titles))

    def colours(self):
        """Those of the window's content, all of them."""
        geometry = dict(line.split("=") for line in xdotool("getactivewindow", "getwindowgeometry", "--shell").split())
        x, y, width, height = (int(geometry[key]) for key in ("X", "Y", "WIDTH", "HEIGHT"))
        return {colour for _, colour in ImageGrab.grab((x, y, x + width, y + height)).getcolors(1 << 24)}

    def see_nothing_of_the_page(self):
        until("nothing of the page", lambda: not any(self.window.shows(name) for name in PAGE))


class Layers(Locks):
    def test_the_overlay_keeps_everybody_from_the_page_and_gives_it_back_as_it_was(self):
        self.window.see_focus("Note")
        press("End")
        type_text(" B")
        self.window.do("lock")
        self.window.see_focus("Passcode")
        self.see_nothing_of_the_page()
        # Neither keys, however they walk, nor clicks where the page was, nor a tooltip reach it.
        type_text("1234")
        press("Tab", "Tab", "shift+Tab", "Up", "F10", "Escape", "alt+Down")
        xdotool("mousemove", "700", "300", "click", "1", "mousemove_relative", "3", "0")
        self.see_nothing_of_the_page()
        self.window.do("replace")
        self.assertFalse(self.window.shows("Another page"))
        self.window.do("unlock")
        self.window.see("Another page", "label")
        self.window.see_focus("Note")
        self.assertFalse(self.window.shows("Passcode"))

        # What was typed before is there, the keyboard is where it was, and what was typed meanwhile is not.
        type_text("!")
        self.window.do("lock")
        self.window.see_focus("Passcode")
        type_text("5678")
        self.window.do("unlock")
        self.window.see_focus("Note")
        press("End")
        type_text("?")
        self.assertEqual(self.window.see("Note", "text").text[-1:], "?")

    def test_an_open_menu_and_panels_go_with_the_page_and_panels_return(self):
        press("Tab", "space")
        self.window.see("Item of Secret plan")
        self.window.do("lock")
        self.window.see_focus("Passcode")
        self.see_nothing_of_the_page()
        self.window.do("unlock")
        self.window.see("Secret plan", "label")
        self.assertFalse(self.window.shows("Item of Secret plan"))

        self.window.do("alert", "page")
        self.see_windows("brisko", "page")
        self.window.do("settings", True)
        self.see_windows("brisko", "page", "Settings")
        self.window.do("lock")
        self.see_windows("brisko")
        self.window.see_focus("Passcode")
        self.assertFalse(self.window.shows("From the page"))
        # One that comes meanwhile waits too, but not one that has nothing to do with the page.
        self.window.do("let-go")
        self.window.do("alert", "page")
        self.window.do("window", "About")
        self.see_windows("brisko", "About")
        self.assertFalse(self.window.shows("From the page"))
        self.window.do("dismiss")
        self.window.do("unlock")
        self.see_windows("brisko", "page", "About")

    def test_a_file_dialog_leaves_the_keyboard_to_the_overlay_and_returns(self):
        self.window.do("files")
        dialog = until("the file dialog", lambda: self.windows() - {"brisko"} and xdotool(
            "getactivewindow", "getwindowname").strip())
        self.window.do("lock")
        until("the overlay alone", lambda: dialog not in self.windows())
        self.window.see_focus("Passcode")
        type_text("1234")
        self.window.see_text("Passcode", "1234")
        self.window.do("unlock")
        self.see_active(dialog)
        press("Escape")
        self.assertEqual(self.window.answer(), 0)

    def test_the_cover_lies_over_page_overlay_and_panels_and_shows_nothing_but_the_name(self):
        self.window.do("alert", "page")
        self.see_active("page")
        self.window.see("From the page", "label")
        for _ in range(2):
            self.window.do("cover")
            until("no panel's text", lambda: not self.window.shows("From the page"))
            self.see_nothing_of_the_page()
            self.see_windows("brisko", "page")
            press("Return", "Escape", "space")
            self.window.do("uncover")
            self.window.see_focus("OK")
        press("Return")
        self.assertEqual(self.window.answer(), "closed")

        self.window.see_window()
        self.window.do("cover")
        self.window.see("bris", "label")
        # The canvas is dark; the page's ground, its texts and the fields are not.
        until("the dark cover", lambda: (15, 17, 21) in self.colours() and (255, 255, 255) in self.colours())
        self.window.do("lock")
        self.assertFalse(self.window.shows("Passcode"))
        type_text("1234")
        self.window.do("uncover")
        self.window.see_focus("Passcode")
        self.assertEqual(self.window.look("Passcode").text, "")
        self.window.do("unlock")
        self.window.see_focus("Note")

    def test_a_change_is_known_to_be_on_the_screen(self):
        for change in ("lock", "unlock", "cover", "uncover"):
            self.window.do(change)
            self.assertEqual(self.window.ask("drawn"), "drawn")

    def test_every_input_counts_as_use_but_a_pointer_at_rest_does_not(self):
        self.window.see_focus("Note")
        xdotool("mousemove", "700", "500")
        for use in (lambda: press("a"), lambda: press("Tab"), lambda: press("ctrl+x"),
                    lambda: xdotool("click", "1"), lambda: xdotool("click", "3"), lambda: xdotool("click", "4"),
                    lambda: xdotool("mousemove_relative", "7", "7")):
            self.window.ask("uses")
            use()
            until("a use", lambda: self.window.ask("uses") > 0)
        press("Escape")
        # In another window, and in one whose keys are swallowed.
        self.window.do("settings", True)
        self.see_active("Settings")
        self.window.ask("uses")
        press("Tab")
        until("a use", lambda: self.window.ask("uses") > 0)
        self.window.do("dismiss")
        self.window.see_window()
        # The layout changes under the pointer.
        self.window.ask("uses")
        for change in ("cover", "uncover", "lock", "unlock"):
            self.window.do(change)
            self.window.ask("drawn")
        self.assertEqual(self.window.ask("uses"), 0)


class Settings(Locks):
    def open(self, passcode=None, can_set=True):
        if passcode:
            self.window.do("passcode", passcode)
        self.window.do("settings", can_set)
        self.see_active("Settings")
        self.window.see_focus("Done")

    def preference(self, name):
        return self.window.ask("preferences").get("brisko." + name)

    def see_preference(self, name, value):
        until(f"{name} = {value}", lambda: self.preference(name) == value)

    def is_enabled(self, name, role=None):
        return "sensitive" in self.window.see(name, role).states

    def test_it_has_its_size_and_shows_what_can_be_done_in_each_state(self):
        self.open(can_set=False)
        frame = next(e for e in self.window.elements() if e.role == "scroll pane").box
        self.assertEqual((frame.width, frame.height), (420, 500))
        for text in ("Lock & Passcode", "Not set. Your password is the only way back in when a session runs out.",
                     "Setting one seals your password, so it needs an account with a password, signed in on this Mac.",
                     "Set a passcode first — there would be nothing to unlock it with."):
            self.window.see(text, "label")
        for name in ("4 digits", "Set a passcode…", "After", "⌃⌘L", "Clear", "Default", "Increase"):
            self.assertFalse(self.is_enabled(name, None if name != "After" else "text"), name)
        self.assertFalse(self.window.shows("Turn off"))
        bottom = self.window.see("Done", "push button").box
        self.assertLessEqual(bottom.y + bottom.height, 500)
        self.open("123456")
        self.window.see("Set, 6 digits. It stands in for your password when the session has run out.", "label")
        for name in ("4 digits", "Change…", "⌃⌘L", "Clear", "Default", "Increase", "Turn off"):
            self.assertTrue(self.is_enabled(name), name)

    def test_its_buttons_do_what_they_say_and_return_is_done(self):
        self.open("123456")
        self.window.click("8 digits")
        self.assertEqual(self.window.answer(), ["change", 8])
        self.open()
        self.window.click("6 digits")
        self.window.click("Change…")
        self.assertEqual(self.window.answer(), ["change", 6])
        self.open()
        press("Tab")  # to another button, which Return does not press
        press("Return")
        self.assertEqual(self.window.answer(), "done")
        self.open()
        self.window.click("Turn off")
        self.window.see("Set a passcode…")
        self.see_preference("lock.auto", False)
        self.window.click("Set a passcode…")
        self.assertEqual(self.window.answer(), ["change", 4])

    def test_minutes_are_typed_and_stepped_in_the_digits_of_any_script(self):
        self.open("1234")
        self.window.click("After", "text")
        for typed, stored in (("0", 1), ("999", 240), ("٤٢", 42), ("1", 1)):
            press("ctrl+a")
            if typed.isascii():
                type_text(typed)
            else:  # that no key of this keyboard types
                Atspi.EditableText.set_text_contents(self.window.look("After", "text").accessible, typed)
            self.see_preference("lock.minutes", stored)
            self.assertEqual(self.window.look("After", "text").text, typed)
        self.window.see("minute of no typing or clicking", "label")
        press("ctrl+a")
        type_text("soon")
        press("Tab")
        until("the number that stands", lambda: self.window.look("After", "text").text == "1")
        self.window.click("Increase")
        self.see_preference("lock.minutes", 2)
        self.window.see("minutes of no typing or clicking", "label")
        self.window.click("Decrease")
        self.see_preference("lock.minutes", 1)
        self.window.click("Lock when left alone", "label")
        self.see_preference("lock.auto", False)
        self.assertFalse(self.is_enabled("Increase"))

    def test_a_shortcut_is_recorded_and_nobody_else_gets_its_keys(self):
        self.open("1234")
        self.window.click("⌃⌘L")
        self.window.see("Press the keys…", "push button")
        self.window.see("Hold a modifier — ⌘, ⌃ or ⌥ — and press a key. Escape cancels.", "label")
        press("k", "shift+k", "Tab", "Return", "space", "ctrl+F5", "ctrl+Right")
        press("alt+shift+k")
        self.assertEqual(self.window.answer(), "applied")
        self.window.see("⌥⇧K", "push button")
        self.see_preference("lock.shortcut.key", "k")
        self.see_preference("lock.shortcut.flags", 0xA0000)
        for keys, shown in (("super+ctrl+1", "⌃⌘1"), ("ctrl+shift+2", "⇧⌘2")):
            self.window.click(self.shown())
            self.window.see("Press the keys…", "push button")
            press(keys)
            self.assertEqual(self.window.answer(), "applied")
            self.window.see(shown, "push button")
        self.window.click("⇧⌘2")
        self.window.see("Press the keys…", "push button")
        press("Escape")
        self.window.see("⇧⌘2", "push button")
        self.window.click("Clear")
        self.assertEqual(self.window.answer(), "applied")
        self.window.see("None", "push button")
        self.assertFalse(self.is_enabled("Clear"))
        self.window.click("Default")
        self.assertEqual(self.window.answer(), "applied")
        self.window.see("⌃⌘L", "push button")
        # The next key is an ordinary one again.
        press("Return")
        self.assertEqual(self.window.answer(), "done")

    def shown(self):
        """The shortcut on its button."""
        return next(e.name for e in self.window.elements() if e.role == "push button" and e.name[:1] in "⌃⌥⇧⌘")

    def test_what_cannot_be_stored_stays_as_it_was_and_says_so(self):
        self.open("1234")
        self.window.do("disk", True)
        self.window.click("Lock when left alone", "label")
        self.window.see("No space left on device", "label")
        self.assertEqual(self.preference("lock.auto"), True)
        self.window.do("disk", False)
        self.window.click("Lock when left alone", "label")
        self.see_preference("lock.auto", False)


if __name__ == "__main__":
    unittest.main()
