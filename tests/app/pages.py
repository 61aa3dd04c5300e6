"""The web application in a real window: its links, panels, files, colours and bad days, with real keys and clicks."""

import csv
import os
import signal
import unittest

from desk import desk, until, until_equal
from journey import PASSWORD, USER, Journey

IDENTIFIER = "Username or email"
DARK, LIGHT = (0x0f, 0x11, 0x15), (0xf7, 0xf7, 0xfa)  # of the demo page's themes
BUTTON = (0x80, 0x74, 0xff)  # of the offline page

# The middle of a control, found by its text, once it is in view.
PLACE = """const node = [...document.querySelectorAll('a, button, label')].find((one) => one.textContent.trim() === '%s');
    node.scrollIntoView({ behavior: 'instant', block: 'center' });
    const { x, y, width, height } = node.getBoundingClientRect();
    return [Math.round(x + width / 2), Math.round(y + height / 2)]"""


class PageJourney(Journey):
    def open_page(self, home=None):
        """Shows that page of the test's own, or the service's."""
        if home is not None:
            self.service.show("/", home)
        self.page = self.service.page
        # While the toolkit's file dialog gathers the recent files it forgets what it was told to open.
        (self.folder / "gtk-4.0").mkdir()
        (self.folder / "gtk-4.0" / "settings.ini").write_text("[Settings]\ngtk-recent-files-enabled=0\n")
        self.program = self.open_program(signed_in=True, environment={
            **self.install_browser(), "HOME": str(self.folder), "XDG_CONFIG_HOME": str(self.folder)})
        self.page.see_ready()
        self.window = desk.active()[0]

    def at(self, text):
        """The place on the screen of the page's control with that text."""
        right, down = self.page.ask(PLACE % text)
        view = self.program.look("WebKitWebView")
        x, y = self.program.place(view)
        return x - view.box.width // 2 + right, y - view.box.height // 2 + down

    def focus(self, *names):
        """Goes there from control to control."""
        for name in names:
            desk.press("Tab")
            self.page.see("document.hasFocus() && document.activeElement.id", name)

    def see_path(self, path):
        self.page.see("location.pathname", path)
        self.page.see_ready()

    def reload(self):
        shown = len(self.page.shown)
        desk.press("ctrl+r")
        self.page.see_another(shown)


