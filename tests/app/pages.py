# The web application in a real window: its links, panels, files, colours and bad days, with real keys and clicks.

import csv
import os
import pathlib
import signal

import desk
from desk import until
from journey import USER, Journey

DARK, LIGHT = (0x0f, 0x11, 0x15), (0xf7, 0xf7, 0xfa)  # of the demo page's themes
BUTTON = (0x80, 0x74, 0xff)  # of the offline page


class Pages(Journey):
    # Shows that page of the test's own, or the service's.
    def open(self, home=None):
        if home is not None:
            self.service.show("/", home)
        self.page = self.service.page
        self.install_browser()
        self.program = self.open_page()
        self.window = desk.active()[0]

    # Goes there from control to control.
    def focus(self, *names):
        for name in names:
            desk.press("Tab")
            self.page.see("document.hasFocus() && document.activeElement.id", name)

    def see_path(self, path):
        self.page.see("location.pathname", path)
        self.page.see_ready()

    # Presses the button or link of the settings with that text.
    def press_setting(self, text):
        self.page.ask("[...document.querySelectorAll('dialog a, dialog button, dialog label')]"
                      f".find((one) => one.textContent.trim() === '{text}').focus()")
        desk.press("Return")

    def test_tasks_are_saved_twice_and_come_in_from_files_until_the_sign_out(self):
        # While the toolkit's file dialog gathers the recent files it forgets what it was told to open.
        (settings := pathlib.Path(os.environ["XDG_CONFIG_HOME"], "gtk-4.0")).mkdir(parents=True, exist_ok=True)
        (settings / "settings.ini").write_text("[Settings]\ngtk-recent-files-enabled=0\n")
        self.open()
        desk.press("ctrl+comma")
        self.page.see("document.querySelector('dialog')?.getAttribute('aria-label')", "Settings")
        tasks = sorted(self.service.tasks(USER))
        for name in ("brisko tasks.csv", "brisko tasks 2.csv"):
            self.press_setting("Export CSV")
            until(name, (pathlib.Path.home() / "Downloads" / name).exists)
            with open(pathlib.Path.home() / "Downloads" / name, encoding="utf-8-sig", newline="") as table:
                self.assertEqual(sorted(row["Title"] for row in csv.DictReader(table)), tasks)

        few, many = ["first", "second", "third"], [f"number {n}" for n in range(101)]
        for titles, answer, count in ((few, None, 3), (many, "Escape", 0), (many, "Return", 101)):
            file = self.folder / "tasks.csv"
            file.write_text("\n".join(["Title", *titles]))
            self.program.see_window()
            self.press_setting("Import CSV…")
            self.program.see_window("Choose files")
            self.program.see("Suitable files")
            desk.press("ctrl+l")
            self.program.see_focus("GtkFileChooserEntry")
            desk.type(file)
            self.program.see_text("GtkFileChooserEntry", str(file))
            desk.press("Return")
            if answer:
                self.program.see("Import 101 tasks?", "label")
                self.program.see_focus("OK")
                desk.press(answer)
            until("the imported tasks", lambda: sum(task in titles for task in self.service.tasks(USER)), count)
        self.program.see_window()
        self.press_setting("Sign out")
        self.program.see_focus("Password")
        self.assertEqual(self.service.sessions(), [])

    def test_the_window_takes_the_colour_of_the_page(self):
        self.open()
        x, y, width, height = desk.box(self.window)

        def colors():
            return desk.colors(x + width // 2, y + 20) | desk.colors(x + width - 20, y + height - 20)

        until("the colours of header and page", colors, {DARK})
        self.service.send("PATCH", "/api/settings", {"theme": "light"})
        with self.page.renewed():
            desk.press("ctrl+r")
        until("the colours of header and page", colors, {LIGHT})

    def test_links_stay_inside_or_go_to_the_browser(self):
        self.service.show("/inside", "")
        self.open(f"""<title>{'A long title ' * 500}</title>
            <a id=other href='https://other.example/x?y#z'>1</a> <a id=window target=_blank href=/inside>2</a>
            <a id=script href='javascript:open("/inside", "", "width=200"), close()'>3</a>
            <a id=inside href=/inside style='position: fixed; inset: 100px'>4</a>""")
        desk.press("ctrl+shift+i", "ctrl+shift+d", "F12")  # no inspector of any kind
        visits, inside = [], self.service.origin + "/inside"
        for name, address in (("other", "https://other.example/x?y#z"), ("window", inside), ("script", inside)):
            self.focus(name)
            desk.press("Return")
            visits.append(address)
            self.see_visits(*visits)
        self.focus("inside")
        x, y, width, height = desk.box(self.window)
        place = x + width // 2, y + height // 2
        desk.click(*place, 3)
        self.program.choose_in(self.program.elements, "Open Link in Browser")
        self.see_visits(*visits, inside)
        self.page.see_ready()
        desk.press("Return")
        self.see_path("/inside")
        for go, path in ((lambda: desk.press("XF86Back"), "/"), (lambda: desk.press("XF86Forward"), "/inside"),
                         (lambda: desk.click(*place, 8), "/"), (lambda: desk.click(*place, 9), "/inside")):
            go()
            self.see_path(path)
        self.assertEqual(desk.windows("--pid", self.program.process.pid, "--name", "brisko"), [self.window])

    def test_the_service_goes_away_and_comes_back(self):
        self.service.show("/inside", "")
        self.open("<a id=link href=/inside>1</a>")
        for leave, retry, path in ((["ctrl+r"], ["Tab", "Return"], "/"), (["ctrl+r"], ["ctrl+r"], "/"),
                                   (["Tab", "Return"], ["XF86Back"], "/"), ([], ["XF86Forward"], "/inside")):
            with self.page.renewed():
                if leave:
                    self.service.away = True
                    desk.press(*leave)
                    until("the offline page", lambda: BUTTON in desk.colors(*desk.box(self.window)))
                    self.service.away = False
                desk.press(*retry)
            self.see_path(path)

    def test_questions_are_answered_with_the_keyboard_or_taken_back(self):
        self.open("""<script>heard = []</script><button id=ask onclick="heard.push(confirm('Sure?'))">1</button>
            <button id=tell onclick="alert('Told.'); heard.push('told')">2</button>
            <button id=last onclick="for (;;) alert('Again')">3</button>""")

        def press(name, text):
            self.page.ask(f"document.getElementById('{name}').focus()")
            desk.press("Return")
            self.program.see(text, "label")
            self.program.see_focus("OK")

        heard = []
        for name, text, key, answer in (("ask", "Sure?", "Return", True), ("tell", "Told.", "Return", "told"),
                                        ("ask", "Sure?", "Escape", False)):
            press(name, text)
            desk.press(key)
            heard.append(answer)
            self.page.see("document.hasFocus() && heard", heard)
        # A page that never stops asking can be left, and the program with it.
        with self.page.renewed():
            press("last", "Again")
            self.assertEqual(self.program.again("brisko://today"), 0)
        press("last", "Again")
        self.assertEqual(self.program.quit(), 0)

    def test_the_death_of_its_processes_is_survived(self):
        self.open("""<script>heard = '';
            addEventListener('keydown', (event) => /Control|w/.test(event.key) || (heard += event.key))</script>""")

        def kill(name):
            for process, its_name in self.program.engine().items():
                if its_name == name:
                    os.kill(process, signal.SIGKILL)

        with self.page.renewed():
            kill("WebKitWebProces")
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
