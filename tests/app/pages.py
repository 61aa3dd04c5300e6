"""The web application in a real window: its links, panels, files, colours and bad days, with real keys and clicks."""

import csv
import os
import signal
import threading
import unittest

from desk import desk, until, until_equal
from journey import PASSWORD, USER, Journey
from service import Answer

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
        self.downloads = self.folder / "Downloads"
        # While the toolkit's file dialog gathers the recent files it forgets what it was told to open.
        settings = self.folder / "gtk-4.0" / "settings.ini"
        settings.parent.mkdir()
        settings.write_text("[Settings]\ngtk-recent-files-enabled=0\n")
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
            self.page.see("document.activeElement.id", name)

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
            until(name, (self.downloads / name).exists)
            with open(self.downloads / name, encoding="utf-8-sig", newline="") as table:
                self.assertEqual(sorted(row["Title"] for row in csv.DictReader(table)), tasks)

        def choose(name, *titles):
            (self.folder / name).write_text("\n".join(["Title", *titles]))
            desk.click(*self.at("Import CSV…"))
            self.program.see_panel("Choose files")
            self.program.see("Suitable files")
            desk.press("ctrl+l")
            until("the field for a path", lambda: self.program.focused("text") is not None)
            desk.type(str(self.folder / name))
            until("the typed path", lambda: any(e.role == "text" and e.text == str(self.folder / name)
                                                for e in self.program.elements()))
            desk.press("Return")
            self.program.see_no_panel("Choose files")

        def count(titles):
            return sum(task in titles for task in self.service.tasks(USER))

        few, many = ["first", "second", "third"], [f"number {n}" for n in range(101)]
        choose("few.csv", *few)
        until_equal("the imported tasks", lambda: count(few), 3)
        for answer, expected in (("Escape", 0), ("Return", 101)):
            choose("many.csv", *many)
            self.program.see("Import 101 tasks?", "label")
            self.program.see_focus("OK")
            desk.press(answer)
            self.program.see_gone("Import 101 tasks?")
            until_equal("the imported tasks", lambda: count(many), expected)
        choose("empty.csv")
        self.program.see("“empty.csv” holds no tasks.", "label")
        self.program.see_focus("OK")
        desk.press("Return")
        self.program.see_gone("“empty.csv” holds no tasks.")
        desk.click(*self.at("Guides"))
        self.see_visits(self.service.origin + "/guides")

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
        box = desk.box(self.window)

        def colors():
            return {desk.color(box.x + box.width // 2, box.y + 20),
                    desk.color(box.x + box.width - 20, box.y + box.height - 20)}

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
        self.program.choose_in("Open Link in Browser")
        self.see_visits(*visits, inside)
        self.page.see_ready()
        desk.press("Return")
        self.see_path("/inside")
        for go, path in ((lambda: desk.press("XF86Back"), "/"), (lambda: desk.press("XF86Forward"), "/inside"),
                         (lambda: desk.click(*place, 8), "/"), (lambda: desk.click(*place, 9), "/inside")):
            go()
            self.see_path(path)
        self.program.see_window("brisko")

    def see_offline_page(self):
        until("the offline page", lambda: BUTTON in desk.picture(desk.box(self.window)).getdata())

    def test_the_service_goes_away_and_comes_back(self):
        self.service.show("/inside", "")
        self.open_page("<a id=link href=/inside>1</a>")
        for retry in (("Tab", "Return"), ("ctrl+r",)):
            shown = len(self.page.shown)
            self.service.go_away()
            desk.press("ctrl+r")
            self.see_offline_page()
            self.service.come_back()
            desk.press(*retry)
            self.page.see_another(shown)
        self.focus("link")
        self.service.go_away()
        desk.press("Return")
        self.see_offline_page()
        desk.press("ctrl+r")
        self.see_offline_page()
        self.service.come_back()
        desk.press("XF86Back")
        self.see_path("/")
        desk.press("XF86Forward")  # tries again what could not be reached
        self.see_path("/inside")

    def test_the_keyboard_stays_with_the_page(self):
        self.open_page("<button id=one>1</button><button id=two>2</button>")
        desk.press("ctrl+shift+i", "ctrl+shift+d", "F12", "F10", "Escape")  # no inspector of any kind
        self.program.see_menus_closed()
        self.focus("one")
        desk.press("shift+Tab")  # out of the page, where there is nothing
        self.page.see("document.activeElement.id", "")
        self.focus("one", "two")
        self.assertEqual(self.program.windows(), [self.window])

    def test_what_is_half_there_has_no_name_yet(self):
        released = threading.Event()
        parts = [b"one\n" * 10_000, b"two\n"]

        def half():
            yield parts[0]
            released.wait()
            yield parts[1]

        headers = [("Content-Type", "text/csv"), ("Content-Length", str(sum(map(len, parts))))]
        self.service.scripted["/slow.csv"] = lambda _: Answer(200, headers, half())
        self.addCleanup(released.set)
        self.open_page("<a id=link download href=/slow.csv>1</a>")

        def files():
            return {file.name for file in self.downloads.iterdir()} if self.downloads.exists() else set()

        names = {"slow.csv", "slow 2.csv"}
        self.focus("link")
        for count in (1, 2):
            desk.press("Return")
            until_equal("the files begun", lambda: sum(name.endswith(".part") for name in files()), count)
        self.assertEqual(files() & names, set())
        released.set()
        until_equal("the files", files, names)
        self.assertEqual({(self.downloads / name).read_bytes() for name in names}, {b"".join(parts)})

    def test_a_folder_that_cannot_be_used_is_told(self):
        (self.folder / "Downloads").write_text("not a folder")
        self.service.show("/tasks.csv", "")
        self.open_page("<a id=link download href=/tasks.csv>1</a><button id=next>2</button>")
        self.focus("link")
        desk.press("Return")
        self.program.see("The download did not finish", "label")
        self.program.see_focus("OK")
        desk.press("Return")
        self.program.see_gone("The download did not finish")
        self.page.see_ready()
        self.focus("next")

    def test_questions_are_answered_with_the_keyboard_or_taken_back(self):
        self.open_page("""<script>heard = []</script><button id=ask onclick="heard.push(confirm('Sure?'))">1</button>
            <button id=tell onclick="alert('Told.'); heard.push('told')">2</button>
            <button id=last onclick="for (;;) alert('Again')">3</button>""")
        self.focus("ask")
        for keys, text, heard in ((["Return"], "Sure?", [True]), (["Escape"], "Sure?", [True, False])):
            desk.press("Return")
            self.program.see(text, "label")
            self.program.see_focus("OK")
            desk.press(*keys)
            self.program.see_gone(text)
            self.page.see("heard", heard)
            self.page.see_ready()
        self.focus("tell")
        desk.press("Return")
        self.program.see("Told.", "label")
        self.program.see_focus("OK")
        desk.press("Return")
        self.page.see("heard", [True, False, "told"])
        self.page.see_ready()
        # A page that never stops asking can be left, and the program with it.
        for ending in (False, True):
            self.page.ask("document.getElementById('tell').focus()")
            self.focus("last")
            shown = len(self.page.shown)
            desk.press("Return")
            self.program.see("Again", "label")
            self.program.see_focus("OK")
            if ending:
                desk.press("ctrl+q")
                self.assertEqual(self.program.exit_status(), 0)
            else:
                self.assertEqual(self.program.again("brisko://today"), 0)
                self.page.see_another(shown)
                self.program.see_gone("Again")

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
