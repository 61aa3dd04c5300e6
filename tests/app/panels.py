"""The panels over the main window: real keys and clicks, and what a person and assistive technology find."""

import os
import subprocess
import unittest

from desktop import Journey, press, until, xdotool

WINDOW = os.environ["BRISKO_PANEL_WINDOW"]


class Panels(Journey):
    def setUp(self):
        super().setUp()
        self.window = self.open_test_window(WINDOW)

    def see_panel(self, title):
        """Waits for the panel to have the keyboard."""
        until(f"the panel '{title}'", lambda: xdotool("getactivewindow", "getwindowname").strip() == title)

    def see_none(self, title):
        search = ["xdotool", "search", "--onlyvisible", "--name", f"^{title}$"]
        until(f"no panel '{title}'", lambda: not subprocess.run(search, capture_output=True).stdout)

    def top_of_text(self):
        return max((e for e in self.window.elements() if e.role == "label"), key=lambda e: len(e.name)).box.y

    def test_a_message_is_closed_by_its_button_return_escape_and_the_window_manager(self):
        for leave in (lambda: press("Return"), lambda: press("space"), lambda: press("Escape"), lambda: press("alt+F4")):
            self.window.do("alert", "The download did not finish", "Not <b>Found</b> & _gone_")
            self.see_panel("The download did not finish")
            self.window.see("The download did not finish", "dialog")
            self.window.see("The download did not finish", "label")
            self.window.see("Not <b>Found</b> & _gone_", "label")
            self.window.see_focus("OK")
            self.assertFalse(self.window.shows("Cancel"))
            leave()
            self.assertEqual(self.window.answer(), "closed")
            self.see_none("The download did not finish")

    def test_a_question_is_answered_once_by_whichever_way_out_is_taken(self):
        ways = ((["Return"], True), (["Escape"], False), (["Tab", "Return"], False), (["alt+F4"], False),
                (["Left", "space"], False), (["Return", "Return", "Escape"], True))
        for keys, answer in ways:
            self.window.do("confirm", "question", "Delete it?")
            self.see_panel("question")
            self.window.see_focus("OK")
            press(*keys)
            self.assertIs(self.window.answer(), answer, keys)
            self.see_none("question")

    def test_a_huge_text_fits_the_smallest_window_and_scrolls(self):
        for text in ("x" * 1_000_000, "\n" * 1_000_000, "\n".join(f"Line {i}" for i in range(1000))):
            self.window.do("alert", "huge", text)
            self.see_panel("huge")
            lines = xdotool("getactivewindow", "getwindowgeometry", "--shell").split()
            size = dict(line.split("=") for line in lines)
            self.assertLess(int(size["WIDTH"]), 820)
            self.assertLess(int(size["HEIGHT"]), 560)
            top = self.top_of_text()
            press("Next")
            until("the text to scroll", lambda: self.top_of_text() < top)
            press("Prior", "Prior")
            until("the text to scroll back", lambda: self.top_of_text() == top)
            press("Return")
            self.window.answer()
            self.see_none("huge")

    def test_panels_stack_go_with_the_window_and_are_let_go_without_an_answer(self):
        for title in ("first", "second", "third"):
            self.window.do("alert", title, "text")
            self.see_panel(title)
        self.window.do("let-go")
        self.see_none("first")
        self.window.do("hide")
        self.see_none("second")
        self.see_none("third")
        self.window.do("confirm", "fourth", "asked while the window is closed")
        self.window.do("files", False, [])
        self.assertFalse(self.window.window_shown())
        self.window.do("show")
        self.see_panel("Choose a file")
        press("Escape")
        self.assertEqual(self.window.answer(), [])
        for title in ("second", "third", "fourth", "Choose a file"):
            self.see_none(title)
        self.window.see_window()

    def test_files_are_chosen_by_type_and_given_by_their_paths(self):
        wanted = self.folder / "a b.csv"
        wanted.write_text("x")
        self.window.do("files", True, ["text/csv"])
        self.see_panel("Choose files")
        self.window.see("Suitable files")
        press("ctrl+l")
        xdotool("type", str(wanted))
        press("Return")
        self.assertEqual(self.window.answer(), [str(wanted)])
        self.see_none("Choose files")


if __name__ == "__main__":
    unittest.main()