class DemoPage(PageJourney):
    def open_settings(self):
        desk.press("ctrl+comma")
        self.page.see("document.querySelector('dialog')?.getAttribute('aria-label')", "Settings")

    def test_tasks_are_saved_twice_and_come_in_from_files(self):
        self.open_page()
        self.open_settings()
        tasks = sorted(self.service.tasks(USER))
        for name in ("brisko tasks.csv", "brisko tasks 2.csv"):
            desk.click(*self.at("Export CSV"))
            until(name, (self.folder / "Downloads" / name).exists)
            with open(self.folder / "Downloads" / name, encoding="utf-8-sig", newline="") as table:
                self.assertEqual(sorted(row["Title"] for row in csv.DictReader(table)), tasks)

        def choose(name, titles):
            (self.folder / name).write_text("\n".join(["Title", *titles]))
            desk.click(*self.at("Import CSV…"))
            self.program.see_window("Choose files")
            self.program.see("Suitable files")
            desk.press("ctrl+l")
            self.program.see_focus("GtkFileChooserEntry")
            desk.type(str(self.folder / name))
            self.program.see_text("GtkFileChooserEntry", str(self.folder / name))
            desk.press("Return")

        def see_imported(titles, count):
            until_equal("the imported tasks", lambda: sum(task in titles for task in self.service.tasks(USER)), count)

        few, many = ["first", "second", "third"], [f"number {n}" for n in range(101)]
        choose("few.csv", few)
        see_imported(few, 3)
        for answer, count in (("Escape", 0), ("Return", 101)):
            self.program.see_window()
            choose("many.csv", many)
            self.program.see("Import 101 tasks?", "label")
            self.program.see_focus("OK")
            desk.press(answer)
            see_imported(many, count)

    def test_the_end_of_the_session_leads_to_the_sign_in_screen(self):
        self.open_page()
        self.open_settings()
        desk.click(*self.at("Sign out"))
        self.program.see_focus(IDENTIFIER)
        self.assertEqual(self.service.sessions(), [])
        self.sign_in(self.program, USER, PASSWORD, field=IDENTIFIER)
        self.service.send("POST", "/api/auth/logout", cookie=self.cookie())
        desk.press("ctrl+r")
        self.program.see_text(IDENTIFIER, USER)

    def test_the_window_takes_the_colour_of_the_page(self):
        self.open_page()
        x, y, width, height = desk.box(self.window)

        def colors():
            return {desk.color(x + width // 2, y + 20), desk.color(x + width - 20, y + height - 20)}

        until_equal("the colours of header and page", colors, {DARK})
        self.service.send("PATCH", "/api/settings", {"theme": "light"}, self.cookie())
        self.reload()
        until_equal("the colours of header and page", colors, {LIGHT})


class OwnPage(PageJourney):
    def test_links_stay_inside_or_go_to_the_browser(self):
        self.service.show("/inside", "")
        self.open_page(f"""<title>{'A long title ' * 500}</title>
            <a id=other href='https://other.example/x?y#z'>1</a> <a id=window target=_blank href=/inside>2</a>
            <a id=script href='javascript:open("/inside", "", "width=200"), close()'>3</a>
            <a id=inside href=/inside style='position: fixed; inset: 100px'>4</a>""")
        desk.press("ctrl+shift+i", "ctrl+shift+d", "F12")  # no inspector of any kind
        inside = self.service.origin + "/inside"
        visits = []
        for name, address in (("other", "https://other.example/x?y#z"), ("window", inside), ("script", inside)):
            self.focus(name)
            desk.press("Return")
            visits.append(address)
            self.see_visits(*visits)
        self.focus("inside")
        place = self.at("4")
        desk.click(*place, button=3)
        self.program.choose_in(self.program.elements, "Open Link in Browser")
        self.see_visits(*visits, inside)
        self.page.see_ready()
        desk.press("Return")
        self.see_path("/inside")
        for go, path in ((lambda: desk.press("XF86Back"), "/"), (lambda: desk.press("XF86Forward"), "/inside"),
                         (lambda: desk.click(*place, 8), "/"), (lambda: desk.click(*place, 9), "/inside")):
            go()
            self.see_path(path)
        self.assertEqual(self.program.windows("brisko"), [self.window])

    def test_the_service_goes_away_and_comes_back(self):
        self.service.show("/inside", "")
        self.open_page("<a id=link href=/inside>1</a>")
        for leave, retry, path in ((["ctrl+r"], ["Tab", "Return"], "/"), (["ctrl+r"], ["ctrl+r"], "/"),
                                   (["Tab", "Return"], ["XF86Back"], "/"), ([], ["XF86Forward"], "/inside")):
            shown = len(self.page.shown)
            if leave:
                self.service.go_away()
                desk.press(*leave)
                until("the offline page", lambda: BUTTON in desk.picture(desk.box(self.window)).getdata())
                self.service.come_back()
            desk.press(*retry)
            self.page.see_another(shown)
            self.see_path(path)

    def test_questions_are_answered_with_the_keyboard_or_taken_back(self):
        self.open_page("""<script>heard = []</script><button id=ask onclick="heard.push(confirm('Sure?'))">1</button>
            <button id=tell onclick="alert('Told.'); heard.push('told')">2</button>
            <button id=last onclick="for (;;) alert('Again')">3</button>""")

        def press(text):
            desk.press("Return")
            self.program.see(text, "label")
            self.program.see_focus("OK")

        heard = []
        for name, text, key, answer in (("ask", "Sure?", "Return", True), ("tell", "Told.", "Return", "told")):
            self.focus(name)
            press(text)
            desk.press(key)
            heard.append(answer)
            self.page.see("document.hasFocus() && heard", heard)
        desk.press("shift+Tab")
        self.page.see("document.activeElement.id", "ask")
        press("Sure?")
        desk.press("Escape")
        self.page.see("document.hasFocus() && heard", [*heard, False])
        # A page that never stops asking can be left, and the program with it.
        self.focus("tell", "last")
        shown = len(self.page.shown)
        press("Again")
        self.assertEqual(self.program.again("brisko://today"), 0)
        self.page.see_another(shown)
        self.focus("ask", "tell", "last")
        press("Again")
        desk.press("ctrl+q")
        self.assertEqual(self.program.exit_status(), 0)

    def test_the_death_of_its_processes_is_survived(self):
        self.open_page("""<script>heard = '';
            addEventListener('keydown', (event) => /Control|w/.test(event.key) || (heard += event.key))</script>""")

        def kill(name):
            for process, its_name in self.program.engine().items():
                if its_name == name:
                    os.kill(process, signal.SIGKILL)

        shown = len(self.page.shown)
        kill("WebKitWebProces")
        self.page.see_another(shown)
        desk.press("x")
        self.page.see("heard", "x")
        kill("WebKitNetworkPr")
        # Whoever comes back looks for the session.
        desk.press("ctrl+w")
        self.program.see_no_window()
        self.program.again()
        self.program.see_window()
        self.page.see_ready()
        desk.press("y")
        self.page.see("heard", "xy")
        self.assertEqual(self.service.sessions(), [USER])


if __name__ == "__main__":
    unittest.main(verbosity=2)
