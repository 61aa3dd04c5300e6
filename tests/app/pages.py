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
        self.install_browser()
        self.open_page()

    def see_path(self, path):
        self.page.see("location.pathname", path)
        self.page.see_ready()

    # Goes to the page's control of which that is true and presses it.
    def press(self, condition):
        self.page.ask(f"[...document.querySelectorAll('a, button, label')].find((one) => {condition}).focus()")
        desk.press("Return")

    def test_tasks_are_saved_and_come_in_from_a_file_until_the_sign_out(self):
        # While the toolkit's file dialog gathers the recent files it forgets what it was told to open.
        (settings := pathlib.Path(os.environ["XDG_CONFIG_HOME"], "gtk-4.0")).mkdir(parents=True)
        (settings / "settings.ini").write_text("[Settings]\ngtk-recent-files-enabled=0\n")
        self.open()
        tasks = self.service.tasks(USER)
        desk.press("ctrl+comma")
        self.page.see("document.querySelector('dialog')?.getAttribute('aria-label')", "Settings")
        self.press("one.textContent.trim() === 'Export CSV'")
        saved = pathlib.Path.home() / "Downloads" / "brisko tasks.csv"
        until("the file", saved.exists)
        with open(saved, encoding="utf-8-sig", newline="") as table:
            self.assertEqual(sorted(row["Title"] for row in csv.DictReader(table)), sorted(tasks))
        (file := self.folder / "tasks.csv").write_text("Title\nfirst\nsecond")
        self.press("one.textContent.trim() === 'Import CSV…'")
        self.program.see_window("Choose files")
        self.program.see("Suitable files")
        desk.press("ctrl+l")
        self.program.see_focus("GtkFileChooserEntry")
        desk.type(file)
        self.program.see_text("GtkFileChooserEntry", str(file))
        desk.press("Return")
        until("the imported tasks", lambda: {*self.service.tasks(USER)} - {*tasks}, {"first", "second"})
        self.program.see_window()
        self.press("one.textContent.trim() === 'Sign out'")
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
        inside = self.service.origin + "/inside"
        visits = ["https://other.example/x?y#z", inside, inside, inside]
        for count, name in enumerate(("other", "window", "script"), 1):
            self.press(f"one.id === '{name}'")
            self.see_visits(*visits[:count])
        x, y, width, height = desk.box(self.window)
        place = x + width // 2, y + height // 2
        desk.click(*place, 3)
        self.program.choose_in(self.program.elements, "Open Link in Browser")
        self.see_visits(*visits)
        self.page.see_ready()
        self.press("one.id === 'inside'")
        self.see_path("/inside")
        for go, path in ((lambda: desk.press("XF86Back"), "/"), (lambda: desk.press("XF86Forward"), "/inside"),
                         (lambda: desk.click(*place, 8), "/"), (lambda: desk.click(*place, 9), "/inside")):
            go()
            self.see_path(path)
        self.assertEqual(len(self.program.windows()), 1)

    def test_the_service_goes_away_and_comes_back(self):
        self.open("<a href=/inside>1</a>")
        self.service.show("/inside", "")
        for leave, retry, path in (("ctrl+r", ["Tab", "Return"], "/"), ("ctrl+r", ["ctrl+r"], "/"),
                                   ("Return", ["XF86Back"], "/"), (None, ["XF86Forward"], "/inside")):
            with self.page.renewed():
                if leave:
                    self.page.ask("document.querySelector('a').focus()")
                    self.service.away = True
                    desk.press(leave)
                    until("the offline page", lambda: BUTTON in desk.colors(*desk.box(self.window)))
                    self.service.away = False
                desk.press(*retry)
            self.see_path(path)

    def test_a_page_that_never_stops_asking_can_be_left_and_the_program_with_it(self):
        self.open("""<button id=ask onclick="this.textContent = confirm('Sure?')">1</button>
            <button id=last onclick="for (;;) alert('Again')">2</button>""")

        def press(name, text):
            self.press(f"one.id === '{name}'")
            self.program.see(text, "label")
            self.program.see_focus("OK")

        for key, answer in (("Return", "true"), ("Escape", "false")):
            press("ask", "Sure?")
            desk.press(key)
            self.page.see("document.hasFocus() && document.querySelector('#ask').textContent", answer)
        with self.page.renewed():
            press("last", "Again")
            self.program.again("brisko://today")
        press("last", "Again")
        self.assertEqual(self.program.quit(), 0)

    def test_the_death_of_its_processes_is_survived(self):
        self.open("<input id=field autofocus>")
        for name in ("WebKitWebProces", "WebKitNetworkPr"):
            before = len(self.page.shown)
            for process, its_name in self.program.engine().items():
                if its_name == name:
                    os.kill(process, signal.SIGKILL)
            until("another page, or the same after a while", lambda: len(self.page.shown) > before)
            # Whoever comes back looks for the session.
            desk.press("ctrl+w")
            self.program.see_no_window()
            self.program.again()
            self.program.see_window()
            self.page.see_ready()
            desk.press("x")
            self.page.see("document.querySelector('input').value.slice(-1)", "x")
        self.assertEqual(self.service.sessions(), [USER])
